// The routerConfig item in the simulated router: member order and gating per
// operating mode, radio layout, model and security service; the agent report
// chosen by agent version; hostile store values, reports and rule lists.
#include "sim_harness.h"

#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

// What a document holds besides the members every routerConfig has.
struct Layout {
    bool routed = true;       // router mode: traffic meter and port rules
    bool zt410 = false;       // de_features: no QoS, VPN, link aggregation
    bool aegix = true;        // the security service's status tool exists
    int vlan_rules = 2;
    bool circle = true;       // the Circle agent is of version 2
};

std::string expected_shape(const Layout& l) {
    const std::string net = "{enable:string,ssid:string,frequencyBand:string,broadcast:string,"
                            "security:string}";
    std::string rules;
    for (int i = 0; i < l.vlan_rules; ++i) rules += (i ? "," : "") + std::string("{vid:int,priority:int}");
    std::string s = "{timeZoneConfig:string,timeZoneOffset:string,smartConnect:boolean,"
                    "ntpConfig:string,ntpPreferredServer:string,";
    if (!l.zt410) s += "dynamicQos:boolean,";
    s += "dynamicDNS:boolean,";
    if (!l.zt410) s += "serviceVPN:boolean,";
    s += "accessControl:boolean,ipv6:boolean,ipv6Type:string,mode:string,"
         "remoteLorinEnabled:boolean,wanConfig:{type:string,connectionMode:string,"
         "ipSetting:string,dnsSetting:string,wanPortSpeed:string},dhcpOption60:string,"
         "dhcpOption61:string,vlanSeting:{bridgeorVlanTag:string,vlanrule:[" + rules + "]},";
    if (l.routed)
        s += "trafficMeterEnabled:{enabled:boolean,controlType:string},"
             "portForwarding:{enabled:boolean,ruleCount:int},"
             "portTriggering:{enabled:boolean,ruleCount:int},";
    if (!l.zt410)
        s += "ethernetPortAggregation:{mode:string,status:string},vpnClientEnable:boolean,"
             "vpnServerProvider:string,vpnProtocol:string,vpnCountry:string,vpnCity:string,";
    s += "11axEnable:string,mloEnable:string,wifiMain:" + net + ",wifiGuest:" + net +
         ",wifiIOT:" + net + ",";
    if (l.aegix)
        s += "aegixActivate:boolean,aegixEnable:boolean,aegixAgentVersion:string,"
             "aegixSubscriptionStatus:string,aegixSubscriptionExpirationDate:string,"
             "aegixVAReportDate:string,aegixSubscriptionType:string,aegixBdAgentStatus:string,"
             "aegixRegistrationStatus:string,";
    s += "routerProtectEnabled:string,routerProtectLicenseStatus:string,aegixGusterVersion:string";
    if (l.circle)
        s += ",circleFeatureVersion:string,circleV2ActivationConfig:string,"
             "circleV2EnableConfig:string,circleV2ProvisionHardwareURL:string,"
             "circleV2CloudHost:string,circleV2CircleID:string,circleV2Cuuid:string,"
             "circleV2AgentVersion:string,circleV2DBVersion:string";
    return s + "}";
}

using Members = std::vector<std::pair<std::string, std::string>>;

struct ConfigRun {
    SimResult r;
    SimJson doc;
    json_object* config() const { return json_at(doc.get(), "routerConfig"); }
};

ConfigRun run_config(const Scenario& sc) {
    ConfigRun run{run_in_router({"data_collector", "routerConfig"}, sc), nullptr};
    EXPECT_EQ(run.r.status, 0) << run.r.err;
    run.doc = run.r.json("/tmp/aws_json_routerConfig");
    EXPECT_TRUE(run.doc) << run.r.file("/tmp/aws_json_routerConfig").substr(0, 300);
    EXPECT_EQ(member_names(run.doc.get()), (std::vector<std::string>{"routerHardware", "routerConfig"}));
    EXPECT_EQ(json_object_get_int(json_at(run.doc.get(), "routerHardware.eventType")), 1);
    return run;
}

void expect_members(json_object* obj, const Members& want) {
    for (const auto& [path, value] : want) {
        json_object* v = json_at(obj, path);
        EXPECT_EQ(v ? json_object_get_string(v) : "<absent>", value) << path;
    }
}

void expect_document(const Scenario& sc, const Layout& layout, const Members& want) {
    ConfigRun run = run_config(sc);
    EXPECT_EQ(json_shape(run.config()), expected_shape(layout));
    expect_members(run.config(), want);
}

// One router variant: fixture layers, store values and files over the sample.
struct DocCase {
    const char* name;
    std::vector<std::string> layers;
    std::map<std::string, std::string> store;
    std::map<std::string, std::string> files;
    Layout layout;
    Members want;
};

void expect_documents(const std::vector<DocCase>& cases) {
    for (const DocCase& c : cases) {
        SCOPED_TRACE(c.name);
        Scenario sc;
        sc.extra_fixtures = c.layers;
        sc.store = c.store;
        sc.files = c.files;
        expect_document(sc, c.layout, c.want);
    }
}

// The sample router's agent settings with another installed agent version.
std::string d2_db_with_version(const std::string& version) {
    std::ifstream in(std::string(DC_SOURCE_DIR) + "/sim/router/rootfs/tmp/sim/d2.db");
    std::string line, out;
    while (std::getline(in, line))
        out += (line.rfind("aegixstatus.bdaVersion=", 0) == 0 ? "aegixstatus.bdaVersion=" + version
                                                               : line) + "\n";
    return out;
}

}  // namespace

TEST(RouterConfigItem, ModesLayoutsAndModels) {
    REQUIRE_SIM();
    expect_documents({
        {"sample router", {}, {}, {}, {},
         {{"timeZoneConfig", "Auto"}, {"timeZoneOffset", "+08:00"}, {"ntpConfig", "user-preferred"},
          {"dynamicDNS", "true"}, {"mode", "Router"}, {"remoteLorinEnabled", "true"},
          {"wanConfig.wanPortSpeed", "1000"}, {"vlanSeting.vlanrule.1.priority", "4"},
          {"portForwarding.ruleCount", "2"}, {"portTriggering.ruleCount", "2"},
          {"ethernetPortAggregation.status", "active"}, {"vpnCity", "Frankfurt"},
          {"wifiGuest.enable", "yes, yes, no"}, {"wifiIOT.enable", "yes, no"},
          {"aegixAgentVersion", "3.2.301"}, {"aegixSubscriptionExpirationDate", "1767225600"},
          {"aegixVAReportDate", "2026-11-20"}, {"aegixRegistrationStatus", "true"},
          {"routerProtectLicenseStatus", "active"}, {"aegixGusterVersion", "1.4.7"}}},
        {"access point", {"sim/layers/ap-mode"}, {}, {}, Layout{false},
         {{"mode", "AP"}, {"dynamicQos", "false"}, {"serviceVPN", "false"}, {"ipv6", "false"},
          {"ipv6Type", "Disabled"}, {"dynamicDNS", "true"}, {"wanConfig.type", "static"},
          {"wanConfig.ipSetting", "static"}, {"wanConfig.dnsSetting", "manual setting"},
          {"wanConfig.connectionMode", "na"}}},
        {"bridge", {"sim/layers/bridge-mode"}, {}, {}, Layout{false},
         {{"mode", "Bridge"}, {"dynamicDNS", "false"}, {"smartConnect", "false"},
          {"wanConfig.type", "dhcp"}, {"wanConfig.ipSetting", "dynamic"},
          {"wanConfig.dnsSetting", "manual setting"}, {"ipv6Type", "Disabled"}}},
        {"two radios", {"sim/layers/two-radio"}, {}, {}, {},
         {{"wifiMain.enable", "yes, yes"}, {"wifiMain.frequencyBand", "2G, 5G"},
          {"wifiMain.security", "WPA2-PSK[AES]+WPA3-PSK, WPA2-PSK[AES]+WPA3-PSK"},
          {"wifiGuest.ssid", "HomeMesh-Guest, HomeMesh-Guest"}, {"wifiIOT.frequencyBand", "2G, 5G"}}},
        {"radio mask 0x5", {"sim/layers/radio-0x5"}, {}, {}, {},
         {{"wifiMain.frequencyBand", "2G, 5G"}, {"wifiGuest.enable", "yes, yes"}}},
        {"no security service", {"sim/layers/no-security-service"}, {}, {}, Layout{true, false, false},
         {{"routerProtectEnabled", "ture"}, {"routerProtectLicenseStatus", "invalid"},
          {"aegixGusterVersion", ""}}},
        {"ZT410", {}, {}, {{"/module_name", "ZT410\n"}}, Layout{true, true},
         {{"mode", "Router"}, {"11axEnable", "true"}}},
    });
}

TEST(RouterConfigItem, AgentReportByVersion) {
    REQUIRE_SIM();
    struct Case {
        const char* version;
        Members want;
    } cases[] = {
        {"3.2.289", {{"aegixSubscriptionStatus", "active"}, {"aegixSubscriptionType", "aegix-pro"},
                     {"routerProtectLicenseStatus", "active"}}},
        {"3.2.288", {{"aegixSubscriptionStatus", "trial"}, {"aegixSubscriptionType", "aegix-light"},
                     {"aegixBdAgentStatus", "ok"}, {"aegixRegistrationStatus", "false"},
                     {"routerProtectLicenseStatus", "trial"}}},
        {"2.2.94", {{"aegixSubscriptionStatus", "on"}, {"aegixSubscriptionExpirationDate", "2027-01-01"},
                    {"aegixVAReportDate", "2026-11-20"}, {"aegixSubscriptionType", "basic"},
                    {"aegixBdAgentStatus", "fail"}, {"aegixRegistrationStatus", "true"},
                    {"routerProtectLicenseStatus", "invalid"}}},
        {"3", {{"aegixSubscriptionStatus", "on"}, {"routerProtectLicenseStatus", "invalid"}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.version);
        Scenario sc;
        sc.files["/tmp/sim/d2.db"] = d2_db_with_version(c.version);
        ConfigRun run = run_config(sc);
        expect_members(run.config(), c.want);
        // The report is left in place for the firmware's own diagnostics.
        EXPECT_EQ(run.r.exists("/tmp/router-analytics/aegix_bda.json"), c.version[0] == '3' && c.version[1]);
        EXPECT_FALSE(run.r.exists("/tmp/aegix_status"));
        EXPECT_FALSE(run.r.exists("/tmp/bond_status"));
    }
}

TEST(RouterConfigItem, WanVlanAndIpv6Variants) {
    REQUIRE_SIM();
    expect_documents({
        {"RU keeps rule 0", {},
         {{"vlan_tag_0", "1 Voice 30 6 1 1"}, {"enable_vlan", "1"}, {"vlan_type", "0"}},
         {{"/tmp/firmware_region", "RU\n"}},
         Layout{true, false, true, 3},
         {{"vlanSeting.bridgeorVlanTag", "bridge"}, {"vlanSeting.vlanrule.0.vid", "30"},
          {"vlanSeting.vlanrule.2.vid", "20"}}},
        {"tagging off still lists rules", {},
         {{"enable_vlan", "0"}, {"vlan_tag_0", "1 Voice 30 6 1 1"}, {"vlan_tag_2", "junk"}},
         {},
         {},
         {{"vlanSeting.bridgeorVlanTag", "disable"}, {"vlanSeting.vlanrule.1.vid", "1"},
          {"vlanSeting.vlanrule.1.priority", "0"}}},
        {"pppoe and auto-detected IPv6", {},
         {{"wan_proto", "pppoe"}, {"wan_pppoe_demand", "1"}, {"ipv6_type", "autoDetect"}},
         {{"/tmp/WAN_status", "Link down\n"}, {"/tmp/ipv6_auto_output", "Detecting...\n"}},
         {},
         {{"wanConfig.type", "pppoe"}, {"wanConfig.connectionMode", "dial on demand"},
          {"wanConfig.wanPortSpeed", "0"}, {"ipv6", "true"}, {"ipv6Type", "Auto detect"}}},
    });
}

TEST(RouterConfigItem, CircleMembersCloseTheObject) {
    REQUIRE_SIM();
    expect_documents({
        {"agent version 2", {}, {}, {}, {},
         {{"circleFeatureVersion", "2"}, {"circleV2ActivationConfig", "activate"},
          {"circleV2AgentVersion", "2.6.14"}, {"circleV2DBVersion", "2024.02.27"}}},
        {"agent version 1", {}, {}, {{"/usr/bin/get_circle_status", "#!/bin/sh\necho 1.5\n"}},
         Layout{true, false, true, 2, false},
         {}},
    });
}

TEST(RouterConfigItem, HostileInput) {
    REQUIRE_SIM();
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
    for (int i = 1; i <= 10000; ++i) sc.store["triggering" + std::to_string(i)] = "r 1 1";
    std::string nested(100000, '[');
    sc.files["/usr/share/aegix/bdbroker-client-cmd"] =
        "#!/bin/sh\nhead -c 20000 /dev/urandom\n";
    sc.files["/opt/bitdefender/bin/bdagent-manage"] = "#!/bin/sh\nprintf '%s' '" + nested + "'\n";
    sc.files["/usr/share/aegix/get_aegix_status"] =
        "#!/bin/sh\n[ \"$1\" = bd_version ] && head -c 5000 /dev/zero | tr '\\0' '%'\necho\n";
    sc.files["/tmp/WAN_status"] = evil;
    ConfigRun run = run_config(sc);
    EXPECT_FALSE(run.r.exists("/tmp/pwned"));
    expect_members(run.config(), {{"portTriggering.ruleCount", "1024"},
                                  {"wanConfig.type", "dhcp"},
                                  {"aegixSubscriptionStatus", "fail"},
                                  {"routerProtectLicenseStatus", "invalid"},
                                  {"aegixAgentVersion", std::string(1023, '%')},
                                  {"timeZoneOffset", "+00:00"},
                                  {"ntpPreferredServer", evil.substr(0, 63)}});
    EXPECT_EQ(json_object_get_string(json_at(run.config(), "wifiMain.ssid")),
              evil.substr(0, 63) + ", " + evil.substr(0, 63));  // neither 0x7 nor 0x3: two bands

    // The same with an agent old enough for its own tool: a deeply nested report.
    sc.store.clear();
    sc.files["/tmp/sim/d2.db"] = d2_db_with_version("3.0.1");
    run = run_config(sc);
    expect_members(run.config(), {{"aegixSubscriptionStatus", "fail"}, {"aegixBdAgentStatus", "fail"}});
}
