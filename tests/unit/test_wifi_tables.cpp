// Radio lookups: the awkward rows of each table and the store-backed readers;
// the radios' site survey listings parsed into the wifiScanResult array.
#include "collect_wifi.h"
#include "collect_wifiscanresult.h"
#include "test_util.h"

TEST(WifiTables, RateClassByBuildModelAndMode) {
    // Link rates in Mbps (QW55, legacy builds) never match a row: always the
    // first label. ZT440 is a whole-name test, ZT520 a prefix; "10" on wl an
    // undefined index; an unset mode is low.
    struct Case { const char *pre, *mode; WifiBuild build; const char *model, *label; } cases[] = {
        {"wla", "3", WifiBuild::ax, "ZT960", "Up to 2.9 Gbps"},  {"wla", "9", WifiBuild::ax, "ZT5205", "Up to 2.9 Gbps"},
        {"wla", "2", WifiBuild::ax, "ZT480", "Up to 1.1 Gbps"},  {"wla", "10", WifiBuild::ax, "ZT450X", "Up to 4.3 Gbps"},
        {"wla", "1", WifiBuild::ax, "ZT4400", "Up to 0.4 Gbps"}, {"wla", "8", WifiBuild::ax, "ZT430", "Up to 0.8 Gbps"},
        {"wla", "", WifiBuild::ax, "ZT430", "Up to 0.4 Gbps"},   {"wla", "-3", WifiBuild::ax, "ZT960", "Up to 0.7 Gbps"},
        {"wla", "junk", WifiBuild::ax, "ZT960", "Up to 0.7 Gbps"}, {"wla_6g", "5", WifiBuild::ax, "ZT990", "Up to 5.8 Gbps"},
        {"wla_6g", "10", WifiBuild::ax, "ZT990", "Up to 11.5 Gbps"}, {"wla1", "4", WifiBuild::ax, "", "Up to 0.7 Gbps"},
        {"wl", "6", WifiBuild::ax, "ZT580", "Up to 0.6 Gbps"},   {"wl", "2", WifiBuild::ax, "ZT960", "Up to 0.4 Gbps"},
        {"wl", "10", WifiBuild::ax, "ZT960", "Up to 0.3 Gbps"},  {"wl", "1", WifiBuild::ax, "ZT960", "Up to 0.3 Gbps"},
        {"wla", "3", WifiBuild::ax_qw55, "QW55", "Up to 0.3 Gbps"},
        {"wla_6g", "10", WifiBuild::legacy, "ZT960", "Up to 0.3 Gbps"},
        {"wla", "10", WifiBuild::legacy, "ZT960", "Up to 0.3 Gbps"},
    };
    for (const Case& c : cases)
        EXPECT_STREQ(wlan_mode_label(c.pre, c.mode, c.build, c.model), c.label)
            << c.pre << " mode " << c.mode << " model " << c.model;
}

TEST(WifiTables, SecurityRegionInterfaceBandPurposeChannelsAndStatusLines) {
    auto num = [](long n) { return std::to_string(n); };
    expect_all({{wlan_sec_label("2", "5"), "WEP64"}, {wlan_sec_label("2", "13"), "WEP128"},
                {wlan_sec_label("2", ""), "WEP128"}, {wlan_sec_label("8", ""), "WPA2-PSK[AES]+WPA3-PSK"},
                {wlan_sec_label("4 ", ""), "None"},  // whole-string comparison
                {wlan_sec_label("9", ""), "None"},   {wlan_sec_label("", ""), "None"},
                {wlan_region_label(""), "US"},       {wlan_region_label("5"), "US"},
                {wlan_region_label("25"), "AE"},     {wlan_region_label("99999999999999999999"), "US"},
                {wlan_ifname("wla_6g", true), ""},   {wlan_ifname("wla_6g1", false), "wl0.1"},
                {wlan_ifname("wl", false), "wl2"},   {wlan_ifname("wlan", false), ""},
                {radio_band("wl0.1", true), "5G"},   {radio_band("wl2", true), ""},
                {radio_band("eth0", false), ""},     {radio_band("wl", false), ""},
                {get_if_purpose("wl0.2"), "backhaul"}, {get_wifi_ra_purpose("wl0.2"), "Backhaul"},
                {get_if_purpose("wl1.3"), "iot"},      {get_wifi_ra_purpose("wl1.3"), "IOT"},
                {get_if_purpose("wl2"), "main"},       {get_wifi_ra_purpose("wl2"), "Primary"},
                {get_if_purpose("wl1.1"), "guest"},    {get_wifi_ra_purpose("wl1.1"), "Guest"},
                {get_if_purpose("wl0.1.2"), "backhaul"}, {get_wifi_ra_purpose("wl0.1.2"), "Backhaul"},
                {num(get_start_channel("36 40 44 48")), "36"}, {num(get_end_channel("36 40 44 48")), "48"},
                {num(get_start_channel("149")), "149"},        {num(get_end_channel("149")), "149"},
                {num(get_end_channel("36 40 ")), "0"},
                {num(get_end_channel("1 99999999999999999999")), "2147483647"},
                {num(enable_ap_line("ONLINE")), "1"}, {num(enable_ap_line("Up 3 days")), "1"},
                {num(enable_ap_line("on")), "0"},     {num(enable_ap_line("UP")), "0"},
                {num(enable_ap_line("")), "0"},       {num(enable_ap_line("O")), "0"}});

    // A router with one 5 GHz radio prints headers every 5G entry still matches.
    const char* line = "###5G Guest### wl1.1";
    bool matched = false;
    for (const char* const* h = prefix_5g; *h; ++h)
        matched = matched || strncmp(line, *h, strlen(*h)) == 0;
    EXPECT_TRUE(matched);
}

using WifiReaders = TempDirTest;

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
    config_set("radio_number", "0x3");
    expect_all({{get_wlan_region("wla"), "TW"}, {get_wlan_IFname("wla"), "wl0"}, {get_radio_band("wl1.1"), "2G"}});
    config_set("radio_number", "0x7");
    EXPECT_STREQ(get_wlan_IFname("wla"), "wl1");
    auto num = [](long n) { return std::to_string(n); };
    expect_all({{num(enable_ap(put("status", "Up\n").c_str())), "1"}, {num(enable_ap(put("empty", "").c_str())), "0"},
                {num(enable_ap(path("missing").c_str())), "0"}, {num(get_wlan_status("wlg1")), "0"},
                {num(interface_exists("lo")), "1"}, {num(interface_exists("lo0-none")), "0"}});
}

namespace {

struct Parsed {
    JsonPtr list{json_object_new_array()};
    int ssids = 0;
    size_t size() const { return json_object_array_length(list.get()); }
    std::string text(size_t i) const { return json_text(json_object_array_get_idx(list.get(), i)); }
    std::string str(size_t i, const char* key) const {
        return member_text(json_object_array_get_idx(list.get(), i), key);
    }
};

Parsed parse(const std::string& text, const char* band) {
    Parsed p;
    p.ssids = parse_wifi_scan_text(text, band, p.list.get());
    return p;
}

const char kBlock[] =
    "SSID: \"Kitchen 5G\"\n"
    "Mode: Managed\tRSSI: -67 dBm\tSNR: 25 dB\tnoise: -92 dBm\tFlags: RSSI on-channel\tChannel: 36/80\n"
    "BSSID: 9c:3d:cf:12:34:56\tCapability: ESS Privacy ShortSlot RRM\n"
    "HT Capable:\n"
    "\tChanspec: 5GHz channel 42 80MHz (0xe02a)\n"
    "\tPrimary channel: 36\n"
    "\tSupported HT MCS : 0-31\n"
    "\tSupported VHT MCS:\n"
    "\tBSS Color: 2a\n"
    "QBSS Channel Utilization: 0x1f (12 %)\n";

// A whole block is the sample router's (the golden wifiScanResult): here a
// hidden network without colour or Chanspec.
TEST(WifiScan, BlockWithoutItsOptionalLines) {
    Parsed p = parse("SSID: \"\"\nSupported HE MCS: 0-11\nQBSS Channel Utilization: 0x05 (2 %)\n", "2g");
    ASSERT_EQ(p.size(), 1u);
    EXPECT_EQ(p.text(0),
              R"({"frequencyBand":"2G","ssidName":"","bssMac":"","bssMLDMac":"","bssBW":"0",)"
              R"("bssMainChannel":0,"bssRssi":"","bssSNR":"","bssNoise":"","bssColor":-1,)"
              R"("bssHT":0,"bssVHT":0,"bssHE":1,"bssEHT":0,"bssBasicRate":1})");
}

TEST(WifiScan, ListingQuirks) {
    // A block without its closing line is mixed into the next one; every SSID
    // line counts, emitted or not.
    Parsed p = parse("SSID: \"first\"\nBSS Color: 1F\n"
                     "SSID: \"second\"\nQBSS Channel Utilization: 0x10\n"
                     "SSID: \"never closed\"\n",
                     "5g");
    ASSERT_EQ(p.size(), 1u);
    EXPECT_EQ(p.ssids, 3);
    EXPECT_EQ(p.str(0, "ssidName"), "second");
    EXPECT_NE(p.text(0).find(R"("bssColor":31)"), std::string::npos);

    // Every field is bounded.
    p = parse("SSID: \"" + std::string(300, 'S') + "\"\n"
              "BSSID: 00:11:22:33:44:55:66:77:88\n"
              "RSSI: -1234567890123456789 dBm SNR: 12345678901234567890 dB noise: x\n"
              "QBSS Channel Utilization\n",
              "5g");
    ASSERT_EQ(p.size(), 1u);
    EXPECT_EQ(p.str(0, "ssidName"), std::string(127, 'S'));
    EXPECT_EQ(p.str(0, "bssMac") + p.str(0, "bssRssi") + p.str(0, "bssSNR"),
              "00:11:22:33:44:55-12345678901234123456789012345");
}

TEST(WifiScan, OverlongLinesAndBinaryJunk) {
    // A 100 kB line is consumed in pieces: a label split across two pieces is
    // not seen, and the block after the line still is.
    std::string junk(100000, 'x');
    junk.replace(501, 24, "QBSS Channel Utilization");
    Parsed p = parse(junk + "\n" + kBlock, "5g");
    ASSERT_EQ(p.size(), 1u);
    EXPECT_EQ(p.str(0, "ssidName"), "Kitchen 5G");

    std::string binary;
    for (int i = 0; i < 200000; ++i) binary.push_back(static_cast<char>((i * 7919) % 256));
    p = parse(binary + "\n" + kBlock + binary, "6g");
    ASSERT_EQ(p.size(), 1u);
    EXPECT_EQ(p.str(0, "ssidName"), "Kitchen 5G");
}

}  // namespace
