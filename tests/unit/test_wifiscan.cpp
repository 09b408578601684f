// Parsing of the radios' site survey listings into the wifiScanResult array.
#include <gtest/gtest.h>

#include <string>

#include "collect_wifiscanresult.h"
#include "zol_json.h"

namespace {

struct Parsed {
    JsonPtr list{json_object_new_array()};
    int ssids = 0;
    size_t size() const { return json_object_array_length(list.get()); }
    // Compact text of element i: member order, types and values at once.
    std::string text(size_t i) const {
        return json_object_to_json_string_ext(json_object_array_get_idx(list.get(), i),
                                              JSON_C_TO_STRING_PLAIN);
    }
    std::string str(size_t i, const char* key) const {
        json_object* v = nullptr;
        json_object_object_get_ex(json_object_array_get_idx(list.get(), i), key, &v);
        return json_object_get_string(v);
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

TEST(WifiScan, BlockBecomesOneObjectInCloudOrder) {
    Parsed p = parse(kBlock, "5g");
    ASSERT_EQ(p.size(), 1u);
    EXPECT_EQ(p.ssids, 1);
    EXPECT_EQ(p.text(0),
              R"({"frequencyBand":"5G","ssidName":"Kitchen 5G","bssMac":"9c:3d:cf:12:34:56",)"
              R"("bssMLDMac":"","bssBW":"80","bssMainChannel":36,"bssRssi":"-67","bssSNR":"25",)"
              R"("bssNoise":"-92","bssColor":42,"bssHT":1,"bssVHT":1,"bssHE":0,"bssEHT":0,)"
              R"("bssBasicRate":6})");

    // Hidden network, no colour, no Chanspec.
    p = parse("SSID: \"\"\nSupported HE MCS: 0-11\nQBSS Channel Utilization: 0x05 (2 %)\n", "2g");
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
