// The system health and hardware items run in the simulated router: header,
// CPU and memory alarms, kernel reboot and firmware upgrade documents.
#include "sim_harness.h"

#include <cstdio>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

namespace {

using Names = std::vector<std::string>;

// Member names and JSON types of an object, both in document order.
void expect_shape(json_object* obj, const std::vector<std::pair<std::string, std::string>>& shape,
                  const std::string& where) {
    Names names, types, got_types;
    for (const auto& m : shape) {
        names.push_back(m.first);
        types.push_back(m.second);
    }
    ASSERT_EQ(member_names(obj), names) << where;
    for (const auto& n : names) got_types.push_back(json_type_name(json_at(obj, n)));
    EXPECT_EQ(got_types, types) << where;
}

void expect_triple(json_object* doc, const std::string& path) {
    json_object* arr = json_at(doc, path);
    ASSERT_EQ(json_type_name(arr), "array") << path;
    ASSERT_EQ(json_object_array_length(arr), 3u) << path;
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(json_type_name(json_at(arr, std::to_string(i))), "int") << path;
}

// The document opens with routerHardware in its fixed shape, then `items`.
void expect_document(json_object* doc, int event_type, const Names& items) {
    ASSERT_NE(doc, nullptr);
    Names top{"routerHardware"};
    top.insert(top.end(), items.begin(), items.end());
    EXPECT_EQ(member_names(doc), top);
    json_object* hw = json_at(doc, "routerHardware");
    expect_shape(hw,
                 {{"productFamily", "string"}, {"modelName", "string"}, {"hwRevision", "string"},
                  {"stage", "string"}, {"deviceInfo", "object"}, {"eventType", "int"},
                  {"timeStamp", "object"}, {"firmware", "object"}, {"tncVersion", "string"},
                  {"autoUpdateOption", "int"}, {"routerAnalyticsOption", "int"}},
                 "routerHardware");
    expect_shape(json_at(hw, "deviceInfo"), {{"macAddress", "string"}, {"serialNumber", "string"}},
                 "deviceInfo");
    EXPECT_EQ(member_names(json_at(hw, "timeStamp")), (Names{"date", "time"}));
    expect_triple(hw, "timeStamp.date");
    expect_triple(hw, "timeStamp.time");
    EXPECT_EQ(json_object_get_int(json_at(hw, "eventType")), event_type);
    EXPECT_EQ(json_str(hw, "productFamily"), "router");
    EXPECT_EQ(json_str(hw, "tncVersion"), "2020-05-13");
}

int int_at(json_object* doc, const std::string& path) {
    return json_object_get_int(json_at(doc, path));
}

// Seconds between the host's clock shifted by `offset` and a broken-down UTC
// time; small when the router reported that moment.
long seconds_from_now(int y, int mo, int d, int h, int mi, int s, long offset) {
    struct tm t {};
    t.tm_year = y - 1900;
    t.tm_mon = mo - 1;
    t.tm_mday = d;
    t.tm_hour = h;
    t.tm_min = mi;
    t.tm_sec = s;
    return (long)(time(nullptr) + offset - timegm(&t));
}

const char kStat1[] = "cpu  1000 0 500 8000 0 0 0 0 0 0\ncpu0 500 0 250 4000 0 0 0 0 0 0\n";
const char kStat2[] = "cpu  1030 0 520 8150 0 0 0 0 0 0\ncpu0 515 0 260 4075 0 0 0 0 0 0\n";
const char kMeminfo[] =
    "MemTotal:         262144 kB\nMemFree:           65536 kB\nMemAvailable:     120000 kB\n"
    "Buffers:            8192 kB\nCached:            57344 kB\nSwapCached:            0 kB\n";
const char kSlabinfo[] = "slabinfo - version: 2.1\ndentry 6630 6678 136 29 1\n";

}  // namespace

TEST(GenericItems, HardwareHeaderDocument) {
    REQUIRE_SIM();
    Scenario sc;
    sc.files["/module_name"] = "xz12\r\nsecond line\n";
    sc.files["/tmp/board_hw_id"] = "XZ12-100NAS\n";
    sc.files["/proc/nvram/boardid"] = "U12H489T00_XZ\n";
    sc.store["aws_stage"] = "QA";
    sc.store["agree_auto_up_TC"] = "yes";
    sc.store["time_zone"] = "ABC-5";  // five hours east of UTC
    SimResult r = run_in_router({"data_collector", "eventtype4"}, sc);
    EXPECT_EQ(r.status, 0) << r.err;
    SimJson doc = r.json("/tmp/aws_json_eventtype4");
    expect_document(doc.get(), 1, {});
    json_object* hw = json_at(doc.get(), "routerHardware");
    EXPECT_EQ(json_str(hw, "modelName"), "XZ12");
    EXPECT_EQ(json_str(hw, "hwRevision"), "XZ12-100NAS,U12H489T00_XZ");
    EXPECT_EQ(json_str(hw, "stage"), "prod");
    EXPECT_EQ(json_str(hw, "deviceInfo.macAddress"), "A42B8C5E71D1");
    EXPECT_EQ(int_at(hw, "autoUpdateOption"), 0);
    EXPECT_EQ(int_at(hw, "routerAnalyticsOption"), 1);
    long skew = seconds_from_now(
        int_at(hw, "timeStamp.date.0"), int_at(hw, "timeStamp.date.1"),
        int_at(hw, "timeStamp.date.2"), int_at(hw, "timeStamp.time.0"),
        int_at(hw, "timeStamp.time.1"), int_at(hw, "timeStamp.time.2"), 5 * 3600);
    EXPECT_GE(skew, 0);
    EXPECT_LT(skew, 60);

    // Analytics declined: identity only as digests; no board files at all.
    Scenario anon;
    anon.store["agree_collect_TC"] = "0";
    anon.store["agree_auto_up_TC"] = "0";
    anon.store["aws_stage"] = "dev";
    anon.files["/tmp/Seria_Number"] = "ABC123\n";
    anon.netifs = {"br0 A0:B1:C2:D3:E4:F5 192.168.1.1/24"};
    anon.remove = {"/tmp/board_hw_id", "/proc/nvram/boardid"};
    r = run_in_router({"data_collector", "eventtype4"}, anon);
    EXPECT_EQ(r.status, 0) << r.err;
    doc = r.json("/tmp/aws_json_eventtype4");
    expect_document(doc.get(), 1, {});
    hw = json_at(doc.get(), "routerHardware");
    EXPECT_EQ(json_str(hw, "deviceInfo.serialNumber"), "bbf2dead374654cbb32a917afd236656");
    EXPECT_EQ(json_str(hw, "deviceInfo.macAddress"), "6d3a20af390e079ede8ee0ae4591400c");
    EXPECT_EQ(json_str(hw, "hwRevision"), ",");
    EXPECT_EQ(json_str(hw, "stage"), "dev");
    EXPECT_EQ(int_at(hw, "autoUpdateOption"), 2);
    EXPECT_EQ(int_at(hw, "routerAnalyticsOption"), 2);
    EXPECT_FALSE(r.exists("/tmp/router-analytics/zol_md5_code"));
}

TEST(GenericItems, CpuAndMemoryDocument) {
    REQUIRE_SIM();
    Scenario sc;
    sc.sequences["/proc/stat"] = {kStat1, kStat2};
    sc.files["/proc/meminfo"] = kMeminfo;
    sc.files["/proc/slabinfo"] = kSlabinfo;
    sc.files["/usr/bin/top"] = "#!/bin/sh\necho \"top $*\"\necho 'Mem: 1K used'\n";
    sc.files["/usr/bin/ps"] = "#!/bin/sh\necho '  PID USER       VSZ STAT COMMAND'\n";
    SimResult r = run_in_router({"data_collector", "eventtype2"}, sc);
    EXPECT_EQ(r.status, 0) << r.err;
    SimJson doc = r.json("/tmp/aws_json_eventtype2");
    expect_document(doc.get(), 2, {"cpuUtilizations", "memoryUsage"});

    json_object* cpu = json_at(doc.get(), "cpuUtilizations");
    expect_shape(cpu, {{"cpuUtilizationsAlarm", "object"}, {"cpuInfo", "object"}}, "cpu");
    EXPECT_EQ(member_names(json_at(cpu, "cpuUtilizationsAlarm")), (Names{"alarmReason"}));
    EXPECT_EQ(json_str(cpu, "cpuUtilizationsAlarm.alarmReason"),
              "Router's CPU utilizations exceeded threshold");
    expect_shape(json_at(cpu, "cpuInfo"),
                 {{"cpuUtilizationsCurrent", "string"},
                  {"cpuUtilizationsThresholdHigh", "string"},
                  {"topLog", "string"}},
                 "cpuInfo");
    EXPECT_EQ(json_str(cpu, "cpuInfo.cpuUtilizationsCurrent"), "25.00%");
    EXPECT_EQ(json_str(cpu, "cpuInfo.cpuUtilizationsThresholdHigh"), "90%");
    EXPECT_EQ(json_str(cpu, "cpuInfo.topLog"), "top -d 10 -n 1 -b\nMem: 1K used\n");

    json_object* mem = json_at(doc.get(), "memoryUsage");
    expect_shape(mem, {{"memoryUtilizationsAlarm", "object"}, {"memoryInfo", "object"}}, "mem");
    EXPECT_EQ(json_str(mem, "memoryUtilizationsAlarm.alarmReason"),
              "Router's Memory utilizations are too high");
    json_object* info = json_at(mem, "memoryInfo");
    expect_shape(info,
                 {{"memoryTotal", "int"}, {"memoryFree", "int"}, {"memoryUsed", "int"},
                  {"memoryUtilization", "string"}, {"memoryThreshold", "string"},
                  {"meminfoLog", "string"}, {"slabinfoLog", "string"}, {"psLog", "string"}},
                 "memoryInfo");
    EXPECT_EQ(int_at(info, "memoryTotal"), 256);
    EXPECT_EQ(int_at(info, "memoryFree"), 128);
    EXPECT_EQ(int_at(info, "memoryUsed"), 128);
    EXPECT_EQ(json_str(info, "memoryUtilization"), "50.00%");
    EXPECT_EQ(json_str(info, "memoryThreshold"), "85%");
    EXPECT_EQ(json_str(info, "meminfoLog"), kMeminfo);
    EXPECT_EQ(json_str(info, "slabinfoLog"), kSlabinfo);
    EXPECT_EQ(json_str(info, "psLog"), "  PID USER       VSZ STAT COMMAND\n");

    for (const char* scratch : {"/tmp/toplog", "/tmp/meminfo", "/tmp/slabinfo", "/tmp/pslog"})
        EXPECT_FALSE(r.exists(scratch)) << scratch;
}

TEST(GenericItems, CpuAndMemoryFallbacks) {
    REQUIRE_SIM();
    // No aggregate cpu line, a policy cut short, no top on the router.
    Scenario sc;
    sc.files["/proc/stat"] = "intr 12 0 0\nctxt 99\n";
    sc.files["/tmp/router-analytics/RAE_Policy.json"] =
        "{\"eventLogPolicy\": {\"cpuThresholdHigh\": 9";
    sc.remove = {"/usr/bin/top"};
    SimResult r = run_in_router({"data_collector", "cpu"}, sc);
    EXPECT_EQ(r.status, 0) << r.err;
    SimJson doc = r.json("/tmp/aws_json_cpu");
    expect_document(doc.get(), 2, {"cpuUtilizations"});
    std::string current = json_str(doc.get(), "cpuUtilizations.cpuInfo.cpuUtilizationsCurrent");
    EXPECT_TRUE(current == "nan%" || current == "-nan%") << current;
    EXPECT_EQ(json_str(doc.get(), "cpuUtilizations.cpuInfo.cpuUtilizationsThresholdHigh"), "%");
    EXPECT_EQ(json_str(doc.get(), "cpuUtilizations.cpuInfo.topLog"), "");
    EXPECT_FALSE(r.exists("/tmp/toplog"));

    // Policy without the members, no slabinfo, a runaway meminfo without
    // MemTotal: the log is cut at 1 MiB and the figures follow the float rules.
    Scenario mem;
    mem.files["/tmp/router-analytics/RAE_Policy.json"] = "{\"eventLogPolicy\": {}}";
    mem.remove = {"/proc/slabinfo"};
    std::string meminfo = "MemFree:             100 kB\n";
    while (meminfo.size() < (3u << 20)) meminfo += "Junk:                  1 kB\n";
    mem.files["/proc/meminfo"] = meminfo;
    r = run_in_router({"data_collector", "memory"}, mem);
    EXPECT_EQ(r.status, 0) << r.err;
    doc = r.json("/tmp/aws_json_memory");
    expect_document(doc.get(), 2, {"memoryUsage"});
    json_object* info = json_at(doc.get(), "memoryUsage.memoryInfo");
    EXPECT_EQ(int_at(info, "memoryTotal"), 0);
    EXPECT_EQ(json_str(info, "memoryUtilization"), "-inf%");
    EXPECT_EQ(json_str(info, "memoryThreshold"), " %");
    EXPECT_EQ(json_str(info, "slabinfoLog"), "");
    EXPECT_EQ(json_str(info, "meminfoLog"), meminfo.substr(0, 1u << 20));
    for (const char* scratch : {"/tmp/meminfo", "/tmp/slabinfo", "/tmp/pslog"})
        EXPECT_FALSE(r.exists(scratch)) << scratch;
}

TEST(GenericItems, KernelRebootDocument) {
    REQUIRE_SIM();
    Scenario sc;
    sc.uptime = 3600;
    sc.store["time_zone"] = "UTC0";
    sc.files["/tmp/reboot_reason"] = "1\n";
    sc.files["/tmp/crash_aws_log"] = "Unable to handle kernel paging request\nPC is at 0x0\n";
    SimResult r = run_in_router({"data_collector", "eventtype0"}, sc);
    EXPECT_EQ(r.status, 0) << r.err;
    SimJson doc = r.json("/tmp/aws_json_eventtype0");
    expect_document(doc.get(), 0, {"kernelReboot"});
    json_object* kr = json_at(doc.get(), "kernelReboot");
    expect_shape(kr,
                 {{"lastRebootTimestamp", "string"}, {"lastRebootReason", "int"},
                  {"kernelCrashLog", "string"}},
                 "kernelReboot");
    EXPECT_EQ(int_at(kr, "lastRebootReason"), 1);
    EXPECT_EQ(json_str(kr, "kernelCrashLog"), sc.files["/tmp/crash_aws_log"]);
    std::string stamp = json_str(kr, "lastRebootTimestamp");
    int y, mo, d, h, mi, s;
    ASSERT_EQ(sscanf(stamp.c_str(), "%d/%d/%d %d:%d:%d", &y, &mo, &d, &h, &mi, &s), 6) << stamp;
    long skew = seconds_from_now(y, mo, d, h, mi, s, -3600);
    EXPECT_GE(skew, -5);
    EXPECT_LT(skew, 60);

    // Crash without a saved log: the header line with the boot time.
    sc.files.erase("/tmp/crash_aws_log");
    r = run_in_router({"data_collector", "eventtype0"}, sc);
    doc = r.json("/tmp/aws_json_eventtype0");
    ASSERT_TRUE(doc);
    stamp = json_str(doc.get(), "kernelReboot.lastRebootTimestamp");
    EXPECT_EQ(json_str(doc.get(), "kernelReboot.kernelCrashLog"),
              "==================Kernel crash log " + stamp + " ===============");

    // A reason file that does not start with a digit is 0; the store is
    // only asked when the file is missing.
    for (std::string junk : {std::string("x3\n"), std::string("\x01\xff\0" "1\n", 5)}) {
        Scenario bad;
        bad.files["/tmp/reboot_reason"] = junk;
        bad.store["lastRebootReason"] = "1";
        r = run_in_router({"data_collector", "eventtype0"}, bad);
        EXPECT_EQ(r.status, 0) << r.err;
        doc = r.json("/tmp/aws_json_eventtype0");
        ASSERT_TRUE(doc);
        EXPECT_EQ(member_names(json_at(doc.get(), "kernelReboot")),
                  (Names{"lastRebootTimestamp", "lastRebootReason"}));
        EXPECT_EQ(int_at(doc.get(), "kernelReboot.lastRebootReason"), 0);
    }

    // Reason from the store, with a crash log of several MB.
    Scenario big;
    big.remove = {"/tmp/reboot_reason"};
    big.store["lastRebootReason"] = "1";
    big.files["/tmp/crash_aws_log"] = std::string(4u << 20, 'c');
    r = run_in_router({"data_collector", "eventtype0"}, big);
    EXPECT_EQ(r.status, 0) << r.err;
    doc = r.json("/tmp/aws_json_eventtype0");
    ASSERT_TRUE(doc);
    EXPECT_EQ(int_at(doc.get(), "kernelReboot.lastRebootReason"), 1);
    EXPECT_EQ(json_str(doc.get(), "kernelReboot.kernelCrashLog").size(), 1u << 20);
    EXPECT_TRUE(r.exists("/tmp/crash_aws_log"));  // the firmware's file stays
}

TEST(GenericItems, FirmwareUpgradeDocument) {
    REQUIRE_SIM();
    Scenario sc;
    sc.uptime = 7200;
    sc.store["time_zone"] = "UTC0";
    sc.store["check_time"] = "3600";  // seconds since boot
    sc.store["fw_eventType"] = "2";
    sc.store["fwCheckresult"] = "3";
    sc.store["fwupgrade_Method"] = "auto";
    sc.unset_keys = {"fwupgartriggered"};
    sc.files["/firmware_version"] = "V1.0.4.32\n";
    sc.files["/tmp/auto_version"] = "V1.0.4.36\nignored\n";
    sc.files["/tmp/upgrade_fail_log"] = "download: checksum mismatch\ngiving up\n";
    SimResult r = run_in_router({"data_collector", "firmware"}, sc);
    EXPECT_EQ(r.status, 0) << r.err;
    SimJson doc = r.json("/tmp/aws_json_firmware");
    expect_document(doc.get(), 2, {"firmwareUpgradeAnalytics"});
    json_object* fw = json_at(doc.get(), "firmwareUpgradeAnalytics");
    expect_shape(fw,
                 {{"eventType", "string"}, {"fwUpgradeTriggered", "string"},
                  {"firmwareConfigSetting", "string"}, {"fwCheckedDate", "string"},
                  {"routerCurrentVersion", "string"}, {"routerNewVersion", "string"},
                  {"fwCheckResult", "string"}, {"fwupgrade_Method", "string"},
                  {"fwupgrade_Log", "string"}},
                 "firmwareUpgradeAnalytics");
    EXPECT_EQ(json_str(fw, "eventType"), "Daily check");
    EXPECT_EQ(json_str(fw, "fwUpgradeTriggered"), "Triggered");
    EXPECT_EQ(json_str(fw, "firmwareConfigSetting"), "auto_update=1");
    EXPECT_EQ(json_str(fw, "routerCurrentVersion"), "V1.0.4.32");
    EXPECT_EQ(json_str(fw, "routerNewVersion"), "V1.0.4.36");
    EXPECT_EQ(json_str(fw, "fwCheckResult"), "Firmware download fail");
    EXPECT_EQ(json_str(fw, "fwupgrade_Method"), "auto");
    EXPECT_EQ(json_str(fw, "fwupgrade_Log"), "download: checksum mismatch\ngiving up\n");
    // The check moment (boot + 3600 s) is written back converted.
    std::string checked = json_str(fw, "fwCheckedDate");
    EXPECT_EQ(r.store("check_time"), checked);
    int y, mo, d, h, mi, s;
    ASSERT_EQ(sscanf(checked.c_str(), "%d_%d.%d_%d:%d:%d", &y, &mo, &d, &h, &mi, &s), 6);
    long skew = seconds_from_now(y, mo, d, h, mi, s, -3600);
    EXPECT_GE(skew, -5);
    EXPECT_LT(skew, 60);

    // Codes outside the tables, unset keys, no files.
    Scenario other;
    other.store["fw_eventType"] = "00";
    other.store["fwupgartriggered"] = "0";
    other.store["fwCheckresult"] = "12";
    other.store["check_time"] = "2024_3.7_9:5:0";
    other.unset_keys = {"fwupgrade_Method", "agree_auto_up_TC"};
    other.remove = {"/tmp/upgrade_fail_log", "/tmp/auto_version"};
    r = run_in_router({"data_collector", "firmware"}, other);
    EXPECT_EQ(r.status, 0) << r.err;
    doc = r.json("/tmp/aws_json_firmware");
    ASSERT_TRUE(doc);
    fw = json_at(doc.get(), "firmwareUpgradeAnalytics");
    EXPECT_EQ(json_str(fw, "eventType"), "APP upgrade");
    EXPECT_EQ(json_str(fw, "fwCheckResult"), "");
    EXPECT_EQ(json_str(fw, "fwUpgradeTriggered"), "Not trigger");
    EXPECT_EQ(json_str(fw, "firmwareConfigSetting"), "auto_update=");
    EXPECT_EQ(json_str(fw, "fwCheckedDate"), "2024_3.7_9:5:0");
    EXPECT_EQ(json_str(fw, "routerNewVersion"), "");
    EXPECT_EQ(json_str(fw, "fwupgrade_Method"), "");
    EXPECT_EQ(json_str(fw, "fwupgrade_Log"), "");
    EXPECT_EQ(r.store("check_time"), "2024_3.7_9:5:0");
}
