// routerConfig members computed from store values and tool output: time-zone
// offset, port rule counts, WAN and VLAN settings, port speeds, the aegix
// version comparison and status mapping, the per-network objects.
#include "aegix.h"
#include "collect_router_config.h"
#include "collect_wifi.h"
#include "config_store.h"
#include "test_util.h"
#include "zol_json.h"

#include <cstdlib>
#include <map>
#include <ctime>
#include <string>

namespace {

std::string text(json_object* obj) {
    return obj ? json_object_to_json_string_ext(obj, JSON_C_TO_STRING_PLAIN) : "<null>";
}
std::string text(const JsonPtr& obj) { return text(obj.get()); }

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

}  // namespace

TEST(Aegix, VersionComparison) {
    struct Case {
        const char* limit;
        const char* version;
        int want;
    } cases[] = {
        {"3.2.289", "3.2.289", 1}, {"3.2.289", "3.2.288", 0}, {"2.2.95", "2.2.95", 1},
        {"2.2.95", "2.2.94", 0},   {"2.2.95", "10.0.0", 1},   {"2.2.95", "2.10", 1},
        {"2.2.95", "", -1},        {"2.2.95", "3", -1},       {"3", "3.0", -1},
        {"1.2.3.4", "1.2.3.3", 0}, {"1.2.3.4", "1.2.3.4.9", 1}, {"2.2.95", "2.2.95.x", 1},
        {"2.2.95", "99999999999.0", 1},
    };
    for (const Case& c : cases)
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
        EXPECT_EQ(text(obj), status_members(want)) << (report ? report : "<null>");
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
    struct Case {
        AegixSettings s;
        std::string want;
    } cases[] = {
        {{"true", "", "", "basic", "1"}, "on|invalid|invalid|basic|fail|true"},
        {{"", "2027-01-01", "2026-11-20", "", "0"}, "invalid|2027-01-01|2026-11-20|invalid|fail|false"},
        {{"TRUE", "", "", "", "2"}, "off|invalid|invalid|invalid|fail|invalid"},
        {{"false", "", "", "", ""}, "off|invalid|invalid|invalid|fail|invalid"},
    };
    for (const Case& c : cases) {
        JsonPtr obj(json_object_new_object());
        add_aegix_settings_status(obj.get(), c.s);
        EXPECT_EQ(text(obj), status_members(c.want));
    }
}

TEST(RouterConfig, TimeZoneOffsetText) {
    struct Case {
        const char* tz;
        bool dst;
        const char* want;
    } cases[] = {
        {"GMT-8", false, "+08:00"},    {"GMT+5", false, "-05:00"}, {"GMT+5", true, "-04:00"},
        {"GMT-5:30", false, "+05:30"}, {"UTC", false, "+00:00"},   {"", true, "+01:00"},
        {"GMT-0", true, "+01:00"},     {"GMT+0:45", false, "+00:45"},
        {"GMT+12:7x", false, "-12:07"}, {"GMT-99999999999999", false, "+9999999:00"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(timezone_offset_text(c.tz, c.dst), c.want) << c.tz << " dst " << c.dst;
}

TEST(RouterConfig, PortRuleAndSpeedParsing) {
    EXPECT_TRUE(port_rule_counted("forwarding", "Web TCP 80 80 192.168.1.2 0 1"));
    EXPECT_FALSE(port_rule_counted("forwarding", "Web TCP 80 80 192.168.1.2 1 1"));
    EXPECT_TRUE(port_rule_counted("triggering", "x 1 1"));
    EXPECT_TRUE(port_rule_counted("forwarding", "1"));

    // "1000Mbps" is the sample router's.
    for (auto [in, want] : {std::pair<std::string, std::string>{"Link down", "0"}, {"Link down ", ""},
                            {std::string(100, '9'), std::string(31, '9')}})
        EXPECT_EQ(wan_port_speed(in.c_str()), want) << in;

    struct Vlan {
        const char* value;
        int vid, priority;
    } vlans[] = {
        {"1 Internet 10 0 1 1", 10, 0}, {"1 IPTV 20 4 8 0", 20, 4}, {"x IPTV 20 4", 1, 0},
        {"1 IPTV 30", 30, 0},           {"1 IPTV", 1, 0},           {"1 %n%s 99999999999 -3", 2147483647, -3},
        {"", 1, 0},
    };
    for (const Vlan& v : vlans) {
        int vid = -5, priority = -5;
        parse_vlan_rule(v.value, &vid, &priority);
        EXPECT_EQ(vid, v.vid) << v.value;
        EXPECT_EQ(priority, v.priority) << v.value;
    }

    EXPECT_EQ(ethtool_speed_gbps("Settings for eth0:\n\tSupported ports: [ FIBRE ]\n"
                                 "\tSpeed: 2500Mb/s\n\tDuplex: Full\n"),
              2);
    EXPECT_EQ(ethtool_speed_gbps("\tspeed: Unknown!\n\tSPEED: 10000Mb/s\n"), 10);
    EXPECT_EQ(ethtool_speed_gbps(("Speed: " + std::string(40, '9')).c_str()), 2147483647);
}

class RouterConfigStore : public TempDirTest {};

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
    struct Case {
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
    for (const Case& c : cases) {
        put("config.store", "ap_mode=0\nbridge_mode=0\n");
        for (const auto& [k, v] : c.keys) config_set(k.c_str(), v.c_str());
        JsonPtr wan(get_wanConfig_json());
        std::string got;
        for (const char* m : {"type", "connectionMode", "ipSetting", "dnsSetting"})
            got += std::string(got.empty() ? "" : "|") +
                   json_object_get_string(json_object_object_get(wan.get(), m));
        EXPECT_EQ(got, c.want) << c.keys.begin()->second;
    }
}

TEST_F(RouterConfigStore, PerNetworkObjects) {
    put("config.store",
        "radio_number=0x3\nlbd_enable=1\nendis_wl_radio=1\nendis_wla_radio=0\n"
        "wl_ssid=Home-2G\nwla_ssid=Home-5G\nwl_sectype=4\nwla_sectype=7\nendis_ssid_broadcast=1\n");
    EXPECT_EQ(text(JsonPtr(get_routerconf_wificonfig_main())),
              R"({"enable":"yes","ssid":"Home-2G","frequencyBand":"2G, 5G","broadcast":"yes",)"
              R"("security":"WPA2-PSK[AES]"})");
    EXPECT_EQ(text(JsonPtr(get_routerconf_wificonfig_guest())),
              R"({"enable":"no, no","ssid":", ","frequencyBand":"2G, 5G","broadcast":"no, no",)"
              R"("security":"None, None"})");

    // Three radios: every band listed; the IoT object still two bands and 2.4 GHz values.
    put("config.store",
        "radio_number=0x7\nwlg3_endis_iotNet=0\nwla3_endis_iotNet=1\nwlg3_ssid=Things\n"
        "wla3_ssid=Things-5G\nendis_ssid_broadcast=1\nwlg3_sectype=2\nwlg3_key_length=5\n"
        "wl_ssid=" + std::string(100, 'a') + "\nwla_ssid=" + std::string(100, 'b') + "\n");
    EXPECT_EQ(text(JsonPtr(get_routerconf_wificonfig_iot())),
              R"({"enable":"no, yes","ssid":"Things","frequencyBand":"2G, 5G","broadcast":"yes",)"
              R"("security":"WEP64"})");
    JsonPtr main(get_routerconf_wificonfig_main());
    EXPECT_EQ(json_object_get_string(json_object_object_get(main.get(), "ssid")),
              std::string(63, 'a') + ", " + std::string(63, 'b') + ", ");
    EXPECT_STREQ(json_object_get_string(json_object_object_get(main.get(), "enable")), "no, no, no");
}

TEST_F(RouterConfigStore, WifiNetworkArray) {
    put("config.store",
        "radio_number=0x3\nmlo_mode=1\nendis_wl_radio=1\nwlg1_endis_guestNet=1\n"
        "endis_wla_radio=0\nwla1_endis_guestNet=1\nwl_hidden_channel=0\nwla_hidden_channel=149\n"
        "wla1_endis_guestSSIDbro=1\nwla1_sectype=3\n");
    JsonPtr nets(get_wifiNetwork_json());
    ASSERT_EQ(json_object_array_length(nets.get()), 4u);
    EXPECT_EQ(text(json_object_array_get_idx(nets.get(), 1)),
              R"({"type":"guest","frequencyBand":"2.4G","radio":true,"broadcast":false,)"
              R"("channel":"AUTO","mode":"Up to 0.3 Gbps","securityType":"None"})");
    EXPECT_EQ(text(json_object_array_get_idx(nets.get(), 2)),
              R"({"type":"main","frequencyBand":"2.4G, 5G","radio":false,"broadcast":false,)"
              R"("channel":"149","mode":"Up to 0.3 Gbps","securityType":"None"})");
    EXPECT_EQ(text(json_object_array_get_idx(nets.get(), 3)),
              R"({"type":"guest","frequencyBand":"5G","radio":false,"broadcast":true,)"
              R"("channel":"149","mode":"Up to 0.3 Gbps","securityType":"WPA-PSK"})");

    config_set("radio_number", "0x5");
    nets.reset(get_wifiNetwork_json());
    ASSERT_EQ(json_object_array_length(nets.get()), 6u);
    EXPECT_STREQ(json_object_get_string(json_object_object_get(
                     json_object_array_get_idx(nets.get(), 4), "frequencyBand")),
                 "2.4G, 5G, 6G");
}
