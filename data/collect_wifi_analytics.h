// The wifiAnalytics object of the "all" document: the router's identity, one
// statistics block per band and one object per wireless driver interface
// that exists, from the files "/sbin/get_ra_wifi_info analytic" refreshes and
// the kernel's interface counters.
#pragma once

#include <json-c/json.h>

#include <cstddef>
#include <cstdint>
#include <string>

json_object* get_wifi_analytic_json();

// ---- pieces shared with wifiConfig and usable on plain text --------------------

// First line of /tmp/router-analytics/analytic/<ifname>-<name>, at most
// max_chars characters ("" when missing).
std::string analytic_file_text(const char* ifname, const char* name, size_t max_chars = 31);
// Leading decimal number of a text, clamped to int; 0 when there is none.
int wifi_text_int(const char* text);
// Sum of two utilisations, clamped to int.
int wifi_util_sum(int a, int b);

// A kernel counter text as a count: its leading decimal number, 0 for a text
// without one or a negative one, INT64_MAX for one beyond 64 bits.
int64_t counter_value(const char* text);
// Share of dropped frames in percent of packets + dropped, truncated; 0 when
// nothing was dropped. Exact for any counts.
int tx_drop_percent(int64_t packets, int64_t dropped);
// The ifaceStat object from the counter files of /sys/class/net/<ifname>/statistics.
json_object* get_iface_stat_json(const char* ifname);
