// System health and hardware events: the routerHardware header, CPU and
// memory alarms, the kernel reboot event and firmware upgrade analytics.
#pragma once

#include <json-c/json.h>

#include <cstddef>
#include <cstdint>
#include <string>

json_object* get_hardware_json();

// CPU and memory utilisation
extern char cpu_utilization[32];
extern char cpuThresholdHigh[32];
extern char memoryUtilizationsHigh[32];
extern char memoryTotal[32];
extern char memoryFree[32];
extern char memoryUsed[32];
extern char mem_Utilization[32];
json_object* get_event2Cpu_json();
json_object* get_event2Mem_json();
void collect_CpuUtilizationsInfo();
void collect_MemoryUtilizationsInfo();
void threashold_check_setting();
// The lines of the meminfo reading that the memory event took.
void meminfo_from_snapshot(char* mem_total, char* mem_free, char* mem_buff, char* mem_cache);

// Kernel reboot and firmware upgrade
json_object* get_event0_json();
json_object* get_firmwareUpgrade_json();
void get_fwupgrade_log(json_object* object);

// ---- pieces of the measurements, usable on plain text ----------------------
// Total and idle jiffies of the aggregate "cpu " line of /proc/stat.
struct cpu_counters {
    uint64_t total;
    uint64_t idle;
};
// From the eight counter texts (user, nice, system, idle, iowait, irq,
// softirq, steal) as cpu_util() leaves them; empty texts count 0.
cpu_counters cpu_counters_from_fields(const char fields[8][21]);
// Busy share between two samples in percent; a zero interval gives nan.
float cpu_utilization_between(const cpu_counters& before, const cpu_counters& after);
// "%.2f%%" as the documents show utilisations (at most 19 characters).
void format_utilization(float value, char* out, size_t size);

// The four texts reported in memoryInfo, from the kept meminfo lines.
struct mem_usage {
    char total[32];
    char free[32];
    char used[32];
    char utilization[32];
};
// From the lines meminfo() keeps (MemTotal, MemFree, Buffers, Cached).
mem_usage mem_usage_from_lines(const char* mem_total, const char* mem_free,
                               const char* mem_buff, const char* mem_cache);

// Reason code of the last reboot: the first line of reason_file when that
// file exists, else the store key lastRebootReason.
int get_last_reboot_reason(const char* reason_file);

// Readable texts of the firmware upgrade codes.
const char* fw_event_type_text(const char* code);
const char* fw_check_result_text(const char* code);
