// The system health and hardware items in the simulated router, where they
// differ from the sample router's golden documents: header identity and
// clock, CPU and memory fallbacks, kernel reboot and firmware upgrade.
#include "sim_test.h"

#include <cstdio>
#include <ctime>

// A moment the router printed, read as UTC, within [lo, hi]; the slack is for
// the whole seconds lost on each of the two clocks the router subtracts.
static void expect_moment(const std::string& text, const char* format, time_t lo, time_t hi) {
    struct tm t {};
    ASSERT_NE(strptime(text.c_str(), format, &t), nullptr) << text;
    EXPECT_GE(timegm(&t), lo - 3) << text;
    EXPECT_LE(timegm(&t), hi + 1) << text;
}

using GenericItems = SimTest;

TEST_F(GenericItems, HardwareHeaderDocument) {
    Scenario sc;
    sc.files["/module_name"] = "xz12\r\nsecond line\n";
    // ABC-5: five hours east of UTC.
    sc.store = {{"aws_stage", "QA"}, {"agree_auto_up_TC", "yes"}, {"time_zone", "ABC-5"}};
    time_t before = time(nullptr);
    ItemRun run = run_item("eventtype4", sc);
    time_t after = time(nullptr);
    json_object* hw = run.at("routerHardware");
    expect_members(hw, {{"modelName", "XZ12"}, {"stage", "prod"}, {"autoUpdateOption", "0"}});
    expect_moment(json_text(hw, "timeStamp"), "{\"date\":[%Y,%m,%d],\"time\":[%H,%M,%S]}",
                  before + 5 * 3600, after + 5 * 3600);

    // Analytics declined: identity only as digests.
    Scenario anon;
    anon.store = {{"agree_collect_TC", "0"}, {"agree_auto_up_TC", "0"}};
    anon.unset_keys = {"aws_stage"};
    anon.files["/tmp/Seria_Number"] = "ABC123\n";
    anon.netifs = {"br0 A0:B1:C2:D3:E4:F5 192.168.1.1/24"};
    run = run_item("eventtype4", anon);
    expect_members(run.at("routerHardware"),
                   {{"deviceInfo.serialNumber", "bbf2dead374654cbb32a917afd236656"},
                    {"deviceInfo.macAddress", "6d3a20af390e079ede8ee0ae4591400c"},
                    {"stage", "prod"}, {"autoUpdateOption", "2"},
                    {"routerAnalyticsOption", "2"}});
    EXPECT_FALSE(run.r.exists("/tmp/router-analytics/zol_md5_code"));

    // No board files, no LAN interface: every header member falls back.
    Scenario bare;
    bare.remove = {"/module_name", "/etc/init.d/model_check.sh", "/firmware_version",
                   "/tmp/board_hw_id", "/proc/nvram/boardid", "/tmp/Seria_Number"};
    bare.netifs = {"!br0"};
    expect_members(run_item("eventtype4", bare).at("routerHardware"),
                   {{"hwRevision", ","}, {"modelName", ""}, {"deviceInfo.macAddress", ""}});
}

TEST_F(GenericItems, CpuAndMemoryFallbacks) {
    const std::string policy = "/tmp/router-analytics/RAE_Policy.json";
    // No aggregate cpu line, a policy cut short, no top on the router.
    Scenario sc;
    sc.files = {{"/proc/stat", "intr 12 0 0\nctxt 99\n"},
                {policy, "{\"eventLogPolicy\": {\"cpuThresholdHigh\": 9"}};
    sc.remove = {"/usr/bin/top"};
    ItemRun run = run_item("cpu", sc);
    json_object* info = run.at("cpuUtilizations.cpuInfo");
    EXPECT_NE(json_str(info, "cpuUtilizationsCurrent").find("nan%"), std::string::npos);
    expect_members(info, {{"cpuUtilizationsThresholdHigh", "%"}, {"topLog", ""}});

    // A runaway meminfo without MemTotal is cut at 1 MiB; no slabinfo; the
    // policy missing, or without the member (its blank "not found" text).
    // Top is asked for one batch snapshot.
    std::string meminfo = "MemFree:             100 kB\n";
    while (meminfo.size() < (3u << 20)) meminfo += "Junk:                  1 kB\n";
    for (const char* threshold : {"%", " %"}) {
        Scenario mem;
        mem.files = {{"/proc/meminfo", meminfo}, {"/usr/bin/top", "#!/bin/sh\necho \"top $*\"\n"}};
        mem.remove = {"/proc/slabinfo"};
        if (threshold[0] == '%') mem.remove.push_back(policy);
        else mem.files[policy] = "{\"eventLogPolicy\": {}}";
        run = run_item("eventtype2", mem);
        expect_members(run.at("memoryUsage.memoryInfo"),
                       {{"memoryTotal", "0"}, {"memoryUtilization", "-inf%"},
                        {"memoryThreshold", threshold}, {"slabinfoLog", ""},
                        {"meminfoLog", meminfo.substr(0, 1u << 20)}});
        EXPECT_EQ(json_text(run.doc.get(), "cpuUtilizations.cpuInfo.topLog"), "top -d 10 -n 1 -b\n");
    }
}

TEST_F(GenericItems, KernelRebootDocument) {
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
    time_t before = time(nullptr);
    ItemRun run = run_item("eventtype0", sc, {"sh", "-c", script});
    time_t after = time(nullptr);
    expect_members(run.at("kernelReboot"),
                   {{"lastRebootReason", "1"}, {"kernelCrashLog", sc.files["/tmp/crash_aws_log"]}});
    // Failing that, the router booted `uptime` before it was started.
    long boot = 0;
    if (sscanf(run.r.out.c_str(), "boot %ld", &boot) == 1) before = after = boot + 3600;
    expect_moment(json_str(run.at("kernelReboot"), "lastRebootTimestamp"), "%Y/%m/%d %H:%M:%S",
                  before - 3600, after - 3600);

    // Crash without a saved log: the header line with the boot time.
    sc.files.erase("/tmp/crash_aws_log");
    run = run_item("eventtype0", sc);
    EXPECT_EQ(json_str(run.doc.get(), "kernelReboot.kernelCrashLog"),
              "==================Kernel crash log " +
                  json_str(run.doc.get(), "kernelReboot.lastRebootTimestamp") + " ===============");

    // A reason file that does not start with a digit is 0; the store is only
    // asked when the file is missing.
    Scenario bad;
    bad.files["/tmp/reboot_reason"] = "x3\n";
    bad.store["lastRebootReason"] = "1";
    run = run_item("eventtype0", bad);
    expect_members(run.at("kernelReboot"), {{"lastRebootReason", "0"}, {"kernelCrashLog", "<absent>"}});

    // Reason from the store, with a crash log of several MB.
    bad.files = {{"/tmp/crash_aws_log", std::string(4u << 20, 'c')}};
    bad.remove = {"/tmp/reboot_reason"};
    run = run_item("eventtype0", bad);
    expect_members(run.at("kernelReboot"), {{"lastRebootReason", "1"}});
    EXPECT_EQ(json_str(run.doc.get(), "kernelReboot.kernelCrashLog").size(), 1u << 20);
    EXPECT_TRUE(run.r.exists("/tmp/crash_aws_log"));  // the firmware's file stays
}

TEST_F(GenericItems, FirmwareUpgradeDocument) {
    // The sample router's document is golden; the check moment's conversion
    // from seconds since boot, and a date left as it is, are the unit tests'.
    Scenario sc;
    sc.unset_keys = {"fwupgartriggered"};
    sc.files["/tmp/auto_version"] = "V1.0.4.37\nignored\n";
    ItemRun run = run_item("firmware", sc);
    expect_members(run.at("firmwareUpgradeAnalytics"),
                   {{"fwUpgradeTriggered", "Triggered"}, {"routerNewVersion", "V1.0.4.37"}});

    // Codes outside the tables, unset keys, no files; the header follows the
    // store's stage whatever the item.
    Scenario other;
    other.store = {{"aws_stage", "dev"}, {"fw_eventType", "00"}, {"fwupgartriggered", "0"},
                   {"fwCheckresult", "12"}, {"check_time", "2024_3.7_9:5:0"}};
    other.unset_keys = {"fwupgrade_Method", "agree_auto_up_TC"};
    other.remove = {"/tmp/upgrade_fail_log", "/tmp/auto_version"};
    run = run_item("firmware", other);
    EXPECT_EQ(json_str(run.doc.get(), "routerHardware.stage"), "dev");
    expect_members(run.at("firmwareUpgradeAnalytics"),
                   {{"eventType", "APP upgrade"}, {"fwCheckResult", ""},
                    {"fwUpgradeTriggered", "Not trigger"},
                    {"firmwareConfigSetting", "auto_update="}, {"fwCheckedDate", "2024_3.7_9:5:0"},
                    {"routerNewVersion", ""}, {"fwupgrade_Method", ""}, {"fwupgrade_Log", ""}});
}
