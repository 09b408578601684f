// The routerConfig item. Members that only make sense on a router (traffic
// meter, port rules) are left out in access-point and bridge mode; the
// features the ZT410 lacks (QoS, VPN, link aggregation) are left out there.
#include "collect_router_config.h"

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <config_store.h>

#include "Add_object.h"
#include "aegix.h"
#include "collect_circleV2.h"
#include "collect_router_traffic.h"
#include "collect_wifi.h"
#include "event_document.h"
#include "unit.h"
#include "xagent.h"

namespace {

constexpr size_t kTextSize = 64;  // time server, mode and VPN client texts
constexpr size_t kWanTextSize = 32;

bool on(const char* key) { return config_match(key, "1") == 1; }

bool router_mode() { return config_match("ap_mode", "0") && config_match("bridge_mode", "0"); }

std::string bounded(const char* text, size_t size) {
    std::string s = text ? text : "";
    if (s.size() > size - 1) s.resize(size - 1);
    return s;
}

std::string leading_digits(const std::string& text) {
    return text.substr(0, text.find_first_not_of("0123456789"));
}

std::string store_text(const char* key, size_t size) { return bounded(config_get(key), size); }

// Decimal digits at p, saturating well below overflow; false when none.
bool read_digits(const char*& p, int* value) {
    if (!isdigit(static_cast<unsigned char>(*p))) return false;
    long v = 0;
    for (; isdigit(static_cast<unsigned char>(*p)); ++p)
        if (v < 1000000) v = v * 10 + (*p - '0');
    *value = static_cast<int>(v);
    return true;
}

// scanf's "%d" and "%s" on a cursor, without its undefined overflow.
bool scan_int(const char*& p, int* value) {
    while (isspace(static_cast<unsigned char>(*p))) ++p;
    const char* start = p;
    bool negative = *p == '-';
    if (*p == '-' || *p == '+') ++p;
    if (!isdigit(static_cast<unsigned char>(*p))) {
        p = start;
        return false;
    }
    char* end = nullptr;
    long v = strtol(p, &end, 10);
    p = end;
    if (v > INT_MAX) v = INT_MAX;
    *value = static_cast<int>(negative ? -v : v);
    return true;
}

bool scan_word(const char*& p) {
    while (isspace(static_cast<unsigned char>(*p))) ++p;
    if (!*p) return false;
    while (*p && !isspace(static_cast<unsigned char>(*p))) ++p;
    return true;
}

// ---- WAN ------------------------------------------------------------------------

struct WanSettings {
    std::string type;
    const char* connection = "na";
    const char* ip = "dynamic";
    const char* dns = "from ISP";
};

// Dial-up protocols: how their address, name servers and connection are set.
struct DialRow {
    const char* proto;
    bool contains;          // the protocol text need only contain proto
    const char* type;       // reported type, nullptr: the protocol itself
    const char* wan_assign;
    const char* dns_assign;
    const char* demand;
};
const DialRow kDialRows[] = {
    {"pppoe", false, nullptr, "wan_pppoe_wan_assign", "wan_pppoe_dns_assign", "wan_pppoe_demand"},
    {"mulpppoe", true, "mul-pppoe", "wan_mulpppoe1_wan_assign", "wan_mulpppoe1_dns_assign",
     "wan_mulpppoe_demand"},
    {"pptp", false, nullptr, "wan_pptp_wan_assign", "wan_pptp_dns_assign", "wan_pptp_demand"},
    {"l2tp", false, nullptr, "wan_l2tp_wan_assign", "wan_l2tp_dns_assign", "wan_l2tp_demand"},
};

const DialRow* dial_row(const std::string& proto) {
    for (const DialRow& row : kDialRows)
        if (row.contains ? proto.find(row.proto) != std::string::npos : proto == row.proto)
            return &row;
    return nullptr;
}

WanSettings router_wan() {
    WanSettings w;
    w.type = store_text("wan_proto", kWanTextSize);
    if (const DialRow* row = dial_row(w.type)) {
        if (row->type) w.type = row->type;
        w.ip = on(row->wan_assign) ? "static" : "dynamic";
        w.dns = on(row->dns_assign) ? "manual setting" : "from ISP";
        w.connection = config_match(row->demand, "0")   ? "always on"
                       : config_match(row->demand, "1") ? "dial on demand"
                                                        : "manually connect";
    } else if (w.type == "static") {
        w.ip = "static";
        w.dns = "manual setting";
    } else {
        if (w.type != "dhcp") w.type = "dhcp";
        w.dns = on("wan_ether_dns_assign") ? "manual setting" : "from ISP";
    }
    return w;
}

// Access-point mode tests for an automatic address ("1"), bridge mode for a
// fixed one ("0"); the firmware stores the two so.
WanSettings other_mode_wan() {
    WanSettings w;
    bool fixed = on("ap_mode") ? !on("ap_ether_ip_assign") : config_match("bridge_ether_ip_assign", "0");
    w.type = fixed ? "static" : "dhcp";
    w.ip = fixed ? "static" : "dynamic";
    bool manual_dns = on("ap_mode") ? fixed : config_match("bridge_ether_dns_assign", "0");
    w.dns = manual_dns ? "manual setting" : "from ISP";
    return w;
}

const lookup_row kIpv6Types[] = {
    {"autoConfig", "Auto config"}, {"6to4", "6to4 Tunnel"}, {"6rd", "6rd"},
    {"bridge", "Pass through"},    {"fixed", "Fixed"},      {"dhcp", "DHCP"},
    {"pppoe", "PPPoE"},            {"v6plus", "MAP-E"},     {"dslite", "DS-lite"},
};

// ---- ports ------------------------------------------------------------------------

// The port's speed as ethtool reports it; 0 when it says nothing.
int port_speed(const char* port) {
    return ethtool_speed_gbps(program_output({"ethtool", port}).c_str());
}

json_object* port_json(const char* status_file, int (*speed)()) {
    json_object* obj = json_object_new_object();
    bool down = strcasestr(cat_file(status_file), "Link down") != nullptr;
    Add_object_string(obj, "portStatus", down ? "inactive" : "active");
    Add_object_int(obj, "portSpeed", down ? 0 : speed());
    return obj;
}

// ---- routerConfig -------------------------------------------------------------------

const char* time_zone_config() {
    if (config_match("schedule_apply_flag", "2")) return "Auto";
    if (config_match("schedule_apply_flag", "1")) return "Manual";
    return "Default";
}

const char* mode_text() {
    if (on("ap_mode")) return "AP";
    if (on("bridge_mode")) return "Bridge";
    return "Router";
}

// The cloud reads these two as the strings "true" and "false".
const char* numeric_flag_text(const char* key) {
    return zol_atoi(config_get(key)) == 1 ? "true" : "false";
}

void add_vpn_client(json_object* obj) {
    int enabled = zol_atoi(config_get("vpn_client_enabled"));
    static const char* const kKeys[][2] = {
        {"vpnServerProvider", "vpn_client_ovpn_cfg_provider"},
        {"vpnProtocol", "vpn_client_ovpn_cfg_protocol"},
        {"vpnCountry", "vpn_client_ovpn_cfg_country"},
        {"vpnCity", "vpn_client_ovpn_cfg_city"},
    };
    Add_object_boolean(obj, "vpnClientEnable", enabled != 0);
    for (const auto& key : kKeys)
        Add_object_string(obj, key[0], enabled ? store_text(key[1], kTextSize).c_str() : "");
}

void add_child(json_object* obj, const char* name, json_object* child) {
    json_object_object_add(obj, name, child);
}

}  // namespace

// ---- time zone ------------------------------------------------------------------------

std::string timezone_offset_text(const char* tz, bool dst) {
    const char* p = tz ? tz : "";
    while (*p && !isdigit(static_cast<unsigned char>(*p)) && *p != '-' && *p != '+') ++p;
    int sign = 1;  // POSIX zones count westwards: "GMT-8" is eight hours ahead
    if (*p == '-' || *p == '+') sign = *p++ == '-' ? 1 : -1;
    int hours = 0, minutes = 0;
    read_digits(p, &hours);
    if (*p == ':') read_digits(++p, &minutes);
    hours = hours * sign + (dst ? 1 : 0);
    char text[kTextSize];
    if (hours < 0)
        snprintf(text, sizeof text, "-%02d:%02d", -hours, minutes);
    else
        snprintf(text, sizeof text, "+%02d:%02d", hours, minutes);
    return text;
}

char* get_timeZoneOffset() {
    static char offset[kTextSize];
    std::string tz = store_text("time_zone", kTextSize);
    time_t now = time(nullptr);
    // The zone's own rules say whether summer time is in force now.
    setenv("TZ", tz.c_str(), 1);
    tzset();
    struct tm local = {};
    bool dst = localtime_r(&now, &local) && local.tm_isdst > 0;
    strncpyt(offset, timezone_offset_text(tz.c_str(), dst).c_str(), sizeof offset);
    return offset;
}

// ---- port rules -----------------------------------------------------------------------

bool port_rule_counted(const char* prefix, const char* value) {
    if (strcmp(prefix, "forwarding") != 0) return true;
    size_t len = strlen(value);
    return len < 3 || value[len - 3] != '1';
}

int getPortFwdTrgRuleNum(const char* prefix) {
    if (!prefix) return 0;
    int count = 0;
    for (int i = 1; i <= kMaxPortRules; ++i) {
        char key[128];
        snprintf(key, sizeof key, "%.100s%d", prefix, i);
        const char* value = config_get(key);
        if (!value || !*value) break;
        if (port_rule_counted(prefix, value)) ++count;
    }
    return count;
}

json_object* get_portForwarding_json() {
    json_object* obj = json_object_new_object();
    Add_object_boolean(obj, "enabled", 1);
    Add_object_int(obj, "ruleCount", getPortFwdTrgRuleNum("forwarding"));
    return obj;
}

json_object* get_portTriggering_json() {
    json_object* obj = json_object_new_object();
    Add_object_boolean(obj, "enabled", config_match("disable_port_trigger", "0"));
    Add_object_int(obj, "ruleCount", getPortFwdTrgRuleNum("triggering"));
    return obj;
}

// ---- WAN ----------------------------------------------------------------------------

std::string wan_port_speed(const char* status) {
    std::string text = bounded(status, kWanTextSize);
    return text == "Link down" ? "0" : leading_digits(text);
}

json_object* get_wanConfig_json() {
    WanSettings w = router_mode() ? router_wan() : other_mode_wan();
    json_object* obj = json_object_new_object();
    Add_object_string(obj, "type", w.type.c_str());
    Add_object_string(obj, "connectionMode", w.connection);
    Add_object_string(obj, "ipSetting", w.ip);
    Add_object_string(obj, "dnsSetting", w.dns);
    Add_object_string(obj, "wanPortSpeed", wan_port_speed(cat_file("/tmp/WAN_status")).c_str());
    return obj;
}

const char* get_ipv6_type() {
    static char detected[kWanTextSize];
    if (on("ap_mode") || on("bridge_mode")) return "Disabled";
    const char* type = config_get("ipv6_type");
    if (strcmp(type, "autoDetect") != 0) return lookup_text(kIpv6Types, type, "Disabled");
    strncpyt(detected, cat_file("/tmp/ipv6_auto_output"), sizeof detected);
    if (!detected[0] || strstr(detected, "Detecting")) return "Auto detect";
    return detected;
}

void parse_vlan_rule(const char* value, int* vid, int* priority) {
    *vid = 1;
    *priority = 0;
    const char* p = value ? value : "";
    int skipped = 0;
    if (scan_int(p, &skipped) && scan_word(p) && scan_int(p, vid)) scan_int(p, priority);
}

json_object* get_vlanSeting_json() {
    json_object* obj = json_object_new_object();
    const char* tag = config_match("enable_vlan", "0") ? "disable"
                      : on("vlan_type")                ? "vlan"
                                                       : "bridge";
    Add_object_string(obj, "bridgeorVlanTag", tag);
    // Russian firmware keeps one more rule, numbered 0.
    int first = bounded(cat_file("/tmp/firmware_region"), 8) == "RU" ? 0 : 1;
    json_object* rules = json_object_new_array();
    for (int i = first; i <= 10; ++i) {
        char key[32];
        snprintf(key, sizeof key, "vlan_tag_%d", i);
        // The rule is taken as stored; a '%' in it is no formatting.
        std::string value = bounded(config_get(key), 256);
        if (value.empty()) break;
        int vid = 1, priority = 0;
        parse_vlan_rule(value.c_str(), &vid, &priority);
        json_object* rule = json_object_new_object();
        Add_object_int(rule, "vid", vid);
        Add_object_int(rule, "priority", priority);
        json_object_array_add(rules, rule);
    }
    add_child(obj, "vlanrule", rules);
    return obj;
}

// ---- ports ----------------------------------------------------------------------------

json_object* get_portAggregation_json() {
    int sta = zol_atoi(config_get("link_aggregation_sta"));
    const char* mode = sta == 2 ? "LACP" : sta == 1 ? "LAG" : "Disable";
    bool active = strcmp(first_line_of(program_output({"/usr/sbin/bond-show", "2"})), "active") == 0;
    json_object* obj = json_object_new_object();
    Add_object_string(obj, "mode", mode);
    Add_object_string(obj, "status", active ? "active" : "inactive");
    return obj;
}

int ethtool_speed_gbps(const char* output) {
    const char* line = output ? output : "";
    while (*line) {
        size_t len = strcspn(line, "\n");
        std::string text(line, len < 255 ? len : 255);
        line += len + (line[len] == '\n');
        const char* at = strcasestr(text.c_str(), "Speed: ");
        if (!at) continue;
        std::string value = leading_digits(bounded(at + 7, 128));
        if (!is_Number(value.c_str())) continue;
        long long gbps = strtoll(value.c_str(), nullptr, 10) / 1000;
        return gbps > INT_MAX ? INT_MAX : static_cast<int>(gbps);
    }
    return 0;
}

int get_sfp_port_speed() { return port_speed("eth0"); }

int get_5G_port_speed() { return port_speed("eth5"); }

json_object* get_sfpPort_json() { return port_json("/tmp/SFP_status", get_sfp_port_speed); }

json_object* get_ethernet5gPort_json() {
    return port_json("/tmp/ETH5G_status", get_5G_port_speed);
}

// ---- routerConfig -----------------------------------------------------------------------

json_object* get_routerConfig_json() {
    bool user_ntp = on("ntp_server_type");
    std::string ntp_server = user_ntp ? store_text("manual_ntp_server", kTextSize) : "";
    bool ddns = config_match("bridge_mode", "0") && on("endis_ddns");
    bool routed = router_mode();
    bool qos = routed, vpn = routed && on("vpn_enable");
    bool ipv6 = routed && config_invmatch("ipv6_type", "disabled");
    bool access_control = on("enable_block_device");
    int remote = get_bool_from_dto("xagentcfg[0].x_agent_claimed");

    json_object* obj = json_object_new_object();
    Add_object_string(obj, "timeZoneConfig", time_zone_config());
    Add_object_string(obj, "timeZoneOffset", get_timeZoneOffset());
    Add_object_boolean(obj, "smartConnect", config_match("bridge_mode", "0") && on("lbd_enable"));
    Add_object_string(obj, "ntpConfig", user_ntp ? "user-preferred" : "default");
    Add_object_string(obj, "ntpPreferredServer", ntp_server.c_str());
    if (de_features == 0) Add_object_boolean(obj, "dynamicQos", qos && on("trend_micro_enable"));
    Add_object_boolean(obj, "dynamicDNS", ddns);
    if (de_features == 0) Add_object_boolean(obj, "serviceVPN", vpn);
    Add_object_boolean(obj, "accessControl", access_control);
    Add_object_boolean(obj, "ipv6", ipv6);
    Add_object_string(obj, "ipv6Type", get_ipv6_type());
    Add_object_string(obj, "mode", mode_text());
    Add_object_boolean(obj, "remoteLorinEnabled", remote);
    add_child(obj, "wanConfig", get_wanConfig_json());
    Add_object_string(obj, "dhcpOption60", config_get("dhcp_option60"));
    Add_object_string(obj, "dhcpOption61", config_get("dhcp_option61"));
    add_child(obj, "vlanSeting", get_vlanSeting_json());
    if (routed) {
        add_child(obj, "trafficMeterEnabled", get_trafficMeter_json());
        add_child(obj, "portForwarding", get_portForwarding_json());
        add_child(obj, "portTriggering", get_portTriggering_json());
    }
    if (de_features == 0) {
        add_child(obj, "ethernetPortAggregation", get_portAggregation_json());
        add_vpn_client(obj);
    }
    Add_object_string(obj, "11axEnable", numeric_flag_text("wla_ax"));
    Add_object_string(obj, "mloEnable", numeric_flag_text("mlo_mode"));
    add_child(obj, "wifiMain", get_routerconf_wificonfig_main());
    add_child(obj, "wifiGuest", get_routerconf_wificonfig_guest());
    add_child(obj, "wifiIOT", get_routerconf_wificonfig_iot());
    if (check_aegix_support() == 1) {
        Add_object_boolean(obj, "aegixActivate", get_aegix_status());
        Add_object_boolean(obj, "aegixEnable", get_aegix_enable());
        get_routerConfig_aegixAgentVersion(obj);
        check_aegix_bd_status_mapping(obj);
    }
    add_bitdefender_report_members(obj);
    get_routerconf_circleV2(obj);
    return obj;
}
