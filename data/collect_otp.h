// Thermal sensors and their over-temperature protection (OTP) state, from the
// status files the wireless driver keeps under /tmp/cache/wireless.
#pragma once

#include <json-c/json.h>

#include <cstdio>

// Radio files counted from thermal_wifi0.conf up to the first gap, plus the board file.
int get_numberOfSensors();
// Sensor index (from 1): radio file index - 1 when it exists, else the board
// file. Null when count < index; an unreadable file gives an empty object.
json_object* get_sensor_json(int count, int index);

// The parsing half: the members of one sensor file, in its line order.
json_object* parse_sensor_file(FILE* fp, bool board);
