// Mesh satellites: the SatelliteInfo member, built from the mesh status
// service's satellite list and the backhaul disconnect statistics in the store.
#pragma once

#include <json-c/json.h>

// Satellites of the last get_satellite_num call.
extern int satellite_num;

// More satellites than this are not reported (a mesh has a handful; the
// document must stay well inside the cloud's 128 KiB).
constexpr int kMaxSatellites = 32;

// Length of the satellite list (at most kMaxSatellites), 0 when it is missing
// or not a JSON array; also stored in satellite_num.
int get_satellite_num();
// Adds bhDisconnectTime and bhDisconnectCount for the satellite whose
// disconn_sate<N> entry starts with exactly mac; "0" and "0" without one.
int get_SatelliteInfo_Satellite_bhDisconnectTimeCount(json_object* my_object, const char* mac);
// Appends one object per satellite (satellite_num of them) to array.
void get_satelliteinfo_satellite(json_object* array);
// {"numberOfSatellite": int, "Satellite": [...]}
json_object* get_SatelliteInfo_json();

// ---- the building halves, usable on any list ------------------------------
// The SatelliteInfo member of a parsed satellite list (null or a non-array
// gives no satellites).
json_object* satellite_info_from_list(json_object* list);
// One satellite object from one record of the list.
json_object* satellite_json(json_object* record);
// "Close", "OK" or "Far" of a bhConnStatus text.
const char* bh_conn_status_text(const char* status);
