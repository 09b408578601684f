// Radio lookups: the awkward rows of each table and the store-backed readers.
#include "collect_wifi.h"
#include "config_store.h"
#include "test_util.h"

#include <cstring>
#include <string>

TEST(WifiTables, RateClassByBuildModelAndMode) {
    struct Case {
        const char* pre;
        const char* mode;
        WifiBuild build;
        const char* model;
        const char* label;
    } cases[] = {
        {"wla", "3", WifiBuild::ax, "ZT960", "Up to 2.9 Gbps"},
        {"wla", "9", WifiBuild::ax, "ZT5205", "Up to 2.9 Gbps"},  // begins with ZT520
        {"wla", "2", WifiBuild::ax, "ZT480", "Up to 1.1 Gbps"},
        {"wla", "10", WifiBuild::ax, "ZT450X", "Up to 4.3 Gbps"},
        {"wla", "1", WifiBuild::ax, "ZT4400", "Up to 0.4 Gbps"},  // ZT440 is a whole-name test
        {"wla", "8", WifiBuild::ax, "ZT430", "Up to 0.8 Gbps"},
        {"wla", "", WifiBuild::ax, "ZT430", "Up to 0.4 Gbps"},  // unset: low
        {"wla", "-3", WifiBuild::ax, "ZT960", "Up to 0.7 Gbps"},
        {"wla", "junk", WifiBuild::ax, "ZT960", "Up to 0.7 Gbps"},
        {"wla_6g", "5", WifiBuild::ax, "ZT990", "Up to 5.8 Gbps"},
        {"wla_6g", "10", WifiBuild::ax, "ZT990", "Up to 11.5 Gbps"},
        {"wla1", "4", WifiBuild::ax, "", "Up to 0.7 Gbps"},
        {"wl", "6", WifiBuild::ax, "ZT580", "Up to 0.6 Gbps"},
        {"wl", "2", WifiBuild::ax, "ZT960", "Up to 0.4 Gbps"},
        {"wl", "10", WifiBuild::ax, "ZT960", "Up to 0.3 Gbps"},  // undefined index
        {"wl", "1", WifiBuild::ax, "ZT960", "Up to 0.3 Gbps"},
        // Link rates in Mbps never match a row: always the first label.
        {"wla", "3", WifiBuild::ax_qw55, "QW55", "Up to 0.3 Gbps"},
        {"wla_6g", "10", WifiBuild::legacy, "ZT960", "Up to 0.3 Gbps"},
        {"wla", "10", WifiBuild::legacy, "ZT960", "Up to 0.3 Gbps"},  // index 0
    };
    for (const Case& c : cases)
        EXPECT_STREQ(wlan_mode_label(c.pre, c.mode, c.build, c.model), c.label)
            << c.pre << " mode " << c.mode << " model " << c.model;
    EXPECT_EQ(wifimode[19].mode_id, -1);
    EXPECT_EQ(wifimode[19].mode, nullptr);
}

TEST(WifiTables, SecurityRegionInterfaceBand) {
    EXPECT_STREQ(wlan_sec_label("2", "5"), "WEP64");
    EXPECT_STREQ(wlan_sec_label("2", "13"), "WEP128");
    EXPECT_STREQ(wlan_sec_label("2", ""), "WEP128");
    EXPECT_STREQ(wlan_sec_label("8", ""), "WPA2-PSK[AES]+WPA3-PSK");
    EXPECT_STREQ(wlan_sec_label("4 ", ""), "None");  // whole-string comparison
    EXPECT_STREQ(wlan_sec_label("9", ""), "None");
    EXPECT_STREQ(wlan_sec_label("", ""), "None");

    EXPECT_STREQ(wlan_region_label(""), "US");
    EXPECT_STREQ(wlan_region_label("5"), "US");
    EXPECT_STREQ(wlan_region_label("25"), "AE");
    EXPECT_STREQ(wlan_region_label("99999999999999999999"), "US");

    EXPECT_STREQ(wlan_ifname("wla_6g", true), "");
    EXPECT_STREQ(wlan_ifname("wla_6g1", false), "wl0.1");
    EXPECT_STREQ(wlan_ifname("wl", false), "wl2");
    EXPECT_STREQ(wlan_ifname("wlan", false), "");

    EXPECT_STREQ(radio_band("wl0.1", true), "5G");
    EXPECT_STREQ(radio_band("wl2", true), "");
    EXPECT_STREQ(radio_band("eth0", false), "");
    EXPECT_STREQ(radio_band("wl", false), "");
}

TEST(WifiTables, PurposesChannelsAndStatusLines) {
    struct Case {
        const char* ifname;
        const char* lower;
        const char* title;
    } cases[] = {
        {"wl0.2", "backhaul", "Backhaul"}, {"wl1.3", "iot", "IOT"}, {"wl2", "main", "Primary"},
        {"wl1.1", "guest", "Guest"},       {"wl0.1.2", "backhaul", "Backhaul"},
    };
    for (const Case& c : cases) {
        EXPECT_STREQ(get_if_purpose(c.ifname), c.lower) << c.ifname;
        EXPECT_STREQ(get_wifi_ra_purpose(c.ifname), c.title) << c.ifname;
    }
    EXPECT_EQ(get_start_channel("36 40 44 48"), 36);
    EXPECT_EQ(get_end_channel("36 40 44 48"), 48);
    EXPECT_EQ(get_start_channel("149"), 149);
    EXPECT_EQ(get_end_channel("149"), 149);
    EXPECT_EQ(get_end_channel("36 40 "), 0);
    EXPECT_EQ(get_end_channel("1 99999999999999999999"), 2147483647);

    EXPECT_EQ(enable_ap_line("ONLINE"), 1);
    EXPECT_EQ(enable_ap_line("Up 3 days"), 1);
    EXPECT_EQ(enable_ap_line("on"), 0);
    EXPECT_EQ(enable_ap_line("UP"), 0);
    EXPECT_EQ(enable_ap_line(""), 0);
    EXPECT_EQ(enable_ap_line("O"), 0);

    // A router with one 5 GHz radio prints headers every 5G entry still matches.
    const char* line = "###5G Guest### wl1.1";
    bool matched = false;
    for (const char* const* h = prefix_5g; *h; ++h)
        matched = matched || strncmp(line, *h, strlen(*h)) == 0;
    EXPECT_TRUE(matched);
}

class WifiReaders : public TempDirTest {};

TEST_F(WifiReaders, StoreKeysAndFiles) {
    std::string pre(60, 'p');
    // The security key takes the prefix cut to 48 characters, the key length the whole.
    config_set((pre.substr(0, 48) + "_sectype").c_str(), "2");
    config_set((pre + "_key_length").c_str(), "5");
    EXPECT_STREQ(get_wlan_sec(pre.c_str()), "WEP64");
    config_set((pre.substr(0, 48) + "_key_length").c_str(), "5");
    config_unset((pre + "_key_length").c_str());
    EXPECT_STREQ(get_wlan_sec(pre.c_str()), "WEP128");

    config_set("wla_country", "21");
    EXPECT_STREQ(get_wlan_region("wla"), "TW");
    config_set("radio_number", "0x3");
    EXPECT_STREQ(get_wlan_IFname("wla"), "wl0");
    EXPECT_STREQ(get_radio_band("wl1.1"), "2G");
    config_set("radio_number", "0x7");
    EXPECT_STREQ(get_wlan_IFname("wla"), "wl1");

    EXPECT_EQ(enable_ap(put("status", "Up\n").c_str()), 1);
    EXPECT_EQ(enable_ap(put("empty", "").c_str()), 0);
    EXPECT_EQ(enable_ap(path("missing").c_str()), 0);
    EXPECT_EQ(get_wlan_status("wlg1"), 0);

    EXPECT_EQ(interface_exists("lo"), 1);
    EXPECT_EQ(interface_exists("lo0-none"), 0);
}
