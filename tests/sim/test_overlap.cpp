// Runs at the same moment, as a router's scripts and its cloud agent start
// them: each document holds what its run would have found alone, the WAN
// counters lose no increment, and runs killed at any instant leave every
// document and kept file whole. DC_OVERLAP_ROUNDS and DC_OVERLAP_KILLS make
// the run longer by hand.
#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "sim_test.h"

const char* const kMix[] = {"routerConfig", "connectedDevice", "eventtype2", "wifiScanResult",
                            "routerInfo", "all"};
constexpr int kLoops = 4;
constexpr long kMiB = 1048576;

static int env_or(const char* name, int fallback) {
    const char* v = getenv(name);
    return v && atoi(v) > 0 ? atoi(v) : fallback;
}

// Takes out the members that change with the clock, whoever runs (the CPU
// load is two samples of the moment; the traffic increments are checked as a
// sum), and returns the rest as text.
static std::string without_clock(json_object* o) {
    if (json_object_is_type(o, json_type_object)) {
        for (const char* m : {"timeStamp", "fwLastChecked", "trafficMeter", "cpuUtilizationsCurrent", "upTime"})
            json_object_object_del(o, m);
        json_object_object_foreach(o, key, v) {
            (void)key;
            without_clock(v);
        }
    }
    for (size_t i = 0; json_object_is_type(o, json_type_array) && i < json_object_array_length(o); ++i)
        without_clock(json_object_array_get_idx(o, i));
    return json_object_to_json_string_ext(o, JSON_C_TO_STRING_PLAIN);
}

// /proc/net/dev whose WAN counters grow by 1 MiB received, 2 MiB sent, at
// each reading.
static std::vector<std::string> growing_counters(int readings) {
    std::vector<std::string> out;
    for (int k = 1; k <= readings; ++k)
        out.push_back("Inter-|   Receive |  Transmit\n face |bytes packets|bytes packets\n"
                      " brwan: " + std::to_string(k * kMiB) + " 10 0 0 0 0 0 0 " +
                      std::to_string(2 * k * kMiB) + " 20 0 0 0 0 0 0\n");
    return out;
}

using Overlap = SimTest;

TEST_F(Overlap, EveryDocumentAsIfAloneAndNoCounterUpdateLost) {
    const int rounds = env_or("DC_OVERLAP_ROUNDS", 1);
    // The sequence must outlast every reading of the counters.
    Scenario sc;
    sc.timeout_s = 60 + 30 * rounds;
    sc.store["endis_traffic"] = "0";
    const long long readings = 2 * (3 + 2LL * kLoops * rounds);  // two in each report
    sc.sequences["/proc/net/dev"] = growing_counters(static_cast<int>(readings) + 5);
    // The first report after boot probes the cable modem and takes the
    // sensor files, which later reports no longer see, alone or not.
    std::string s = "cd /tmp; mkdir -p ref got; data_collector routerInfo >/dev/null 2>&1; cp aws_json_routerInfo ref/warm; ";
    for (const char* item : kMix)
        s += std::string("data_collector ") + item + " >/dev/null 2>&1; cp aws_json_" + item +
             " ref/" + item + "; ";
    s += "for l in $(seq " + std::to_string(kLoops) + "); do ( for r in $(seq " +
         std::to_string(rounds) + "); do for i in";
    for (const char* item : kMix) s += std::string(" ") + item;
    s += "; do data_collector $i >/dev/null 2>&1 && cp aws_json_$i got/$i.$l.$r.$$ 2>/dev/null; "
         "done; done ) & done; wait";
    SimResult r = run_ok({"sh", "-c", s}, sc);

    int compared = 0;
    for (const char* item : kMix) {
        SimJson ref = r.json(std::string("/tmp/ref/") + item);
        ASSERT_TRUE(ref) << item;
        const std::string want = without_clock(ref.get());
        for (int l = 1; l <= kLoops; ++l)
            for (int k = 1; k <= rounds; ++k) {
                std::string glob = std::string("/tmp/got/") + item + "." + std::to_string(l) + "." +
                                   std::to_string(k) + ".";
                for (const std::string& path : r.files_with_prefix(glob)) {
                    SimJson got = r.json(path);
                    ASSERT_TRUE(got) << path;
                    const std::string text = without_clock(got.get());
                    size_t at = std::mismatch(want.begin(), want.end(), text.begin(), text.end()).first -
                                want.begin();
                    EXPECT_EQ(at, want.size()) << path << " differs from its lone run at: "
                                               << text.substr(at > 60 ? at - 60 : 0, 160);
                    EXPECT_EQ(text.size(), want.size()) << path;
                    ++compared;
                }
            }
    }
    EXPECT_EQ(compared, static_cast<int>(std::size(kMix)) * kLoops * rounds);

    // Each reading grows by 1 MiB received and 2 MiB sent: every report
    // (the step since the reading before it, whichever run made that one)
    // must be exactly one step, none counted twice or lost.
    int reports = 0;
    for (const std::string& path : r.files_with_prefix("/tmp/")) {
        SimJson doc = r.json(path);
        json_object* meter = json_at(doc.get(), "routerInfo.trafficMeter");
        if (!meter) continue;
        ++reports;
        EXPECT_EQ(json_text(meter, "Downlink") + " " + json_text(meter, "Uplink"), "1.00 2.00") << path;
    }
    EXPECT_GE(reports, 2 + kLoops * rounds);
    std::istringstream saved(r.file("/tmp/traffic_meter/traffic_old"));
    long long rx = 0, tx = 0;
    saved >> rx >> tx;
    EXPECT_EQ(rx, readings * kMiB);
    EXPECT_EQ(tx, 2 * rx);
}

TEST_F(Overlap, KilledRunsLeaveEveryFileWhole) {
    const int kills = env_or("DC_OVERLAP_KILLS", 40);
    // A fixed seed: the same instants each time.
    std::string s = "cd /tmp; n=7; for k in $(seq " + std::to_string(kills) + "); do "
                    "n=$(( (n * 1103515245 + 12345) % 2147483648 )); "
                    "p=; for i in routerInfo all eventtype5 routerConfig; do data_collector $i "
                    ">/dev/null 2>&1 & p=\"$p $!\"; done; "
                    "sleep 0.$(( n % 300 + 10 )); kill -9 $p 2>/dev/null; wait; done";
    Scenario sc;
    sc.timeout_s = 60 + kills;
    SimResult r = run_ok({"sh", "-c", s}, sc);
    for (const char* doc : {"/tmp/aws_json_routerInfo", "/tmp/aws_json_all",
                            "/tmp/aws_json_eventtype5", "/tmp/aws_json_routerConfig"})
        EXPECT_TRUE(!r.exists(doc) || r.json(doc)) << doc;
    std::string counters = r.file("/tmp/traffic_meter/traffic_old");
    EXPECT_TRUE(counters.empty() || std::count(counters.begin(), counters.end(), '\n') == 2)
        << counters;
    std::string modem = r.file("/tmp/router-analytics/cableModeMacAddr");
    EXPECT_TRUE(modem.empty() || modem.back() == '\n') << modem;
    // What killed runs were building under names of their own is cleared by
    // the next run of the same item.
    EXPECT_TRUE(r.files_with_prefix("/tmp/aws_json_all.").size() <= 1);
}

