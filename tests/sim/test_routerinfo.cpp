// routerInfo in the simulated router, where it differs from the sample
// router's golden document: members per operating mode, every source
// missing, what one report leaves for the next, the region pairing, the
// speed-test statuses, the traffic delta and hostile sources.
#include "sim_test.h"

const char kDoc[] = "/tmp/aws_json_routerInfo";
const char kModemCache[] = "/tmp/router-analytics/cableModeMacAddr";

// A router that found its cable modem at an earlier report: no probe, no wait.
static Scenario probed() {
    Scenario sc;
    sc.files[kModemCache] = "00:1d:d5:9a:3c:11\n";
    return sc;
}

// Runs a shell script that reports several times and keeps each document as
// /tmp/out/N.json; returns, per document, its routerInfo texts at `paths`
// joined by " | ".
static std::vector<std::string> reports_at(const Scenario& sc, const std::string& script,
                                    const std::vector<std::string>& paths, size_t count) {
    SimResult r = run_ok({"sh", "-c", "mkdir -p /tmp/out; " + script}, sc);
    std::vector<std::string> got;
    for (size_t i = 1; i <= count; ++i) {
        SimJson doc = r.json("/tmp/out/" + std::to_string(i) + ".json");
        std::string values;
        for (const auto& p : paths)
            values += (values.empty() ? "" : " | ") +
                      (doc ? json_text(doc.get(), "routerInfo." + p) : "<no document>");
        got.push_back(values);
    }
    return got;
}

const char kKeep[] = "data_collector routerInfo; cp /tmp/aws_json_routerInfo /tmp/out/";

using RouterInfo = SimTest;

TEST_F(RouterInfo, AccessPointAndBridgeHaveNoTrafficOrBandwidth) {
    for (const char* layer : {"sim/layers/routerinfo-ap", "sim/layers/routerinfo-bridge"}) {
        Scenario sc = probed();
        sc.extra_fixtures = {layer};
        EXPECT_EQ(member_names(run_item("routerInfo", sc).at("routerInfo")),
                  golden_members("routerInfo", "routerInfo", {"trafficMeter", "internetBandwidth"}))
            << layer;
    }
}

TEST_F(RouterInfo, EverySourceMissing) {
    // Runs once: this router waits out its three device-location tries.
    Scenario sc;
    sc.extra_fixtures = {"sim/layers/routerinfo-missing"};
    ItemRun run = run_item("routerInfo", sc);
    json_object* info = run.at("routerInfo");
    EXPECT_EQ(member_names(info),
              golden_members("routerInfo", "routerInfo",
                             {"numberOfFans", "fan", "numberOfSensors", "sensor", "circleV2AgentIsStart",
                              "circleV2AgentIsOnline", "circleV2AgentIsProvisioned", "circleV2ActivationStatus",
                              "circleV2EnableStatus", "circleV2CSHLastTimestamp", "circleV2CSHErrorID",
                              "circleV2CSHErrorMessage", "circleV2CtlStatusLog"}));
    expect_members(info, {
        {"ipAddress", R"({"ipWAN":"0.0.0.0","ipLAN":"0.0.0.0"})"}, {"wanIpZoneOffset", "0"},
        {"cableModemMacOui", "na"}, {"TarnelRegistered", "false"}, {"TarnelIdAcquired", "false"},
        {"ssoGUIRegNewInstall", "Unknown"}, {"installByGuiApp", "unknown"}, {"wifiRegion", "Africa"},
        {"raeLibrary", R"({"raeAgentVersion":"V","raePolicyVersion":""})"},
        {"lanPort", R"({"lanPortUsed":0,"totalLanPort":0})"}, {"ntpFailReason", "Fail to reach server"},
        {"memoryInfo", R"({"memoryFree":0,"memoryUsed":0,"highMemTime":0})"},
        {"trafficMeter", R"({"Uplink":0.00,"Downlink":0.00})"},
        {"internetBandwidth.speedtestResults", "<absent>"},  // JSON null
        {"wanGwMacOui", "NA"}, {"nandFlashTotalBlockCount", ""}, {"networkSessionCnt", "0"},
    });
    EXPECT_EQ(run.r.file(kModemCache), "na\n");
}

// The sample router's values are its golden document; here is what two
// reports in a row leave behind and change.
TEST_F(RouterInfo, WhatOneReportLeavesForTheNext) {
    SimResult r = run_ok(
        {"sh", "-c", "data_collector routerInfo; mv /tmp/aws_json_routerInfo /tmp/first.json; "
                     "data_collector routerInfo; [ -e /tmp/ra_d2_info ] || echo no d2 answer; "
                     "data_collector routerConfig >/dev/null"});
    SimJson first = r.json("/tmp/first.json"), second = r.json(kDoc);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(json_str(first.get(), "routerInfo.upTime").rfind("3 days 04:0", 0), 0u);
    // The modem is probed once, through an alias taken down again, then trusted.
    EXPECT_EQ(r.out, "get cableModeMacAddr once\nno d2 answer\n");
    // The settings tool's last answer stays for the firmware, unless Circle's
    // report removed it.
    EXPECT_EQ(r.file("/tmp/ra_d2_info"), "2024.02.27\n");
    EXPECT_EQ(r.file("/tmp/sim/ping.args"), "-c 1 -q 192.168.100.1\n");
    EXPECT_EQ(r.file("/tmp/sim/ifconfig.log"),
              "brwan:0 192.168.100.100 netmask 255.255.255.0 up\nbrwan:0 down\n");
    EXPECT_EQ(r.file(kModemCache), "00:1d:d5:9a:3c:11\n");
    EXPECT_EQ(json_text(second.get(), "routerInfo.cableModemMacOui"), "001DD5");
    // Each manage-by flag is reported once (the first report is the golden one).
    EXPECT_EQ(json_text(second.get(), "routerInfo.manageByGui"), "false");
    EXPECT_FALSE(r.store_has("manageby_gui") || r.store_has("manageby_app"));
    // The thermal files are consumed; the fan tool writes its file anew.
    EXPECT_EQ(json_text(second.get(), "routerInfo.numberOfSensors"), "<absent>");
    EXPECT_EQ(json_text(second.get(), "routerInfo.numberOfFans"), "2");
    // The speed test is remembered: the same (old) test is "Previously" the next time.
    EXPECT_EQ(r.store("old_last_speedtest_time"), "14:05 Mar 02, 2024");
    EXPECT_EQ(r.store("old_ookla_averageping"), "14");
    EXPECT_EQ(json_text(second.get(), "routerInfo.internetBandwidth.speedtestResults"), "Previously");
    // The WAN counters wait for the next report.
    EXPECT_EQ(r.file("/tmp/traffic_meter/traffic_old"), "8642081620\n1152306117\n");
}

TEST_F(RouterInfo, RegionPairing) {
    const std::pair<const char*, const char*> cases[] = {
        {"10", "NA"}, {"10", "US"}, {"10", "EU"}, {"10", "NAX"}, {"99", "NA"}, {"", "NA"}, {"25", "WW"}};
    std::string script;
    for (size_t i = 0; i < std::size(cases); ++i)
        script += std::string("config set wl_country=") + cases[i].first + "; echo " +
                  cases[i].second + " > /tmp/firmware_region; " + kKeep + std::to_string(i + 1) +
                  ".json; ";
    EXPECT_EQ(reports_at(probed(), script, {"wifiRegion"}, std::size(cases)),
              (std::vector<std::string>{
                  "North America", "North America", "United States", "United States", "Unknown",
                  "Africa", "Middle East(Saudi Arabia/United Arab Emirates)"}));
}

TEST_F(RouterInfo, TimeSyncAndModemOnTheModemNetwork) {
    // A WAN address on the modem's own network: no probe, "na" cached.
    Scenario sc;
    sc.netifs = {"brwan A4:2B:8C:5E:71:D3 192.168.100.10/24"};
    const std::string script =
        "rm /tmp/ntp/ra_portnum; " + std::string(kKeep) + "1.json; "
        "config set ntpPortNumber=1123; " + kKeep + "2.json; "
        "rm /tmp/ntp_updated; touch /tmp/ntp_RaUpdated; config set ntpFailReason=1; " + kKeep +
        "3.json; rm /tmp/ntp_RaUpdated; config set ntpFailReason=2; " + kKeep + "4.json; "
        // The script's status: the modem was never pinged and "na" is kept.
        "test ! -e /tmp/sim/ping.args && grep -qx na /tmp/router-analytics/cableModeMacAddr";
    EXPECT_EQ(reports_at(sc, script, {"ntpResult", "ntpFailReason", "ntpPortNumber",
                                      "cableModemMacAddr"}, 4),
              (std::vector<std::string>{"yes |  | 123 | na", "yes |  | non-123 | na",
                                        "cloud | Internet unavailable |  | na",
                                        "no | Fail to reach server |  | na"}));
}

TEST_F(RouterInfo, SpeedTestStatuses) {
    // Each line: the store before a report, then what the report says (a new
    // test, none ever and an old one are in the other tests).
    struct {
        const char* store;
        const char* bandwidth;
    } cases[] = {
        {"last_speedtest_time=t3 old_last_speedtest_time=t1 old_ookla_downlimit=12500000 "
         "old_ookla_uplimit=1250000 old_ookla_averageping=9",
         R"({"downloadSpeed":100.00,"uploadSpeed":10.00,"averagePing":9.00,)"
         R"("lastTestTime":"t3","speedtestResults":"Failed"})"},
        {"last_speedtest_time=t4 ookla_downlimit= old_ookla_downlimit=",
         R"({"downloadSpeed":null,"uploadSpeed":null,"averagePing":null,)"
         R"("lastTestTime":"t4","speedtestResults":"Failed"})"},
        {"last_speedtest_time=t5 old_last_speedtest_time=t5 ookla_downlimit=25000000",
         R"({"downloadSpeed":200.00,"uploadSpeed":20.00,"averagePing":14.00,)"
         R"("lastTestTime":"t5","speedtestResults":"Success"})"},
        {"last_speedtest_time=t6 ookla_downlimit= old_ookla_downlimit=12500000",
         R"({"downloadSpeed":100.00,"uploadSpeed":10.00,"averagePing":9.00,)"
         R"("lastTestTime":"t6","speedtestResults":"Failed"})"},
        {"bandwidth_type=1 downlimit=1000000 uplimit=500000 averageping=3 show_speedtest_result=0",
         R"({"downloadSpeed":8.00,"uploadSpeed":4.00,"averagePing":3.00,)"
         R"("lastTestTime":"t6","speedtestResults":"Failed"})"},
    };
    std::string script;
    std::vector<std::string> want;
    for (size_t i = 0; i < std::size(cases); ++i) {
        script += std::string("for kv in ") + cases[i].store + "; do config set \"$kv\"; done; " +
                  kKeep + std::to_string(i + 1) + ".json; ";
        want.push_back(cases[i].bandwidth);
    }
    EXPECT_EQ(reports_at(probed(), script, {"internetBandwidth"}, std::size(cases)), want);
}

TEST_F(RouterInfo, TrafficMeter) {
    // Meter off: the second reading of a report shows the traffic since the
    // first one; the received counter wrapped at 32 bits in between. A PPPoE
    // WAN is measured on ppp0.
    auto dev = [](const char* rx, const char* tx) {
        return std::string("Inter-|   Receive |  Transmit\n face |bytes packets|bytes packets\n") +
               " brwan: 7 9 0 0 0 0 0 0 7 9 0 0 0 0 0 0\n" + "  ppp0: " + rx +
               " 9 0 0 0 0 0 0 " + tx + " 9 0 0 0 0 0 0\n";
    };
    // Then the meter on: the firmware's statistics, and no counters kept.
    Scenario sc = probed();
    sc.store["wan_proto"] = "pppoe";
    sc.files["/tmp/traffic_meter/traffic_old"] = "100\n200\n";
    sc.sequences["/proc/net/dev"] = {dev("4293918720", "1000"), dev("1048576", "3671016")};
    // The script's status: the counters read last were kept, then none are.
    const std::string script =
        std::string(kKeep) + "1.json; printf '1048576\\n3671016\\n' | cmp -s - /tmp/traffic_meter/traffic_old; "
        "kept=$?; rm /tmp/traffic_meter/traffic_old; config set endis_traffic=1; " + kKeep + "2.json; "
        "test $kept = 0 && test ! -e /tmp/traffic_meter/traffic_old";
    EXPECT_EQ(reports_at(sc, script, {"trafficMeter"}, 2),
              (std::vector<std::string>{R"({"Uplink":3.50,"Downlink":2.00})",
                                        R"({"Uplink":812.40,"Downlink":10543.75})"}));
}

TEST_F(RouterInfo, HostileAndMalformedSources) {
    const std::string binary("\x00\xff\xfe\x01\n\x80garbage\x00\n", 14);
    const std::string long_line(100 * 1024, '7');
    Scenario sc;
    sc.files = {
        // Shell text where the modem's MAC should be: it must reach the cache as text.
        {"/proc/net/arp", "IP address HW type Flags HW address Mask Device\n"
                          "192.168.100.1 0x1 0x2 $(>/tmp/pwned) * brwan\n" + long_line},
        {"/proc/meminfo", binary},
        {"/tmp/Seria_Number", "6LA1\x80\xc0\xaf" "00\n"},  // not UTF-8: the header is repaired
        {"/tmp/Tarnel_MAXmind", R"({"country":"\u00e9\ud800","zoneOffset":NaN,"city":12,)"
                                R"("isp":")" + std::string(300, 'i') + R"("})"},
        {"/tmp/mem_collect_info", "1\n-99999999999999999999\n"},
        {"/tmp/LAN0_status", std::string("up\0DoWn", 7)},  // LAN2 alone is up
        {"/tmp/router-analytics/networkSessionCnt", "-99999999999999999999\n"},
        {"/tmp/traffic_meter/traffic_old", "-5\n1e99\n"},
        {"/usr/sbin/fan", "#!/bin/sh\nprintf '[NaN, {\"a\": -Infinity, \"\\377\": 1}]' "
                          "> /tmp/router-analytics/ra_fan.conf\n"},
    };
    sc.store = {{"wl_country", "1e99"}, {"internetDisconnDuration", "99999999999999999999"},
                {"ookla_downlimit", "1e999"}, {"ookla_uplimit", "nan"}};
    ItemRun run = run_item("routerInfo", sc);  // the harness rejects a document that is not strict JSON
    expect_members(run.at("routerInfo"), {
        {"wanIpCountry", "\xC3\xA9\xEF\xBF\xBD"}, {"wanIpZoneOffset", "0"}, {"wanIpCity", "12"},
        {"wanIpIsp", std::string(63, 'i')},
        {"cableModemMacAddr", "$(/tp/wnD)"}, {"cableModemMacOui", "$(/TP/"},
        {"wifiRegion", "Asia"}, {"lanPort", R"({"lanPortUsed":1,"totalLanPort":4})"},
        {"memoryInfo", R"({"memoryFree":0,"memoryUsed":0,"highMemTime":-2147483648})"},
        {"internetConnInfo", R"({"internetDisconnDuration":2147483647,"gwDisconnDuration":12})"},
        {"internetBandwidth",
         R"({"downloadSpeed":null,"uploadSpeed":null,"averagePing":14.00,)"
         R"("lastTestTime":"2024_03.02_14:05:00","speedtestResults":"Success"})"},
        {"numberOfFans", "2"}, {"fan", "[null,{\"a\":null,\"\xEF\xBF\xBD\":1}]"},
        {"networkSessionCnt", "-2147483648"},
    });
    EXPECT_FALSE(run.r.exists("/tmp/pwned"));
    EXPECT_EQ(run.r.file(kModemCache), "$(>/tmp/pwned)\n");
}
