// Text, MAC and time helpers and the small value tables: every answer stays
// inside its buffer and its documented bound, whatever the text.
#include <climits>
#include <cstring>
#include <vector>

#include "aegix.h"
#include "attach_device.h"
#include "collect_circleV2.h"
#include "collect_eventtype5.h"
#include "collect_generic.h"
#include "collect_router.h"
#include "collect_router_gateway.h"
#include "collect_router_traffic.h"
#include "collect_router_config.h"
#include "collect_satelliteinfo.h"
#include "collect_usb_media.h"
#include "collect_wifi.h"
#include "collect_wifi_analytics.h"
#include "collect_wifi_connect.h"
#include "fuzz_util.h"
#include "unit.h"
#include "xagent.h"

using fuzz::require;
using fuzz::require_bounded;

namespace {

// A mutable copy with its terminator, as the helpers that split in place need.
std::vector<char> writable(const std::string& s) {
    std::vector<char> v(s.begin(), s.end());
    v.push_back('\0');
    return v;
}

void copies(fuzz::Input& in) {
    size_t len = in.byte() % 40;
    std::string src = in.text();
    // One guard byte each side of the destination catches any overrun.
    std::vector<char> dst(len + 2, '\x5a');
    strncpyt(dst.data() + 1, src.c_str(), len);
    zol_strncpy(dst.data() + 1, src.c_str(), static_cast<int>(len));
    require(dst[0] == '\x5a' && dst[len + 1] == '\x5a', "strncpyt wrote outside its buffer");
    if (len) require(memchr(dst.data() + 1, '\0', len) != nullptr, "copy not terminated");

    std::vector<char> cat(len + 1, '\0');
    zol_strncat(cat.data(), src.c_str(), len + 1);
    require_bounded(cat.data(), len, "zol_strncat");
    require_bounded(str_replace(src.c_str()), 2047, "str_replace");
}

void fields(fuzz::Input& in) {
    char ch = static_cast<char>(in.byte());
    int column = in.byte() % 8;
    int len = in.byte() % 48;
    std::string line = in.text();
    std::vector<char> out(len + 1, '\x5a');
    extraction_string_bychar(line.c_str(), ch, column, out.data(), len);
    require(out[len] == '\x5a', "extraction_string_bychar overran");
    if (len) require_bounded(out.data(), len - 1, "extraction_string_bychar");

    std::vector<char> data(len + 1, '\0');
    get_data_from_string(line.c_str(), data.data(), ch, column, len);
    require(data[len] == '\0', "get_data_from_string overran");

    std::vector<char> a = writable(line), b = writable(line);
    char* last = last_str(a.data());
    require(last != nullptr && strlen(last) <= line.size(), "last_str");
    require(strlen(parse_parmetrs(b.data())) <= line.size(), "parse_parmetrs");
    for (const std::string& w : split_blanks(line)) require(!w.empty() && w.size() <= line.size(), "split_blanks");
}

void macs(fuzz::Input& in) {
    bool three = in.flag();
    std::string ifname = in.text(64);
    std::string mac = in.text();
    require_bounded(parse_mac(mac.c_str()), 127, "parse_mac");
    require_bounded(formatted_mac(mac.c_str()), 31, "formatted_mac");
    char result[19];
    memset(result, '\x5a', sizeof result);
    satellite_base_mac(ifname.c_str(), mac.c_str(), three, result);
    require(result[18] == '\x5a', "satellite_base_mac overran");
    require_bounded(result, 17, "satellite_base_mac");
    convert_satellite_mac(ifname.c_str(), mac.c_str(), result);
    require_bounded(result, 17, "convert_satellite_mac");
    std::string norm = normalize_mac(mac);
    require(norm.size() <= 127, "normalize_mac over its bound");
    std::vector<char> m = writable(mac);
    remove_colon(m.data());
    require(strlen(m.data()) <= mac.size(), "remove_colon");
    require_bounded(get_mac_oui(mac.c_str()), 64, "get_mac_oui");
}

void entities(fuzz::Input& in) {
    int size = in.byte() % 80;
    std::string text = in.text();
    std::vector<char> out(size + 1, '\x5a');
    conv_items_xss(text.c_str(), out.data(), size);
    require(out[size] == '\x5a', "conv_items_xss overran");
    if (size) require_bounded(out.data(), size - 1, "conv_items_xss");
}

void times(fuzz::Input& in) {
    time_t now = static_cast<time_t>(static_cast<int32_t>(in.u32()));
    int uptime = static_cast<int>(in.u32());
    size_t size = in.byte() % 64;
    bool dst = in.flag();
    std::string raw = in.text();
    std::vector<char> out(size + 1, '\x5a');
    bool stale = false;
    speedtest_time_text(raw.c_str(), now, out.data(), size, &stale);
    require(out[size] == '\x5a', "speedtest_time_text overran");
    if (size) require_bounded(out.data(), size - 1, "speedtest_time_text");
    require_bounded(parse_uptime(uptime), 63, "parse_uptime");
    std::string tz = timezone_offset_text(raw.c_str(), dst);
    require(tz.size() < 32, "timezone_offset_text");
}

void numbers(fuzz::Input& in) {
    std::string t = in.text();
    const char* s = t.c_str();
    zol_atoi(s);
    is_Number(s);
    wifi_text_int(s);
    counter_value(s);
    ethtool_speed_gbps(s);
    int vid = 0, prio = 0;
    parse_vlan_rule(s, &vid, &prio);
    get_start_channel(s);
    get_end_channel(s);
    circle_version_from_text(s);
    meminfo_kb(s);
    compare_bdaVersion(s, "7.0.1.2");
    compare_bdaVersion("7.0.1.2", s);
    enable_ap_line(s);
    char out[20];
    format_utilization(static_cast<float>(static_cast<int32_t>(in.u32())) / 7.0f, out, sizeof out);
    require_bounded(out, 19, "format_utilization");
    traffic_delta(in.u32(), in.u32());
    char traffic[33];
    traffic_statistics_field(s, t.size() % 4, traffic, sizeof traffic);
    require_bounded(traffic, 32, "traffic_statistics_field");
}

// Table lookups on any key: a known text or the fallback, never null.
void labels(fuzz::Input& in) {
    int gw = static_cast<int>(in.u32());
    std::string a = in.text(), b = in.text();
    const char* texts[] = {
        get_device_type_name(a.c_str()), change_reason_format(a.c_str()),
        bh_conn_status_text(a.c_str()), internet_config_name(a.c_str()),
        disconn_reason_text(a.c_str(), gw), fw_event_type_text(a.c_str()),
        fw_check_result_text(a.c_str()), usb_detached_action(a.c_str()),
        wlan_sec_label(a.c_str(), b.c_str()), wlan_region_label(a.c_str()),
        wlan_mode_label("wl0", a.c_str(), WifiBuild::ax, b.c_str()),
        wlan_mode_label("wl1", a.c_str(), WifiBuild::legacy, b.c_str()),
        radio_band(a.c_str(), gw & 1), wifi_region_of(gw, a.c_str()),
        get_if_purpose(a.c_str()), get_wifi_ra_purpose(a.c_str()),
    };
    for (const char* t : texts) require(t != nullptr, "a label is null");
    require(wan_port_speed(a.c_str()).size() < 64, "wan_port_speed");
    port_rule_counted(a.c_str(), b.c_str());
    const char *status = nullptr, *reason = nullptr;
    backup_status(a.c_str(), gw & 1, b.c_str(), &status, &reason);
    require(status && reason, "backup_status");
    char version[64];
    plex_version_from_line(a.c_str(), version, sizeof version);
    require_bounded(version, 63, "plex_version_from_line");
}

// Store values that reach a tool's arguments stay whole, each in one argument.
void commands(fuzz::Input& in) {
    std::string id = in.text(512), code = in.text(512);
    std::vector<std::string> argv = wanip_request_argv("host.example.invalid", id.c_str(), code.c_str());
    require(argv.size() == 14 && argv[9] == "Authorization:" + std::string(id.c_str()) + ":" +
                                                 std::string(code.c_str()),
            "wanip_request_argv");
}

const fuzz::Case kCases[] = {copies, fields, macs, entities, times, numbers, labels, commands};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz::run_case(kCases, data, size);
}
