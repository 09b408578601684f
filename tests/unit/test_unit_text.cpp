// Text, MAC, time and digest helpers shared by every collector.
#include "unit.h"

#include <config_store.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "test_util.h"

namespace {

TEST(UnitText, BoundedCopies)
{
    char d[8];
    strncpyt(d, "abcdefghij", sizeof d);
    EXPECT_STREQ(d, "abcdefg");

    // Refuses to truncate: a source of n-1 or more characters adds nothing.
    char cat[16] = "x";
    EXPECT_EQ(zol_strncat(cat, "abc", 4), nullptr);
    EXPECT_STREQ(cat, "x");
    EXPECT_EQ(zol_strncat(cat, "ab", 4), cat);
    EXPECT_STREQ(cat, "xab");
    EXPECT_EQ(zol_strncat(cat, "a", 0), nullptr);
    EXPECT_EQ(strlen(str_replace(std::string(3000, 'q').c_str())), 2047u);
}

TEST(UnitText, Fields)
{
    const struct {
        const char* text;
        char sep;
        int index;
        size_t size;
        const char* want;
    } cases[] = {
        {"  a  b c", ' ', 2, 16, "b"},  {"  a  b c", ' ', 4, 16, ""},
        {"x abcdefgh\n", ' ', 2, 4, "abc"}, {"x y\nz", ' ', 2, 16, "y"},
        {"abc", '\0', 2, 16, ""},  // must not run past the end
    };
    for (const auto& c : cases) {
        char out[16];
        extraction_string_bychar(c.text, c.sep, c.index, out, c.size);
        EXPECT_STREQ(out, c.want) << c.text << " #" << c.index;
    }
}

TEST(UnitText, MacAndEntities)
{
    EXPECT_STREQ(parse_mac("a0:b1:c2:d3:e4:f5"), "A0B1C2D3E4F5");
    EXPECT_STREQ(parse_mac("a0-b1-c2-d3-e4-f5"), "A0B1C2D3E4F5");
    EXPECT_STREQ(parse_mac("aa:bb:cc:dd:ee:ff:gg:h"), "AABBCCDDEEFFgg:h");
    EXPECT_EQ(strlen(parse_mac(std::string(400, 'a').c_str())), 127u);

    char out[64];
    conv_items_xss("a&lt;b&#41;&amp;x", out, sizeof out);
    EXPECT_STREQ(out, "a<b)&amp;x");
    conv_items_xss("abcdef", out, 4);
    EXPECT_STREQ(out, "abc");
    conv_items_xss(nullptr, out, sizeof out);
    EXPECT_STREQ(out, "");
    // Only the first 511 characters of a name are considered.
    char big[1024];
    conv_items_xss(std::string(900, 'n').c_str(), big, sizeof big);
    EXPECT_EQ(strlen(big), 511u);
}

using StoreTest = TempDirTest;

TEST_F(StoreTest, CheckTime)
{
    ASSERT_EQ(config_set("check_time", "2024_3.7_9:5:0"), 0);
    std::string before = slurp(path("config.store"));
    EXPECT_STREQ(get_check_time(), "2024_3.7_9:5:0");
    EXPECT_EQ(slurp(path("config.store")), before);

    // Seconds since boot become the local date of that moment, written back.
    ASSERT_EQ(config_set("check_time", "100"), 0);
    time_t moment = time(nullptr) - get_uptime() + 100;
    std::string got = get_check_time();
    struct tm local {};
    localtime_r(&moment, &local);
    char want[64];
    snprintf(want, sizeof want, "%d_%d.%d_%d:", local.tm_year + 1900, local.tm_mon + 1,
             local.tm_mday, local.tm_hour);
    EXPECT_EQ(got.rfind(want, 0), 0u) << got;
    EXPECT_STREQ(config_get("check_time"), got.c_str());

    // The largest offset lands 68 years on, past 2038: never wrapped back to
    // 1901 by a 32-bit time_t.
    ASSERT_EQ(config_set("check_time", "99999999999"), 0);
    EXPECT_GE(atoi(get_check_time()), local.tm_year + 1900 + 67);
}

TEST_F(StoreTest, WanOnDemand)
{
    config_set("wan_proto", "pppoe");
    config_set("wan_pppoe_demand", "0");
    config_set("wan_pptp_demand", "1");
    EXPECT_EQ(is_wan_on_demand(), 0);
    config_set("wan_proto", "pptp");
    EXPECT_EQ(is_wan_on_demand(), 1);
}

TEST(UnitText, Md5Digest)
{
    EXPECT_STREQ(zol_md5_transform(""), "");
    EXPECT_STREQ(zol_md5_transform("ABC123"), "bbf2dead374654cbb32a917afd236656");
    EXPECT_FALSE(file_exists("/tmp/router-analytics/zol_md5_code"));
    // A text with shell characters is hashed as it is.
    EXPECT_STREQ(zol_md5_transform("a'b; rm -rf x"), "95823512e4f60a8cc96a2cfbacccb640");
}

}  // namespace
