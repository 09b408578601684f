// The connectedDevice summary (clients by connection kind and band) and the
// choice of the engine that lists the devices in detail.
#pragma once

#include <json-c/json.h>

#include <string>

#include "attach_device.h"  // the counter table the summary reports

extern int support_fing;  // 1 when the device-recognition engine runs
extern int dev_num;       // wired + wireless + VPN, set by get_connectedDevice_json

// Counts the station dump's clients per band and the wireless total.
void get_wireless_num();
// The same from the dump's text.
void count_station_dump(const std::string& dump);
json_object* get_connectedDevice_json();
// Details from the engine in use; after get_connectedDevice_json.
json_object* get_connectedDetails_json();
