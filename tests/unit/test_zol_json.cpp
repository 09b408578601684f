// JSON readers and writers: the defaults and number format the cloud sees.
#include "Add_object.h"
#include "unit.h"
#include "zol_json.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <string>

#include "test_util.h"

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
}

TEST(JsonWriters, TwoDecimalNumbers)
{
    const struct {
        double value;
        const char* want;
    } cases[] = {{12.346, "12.35"}, {3, "3.00"}, {-2.346, "-2.35"},
                 {NAN, "null"},   {INFINITY, "null"}, {-INFINITY, "null"}};
    for (const auto& c : cases) {
        JsonPtr obj(json_object_new_object());
        Add_object_double(obj.get(), "x", c.value);
        EXPECT_EQ(text_of(obj.get(), JSON_C_TO_STRING_PRETTY),
                  std::string("{\n  \"x\":") + c.want + "\n}");
    }
}

using JsonFiles = TempDirTest;

TEST_F(JsonFiles, ScalarReaders)
{
    std::string f = put("a.json", R"({"s":"abc","n":97.6,"big":5000000000,"num":12,"long":")" +
                                      std::string(300, 'L') + R"("})");
    std::string missing = path("missing.json");
    std::string bad = put("bad.json", "{not json");

    EXPECT_STREQ(get_string_from_file(f.c_str(), "num"), "12");
    EXPECT_STREQ(get_string_from_file(f.c_str(), "absent"), "");
    EXPECT_STREQ(get_string_from_file(bad.c_str(), "s"), "");
    EXPECT_EQ(get_string_from_file(f.c_str(), "long"), std::string(126, 'L'));
    EXPECT_EQ(get_int_from_file(missing.c_str(), "num"), 0);
    // 32-bit conversion on purpose: larger counts saturate.
    EXPECT_EQ(get_int64_from_file(f.c_str(), "big"), INT32_MAX);
    EXPECT_DOUBLE_EQ(get_double_from_file(f.c_str(), "n"), 97.0);

    JsonPtr root(json_object_from_file(f.c_str()));
    EXPECT_EQ(zol_get_json_object_to_string(root.get(), "long"), std::string(126, 'L'));
    EXPECT_STREQ(zol_get_json_object_to_string(nullptr, "s"), "");
}

TEST_F(JsonFiles, SecondObjectBlankMarker)
{
    std::string f = put("b.json", R"({"o":{"k":"abc"},"arr":[{"x":1},{"k":"second"}],"n":5})");
    std::string no_outer = put("c.json", R"({"p":{}})");

    EXPECT_STREQ(get_second_object_string_from_file(f.c_str(), "o", "k"), "abc");
    // A missing outer object returns the previous text unchanged.
    EXPECT_STREQ(get_second_object_string_from_file(no_outer.c_str(), "o", "k"), "abc");
    // A missing member blanks only the first character.
    EXPECT_STREQ(get_second_object_string_from_file(f.c_str(), "o", "zz"), " bc");
    EXPECT_STREQ(get_second_object_string_from_file(f.c_str(), "arr", "k"), "second");
    EXPECT_STREQ(get_second_object_string_from_file(f.c_str(), "n", "k"), " econd");
    EXPECT_STREQ(get_second_object_string_from_file(path("nofile").c_str(), "o", "k"), "");
}

}  // namespace
