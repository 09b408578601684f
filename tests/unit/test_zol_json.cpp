// JSON readers and writers: the defaults and number format the cloud sees.
#include "Add_object.h"
#include "unit.h"
#include "zol_json.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

std::string text_of(json_object* o, int flags = JSON_C_TO_STRING_PLAIN)
{
    return json_object_to_json_string_ext(o, flags);
}

TEST(JsonWriters, MembersAndFallbacks)
{
    JsonPtr obj(json_object_new_object());
    Add_object_boolean(obj.get(), "x", 2);
    Add_object_boolean(obj.get(), "on", 1);
    Add_object_string(obj.get(), "s", nullptr);
    Add_object_int(obj.get(), "i", -7);
    EXPECT_EQ(text_of(obj.get()), R"({"on":true,"s":"","i":-7})");

    JsonPtr arr(json_object_new_array());
    Add_object_Array_int(arr.get(), 3);
    Add_object_Array_string(arr.get(), nullptr);
    Add_object_Array_double(arr.get(), 0.5);
    EXPECT_EQ(text_of(arr.get()), R"([3,"",0.50])");
}

TEST(JsonWriters, TwoDecimalNumbers)
{
    const struct {
        double value;
        const char* plain;
        const char* nozero;
    } cases[] = {
        {12.346, "12.35", "12.35"}, {3, "3.00", "3.0"},    {37.5, "37.50", "37.5"},
        {0, "0.00", "0.0"},         {-2.346, "-2.35", "-2.35"}, {0.25, "0.25", "0.25"},
        {NAN, "nan", "nan"},        {-INFINITY, "-inf", "-inf"},
    };
    for (const auto& c : cases) {
        JsonPtr obj(json_object_new_object());
        Add_object_double(obj.get(), "x", c.value);
        EXPECT_EQ(text_of(obj.get()), std::string(R"({"x":)") + c.plain + "}") << c.plain;
        JsonPtr d(zol_json_object_new_double(c.value));
        EXPECT_EQ(text_of(d.get(), JSON_C_TO_STRING_NOZERO), c.nozero);
    }
    JsonPtr obj(json_object_new_object());
    Add_object_double(obj.get(), "x", 1.5);
    EXPECT_EQ(text_of(obj.get(), JSON_C_TO_STRING_PRETTY), "{\n  \"x\":1.50\n}");
}

class JsonFiles : public ::testing::Test {
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/zol_json_test.XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
    }
    void TearDown() override { run_shell(("rm -rf " + shell_quote(dir_)).c_str()); }
    std::string write(const std::string& name, const std::string& text)
    {
        std::string p = dir_ + "/" + name;
        std::ofstream(p) << text;
        return p;
    }
    std::string dir_;
};

TEST_F(JsonFiles, ScalarReaders)
{
    std::string f = write("a.json", R"({"s":"abc","n":97.6,"big":5000000000,"neg":-3,
        "t":true,"ts":"true","num":12,"long":")" + std::string(300, 'L') + R"("})");
    std::string missing = dir_ + "/missing.json";
    std::string bad = write("bad.json", "{not json");

    EXPECT_STREQ(get_string_from_file(f.c_str(), "s"), "abc");
    EXPECT_STREQ(get_string_from_file(f.c_str(), "num"), "12");
    EXPECT_STREQ(get_string_from_file(f.c_str(), "absent"), "");
    EXPECT_STREQ(get_string_from_file(missing.c_str(), "s"), "");
    EXPECT_STREQ(get_string_from_file(bad.c_str(), "s"), "");
    EXPECT_EQ(get_string_from_file(f.c_str(), "long"), std::string(126, 'L'));

    EXPECT_EQ(get_int_from_file(f.c_str(), "num"), 12);
    EXPECT_EQ(get_int_from_file(f.c_str(), "n"), 97);
    EXPECT_EQ(get_int_from_file(missing.c_str(), "num"), 0);
    EXPECT_EQ(get_boolean_from_file(f.c_str(), "t"), 1);
    EXPECT_EQ(get_boolean_from_file(f.c_str(), "absent"), 0);
    // 32-bit conversion on purpose: larger counts saturate.
    EXPECT_EQ(get_int64_from_file(f.c_str(), "big"), INT32_MAX);
    EXPECT_EQ(get_int64_from_file(f.c_str(), "neg"), -3);
    EXPECT_DOUBLE_EQ(get_double_from_file(f.c_str(), "n"), 97.0);
    EXPECT_DOUBLE_EQ(get_double_from_file(bad.c_str(), "n"), 0.0);

    JsonPtr root(json_object_from_file(f.c_str()));
    EXPECT_STREQ(zol_get_json_object_to_string(root.get(), "s"), "abc");
    EXPECT_EQ(zol_get_json_object_to_string(root.get(), "long"), std::string(126, 'L'));
    EXPECT_STREQ(zol_get_json_object_to_string(root.get(), "absent"), "");
    EXPECT_STREQ(zol_get_json_object_to_string(nullptr, "s"), "");
    EXPECT_EQ(get_object_int(root.get(), "num"), 12);
    EXPECT_EQ(get_object_int(root.get(), "n"), 97);
    EXPECT_EQ(get_object_int(root.get(), "s"), 0);
    EXPECT_EQ(get_object_int(nullptr, "num"), 0);
    EXPECT_EQ(local_json_object_object_get(nullptr, "s"), nullptr);
}

TEST_F(JsonFiles, SecondObjectBlankMarker)
{
    std::string f = write("b.json", R"({"o":{"k":"abc","other":1},"arr":[{"x":1},{"k":"second"}],
        "none":[{"x":1}],"scalar":5})");
    std::string no_outer = write("c.json", R"({"p":{}})");

    EXPECT_STREQ(get_second_object_string_from_file(f.c_str(), "o", "k"), "abc");
    // A missing outer object returns the previous text unchanged.
    EXPECT_STREQ(get_second_object_string_from_file(no_outer.c_str(), "o", "k"), "abc");
    // A missing member blanks only the first character.
    EXPECT_STREQ(get_second_object_string_from_file(f.c_str(), "o", "zz"), " bc");
    EXPECT_STREQ(get_second_object_string_from_file(f.c_str(), "arr", "k"), "second");
    EXPECT_STREQ(get_second_object_string_from_file(f.c_str(), "none", "k"), " econd");
    EXPECT_STREQ(get_second_object_string_from_file(f.c_str(), "scalar", "k"), " econd");
    EXPECT_STREQ(get_second_object_string_from_file((dir_ + "/nofile").c_str(), "o", "k"), "");
}

TEST_F(JsonFiles, MatchMacFollowingLine)
{
    std::string f = write("sat.txt",
                          "\"mac\":\"AA:BB\",\n\"name\":\"sat1\",\n"
                          "\"mac\":\"CC:DD\",\n\"name\":\"sat2\"\n"
                          "\"mac\":\"EE:FF\",\n\"name\":\"sat3\"");
    EXPECT_EQ(match_mac_to_get_string_from_file("AA:BB", f.c_str(), "name", "x"), 1);
    EXPECT_EQ(match_mac_to_get_string_from_file("CC:DD", f.c_str(), "name", "x"), 0);
    EXPECT_EQ(match_mac_to_get_string_from_file("EE:FF", f.c_str(), "name", "x"), 1);
    // Without the member on that line the caller's text decides.
    EXPECT_EQ(match_mac_to_get_string_from_file("AA:BB", f.c_str(), "size", ",x"), 1);
    EXPECT_EQ(match_mac_to_get_string_from_file("AA:BB", f.c_str(), "size", "x"), 0);
    EXPECT_EQ(match_mac_to_get_string_from_file("AA:BB", f.c_str(), "size", nullptr), 1);
    EXPECT_EQ(match_mac_to_get_string_from_file("AA:BB", (dir_ + "/no").c_str(), "name", "x"), 0);
}

}  // namespace
