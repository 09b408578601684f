// Wireless family: the radio and network lookups every wireless document
// shares (rate classes, security labels, regions, interface names, bands,
// purposes) and the per-network settings objects.
//
// A radio prefix is the stem of a network's store keys: wl, wla, wla_6g (main
// 2.4/5/6 GHz), wlg1, wla1, wla_6g1 (guest), wlg3, wla3 (IoT). Driver
// interfaces are wl0..wl2 and "<radio>.1/.2/.3" for guest, backhaul and IoT;
// radio_number "0x3" marks a two-radio router (wl0 5 GHz, wl1 2.4 GHz),
// anything else a three-radio one (wl0 6 GHz, wl1 5 GHz, wl2 2.4 GHz).
//
// Text results point to constant labels, table rows or the static channel
// buffer: never freed, copied by the caller before the next call if kept.
#pragma once

#include <json-c/json.h>

#include <cstdint>

struct wifi_mode {
    int32_t mode_id;   // rate in tenths of a Gbps
    const char* mode;  // "Up to 2.4 Gbps"
};
// Ends with {-1, nullptr}.
extern const wifi_mode wifimode[];

struct wifi_region {
    int32_t country_id;  // the firmware's numeric country code
    const char* region;  // two letters
};
// Ends with {-1, nullptr}.
extern const wifi_region wifiregion[];

// Section headers of the "wlan stainfo" listing, by band, null-terminated;
// a line opens a section when it begins with one of them.
extern const char* const prefix_2g[];
extern const char* const prefix_5g[];
extern const char* const prefix_6g[];
extern const char* const prefix_60g[];

// ---- store-backed lookups ----------------------------------------------------
const char* get_wlan_mode(const char* pre);    // rate class from <pre>_simple_mode
const char* get_wlan_sec(const char* pre);     // security label from <pre>_sectype
const char* get_wlan_IFname(const char* pre);  // driver interface, "" when none
const char* get_wlan_region(const char* pre);  // two letters from <pre>_country
int get_wlan_status(const char* pre);          // 1 when the main network's radio is up
const char* get_radio_band(const char* ifname);  // "2G", "5G", "6G" or ""
// Text of /tmp/router-analytics/wifi_ra/wlN-channel in a static 32-byte
// buffer; any other interface returns the buffer as the last call left it.
const char* get_radio_channel(const char* ifname);
// 1 when the interface is listed by getifaddrs, 0 when not, -1 on error.
int interface_exists(const char* interface_name);
// 1 when the status file's first line begins with "ON" or "Up".
int enable_ap(const char* file_name);
bool is_two_radio_router();  // radio_number is "0x3"

// ---- pure lookups (the store values passed in) ----------------------------------
enum class WifiBuild { ax, ax_qw55, legacy };
// The rate class for a mode number text ("" = unset), build and model.
const char* wlan_mode_label(const char* pre, const char* simple_mode, WifiBuild build,
                            const char* model);
const char* wlan_sec_label(const char* sectype, const char* key_length);
const char* wlan_ifname(const char* pre, bool two_radio);
const char* wlan_region_label(const char* country);
const char* radio_band(const char* ifname, bool two_radio);
int enable_ap_line(const char* line);

const char* get_if_purpose(const char* ifname);       // backhaul, guest, iot, main
const char* get_wifi_ra_purpose(const char* ifname);  // Backhaul, Guest, IOT, Primary
int get_start_channel(const char* channel_list);      // first number of "36 40 44"
int get_end_channel(const char* channel_list);        // number after the last space

// ---- per-network settings ---------------------------------------------------------
// One object per kind of network, the bands' values side by side in band
// order ("yes, no, yes"): enable, ssid, frequencyBand, broadcast, security.
json_object* get_routerconf_wificonfig_main();
json_object* get_routerconf_wificonfig_guest();
json_object* get_routerconf_wificonfig_iot();
// One typed object per main and guest network (4 on a 0x3 router, else 6).
json_object* get_wifiNetwork_json();
