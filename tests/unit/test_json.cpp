// JSON in and out: text repair, the tree guard and the strict scanner that the
// cloud's parser stands for; the writers' defaults and number format; the
// readers of files other components leave.
#include <cmath>

#include "strict_json.h"
#include "test_util.h"

namespace {

const std::string R = "\xEF\xBF\xBD";  // U+FFFD

bool strict(const std::string& s) { return json_text_is_strict(s.data(), s.size()); }
std::string text_of(json_object* o, int flags = JSON_C_TO_STRING_PLAIN) {
    return json_object_to_json_string_ext(o, flags);
}

TEST(Utf8Repair, InvalidBytesOnlyAreReplaced) {
    const struct { std::string in, want; } cases[] = {
        {"plain", "plain"},
        {"Caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x93\xb6", "Caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x93\xb6"},
        {"Caf\xe9", "Caf" + R},                      // Latin-1
        {"\xff\xfe", R + R},                         // never valid
        {"\xc0\xaf", R + R},                         // overlong '/'
        {"\xed\xa0\x80", R + R + R},                 // a surrogate
        {"\xf4\x90\x80\x80", R + R + R + R},         // above U+10FFFF
        {"ab\xe2\x82", "ab" + R + R},                // cut at the end
        {"\x80x\xc3", R + "x" + R},                  // stray continuation, cut lead
    };
    for (const auto& c : cases) {
        EXPECT_EQ(utf8_repair(c.in.data(), c.in.size()), c.want) << c.in;
        JsonPtr s(zol_json_object_new_string(c.in.c_str()));
        EXPECT_EQ(json_object_get_string(s.get()), c.want);
    }
}

// json-c's own parser takes all of this; the cloud takes none of it. json-c
// also prints a parsed double with its source text (found by fuzz_json in a
// producer's document given to "cloud").
TEST(Utf8Repair, TreeFromOutsideIsMadeStrict) {
    const std::pair<std::string, std::string> cases[] = {
        {"{\"a\":NaN,\"b\":[1.5,Infinity,{\"c\":-Infinity}],\"k\xff\":\"v\xfe\","
         "\"n\":{\"d\":\"x\",\"\xe9\":[NaN]}}",
         "{\"a\":null,\"b\":[1.5,null,{\"c\":null}],\"k" + R + "\":\"v" + R + "\",\"n\":{\"d\":\"x\",\"" +
             R + "\":[null]}}"},
        {"{\"a\":03.25,\"b\":[1.,-.5,1.e5,-01.5e+2],\"c\":912.5,\"d\":1E5}",
         "{\"a\":3.25,\"b\":[1.0,-0.5,100000.0,-150.0],\"c\":912.5,\"d\":1E5}"},
    };
    for (const auto& [in, want] : cases) {
        json_object* tree = json_tokener_parse(in.c_str());
        ASSERT_NE(tree, nullptr);
        JsonPtr fixed(json_make_strict(tree));
        EXPECT_EQ(text_of(fixed.get()), want);
        EXPECT_TRUE(strict(want));
    }
}

TEST(StrictScanner, AcceptsRfc8259Only) {
    const struct { std::string text; bool ok; } cases[] = {
        {"{\n  \"a\":[1,-0.5,2e10,true,false,null,\"\\u00e9\\ud83d\\udcf6\\n\"]\n}\n", true},
        {"\"Caf\xc3\xa9\"", true},
        {"{\"a\":nan}", false}, {"{\"a\":NaN}", false}, {"[Infinity]", false}, {"[01]", false},
        {"[1.]", false},        {"[-]", false},         {"{\"a\":1,}", false}, {"[1] [2]", false},
        {"\"Caf\xe9\"", false}, {"\"tab\there\"", false}, {"\"\\ud800\"", false},
        {"\"\\udc00x\"", false}, {"\"\\x41\"", false},   {"{'a':1}", false},   {"", false},
        {std::string(600, '[') + std::string(600, ']'), false},
        {std::string(500, '[') + std::string(500, ']'), true},
    };
    for (const auto& c : cases) EXPECT_EQ(strict(c.text), c.ok) << c.text.substr(0, 40);
    std::string why;
    EXPECT_FALSE(json_text_is_strict("[1,\xff]", 5, &why));
    EXPECT_EQ(why, "unexpected token at byte 3");
}

TEST(JsonWriters, MembersAndFallbacks) {
    JsonPtr obj(json_object_new_object());
    Add_object_boolean(obj.get(), "x", 2);
    Add_object_boolean(obj.get(), "on", 1);
    Add_object_string(obj.get(), "s", nullptr);
    Add_object_int(obj.get(), "i", -7);
    EXPECT_EQ(text_of(obj.get()), R"({"on":true,"s":"","i":-7})");

    const std::pair<double, const char*> numbers[] = {{12.346, "12.35"}, {3, "3.00"}, {-2.346, "-2.35"},
                                                      {NAN, "null"},     {INFINITY, "null"},
                                                      {-INFINITY, "null"}};
    for (const auto& [value, want] : numbers) {
        obj.reset(json_object_new_object());
        Add_object_double(obj.get(), "x", value);
        EXPECT_EQ(text_of(obj.get(), JSON_C_TO_STRING_PRETTY), std::string("{\n  \"x\":") + want + "\n}");
    }
}

using JsonFiles = TempDirTest;

TEST_F(JsonFiles, ScalarReaders) {
    std::string f = put("a.json", R"({"s":"abc","n":97.6,"big":5000000000,"num":12,"long":")" +
                                      std::string(300, 'L') + R"("})");
    std::string bad = put("bad.json", "{not json");

    EXPECT_STREQ(get_string_from_file(f.c_str(), "num"), "12");
    EXPECT_STREQ(get_string_from_file(f.c_str(), "absent"), "");
    EXPECT_STREQ(get_string_from_file(bad.c_str(), "s"), "");
    EXPECT_EQ(get_string_from_file(f.c_str(), "long"), std::string(126, 'L'));
    EXPECT_EQ(get_int_from_file(path("missing.json").c_str(), "num"), 0);
    // 32-bit conversion on purpose: larger counts saturate.
    EXPECT_EQ(get_int64_from_file(f.c_str(), "big"), INT32_MAX);
    EXPECT_DOUBLE_EQ(get_double_from_file(f.c_str(), "n"), 97.0);

    JsonPtr root(json_object_from_file(f.c_str()));
    EXPECT_EQ(zol_get_json_object_to_string(root.get(), "long"), std::string(126, 'L'));
    EXPECT_STREQ(zol_get_json_object_to_string(nullptr, "s"), "");
}

TEST_F(JsonFiles, SecondObjectBlankMarker) {
    std::string f = put("b.json", R"({"o":{"k":"abc"},"arr":[{"x":1},{"k":"second"}],"n":5})");
    std::string no_outer = put("c.json", R"({"p":{}})");
    const char* none = "/nonexistent/file";
    // A missing outer object returns the previous text unchanged; a missing
    // member blanks only the first character.
    const struct {
        const char *file, *outer, *member, *want;
    } cases[] = {{f.c_str(), "o", "k", "abc"},     {no_outer.c_str(), "o", "k", "abc"},
                 {f.c_str(), "o", "zz", " bc"},    {f.c_str(), "arr", "k", "second"},
                 {f.c_str(), "n", "k", " econd"},  {none, "o", "k", ""}};
    for (const auto& c : cases)
        EXPECT_STREQ(get_second_object_string_from_file(c.file, c.outer, c.member), c.want)
            << c.outer << "." << c.member;
}

}  // namespace
