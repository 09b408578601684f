// routerInfo: identity, addressing, cloud registration, traffic and
// bandwidth, fans, sensors, gateway and flash wear; the firmware description
// (also in every routerHardware header) and the flash debug-log event.
#include "collect_router.h"

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
#include "collect_circleV2.h"
#include "collect_generic.h"
#include "collect_otp.h"
#include "collect_ssorap.h"
#include "data_collector.h"
#include "file_update.h"
#include "text_filters.h"
#include "unit.h"
#include "xagent.h"
#include "zol_json.h"

namespace {

// Every firmware member is a short text; the cloud truncates nothing itself.
constexpr size_t kFwFieldSize = 64;

constexpr const char* kUbinfoFile = "/tmp/ubinfo_ubi0.txt";
constexpr const char* kDbgLineFile = "/tmp/dbgLogs-line";
// The tool's answer is kept up to this size; the parser reads the start.
constexpr size_t kUbinfoBytes = 64 * 1024;
// The revision commands are formatted into fields of this size; built from
// constants and a bounded line number, they always fit.

// ubinfo's answer; every call overwrites it.
char ubinfo_buf[UBINFO_BUF_SIZE];

void add_bounded(json_object* obj, const char* name, const char* value) {
    char field[kFwFieldSize] = {0};
    strncpyt(field, value ? value : "", sizeof field);
    Add_object_string(obj, name, field);
}

// The value after the ':' that follows the phrase, up to the next blank or
// line end. The ':' may lie on a later line; ubinfo never prints it so.
char* ubinfo_value_after(char* match) {
    char* p = strchr(match, ':');
    if (!p) return match;
    ++p;
    while (*p == ' ' || *p == '\t') ++p;
    p[strcspn(p, " \t\r\n")] = '\0';
    return p;
}

char* ubinfo_extract(const char* item) {
    static const struct {
        const char* item;
        const char* phrase;
        bool whole_rest;
    } kItems[] = {
        {"total_blocks", "Total amount", false},
        {"bad_blocks", "Count of bad", false},
        {"info", "Volumes count", true},
    };
    for (const auto& row : kItems) {
        if (strcmp(item, row.item) != 0) continue;
        char* match = strstr(ubinfo_buf, row.phrase);
        if (!match) break;
        return row.whole_rest ? match : ubinfo_value_after(match);
    }
    ubinfo_buf[0] = '\0';
    return ubinfo_buf;
}

}  // namespace

json_object* get_firmware_json(int is_routerInfo) {
    json_object* obj = json_object_new_object();
    if (!obj) return nullptr;
    add_bounded(obj, "fwVersion", cat_file("/firmware_version"));
    add_bounded(obj, "fwLastUpdate", config_get("update_time"));
    add_bounded(obj, "fwLastChecked", get_check_time());
    if (is_routerInfo == 1) add_bounded(obj, "fwupgrade_Method", config_get("fwupgrade_Method"));
    return obj;
}

char* dbgLogs_ubinfo_text(const char* output, size_t len, const char* item) {
    if (output) {
        // The tool's output is bounded by the buffer: a longer output keeps its
        // first UBINFO_BUF_SIZE - 1 bytes (the phrases we need come first)
        // rather than aborting the collection.
        size_t n = len < sizeof ubinfo_buf - 1 ? len : sizeof ubinfo_buf - 1;
        memcpy(ubinfo_buf, output, n);
        ubinfo_buf[n] = '\0';
    }
    return ubinfo_extract(item ? item : "");
}

char* dbgLogs_ubinfo(const char* dev, const char* item) {
    (void)dev;  // always /dev/ubi0; the command names it itself
    // This run's answer, not the file another run may be replacing.
    static std::string output;
    static bool readable = false;
    if (!item) {
        // The tool's answer stays beside the document, as it always has.
        RunResult r = run_to_file({{"ubinfo", "/dev/ubi0"}, kUbinfoBytes}, kUbinfoFile);
        output = r.out;
        readable = !r.timed_out;
        return nullptr;
    }
    if (readable) return dbgLogs_ubinfo_text(output.data(), output.size(), item);
    // Unreadable output: the buffer keeps what the previous call left in it.
    return dbgLogs_ubinfo_text(nullptr, 0, item);
}

json_object* get_dbgLogs_json() {
    dbgLogs_ubinfo("/dev/ubi0", nullptr);
    json_object* obj = json_object_new_object();
    if (!obj) return nullptr;
    Add_object_string(obj, "dbglogType", "Flash");
    Add_object_string(obj, "dbglevel", "Debug");
    Add_object_string(obj, "dbgSource", "Device");
    Add_object_string(obj, "dbgSummary", "UBI info (image)");
    // Each value is copied by the writer before the next call reuses the buffer.
    Add_object_string(obj, "dbgArg1", dbgLogs_ubinfo("/dev/ubi0", "total_blocks"));
    Add_object_string(obj, "dbgArg2", dbgLogs_ubinfo("/dev/ubi0", "bad_blocks"));
    Add_object_string(obj, "dbgMsg", dbgLogs_ubinfo("/dev/ubi0", "info"));
    return obj;
}

// The cloud expects dbgLogs as an array of records while the document is built
// with one record object; the pretty-printed file is edited into that shape.
void dbgLogs_revised(const char* file) {
    std::string doc;
    read_whole_file(file, doc);
    doc = replace_all(doc, "\"dbgLogs\":{", "\"dbgLogs\":[{");

    // Only the member name itself starts a line with "dbgMsg": (the same word
    // inside a text is escaped as \"dbgMsg\"), so a serial number or tool
    // output holding the word cannot move the edit. The line numbers stay
    // beside the document, as they always have.
    std::string lines = matching_line_numbers(doc, "^ *\"dbgMsg\":");
    file_update::replace_keep_mode(kDbgLineFile, lines);

    // dbgMsg is the record's last member and its text is escaped onto one
    // line, so the line after it holds the record's closing brace.
    long line = strtol(first_line_of(lines), nullptr, 10);
    if (line < 0 || line > 1000000) line = 0;
    doc = replace_all_on_line(doc, line + 1, "}", "}]");
    if (file_exists(file)) file_update::replace_keep_mode(file, doc);
}

// ---- traffic meter and bandwidth --------------------------------------------

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

// ---- routerInfo -----------------------------------------------------------------

namespace {

const char kGeoFile[] = "/tmp/Tarnel_MAXmind";
const char kCableModemFile[] = "/tmp/router-analytics/cableModeMacAddr";
const char kPingResult[] = "/tmp/ra_ping_cable_result";
const char kFanFile[] = "/tmp/router-analytics/ra_fan.conf";
const char kFirmwareRegion[] = "/tmp/firmware_region";
const char kModemIp[] = "192.168.100.1";
constexpr int kWanIpTries = 3;
constexpr unsigned kWanIpWaitSeconds = 2;
// The files are numbered without gaps; a corrupt /tmp stops here.
constexpr int kMaxLanPorts = 64;
// A core count outside 1..kMaxCores is a corrupt collector file; it reads
// as the default count.
constexpr int kDefaultCores = 4;
constexpr int kMaxCores = 32;
constexpr size_t kTextField = 64;

struct region_struct {
    int code;
    const char* region;
};

// Code 10 occurs twice on purpose: get_wifi_region picks one by /tmp/firmware_region.
constexpr region_struct regions[] = {
    {0, "Africa"},
    {1, "Asia"},
    {2, "Australia"},
    {3, "Canada"},
    {4, "Europe"},
    {5, "Israel"},
    {6, "Japan"},
    {7, "Korea"},
    {8, "Mexico"},
    {9, "South America"},
    {10, "North America"},
    {10, "United States"},
    {11, "China"},
    {12, "India"},
    {13, "Malaysia"},
    {14, "Middle East(Algeria/Syria/Yemen)"},
    {15, "Middle East(Iran/Lebanon/Qatar)"},
    {16, "Middle East(Egypt/Tunisia/Kuwait)"},
    {17, "Middle East(Turkey)"},
    {18, "Middle East(Saudi Arabia/United Arab Emirates)"},
    {19, "Russia"},
    {20, "Singapore"},
    {21, "Taiwan"},
    {22, "Hong Kong"},
    {23, "Vietnam"},
    {24, "New Zealand"},
    {25, "Middle East(Saudi Arabia/United Arab Emirates)"},
    {-1, nullptr},
};

bool is_router_mode() { return config_match("ap_mode", "0") && config_match("bridge_mode", "0"); }

const char* wan_ifname() {
    return config_match("wan_proto", "dhcp") || config_match("wan_proto", "static") ? "brwan"
                                                                                    : "ppp0";
}

std::string dotted_quad(in_addr_t addr) {
    char text[INET_ADDRSTRLEN] = "";
    in_addr in{};
    in.s_addr = addr;
    inet_ntop(AF_INET, &in, text, sizeof text);
    return text;
}

bool is_hex(const char* s) {
    if (!*s) return false;
    for (; *s; ++s)
        if (!isxdigit(static_cast<unsigned char>(*s))) return false;
    return true;
}

// Blank- and tab-separated words of a line, each cut to its field width.
std::vector<std::string> words_of(const char* line, std::initializer_list<size_t> widths) {
    std::vector<std::string> words;
    auto width = widths.begin();
    for (const char* p = line; width != widths.end();) {
        p += strspn(p, " \t\r\n");
        size_t len = strcspn(p, " \t\r\n");
        if (len == 0) break;
        words.emplace_back(p, len < *width ? len : *width);
        p += len;
        ++width;
    }
    return words;
}

struct time_sync {
    char result[8] = "";
    char port[8] = "";
    char reason[64] = "";
};

time_sync get_time_sync() {
    time_sync ts;
    if (file_exists("/tmp/ntp_updated")) {
        strncpyt(ts.result, "yes", sizeof ts.result);
        strncpyt(ts.port, cat_file("/tmp/ntp/ra_portnum"), sizeof ts.port);
        if (!ts.port[0]) strncpyt(ts.port, config_get("ntpPortNumber"), sizeof ts.port);
        if (strcmp(ts.port, "123") != 0) strncpyt(ts.port, "non-123", sizeof ts.port);
    } else {
        strncpyt(ts.result, file_exists("/tmp/ntp_RaUpdated") ? "cloud" : "no", sizeof ts.result);
        strncpyt(
            ts.reason,
            config_match("ntpFailReason", "1") ? "Internet unavailable" : "Fail to reach server",
            sizeof ts.reason);
    }
    return ts;
}

void add_text(json_object* obj, const char* name, const char* value) {
    char field[kTextField];
    strncpyt(field, value ? value : "", sizeof field);
    Add_object_string(obj, name, field);
}

// json-c's integer view of a member (saturating); a NaN, which json-c
// parses, has none and reads as 0.
int json_int_or_zero(json_object* v) {
    if (!v) return 0;
    if (json_object_is_type(v, json_type_double) && std::isnan(json_object_get_double(v)))
        return 0;
    return json_object_get_int(v);
}

void add_geolocation(json_object* obj) {
    static const struct {
        const char* member;
        const char* key;
        bool number;
    } kMembers[] = {
        {"wanIpCountry", "country", false},
        {"wanIpTimeZone", "timeZone", false},
        {"wanIpZoneOffset", "zoneOffset", true},
        {"wanIpRegion", "region", false},
        {"wanIpCity", "city", false},
        {"wanIpZip", "zip", false},
        {"wanIpExternal", "ip", false},
        {"wanIpIsp", "isp", false},
    };
    JsonPtr geo(json_object_from_file(kGeoFile));
    for (const auto& m : kMembers) {
        json_object* v = local_json_object_object_get(geo.get(), m.key);
        if (m.number)
            Add_object_int(obj, m.member, json_int_or_zero(v));
        else
            add_text(obj, m.member, v ? json_object_get_string(v) : "");
    }
}

void add_cloud_agent_state(json_object* obj) {
    Add_object_boolean(obj, "TarnelRegistered",
                       get_bool_from_dto("xagentcfg[0].x_agent_registered"));
    // Two of the four are the texts "true"/"false", as the cloud files them.
    Add_object_string(obj, "TarnelIdAcquired",
                      check_value_from_dto("xagentcfg[0].x_agent_id") == 1 ? "true" : "false");
    Add_object_boolean(obj, "TarnelClaimed", get_bool_from_dto("xagentcfg[0].x_agent_claimed"));
    Add_object_string(
        obj, "TarnelClaimCodeAcquired",
        check_value_from_dto("xagentcfg[0].x_agent_claim_code") == 1 ? "true" : "false");
}

void add_install_and_manage(json_object* obj) {
    const char* by = config_match("installby_guiapp", "1")   ? "APP"
                     : config_match("installby_guiapp", "0") ? "GUI"
                                                             : "unknown";
    Add_object_string(obj, "installByGuiApp", by);
    Add_object_boolean(obj, "installFwUpgradeLatest", config_match("installfwstatus", "1"));
    Add_object_boolean(obj, "manageByGui", config_match("manageby_gui", "1"));
    Add_object_boolean(obj, "manageByApp", config_match("manageby_app", "1"));
    // Each flag is reported once.
    config_unset("manageby_app");
    config_unset("manageby_gui");
    config_commit();
}

void add_modem(json_object* obj, const char* mac, const char* oui) {
    Add_object_string(obj, "cableModemMacAddr", mac);
    Add_object_string(obj, "cableModemMacOui", oui);
}

const char* modem_alias_ifname() {
    if (!config_match("ap_mode", "0")) return "br0";
    return config_match("bridge_mode", "0") ? "brwan" : "br0";
}

void run_alias(const char* alias, std::vector<std::string> action) {
    action.insert(action.begin(), {"ifconfig", std::string(alias) + ":0"});
    run_program({action});
}

// Puts an address of the modem's network on an alias to ask the modem for
// its MAC; true when it was found and added.
bool probe_cable_modem(json_object* obj) {
    if (dotted_quad(get_ipaddr(wan_ifname())).rfind("192.168.100.", 0) == 0) return false;
    const char* alias = modem_alias_ifname();
    run_alias(alias, {"192.168.100.100", "netmask", "255.255.255.0", "up"});
    char mac[18] = "";
    if (get_ping_cable_result()) strncpyt(mac, get_cable_modem_mac(), sizeof mac);
    run_alias(alias, {"down"});
    if (!mac[0] || strncmp(mac, "00:00:00:00:00:00", 17) == 0) return false;
    add_modem(obj, parse_mac(mac), get_mac_oui(mac));
    file_update::replace_keep_mode(kCableModemFile, std::string(mac) + "\n");
    return true;
}

void add_wan_gateway(json_object* obj) {
    char mac[32] = "NA";
    char oui[16] = "NA";
    if (config_match("ap_mode", "1") || config_match("wan_proto", "dhcp") ||
        config_match("wan_proto", "static")) {
        char ip[16], found[32];
        if (get_gateway_ip(ip) == 0 && get_gateway_mac(ip, found) == 0) {
            remove_colon(found);
            strncpyt(mac, found, sizeof mac);
            strncpyt(oui, found, 7);
        }
    }
    Add_object_string(obj, "wanGwMacAddr", mac);
    Add_object_string(obj, "wanGwMacOui", oui);
}

const struct nand_counter {
    RunRequest tool;
    const char* phrase;
    size_t offset;
} kNandBad = {{{"nanddump", "/dev/mtd0"}, 64 * 1024, Capture::Stderr}, "Number of bad blocks", 22},
  kNandTotal = {{{"mtdinfo", "/dev/mtd0"}, 64 * 1024}, "Amount of eraseblocks", 32};

int nand_count(const nand_counter& c, char* count) {
    // A tool that is not there reads as empty output, as the shell gave it.
    RunResult r = run_program(c.tool);
    if (r.timed_out) return -1;
    std::string value = nand_count_from(open_text(r.out).get(), c.phrase, c.offset);
    if (!value.empty()) strncpyt(count, value.c_str(), 32);
    return 0;
}

void add_nand_count(json_object* obj, const char* name, const nand_counter& c) {
    char count[32] = "";
    Add_object_string(obj, name, nand_count(c, count) == 0 ? count : "0");
}

void add_fans(json_object* obj) {
    // The tool's file is written, read and removed by one run at a time.
    RunLock lock(std::string(kFanFile) + ".lock");
    if (!lock.held()) return;
    run_program({{"fan", "0", "0", "0"}});
    json_object* fans = json_object_from_file(kFanFile);
    if (!fans) return;
    fans = json_make_strict(fans);
    bool is_array = json_object_is_type(fans, json_type_array);
    Add_object_int(obj, "numberOfFans",
                   is_array ? static_cast<int>(json_object_array_length(fans)) : 0);
    json_object_object_add(obj, "fan", fans);
    unlink(kFanFile);
}

void add_sensors(json_object* obj) {
    // The sensor files are reported once, by one run, then removed.
    RunLock lock("/tmp/cache/wireless/thermal.lock");
    if (!lock.held()) return;
    int n = get_numberOfSensors();
    if (n <= 0) return;
    Add_object_int(obj, "numberOfSensors", n);
    json_object* sensors = json_object_new_array();
    for (int i = 1; i <= n; ++i) json_object_array_add(sensors, get_sensor_json(n, i));
    json_object_object_add(obj, "sensor", sensors);
    unlink("/tmp/cache/wireless/thermal_board.conf");
    remove_prefixed("/tmp/cache/wireless", "thermal_wifi");
}

// Narrowed to single precision as the firmware's collector does; a value
// beyond float range becomes an infinity (printed null) instead of undefined.
double narrow_to_float(double v) {
    if (std::isfinite(v) && std::fabs(v) > FLT_MAX) return v > 0 ? HUGE_VALF : -HUGE_VALF;
    return static_cast<float>(v);
}

int clamp_int(long long v) {
    return static_cast<int>(std::clamp<long long>(v, INT32_MIN, INT32_MAX));
}

}  // namespace

json_object* get_ipaddr_json() {
    json_object* obj = json_object_new_object();
    if (!obj) return nullptr;
    add_text(obj, "ipWAN", dotted_quad(get_ipaddr(wan_ifname())).c_str());
    add_text(obj, "ipLAN", dotted_quad(get_ipaddr("br0")).c_str());
    return obj;
}

json_object* get_raeLib_json() {
    json_object* obj = json_object_new_object();
    if (!obj) return nullptr;
    char version[kTextField];
    snprintf(version, sizeof version, "V%s", cat_file("/tmp/router-analytics/rae_version"));
    Add_object_string(obj, "raeAgentVersion", version);
    add_text(obj, "raePolicyVersion", cat_file("/tmp/router-analytics/policy_version"));
    return obj;
}

json_object* get_lanport_json() {
    int used = 0, total = 0;
    for (; total < kMaxLanPorts; ++total) {
        char path[32];
        snprintf(path, sizeof path, "/tmp/LAN%d_status", total);
        if (!file_exists(path)) break;
        std::string status;
        read_whole_file(path, status, 4096);
        for (char& c : status) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
        if (status.find("down") == std::string::npos) ++used;
    }
    json_object* obj = json_object_new_object();
    if (!obj) return nullptr;
    Add_object_int(obj, "lanPortUsed", used);
    Add_object_int(obj, "totalLanPort", total);
    return obj;
}

json_object* get_internetConn_json() {
    json_object* obj = json_object_new_object();
    if (!obj) return nullptr;
    for (const char* key : {"internetDisconnDuration", "gwDisconnDuration"})
        Add_object_int(obj, key, zol_atoi(config_get(key)));
    return obj;
}

json_object* cpu_average_from(FILE* fp) {
    // Overall average, per-core averages, core count, high-CPU time.
    char lines[4][128] = {};
    int n = 0;
    for_each_line(fp, sizeof lines[0], [&](char* line) {
        strncpyt(lines[n], line, sizeof lines[n]);
        return ++n < 4;
    });
    int cores = zol_atoi(lines[2]);
    if (!fp || cores < 1 || cores > kMaxCores) cores = kDefaultCores;

    json_object* obj = json_object_new_object();
    if (!obj) return nullptr;
    Add_object_double(obj, "cpuAveAll", narrow_to_float(strtod(lines[0], nullptr)));
    Add_object_int(obj, "totalCoreNumber", cores);
    json_object* by_core = json_object_new_array();
    for (int i = 1; i <= cores; ++i) {
        char field[6] = {0};
        get_data_from_string(lines[1], field, ',', i, 5);
        Add_object_Array_double(by_core, strtod(field, nullptr));
    }
    json_object_object_add(obj, "cpuAveByCores", by_core);
    Add_object_int(obj, "highCpuTime", zol_atoi(lines[3]));
    return obj;
}

json_object* get_cpuAvg_json() {
    return cpu_average_from(open_read("/tmp/cpu_collect_info").get());
}

int high_mem_time_from(FILE* fp) {
    int value = 0, n = 0;
    for_each_line(fp, 128, [&](char* line) {
        if (++n < 2) return true;
        value = zol_atoi(line);
        return false;
    });
    return value;
}

json_object* get_meminfo_json() {
    char total[64] = "", free_[64] = "", buffers[64] = "", cached[64] = "";
    meminfo(total, free_, buffers, cached);
    long long mem_free =
        meminfo_kb(free_) / 1024 + meminfo_kb(buffers) / 1024 + meminfo_kb(cached) / 1024;
    long long mem_used = meminfo_kb(total) / 1024 - mem_free;
    json_object* obj = json_object_new_object();
    if (!obj) return nullptr;
    Add_object_int(obj, "memoryFree", clamp_int(mem_free));
    Add_object_int(obj, "memoryUsed", clamp_int(mem_used));
    Add_object_int(obj, "highMemTime",
                   high_mem_time_from(open_read("/tmp/mem_collect_info").get()));
    return obj;
}

void fetch_wan_ip() {
    for (int i = 0; i < kWanIpTries; ++i) {
        if (JsonPtr(json_object_from_file(kGeoFile))) return;
        get_wanip_info();
        sleep(kWanIpWaitSeconds);  // the request runs in the background
    }
}

char* get_mac_oui(const char* mac) {
    static char oui[128];
    memset(oui, 0, sizeof oui);
    size_t n = 0;
    for (size_t i = 0; mac && i < 8 && mac[i]; ++i) {
        if (i % 3 == 2) continue;  // the colons
        oui[n++] = static_cast<char>(toupper(static_cast<unsigned char>(mac[i])));
    }
    if (n == 0) strncpyt(oui, "na", sizeof oui);
    return oui;
}

bool ping_answered(FILE* result) {
    bool answered = false;
    for_each_line(result, 256, [&answered](char* line) {
        answered = strstr(line, "1 packets received") != nullptr;
        return !answered;
    });
    return answered;
}

int get_ping_cable_result() {
    // The answer stays for later runs to look at, as it always has.
    RunResult r = run_to_file({{"ping", "-c", "1", "-q", "192.168.100.1"}, 64 * 1024}, kPingResult);
    if (r.exited_zero()) sleep(1);
    return ping_answered(open_text(r.out).get()) ? 1 : 0;
}

std::string cable_modem_mac_from(FILE* arp) {
    std::string mac;
    for_each_line(arp, 255, [&mac](char* line) {
        std::vector<std::string> w = words_of(line, {255, 255, 255, 17});
        if (w.empty() || w[0] != kModemIp) return true;
        if (w.size() == 4) mac = w[3];
        return false;
    });
    return mac;
}

char* get_cable_modem_mac() {
    static char mac[18];
    strncpyt(mac, cable_modem_mac_from(open_read("/proc/net/arp").get()).c_str(), sizeof mac);
    return mac;
}

void get_cable_modem(json_object* rtInfo_json) {
    // One run probes (an alias on the interface, a ping); the others wait for
    // its answer rather than probe beside it.
    RunLock lock(std::string(kCableModemFile) + ".lock");
    if (!lock.held() && !file_exists(kCableModemFile)) {
        add_modem(rtInfo_json, "na", "na");  // not known yet; nothing saved
        return;
    }
    if (file_exists(kCableModemFile)) {
        char cached[128];
        strncpyt(cached, cat_file(kCableModemFile), sizeof cached);
        if (strcmp(cached, "na") == 0)
            add_modem(rtInfo_json, "na", "na");
        else
            add_modem(rtInfo_json, parse_mac(cached), get_mac_oui(cached));
        return;
    }
    printf("get cableModeMacAddr once\n");
    if (probe_cable_modem(rtInfo_json)) return;
    add_modem(rtInfo_json, "na", "na");
    file_update::replace_keep_mode(kCableModemFile, "na\n");
}

const char* wifi_region_of(int code, const char* firmware_region) {
    const char* fw = firmware_region ? firmware_region : "";
    for (size_t i = 0; i < sizeof regions / sizeof regions[0]; ++i) {
        if (regions[i].code != code && regions[i].code >= 0) continue;
        const region_struct* row = &regions[i];
        // Code 10 is North America only for the NA and US firmware regions.
        if (row->code == 10 && strcmp(fw, "NA") != 0 && strcmp(fw, "US") != 0) ++row;
        return row->region ? row->region : "Unknown";
    }
    return "Unknown";
}

const char* get_wifi_region() {
    int code = zol_atoi(config_get("wl_country"));
    return wifi_region_of(code, cat_file(kFirmwareRegion));
}

bool parse_route_line(const char* line, char (&ifname)[16], uint32_t* dest, uint32_t* gateway) {
    std::vector<std::string> w = words_of(line ? line : "", {15, 16, 16});
    if (w.size() < 3 || !is_hex(w[1].c_str()) || !is_hex(w[2].c_str())) return false;
    unsigned long long d = strtoull(w[1].c_str(), nullptr, 16);
    unsigned long long g = strtoull(w[2].c_str(), nullptr, 16);
    if (d > UINT32_MAX || g > UINT32_MAX) return false;
    strncpyt(ifname, w[0].c_str(), sizeof ifname);
    *dest = static_cast<uint32_t>(d);
    *gateway = static_cast<uint32_t>(g);
    return true;
}

bool gateway_ip_from(FILE* route, char* gateway_ip) {
    bool found = false;
    for_each_line(route, 256, [&](char* line) {
        char ifname[16];
        uint32_t dest = 0, gw = 0;
        if (!parse_route_line(line, ifname, &dest, &gw) || dest != 0) return true;
        // The kernel prints the address as the host-order view of network-order bytes.
        strncpyt(gateway_ip, dotted_quad(gw).c_str(), 16);
        found = true;
        return false;
    });
    return found;
}

int get_gateway_ip(char* gateway_ip) {
    return gateway_ip_from(open_read("/proc/net/route").get(), gateway_ip) ? 0 : -1;
}

bool gateway_mac_from(FILE* arp, const char* ip, char* mac) {
    bool found = false;
    for_each_line(arp, 256, [&](char* line) {
        std::vector<std::string> w = words_of(line, {20, 7, 7, 17});
        if (w.size() < 4 || w[0] != ip) return true;
        strncpyt(mac, w[3].c_str(), 32);
        found = true;
        return false;
    });
    return found;
}

int get_gateway_mac(const char* gateway_ip, char* gateway_mac) {
    if (!gateway_ip) return -1;
    return gateway_mac_from(open_read("/proc/net/arp").get(), gateway_ip, gateway_mac) ? 0 : -1;
}

void remove_colon(char* mac) {
    if (!mac) return;
    char* out = mac;
    for (const char* p = mac; *p; ++p)
        if (*p != ':') *out++ = *p;
    *out = '\0';
}

std::string nand_count_from(FILE* output, const char* phrase, size_t offset) {
    std::string count;
    for_each_line(output, 256, [&](char* line) {
        const char* at = strcasestr(line, phrase);
        if (!at || strnlen(at, offset) < offset) return true;
        char text[32];
        strncpyt(text, at + offset, sizeof text);
        text[strspn(text, "0123456789")] = '\0';
        if (!is_Number(text)) return true;
        count = text;
        return false;
    });
    return count;
}

int get_nand_bad_block(char* count) { return nand_count(kNandBad, count); }
int get_nand_total_block(char* count) { return nand_count(kNandTotal, count); }

json_object* get_routerinfo_json() {
    time_sync ts = get_time_sync();
    fetch_wan_ip();
    json_object* obj = json_object_new_object();
    if (!obj) return nullptr;
    json_object_object_add(obj, "ipAddress", get_ipaddr_json());
    add_geolocation(obj);
    get_cable_modem(obj);
    add_cloud_agent_state(obj);
    get_routerInfo_ssoGuiRegStatus(obj);
    get_routerInfo_ssoGUIRegNewInstall(obj);
    json_object_object_add(obj, "firmware", get_firmware_json(1));
    json_object_object_add(obj, "raeLibrary", get_raeLib_json());
    add_install_and_manage(obj);
    Add_object_string(obj, "language", config_get("GUI_Region"));
    Add_object_string(obj, "regionCode", cat_file(kFirmwareRegion));
    Add_object_string(obj, "wifiRegion", get_wifi_region());
    Add_object_string(obj, "upTime", parse_uptime(clamp_int(get_uptime())));
    json_object_object_add(obj, "lanPort", get_lanport_json());
    Add_object_string(obj, "ntpResult", ts.result);
    Add_object_string(obj, "ntpFailReason", ts.reason);
    Add_object_string(obj, "ntpPortNumber", ts.port);
    json_object_object_add(obj, "cpuAveUtilizations", get_cpuAvg_json());
    json_object_object_add(obj, "memoryInfo", get_meminfo_json());
    json_object_object_add(obj, "internetConnInfo", get_internetConn_json());
    if (is_router_mode()) json_object_object_add(obj, "trafficMeter", get_traffic_json());
    if (is_router_mode()) json_object_object_add(obj, "internetBandwidth", get_bandwidth_json());
    if (de_features == 0) {
        Add_object_string(obj, "vpnLastestConnStatus", config_get("vpn_client_latest_conn_status"));
        Add_object_string(obj, "vpnFailedConnReason", config_get("vpn_client_failed_conn_reason"));
        Add_object_string(obj, "vpnFailedDebugInfo", config_get("vpn_client_failed_debug_info"));
    }
    // Measured a second time: the member keeps its place and the cloud sees
    // the traffic between the two readings, as it always has.
    if (is_router_mode()) json_object_object_add(obj, "trafficMeter", get_traffic_json());
    Add_object_string(obj, "topology", cat_file("/tmp/soapclient/satellite_wifi_info/ra_topology"));
    add_fans(obj);
    add_sensors(obj);
    add_wan_gateway(obj);
    add_nand_count(obj, "nandFlashBadBlockCount", kNandBad);
    add_nand_count(obj, "nandFlashTotalBlockCount", kNandTotal);
    char sessions[32];
    strncpyt(sessions, cat_file("/tmp/router-analytics/networkSessionCnt"), sizeof sessions);
    Add_object_int(obj, "networkSessionCnt", zol_atoi(sessions));
    get_routerinfo_circleV2(obj);
    return obj;
}
