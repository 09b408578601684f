// Parsing of the radios' site survey listings into the wifiScanResult array.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "collect_wifiscanresult.h"
#include "zol_json.h"

namespace {

struct Parsed {
    JsonPtr list{json_object_new_array()};
    int ssids = 0;
    size_t size() const { return json_object_array_length(list.get()); }
    json_object* get(size_t i, const char* key) const {
        json_object* v = nullptr;
        json_object_object_get_ex(json_object_array_get_idx(list.get(), i), key, &v);
        return v;
    }
    std::string str(size_t i, const char* key) const { return json_object_get_string(get(i, key)); }
    int num(size_t i, const char* key) const { return json_object_get_int(get(i, key)); }
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

TEST(WifiScan, BlockBecomesOneObjectInCloudOrder) {
    Parsed p = parse(kBlock, "5g");
    ASSERT_EQ(p.size(), 1u);
    EXPECT_EQ(p.ssids, 1);
    std::vector<std::string> keys;
    json_object_object_foreach(json_object_array_get_idx(p.list.get(), 0), key, val) {
        (void)val;
        keys.push_back(key);
    }
    EXPECT_EQ(keys, (std::vector<std::string>{
                        "frequencyBand", "ssidName", "bssMac", "bssMLDMac", "bssBW",
                        "bssMainChannel", "bssRssi", "bssSNR", "bssNoise", "bssColor", "bssHT",
                        "bssVHT", "bssHE", "bssEHT", "bssBasicRate"}));
    EXPECT_EQ(p.str(0, "frequencyBand"), "5G");
    EXPECT_EQ(p.str(0, "ssidName"), "Kitchen 5G");
    EXPECT_EQ(p.str(0, "bssMac"), "9c:3d:cf:12:34:56");
    EXPECT_EQ(p.str(0, "bssMLDMac"), "");
    EXPECT_TRUE(json_object_is_type(p.get(0, "bssBW"), json_type_string));
    EXPECT_EQ(p.str(0, "bssBW"), "80");
    EXPECT_EQ(p.num(0, "bssMainChannel"), 36);
    EXPECT_EQ(p.str(0, "bssRssi") + p.str(0, "bssSNR") + p.str(0, "bssNoise"), "-6725-92");
    EXPECT_EQ(p.num(0, "bssColor"), 42);
    EXPECT_EQ(p.num(0, "bssHT") * 1000 + p.num(0, "bssVHT") * 100 + p.num(0, "bssHE") * 10 +
                  p.num(0, "bssEHT"),
              1100);
    EXPECT_EQ(p.num(0, "bssBasicRate"), 6);
    EXPECT_EQ(parse(kBlock, "2g").num(0, "bssBasicRate"), 1);
    EXPECT_EQ(parse(kBlock, "6g").str(0, "frequencyBand"), "6G");
}

TEST(WifiScan, ListingQuirks) {
    // Hidden network, no colour, no Chanspec; HE and EHT.
    Parsed p = parse("SSID: \"\"\nSupported HE MCS: 0-11\nSupported EHT MCS: 0-13\n"
                     "QBSS Channel Utilization: 0x05 (2 %)\n",
                     "2g");
    ASSERT_EQ(p.size(), 1u);
    EXPECT_EQ(p.str(0, "ssidName"), "");
    EXPECT_EQ(p.num(0, "bssColor"), -1);
    EXPECT_EQ(p.str(0, "bssBW"), "0");
    EXPECT_EQ(p.num(0, "bssHE") + p.num(0, "bssEHT"), 2);

    // A block without its closing line is folded into the next one; every SSID
    // line counts, emitted or not. RSSI without SNR and noise is not read.
    p = parse("SSID: \"first\"\nBSS Color: 1F\nFlags: RSSI: -40 dBm\n"
              "SSID: \"second\"\nBSSID: bb:bb:bb:bb:bb:bb\nQBSS Channel Utilization: 0x10\n"
              "SSID: \"never closed\"\n",
              "5g");
    ASSERT_EQ(p.size(), 1u);
    EXPECT_EQ(p.ssids, 3);
    EXPECT_EQ(p.str(0, "ssidName"), "second");
    EXPECT_EQ(p.num(0, "bssColor"), 31);
    EXPECT_EQ(p.str(0, "bssRssi"), "");

    // Every field is bounded.
    p = parse("SSID: \"" + std::string(300, 'S') + "\"\n"
              "BSSID: 00:11:22:33:44:55:66:77:88\n"
              "RSSI: -1234567890123456789 dBm SNR: 12345678901234567890 dB noise: x\n"
              "BSS Color: zz\nQBSS Channel Utilization\n",
              "5g");
    ASSERT_EQ(p.size(), 1u);
    EXPECT_EQ(p.str(0, "ssidName"), std::string(127, 'S'));
    EXPECT_EQ(p.str(0, "bssMac"), "00:11:22:33:44:55");
    EXPECT_EQ(p.str(0, "bssRssi"), "-12345678901234");
    EXPECT_EQ(p.str(0, "bssSNR"), "123456789012345");
    EXPECT_EQ(p.num(0, "bssColor"), 0);
}

TEST(WifiScan, OverlongLinesAndBinaryJunk) {
    // A 100 kB line is consumed in 511-character pieces: a label split across
    // two pieces is not seen, and the block after the line still is.
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
