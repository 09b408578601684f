// The connectedDevice summary: clients by connection kind, the wireless ones
// by band from the driver's station dump, and the choice of the engine that
// lists the devices in detail.
#include "connectedDevice.h"

#include "Add_object.h"
#include "attach_device.h"
#include "collect_wifi.h"
#include "fing.h"
#include "unit.h"

int support_fing = 0;
int dev_num = 0;

namespace {

// Far more than the most clients a router serves.
constexpr size_t kStationDumpBytes = 4u << 20;
constexpr std::size_t kDumpLine = 126;

struct BandHeaders {
    const char* const* headers;
    ConnectedRow row;
};
const BandHeaders kBandHeaders[] = {
    {prefix_2g, kRow24G}, {prefix_5g, kRow5G}, {prefix_6g, kRow6G}, {prefix_60g, kRow60G}};

// The band row whose section the line opens, or -1.
int section_of(const std::string& line) {
    if (line.empty() || line[0] != '#') return -1;
    for (const BandHeaders& band : kBandHeaders)
        for (const char* const* h = band.headers; *h; ++h)
            if (line.compare(0, std::char_traits<char>::length(*h), *h) == 0) return band.row;
    return -1;
}

json_object* connection_count(const char* type, int total) {
    json_object* obj = json_object_new_object();
    Add_object_string(obj, "typeConnection", type);
    Add_object_int(obj, "countTotal", total);
    return obj;
}

}  // namespace

void count_station_dump(const std::string& dump) {
    int section = -1;
    for_each_line(dump, kDumpLine, [&section](const std::string& line) {
        if (section < 0) {
            section = section_of(line);
            if (section >= 0) connectedDevices[section].flag = 1;
            return;
        }
        // Only an empty line or one opening with a blank closes a section:
        // a header straight after client lines is counted as a client line.
        if (line.empty() || line[0] == ' ')
            section = -1;
        else if (line.find(':') != std::string::npos)
            connectedDevices[section].total++;
    });
    connectedDevices[kRowWireless].total =
        connectedDevices[kRow24G].total + connectedDevices[kRow5G].total +
        connectedDevices[kRow6G].total + connectedDevices[kRow60G].total;
}

void get_wireless_num() {
    count_station_dump(program_output({"wlan", "stainfo"}, kStationDumpBytes));
}

json_object* get_connectedDevice_json() {
    // The firmware's script leaves each client's link speed and signal.
    refresh_device_links();
    if (cat_file("/tmp/netscan/support_fing")[0] == '1') {
        support_fing = 1;
        collect_fing_device();
    } else {
        get_wireless_num();  // first: the classic count subtracts the wireless clients
        collect_connected_device();
    }
    const connected_device* c = connectedDevices;
    json_object* result = json_object_new_array();
    json_object_array_add(result, connection_count("wired", c[kRowWired].total));

    json_object* wireless = connection_count("wireless", c[kRowWireless].total);
    json_object* bands = json_object_new_array();
    for (int row = kRow24G; row <= kRow60G; ++row) {
        if (c[row].flag != 1) continue;
        json_object* band = json_object_new_object();
        Add_object_string(band, "wifiBand", c[row].type);
        Add_object_int(band, "countDeviceTotal", c[row].total);
        json_object_array_add(bands, band);
    }
    json_object_object_add(wireless, "wirelessType", bands);
    json_object_array_add(result, wireless);

    json_object_array_add(result, connection_count(c[kRowVPN].type, c[kRowVPN].total));
    dev_num = c[kRowWired].total + c[kRowWireless].total + c[kRowVPN].total;
    return result;
}

json_object* get_connectedDetails_json() {
    return support_fing ? get_fingDetails_json(dev_num) : get_Detals_json();
}
