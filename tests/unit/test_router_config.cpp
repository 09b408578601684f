// routerConfig members computed from store values and tool output: time-zone
// offset, port rule counts, WAN and VLAN settings, port speeds, the aegix
// version comparison and status mapping, the per-network objects, the traffic
// meter, the speed-test time and the Circle agent's outputs. (The speed-test
// statuses and the counter wrap run in the simulated router.)
#include "aegix.h"
#include "collect_circleV2.h"
#include "collect_router_config.h"
#include "collect_router_traffic.h"
#include "collect_wifi.h"
#include "test_util.h"

#include <ctime>
#include <map>

namespace {

JsonPtr parse(const char* json) { return JsonPtr(json ? json_tokener_parse(json) : nullptr); }

// The six status members from "subscription|expiry|VA date|type|agent|registration".
std::string status_members(const std::string& values) {
    static const char* const kNames[] = {"SubscriptionStatus", "SubscriptionExpirationDate",
                                         "VAReportDate", "SubscriptionType", "BdAgentStatus",
                                         "RegistrationStatus"};
    std::string out, rest = values + "|";
    for (const char* name : kNames) {
        out += std::string(out.empty() ? "{" : ",") + "\"aegix" + name + "\":\"" +
               rest.substr(0, rest.find('|')) + "\"";
        rest.erase(0, rest.find('|') + 1);
    }
    return out + "}";
}

TEST(Aegix, VersionComparison) {
    const struct { const char *limit, *version; int want; } cases[] = {
        {"3.2.289", "3.2.289", 1}, {"3.2.289", "3.2.288", 0}, {"2.2.95", "2.2.95", 1},
        {"2.2.95", "2.2.94", 0},   {"2.2.95", "10.0.0", 1},   {"2.2.95", "2.10", 1},
        {"2.2.95", "", -1},        {"2.2.95", "3", -1},       {"3", "3.0", -1},
        {"1.2.3.4", "1.2.3.3", 0}, {"1.2.3.4", "1.2.3.4.9", 1}, {"2.2.95", "2.2.95.x", 1},
        {"2.2.95", "99999999999.0", 1},
    };
    for (const auto& c : cases)
        EXPECT_EQ(compare_bdaVersion(c.limit, c.version), c.want) << c.limit << " vs " << c.version;
    EXPECT_EQ(compare_bdaVersion(nullptr, "1.0"), -1);
    EXPECT_EQ(compare_bdaVersion("1.0", nullptr), -1);
}

// An active agent's report is the sample router's (the golden routerConfig).
TEST(Aegix, ReportShapes) {
    const std::pair<const char*, const char*> cases[] = {
        {R"({"agent":"down"})", "fail|fail|invalid|fail|fail|fail"},
        {nullptr, "fail|fail|invalid|fail|fail|fail"},
        // An agent without subscription or registration is still an agent that answered.
        {R"({"agent":{}})", "fail|fail|invalid|fail|ok|fail"},
        {R"({"agent":{"registered":false,"subscription":{"status":"x-unknown","expiry":-1,)"
         R"("level":"Light+basic"}}})",
         "unknown|fail|invalid|aegix-basic|ok|false"},
        {R"({"agent":{"subscription":{"level":"family","expiry":0}}})", "fail|0|invalid|family|ok|fail"},
        {R"({"agent":{"subscription":"active"}})", "fail|fail|invalid|fail|ok|fail"},
    };
    for (const auto& [report, want] : cases) {
        JsonPtr obj(json_object_new_object());
        add_aegix_report_status(obj.get(), aegix_report_from_json(parse(report).get()), "");
        EXPECT_EQ(json_text(obj), status_members(want)) << (report ? report : "<null>");
    }

    // Texts are cut to 63 characters.
    std::string long_status = std::string(R"({"agent":{"subscription":{"status":")") +
                              std::string(100, 's') + R"("}}})";
    EXPECT_EQ(aegix_report_from_json(parse(long_status.c_str()).get()).status, std::string(63, 's'));

    EXPECT_EQ(bda_license_status(parse(R"({"router_protection":"active"})").get()), "");
    EXPECT_EQ(bda_license_status(
                  parse(R"({"router_protection":{"license_status":"0123456789012345678901234567890123"}})")
                      .get()),
              "0123456789012345678901234567890");
}

TEST(Aegix, SettingsPath) {
    struct Case { AegixSettings s; std::string want; } cases[] = {
        {{"true", "", "", "basic", "1"}, "on|invalid|invalid|basic|fail|true"},
        {{"", "2027-01-01", "2026-11-20", "", "0"}, "invalid|2027-01-01|2026-11-20|invalid|fail|false"},
        {{"TRUE", "", "", "", "2"}, "off|invalid|invalid|invalid|fail|invalid"},
        {{"false", "", "", "", ""}, "off|invalid|invalid|invalid|fail|invalid"},
    };
    for (const Case& c : cases) {
        JsonPtr obj(json_object_new_object());
        add_aegix_settings_status(obj.get(), c.s);
        EXPECT_EQ(json_text(obj), status_members(c.want));
    }
}

TEST(RouterConfig, TimeZoneOffsetText) {
    const struct { const char* tz; bool dst; const char* want; } cases[] = {
        {"GMT-8", false, "+08:00"},    {"GMT+5", false, "-05:00"}, {"GMT+5", true, "-04:00"},
        {"GMT-5:30", false, "+05:30"}, {"UTC", false, "+00:00"},   {"", true, "+01:00"},
        {"GMT-0", true, "+01:00"},     {"GMT+0:45", false, "+00:45"},
        {"GMT+12:7x", false, "-12:07"}, {"GMT-99999999999999", false, "+9999999:00"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(timezone_offset_text(c.tz, c.dst), c.want) << c.tz << " dst " << c.dst;
}

TEST(RouterConfig, PortRuleAndSpeedParsing) {
    auto num = [](long n) { return std::to_string(n); };
    // "1000Mbps" is the sample router's speed.
    expect_all({{num(port_rule_counted("forwarding", "Web TCP 80 80 192.168.1.2 0 1")), "1"},
                {num(port_rule_counted("forwarding", "Web TCP 80 80 192.168.1.2 1 1")), "0"},
                {num(port_rule_counted("triggering", "x 1 1")), "1"},
                {num(port_rule_counted("forwarding", "1")), "1"},
                {num(port_rule_counted("forwarding", "1 1")), "0"},
                {wan_port_speed("Link down"), "0"}, {wan_port_speed("Link down "), ""},
                {wan_port_speed(std::string(100, '9').c_str()), std::string(31, '9')},
                {num(ethtool_speed_gbps("Settings for eth0:\n\tSupported ports: [ FIBRE ]\n"
                                        "\tSpeed: 2500Mb/s\n\tDuplex: Full\n")), "2"},
                {num(ethtool_speed_gbps("\tspeed: Unknown!\n\tSPEED: 10000Mb/s\n")), "10"},
                {num(ethtool_speed_gbps(("Speed: " + std::string(40, '9')).c_str())), "2147483647"}});

    const struct { const char* value; int vid, priority; } vlans[] = {
        {"1 Internet 10 0 1 1", 10, 0}, {"1 IPTV 20 4 8 0", 20, 4}, {"x IPTV 20 4", 1, 0},
        {"1 IPTV 30", 30, 0},           {"1 IPTV", 1, 0},           {"1 %n%s 99999999999 -3", 2147483647, -3},
        {"", 1, 0},
    };
    for (const auto& v : vlans) {
        int vid = -5, priority = -5;
        parse_vlan_rule(v.value, &vid, &priority);
        EXPECT_EQ(num(vid) + " " + num(priority), num(v.vid) + " " + num(v.priority)) << v.value;
    }
}

using RouterConfigStore = TempDirTest;

TEST_F(RouterConfigStore, TimeZoneFollowsTheZoneRules) {
    config_set("time_zone", "GMT+5");
    EXPECT_STREQ(get_timeZoneOffset(), "-05:00");
    // Daylight saving time all year round.
    config_set("time_zone", "GMT+5GDT,0/0,J365/25");
    EXPECT_STREQ(get_timeZoneOffset(), "-04:00");
    unsetenv("TZ");
    tzset();
}

TEST_F(RouterConfigStore, PortRuleCountsAreBounded) {
    config_set("forwarding1", "A TCP 1 1 192.168.1.2 0 1");
    config_set("forwarding2", "%n%s TCP 1 1 192.168.1.2 1 1");
    config_set("forwarding3", "$(reboot) 0 1");
    config_set("forwarding5", "after the gap 0 1");
    EXPECT_EQ(getPortFwdTrgRuleNum("forwarding"), 2);
    EXPECT_EQ(getPortFwdTrgRuleNum(std::string(300, 'f').c_str()), 0);

    std::string store;
    for (int i = 1; i <= 10000; ++i) store += "triggering" + std::to_string(i) + "=r 1 1\n";
    put("config.store", store);
    EXPECT_EQ(getPortFwdTrgRuleNum("triggering"), kMaxPortRules);
}

TEST_F(RouterConfigStore, WanSettingsPerProtocolAndMode) {
    const struct {
        std::map<std::string, std::string> keys;
        const char* want;  // type, connectionMode, ipSetting, dnsSetting
    } cases[] = {
        {{{"wan_proto", "pppoe"}, {"wan_pppoe_demand", "2"}, {"wan_pppoe_wan_assign", "1"}},
         "pppoe|manually connect|static|from ISP"},
        {{{"wan_proto", "mulpppoe1"}, {"wan_mulpppoe_demand", "1"}, {"wan_mulpppoe1_dns_assign", "1"}},
         "mul-pppoe|dial on demand|dynamic|manual setting"},
        {{{"wan_proto", "static"}}, "static|na|static|manual setting"},
        {{{"wan_proto", "dhcp"}, {"wan_ether_dns_assign", "1"}}, "dhcp|na|dynamic|manual setting"},
        {{{"wan_proto", "ipoe"}}, "dhcp|na|dynamic|from ISP"},
        {{{"ap_mode", "1"}}, "static|na|static|manual setting"},
        {{{"bridge_mode", "1"}, {"bridge_ether_ip_assign", "0"}}, "static|na|static|from ISP"},
    };
    for (const auto& c : cases) {
        put("config.store", "ap_mode=0\nbridge_mode=0\n");
        for (const auto& [k, v] : c.keys) config_set(k.c_str(), v.c_str());
        JsonPtr wan(get_wanConfig_json());
        std::string got;
        for (const char* m : {"type", "connectionMode", "ipSetting", "dnsSetting"})
            got += (got.empty() ? "" : "|") + member_text(wan.get(), m);
        EXPECT_EQ(got, c.want) << c.keys.begin()->second;
    }
}

TEST_F(RouterConfigStore, PerNetworkObjects) {
    put("config.store",
        "radio_number=0x3\nlbd_enable=1\nendis_wl_radio=1\nendis_wla_radio=0\n"
        "wl_ssid=Home-2G\nwla_ssid=Home-5G\nwl_sectype=4\nwla_sectype=7\nendis_ssid_broadcast=1\n");
    EXPECT_EQ(json_text(JsonPtr(get_routerconf_wificonfig_main())),
              R"({"enable":"yes","ssid":"Home-2G","frequencyBand":"2G, 5G","broadcast":"yes",)"
              R"("security":"WPA2-PSK[AES]"})");
    EXPECT_EQ(json_text(JsonPtr(get_routerconf_wificonfig_guest())),
              R"({"enable":"no, no","ssid":", ","frequencyBand":"2G, 5G","broadcast":"no, no",)"
              R"("security":"None, None"})");

    // Three radios: every band listed; the IoT object still two bands and 2.4 GHz values.
    put("config.store",
        "radio_number=0x7\nwlg3_endis_iotNet=0\nwla3_endis_iotNet=1\nwlg3_ssid=Things\n"
        "wla3_ssid=Things-5G\nendis_ssid_broadcast=1\nwlg3_sectype=2\nwlg3_key_length=5\n"
        "wl_ssid=" + std::string(100, 'a') + "\nwla_ssid=" + std::string(100, 'b') + "\n");
    EXPECT_EQ(json_text(JsonPtr(get_routerconf_wificonfig_iot())),
              R"({"enable":"no, yes","ssid":"Things","frequencyBand":"2G, 5G","broadcast":"yes",)"
              R"("security":"WEP64"})");
    JsonPtr main(get_routerconf_wificonfig_main());
    EXPECT_EQ(member_text(main.get(), "ssid"), std::string(63, 'a') + ", " + std::string(63, 'b') + ", ");
    EXPECT_EQ(member_text(main.get(), "enable"), "no, no, no");
}

TEST_F(RouterConfigStore, WifiNetworkArray) {
    put("config.store",
        "radio_number=0x3\nmlo_mode=1\nendis_wl_radio=1\nwlg1_endis_guestNet=1\n"
        "endis_wla_radio=0\nwla1_endis_guestNet=1\nwl_hidden_channel=0\nwla_hidden_channel=149\n"
        "wla1_endis_guestSSIDbro=1\nwla1_sectype=3\n");
    JsonPtr nets(get_wifiNetwork_json());
    ASSERT_EQ(json_object_array_length(nets.get()), 4u);
    EXPECT_EQ(json_text(json_object_array_get_idx(nets.get(), 1)),
              R"({"type":"guest","frequencyBand":"2.4G","radio":true,"broadcast":false,)"
              R"("channel":"AUTO","mode":"Up to 0.3 Gbps","securityType":"None"})");
    EXPECT_EQ(json_text(json_object_array_get_idx(nets.get(), 2)),
              R"({"type":"main","frequencyBand":"2.4G, 5G","radio":false,"broadcast":false,)"
              R"("channel":"149","mode":"Up to 0.3 Gbps","securityType":"None"})");
    EXPECT_EQ(json_text(json_object_array_get_idx(nets.get(), 3)),
              R"({"type":"guest","frequencyBand":"5G","radio":false,"broadcast":true,)"
              R"("channel":"149","mode":"Up to 0.3 Gbps","securityType":"WPA-PSK"})");

    config_set("radio_number", "0x5");
    nets.reset(get_wifiNetwork_json());
    ASSERT_EQ(json_object_array_length(nets.get()), 6u);
    EXPECT_EQ(member_text(json_object_array_get_idx(nets.get(), 4), "frequencyBand"), "2.4G, 5G, 6G");
}

std::string stat_field(const std::string& line, int which) {
    char out[32];
    traffic_statistics_field(line.c_str(), which, out, sizeof out);
    return out;
}

std::string net_dev(const char* line, const char* ifname) {
    uint64_t rx = 0, tx = 0;
    if (!parse_net_dev_line(line, ifname, &rx, &tx)) return "-";
    return std::to_string(rx) + "/" + std::to_string(tx);
}

TEST(TrafficMeter, Parsers) {
    expect_all({{stat_field("2024-03-02 12:00 10.25 300.5 x\n", 0), "10.25"},
                {stat_field("2024-03-02 12:00 10.25 300.5 x\n", 1), "300.5"},
                {stat_field("a b 7\r\n99 100", 1), "0"},  // the line ends at CR
                {stat_field("a b " + std::string(200, '9') + " 4", 0), std::string(31, '9')},
                {net_dev(" brwan: 8642081620 9 0 12 0 0 0 40761 1152306117 4 0 0 0 0 0 0\n", "brwan"),
                 "8642081620/1152306117"},
                {net_dev("   br0: 1 2 3 4 5 6 7 8 9 10", "brwan"), "-"},
                {net_dev(" brwan: 1 2 3 4 5 6 7 8", "brwan"), "-"},  // no transmit field
                {net_dev(" brwan: -5 2 3 4 5 6 7 8 9", "brwan"), "-"},
                {net_dev(" brwan: 99999999999999999999999 2 3 4 5 6 7 8 9", "brwan"), "18446744073709551615/9"}});
    EXPECT_EQ(traffic_delta(0, UINT64_MAX), (1ull << 32) + 1);  // wraps without overflow
}

TEST(SpeedTest, TimeText) {
    struct tm t {};
    strptime("14:05 Mar 02, 2024", "%R %b %d, %Y", &t);
    t.tm_isdst = -1;
    time_t when = mktime(&t);
    const struct { const char* raw; time_t now; const char* text; bool stale; } cases[] = {
        {"14:05 Mar 02, 2024", when + 86400, "2024_03.02_14:05:00", false},
        {"14:05 Mar 02, 2024", when + 86401, "2024_03.02_14:05:00", true},
        {"2024-03-02 14:05", when + 999999, "2024-03-02 14:05", false},
        {"garbage, 1", when, "garbage, 1", false},
    };
    for (const auto& c : cases) {
        char out[64];
        bool stale = !c.stale;
        speedtest_time_text(c.raw, c.now, out, sizeof out, &stale);
        EXPECT_STREQ(out, c.text) << c.raw;
        EXPECT_EQ(stale, c.stale) << c.raw;
    }
}

TEST_F(RouterConfigStore, TrafficMeterControlType) {
    const struct {
        const char *time, *limit, *type;
    } cases[] = {{"1", "2", "connection time control"}, {"0", "0", "traffic volume-nolimit"},
                 {"0", "1", "traffic volume-download"}, {"", "2", "traffic volume-bi-direction"},
                 {"0", "3", ""}};
    config_set("endis_traffic", "1");
    for (const auto& c : cases) {
        config_set("ctrl_volumn_time", c.time);
        config_set("limit", c.limit);
        EXPECT_EQ(json_text(JsonPtr(get_trafficMeter_json())),
                  std::string(R"({"enabled":true,"controlType":")") + c.type + "\"}");
    }
}

TEST(Circle, Outputs) {
    for (auto [line, version] : {std::pair{"2.0.1", 2}, {"1.5", 1}, {"", 0}, {" 2", 0}})
        EXPECT_EQ(circle_version_from_text(line), version) << line;

    auto status = [](const std::string& out) {
        circle_status st = parse_circle_status(TextFile(out));
        return std::string(st.running ? "R" : "") + (st.online ? "O" : "") +
               (st.provisioned ? "P" : "");
    };
    auto version = [](const std::string& out) { return parse_circle_agent_version(TextFile(out)); };
    // The first rule that matches a line wins; every line loses its last
    // character, line end or not.
    expect_all({{status("Circle Running: true rclient:   connected\nCircle Provisioned: true\n"), "RP"},
                {status("rclient:   connected\nCircle Running: true"), "O"},
                {status("rclient:  connected\n" + std::string(300, 'x') + "Circle Provisioned: true\n"), "P"},
                {status(std::string("\0\xff\n", 3)), ""},
                {version("Build: x\nCircle Agent Version: 2.6.1-rc2 (arm)\nCircle Agent Version: 9\n"), "2.6.1-rc2"},
                {version("Circle Agent Version:\n"), ""},
                {version("Circle Agent Version: " + std::string(500, 'v')), std::string(127, 'v')}});
}

}  // namespace
