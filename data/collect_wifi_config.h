// The wifiConfig object of the "all" document: each wireless network's
// configured settings and the live state of its interface, and each radio's
// channel, region, bandwidth, channel utilisation and noise floor.
#pragma once

#include <json-c/json.h>

json_object* get_wifiConfig_json();
