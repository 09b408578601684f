// The system health and hardware items run in the simulated router: header,
// CPU and memory alarms, kernel reboot and firmware upgrade documents.
#include "sim_harness.h"

#include <cstdio>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

namespace {

std::string shape(json_object* o) { return json_shape(o); }

const std::string kHardware =
    "{routerHardware:{productFamily:string,modelName:string,hwRevision:string,stage:string,"
    "deviceInfo:{macAddress:string,serialNumber:string},eventType:int,"
    "timeStamp:{date:[int,int,int],time:[int,int,int]},"
    "firmware:{fwVersion:string,fwLastUpdate:string,fwLastChecked:string},"
    "tncVersion:string,autoUpdateOption:int,routerAnalyticsOption:int}";
const std::string kCpu =
    "cpuUtilizations:{cpuUtilizationsAlarm:{alarmReason:string},cpuInfo:{"
    "cpuUtilizationsCurrent:string,cpuUtilizationsThresholdHigh:string,topLog:string}}";
const std::string kMemory =
    "memoryUsage:{memoryUtilizationsAlarm:{alarmReason:string},memoryInfo:{memoryTotal:int,"
    "memoryFree:int,memoryUsed:int,memoryUtilization:string,memoryThreshold:string,"
    "meminfoLog:string,slabinfoLog:string,psLog:string}}";
const std::string kFirmware =
    "firmwareUpgradeAnalytics:{eventType:string,fwUpgradeTriggered:string,"
    "firmwareConfigSetting:string,fwCheckedDate:string,routerCurrentVersion:string,"
    "routerNewVersion:string,fwCheckResult:string,fwupgrade_Method:string,fwupgrade_Log:string}";
const std::string kReboot = "kernelReboot:{lastRebootTimestamp:string,lastRebootReason:int";
const std::string kRebootLog = kReboot + ",kernelCrashLog:string}";

// One run of an item and its document, checked whole: routerHardware first
// with the item's eventType, then the members described by `items`. The host's
// clock is read around the run.
struct ItemRun {
    time_t before, after;
    SimResult r;
    SimJson doc;
    json_object* at(const std::string& path) const { return json_at(doc.get(), path); }
};

ItemRun run_item(const std::string& item, const Scenario& sc, int event_type,
                 const std::string& items, std::vector<std::string> argv = {}) {
    ItemRun run{time(nullptr), 0, {}, nullptr};
    run.r = run_in_router(argv.empty() ? std::vector<std::string>{"data_collector", item} : argv,
                          sc);
    run.after = time(nullptr);
    EXPECT_EQ(run.r.status, 0) << run.r.err;
    run.doc = run.r.json("/tmp/aws_json_" + item);
    EXPECT_EQ(shape(run.doc.get()), kHardware + (items.empty() ? "" : "," + items) + "}");
    EXPECT_EQ(json_object_get_int(run.at("routerHardware.eventType")), event_type) << item;
    return run;
}

// Members by dotted path, compared as text (ints too; shape() checks types).
using Members = std::vector<std::pair<std::string, std::string>>;

void expect_members(json_object* obj, const Members& want) {
    for (const auto& [path, value] : want) {
        json_object* v = json_at(obj, path);
        EXPECT_EQ(v ? json_object_get_string(v) : "<absent>", value) << path;
    }
}

// A moment the router printed, read as UTC, within [lo, hi]; the slack is for
// the whole seconds lost on each of the two clocks the router subtracts.
void expect_moment(const std::string& text, const char* format, time_t lo, time_t hi) {
    struct tm t {};
    ASSERT_NE(strptime(text.c_str(), format, &t), nullptr) << text;
    EXPECT_GE(timegm(&t), lo - 3) << text;
    EXPECT_LE(timegm(&t), hi + 1) << text;
}

const char kMeminfo[] =
    "MemTotal: 262144 kB\nMemFree: 65536 kB\nBuffers: 8192 kB\nCached: 57344 kB\n";
const char kSlabinfo[] = "slabinfo - version: 2.1\ndentry 6630 6678 136 29 1\n";

}  // namespace

TEST(GenericItems, HardwareHeaderDocument) {
    REQUIRE_SIM();
    Scenario sc;
    sc.files["/module_name"] = "xz12\r\nsecond line\n";
    // ABC-5: five hours east of UTC.
    sc.store = {{"aws_stage", "QA"}, {"agree_auto_up_TC", "yes"}, {"time_zone", "ABC-5"}};
    ItemRun run = run_item("eventtype4", sc, 1, "");
    json_object* hw = run.at("routerHardware");
    expect_members(hw, {{"modelName", "XZ12"}, {"hwRevision", "ZT500-100NAS,U12H489T00_ZT"},
                        {"stage", "prod"}, {"deviceInfo.macAddress", "A42B8C5E71D1"},
                        {"autoUpdateOption", "0"}});
    expect_moment(json_object_to_json_string_ext(json_at(hw, "timeStamp"), JSON_C_TO_STRING_PLAIN),
                  "{\"date\":[%Y,%m,%d],\"time\":[%H,%M,%S]}", run.before + 5 * 3600,
                  run.after + 5 * 3600);

    // Analytics declined: identity only as digests; no board files at all.
    Scenario anon;
    anon.store = {{"agree_collect_TC", "0"}, {"agree_auto_up_TC", "0"}};
    anon.unset_keys = {"aws_stage"};
    anon.files["/tmp/Seria_Number"] = "ABC123\n";
    anon.netifs = {"br0 A0:B1:C2:D3:E4:F5 192.168.1.1/24"};
    anon.remove = {"/tmp/board_hw_id", "/proc/nvram/boardid"};
    run = run_item("eventtype4", anon, 1, "");
    expect_members(run.at("routerHardware"),
                   {{"deviceInfo.serialNumber", "bbf2dead374654cbb32a917afd236656"},
                    {"deviceInfo.macAddress", "6d3a20af390e079ede8ee0ae4591400c"},
                    {"hwRevision", ","}, {"stage", "prod"}, {"autoUpdateOption", "2"},
                    {"routerAnalyticsOption", "2"}});
    EXPECT_FALSE(run.r.exists("/tmp/router-analytics/zol_md5_code"));
}

TEST(GenericItems, CpuAndMemoryDocument) {
    REQUIRE_SIM();
    Scenario sc;
    sc.sequences["/proc/stat"] = {"cpu  1000 0 500 8000 0 0 0 0 0 0\n",
                                  "cpu  1030 0 520 8150 0 0 0 0 0 0\n"};
    sc.files = {{"/proc/meminfo", kMeminfo}, {"/proc/slabinfo", kSlabinfo},
                {"/usr/bin/top", "#!/bin/sh\necho \"top $*\"\n"},
                {"/usr/bin/ps", "#!/bin/sh\necho '  PID USER'\n"}};
    ItemRun run = run_item("eventtype2", sc, 2, kCpu + "," + kMemory);
    expect_members(run.at("cpuUtilizations"),
                   {{"cpuUtilizationsAlarm.alarmReason",
                     "Router's CPU utilizations exceeded threshold"},
                    {"cpuInfo.cpuUtilizationsCurrent", "25.00%"},
                    {"cpuInfo.cpuUtilizationsThresholdHigh", "90%"},
                    {"cpuInfo.topLog", "top -d 10 -n 1 -b\n"}});
    expect_members(run.at("memoryUsage"),
                   {{"memoryUtilizationsAlarm.alarmReason",
                     "Router's Memory utilizations are too high"},
                    {"memoryInfo.memoryUtilization", "50.00%"},
                    {"memoryInfo.memoryThreshold", "85%"}, {"memoryInfo.meminfoLog", kMeminfo},
                    {"memoryInfo.slabinfoLog", kSlabinfo}, {"memoryInfo.psLog", "  PID USER\n"}});
    for (const char* scratch : {"/tmp/toplog", "/tmp/meminfo", "/tmp/slabinfo", "/tmp/pslog"})
        EXPECT_FALSE(run.r.exists(scratch)) << scratch;
}

TEST(GenericItems, CpuAndMemoryFallbacks) {
    REQUIRE_SIM();
    const std::string policy = "/tmp/router-analytics/RAE_Policy.json";
    // No aggregate cpu line, a policy cut short, no top on the router.
    Scenario sc;
    sc.files = {{"/proc/stat", "intr 12 0 0\nctxt 99\n"},
                {policy, "{\"eventLogPolicy\": {\"cpuThresholdHigh\": 9"}};
    sc.remove = {"/usr/bin/top"};
    ItemRun run = run_item("cpu", sc, 2, kCpu);
    json_object* info = run.at("cpuUtilizations.cpuInfo");
    EXPECT_NE(json_str(info, "cpuUtilizationsCurrent").find("nan%"), std::string::npos);
    expect_members(info, {{"cpuUtilizationsThresholdHigh", "%"}, {"topLog", ""}});

    // A runaway meminfo without MemTotal is cut at 1 MiB; no slabinfo; the
    // policy missing, or without the member (its blank "not found" text).
    std::string meminfo = "MemFree:             100 kB\n";
    while (meminfo.size() < (3u << 20)) meminfo += "Junk:                  1 kB\n";
    for (const char* threshold : {"%", " %"}) {
        Scenario mem;
        mem.files["/proc/meminfo"] = meminfo;
        mem.remove = {"/proc/slabinfo"};
        if (threshold[0] == '%') mem.remove.push_back(policy);
        else mem.files[policy] = "{\"eventLogPolicy\": {}}";
        run = run_item("memory", mem, 2, kMemory);
        expect_members(run.at("memoryUsage.memoryInfo"),
                       {{"memoryTotal", "0"}, {"memoryUtilization", "-inf%"},
                        {"memoryThreshold", threshold}, {"slabinfoLog", ""},
                        {"meminfoLog", meminfo.substr(0, 1u << 20)}});
    }
}

TEST(GenericItems, KernelRebootDocument) {
    REQUIRE_SIM();
    Scenario sc;
    sc.uptime = 3600;
    sc.store["time_zone"] = "UTC0";
    sc.files = {{"/tmp/reboot_reason", "1\n"},
                {"/tmp/crash_aws_log", "Unable to handle kernel paging request\nPC is at 0x0\n"}};
    // The boot moment by the router's boot clock, which its sysinfo() shares
    // (its /proc/uptime is a fixture); perl may be missing from the router.
    const char* script =
        "data_collector eventtype0 && { perl -MTime::HiRes=time,clock_gettime,CLOCK_BOOTTIME "
        "-e 'printf \"boot %.0f\\n\", time - clock_gettime(CLOCK_BOOTTIME)' 2>/dev/null || :; }";
    ItemRun run = run_item("eventtype0", sc, 0, kRebootLog, {"sh", "-c", script});
    expect_members(run.at("kernelReboot"),
                   {{"lastRebootReason", "1"}, {"kernelCrashLog", sc.files["/tmp/crash_aws_log"]}});
    // Failing that, the router booted `uptime` before it was started.
    long boot = 0;
    if (sscanf(run.r.out.c_str(), "boot %ld", &boot) == 1) run.before = run.after = boot + 3600;
    expect_moment(json_str(run.at("kernelReboot"), "lastRebootTimestamp"), "%Y/%m/%d %H:%M:%S",
                  run.before - 3600, run.after - 3600);

    // Crash without a saved log: the header line with the boot time.
    sc.files.erase("/tmp/crash_aws_log");
    run = run_item("eventtype0", sc, 0, kRebootLog);
    EXPECT_EQ(json_str(run.doc.get(), "kernelReboot.kernelCrashLog"),
              "==================Kernel crash log " +
                  json_str(run.doc.get(), "kernelReboot.lastRebootTimestamp") + " ===============");

    // A reason file that does not start with a digit is 0; the store is only
    // asked when the file is missing.
    Scenario bad;
    bad.files["/tmp/reboot_reason"] = "x3\n";
    bad.store["lastRebootReason"] = "1";
    run = run_item("eventtype0", bad, 0, kReboot + "}");
    expect_members(run.at("kernelReboot"), {{"lastRebootReason", "0"}});

    // Reason from the store, with a crash log of several MB.
    bad.files = {{"/tmp/crash_aws_log", std::string(4u << 20, 'c')}};
    bad.remove = {"/tmp/reboot_reason"};
    run = run_item("eventtype0", bad, 0, kRebootLog);
    expect_members(run.at("kernelReboot"), {{"lastRebootReason", "1"}});
    EXPECT_EQ(json_str(run.doc.get(), "kernelReboot.kernelCrashLog").size(), 1u << 20);
    EXPECT_TRUE(run.r.exists("/tmp/crash_aws_log"));  // the firmware's file stays
}

TEST(GenericItems, FirmwareUpgradeDocument) {
    REQUIRE_SIM();
    // The sample router's last check: daily (2), the download failed (3).
    Scenario sc;
    sc.uptime = 7200;
    sc.store = {{"time_zone", "UTC0"}, {"check_time", "3600"}};  // seconds since boot
    sc.unset_keys = {"fwupgartriggered"};
    sc.files["/tmp/auto_version"] = "V1.0.4.36\nignored\n";
    ItemRun run = run_item("firmware", sc, 2, kFirmware);
    json_object* fw = run.at("firmwareUpgradeAnalytics");
    expect_members(fw, {{"eventType", "Daily check"}, {"fwUpgradeTriggered", "Triggered"},
                        {"firmwareConfigSetting", "auto_update=1"},
                        {"routerCurrentVersion", "V1.0.4.32"}, {"routerNewVersion", "V1.0.4.36"},
                        {"fwCheckResult", "Firmware download fail"}, {"fwupgrade_Method", "auto"},
                        {"fwupgrade_Log", run.r.file("/tmp/upgrade_fail_log")}});
    // The check moment (boot + 3600 s) is written back converted.
    EXPECT_EQ(run.r.store("check_time"), json_str(fw, "fwCheckedDate"));
    expect_moment(json_str(fw, "fwCheckedDate"), "%Y_%m.%d_%H:%M:%S", run.before - 3600,
                  run.after - 3600);

    // Codes outside the tables, unset keys, no files; the header follows the
    // store's stage whatever the item.
    Scenario other;
    other.store = {{"aws_stage", "dev"}, {"fw_eventType", "00"}, {"fwupgartriggered", "0"},
                   {"fwCheckresult", "12"}, {"check_time", "2024_3.7_9:5:0"}};
    other.unset_keys = {"fwupgrade_Method", "agree_auto_up_TC"};
    other.remove = {"/tmp/upgrade_fail_log", "/tmp/auto_version"};
    run = run_item("firmware", other, 2, kFirmware);
    EXPECT_EQ(run.r.store("check_time"), "2024_3.7_9:5:0");
    EXPECT_EQ(json_str(run.doc.get(), "routerHardware.stage"), "dev");
    expect_members(run.at("firmwareUpgradeAnalytics"),
                   {{"eventType", "APP upgrade"}, {"fwCheckResult", ""},
                    {"fwUpgradeTriggered", "Not trigger"},
                    {"firmwareConfigSetting", "auto_update="}, {"fwCheckedDate", "2024_3.7_9:5:0"},
                    {"routerNewVersion", ""}, {"fwupgrade_Method", ""}, {"fwupgrade_Log", ""}});
}
