// System health and hardware events: the routerHardware header that opens
// every document, the CPU and memory alarms, the kernel reboot event and the
// firmware upgrade analytics.
#include "collect_generic.h"

#include "Add_object.h"
#include "collect_router.h"
#include "config_store.h"
#include "diagnostic_log.h"
#include "event_document.h"
#include "unit.h"
#include "zol_json.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <unistd.h>

char cpu_utilization[32];
char cpuThresholdHigh[32];
char memoryUtilizationsHigh[32];
char memoryTotal[32];
char memoryFree[32];
char memoryUsed[32];
char mem_Utilization[32];

namespace {

const char kPolicyFile[] = "/tmp/router-analytics/RAE_Policy.json";
const char kRebootReasonFile[] = "/tmp/reboot_reason";
const char kCrashLogFile[] = "/tmp/crash_aws_log";

// Working record of the header; the two time stamp texts are never filled,
// the header takes the broken-down time directly.
struct hardware_str {
    char modelName[64];
    char hwRevision[128];
    char stage[64];
    char macAddress[64];
    char serialNumber[64];
    int eventType;
    char timeStampDate[64];
    char timeStampTime[64];
};

struct code_text {
    const char* code;
    const char* text;
};

// fw_eventType as left by the upgrade scripts; anything else is an upgrade
// started from the app.
constexpr code_text kFwEventTypes[] = {
    {"0", "Weekly"},      {"1", "Force upgrade"}, {"2", "Daily check"},
    {"3", "New Install"}, {"4", "GUI upgrade"},
};

constexpr code_text kFwCheckResults[] = {
    {"0", "no error"},
    {"1", "unknown error"},
    {"2", "Fileinfo download fail"},
    {"3", "Firmware download fail"},
    {"4", "No internet"},
    {"5", "Dal Error"},
    {"6", "Library not Initialized"},
    {"7", "Connection Timeout"},
    {"8", "Cannot Connect to Server"},
    {"9", "Not a Valid Input"},
    {"10", "Library Internal Error"},
    {"11", "No URL Received From Server"},
};

template <size_t N>
const char* lookup_code(const code_text (&table)[N], const char* code, const char* fallback) {
    if (code == nullptr) return fallback;
    for (const code_text& row : table)
        if (strcmp(row.code, code) == 0) return row.text;
    return fallback;
}


// 1 for "1", 2 for "0", 0 for anything else (the cloud's consent encoding).
int consent_option(const char* key) {
    if (config_match(key, "1")) return 1;
    if (config_match(key, "0")) return 2;
    return 0;
}

const char* stage_text() {
    if (config_match("aws_stage", "dev")) return "dev";
    if (config_match("aws_stage", "qa")) return "qa";
    return "prod";
}

// Sets TZ from the store so that local times are the router owner's; the
// value stays set for the rest of the run.
void apply_time_zone() {
    setenv("TZ", config_get("time_zone"), 1);
    tzset();
}

json_object* int_triple(int a, int b, int c) {
    json_object* arr = json_object_new_array();
    Add_object_Array_int(arr, a);
    Add_object_Array_int(arr, b);
    Add_object_Array_int(arr, c);
    return arr;
}

// The alarm events' shape: {<alarm>: {"alarmReason": reason}, <info_name>: info}.
json_object* alarm_event(const char* alarm, const char* reason, const char* info_name,
                         json_object* info) {
    json_object* reason_obj = json_object_new_object();
    Add_object_string(reason_obj, "alarmReason", reason);
    json_object* obj = json_object_new_object();
    json_object_object_add(obj, alarm, reason_obj);
    json_object_object_add(obj, info_name, info);
    return obj;
}

cpu_counters sample_cpu() {
    char fields[8][21] = {};
    cpu_util(fields[0], fields[1], fields[2], fields[3], fields[4], fields[5], fields[6],
             fields[7]);
    return cpu_counters_from_fields(fields);
}

}  // namespace

// ---- routerHardware ----------------------------------------------------------

namespace {

struct hardware_reading {
    hardware_str hw;
    struct tm local;
    int auto_update;
    int analytics;
};

// Reads everything the header reports, in the order the side effects
// (trace, TZ, digests) are expected.
void read_hardware(hardware_reading& r) {
    hardware_str& hw = r.hw;
    char mac[64] = "";

    DC_TRACE("get_hardware_json", 300, "Collect routerHardware");
    get_macaddr("br0", mac);

    char model[32];
    strncpyt(model, cat_file("/module_name"), sizeof model);
    for (char* p = model; *p != '\0'; ++p) *p = (char)toupper((unsigned char)*p);
    strncpyt(hw.modelName, model, sizeof hw.modelName);

    char board_hw_id[128];
    char board_id[32];
    strncpyt(board_hw_id, cat_file("/tmp/board_hw_id"), sizeof board_hw_id);
    strncpyt(board_id, cat_file("/proc/nvram/boardid"), sizeof board_id);
    std::string revision = std::string(board_hw_id) + "," + board_id;
    strncpyt(hw.hwRevision, revision.c_str(), sizeof hw.hwRevision);

    strncpyt(hw.stage, stage_text(), sizeof hw.stage);
    strncpyt(hw.macAddress, parse_mac(mac), sizeof hw.macAddress);
    strncpyt(hw.serialNumber, cat_file("/tmp/Seria_Number"), sizeof hw.serialNumber);
    hw.eventType = eventtype;

    time_t now = time(nullptr);
    apply_time_zone();
    localtime_r(&now, &r.local);

    r.auto_update = consent_option("agree_auto_up_TC");
    r.analytics = consent_option("agree_collect_TC");
    if (r.analytics == 2) {
        // The user declined analytics: identify the router only by digests.
        strncpyt(hw.macAddress, zol_md5_transform(hw.macAddress), sizeof hw.macAddress);
        strncpyt(hw.serialNumber, zol_md5_transform(hw.serialNumber), sizeof hw.serialNumber);
    }
}

}  // namespace

json_object* get_hardware_json() {
    hardware_reading r{};
    read_hardware(r);
    const hardware_str& hw = r.hw;

    json_object* obj = json_object_new_object();
    Add_object_string(obj, "productFamily", "router");
    Add_object_string(obj, "modelName", hw.modelName);
    Add_object_string(obj, "hwRevision", hw.hwRevision);
    Add_object_string(obj, "stage", hw.stage);
    json_object* device = json_object_new_object();
    Add_object_string(device, "macAddress", hw.macAddress);
    Add_object_string(device, "serialNumber", hw.serialNumber);
    json_object_object_add(obj, "deviceInfo", device);
    Add_object_int(obj, "eventType", hw.eventType);
    json_object* stamp = json_object_new_object();
    json_object_object_add(stamp, "date", int_triple(r.local.tm_year + 1900, r.local.tm_mon + 1,
                                                     r.local.tm_mday));
    json_object_object_add(stamp, "time",
                           int_triple(r.local.tm_hour, r.local.tm_min, r.local.tm_sec));
    json_object_object_add(obj, "timeStamp", stamp);
    json_object_object_add(obj, "firmware", get_firmware_json(0));
    Add_object_string(obj, "tncVersion", "2020-05-13");
    Add_object_int(obj, "autoUpdateOption", r.auto_update);
    Add_object_int(obj, "routerAnalyticsOption", r.analytics);
    return obj;
}

// ---- CPU and memory ----------------------------------------------------------

cpu_counters cpu_counters_from_fields(const char fields[8][21]) {
    // Unsigned sums: corrupt counters wrap instead of overflowing.
    cpu_counters c{0, 0};
    for (int i = 0; i < 8; ++i) c.total += (uint64_t)strtoll(fields[i], nullptr, 10);
    c.idle = (uint64_t)strtoll(fields[3], nullptr, 10);
    return c;
}

float cpu_utilization_between(const cpu_counters& before, const cpu_counters& after) {
    // Differences as signed 64-bit values, as the kernel counters are.
    int64_t dt = (int64_t)(after.total - before.total);
    int64_t di = (int64_t)(after.idle - before.idle);
    int64_t busy = (int64_t)((uint64_t)dt - (uint64_t)di);
    return (float)((double)busy * 100 / (double)dt);
}

void format_utilization(float value, char* out, size_t size) {
    char text[20];
    snprintf(text, sizeof text, "%.2f%%", (double)value);
    strncpyt(out, text, size);
}

void collect_CpuUtilizationsInfo() {
    cpu_counters first = sample_cpu();
    sleep(1);
    cpu_counters second = sample_cpu();

    char text[20];
    format_utilization(cpu_utilization_between(first, second), text, sizeof text);
    strncpyt(cpu_utilization, text, sizeof cpu_utilization);
    DC_TRACE("collect_CpuUtilizationsInfo", 100, "Current CPU Utilization: %s\n", text);
    threashold_check_setting();
}

namespace {
// One reading of /proc/meminfo serves the figures and the log beside them.
std::string meminfo_snapshot;
}  // namespace

void meminfo_from_snapshot(char* mem_total, char* mem_free, char* mem_buff, char* mem_cache) {
    meminfo_from_stream(open_text(meminfo_snapshot).get(), mem_total, mem_free, mem_buff,
                        mem_cache);
}

mem_usage mem_usage_from_lines(const char* mem_total, const char* mem_free,
                               const char* mem_buff, const char* mem_cache) {
    long long total = meminfo_kb(mem_total);
    long long free_kb = meminfo_kb(mem_free);
    long long buffers = meminfo_kb(mem_buff);
    long long cached = meminfo_kb(mem_cache);
    long long available = free_kb + buffers + cached;

    mem_usage u{};
    snprintf(u.total, sizeof u.total, "%lld", total / 1024);
    snprintf(u.free, sizeof u.free, "%lld", available / 1024);
    snprintf(u.used, sizeof u.used, "%lld", (total - free_kb - buffers - cached) / 1024);
    float util = (float)(100 - (double)available * 100 / (double)total);
    format_utilization(util, u.utilization, sizeof u.utilization);
    return u;
}

void collect_MemoryUtilizationsInfo() {
    char t[64] = "", f[64] = "", b[64] = "", c[64] = "";
    meminfo_from_snapshot(t, f, b, c);
    mem_usage u = mem_usage_from_lines(t, f, b, c);
    DC_TRACE("collect_MemoryUtilizationsInfo", 162, "Current Memory Utilization: %s",
             u.utilization);
    strncpyt(memoryTotal, u.total, 31);
    strncpyt(memoryFree, u.free, 31);
    strncpyt(memoryUsed, u.used, 31);
    strncpyt(mem_Utilization, u.utilization, 31);
    threashold_check_setting();
}

void threashold_check_setting() {
    // The reader's buffer is overwritten by the next read: format at once.
    snprintf(cpuThresholdHigh, sizeof cpuThresholdHigh, "%s%%",
             get_second_object_string_from_file(kPolicyFile, "eventLogPolicy",
                                                "cpuThresholdHigh"));
    snprintf(memoryUtilizationsHigh, sizeof memoryUtilizationsHigh, "%s%%",
             get_second_object_string_from_file(kPolicyFile, "eventLogPolicy",
                                                "memoryUtilizationsHigh"));
}

// What a tool prints, or a system file holds, as a diagnostic member.
void add_program_log(json_object* root, const char* name, std::vector<std::string> argv) {
    get_full_content_from_text(program_output(std::move(argv), kDiagnosticLogMax), root, name);
}


json_object* get_event2Cpu_json() {
    DC_TRACE("get_event2Cpu_json", 175, "write cpu utilizations");
    collect_CpuUtilizationsInfo();

    json_object* info = json_object_new_object();
    Add_object_string(info, "cpuUtilizationsCurrent", cpu_utilization);
    Add_object_string(info, "cpuUtilizationsThresholdHigh", cpuThresholdHigh);
    add_program_log(info, "topLog", {"top", "-d", "10", "-n", "1", "-b"});
    return alarm_event("cpuUtilizationsAlarm", "Router's CPU utilizations exceeded threshold",
                       "cpuInfo", info);
}

json_object* get_event2Mem_json() {
    read_whole_file("/proc/meminfo", meminfo_snapshot, kDiagnosticLogMax);
    DC_TRACE("get_event2Mem_json", 199, "write memory utilizations");
    collect_MemoryUtilizationsInfo();

    json_object* info = json_object_new_object();
    Add_object_int(info, "memoryTotal", zol_atoi(memoryTotal));
    Add_object_int(info, "memoryFree", zol_atoi(memoryFree));
    Add_object_int(info, "memoryUsed", zol_atoi(memoryUsed));
    Add_object_string(info, "memoryUtilization", mem_Utilization);
    Add_object_string(info, "memoryThreshold", memoryUtilizationsHigh);
    get_full_content_from_text(meminfo_snapshot, info, "meminfoLog");
    get_full_content_from_file("/proc/slabinfo", info, "slabinfoLog");
    add_program_log(info, "psLog", {"ps"});
    return alarm_event("memoryUtilizationsAlarm", "Router's Memory utilizations are too high",
                       "memoryInfo", info);
}

// ---- kernel reboot -------------------------------------------------------------

int get_last_reboot_reason(const char* reason_file) {
    if (!file_exists(reason_file)) return zol_atoi(config_get("lastRebootReason"));
    char line[256] = "";
    if (FILE* fp = fopen(reason_file, "r")) {
        if (fgets(line, sizeof line, fp) == nullptr) line[0] = '\0';
        fclose(fp);
    }
    return (line[0] >= '0' && line[0] <= '9') ? zol_atoi(line) : 0;
}

json_object* get_event0_json() {
    DC_TRACE("get_event0_json", 235, "Collect kernelRebootinfo");

    long uptime = get_uptime();
    apply_time_zone();
    time_t boot = time(nullptr) - (time_t)uptime;
    struct tm local {};
    localtime_r(&boot, &local);
    char boot_text[64];
    snprintf(boot_text, sizeof boot_text, "%d/%d/%d %d:%d:%d", local.tm_year + 1900,
             local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);

    int reason = get_last_reboot_reason(kRebootReasonFile);

    json_object* obj = json_object_new_object();
    Add_object_string(obj, "lastRebootTimestamp", boot_text);
    Add_object_int(obj, "lastRebootReason", reason);
    if (reason == 1) {
        std::string log;
        if (read_log_text(kCrashLogFile, log)) {
            Add_object_string(obj, "kernelCrashLog", log.c_str());
        } else {
            char header[128];
            snprintf(header, sizeof header,
                     "==================Kernel crash log %s ===============", boot_text);
            Add_object_string(obj, "kernelCrashLog", header);
        }
    }
    return obj;
}

// ---- firmware upgrade ------------------------------------------------------------

const char* fw_event_type_text(const char* code) {
    return lookup_code(kFwEventTypes, code, "APP upgrade");
}

const char* fw_check_result_text(const char* code) {
    return lookup_code(kFwCheckResults, code, "");
}

void get_fwupgrade_log(json_object* object) {
    std::string log;
    read_log_text("/tmp/upgrade_fail_log", log);
    Add_object_string(object, "fwupgrade_Log", log.c_str());
}

json_object* get_firmwareUpgrade_json() {
    json_object* obj = json_object_new_object();
    Add_object_string(obj, "eventType", fw_event_type_text(config_get("fw_eventType")));
    Add_object_string(obj, "fwUpgradeTriggered",
                      config_match("fwupgartriggered", "0") ? "Not trigger" : "Triggered");
    char setting[1024];
    snprintf(setting, sizeof setting, "%s=%s", "auto_update", config_get("agree_auto_up_TC"));
    Add_object_string(obj, "firmwareConfigSetting", setting);
    Add_object_string(obj, "fwCheckedDate", get_check_time());
    Add_object_string(obj, "routerCurrentVersion", cat_file("/firmware_version"));
    Add_object_string(obj, "routerNewVersion", cat_file("/tmp/auto_version"));
    Add_object_string(obj, "fwCheckResult", fw_check_result_text(config_get("fwCheckresult")));
    Add_object_string(obj, "fwupgrade_Method", config_get("fwupgrade_Method"));
    get_fwupgrade_log(obj);
    return obj;
}
