// The traffic meter (its setting in routerConfig, the WAN volume since the
// previous run in routerInfo) and the last speed test's bandwidth.
#include "collect_router_traffic.h"

#include <arpa/inet.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <config_store.h>

#include "Add_object.h"
#include "file_update.h"
#include "unit.h"

char traffic_uplink[32];
char traffic_downlink[32];

namespace {

const char kTrafficStatistics[] = "/tmp/traffic_meter/traffic_statistics";
const char kTrafficDir[] = "/tmp/traffic_meter";
const char kTrafficOld[] = "/tmp/traffic_meter/traffic_old";
constexpr double kBytesToMiB = 9.5367431640625e-7;
constexpr uint64_t kWrap32 = 1ull << 32;
constexpr long kStaleSeconds = 86400;

struct text_row {
    const char* value;
    const char* text;
};

// The traffic meter's limit setting as the cloud names it.
constexpr text_row kControlTypes[] = {
    {"0", "traffic volume-nolimit"},
    {"1", "traffic volume-download"},
    {"2", "traffic volume-bi-direction"},
};

// Bytes per second in the store, megabits per second in the document.
double store_speed(const char* key) { return strtod(config_get(key), nullptr) * 8 / 1000000; }
double store_number(const char* key) { return strtod(config_get(key), nullptr); }

// A decimal counter of the previous run, or 0.
uint64_t read_old_counter(FILE* fp) {
    char line[50];
    if (!fp || !fgets(line, sizeof line, fp)) return 0;
    return static_cast<uint64_t>(strtoll(line, nullptr, 10));
}

void save_counters(uint64_t rx, uint64_t tx) {
    char text[64];
    snprintf(text, sizeof text, "%llu\n%llu\n", static_cast<unsigned long long>(rx),
             static_cast<unsigned long long>(tx));
    file_update::replace_keep_mode(kTrafficOld, text);
}

void format_mib(char (&out)[32], uint64_t bytes) {
    snprintf(out, sizeof out, "%.2f", static_cast<double>(bytes) * kBytesToMiB);
}

const char* wan_traffic_ifname() {
    if (!config_match("ap_mode", "0")) return "br0";
    for (const char* ppp : {"pppoe", "pptp", "l2tp"})
        if (config_match("wan_proto", ppp)) return "ppp0";
    return "brwan";
}

bool is_digits(const char* s, size_t n) {
    if (n == 0) return false;
    for (size_t i = 0; i < n; ++i)
        if (s[i] < '0' || s[i] > '9') return false;
    return true;
}

// The five bandwidth members; a null figure is a JSON null.
void add_bandwidth(json_object* obj, const double* down, const double* up, const double* ping,
                   const char* time_text, const char* result) {
    const struct {
        const char* name;
        const double* value;
    } figures[] = {{"downloadSpeed", down}, {"uploadSpeed", up}, {"averagePing", ping}};
    for (const auto& f : figures)
        json_object_object_add(obj, f.name,
                               f.value ? zol_json_object_new_double(*f.value) : nullptr);
    json_object_object_add(obj, "lastTestTime",
                           time_text ? zol_json_object_new_string(time_text) : nullptr);
    json_object_object_add(obj, "speedtestResults",
                           result ? zol_json_object_new_string(result) : nullptr);
}

void add_store_bandwidth(json_object* obj, const char* down, const char* up, const char* ping,
                         const char* time_text, const char* result) {
    double d = store_speed(down), u = store_speed(up), p = store_number(ping);
    add_bandwidth(obj, &d, &u, &p, time_text, result);
}

}  // namespace

json_object* get_trafficMeter_json() {
    json_object* obj = json_object_new_object();
    if (!obj) return nullptr;
    Add_object_boolean(obj, "enabled", config_match("endis_traffic", "1"));
    const char* type = "";
    if (config_match("ctrl_volumn_time", "1")) {
        type = "connection time control";
    } else {
        for (const auto& row : kControlTypes)
            if (config_match("limit", row.value)) type = row.text;
    }
    Add_object_string(obj, "controlType", type);
    return obj;
}

void traffic_statistics_field(const char* line, int which, char* out, size_t size) {
    char copy[128];
    strncpyt(copy, line ? line : "", sizeof copy);
    copy[strcspn(copy, "\r\n")] = '\0';
    const char* field = nullptr;
    char* save = nullptr;
    int index = 0;
    for (char* tok = strtok_r(copy, " \n", &save); tok; tok = strtok_r(nullptr, " \n", &save)) {
        if (index++ == which + 2) {
            field = tok;
            break;
        }
    }
    strncpyt(out, field ? field : "0", size);
}

char* get_trafficMeter(int which) {
    static char value[32];
    traffic_statistics_field(cat_file(kTrafficStatistics), which, value, sizeof value);
    return value;
}

bool parse_net_dev_line(const char* line, const char* ifname, uint64_t* rx, uint64_t* tx) {
    if (!line || !ifname) return false;
    const char* colon = strchr(line, ':');
    if (!colon || colon == line) return false;
    std::string name(line, colon);
    if (name.find(ifname) == std::string::npos) return false;
    // Field 1 is the received bytes, field 9 the transmitted bytes.
    uint64_t values[2] = {0, 0};
    int field = 0;
    const char* p = colon + 1;
    while (field < 9) {
        p += strspn(p, " \t");
        size_t len = strcspn(p, " \t\r\n");
        if (len == 0) return false;
        if (field == 0 || field == 8) {
            if (!is_digits(p, len)) return false;
            values[field == 8] = strtoull(p, nullptr, 10);  // saturates on overflow
        }
        p += len;
        ++field;
    }
    *rx = values[0];
    *tx = values[1];
    return true;
}

uint64_t traffic_delta(uint64_t current, uint64_t previous) {
    if (current > previous) return current - previous;
    if (current == previous) return 0;
    return current + kWrap32 - previous;  // modulo 2^64, never undefined
}

int get_trafficMeter_disable() {
    const char* ifname = wan_traffic_ifname();
    // Reading the counters, the previous ones and saving the new ones is one
    // step: overlapping runs report consecutive increments, none twice. The
    // firmware's traffic meter makes the directory only when it runs.
    mkdir(kTrafficDir, 0755);
    RunLock lock(std::string(kTrafficOld) + ".lock");
    if (!lock.held()) return -1;  // another run's wedged: no increment is guessed
    FILE* fp = fopen("/proc/net/dev", "r");
    if (!fp) return -1;
    char line[512];
    uint64_t rx = 0, tx = 0;
    bool found = false;
    // Read to the end even after the match: the file is one snapshot.
    for (int n = 0; fgets(line, sizeof line, fp); ++n)
        if (!found && n >= 2) found = parse_net_dev_line(line, ifname, &rx, &tx);
    fclose(fp);
    if (!found) return -1;

    FILE* old = fopen(kTrafficOld, "r");
    uint64_t old_rx = read_old_counter(old);
    uint64_t old_tx = read_old_counter(old);
    if (old) fclose(old);

    uint64_t rx_delta = traffic_delta(rx, old_rx);
    uint64_t tx_delta = traffic_delta(tx, old_tx);
    save_counters(rx, tx);
    format_mib(traffic_uplink, tx_delta);
    format_mib(traffic_downlink, rx_delta);
    return 0;
}

json_object* get_traffic_json() {
    if (!config_match("endis_traffic", "0")) {
        strncpyt(traffic_uplink, get_trafficMeter(0), sizeof traffic_uplink);
        strncpyt(traffic_downlink, get_trafficMeter(1), sizeof traffic_downlink);
    } else if (get_trafficMeter_disable() != 0) {
        strncpyt(traffic_uplink, "0.00", sizeof traffic_uplink);
        strncpyt(traffic_downlink, "0.00", sizeof traffic_downlink);
    }
    json_object* obj = json_object_new_object();
    if (!obj) return nullptr;
    Add_object_double(obj, "Uplink", strtod(traffic_uplink, nullptr));
    Add_object_double(obj, "Downlink", strtod(traffic_downlink, nullptr));
    return obj;
}

int get_ookla_data_status() {
    char last[64], old[64], cur[32], prev[32];
    strncpyt(last, config_get("last_speedtest_time"), sizeof last);
    strncpyt(old, config_get("old_last_speedtest_time"), sizeof old);
    strncpyt(cur, config_get("ookla_downlimit"), sizeof cur);
    strncpyt(prev, config_get("old_ookla_downlimit"), sizeof prev);

    if (!last[0]) return 2;
    if (strcmp(last, old) != 0) {
        if (!cur[0]) return prev[0] ? 1 : 3;
        if (prev[0] && strcmp(prev, cur) == 0) return 1;
        // A new test: remember it, so the next report can tell a repeat.
        const char* ping = config_get("ookla_averageping");
        if (ping[0]) config_set("old_ookla_averageping", ping);
        config_set("old_last_speedtest_time", last);
        return 0;
    }
    return strcmp(prev, cur) != 0 ? 4 : 1;
}

void speedtest_time_text(const char* raw, time_t now, char* out, size_t size, bool* stale) {
    *stale = false;
    strncpyt(out, raw ? raw : "", size);
    if (!raw || !strchr(raw, ',')) return;
    struct tm t {};
    const char* end = strptime(raw, "%R %b %d, %Y", &t);
    if (!end) return;  // not the speed test's format: reported as read
    t.tm_isdst = -1;
    time_t when = mktime(&t);
    char text[64];
    if (when == static_cast<time_t>(-1) || !strftime(text, sizeof text, "%Y_%m.%d_%H:%M:%S", &t))
        return;
    strncpyt(out, text, size);
    *stale = now - when > kStaleSeconds;
}

json_object* get_bandwidth_json() {
    int status = get_ookla_data_status();
    json_object* obj = json_object_new_object();
    if (!obj) return nullptr;
    if (status == 2) {
        add_bandwidth(obj, nullptr, nullptr, nullptr, nullptr, nullptr);
        return obj;
    }
    const char* word = config_match("show_speedtest_result", "1") ? "Success" : "Failed";
    char raw[64], when[64];
    bool stale = false;
    strncpyt(raw, config_get("last_speedtest_time"), sizeof raw);
    speedtest_time_text(raw, time(nullptr), when, sizeof when, &stale);

    if (config_match("bandwidth_type", "1")) {
        add_store_bandwidth(obj, "downlimit", "uplimit", "averageping", when, word);
        return obj;
    }
    switch (status) {
        case 0:
            add_store_bandwidth(obj, "ookla_downlimit", "ookla_uplimit", "ookla_averageping", when,
                                "Success");
            break;
        case 1:
            add_store_bandwidth(obj, "old_ookla_downlimit", "old_ookla_uplimit",
                                "old_ookla_averageping", when, "Failed");
            break;
        case 3:
            add_bandwidth(obj, nullptr, nullptr, nullptr, when, "Failed");
            break;
        default:
            add_store_bandwidth(obj, "ookla_downlimit", "ookla_uplimit", "ookla_averageping", when,
                                stale ? "Previously" : "Success");
            break;
    }
    return obj;
}

