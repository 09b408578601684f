// Text, MAC, time and digest helpers shared by every collector.
#include "unit.h"

#include <config_store.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

namespace {

TEST(UnitText, BoundedCopies)
{
    char d[8];
    strncpyt(d, "abcdefghij", sizeof d);
    EXPECT_STREQ(d, "abcdefg");

    EXPECT_EQ(zol_strncpy(nullptr, "x", 4), 0);
    EXPECT_EQ(zol_strncpy(d, nullptr, 4), 0);
    EXPECT_EQ(zol_strncpy(d, "abcdef", 4), 1);
    EXPECT_STREQ(d, "abc");

    // Refuses to truncate: a source of n-1 or more characters adds nothing.
    char cat[16] = "x";
    EXPECT_EQ(zol_strncat(cat, "abc", 4), nullptr);
    EXPECT_STREQ(cat, "x");
    EXPECT_EQ(zol_strncat(cat, "ab", 4), cat);
    EXPECT_STREQ(cat, "xab");
    EXPECT_EQ(zol_strncat(cat, "a", 0), nullptr);

    std::string big(3000, 'q');
    EXPECT_EQ(strlen(str_replace(big.c_str())), 2047u);
}

TEST(UnitText, Numbers)
{
    EXPECT_EQ(zol_atoi(nullptr), 0);
    EXPECT_EQ(zol_atoi("42kB"), 42);
    EXPECT_EQ(is_Number("0123"), 1);
    for (const char* bad : {"", "-1", " 1", "1a", "+3"})
        EXPECT_EQ(is_Number(bad), 0) << bad;
    EXPECT_EQ(is_Number(nullptr), 0);
}

TEST(UnitText, Fields)
{
    char line[] = "MemTotal:        1000 kB\n";
    EXPECT_STREQ(last_str(line), "1000");
    char pct[] = "37%used";
    EXPECT_STREQ(parse_parmetrs(pct), "37");

    char out[16];
    extraction_string_bychar("  a  b c", ' ', 2, out, 16);
    EXPECT_STREQ(out, "b");
    extraction_string_bychar("  a  b c", ' ', 4, out, 16);
    EXPECT_STREQ(out, "");
    extraction_string_bychar("x abcdefgh\n", ' ', 2, out, 4);
    EXPECT_STREQ(out, "abc");
    extraction_string_bychar("x y\nz", ' ', 2, out, 16);
    EXPECT_STREQ(out, "y");
    extraction_string_bychar("abc", '\0', 2, out, 16);  // must not run past the end
    EXPECT_STREQ(out, "");

    char field[8] = {0};
    get_data_from_string("a,,ccc,d", field, ',', 3, 7);
    EXPECT_STREQ(field, "ccc");
    char empty[8] = {0};
    get_data_from_string("a,,ccc", empty, ',', 2, 7);
    EXPECT_STREQ(empty, "");
    char bounded[8] = {0};
    get_data_from_string("abcdefgh", bounded, ',', 1, 3);
    EXPECT_STREQ(bounded, "abc");
}

TEST(UnitText, MacForms)
{
    EXPECT_STREQ(parse_mac("a0:b1:c2:d3:e4:f5"), "A0B1C2D3E4F5");
    EXPECT_STREQ(parse_mac("a0-b1-c2-d3-e4-f5"), "A0B1C2D3E4F5");
    EXPECT_STREQ(parse_mac(""), "");
    EXPECT_STREQ(parse_mac("aa:bb:cc:dd:ee:ff:gg:h"), "AABBCCDDEEFFgg:h");
    EXPECT_EQ(strlen(parse_mac(std::string(400, 'a').c_str())), 127u);
    EXPECT_STREQ(formatted_mac("a0:B1:c2"), "a0B1c2");
    EXPECT_EQ(strlen(formatted_mac(std::string(100, 'b').c_str())), 31u);
}

TEST(UnitText, HtmlEntities)
{
    char out[64];
    conv_items_xss("a&lt;b&#41;", out, sizeof out);
    EXPECT_STREQ(out, "a<b)");
    conv_items_xss("&amp;x", out, sizeof out);
    EXPECT_STREQ(out, "&amp;x");
    conv_items_xss("&#34;&#39;&#35;&#38;&#92;&gt;&#40;", out, sizeof out);
    EXPECT_STREQ(out, "\"'#&\\>(");
    conv_items_xss("abcdef", out, 4);
    EXPECT_STREQ(out, "abc");
    conv_items_xss(nullptr, out, sizeof out);
    EXPECT_STREQ(out, "");
    conv_items_xss("abc", out, 1);
    EXPECT_STREQ(out, "");
    // Only the first 511 characters of a name are considered.
    char big[1024];
    conv_items_xss(std::string(900, 'n').c_str(), big, sizeof big);
    EXPECT_EQ(strlen(big), 511u);
}

TEST(UnitText, AccessControlEntry)
{
    char allow[] = "0 aa:bb:cc:dd:ee:ff";
    EXPECT_EQ(cmp_access_device("ALLOW_device", "AA:BB:CC:DD:EE:FF", allow), 1);
    char block[] = "1 aa:bb:cc:dd:ee:ff";
    EXPECT_EQ(cmp_access_device("block_device", "aa:bb:cc:dd:ee:ff", block), 1);
    char wrong_flag[] = "1 aa:bb:cc:dd:ee:ff";
    EXPECT_EQ(cmp_access_device("allow_device", "aa:bb:cc:dd:ee:ff", wrong_flag), 0);
    char one_word[] = "0";
    EXPECT_EQ(cmp_access_device("allow_device", "aa:bb:cc:dd:ee:ff", one_word), 0);
}

class StoreTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/unit_text_test.XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        setenv("CONFIG_STORE", (dir_ + "/config.store").c_str(), 1);
    }
    void TearDown() override
    {
        unsetenv("CONFIG_STORE");
        EXPECT_EQ(run_shell(("rm -rf " + shell_quote(dir_)).c_str()), 0);
    }
    std::string store_text()
    {
        std::ifstream in(dir_ + "/config.store");
        std::stringstream ss;
        ss << in.rdbuf();
        return ss.str();
    }
    std::string dir_;
};

TEST_F(StoreTest, CheckTime)
{
    EXPECT_STREQ(parse_uptime(90061), "1 days 01:01:01");

    ASSERT_EQ(config_set("check_time", "2024_3.7_9:5:0"), 0);
    std::string before = store_text();
    EXPECT_STREQ(get_check_time(), "2024_3.7_9:5:0");
    EXPECT_EQ(store_text(), before);

    // Seconds since boot become the local date of that moment, written back.
    long offset = 100;
    ASSERT_EQ(config_set("check_time", std::to_string(offset).c_str()), 0);
    time_t moment = time(nullptr) - get_uptime() + offset;
    std::string got = get_check_time();
    struct tm local {};
    localtime_r(&moment, &local);
    char want[64];
    snprintf(want, sizeof want, "%d_%d.%d_%d:", local.tm_year + 1900, local.tm_mon + 1,
             local.tm_mday, local.tm_hour);
    EXPECT_EQ(got.rfind(want, 0), 0u) << got;
    EXPECT_STREQ(config_get("check_time"), got.c_str());
}

TEST_F(StoreTest, WanOnDemand)
{
    config_set("wan_proto", "pppoe");
    config_set("wan_pppoe_demand", "0");
    config_set("wan_pptp_demand", "1");
    EXPECT_EQ(is_wan_on_demand(), 0);
    config_set("wan_pppoe_demand", "1");
    EXPECT_EQ(is_wan_on_demand(), 1);
    config_set("wan_proto", "pptp");
    EXPECT_EQ(is_wan_on_demand(), 1);
    config_set("wan_proto", "dhcp");
    EXPECT_EQ(is_wan_on_demand(), 0);
}

TEST(UnitText, Md5Digest)
{
    EXPECT_STREQ(zol_md5_transform(""), "");
    EXPECT_STREQ(zol_md5_transform(nullptr), "");
    EXPECT_STREQ(zol_md5_transform("ABC123"), "bbf2dead374654cbb32a917afd236656");
    EXPECT_FALSE(file_exists("/tmp/router-analytics/zol_md5_code"));
    EXPECT_FALSE(file_exists("/tmp/router-analytics/zol_md5_transform"));
    // A text with shell characters is hashed as it is.
    EXPECT_STREQ(zol_md5_transform("a'b; rm -rf x"), "95823512e4f60a8cc96a2cfbacccb640");
}

}  // namespace
