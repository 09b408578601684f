// routerInfo: identity, addressing, cloud registration, fans, sensors,
// gateway and flash wear, and the firmware description (also in every
// routerHardware header).
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
#include "collect_otp.h"
#include "collect_ssorap.h"
#include "collect_router_gateway.h"
#include "collect_router_traffic.h"
#include "event_document.h"
#include "text_filters.h"
#include "unit.h"
#include "xagent.h"
#include "zol_json.h"

namespace {

// Every firmware member is a short text; the cloud truncates nothing itself.
constexpr size_t kFwFieldSize = 64;

void add_bounded(json_object* obj, const char* name, const char* value) {
    char field[kFwFieldSize] = {0};
    strncpyt(field, value ? value : "", sizeof field);
    Add_object_string(obj, name, field);
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

// ---- routerInfo -----------------------------------------------------------------

namespace {

const char kGeoFile[] = "/tmp/Tarnel_MAXmind";
const char kFanFile[] = "/tmp/router-analytics/ra_fan.conf";
const char kFirmwareRegion[] = "/tmp/firmware_region";
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
