// The connectedDevice summary (clients by connection kind and band) and the
// choice of the engine that lists the devices in detail.
#pragma once

#include <json-c/json.h>

#include <string>

struct connected_device {
    const char* type;
    int flag;   // 1 once the band's section was seen in the station dump
    int total;
};
// Rows by position: wired, wireless, VPN, 2.4G, 5G, 6G, 60G, end mark. The
// counts live for the run and are never reset: one summary per process.
enum ConnectedRow { kRowWired, kRowWireless, kRowVPN, kRow24G, kRow5G, kRow6G, kRow60G };
extern connected_device connectedDevices[8];
extern int support_fing;  // 1 when the device-recognition engine runs
extern int dev_num;       // wired + wireless + VPN, set by get_connectedDevice_json

// Counts the station dump's clients per band and the wireless total.
void get_wireless_num();
// The same from the dump's text.
void count_station_dump(const std::string& dump);
json_object* get_connectedDevice_json();
// Details from the engine in use; after get_connectedDevice_json.
json_object* get_connectedDetails_json();
