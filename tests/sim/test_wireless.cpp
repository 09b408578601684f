// The wireless items in the simulated router, beside the sample router's
// golden documents: wifiConnectEvent (labels, MAC conversion, device lookups,
// bad logs, a log far over the ceiling), and the wifiConfig and wifiAnalytics
// objects of the "all" document on the other radio layouts, printed by the
// test-only program wifi_objects.
#include "sim_test.h"

#include <cstdlib>

using Names = std::vector<std::string>;

const char kTooLarge[] = "JSON FILE SIZE IS TOO LARGE, MAX JSON SIZE is 128k";
const char kRecordingTool[] = "#!/bin/sh\necho \"$*\" >>/tmp/ra_wifi_info_calls\n";

// The events of a wifiConnectEvent document (empty when there are none).
static std::vector<json_object*> events(const ItemRun& run) {
    std::vector<json_object*> out;
    json_object* list = run.at("wifiConnectEvent.event");
    for (size_t i = 0; list && i < json_object_array_length(list); ++i)
        out.push_back(json_object_array_get_idx(list, i));
    return out;
}

static SimJson object(const std::string& name, const Scenario& sc = {}) {
    SimResult r = run_ok({"wifi_objects", name}, sc);
    return SimJson(json_tokener_parse(r.out.c_str()));
}

using WirelessSim = SimTest;

TEST_F(WirelessSim, ConnectEventLabelsAndSatelliteMacOnBothLayouts) {
    Scenario two;
    two.store["radio_number"] = "0x3";
    two.files = {{"/tmp/netscan/attach_offline_device",
                  R"([{"DeviceMAC":"AA:BB:CC:00:FF:FF","DeviceModel":"ZT500S","DeviceName":"Loft"},
                      {"DeviceMAC":"11:22:33:44:54:FF","DeviceName":"Attic"}])"},
                 {"/tmp/router-analytics/wifi_ra/wl1-channel", "11\n"},
                 {"/tmp/wifi_ra", "AA:BB:CC:00:00:01,wl1.2,1795276800,1,3,-45\n"
                                  "aa:bb:cc:00:ff:ff,wl1,1795276801,2,15,-60\n"
                                  "aa:bb:cc:00:ff:ff,wl0.1,1795276802,9,7,-61\n"
                                  "aa:bb:cc:00:ff:ff,eth0,1795276803,0,0,-62\n"}};
    two.files["/sbin/get_ra_wifi_info"] = kRecordingTool;
    two.remove = {"/tmp/soapclient/satellite_wifi_info/ra_attach_device"};
    ItemRun run = run_item("wifiConnectEvent", two);
    EXPECT_EQ(run.r.file("/tmp/ra_wifi_info_calls"), "wifiRA\n");  // the log refreshed first
    std::vector<json_object*> ev = events(run);
    ASSERT_EQ(ev.size(), 4u);
    expect_members(ev[0], {{"eventType", "1:Connect success"}, {"reason", "0003:DEAUTH_LEAVING"},
                           {"RSSI", "-45dbm"}, {"clientMAC", "AA:BB:CC:00:00:01"},
                           {"connBandChannel", "2G:11"}, {"deviceName", "ZT500S"},
                           {"deviceModel", "Loft"}, {"apNetwork", "Backhaul"},
                           {"beginTimeStamp", "2026-11-21 08:00:00"}});
    expect_members(ev[1], {{"eventType", "2:Connect fail"}, {"reason", "0015:4WH_TIMEOUT"}});
    // An unknown code keeps the previous type, an unknown reason passes as it
    // is, and an interface of no radio keeps the last channel read.
    expect_members(ev[2], {{"eventType", "2:Connect fail"}, {"reason", "7"},
                           {"connBandChannel", "5G:37"}, {"apNetwork", "Guest"}});
    expect_members(ev[3], {{"eventType", "2:Connect fail"}, {"connBandChannel", ":37"}});

    // Three radios: the 6 GHz backhaul (wl0.2) is three above the base MAC.
    Scenario three = two;
    three.store["radio_number"] = "0x7";
    three.files["/tmp/wifi_ra"] = "11:22:33:44:55:02,wl0.2,1795276800,5,0,-50\n"
                                  "11:22:33:44:55:03,wl1.2,1795276801,6,0,-50\n";
    run = run_item("wifiConnectEvent", three);
    ASSERT_EQ((ev = events(run)).size(), 2u);
    expect_members(ev[0], {{"eventType", "5:Post-association steer success"},
                           {"connBandChannel", "6G:37"}, {"deviceModel", "Attic"}});
    expect_members(ev[1], {{"eventType", "6:Post-association steer fail"}, {"deviceModel", ""}});
}

TEST_F(WirelessSim, ConnectEventFromBadOrMissingLogs) {
    std::string junk = "aa:bb:cc:dd:ee:ff,wl1,1795276800,1,3," + std::string(2000, '7') + "\n" +
                       std::string("\xff\xfe") + '\0' + "x,wl1,\x01,\x80,\xc0,\n" +
                       "\n,,,,,,\nonly-a-mac\n11:22,wl2,99999999999999999999999,4,4,-70\n" +
                       "zz,wl1.2,-99999999999,3,0,-1\nno newline at the end";
    Scenario bad;
    bad.files = {{"/tmp/wifi_ra", junk}, {"/tmp/netscan/attach_offline_device", "{\"not\":\"a list\"}"},
                 {"/tmp/soapclient/satellite_wifi_info/ra_attach_device", "[1, \"x\", null, {}"}};
    ItemRun run = run_item("wifiConnectEvent", bad);
    EXPECT_EQ(json_text(run.doc.get(), "wifiConnectEvent.numberOfEvents"), "9");
    std::vector<json_object*> ev = events(run);
    ASSERT_EQ(ev.size(), 9u);
    expect_members(ev[6], {{"clientMAC", "11:22"}, {"beginTimeStamp", ""},
                           {"eventType", "4:Disconnect by client"}});

    // An empty log: no events, and no refresh asked of the helper.
    Scenario none;
    none.files = {{"/sbin/get_ra_wifi_info", kRecordingTool}, {"/tmp/wifi_ra", ""}};
    run = run_item("wifiConnectEvent", none);
    EXPECT_EQ(json_text(run.doc.get(), "wifiConnectEvent"), R"({"numberOfEvents":0,"event":[]})");
    EXPECT_FALSE(run.r.exists("/tmp/ra_wifi_info_calls"));
}

TEST_F(WirelessSim, FiftyThousandEventsKeepTheNewestUnderTheCeiling) {
    const std::string layer = std::string(DC_SOURCE_DIR) + "/sim/layers/wifi-ra-50k";
    ASSERT_EQ(system(("'" + layer + "/generate'").c_str()), 0);
    Scenario sc;
    sc.extra_fixtures = {layer};
    ItemRun run = run_item("wifiConnectEvent", sc);
    EXPECT_EQ(run.r.out, std::string(kTooLarge) + "\n");
    EXPECT_NE(run.r.file("/tmp/RA_collect.log").find(std::string(kTooLarge) + " (wifiConnectEvent)\n"),
              std::string::npos);
    EXPECT_EQ(json_text(run.doc.get(), "wifiConnectEvent.numberOfEvents"), "50000");
    // The newest events stay, as many as fit.
    std::vector<json_object*> ev = events(run);
    ASSERT_GT(ev.size(), 100u);
    expect_members(ev.back(), {{"clientMAC", "f0:99:b6:45:aa:01"}, {"RSSI", "-84dbm"}});
    expect_members(ev[ev.size() - 2], {{"clientMAC", "3c:22:fb:12:34:56"}, {"RSSI", "-83dbm"}});
    size_t size = run.r.file("/tmp/aws_json_wifiConnectEvent").size();
    EXPECT_LE(size, 131072u);
    EXPECT_GT(size, 131072u - 1000u);
}

TEST_F(WirelessSim, WifiConfigLayoutsFlagsAndChannels) {
    const Names two = {"main-2G", "main-5G", "guest-2G", "guest-5G", "customize-2G",
                       "customize-5G", "radio-2G", "radio-5G"};
    // Three radios (0x7) are the sample router's, in its golden "all" document.
    for (const auto& [layout, guest_if] : {std::pair{"0x3", "wl0.1"}, std::pair{"0x5", "wl1.1"}}) {
        SCOPED_TRACE(layout);
        Scenario sc;
        sc.store["radio_number"] = layout;
        SimJson cfg = object("wifiConfig", sc);
        ASSERT_TRUE(cfg);
        EXPECT_EQ(member_names(cfg.get()), two);
        expect_members(cfg.get(), {{"guest-5G.guest-5G-IfConf.guest-5G-IfConf-Name", guest_if}});
    }

    Scenario sc;
    sc.store = {{"endis_wla_radio", "0"}, {"wlg1_endis_guestNet", "0"}, {"wla_hidden_channel", "0"}};
    sc.unset_keys = {"wl_hidden_channel"};
    sc.files = {{"/tmp/router-analytics/analytic/wl2-bssChUtilRx", "not a number\n"},
                {"/tmp/router-analytics/wifi_config/wl2-ssid",
                 "A very long SSID of the main network that goes on\n"}};
    sc.remove = {"/tmp/WLAN_6G_status"};
    SimJson cfg = object("wifiConfig", sc);
    ASSERT_TRUE(cfg);
    EXPECT_EQ(member_names(json_at(cfg.get(), "guest-5G.guest-5G-Config")),
              (Names{"guest-5G-Config-Enable", "guest-5G-Config-SSID", "guest-5G-Config-Broadcast",
                     "guest-5G-Config-Channel", "guest-5G-Config-Mode", "guest-5G-Config-SecurityType"}));
    EXPECT_EQ(json_type_name(json_at(cfg.get(), "radio-5G.radio-5G-Status")), "boolean");
    // "guest-2G", "IfConf", "SSID": guest-2G.guest-2G-IfConf.guest-2G-IfConf-SSID
    auto at = [](const std::string& tag, const std::string& part, const std::string& field) {
        return tag + "." + tag + "-" + part + "." + tag + "-" + part + "-" + field;
    };
    expect_members(cfg.get(), {
        {at("guest-5G", "Config", "Enable"), "false"},  // its radio is off
        {at("guest-2G", "Config", "Enable"), "false"}, {at("guest-2G", "IfConf", "Status"), "down"},
        {at("guest-2G", "IfConf", "SSID"), ""}, {at("customize-2G", "IfConf", "SSID"), "HomeMesh-IoT"},
        {at("main-2G", "IfConf", "SSID"), "A very long SSID of the main ne"},
        {at("main-2G", "Config", "Channel"), ""}, {at("customize-5G", "Config", "Channel"), "AUTO"},
        {at("main-6G", "IfConf", "Status"), "down"}, {at("main-6G", "IfConf", "SSID"), "HomeMesh"},
        {at("main-6G", "Config", "Mode"), "Up to 5.8 Gbps"},
        {"radio-5G.radio-5G-Status", "false"}, {"radio-5G.radio-5G-Channel", "36"},
        {"radio-5G.radio-5G-ChanUtilBSS", "19"}, {"radio-2G.radio-2G-ChanUtilBSS", "18"},
    });
}

TEST_F(WirelessSim, WifiAnalyticsBandsAndInterfacesFollowTheRouter) {
    auto names = [](const SimJson& a) {
        Names out;
        json_object* list = json_at(a.get(), "wifiIface");
        for (size_t i = 0; list && i < json_object_array_length(list); ++i)
            out.push_back(json_str(json_object_array_get_idx(list, i), "ifaceInfo.ifaceName"));
        return out;
    };
    // Two radios: no 6 GHz block; wl2 has no band, so no region or channel mode.
    Scenario two;
    two.store = {{"radio_number", "0x3"}, {"wla_hidden_channel", "0"}};
    two.netifs = {"!wl1.2", "wl0.2 A6:2B:8C:5E:71:D9"};
    two.remove = {"/sys/class/net/wl0/statistics/multicast"};
    // The sample router's three radios are in its golden "all" document.
    SimJson a = object("wifiAnalytics", two);
    ASSERT_TRUE(a);
    EXPECT_EQ(member_names(a.get()), (Names{"deviceInfo", "2gBssInfo", "5g1BssInfo", "wifiIface"}));
    EXPECT_EQ(names(a), (Names{"wl0", "wl0.2", "wl1", "wl1.1", "wl2", "wl2.1", "wl2.2"}));
    expect_members(a.get(), {
        {"2gBssInfo.bssMac", "A4:2B:8C:5E:71:D7"},
        {"wifiIface.0.radioInfo.radioBand", "5G"}, {"wifiIface.0.radioInfo.radioInfoChannel", "auto"},
        {"wifiIface.0.radioStat.radioStatChannelUserSet", "auto"},
        {"wifiIface.0.ifaceStat.rxMulticast", "0"},
        {"wifiIface.4.radioInfo.radioBand", ""}, {"wifiIface.4.radioInfo.radioInfoChannel", ""},
    });

    // Any other layout has the 6 GHz block; no wireless interface, an empty array.
    Scenario other;
    other.store["radio_number"] = "0x5";
    other.netifs = {"!wl0", "!wl1", "!wl2", "!wl1.1", "!wl1.2", "!wl2.1", "!wl2.2"};
    a = object("wifiAnalytics", other);
    ASSERT_TRUE(a);
    EXPECT_EQ(member_names(a.get()), (Names{"deviceInfo", "2gBssInfo", "5g1BssInfo", "6gBssInfo", "wifiIface"}));
    EXPECT_EQ(json_object_array_length(json_at(a.get(), "wifiIface")), 0u);
}
