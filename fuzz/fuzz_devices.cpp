// Attached-device lists and link files of the classic scanner, the
// device-recognition engine's lists and VPN records, the mesh satellite list
// and the security service's report.
#include <cstring>
#include <vector>

#include "aegix.h"
#include "attach_device.h"
#include "collect_satelliteinfo.h"
#include "fing.h"
#include "fuzz_util.h"
#include "zol_json.h"
#include "Add_object.h"

using fuzz::require;
using fuzz::require_bounded;
using fuzz::require_strict;

namespace {

json_object* parse_json(const std::string& text) {
    return json_tokener_parse(text.c_str());
}

void scanner_list(fuzz::Input& in) {
    std::string mac = in.text(64);
    std::string vpn = in.text();
    std::string text = in.rest();
    FoldedLines status;
    status.assign(vpn);
    count_attached_devices(text, status);
    check_VPN_device(status, mac.c_str());
    LinkTable links;
    links.assign(text);
    char link[32], signal[16], type[24];
    strcpy(link, "NA");
    strcpy(signal, "NA");
    strcpy(type, "NA");
    get_Devices_links_and_signal_type(links, mac.c_str(), link, sizeof link, signal, sizeof signal,
                                      type, sizeof type);
    require_bounded(link, sizeof link - 1, "link");
    require_bounded(signal, sizeof signal - 1, "signal");
    require_bounded(type, sizeof type - 1, "type");
}

void vpn_records(fuzz::Input& in) {
    JsonPtr list(json_object_new_array());
    parse_vpn_records(in.rest(), list.get());
    require_strict(list.get(), "parse_vpn_records");
}

// An online list as the engine writes it: completed in place, then written.
void online_list(fuzz::Input& in) {
    std::string links_text = in.text();
    JsonPtr list(parse_json(in.rest()));
    if (!list || !json_object_is_type(list.get(), json_type_array)) return;
    LinkTable links;
    links.assign(links_text);
    complete_online_list(list.get(), links);
    JsonPtr strict(json_make_strict(list.release()));
    require_strict(strict.get(), "complete_online_list");
    size_t n = json_object_array_length(strict.get());
    for (size_t i = 0; i < n && i < 8; ++i) {
        JsonPtr dev(json_object_new_object());
        add_one_device(json_object_array_get_idx(strict.get(), i), dev.get(), static_cast<int>(i & 1));
        require_strict(dev.get(), "add_one_device");
    }
}

void satellites(fuzz::Input& in) {
    JsonPtr list(parse_json(in.rest()));
    JsonPtr info(satellite_info_from_list(list.get()));
    require_strict(info.get(), "satellite_info_from_list");
}

void security_report(fuzz::Input& in) {
    std::string va_date = in.text(64);
    JsonPtr report(parse_json(in.rest()));
    AegixReport r = aegix_report_from_json(report.get());
    JsonPtr obj(json_object_new_object());
    add_aegix_report_status(obj.get(), r, va_date.c_str());
    Add_object_string(obj.get(), "license", bda_license_status(report.get()).c_str());
    require_strict(obj.get(), "aegix report");
}

void security_settings(fuzz::Input& in) {
    AegixSettings s;
    s.subscription_status = in.text(128);
    s.expiry_date = in.text(128);
    s.va_report_date = in.text(128);
    s.subscription_level = in.text(128);
    s.registration_status = in.text(128);
    JsonPtr obj(json_object_new_object());
    add_aegix_settings_status(obj.get(), s);
    require_strict(obj.get(), "aegix settings");
}

const fuzz::Case kCases[] = {scanner_list, vpn_records, online_list, satellites, security_report,
                       security_settings};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz::run_case(kCases, data, size);
}
