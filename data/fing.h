// Device details from the device-recognition engine's lists: the online and
// offline device arrays and the VPN client records.
#pragma once

#include <json-c/json.h>

#include <string>

class LinkTable;

struct device_index {
    const char* ra_name;   // member of the document
    const char* net_name;  // key of the scanner's device object
    int type;              // 0 integer, 1 string, 2 boolean, 3 double, 4 end
};
extern const device_index one_dev[34];

// Counts the clients of the online and VPN lists and completes the online
// list's link, signal, user agent and detection engine in place.
void collect_fing_device();
// The counting and completing half, on the parsed online array.
void complete_online_list(json_object* list, const LinkTable& links);
void get_connDevices_links_and_signal(const LinkTable& links, const char* mac,
                                      json_object* devItem);
int get_fing_offline_number();
// Fills my_object with connStatus and the 33 mapped members of obj.
void add_one_device(json_object* obj, json_object* my_object, int online);
void get_device_details_from_list(json_object* list, json_object* my_object, int online);
void get_connecteddevicedetails_connectedDevice(json_object* my_object);
json_object* get_fingDetails_json(int num);
// Appends one device per complete record of the VPN record file.
void get_vpn_fing_dev(json_object* details_device_array);
void parse_vpn_records(const std::string& text, json_object* details_device_array);
