// Router information members and the debug log event.
#pragma once

#include <json-c/json.h>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>

// ---- routerInfo ---------------------------------------------------------------
json_object* get_routerinfo_json();
// ipWAN, ipLAN.
json_object* get_ipaddr_json();
// fwVersion, fwLastUpdate, fwLastChecked and, with is_routerInfo 1, fwupgrade_Method.
json_object* get_firmware_json(int is_routerInfo);
// raeAgentVersion, raePolicyVersion.
json_object* get_raeLib_json();
// lanPortUsed, totalLanPort.
json_object* get_lanport_json();
// internetDisconnDuration, gwDisconnDuration.
json_object* get_internetConn_json();
// cpuAveAll, totalCoreNumber, cpuAveByCores, highCpuTime.
json_object* get_cpuAvg_json();
// memoryFree, memoryUsed, highMemTime (MiB, MiB, time).
json_object* get_meminfo_json();
// Starts the device-location request until its answer is there (3 tries, 2 s apart).
void fetch_wan_ip();
// cableModemMacAddr, cableModemMacOui; probes the modem once per boot.
void get_cable_modem(json_object* rtInfo_json);
int get_ping_cable_result();
char* get_cable_modem_mac();
char* get_mac_oui(const char* mac);
const char* get_wifi_region();
int get_gateway_ip(char* gateway_ip);
int get_gateway_mac(const char* gateway_ip, char* gateway_mac);
void remove_colon(char* mac);
int get_nand_bad_block(char* count);
int get_nand_total_block(char* count);

// The parsing halves, on a stream (a null stream reads as empty) or a line.
// routerInfo's wireless region of a wl_country code and /tmp/firmware_region text.
const char* wifi_region_of(int code, const char* firmware_region);
// "%15s %lx %lx": interface, destination, gateway of a /proc/net/route line.
bool parse_route_line(const char* line, char (&ifname)[16], uint32_t* dest, uint32_t* gateway);
// The default route's gateway as a dotted quad (16 bytes); false when there is none.
bool gateway_ip_from(FILE* route, char* gateway_ip);
// The MAC (at most 17 characters, 32 bytes) of an address in /proc/net/arp; false when absent.
bool gateway_mac_from(FILE* arp, const char* ip, char* mac);
// The fourth token of the arp line of 192.168.100.1 (at most 17 characters), or "".
std::string cable_modem_mac_from(FILE* arp);
bool ping_answered(FILE* result);
// The count after `phrase` (found in any case), `offset` characters from its
// start; "" when the phrase is absent or has no number there.
std::string nand_count_from(FILE* output, const char* phrase, size_t offset);
// /tmp/cpu_collect_info and /tmp/mem_collect_info contents.
json_object* cpu_average_from(FILE* cpu_collect_info);
int high_mem_time_from(FILE* mem_collect_info);

// Debug log event (eventtype10)
json_object* get_dbgLogs_json();
char* dbgLogs_ubinfo(const char* dev, const char* item);
void dbgLogs_revised(const char* file);

// Size of the static buffer that holds ubinfo's output and dbgLogs_ubinfo's answer.
constexpr std::size_t UBINFO_BUF_SIZE = 2048;
// The parsing half of dbgLogs_ubinfo: loads len bytes of output into the
// static buffer (cut to UBINFO_BUF_SIZE - 1 bytes; a null output keeps the
// buffer as it is) and answers item ("total_blocks", "bad_blocks", "info")
// from it; "" for an unknown item or a missing phrase.
char* dbgLogs_ubinfo_text(const char* output, std::size_t len, const char* item);

// ---- traffic meter and bandwidth --------------------------------------------
// Last measured WAN volume in MiB, "%.2f".
extern char traffic_uplink[32];
extern char traffic_downlink[32];
// trafficMeterEnabled of routerConfig: enabled, controlType.
json_object* get_trafficMeter_json();
// trafficMeter of routerInfo: Uplink, Downlink.
json_object* get_traffic_json();
// Third (which 0) or fourth (which 1) field of the firmware's statistics line.
char* get_trafficMeter(int which);
// Measures the WAN volume since the previous run; -1 when the interface is not found.
int get_trafficMeter_disable();
// 0 new test, 1 repeated or failed, 2 never run, 3 no figures, 4 unchanged.
int get_ookla_data_status();
// internetBandwidth of routerInfo.
json_object* get_bandwidth_json();

// The parsing halves.
// Field `which` + 3 (blank separated) of the statistics line into out; "0" when missing.
void traffic_statistics_field(const char* line, int which, char* out, size_t size);
// One /proc/net/dev line: true with the received and transmitted byte counts
// when its interface name contains ifname.
bool parse_net_dev_line(const char* line, const char* ifname, uint64_t* rx, uint64_t* tx);
// Bytes since the previous reading; a smaller reading wrapped at 32 bits.
uint64_t traffic_delta(uint64_t current, uint64_t previous);
// The speed test time as reported: "14:05 Mar 02, 2024" becomes
// "2024_03.02_14:05:00" (stale when now is more than a day later); a text
// without a comma is kept as it is.
void speedtest_time_text(const char* raw, time_t now, char* out, size_t size, bool* stale);
