// The cable modem and the WAN gateway of routerInfo.
#pragma once

#include <json-c/json.h>
#include <netinet/in.h>

#include <cstdint>
#include <cstdio>
#include <string>

// The WAN interface by the store's WAN protocol.
const char* wan_ifname();
std::string dotted_quad(in_addr_t addr);
// cableModemMacAddr, cableModemMacOui; probes the modem once per boot.
void get_cable_modem(json_object* rtInfo_json);
// wanGwMacAddr, wanGwMacOui; "NA" unless the gateway is on a network of
// ours (access-point mode, a DHCP or static WAN).
void add_wan_gateway(json_object* obj);
int get_ping_cable_result();
char* get_cable_modem_mac();
char* get_mac_oui(const char* mac);
int get_gateway_ip(char* gateway_ip);
int get_gateway_mac(const char* gateway_ip, char* gateway_mac);
void remove_colon(char* mac);

// The parsing halves, on a stream (a null stream reads as empty) or a line.
// "%15s %lx %lx": interface, destination, gateway of a /proc/net/route line.
bool parse_route_line(const char* line, char (&ifname)[16], uint32_t* dest, uint32_t* gateway);
// The default route's gateway as a dotted quad (16 bytes); false when there is none.
bool gateway_ip_from(FILE* route, char* gateway_ip);
// The MAC (at most 17 characters, 32 bytes) of an address in /proc/net/arp; false when absent.
bool gateway_mac_from(FILE* arp, const char* ip, char* mac);
// The fourth token of the arp line of 192.168.100.1 (at most 17 characters), or "".
std::string cable_modem_mac_from(FILE* arp);
bool ping_answered(FILE* result);
