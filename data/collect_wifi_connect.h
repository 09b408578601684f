// Wireless connect events: each client connection, disconnection and steering
// attempt the wireless daemon appended to /tmp/wifi_ra, with the client's
// device type and name and the access point (router or satellite) it used.
#pragma once

#include <json-c/json.h>

#include <cstddef>
#include <functional>

// Lines of /tmp/wifi_ra as last counted (a line over 1,023 characters counts
// once per 1,023-character piece, as it is read).
extern int connevent_num;
int get_connevent_num();

// {"numberOfEvents": n, "event": [...]}; null when the object cannot be made.
json_object* get_wifiConnectEvent_json();
// Appends one event object per counted log line to the array my_object.
void get_wifi_connect_event(json_object* my_object);
// "0003:DEAUTH_LEAVING" for "3"; any other text is returned as it is.
const char* change_reason_format(const char* reason);
// The satellite's base MAC from the MAC it uses on a backhaul interface;
// result receives 17 characters and a terminator.
void convert_satellite_mac(const char* ifname, const char* mac_str, char* result);

// ---- pieces usable on plain text ---------------------------------------------

// The six comma-separated fields of one log line; missing fields are "".
struct ConnectLogFields {
    const char* mac = "";
    const char* ifname = "";
    const char* time = "";
    const char* code = "";
    const char* reason = "";
    const char* rssi = "";
};
// Splits line in place. Empty fields collapse, as strtok splits them; the
// last field also ends at a line feed.
ConnectLogFields split_connect_log_line(char* line);

// convert_satellite_mac with the radio layout given.
void satellite_base_mac(const char* ifname, const char* mac_str, bool three_radio, char* result);

// Lines of log as get_connevent_num counts them; 0 when it cannot be read.
int count_connect_log_lines(const char* log);

// Reads at most count lines of log (fewer when it ends first) and hands each
// event object to sink, which takes it over. Returns without reading when
// the log cannot be opened; once it is open, the firmware refreshes the
// channel files first.
void read_connect_events(const char* log, int count, const std::function<void(json_object*)>& sink);

// The wifiConnectEvent object of log holding only the newest events that can
// matter when the merge leaves `budget` bytes for the scratch file: the
// events dropped here are ones the merge trims anyway, and while any are
// dropped the scratch file still exceeds the budget, so the merge trims and
// reports exactly as with the whole list. A log of any length costs a few
// hundred events of memory. A budget of ULONG_MAX keeps every event.
json_object* get_connect_event_window_json(unsigned long budget, const char* log = "/tmp/wifi_ra");
// The same window written to file as {"wifiConnectEvent": {...}}, the bytes
// json-c prints for that document, without holding the events as a tree.
bool write_connect_event_file(unsigned long budget, const char* log, const char* file);
