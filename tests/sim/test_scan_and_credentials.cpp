// The wifiScanResult event from the sample router's site survey (and from a
// survey far over the 128 KiB ceiling), and the credential commands "prod",
// "dev" and "interleave".
#include "sim_test.h"

#include <cstdio>

const char kScanDoc[] = "/tmp/aws_json_wifiScanResult";

// "band ssid" of every element of the merged list.
static std::vector<std::string> networks(const SimResult& r) {
    std::vector<std::string> out;
    SimJson doc = r.json(kScanDoc);
    json_object* list = doc ? json_at(doc.get(), "wifiScanResult.wifiScanResult") : nullptr;
    for (size_t i = 0; list && i < json_object_array_length(list); ++i) {
        json_object* bss = json_object_array_get_idx(list, i);
        out.push_back(json_str(bss, "frequencyBand") + " " + json_str(bss, "ssidName"));
    }
    return out;
}

static size_t count_prefix(const std::vector<std::string>& v, const std::string& prefix) {
    size_t n = 0;
    for (const auto& s : v) n += s.compare(0, prefix.size(), prefix) == 0;
    return n;
}

using ScanResultSim = SimTest;

// The sample router's survey is its golden document; what it prints counts
// the SSIDs of every block, the legacy ones mixed into the next block too.
// Then a two-radio router never reads the 6 GHz file; missing files are
// reported.
TEST_F(ScanResultSim, SurveyCountAndTwoRadios) {
    SimResult r = run_ok(
        {"sh", "-c", "data_collector wifiScanResult; config set radio_number=0x3; "
                     "rm /tmp/router-analytics/wifi_scan_file_2g; data_collector wifiScanResult"});
    EXPECT_TRUE(has(r.out, "#### wifiScanResult: total SSID count (90)\n"));
    EXPECT_TRUE(has(r.out, "open file failed !! (/tmp/router-analytics/wifi_scan_file_2g)\n"));
    EXPECT_FALSE(has(r.out, "wifi_scan_file_6g"));
    EXPECT_EQ(networks(r).size(), 33u);
    EXPECT_EQ(count_prefix(networks(r), "5G "), 33u);
}

TEST_F(ScanResultSim, OversizedSurveyKeepsItsTail) {
    // A 2.4 GHz survey of thousands of networks, far over the ceiling.
    const int kBlocks = 3000;
    std::string survey;
    char buf[256];
    for (int i = 0; i < kBlocks; ++i) {
        snprintf(buf, sizeof(buf),
                 "SSID: \"bulk-%04d\"\nRSSI: -%d dBm\tSNR: 30 dB\tnoise: -92 dBm\n"
                 "BSSID: 02:00:00:00:%02x:%02x\n\tChanspec: 2.4GHz channel 6 20MHz (0x1006)\n"
                 "\tBSS Color: %x\nQBSS Channel Utilization: 0x20 (12 %%)\n\n",
                 i, 40 + i % 50, (i >> 8) & 0xff, i & 0xff, 1 + i % 63);
        survey += buf;
    }
    Scenario sc;
    sc.files["/tmp/router-analytics/wifi_scan_file_2g"] = survey;
    SimResult r = run_ok({"data_collector", "wifiScanResult"}, sc);
    // The overflow report is the connect event's, through the same merge.
    EXPECT_LE(r.file(kScanDoc).size(), 131072u);

    // The oldest elements went first: the last bulk networks remain in order,
    // followed by the whole 5 GHz and 6 GHz lists.
    const std::vector<std::string> nets = networks(r);
    const size_t bulk = count_prefix(nets, "2G bulk-");
    ASSERT_GT(bulk, 50u);
    ASSERT_EQ(nets.size(), bulk + 47);
    snprintf(buf, sizeof(buf), "2G bulk-%04zu", kBlocks - bulk);
    EXPECT_EQ(nets.front(), buf);
    EXPECT_EQ(nets[bulk - 1], "2G bulk-2999");
    EXPECT_EQ(nets.back(), "6G Sunset Lofts Guest");
}

const char* const kNames[] = {"certificate.pem.crt", "private.pem.key", "rootCA.crt"};

static std::string ra(const std::string& name) { return "/tmp/router-analytics/" + name; }

using CredentialsSim = SimTest;

TEST_F(CredentialsSim, WriteAppendAndInterleave) {
    // "dev" appends; "interleave" replaces each file by its scrambled dot file
    // (kept in /tmp/first); then with one file missing it leaves none.
    SimResult r = run_ok({"sh", "-c",
                          "cd /tmp/router-analytics && data_collector prod && mkdir /tmp/prod && "
                          "mv certificate.pem.crt private.pem.key rootCA.crt /tmp/prod && "
                          "data_collector dev && cp -r /tmp/router-analytics /tmp/once && "
                          "data_collector dev && cp -r /tmp/router-analytics /tmp/twice && "
                          "data_collector interleave && mv /tmp/router-analytics /tmp/first && "
                          "mkdir /tmp/router-analytics && cd /tmp/router-analytics && data_collector dev && rm rootCA.crt && "
                          "data_collector interleave 2>/tmp/missing"});
    EXPECT_EQ(r.out + r.err, "");  // nothing of the material is printed
    EXPECT_TRUE(has(r.file("/tmp/missing"), "open in file /tmp/router-analytics/rootCA.crt fail: "));
    for (const std::string name : kNames) {
        const std::string once = r.file("/tmp/once/" + name);
        ASSERT_FALSE(once.empty()) << name;
        EXPECT_NE(r.file("/tmp/prod/" + name), once) << name;
        EXPECT_EQ(r.file("/tmp/twice/" + name), once + once) << name;
        EXPECT_FALSE(r.exists("/tmp/first/" + name)) << name;
        const std::string hidden = r.file("/tmp/first/." + name);
        EXPECT_EQ(hidden.size(), 2 * once.size()) << name;
        EXPECT_NE(hidden, once + once) << name;
        EXPECT_FALSE(r.exists(ra(name)) || r.exists(ra("." + name))) << name;
    }
}

