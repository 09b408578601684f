// The wifiScanResult event from the sample router's site survey (and from a
// survey far over the 128 KiB ceiling), and the credential commands "prod",
// "dev" and "interleave".
#include "sim_harness.h"

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace {

const char kScanDoc[] = "/tmp/aws_json_wifiScanResult";
const char kTooLarge[] = "JSON FILE SIZE IS TOO LARGE, MAX JSON SIZE is 128k";

// "band ssid" of every element of the merged list.
std::vector<std::string> networks(const SimResult& r) {
    std::vector<std::string> out;
    SimJson doc = r.json(kScanDoc);
    json_object* list = doc ? json_at(doc.get(), "wifiScanResult.wifiScanResult") : nullptr;
    for (size_t i = 0; list && i < json_object_array_length(list); ++i) {
        json_object* bss = json_object_array_get_idx(list, i);
        out.push_back(json_str(bss, "frequencyBand") + " " + json_str(bss, "ssidName"));
    }
    return out;
}

size_t count_prefix(const std::vector<std::string>& v, const std::string& prefix) {
    size_t n = 0;
    for (const auto& s : v) n += s.compare(0, prefix.size(), prefix) == 0;
    return n;
}

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

TEST(ScanResultSim, SurveyOfTheSampleRouter) {
    REQUIRE_SIM();
    SimResult r = run_in_router({"data_collector", "wifiScanResult"});
    ASSERT_EQ(r.status, 0) << r.err;
    SimJson doc = r.json(kScanDoc);
    ASSERT_TRUE(doc);
    EXPECT_EQ(member_names(doc.get()), (std::vector<std::string>{"routerHardware", "wifiScanResult"}));
    EXPECT_EQ(json_object_get_int(json_at(doc.get(), "routerHardware.eventType")), 22);
    json_object* first = json_at(doc.get(), "wifiScanResult.wifiScanResult.0");
    EXPECT_EQ(json_str(first, "bssMac"), "2c:a9:d5:bf:12:8e");
    EXPECT_EQ(json_object_get_int(json_at(first, "bssColor")), 0x27);

    // 40, 35 and 15 networks; one legacy block per band has no channel-load
    // line and is folded into the next block, but its SSID still counts.
    const std::vector<std::string> nets = networks(r);
    EXPECT_EQ(count_prefix(nets, "2G "), 38u);
    EXPECT_EQ(count_prefix(nets, "5G "), 33u);
    EXPECT_EQ(count_prefix(nets, "6G "), 14u);
    ASSERT_EQ(nets.size(), 85u);
    EXPECT_EQ(nets[1], "2G ");  // hidden network
    EXPECT_EQ(nets.back(), "6G Sunset Lofts Guest");
    EXPECT_TRUE(has(r.out, "#### wifiScanResult: total SSID count (90)\n"));
    EXPECT_FALSE(has(r.out, kTooLarge));
    EXPECT_FALSE(r.exists("/tmp/RA_json_scanresult"));

    // A two-radio router never reads the 6 GHz file; missing files are reported.
    Scenario two;
    two.store["radio_number"] = "0x3";
    two.remove = {"/tmp/router-analytics/wifi_scan_file_2g"};
    r = run_in_router({"data_collector", "wifiScanResult"}, two);
    EXPECT_TRUE(has(r.out, "open file failed !! (/tmp/router-analytics/wifi_scan_file_2g)\n"));
    EXPECT_FALSE(has(r.out, "wifi_scan_file_6g"));
    EXPECT_EQ(networks(r).size(), 33u);
    EXPECT_EQ(count_prefix(networks(r), "5G "), 33u);
}

// A 2.4 GHz survey of thousands of networks, far over the ceiling.
std::string bulk_survey(int blocks) {
    std::string text;
    char buf[640];
    for (int i = 0; i < blocks; ++i) {
        snprintf(buf, sizeof(buf),
                 "SSID: \"bulk-%04d\"\n"
                 "Mode: Managed\tRSSI: -%d dBm\tSNR: %d dB\tnoise: -92 dBm\tFlags: RSSI on-channel \tChannel: 6/20\n"
                 "BSSID: 02:00:00:00:%02x:%02x\tCapability: ESS Privacy ShortSlot RRM \n"
                 "HT Capable:\n\tChanspec: 2.4GHz channel 6 20MHz (0x1006)\n\tPrimary channel: 6\n"
                 "\tSupported HT MCS : 0-15\n\tSupported HE MCS:\n\tBSS Color: %x\n"
                 "QBSS Channel Utilization: 0x20 (12 %%)\n\n",
                 i, 40 + i % 50, 52 - i % 50, (i >> 8) & 0xff, i & 0xff, 1 + i % 63);
        text += buf;
    }
    return text;
}

TEST(ScanResultSim, OversizedSurveyKeepsItsTail) {
    REQUIRE_SIM();
    const int kBlocks = 3000;
    Scenario sc;
    sc.files["/tmp/router-analytics/wifi_scan_file_2g"] = bulk_survey(kBlocks);
    SimResult r = run_in_router({"data_collector", "wifiScanResult"}, sc);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(has(r.out, std::string(kTooLarge) + "\n"));
    EXPECT_TRUE(has(r.file("/tmp/RA_collect.log"), std::string(kTooLarge) + " (wifiScanResult)"));
    EXPECT_FALSE(r.exists("/tmp/RA_json_scanresult"));
    EXPECT_LE(r.file(kScanDoc).size(), 131072u);
    SimJson doc = r.json(kScanDoc);
    ASSERT_TRUE(doc);
    EXPECT_EQ(json_object_get_int(json_at(doc.get(), "routerHardware.eventType")), 22);

    // The oldest elements went first: the last bulk networks remain in order,
    // followed by the whole 5 GHz and 6 GHz lists.
    const std::vector<std::string> nets = networks(r);
    const size_t bulk = count_prefix(nets, "2G bulk-");
    ASSERT_GT(bulk, 50u);
    ASSERT_LT(bulk, static_cast<size_t>(kBlocks));
    ASSERT_EQ(nets.size(), bulk + 47);
    char name[32];
    for (size_t i = 0; i < bulk; ++i) {
        snprintf(name, sizeof(name), "2G bulk-%04zu", kBlocks - bulk + i);
        ASSERT_EQ(nets[i], name) << "element " << i;
    }
    EXPECT_EQ(nets.back(), "6G Sunset Lofts Guest");
}

// ---- credentials ---------------------------------------------------------------

// The material file of the build's credential directory as the collector
// writes it: every line closed by "\n".
std::string material(const std::string& stage, const std::string& name) {
    std::ifstream cache(std::string(DC_BUILD_DIR) + "/CMakeCache.txt");
    std::string line, dir = std::string(DC_SOURCE_DIR) + "/sim/credentials";
    const std::string key = "DC_CREDENTIALS_DIR:PATH=";
    while (std::getline(cache, line))
        if (line.compare(0, key.size(), key) == 0) dir = line.substr(key.size());
    std::ifstream in(dir + "/" + stage + "/" + name);
    std::string out;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty()) out += line + "\n";
    }
    return out;
}

const char* const kNames[] = {"certificate.pem.crt", "private.pem.key", "rootCA.crt"};

std::string ra(const std::string& name) { return "/tmp/router-analytics/" + name; }

TEST(CredentialsSim, WriteAppendAndInterleave) {
    REQUIRE_SIM();
    SimResult r = run_in_router({"sh", "-c", "data_collector prod; data_collector dev; data_collector dev"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out + r.err, "");  // nothing of the material is printed
    for (const char* name : kNames) {
        const std::string prod = material("prod", name), dev = material("dev", name);
        ASSERT_FALSE(dev.empty()) << name;
        EXPECT_NE(prod, dev);
        EXPECT_EQ(r.file(ra(name)), prod + dev + dev) << name;
    }

    r = run_in_router({"sh", "-c", "data_collector dev && data_collector interleave"});
    ASSERT_EQ(r.status, 0) << r.err;
    for (const char* name : kNames) {
        EXPECT_FALSE(r.exists(ra(name))) << name;
        const std::string plain = material("dev", name);
        const std::string hidden = r.file(ra(std::string(".") + name));
        ASSERT_EQ(hidden.size(), plain.size()) << name;
        EXPECT_NE(hidden, plain) << name;
        const size_t tail = plain.size() - plain.size() % 128;
        EXPECT_EQ(hidden.substr(tail), plain.substr(tail)) << name;
    }

    r = run_in_router({"sh", "-c",
                       "data_collector dev && rm /tmp/router-analytics/rootCA.crt && "
                       "data_collector interleave"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(has(r.err, "open in file /tmp/router-analytics/rootCA.crt fail: "));
    for (const char* name : kNames) {
        EXPECT_FALSE(r.exists(ra(name))) << name;
        EXPECT_FALSE(r.exists(ra(std::string(".") + name))) << name;
    }
}

}  // namespace
