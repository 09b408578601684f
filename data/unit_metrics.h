// Readers of the system's state: memory, CPU, uptime and the clock,
// interfaces and the WAN's dial-on-demand setting.
#pragma once

#include <netinet/in.h>
#include <cstdio>

// ---- system metric readers -----------------------------------------------------
// Whole lines (with newline) of /proc/meminfo; buffers of at least 64 bytes.
// A missing file leaves the buffers as they were.
void meminfo(char* mem_total, char* mem_free, char* mem_buff, char* mem_cache);
// The "cpu " line of /proc/stat: user, nice, system, idle, iowait, irq, softirq,
// steal, each at most 20 characters, so buffers of at least 21 bytes. A missing
// file leaves the buffers as they were.
void cpu_util(char* cuse, char* cice, char* csys, char* cide, char* ciow, char* cxxx,
              char* cyyy, char* czzz);
long get_uptime();
// Used memory in percent of MemTotal; 0 when MemTotal is unknown.
float get_MemoryUtilization();
// The same readers over another file (the /proc paths are fixed for the above).
void meminfo_from(const char* path, char* mem_total, char* mem_free, char* mem_buff,
                  char* mem_cache);
void cpu_util_from(const char* path, char* cuse, char* cice, char* csys, char* cide, char* ciow,
                   char* cxxx, char* cyyy, char* czzz);
float memory_utilization_from(const char* path);
void meminfo_from_stream(FILE* fp, char* mem_total, char* mem_free, char* mem_buff,
                         char* mem_cache);
char* get_macaddr(const char* ifname, char* eabuf);
in_addr_t get_ipaddr(const char* ifname);
int is_wan_on_demand();

// The kB count of a meminfo line ("MemTotal:   262144 kB"), clamped to 2^52;
// 0 when the line is missing or has fewer than two words.
long long meminfo_kb(const char* line);

// The moment of the last firmware check as a date text (static buffer). It
// sits with the readers because the store may hold it as seconds since boot,
// converted through the uptime (and written back).
char* get_check_time();
