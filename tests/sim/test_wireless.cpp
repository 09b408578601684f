// The wireless items in the simulated router: wifiConnectEvent (labels, MAC
// conversion, device lookups, trimming a log far over the ceiling), and the
// wifiConfig and wifiAnalytics objects of the "all" document on each radio
// layout, printed by the test-only program wifi_objects.
#include "sim_harness.h"

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace {

const char kEventDoc[] = "/tmp/aws_json_wifiConnectEvent";
const char kTooLarge[] = "JSON FILE SIZE IS TOO LARGE, MAX JSON SIZE is 128k";
// The helper records each refresh it is asked for.
const char kRecordingTool[] = "#!/bin/sh\necho \"$*\" >>/tmp/ra_wifi_info_calls\n";

const std::vector<std::string> kEventMembers = {
    "beginTimeStamp", "endTimeStamp", "eventType",   "reason",  "steerType",
    "steerReason",    "steerSuggestion", "steerSuggestionAPMAC", "clientMAC",
    "connBandChannel", "RSSI",        "deviceType",  "deviceName", "deviceModel",
    "apModel",        "apMAC",        "apName",      "apNetwork"};

using Members = std::vector<std::pair<std::string, std::string>>;

void expect_members(json_object* obj, const Members& want, const std::string& where = "") {
    for (const auto& [path, value] : want) {
        json_object* v = json_at(obj, path);
        EXPECT_EQ(v ? json_object_get_string(v) : "<absent>", value) << where << " " << path;
    }
}

json_object* events_of(const SimJson& doc) { return json_at(doc.get(), "wifiConnectEvent.event"); }

size_t event_count(const SimJson& doc) {
    json_object* events = events_of(doc);
    return events ? json_object_array_length(events) : 0;
}

json_object* event(const SimJson& doc, size_t i) { return json_object_array_get_idx(events_of(doc), i); }

// The first event of a client, or null.
json_object* event_of(const SimJson& doc, const std::string& client) {
    for (size_t i = 0; i < event_count(doc); ++i)
        if (json_str(event(doc, i), "clientMAC") == client) return event(doc, i);
    return nullptr;
}

SimJson parse(const std::string& text) {
    return SimJson(json_tokener_parse(text.c_str()));
}

SimResult run_object(const std::string& name, const Scenario& sc = {}) {
    return run_in_router({std::string(DC_BUILD_DIR) + "/wifi_objects", name}, sc);
}

}  // namespace

TEST(WirelessSim, ConnectEventsOfTheSampleRouter) {
    REQUIRE_SIM();
    Scenario sc;
    sc.files["/sbin/get_ra_wifi_info"] = kRecordingTool;
    SimResult r = run_in_router({"data_collector", "wifiConnectEvent"}, sc);
    ASSERT_EQ(r.status, 0) << r.err;
    SimJson doc = r.json(kEventDoc);
    ASSERT_TRUE(doc);
    EXPECT_EQ(member_names(doc.get()), (std::vector<std::string>{"routerHardware", "wifiConnectEvent"}));
    EXPECT_EQ(json_object_get_int(json_at(doc.get(), "routerHardware.eventType")), 3);
    EXPECT_EQ(member_names(json_at(doc.get(), "wifiConnectEvent")),
              (std::vector<std::string>{"numberOfEvents", "event"}));
    EXPECT_EQ(json_object_get_int(json_at(doc.get(), "wifiConnectEvent.numberOfEvents")), 138);
    ASSERT_EQ(event_count(doc), 138u);
    for (size_t i = 0; i < event_count(doc); ++i)
        ASSERT_EQ(member_names(event(doc, i)), kEventMembers) << i;

    // Local time of the router (PST8PDT), the printer on the 2.4 GHz radio.
    expect_members(event(doc, 0),
                   {{"beginTimeStamp", "2026-11-21 00:03:27"}, {"endTimeStamp", "NA"},
                    {"eventType", "1:Connect success"}, {"reason", "0000:Reserved"},
                    {"steerSuggestionAPMAC", "NA"}, {"clientMAC", "e4:5f:01:2a:3b:4c"},
                    {"connBandChannel", "2G:6"}, {"RSSI", "-51dbm"}, {"deviceType", "Printer"},
                    {"deviceName", "OfficeJet 8015"}, {"deviceModel", "HP-Printer"},
                    {"apModel", "ZT500"}, {"apMAC", "A4:2B:8C:5E:71:D1"}, {"apName", "HomeMesh"},
                    {"apNetwork", "Primary"}});
    // A satellite on the 5 GHz backhaul, known by its base MAC (a borrow into
    // the fifth byte).
    expect_members(event_of(doc, "a4:2b:8c:61:21:01"),
                   {{"connBandChannel", "5G:36"}, {"deviceType", "Satellite"},
                    {"deviceModel", "ZT500S-Upstairs"}, {"apNetwork", "Backhaul"}});
    // The satellite's list is searched before the router's older record.
    expect_members(event_of(doc, "40:b0:76:52:d4:e8"),
                   {{"deviceModel", "Bedroom-TV"}, {"apModel", "ZT500S"},
                    {"apMAC", "A4:2B:8C:61:20:FF"}});
    // A client with a private address is in neither list.
    expect_members(event_of(doc, "d2:6f:0a:31:58:e4"),
                   {{"deviceType", ""}, {"deviceName", ""}, {"apMAC", ""}, {"apNetwork", "Guest"}});

    EXPECT_EQ(r.file("/tmp/ra_wifi_info_calls"), "wifiRA\n");
    // Under the ceiling the merged list is the whole object the builder makes
    // (times aside: the document's header sets the router's time zone first).
    SimJson whole = parse(run_object("wifiConnectEvent").out);
    ASSERT_TRUE(whole);
    json_object* merged = json_at(doc.get(), "wifiConnectEvent");
    for (json_object* list : {json_at(whole.get(), "event"), json_at(merged, "event")})
        for (size_t i = 0; i < json_object_array_length(list); ++i)
            json_object_object_del(json_object_array_get_idx(list, i), "beginTimeStamp");
    EXPECT_STREQ(json_object_to_json_string(whole.get()), json_object_to_json_string(merged));
    EXPECT_EQ(r.out.find(kTooLarge), std::string::npos);
    EXPECT_FALSE(r.exists("/tmp/RA_json_connectevent"));
    EXPECT_TRUE(r.exists("/tmp/wifi_ra"));  // only read
}

TEST(WirelessSim, ConnectEventLabelsAndSatelliteMacOnBothLayouts) {
    REQUIRE_SIM();
    const std::string devices =
        R"([{"DeviceMAC":"AA:BB:CC:00:FF:FF","DeviceTypeOldName":"Satellite","DeviceModel":"ZT500S",
             "DeviceName":"Loft","ConnectedAPModel":"ZT500","ConnectedAPMac":"A4:2B:8C:5E:71:D1",
             "ConnSSID":"bh"},
            {"DeviceMAC":"11:22:33:44:54:FF","DeviceTypeOldName":"Satellite","DeviceModel":"ZT700S",
             "DeviceName":"Attic"}])";
    Scenario two;
    two.store["radio_number"] = "0x3";
    two.files = {{"/tmp/netscan/attach_offline_device", devices},
                 {"/tmp/router-analytics/wifi_ra/wl1-channel", "11\n"},
                 {"/tmp/wifi_ra",
                  "AA:BB:CC:00:00:01,wl1.2,1795276800,1,3,-45\n"
                  "aa:bb:cc:00:ff:ff,wl1,1795276801,2,15,-60\n"
                  "aa:bb:cc:00:ff:ff,wl0.1,1795276802,9,7,-61\n"
                  "aa:bb:cc:00:ff:ff,eth0,1795276803,0,0,-62\n"}};
    two.remove = {"/tmp/soapclient/satellite_wifi_info/ra_attach_device"};
    SimResult r = run_in_router({"data_collector", "wifiConnectEvent"}, two);
    ASSERT_EQ(r.status, 0) << r.err;
    SimJson doc = r.json(kEventDoc);
    ASSERT_EQ(event_count(doc), 4u);
    const Members want[] = {
        {{"eventType", "1:Connect success"}, {"reason", "0003:DEAUTH_LEAVING"}, {"RSSI", "-45dbm"},
         {"clientMAC", "AA:BB:CC:00:00:01"}, {"connBandChannel", "2G:11"},
         {"deviceName", "ZT500S"}, {"deviceModel", "Loft"}, {"apName", "bh"},
         {"apNetwork", "Backhaul"}, {"beginTimeStamp", "2026-11-21 08:00:00"}},
        {{"eventType", "2:Connect fail"}, {"reason", "0015:4WH_TIMEOUT"}, {"deviceModel", "Loft"},
         {"apNetwork", "Primary"}},
        // An unknown code keeps the previous line's event type; an unknown
        // reason is passed through.
        {{"eventType", "2:Connect fail"}, {"reason", "7"}, {"connBandChannel", "5G:37"},
         {"apNetwork", "Guest"}},
        // An interface of no radio keeps the last channel read.
        {{"eventType", "2:Connect fail"}, {"connBandChannel", ":37"}, {"apNetwork", "Primary"}},
    };
    for (size_t i = 0; i < 4; ++i) expect_members(event(doc, i), want[i], std::to_string(i));

    // Three radios: the 6 GHz backhaul (wl0.2) is three above the base MAC.
    Scenario three = two;
    three.store["radio_number"] = "0x7";
    three.files["/tmp/wifi_ra"] = "11:22:33:44:55:02,wl0.2,1795276800,5,0,-50\n"
                                  "11:22:33:44:55:03,wl1.2,1795276801,6,0,-50\n";
    r = run_in_router({"data_collector", "wifiConnectEvent"}, three);
    doc = r.json(kEventDoc);
    ASSERT_EQ(event_count(doc), 2u);
    expect_members(event(doc, 0), {{"eventType", "5:Post-association steer success"},
                                   {"connBandChannel", "6G:37"}, {"deviceModel", "Attic"},
                                   {"deviceType", "Satellite"}, {"apModel", ""}});
    expect_members(event(doc, 1), {{"eventType", "6:Post-association steer fail"},
                                   {"deviceModel", ""}, {"connBandChannel", "5G:11"}});
}

TEST(WirelessSim, ConnectEventFromBadOrMissingLogs) {
    REQUIRE_SIM();
    std::string junk = "aa:bb:cc:dd:ee:ff,wl1,1795276800,1,3," + std::string(2000, '7') + "\n";
    junk += std::string("\xff\xfe") + '\0' + "garbage,wl1,\x01\x02,\x80,\xc0,\n";
    junk += "\n,,,,,,\nonly-a-mac\n11:22,wl2,99999999999999999999999,4,4,-70\n";
    junk += "zz,wl1.2,-99999999999,3,0,-1\nno newline at the end";
    Scenario bad;
    bad.files = {{"/tmp/wifi_ra", junk}, {"/tmp/netscan/attach_offline_device", "{\"not\":\"a list\"}"},
                 {"/tmp/soapclient/satellite_wifi_info/ra_attach_device", "[1, \"x\", null, {}"}};
    SimResult r = run_in_router({"data_collector", "wifiConnectEvent"}, bad);
    ASSERT_EQ(r.status, 0) << r.err;
    SimJson doc = r.json(kEventDoc);
    ASSERT_TRUE(doc) << r.file(kEventDoc);
    EXPECT_EQ(json_object_get_int(json_at(doc.get(), "wifiConnectEvent.numberOfEvents")), 9);
    ASSERT_EQ(event_count(doc), 9u);
    for (size_t i = 0; i < event_count(doc); ++i)
        EXPECT_EQ(member_names(event(doc, i)), kEventMembers) << i;
    expect_members(event(doc, 0), {{"RSSI", std::string(30, '7')}});
    expect_members(event(doc, 6), {{"clientMAC", "11:22"}, {"beginTimeStamp", ""},
                                   {"eventType", "4:Disconnect by client"}});

    // An empty or missing log: no events, and no refresh asked of the helper.
    for (bool present : {true, false}) {
        Scenario none;
        none.files["/sbin/get_ra_wifi_info"] = kRecordingTool;
        if (present)
            none.files["/tmp/wifi_ra"] = "";
        else
            none.remove = {"/tmp/wifi_ra"};
        r = run_in_router({"data_collector", "wifiConnectEvent"}, none);
        doc = r.json(kEventDoc);
        ASSERT_TRUE(doc);
        EXPECT_EQ(json_object_get_int(json_at(doc.get(), "wifiConnectEvent.numberOfEvents")), 0);
        EXPECT_EQ(json_type_name(events_of(doc)), "array");
        EXPECT_EQ(event_count(doc), 0u);
        EXPECT_FALSE(r.exists("/tmp/ra_wifi_info_calls"));
    }
}

TEST(WirelessSim, FiftyThousandEventsKeepTheNewestUnderTheCeiling) {
    REQUIRE_SIM();
    const std::string layer = std::string(DC_SOURCE_DIR) + "/sim/layers/wifi-ra-50k";
    ASSERT_EQ(system(("'" + layer + "/generate'").c_str()), 0);
    Scenario sc;
    sc.extra_fixtures = {layer};
    SimResult r = run_in_router({"data_collector", "wifiConnectEvent"}, sc);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, std::string(kTooLarge) + "\n");
    EXPECT_NE(r.file("/tmp/RA_collect.log").find(std::string(kTooLarge) + " (wifiConnectEvent)\n"),
              std::string::npos);
    SimJson doc = r.json(kEventDoc);
    ASSERT_TRUE(doc);
    EXPECT_EQ(json_object_get_int(json_at(doc.get(), "wifiConnectEvent.numberOfEvents")), 50000);
    // The newest events stay: the log's last line is the last event.
    size_t n = event_count(doc);
    ASSERT_GT(n, 100u);
    EXPECT_LT(n, 300u);
    expect_members(event(doc, n - 1), {{"clientMAC", "f0:99:b6:45:aa:01"},
                                       {"eventType", "2:Connect fail"}, {"RSSI", "-84dbm"}});
    expect_members(event(doc, n - 2), {{"clientMAC", "3c:22:fb:12:34:56"}, {"RSSI", "-83dbm"}});
    // Within the ceiling, and not one event short of it.
    size_t size = r.file(kEventDoc).size();
    EXPECT_LE(size, 131072u);
    EXPECT_GT(size, 131072u - 1000u);
    EXPECT_FALSE(r.exists("/tmp/RA_json_connectevent"));
}

// ---- wifiConfig -------------------------------------------------------------------------

TEST(WirelessSim, WifiConfigOnTheThreeLayouts) {
    REQUIRE_SIM();
    const std::vector<std::string> two_bands = {"main-2G",      "main-5G",      "guest-2G",
                                                "guest-5G",     "customize-2G", "customize-5G",
                                                "radio-2G",     "radio-5G"};
    const std::vector<std::string> three_bands = {
        "main-2G",      "main-5G",      "main-6G",  "guest-2G", "guest-5G", "guest-6G",
        "customize-2G", "customize-5G", "radio-2G", "radio-5G", "radio-6G"};
    const struct {
        const char* radio_number;
        std::vector<std::string> members;
        const char* main_2g_if;
        const char* guest_5g_if;
    } layouts[] = {
        {"0x7", three_bands, "wl2", "wl1.1"},
        {"0x3", two_bands, "wl1", "wl0.1"},
        {"0x5", two_bands, "wl2", "wl1.1"},
    };
    for (const auto& l : layouts) {
        Scenario sc;
        sc.store["radio_number"] = l.radio_number;
        SimResult r = run_object("wifiConfig", sc);
        ASSERT_EQ(r.status, 0) << r.err;
        SimJson cfg = parse(r.out);
        ASSERT_TRUE(cfg) << r.out;
        EXPECT_EQ(member_names(cfg.get()), l.members) << l.radio_number;
        expect_members(cfg.get(), {{"main-2G.main-2G-IfConf.main-2G-IfConf-Name", l.main_2g_if},
                                   {"guest-5G.guest-5G-IfConf.guest-5G-IfConf-Name", l.guest_5g_if}},
                       l.radio_number);
    }

    // The sample router, whole objects of each kind.
    SimResult r = run_object("wifiConfig");
    SimJson cfg = parse(r.out);
    ASSERT_TRUE(cfg);
    EXPECT_EQ(member_names(json_at(cfg.get(), "guest-5G")),
              (std::vector<std::string>{"guest-5G-Config", "guest-5G-IfConf"}));
    EXPECT_EQ(member_names(json_at(cfg.get(), "guest-5G.guest-5G-Config")),
              (std::vector<std::string>{"guest-5G-Config-Enable", "guest-5G-Config-SSID",
                                        "guest-5G-Config-Broadcast", "guest-5G-Config-Channel",
                                        "guest-5G-Config-Mode", "guest-5G-Config-SecurityType"}));
    EXPECT_EQ(json_type_name(json_at(cfg.get(), "guest-5G.guest-5G-Config.guest-5G-Config-Enable")),
              "boolean");
    expect_members(cfg.get(), {
        {"main-2G.main-2G-Config.main-2G-Config-SSID", "HomeMesh"},
        {"main-2G.main-2G-Config.main-2G-Config-Mode", "Up to 0.7 Gbps"},
        {"main-2G.main-2G-Config.main-2G-Config-SecurityType", "WPA2-PSK[AES]+WPA3-PSK"},
        {"main-6G.main-6G-Config.main-6G-Config-Mode", "Up to 5.8 Gbps"},
        {"guest-5G.guest-5G-IfConf.guest-5G-IfConf-SSID", "HomeMesh-Guest"},
        {"guest-6G.guest-6G-Config.guest-6G-Config-Enable", "false"},
        {"guest-6G.guest-6G-IfConf.guest-6G-IfConf-Status", "down"},
        {"customize-5G.customize-5G-Config.customize-5G-Config-Broadcast", "true"},
        {"radio-5G.radio-5G-Status", "true"},
        {"radio-5G.radio-5G-Channel", "36"},
        {"radio-5G.radio-5G-Region", "US"},
        {"radio-5G.radio-5G-bandwidth", "160MHz"},
        {"radio-5G.radio-5G-ChanUtilBSS", "19"},
        {"radio-5G.radio-5G-ChanUtilOBSS", "9"},
        {"radio-5G.radio-5G-NoiseFlr", "-92"},
    });
    EXPECT_EQ(json_type_name(json_at(cfg.get(), "radio-5G.radio-5G-Status")), "boolean");
}

TEST(WirelessSim, WifiConfigFlagsChannelsAndRates) {
    REQUIRE_SIM();
    Scenario sc;
    sc.store = {{"endis_wla_radio", "0"},           // guest 5G on, its radio off
                {"wlg1_endis_guestNet", "0"},       // guest 2.4G off, its radio up
                {"wla_hidden_channel", "0"},        // automatic
                {"wla_6g_sectype", "2"},            {"wla_6g_key_length", "5"},
                {"wla_ax", "0"}};
    sc.unset_keys = {"wl_hidden_channel", "wlg3_ssid"};
    sc.files = {{"/module_name", "ZT480\n"},
                {"/tmp/router-analytics/analytic/wl1-bssChUtilRx", "not a number\n"},
                {"/tmp/router-analytics/analytic/wl1-bssChUtilTx", "99999999999\n"},
                {"/tmp/router-analytics/wifi_config/wl2-ssid",
                 "A very long SSID of the main network that goes on\n"}};
    sc.remove = {"/tmp/WLAN_6G_status"};
    SimResult r = run_object("wifiConfig", sc);
    SimJson cfg = parse(r.out);
    ASSERT_TRUE(cfg) << r.out << r.err;
    expect_members(cfg.get(), {
        {"guest-5G.guest-5G-Config.guest-5G-Config-Enable", "false"},
        {"main-5G.main-5G-Config.main-5G-Config-Enable", "false"},
        {"guest-2G.guest-2G-Config.guest-2G-Config-Enable", "false"},
        {"guest-2G.guest-2G-IfConf.guest-2G-IfConf-Status", "down"},
        {"guest-2G.guest-2G-IfConf.guest-2G-IfConf-SSID", ""},
        {"main-2G.main-2G-IfConf.main-2G-IfConf-SSID", "A very long SSID of the main ne"},
        {"main-5G.main-5G-Config.main-5G-Config-Channel", "AUTO"},
        {"customize-5G.customize-5G-Config.customize-5G-Config-Channel", "AUTO"},
        {"main-2G.main-2G-Config.main-2G-Config-Channel", ""},
        {"customize-2G.customize-2G-Config.customize-2G-Config-SSID", ""},
        {"main-6G.main-6G-Config.main-6G-Config-SecurityType", "WEP64"},
        {"main-6G.main-6G-IfConf.main-6G-IfConf-Status", "down"},
        {"main-6G.main-6G-IfConf.main-6G-IfConf-SSID", "HomeMesh"},  // main: the file's text
        {"main-5G.main-5G-Config.main-5G-Config-Mode", "Up to 0.3 Gbps"},  // not an ax build
        {"radio-5G.radio-5G-Status", "false"},
        {"radio-5G.radio-5G-ChanUtilBSS", "2147483647"},
    });

    // The rate classes of an ax build by model.
    const struct {
        const char* model;
        const char* mode_5g;
        const char* want;
    } rates[] = {{"ZT480", "9", "Up to 2.4 Gbps"}, {"ZT960", "10", "Up to 5.8 Gbps"},
                 {"ZT520X", "8", "Up to 1.4 Gbps"}, {"QW55", "9", "Up to 0.3 Gbps"}};
    for (const auto& rate : rates) {
        Scenario m;
        m.files["/module_name"] = std::string(rate.model) + "\n";
        m.store["wla_simple_mode"] = rate.mode_5g;
        cfg = parse(run_object("wifiConfig", m).out);
        ASSERT_TRUE(cfg);
        expect_members(cfg.get(), {{"main-5G.main-5G-Config.main-5G-Config-Mode", rate.want}},
                       rate.model);
    }
}

// ---- wifiAnalytics ------------------------------------------------------------------------

TEST(WirelessSim, WifiAnalyticsBandsAndInterfacesFollowTheRouter) {
    REQUIRE_SIM();
    auto names = [](const SimJson& a) {
        std::vector<std::string> out;
        json_object* ifaces = json_at(a.get(), "wifiIface");
        for (size_t i = 0; ifaces && i < json_object_array_length(ifaces); ++i)
            out.push_back(json_str(json_object_array_get_idx(ifaces, i), "ifaceInfo.ifaceName"));
        return out;
    };
    SimResult r = run_object("wifiAnalytics");
    ASSERT_EQ(r.status, 0) << r.err;
    SimJson a = parse(r.out);
    ASSERT_TRUE(a) << r.out;
    EXPECT_EQ(member_names(a.get()), (std::vector<std::string>{"deviceInfo", "2gBssInfo", "5g1BssInfo",
                                                               "6gBssInfo", "wifiIface"}));
    // IoT interfaces (wl1.3, wl2.3) exist but are not reported.
    EXPECT_EQ(names(a), (std::vector<std::string>{"wl0", "wl1", "wl1.1", "wl1.2", "wl2", "wl2.1", "wl2.2"}));
    expect_members(a.get(), {
        {"deviceInfo.modelName", "ZT500"},
        {"deviceInfo.hwRevision", "ZT500-100NAS,U12H489T00_ZT"},
        {"deviceInfo.macAddress", "A42B8C5E71D1"},
        {"deviceInfo.serialNumber", "6LA21B7X00123"},
        {"5g1BssInfo.bssMac", "A4:2B:8C:5E:71:D7"},
        {"5g1BssInfo.bssStartChannel", "36"},
        {"5g1BssInfo.bssEndChannel", "64"},
        {"5g1BssInfo.bssChUtilBSS", "19"},
        {"5g1BssInfo.bssBasicRate", "6"},
        {"5g1BssInfo.bssRadarDetecteCnt", "2"},
        {"2gBssInfo.bssBasicRate", "1"},
        {"2gBssInfo.bssCcaThreshold", "-70"},
        {"wifiIface.1.radioInfo.radioBand", "5G"},
        {"wifiIface.1.radioInfo.radioInfoChannel", "fixed"},
        {"wifiIface.1.radioStat.radioStatChannelUserSet", "36"},
        {"wifiIface.1.ifaceStat.rxBytes", "48213557210"},
        {"wifiIface.3.ifaceInfo.ifacePurpose", "backhaul"},
        {"wifiIface.3.radioStat.radioStatChannel", "36"},
        {"wifiIface.3.ifaceInfo.ifaceMac", "AA2B8C5E71D7"},
        {"wifiIface.6.ifaceInfo.ifaceEnable", "false"},
        {"wifiIface.6.ifaceInfo.ifaceMac", "000000000000"},
        {"wifiIface.6.dvInfo.dvSN", "6LA21B7X00123"},
    });
    EXPECT_EQ(json_at(a.get(), "2gBssInfo.bssRadarDetecteCnt"), nullptr);
    EXPECT_EQ(member_names(json_at(a.get(), "wifiIface.0")),
              (std::vector<std::string>{"dvInfo", "radioInfo", "radioStat", "ifaceInfo", "ifaceStat"}));
    EXPECT_EQ(member_names(json_at(a.get(), "wifiIface.0.ifaceStat")),
              (std::vector<std::string>{"rxBytes", "rxPacket", "rxMulticast", "rxDropped", "rxErrorCrc",
                                        "rxErrorFifo", "rxErrorFrame", "rxErrorLength", "txBytes",
                                        "txPacket", "txDropped", "txDropPercent", "txError",
                                        "txErrorFifo", "txErrorCarrier"}));

    // Two radios: no 6 GHz block; wl2 has no band there, so no region or channel mode.
    Scenario two;
    two.store = {{"radio_number", "0x3"}, {"wla_hidden_channel", "0"}};
    two.netifs = {"!wl1.2", "wl0.2 A6:2B:8C:5E:71:D9"};
    two.files = {{"/sys/class/net/wl0/statistics/tx_packets", "900\n"},
                 {"/sys/class/net/wl0/statistics/tx_dropped", "100\n"},
                 {"/sys/class/net/wl0/statistics/rx_bytes", "99999999999999999999999\n"},
                 {"/sys/class/net/wl0/statistics/rx_packets", "lots\n"}};
    two.remove = {"/sys/class/net/wl0/statistics/multicast"};
    a = parse(run_object("wifiAnalytics", two).out);
    ASSERT_TRUE(a);
    EXPECT_EQ(member_names(a.get()),
              (std::vector<std::string>{"deviceInfo", "2gBssInfo", "5g1BssInfo", "wifiIface"}));
    EXPECT_EQ(names(a), (std::vector<std::string>{"wl0", "wl0.2", "wl1", "wl1.1", "wl2", "wl2.1", "wl2.2"}));
    expect_members(a.get(), {
        {"2gBssInfo.bssMac", "A4:2B:8C:5E:71:D7"},  // wl1 is the 2.4 GHz radio
        {"wifiIface.0.radioInfo.radioBand", "5G"},
        {"wifiIface.0.radioInfo.radioInfoChannel", "auto"},
        {"wifiIface.0.radioStat.radioStatChannelUserSet", "auto"},
        {"wifiIface.0.ifaceStat.txDropPercent", "10"},
        {"wifiIface.0.ifaceStat.rxBytes", "9223372036854775807"},
        {"wifiIface.0.ifaceStat.rxPacket", "0"},
        {"wifiIface.0.ifaceStat.rxMulticast", "0"},
        {"wifiIface.2.radioInfo.radioBand", "2G"},
        {"wifiIface.4.radioInfo.radioBand", ""},
        {"wifiIface.4.radioInfo.radioInfoRegion", ""},
        {"wifiIface.4.radioInfo.radioInfoChannel", ""},
        {"wifiIface.4.radioStat.radioStatChannelUserSet", ""},
    });

    // Any other layout has the 6 GHz block; no wireless interface, an empty array.
    Scenario other;
    other.store["radio_number"] = "0x5";
    other.netifs = {"!wl0", "!wl1", "!wl2", "!wl1.1", "!wl1.2", "!wl2.1", "!wl2.2"};
    a = parse(run_object("wifiAnalytics", other).out);
    ASSERT_TRUE(a);
    EXPECT_EQ(member_names(a.get()), (std::vector<std::string>{"deviceInfo", "2gBssInfo", "5g1BssInfo",
                                                               "6gBssInfo", "wifiIface"}));
    EXPECT_EQ(json_object_array_length(json_at(a.get(), "wifiIface")), 0u);
}
