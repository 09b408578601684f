// Device details from the device-recognition engine. The engine's scanner and
// the mesh status service leave JSON device arrays in /tmp; working copies are
// taken first so that the lists cannot change while they are read.
#include "fing.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "Add_object.h"
#include "attach_device.h"
#include "event_document.h"
#include "file_update.h"
#include "unit.h"
#include "zol_json.h"

namespace {

enum { kInt, kString, kBool, kDouble, kEnd };

}  // namespace

const device_index one_dev[34] = {
    {"connType", "ConnectionInterface", kString},
    {"deviceName", "DeviceName", kString},
    {"deviceNameUserDefined", "DeviceNameUserDefined", kBool},
    {"deviceNameAutoDetect", "DeviceNameAutoDetect", kString},
    {"deviceModel", "DeviceModel", kString},
    {"deviceModelUserDefined", "DeviceModelUserDefined", kBool},
    {"deviceModelAutoDetect", "DeviceModelAutoDetect", kString},
    {"deviceType", "DeviceTypeOldName", kString},
    {"deviceTypeAutoDetect", "DeviceTypeOldAutoDetect", kString},
    {"deviceTypeUserDefined", "DeviceTypeUserDefined", kBool},
    {"deviceTypeID", "DeviceTypeOldID", kInt},
    {"fingDetectedType", "FingDetectedType", kString},
    {"fingDetectedModel", "FingDetectedModel", kString},
    {"deviceVendorAutoDetect", "DeviceVendorAutoDetect", kString},
    {"deviceTypeV2", "DeviceTypeName", kString},
    // The same key once more, as text: the cloud's newer schema wants a string.
    {"deviceTypeV2UserDefined", "DeviceTypeUserDefined", kString},
    {"deviceTypeV2AutoDetect", "DeviceTypeV2AutoDetect", kString},
    {"deviceTypeV2ID", "DeviceTypeID", kString},
    {"deviceBrandAutoDetect", "DeviceBrandAutoDetect", kString},
    {"deviceMacVendorAutoDetect", "DeviceMacVendorAutoDetect", kString},
    {"deviceOSNameAutoDetect", "DeviceOSNameAutoDetect", kString},
    {"deviceOSVerAutoDetect", "DeviceOSVerAutoDetect", kString},
    {"detectEngine", "DetectEngine", kString},
    {"dhcpFingerPrint", "DHCPFingerPrint", kString},
    {"userAgent", "UserAgent", kString},
    {"ipAddress", "DeviceIP", kString},
    {"macAddress", "DeviceMAC", kString},
    {"linkspeed", "LinkRate", kDouble},
    {"signalStrength", "SignalStrength", kString},
    {"allowOrBlock", "AllowOrBlock", kString},
    {"connectedAP", "ConnectedAP", kString},
    {"connectedAPMac", "ConnectedAPMac", kString},
    {"connectedAPModel", "ConnectedAPModel", kString},
    {nullptr, nullptr, kEnd},
};

namespace {

const char kVpnCopy[] = "/tmp/ra_vpn_attach_device";
const char kOnlineCopy[] = "/tmp/ra_attach_online_device";
const char kOfflineCopy[] = "/tmp/ra_attach_offline_device";

struct WorkingCopy {
    const char* source;
    const char* copy;
};
const WorkingCopy kCopies[] = {
    {"/tmp/netscan/vpn_attach_device", kVpnCopy},
    {"/tmp/soapclient/satellite_wifi_info/ra_attach_device", kOnlineCopy},
    {"/tmp/netscan/attach_offline_device", kOfflineCopy},
};

constexpr std::size_t kRecordLine = 255;
constexpr int kMemberText = 512;

// First rule that applies wins; "60G" matches none and is not counted.
struct InterfaceRule {
    const char* text;
    bool exact;
    ConnectedRow row;
};
const InterfaceRule kInterfaceRules[] = {
    {"wired", true, kRowWired},
    {"2.4G", false, kRow24G},
    {"5G", false, kRow5G},
    {"6G", false, kRow6G},
};

void count_interface(const char* iface) {
    for (const InterfaceRule& r : kInterfaceRules) {
        if (r.exact ? strcmp(iface, r.text) != 0 : strstr(iface, r.text) == nullptr) continue;
        connectedDevices[r.row].total++;
        if (r.row != kRowWired) connectedDevices[r.row].flag = 1;
        return;
    }
}

void default_if_empty(json_object* dev, const char* key, const char* value) {
    json_object* v = local_json_object_object_get(dev, key);
    const char* text = v ? json_object_get_string(v) : nullptr;
    if (!text || !*text) json_object_object_add(dev, key, zol_json_object_new_string(value));
}

int count_vpn_records(const std::string& text) {
    int records = 0;
    for_each_line(text, kRecordLine, [&](const std::string& line) {
        records += line.find("-----device") != std::string::npos;
    });
    return records;
}

}  // namespace

void get_connDevices_links_and_signal(const LinkTable& links, const char* mac,
                                      json_object* devItem) {
    const std::vector<LinkLine>* lines = links.lines_of(mac);
    if (!lines || !devItem) return;
    for (const LinkLine& l : *lines) {
        const char* rate = l.fields.size() > 0 ? l.fields[0].c_str() : "";
        const char* signal = l.fields.size() > 1 ? l.fields[1].c_str() : "";
        if (l.has_type && l.type == "wired") signal = "";
        json_object_object_add(devItem, "LinkRate", zol_json_object_new_string(rate));
        json_object_object_add(devItem, "SignalStrength", zol_json_object_new_string(signal));
    }
}

void complete_online_list(json_object* list, const LinkTable& links) {
    std::size_t n = json_object_array_length(list);
    for (std::size_t i = 0; i < n; ++i) {
        json_object* dev = json_object_array_get_idx(list, i);
        json_object* iface = local_json_object_object_get(dev, "ConnectionInterface");
        if (!iface) continue;
        count_interface(json_object_get_string(iface));
        json_object* mac = local_json_object_object_get(dev, "DeviceMAC");
        get_connDevices_links_and_signal(links, mac ? json_object_get_string(mac) : nullptr, dev);
        default_if_empty(dev, "UserAgent", "NA");
        default_if_empty(dev, "DetectEngine", "Fing 2.0");
    }
}

namespace {

// The lists as this run copied them (the details follow the copy in the same
// run): another run may be replacing the copies meanwhile.
struct RunLists {
    std::string vpn;
    JsonPtr online, offline;
} run_lists;

json_object* parse_list(const std::string& text) {
    return text.empty() ? nullptr : json_tokener_parse(text.c_str());
}

}  // namespace

void collect_fing_device() {
    std::string texts[std::size(kCopies)];
    for (std::size_t i = 0; i < std::size(kCopies); ++i) {
        // A list that is gone must not come back from an old copy.
        if (read_whole_file(kCopies[i].source, texts[i]))
            file_update::replace_keep_mode(kCopies[i].copy, texts[i]);
        else
            unlink(kCopies[i].copy);
    }
    run_lists.vpn = texts[0];
    run_lists.online.reset(parse_list(texts[1]));
    run_lists.offline.reset(parse_list(texts[2]));
    if (!run_lists.vpn.empty()) connectedDevices[kRowVPN].total += count_vpn_records(run_lists.vpn);

    json_object* online = run_lists.online.get();
    if (online && json_object_is_type(online, json_type_array)) {
        LinkTable links;
        links.assign(device_links_text());
        complete_online_list(online, links);
        dump_json_to_file(online, kOnlineCopy);
    }
    connectedDevices[kRowWireless].total = connectedDevices[kRow24G].total +
                                           connectedDevices[kRow5G].total +
                                           connectedDevices[kRow6G].total +
                                           connectedDevices[kRow60G].total;
}

int get_fing_offline_number() {
    json_object* offline = run_lists.offline.get();
    if (!offline || !json_object_is_type(offline, json_type_array)) return 0;
    std::size_t n = json_object_array_length(offline);
    return n > 1000000 ? 1000000 : static_cast<int>(n);
}

void add_one_device(json_object* obj, json_object* my_object, int online) {
    Add_object_string(my_object, "connStatus", online == 1 ? "Online" : "Offline");
    for (const device_index* row = one_dev; row->type != kEnd; ++row) {
        json_object* member = local_json_object_object_get(obj, row->net_name);
        const char* text = member ? json_object_get_string(member) : nullptr;
        switch (row->type) {
            case kInt:
                Add_object_int(my_object, row->ra_name, get_object_int(obj, row->net_name));
                break;
            case kString: {
                char decoded[kMemberText];
                conv_items_xss(text, decoded, sizeof decoded);
                Add_object_string(my_object, row->ra_name, decoded);
                break;
            }
            case kBool:
                Add_object_boolean(my_object, row->ra_name, text && strcasecmp(text, "true") == 0);
                break;
            default:
                Add_object_double(my_object, row->ra_name, text ? strtod(text, nullptr) : 0.0);
                break;
        }
    }
}

void get_device_details_from_list(json_object* list, json_object* my_object, int online) {
    if (!list || !json_object_is_type(list, json_type_array)) return;
    std::size_t n = json_object_array_length(list);
    for (std::size_t i = 0; i < n; ++i) {
        json_object* dev = json_object_array_get_idx(list, i);
        if (!dev) continue;
        json_object* out = json_object_new_object();
        add_one_device(dev, out, online);
        json_object_array_add(my_object, out);
        json_object_array_put_idx(list, i, nullptr);  // a long list is not held twice
    }
}

void get_connecteddevicedetails_connectedDevice(json_object* my_object) {
    get_device_details_from_list(run_lists.online.get(), my_object, 1);
    get_device_details_from_list(run_lists.offline.get(), my_object, 0);
}

json_object* get_fingDetails_json(int num) {
    json_object* result = json_object_new_object();
    int total = num + get_fing_offline_number();
    Add_object_int(result, "numberOfDevices", total);
    json_object* devices = json_object_new_array();
    if (total > 0) get_connecteddevicedetails_connectedDevice(devices);
    json_object_object_add(result, "connDevices", devices);
    return result;
}

namespace {

// Lines 1 to 10 of a VPN client record, after its "-----device:" line.
void apply_record_line(json_object* dev, int n, const std::string& line) {
    auto set = [dev](const char* key, const char* value) {
        json_object_object_add(dev, key, zol_json_object_new_string(value));
    };
    switch (n) {
        case 1: set("DeviceIP", line.c_str()); break;
        case 2: set("DeviceMAC", line.c_str()); break;
        case 3: set("ConnectionInterface", "vpn"); break;
        case 4:
            set("DeviceTypeOldID", "24");
            set("DeviceTypeID", "19");
            break;
        case 5:
            if (line != "Unknown") set("DeviceModel", line.c_str());
            break;
        case 6:
            if (line != "Unknown") set("DeviceName", line.c_str());
            break;
        case 7:
            set("DeviceTypeOldName", "Network Device");
            set("DeviceTypeName", "Network (Generic)");
            break;
        case 8: set("AllowOrBlock", line.c_str()); break;
        default: break;
    }
}

}  // namespace

void parse_vpn_records(const std::string& text, json_object* details_device_array) {
    constexpr int kRecordLines = 10;
    // One scratch object for all records: what a record leaves out (an
    // "Unknown" model or name) keeps the previous record's value.
    JsonPtr scratch(json_object_new_object());
    int n = -1;  // line number within the current record; -1 outside one
    for_each_line(text, kRecordLine, [&](const std::string& line) {
        if (line.find("-----device:") != std::string::npos) {
            n = 0;
            return;
        }
        if (n < 0) return;
        apply_record_line(scratch.get(), ++n, line);
        if (n < kRecordLines) return;
        json_object* out = json_object_new_object();
        add_one_device(scratch.get(), out, 1);
        json_object_array_add(details_device_array, out);
        n = -1;
    });
}

void get_vpn_fing_dev(json_object* details_device_array) {
    if (details_device_array) parse_vpn_records(run_lists.vpn, details_device_array);
}
