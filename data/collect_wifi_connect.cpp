// Wireless connect events from the wireless daemon's log /tmp/wifi_ra, one
// comma-separated line per event: client MAC, driver interface, epoch time,
// event code, reason code, RSSI. The log is only read, never cleared here.
#include "collect_wifi_connect.h"

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <deque>
#include <limits>
#include <map>
#include <string>
#include <unordered_map>

#include "Add_object.h"
#include "collect_wifi.h"
#include "config_store.h"
#include "unit.h"
#include "zol_json.h"

int connevent_num = 0;

namespace {

const char kEventLog[] = "/tmp/wifi_ra";
const char kSatelliteDevices[] = "/tmp/soapclient/satellite_wifi_info/ra_attach_device";
const char kRouterDevices[] = "/tmp/netscan/attach_offline_device";
// Lines are counted and read with fgets into this many bytes, so a longer
// line counts, and becomes an event, once per piece.
const int kLineBuf = 1024;

struct CodeText {
    const char* code;
    const char* text;
};

const CodeText kReasons[] = {
    {"0", "0000:Reserved"},       {"1", "0001:UNSPECIFIED"}, {"2", "0002:AUTH_INVAL"},
    {"3", "0003:DEAUTH_LEAVING"}, {"4", "0004:INACTIVITY"},  {"9", "0009:NOT_AUTH"},
    {"15", "0015:4WH_TIMEOUT"},
};

const char* const kEventLabels[] = {
    "1:Connect success",
    "2:Connect fail",
    "3:Disconnect by ap",
    "4:Disconnect by client",
    "5:Post-association steer success",
    "6:Post-association steer fail",
};

const char* or_empty(const char* s) { return s ? s : ""; }

// The six texts an event takes from the device lists, each at most 62 characters.
struct ConnectDevice {
    std::string type, model, name, ap_model, ap_mac, ssid;
};

// Devices of the satellite list, then of the router's list, by DeviceMAC
// (at most 30 characters) ignoring case; the first element of a MAC wins.
class ConnectDeviceIndex {
   public:
    void add_list(json_object* list);
    const ConnectDevice* find(const char* mac) const;

   private:
    std::unordered_map<std::string, ConnectDevice> by_mac_;
};

// Turns log lines into event objects; the event type text carries over to a
// line whose code is unknown, as the cloud has always received it.
class ConnectEventBuilder {
   public:
    explicit ConnectEventBuilder(const ConnectDeviceIndex& devices) : devices_(devices) {}
    json_object* build(char* line);

   private:
    const char* band_channel(const char* ifname);

    const ConnectDeviceIndex& devices_;
    const char* event_type_ = "";
    // "band:channel" per interface: the radio files do not change during a
    // run, and a log has a handful of interfaces over many lines.
    std::map<std::string, std::string> band_channels_;
};

// "1:Connect success" ... "6:Post-association steer fail"; null for any other code.
const char* connect_event_label(const char* code) {
    long n = strtol(or_empty(code), nullptr, 10);
    return n >= 1 && n <= 6 ? kEventLabels[n - 1] : nullptr;
}


// ASCII case folding, as strcasecmp compares in the C locale.
std::string lower_ascii(const char* s) {
    std::string out(or_empty(s));
    for (char& c : out)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return out;
}

// One "%x" group of a MAC text: blanks, an optional 0x, hex digits; the byte
// is the low eight bits. Null when no digit is there.
const char* hex_group(const char* p, unsigned* byte) {
    while (*p == ' ' || *p == '\t') ++p;
    if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X') && isxdigit(static_cast<unsigned char>(p[2])))
        p += 2;
    if (!isxdigit(static_cast<unsigned char>(*p))) return nullptr;
    unsigned value = 0;
    for (; isxdigit(static_cast<unsigned char>(*p)); ++p) {
        int c = tolower(static_cast<unsigned char>(*p));
        value = (value << 4 | static_cast<unsigned>(c <= '9' ? c - '0' : c - 'a' + 10)) & 0xff;
    }
    *byte = value;
    return p;
}

// "%Y-%m-%d %H:%M:%S" in local time; "" for a time the calendar cannot hold.
void format_begin_time(const char* epoch_text, char (&out)[32]) {
    out[0] = '\0';
    long long secs = strtoll(or_empty(epoch_text), nullptr, 10);
    if (secs < static_cast<long long>(std::numeric_limits<time_t>::min()) ||
        secs > static_cast<long long>(std::numeric_limits<time_t>::max()))
        return;
    time_t when = static_cast<time_t>(secs);
    struct tm local;
    if (localtime_r(&when, &local)) strftime(out, sizeof out, "%Y-%m-%d %H:%M:%S", &local);
}

// The newest events, each as json-c prints it on its own (pretty, at the top
// level), whose sizes, the oldest left out, still exceed the budget; see
// get_connect_event_window_json. Text costs a sixth of an event's tree.
class EventWindow {
   public:
    explicit EventWindow(unsigned long budget) : budget_(budget) {}

    void add(json_object* event) {
        JsonPtr owned(event);
        size_t size = 0;
        const char* text = json_object_to_json_string_length(event, JSON_C_TO_STRING_PRETTY, &size);
        events_.emplace_back(text ? text : "null", text ? size : 4);
        total_ += events_.back().size();
        while (events_.size() > 1 && total_ - events_.front().size() > budget_) {
            total_ -= events_.front().size();
            events_.pop_front();
        }
    }

    const std::deque<std::string>& events() const { return events_; }

   private:
    unsigned long budget_;
    unsigned long total_ = 0;
    std::deque<std::string> events_;
};

}  // namespace

// ---- labels and MAC conversion ---------------------------------------------------

const char* change_reason_format(const char* reason) {
    for (const CodeText& r : kReasons)
        if (strcmp(or_empty(reason), r.code) == 0) return r.text;
    return reason;
}

void satellite_base_mac(const char* ifname, const char* mac_str, bool three_radio, char* result) {
    unsigned b[6] = {0, 0, 0, 0, 0, 0};
    const char* p = or_empty(mac_str);
    for (int i = 0; i < 6 && p; ++i) {
        if (i > 0 && *p++ != ':') break;
        p = hex_group(p, &b[i]);
    }
    // The satellite's backhaul MAC is its base MAC plus 2, or plus 3 on the
    // 6 GHz backhaul of a three-radio router.
    unsigned d = three_radio && strncmp(or_empty(ifname), "wl0.2", 5) == 0 ? 3 : 2;
    if (b[5] >= d) {
        b[5] -= d;
    } else {
        b[5] = b[5] + 256 - d;
        if (b[4] > 0) {
            --b[4];
        } else {
            b[4] = 255;
            if (b[3] > 0) --b[3];  // the borrow stops here
        }
    }
    snprintf(result, 18, "%02x:%02x:%02x:%02x:%02x:%02x", b[0], b[1], b[2], b[3], b[4], b[5]);
}

void convert_satellite_mac(const char* ifname, const char* mac_str, char* result) {
    satellite_base_mac(ifname, mac_str, config_match("radio_number", "0x7") == 1, result);
}

// ---- log lines -----------------------------------------------------------------------

ConnectLogFields split_connect_log_line(char* line) {
    ConnectLogFields f;
    const char** slots[] = {&f.mac, &f.ifname, &f.time, &f.code, &f.reason, &f.rssi};
    char* save = nullptr;
    char* next = line;
    for (int i = 0; i < 6; ++i) {
        char* tok = strtok_r(next, i < 5 ? "," : ",\n", &save);
        next = nullptr;
        if (!tok) break;
        *slots[i] = tok;
    }
    return f;
}

namespace {

void ConnectDeviceIndex::add_list(json_object* list) {
    if (!json_object_is_type(list, json_type_array)) return;
    auto field = [](json_object* dev, const char* name) {
        char text[63];
        strncpyt(text, zol_get_json_object_to_string(dev, name), sizeof text);
        return std::string(text);
    };
    for (size_t i = 0, n = json_object_array_length(list); i < n; ++i) {
        json_object* dev = json_object_array_get_idx(list, i);
        char mac[31];
        strncpyt(mac, zol_get_json_object_to_string(dev, "DeviceMAC"), sizeof mac);
        std::string key = lower_ascii(mac);
        if (by_mac_.count(key)) continue;
        by_mac_.emplace(key, ConnectDevice{field(dev, "DeviceTypeOldName"), field(dev, "DeviceModel"),
                                           field(dev, "DeviceName"), field(dev, "ConnectedAPModel"),
                                           field(dev, "ConnectedAPMac"), field(dev, "ConnSSID")});
    }
}

const ConnectDevice* ConnectDeviceIndex::find(const char* mac) const {
    auto it = by_mac_.find(lower_ascii(mac));
    return it == by_mac_.end() ? nullptr : &it->second;
}

const char* ConnectEventBuilder::band_channel(const char* ifname) {
    ifname = or_empty(ifname);
    auto it = band_channels_.find(ifname);
    if (it != band_channels_.end()) return it->second.c_str();
    static char text[31];
    snprintf(text, sizeof text, "%s:%s", get_radio_band(ifname), get_radio_channel(ifname));
    // A hostile log of distinct names does not grow the table past a few rows.
    if (band_channels_.size() >= 16) return text;
    return band_channels_.emplace(ifname, text).first->second.c_str();
}

json_object* ConnectEventBuilder::build(char* line) {
    ConnectLogFields f = split_connect_log_line(line);
    char begin[32];
    format_begin_time(f.time, begin);
    // The whole label: "5:Post-association steer success" is one character
    // longer than the firmware's 32-byte buffer held.
    if (const char* label = connect_event_label(f.code)) event_type_ = label;
    const char* band_channel = this->band_channel(f.ifname);
    char rssi[31];
    snprintf(rssi, sizeof rssi, "%sdbm", f.rssi);

    // A client on a backhaul interface is a satellite, listed by its base MAC.
    char lookup[31];
    if (strstr(f.ifname, ".2")) {
        char base[18];
        convert_satellite_mac(f.ifname, f.mac, base);
        strncpyt(lookup, base, sizeof lookup);
    } else {
        strncpyt(lookup, f.mac, sizeof lookup);
    }
    static const ConnectDevice kUnknown;
    const ConnectDevice* dev = devices_.find(lookup);
    if (!dev) dev = &kUnknown;

    json_object* event = json_object_new_object();
    Add_object_string(event, "beginTimeStamp", begin);
    Add_object_string(event, "endTimeStamp", "NA");
    Add_object_string(event, "eventType", event_type_);
    Add_object_string(event, "reason", change_reason_format(f.reason));
    Add_object_string(event, "steerType", "NA");
    Add_object_string(event, "steerReason", "NA");
    Add_object_string(event, "steerSuggestion", "NA");
    Add_object_string(event, "steerSuggestionAPMAC", "NA");
    Add_object_string(event, "clientMAC", f.mac);
    Add_object_string(event, "connBandChannel", band_channel);
    Add_object_string(event, "RSSI", rssi);
    Add_object_string(event, "deviceType", dev->type.c_str());
    // The cloud reads the model under deviceName and the name under deviceModel.
    Add_object_string(event, "deviceName", dev->model.c_str());
    Add_object_string(event, "deviceModel", dev->name.c_str());
    Add_object_string(event, "apModel", dev->ap_model.c_str());
    Add_object_string(event, "apMAC", dev->ap_mac.c_str());
    Add_object_string(event, "apName", dev->ssid.c_str());
    Add_object_string(event, "apNetwork", get_wifi_ra_purpose(f.ifname));
    return event;
}

}  // namespace

// ---- the log --------------------------------------------------------------------------

int count_connect_log_lines(const char* log) {
    FILE* fp = fopen(log, "r");
    if (!fp) return 0;
    char line[kLineBuf];
    int count = 0;
    while (count < INT_MAX && fgets(line, sizeof line, fp)) ++count;
    fclose(fp);
    return count;
}

int get_connevent_num() {
    connevent_num = count_connect_log_lines(kEventLog);
    return connevent_num;
}

void read_connect_events(const char* log, int count,
                         const std::function<void(json_object*)>& sink) {
    ConnectDeviceIndex devices;
    {
        JsonPtr satellites(json_object_from_file(kSatelliteDevices));
        JsonPtr router(json_object_from_file(kRouterDevices));
        devices.add_list(satellites.get());
        devices.add_list(router.get());
    }
    FILE* fp = fopen(log, "r");
    if (!fp) return;
    zol_safe_system(nullptr, nullptr, 0, "/sbin/get_ra_wifi_info", "wifiRA", nullptr);
    ConnectEventBuilder builder(devices);
    char line[kLineBuf];
    // A log that shrank since it was counted ends the reading early.
    for (int i = 0; i < count && fgets(line, sizeof line, fp); ++i) sink(builder.build(line));
    fclose(fp);
}

void get_wifi_connect_event(json_object* my_object) {
    read_connect_events(kEventLog, connevent_num,
                        [my_object](json_object* event) { json_object_array_add(my_object, event); });
}

namespace {

// {"numberOfEvents": count, "event": [...]}, fill called only for a count above 0.
json_object* connect_event_object(int count, const std::function<void(json_object*)>& fill) {
    json_object* result = json_object_new_object();
    if (!result) return nullptr;
    Add_object_int(result, "numberOfEvents", count);
    json_object* events = json_object_new_array();
    if (count > 0) fill(events);
    json_object_object_add(result, "event", events);
    return result;
}

}  // namespace

json_object* get_wifiConnectEvent_json() {
    return connect_event_object(get_connevent_num(), get_wifi_connect_event);
}

namespace {

EventWindow read_event_window(unsigned long budget, const char* log) {
    EventWindow window(budget);
    connevent_num = count_connect_log_lines(log);
    if (connevent_num > 0)
        read_connect_events(log, connevent_num, [&window](json_object* e) { window.add(e); });
    return window;
}

// {"wifiConnectEvent": {"numberOfEvents": count, "event": [...]}} as json-c
// prints it, events spliced in as text: json-c indents each level by two
// spaces and never leaves a raw newline inside a string, so an event printed
// on its own, each line indented as the array's elements, is the same text.
std::string connect_event_document(int count, const std::deque<std::string>& events) {
    static const char kMark[] = "\"\\u0000mark\"";  // a string no event prints
    JsonPtr doc(json_object_new_object());
    json_object* inner = json_object_new_object();
    Add_object_int(inner, "numberOfEvents", count);
    json_object* array = json_object_new_array();
    if (!events.empty()) json_object_array_add(array, json_object_new_string_len("\0mark", 5));
    json_object_object_add(inner, "event", array);
    json_object_object_add(doc.get(), "wifiConnectEvent", inner);
    std::string text = json_object_to_json_string_ext(doc.get(), JSON_C_TO_STRING_PRETTY);
    size_t at = text.find(kMark);
    if (at == std::string::npos) return text;
    size_t line = text.rfind('\n', at) + 1;  // the array's elements start after their indent
    std::string indent = "\n" + text.substr(line, at - line);
    std::string out = text.substr(0, at);
    for (size_t i = 0; i < events.size(); ++i) {
        if (i > 0) out += "," + indent;
        for (char c : events[i]) {
            if (c == '\n') out += indent;
            else out += c;
        }
    }
    return out + text.substr(at + sizeof kMark - 1);
}

}  // namespace

json_object* get_connect_event_window_json(unsigned long budget, const char* log) {
    EventWindow window = read_event_window(budget, log);
    return connect_event_object(connevent_num, [&](json_object* array) {
        for (const std::string& e : window.events()) json_object_array_add(array, json_tokener_parse(e.c_str()));
    });
}

bool write_connect_event_file(unsigned long budget, const char* log, const char* file) {
    EventWindow window = read_event_window(budget, log);
    std::string text = connect_event_document(connevent_num, window.events());
    FILE* fp = fopen(file, "w");
    if (!fp) return false;
    bool ok = fwrite(text.data(), 1, text.size(), fp) == text.size();
    return fclose(fp) == 0 && ok;
}
