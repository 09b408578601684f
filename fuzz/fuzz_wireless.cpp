// The radios' site survey blocks, the station dump and the wireless
// daemon's connect-event log.
#include <algorithm>
#include <climits>
#include <cstring>
#include <vector>

#include "collect_wifi_connect.h"
#include "collect_wifiscanresult.h"
#include "connectedDevice.h"
#include "fuzz_util.h"
#include "zol_json.h"

using fuzz::require;
using fuzz::require_strict;

namespace {

void scan_blocks(fuzz::Input& in) {
    static const char* const kBands[] = {"2g", "5g", "6g", "60g"};
    const char* band = kBands[in.byte() % 4];
    std::string text = in.rest();
    JsonPtr list(json_object_new_array());
    int ssids = parse_wifi_scan_text(text, band, list.get());
    require(ssids >= 0, "negative SSID count");
    // A block ends at its utilization line, SSID line or not: one network a line at most.
    size_t lines = static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
    require(json_object_array_length(list.get()) <= lines, "more networks than lines");
    require_strict(list.get(), "parse_wifi_scan_text");
}

void station_dump(fuzz::Input& in) {
    count_station_dump(in.rest());
    for (const connected_device& row : connectedDevices) require(row.total >= 0, "negative count");
}

void log_line(fuzz::Input& in) {
    std::string line = in.rest();
    std::vector<char> buf(line.begin(), line.end());
    buf.push_back('\0');
    ConnectLogFields f = split_connect_log_line(buf.data());
    const char* end = buf.data() + buf.size();
    for (const char* s : {f.mac, f.ifname, f.time, f.code, f.reason, f.rssi})
        require(s && ((s >= buf.data() && s < end) || *s == '\0'), "field outside the line");
    require(change_reason_format(f.reason) != nullptr, "change_reason_format");
}

// The whole log through the event builder, as the collector reads it.
void log_file(fuzz::Input& in) {
    unsigned long budget = in.flag() ? ULONG_MAX : in.u32() % 200000;
    std::string path = fuzz::scratch("wifi_ra");
    fuzz::put_file(path, in.rest());
    int count = count_connect_log_lines(path.c_str());
    require(count >= 0, "negative line count");
    JsonPtr doc(get_connect_event_window_json(budget, path.c_str()));
    require(doc != nullptr, "no wifiConnectEvent object");
    require_strict(doc.get(), "get_connect_event_window_json");
    // The scratch file the collector writes is what json-c prints of that tree.
    std::string side = fuzz::scratch("side");
    require(write_connect_event_file(budget, path.c_str(), side.c_str()), "no scratch file");
    JsonPtr whole(json_object_new_object());
    json_object_object_add(whole.get(), "wifiConnectEvent", doc.release());
    require(fuzz::file_text(side) == json_object_to_json_string_ext(whole.get(), JSON_C_TO_STRING_PRETTY),
            "scratch file differs from the printed tree");
}

const fuzz::Case kCases[] = {scan_blocks, station_dump, log_line, log_file};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz::run_case(kCases, data, size);
}
