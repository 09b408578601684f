// The routerConfig item: the router's configured features, its WAN set-up,
// VLAN rules, port rules and link aggregation.
#pragma once

#include <json-c/json.h>

#include <string>

json_object* get_routerConfig_json();

// "+08:00" style offset of the store's time_zone, an hour more while daylight
// saving time is in force there (static buffer).
char* get_timeZoneOffset();
// The offset text of a zone string; the sign is the POSIX one inverted.
std::string timezone_offset_text(const char* tz, bool dst);

// Rules stored as <prefix>1, <prefix>2, ... up to the first empty one, at
// most kMaxPortRules. A forwarding rule whose third character from the end is
// '1' is not counted.
constexpr int kMaxPortRules = 1024;
int getPortFwdTrgRuleNum(const char* prefix);
bool port_rule_counted(const char* prefix, const char* value);
json_object* get_portForwarding_json();
json_object* get_portTriggering_json();

// ---- WAN ------------------------------------------------------------------------
json_object* get_wanConfig_json();
const char* get_ipv6_type();
json_object* get_vlanSeting_json();
// The leading digits of the WAN status text, "0" for "Link down".
std::string wan_port_speed(const char* status);
// The VLAN id and priority of one stored rule ("1 name VID PRIO x y");
// 1 and 0 when they do not parse.
void parse_vlan_rule(const char* value, int* vid, int* priority);

// ---- ports ------------------------------------------------------------------------
json_object* get_portAggregation_json();
json_object* get_sfpPort_json();
json_object* get_ethernet5gPort_json();
int get_sfp_port_speed();
int get_5G_port_speed();
// Gbit/s of the first "Speed: <Mbit/s>" line (any case) of ethtool's output.
int ethtool_speed_gbps(const char* output);
