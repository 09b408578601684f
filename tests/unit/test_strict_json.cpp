// Text repair, the tree guard and the strict scanner that the cloud's parser
// stands for.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "Add_object.h"
#include "strict_json.h"
#include "zol_json.h"

namespace {

const std::string R = "\xEF\xBF\xBD";  // U+FFFD

bool strict(const std::string& s) { return json_text_is_strict(s.data(), s.size()); }

TEST(Utf8Repair, InvalidBytesOnlyAreReplaced) {
    const struct {
        std::string in, want;
    } cases[] = {
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

TEST(Utf8Repair, TreeFromOutsideIsMadeStrict) {
    // json-c's own parser takes all of this; the cloud takes none of it.
    std::string text = "{\"a\":NaN,\"b\":[1.5,Infinity,{\"c\":-Infinity}],\"k\xff\":\"v\xfe\","
                       "\"n\":{\"d\":\"x\",\"\xe9\":[NaN]}}";
    json_object* tree = json_tokener_parse(text.c_str());
    ASSERT_NE(tree, nullptr);
    JsonPtr fixed(json_make_strict(tree));
    std::string out = json_object_to_json_string_ext(fixed.get(), JSON_C_TO_STRING_PLAIN);
    EXPECT_EQ(out, "{\"a\":null,\"b\":[1.5,null,{\"c\":null}],\"k" + R + "\":\"v" + R +
                       "\",\"n\":{\"d\":\"x\",\"" + R + "\":[null]}}");
    EXPECT_TRUE(strict(out));
}

TEST(Utf8Repair, NumbersJsonCTakesInNonJsonFormArePrintedAfresh) {
    // json-c prints a parsed double with its source text; found by fuzz_json
    // in a producer's document given to "cloud".
    std::string text = "{\"a\":03.25,\"b\":[1.,-.5,1.e5,-01.5e+2],\"c\":912.5,\"d\":1E5}";
    json_object* tree = json_tokener_parse(text.c_str());
    ASSERT_NE(tree, nullptr);
    JsonPtr fixed(json_make_strict(tree));
    std::string out = json_object_to_json_string_ext(fixed.get(), JSON_C_TO_STRING_PLAIN);
    EXPECT_EQ(out, "{\"a\":3.25,\"b\":[1.0,-0.5,100000.0,-150.0],\"c\":912.5,\"d\":1E5}");
    EXPECT_TRUE(strict(out));
}

TEST(StrictScanner, AcceptsRfc8259Only) {
    const struct {
        std::string text;
        bool ok;
    } cases[] = {
        {"{\n  \"a\":[1,-0.5,2e10,true,false,null,\"\\u00e9\\ud83d\\udcf6\\n\"]\n}\n", true},
        {"\"Caf\xc3\xa9\"", true},
        {"{\"a\":nan}", false},
        {"{\"a\":NaN}", false},
        {"[Infinity]", false},
        {"[01]", false},
        {"[1.]", false},
        {"[-]", false},
        {"{\"a\":1,}", false},
        {"[1] [2]", false},
        {"\"Caf\xe9\"", false},
        {"\"tab\there\"", false},
        {"\"\\ud800\"", false},
        {"\"\\udc00x\"", false},
        {"\"\\x41\"", false},
        {"{'a':1}", false},
        {"", false},
        {std::string(600, '[') + std::string(600, ']'), false},
        {std::string(500, '[') + std::string(500, ']'), true},
    };
    for (const auto& c : cases) EXPECT_EQ(strict(c.text), c.ok) << c.text.substr(0, 40);
    std::string why;
    EXPECT_FALSE(json_text_is_strict("[1,\xff]", 5, &why));
    EXPECT_EQ(why, "unexpected token at byte 3");
}

}  // namespace
