// routerInfo and its members; the firmware description is also the
// routerHardware header's.
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
const char* get_wifi_region();
int get_nand_bad_block(char* count);
int get_nand_total_block(char* count);

// The parsing halves, on a stream (a null stream reads as empty) or a line.
// routerInfo's wireless region of a wl_country code and /tmp/firmware_region text.
const char* wifi_region_of(int code, const char* firmware_region);
// The count after `phrase` (found in any case), `offset` characters from its
// start; "" when the phrase is absent or has no number there.
std::string nand_count_from(FILE* output, const char* phrase, size_t offset);
// /tmp/cpu_collect_info and /tmp/mem_collect_info contents.
json_object* cpu_average_from(FILE* cpu_collect_info);
int high_mem_time_from(FILE* mem_collect_info);
