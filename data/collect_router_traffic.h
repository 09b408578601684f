// The traffic meter and the speed test's bandwidth.
#pragma once

#include <json-c/json.h>
#include <cstddef>
#include <cstdint>
#include <ctime>

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
