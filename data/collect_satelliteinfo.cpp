// Mesh satellites. The mesh status service keeps one record per satellite in
// a JSON list; the store keeps the backhaul disconnect time and count per
// satellite MAC.
#include "collect_satelliteinfo.h"

#include "Add_object.h"
#include "config_store.h"
#include "unit.h"
#include "zol_json.h"

#include <cstdio>
#include <cstring>

int satellite_num = 0;

namespace {

const char kSatelliteFile[] = "/tmp/soapclient/satellite_wifi_info/ra_satellite";

// The store holds one disconn_sate<N> entry per satellite seen; the list
// ends at the first empty one, and no mesh has anywhere near this many.
constexpr int kMaxDisconnEntries = 256;

constexpr size_t kValueBuf = 63;

int list_length(json_object* list) {
    if (!json_object_is_type(list, json_type_array)) return 0;
    size_t n = json_object_array_length(list);
    return n > static_cast<size_t>(kMaxSatellites) ? kMaxSatellites : static_cast<int>(n);
}

// One satellite's record; every value is passed on as text of at most 62
// characters, under the name it has in the record.
struct Record {
    json_object* obj;
    void copy(const char* key, char* value) const {
        snprintf(value, kValueBuf, "%s", zol_get_json_object_to_string(obj, key));
    }
    void add(json_object* to, const char* key) const {
        char value[kValueBuf];
        copy(key, value);
        Add_object_string(to, key, value);
    }
};

json_object* backhaul_json(const Record& rec) {
    json_object* bh = json_object_new_object();
    for (const char* key : {"hop", "mac", "bhRssi", "bhConnType", "bhPhyTxRate", "bhPhyRxRate"})
        rec.add(bh, key);
    // Disconnects are kept by the satellite's own MAC, not the backhaul one.
    char mac[kValueBuf];
    rec.copy("macAddress", mac);
    get_SatelliteInfo_Satellite_bhDisconnectTimeCount(bh, mac);
    char status[kValueBuf];
    rec.copy("bhConnStatus", status);
    Add_object_string(bh, "bhConnStatus", bh_conn_status_text(status));
    Add_object_string(bh, "apSwitchCount", "0");
    rec.add(bh, "parentMac");
    return bh;
}

}  // namespace

const char* bh_conn_status_text(const char* status) {
    if (status[0] == '1') return "Close";
    if (strcmp(status, "2") == 0) return "OK";
    return "Far";
}

int get_SatelliteInfo_Satellite_bhDisconnectTimeCount(json_object* my_object, const char* mac) {
    char time_text[256] = "0";
    char count_text[256] = "0";
    for (int n = 1; n <= kMaxDisconnEntries; ++n) {
        char key[32];
        snprintf(key, sizeof key, "disconn_sate%d", n);
        char entry[256];
        strncpyt(entry, config_get(key), sizeof entry);
        if (!entry[0]) break;
        char entry_mac[256] = "";
        get_data_from_string(entry, entry_mac, ',', 1, sizeof entry_mac - 1);
        if (strcmp(entry_mac, mac) != 0) continue;
        memset(time_text, 0, sizeof time_text);
        memset(count_text, 0, sizeof count_text);
        get_data_from_string(entry, time_text, ',', 2, sizeof time_text - 1);
        get_data_from_string(entry, count_text, ',', 3, sizeof count_text - 1);
        break;
    }
    Add_object_string(my_object, "bhDisconnectTime", time_text);
    Add_object_string(my_object, "bhDisconnectCount", count_text);
    return 0;
}

json_object* satellite_json(json_object* record) {
    const Record rec{record};
    json_object* sat = json_object_new_object();
    rec.add(sat, "modelName");
    rec.add(sat, "hwRevision");
    json_object* device = json_object_new_object();
    rec.add(device, "macAddress");
    rec.add(device, "serialNumber");
    json_object_object_add(sat, "deviceInfo", device);
    rec.add(sat, "upTime");
    json_object* memory = json_object_new_object();
    rec.add(memory, "memoryFree");
    rec.add(memory, "memoryUsed");
    json_object_object_add(sat, "memoryInfo", memory);
    for (const char* key : {"satelliteStatus", "satelliteSOAPStatus", "satelliteMeshConnectStatus",
                            "satMain2gSSIDCloneStatus", "satMain5gSSIDCloneStatus",
                            "satMain6gSSIDCloneStatus", "satGuest2gSSIDCloneStatus",
                            "satGuest5gSSIDCloneStatus", "satGuest6gSSIDCloneStatus"})
        rec.add(sat, key);
    // The satellites have no IoT network to clone.
    Add_object_string(sat, "satIOT2gSSIDCloneStatus", "NA");
    Add_object_string(sat, "satIOT5gSSIDCloneStatus", "NA");
    json_object_object_add(sat, "wifiBackhaulInfo", backhaul_json(rec));
    for (const char* key : {"fwVersion", "fwLastUpdate", "fwLastChecked", "fwupgrade_Method"})
        rec.add(sat, key);
    return sat;
}

json_object* satellite_info_from_list(json_object* list) {
    int count = list_length(list);
    json_object* info = json_object_new_object();
    Add_object_int(info, "numberOfSatellite", count);
    json_object* array = json_object_new_array();
    for (int i = 0; i < count; ++i)
        json_object_array_add(array, satellite_json(json_object_array_get_idx(list, i)));
    json_object_object_add(info, "Satellite", array);
    return info;
}

int get_satellite_num() {
    JsonPtr list(json_object_from_file(kSatelliteFile));
    satellite_num = list_length(list.get());
    return satellite_num;
}

void get_satelliteinfo_satellite(json_object* array) {
    JsonPtr list(json_object_from_file(kSatelliteFile));
    int count = list_length(list.get());
    for (int i = 0; i < satellite_num && i < count; ++i)
        json_object_array_add(array, satellite_json(json_object_array_get_idx(list.get(), i)));
}

json_object* get_SatelliteInfo_json() {
    JsonPtr list(json_object_from_file(kSatelliteFile));
    satellite_num = list_length(list.get());
    return satellite_info_from_list(list.get());
}
