// The routerConfig item in the simulated router, where it differs from the
// sample router's golden document: members per operating mode, radio layout,
// security service and Circle agent; the agent report chosen by agent
// version; hostile store values, reports and rule lists.
#include "sim_test.h"

#include <fstream>

const std::vector<std::string> kRouted = {"trafficMeterEnabled", "portForwarding", "portTriggering"};

// One router variant: fixture layers, store values and files over the sample;
// the members it lacks beside the golden document's, and values.
struct DocCase {
    const char* name;
    std::vector<std::string> layers;
    std::map<std::string, std::string> store;
    std::map<std::string, std::string> files;
    std::vector<std::string> lacks;
    Members want;
};

static void expect_documents(const std::vector<DocCase>& cases) {
    for (const DocCase& c : cases) {
        SCOPED_TRACE(c.name);
        Scenario sc;
        sc.extra_fixtures = c.layers;
        sc.store = c.store;
        sc.files = c.files;
        ItemRun run = run_item("routerConfig", sc);
        EXPECT_EQ(member_names(run.at("routerConfig")), golden_members("routerConfig", "routerConfig", c.lacks));
        expect_members(run.at("routerConfig"), c.want);
    }
}

// The sample router's agent settings with another installed agent version.
static std::string d2_db_with_version(const std::string& version) {
    std::ifstream in(std::string(DC_SOURCE_DIR) + "/sim/router/rootfs/tmp/sim/d2.db");
    std::string line, out;
    while (std::getline(in, line))
        out += (line.rfind("aegixstatus.bdaVersion=", 0) == 0 ? "aegixstatus.bdaVersion=" + version
                                                               : line) + "\n";
    return out;
}

using RouterConfigItem = SimTest;

TEST_F(RouterConfigItem, ModesLayoutsWanAndVlan) {
    expect_documents({
        {"access point", {"sim/layers/ap-mode"}, {}, {}, kRouted,
         {{"mode", "AP"}, {"dynamicQos", "false"}, {"serviceVPN", "false"}, {"ipv6", "false"},
          {"ipv6Type", "Disabled"}, {"dynamicDNS", "true"}, {"wanConfig.type", "static"}}},
        {"bridge", {"sim/layers/bridge-mode"}, {}, {}, kRouted,
         {{"mode", "Bridge"}, {"dynamicDNS", "false"}, {"smartConnect", "false"},
          {"wanConfig.type", "dhcp"}, {"ipv6Type", "Disabled"}}},
        {"two radios", {"sim/layers/two-radio"}, {}, {}, {},
         {{"wifiMain.enable", "yes, yes"}, {"wifiMain.frequencyBand", "2G, 5G"},
          {"wifiMain.security", "WPA2-PSK[AES]+WPA3-PSK, WPA2-PSK[AES]+WPA3-PSK"},
          {"wifiGuest.ssid", "HomeMesh-Guest, HomeMesh-Guest"}, {"wifiIOT.frequencyBand", "2G, 5G"}}},
        {"radio mask 0x5", {"sim/layers/radio-0x5"}, {}, {}, {},
         {{"wifiMain.frequencyBand", "2G, 5G"}, {"wifiGuest.enable", "yes, yes"}}},
        {"no security service", {"sim/layers/no-security-service"}, {}, {},
         {"aegixActivate", "aegixEnable", "aegixAgentVersion", "aegixSubscriptionStatus",
          "aegixSubscriptionExpirationDate", "aegixVAReportDate", "aegixSubscriptionType",
          "aegixBdAgentStatus", "aegixRegistrationStatus"},
         {{"routerProtectEnabled", "ture"}, {"routerProtectLicenseStatus", "invalid"},
          {"aegixGusterVersion", ""}}},
        // The Circle members close the object, for an agent of version 2 only.
        {"Circle agent 1", {}, {}, {{"/usr/bin/get_circle_status", "#!/bin/sh\necho 1.5\n"}},
         {"circleFeatureVersion", "circleV2ActivationConfig", "circleV2EnableConfig",
          "circleV2ProvisionHardwareURL", "circleV2CloudHost", "circleV2CircleID", "circleV2Cuuid",
          "circleV2AgentVersion", "circleV2DBVersion"},
         {}},
        {"RU keeps rule 0", {},
         {{"vlan_tag_0", "1 Voice 30 6 1 1"}, {"enable_vlan", "1"}, {"vlan_type", "0"}},
         {{"/tmp/firmware_region", "RU\n"}},
         {},
         {{"vlanSeting.bridgeorVlanTag", "bridge"}, {"vlanSeting.vlanrule.0.vid", "30"},
          {"vlanSeting.vlanrule.2.vid", "20"}, {"vlanSeting.vlanrule.3", "<absent>"}}},
        {"tagging off still lists rules", {},
         {{"enable_vlan", "0"}, {"vlan_tag_0", "1 Voice 30 6 1 1"}, {"vlan_tag_2", "junk"}},
         {},
         {},
         {{"vlanSeting.bridgeorVlanTag", "disable"}, {"vlanSeting.vlanrule.1.vid", "1"},
          {"vlanSeting.vlanrule.1.priority", "0"}, {"vlanSeting.vlanrule.2", "<absent>"}}},
        {"pppoe and auto-detected IPv6", {},
         {{"wan_proto", "pppoe"}, {"wan_pppoe_demand", "1"}, {"ipv6_type", "autoDetect"}},
         {{"/tmp/WAN_status", "Link down\n"}, {"/tmp/ipv6_auto_output", "Detecting...\n"}},
         {},
         {{"wanConfig.type", "pppoe"}, {"wanConfig.wanPortSpeed", "0"}, {"ipv6", "true"},
          {"ipv6Type", "Auto detect"}}},
    });
}

TEST_F(RouterConfigItem, AgentReportByVersion) {
    struct Case {
        const char* version;
        Members want;
    } cases[] = {
        {"3.2.289", {{"aegixSubscriptionStatus", "active"}, {"aegixSubscriptionType", "aegix-pro"},
                     {"routerProtectLicenseStatus", "active"}}},
        {"3.2.288", {{"aegixSubscriptionStatus", "trial"}, {"aegixSubscriptionType", "aegix-light"},
                     {"aegixBdAgentStatus", "ok"}, {"aegixRegistrationStatus", "false"},
                     {"routerProtectLicenseStatus", "trial"}}},
        // Too old for either tool: the settings (their mapping is the unit tests').
        {"2.2.94", {{"aegixSubscriptionStatus", "on"}, {"aegixVAReportDate", "2026-11-20"},
                    {"routerProtectLicenseStatus", "invalid"}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.version);
        Scenario sc;
        sc.files["/tmp/sim/d2.db"] = d2_db_with_version(c.version);
        ItemRun run = run_item("routerConfig", sc);
        expect_members(run.at("routerConfig"), c.want);
        // The report is left in place for the firmware's own diagnostics.
        EXPECT_EQ(run.r.exists("/tmp/router-analytics/aegix_bda.json"), c.version[0] == '3' && c.version[1]);
    }
}

TEST_F(RouterConfigItem, HostileInput) {
    const std::string evil =
        "%n%s%x'\"$(touch /tmp/pwned)`touch /tmp/pwned`;touch /tmp/pwned\n" +
        std::string(10000, 'x') + "\xff\xfe";
    Scenario sc;
    for (const char* key :
         {"time_zone", "wan_proto", "vlan_tag_1", "vlan_tag_2", "forwarding1", "wl_ssid", "wla_ssid",
          "manual_ntp_server", "vpn_client_ovpn_cfg_provider", "dhcp_option60", "dhcp_option61",
          "ipv6_type", "link_aggregation_sta", "wl_sectype", "wla_ax", "mlo_mode", "radio_number",
          "ntp_server_type", "schedule_apply_flag"})
        sc.store[key] = evil;
    sc.store["ntp_server_type"] = "1";
    std::string nested(100000, '[');
    sc.files["/usr/share/aegix/bdbroker-client-cmd"] =
        "#!/bin/sh\nhead -c 20000 /dev/urandom\n";
    sc.files["/opt/bitdefender/bin/bdagent-manage"] = "#!/bin/sh\nprintf '%s' '" + nested + "'\n";
    sc.files["/usr/share/aegix/get_aegix_status"] =
        "#!/bin/sh\n[ \"$1\" = bd_version ] && head -c 5000 /dev/zero | tr '\\0' '%'\necho\n";
    sc.files["/tmp/WAN_status"] = evil;
    ItemRun run = run_item("routerConfig", sc);
    EXPECT_FALSE(run.r.exists("/tmp/pwned"));
    expect_members(run.at("routerConfig"), {{"wanConfig.type", "dhcp"},
                                  {"aegixSubscriptionStatus", "fail"},
                                  {"routerProtectLicenseStatus", "invalid"},
                                  {"aegixAgentVersion", std::string(1023, '%')},
                                  {"timeZoneOffset", "+00:00"},
                                  {"ntpPreferredServer", evil.substr(0, 63)}});
    EXPECT_EQ(json_object_get_string(json_at(run.at("routerConfig"), "wifiMain.ssid")),
              evil.substr(0, 63) + ", " + evil.substr(0, 63));  // neither 0x7 nor 0x3: two bands

    // The same with an agent old enough for its own tool: a deeply nested report.
    sc.store.clear();
    sc.files["/tmp/sim/d2.db"] = d2_db_with_version("3.0.1");
    run = run_item("routerConfig", sc);
    expect_members(run.at("routerConfig"), {{"aegixSubscriptionStatus", "fail"}, {"aegixBdAgentStatus", "fail"}});
}
