// Every firmware tool wedged, or printing without end: every item still
// ends within its designed waits plus ten seconds, exits 0, writes its
// document with the fallbacks, and leaves none of its processes behind.
#include <sstream>

#include "sim_test.h"

// The firmware's tools at the paths the collector finds them.
const char* const kTools[] = {
    "/usr/bin/d2", "/etc/init.d/model_check.sh", "/usr/sbin/wlan", "/usr/sbin/link_signal.sh",
    "/usr/bin/pot_tool", "/usr/sbin/circlectl", "/usr/bin/get_circle_status", "/usr/share/aegix/get_aegix_status",
    "/usr/share/aegix/bdbroker-client-cmd", "/opt/bitdefender/bin/bdagent-manage", "/usr/sbin/get_ra_wifi_info",
    "/usr/sbin/bond-show", "/usr/sbin/fan", "/usr/sbin/nanddump", "/usr/sbin/mtdinfo", "/usr/sbin/ubinfo",
    "/usr/sbin/ifconfig", "/usr/bin/ping", "/usr/bin/top", "/usr/bin/ps", "/usr/bin/md5sum", "/usr/sbin/ethtool",
    "/usr/bin/killall", "/usr/bin/curl", "/etc/plexmediaserver/plexmediaserver_upgrade.sh"};

// Item and the seconds it waits by design at most.
const std::pair<const char*, int> kItems[] = {
    {"eventtype4", 0}, {"routerInfo", 1},     {"routerConfig", 0}, {"connectedDevice", 6},
    {"vumba", 0},      {"mediaDevice", 3},    {"cpu", 1},          {"memory", 0},
    {"eventtype2", 1}, {"eventtype0", 0},     {"firmware", 0},     {"eventtype5", 0},
    {"wifiScanResult", 0}, {"eventtype7", 0}, {"all", 10},         {"eventtype10", 0},
    {"wifiConnectEvent", 0}};

// Runs every item at once; prints "item status milliseconds" lines, then a
// "LEFT" line for each collector or fake tool still running, but for those
// started in a session of their own (the background requests, by design).
static std::string script() {
    std::string s = "cd /tmp; ";
    for (const auto& [item, wait] : kItems)
        s += std::string("( s=$(date +%s%N); data_collector ") + item +
             " >/dev/null 2>&1; echo \"" + item +
             " $? $(( ($(date +%s%N) - s) / 1000000 ))\" ) & ";
    s += "wait; for p in /proc/[0-9]*; do [ $p = /proc/$$ ] && continue; "
         "c=$(tr '\\0' ' ' < $p/cmdline 2>/dev/null); "
         "case \"$c\" in \"data_collector \"*|*dc-fake-too[l]*) set -- $(cat $p/stat); "
         "[ \"$1\" = \"$6\" ] || echo \"LEFT $c\";; esac; done";
    return s;
}

static void check_run(const char* mode, const std::string& body) {
    Scenario sc;
    for (const char* tool : kTools) sc.files[tool] = "#!/bin/sh\n" + body;
    SimResult r = run_ok({"sh", "-c", script()}, sc);
    std::istringstream lines(r.out);
    std::string line;
    int reported = 0;
    while (std::getline(lines, line)) {
        std::istringstream w(line);
        std::string item;
        int status = -1;
        long ms = -1;
        w >> item >> status >> ms;
        for (const auto& [name, wait] : kItems) {
            if (item != name) continue;
            ++reported;
            EXPECT_EQ(status, 0) << mode << " " << item;
            EXPECT_LT(ms, (wait + 10) * 1000L) << mode << " " << item;
            EXPECT_TRUE(r.json(std::string("/tmp/aws_json_") + item)) << mode << " " << item;
        }
        EXPECT_NE(line.rfind("LEFT", 0), 0u) << mode << ": " << line;
    }
    EXPECT_EQ(reported, static_cast<int>(std::size(kItems))) << r.out;
    if (getenv("DC_SHOW")) printf("%s", r.out.c_str());
}

using HungTools = SimTest;

TEST_F(HungTools, EveryToolWedgedEvenAgainstSigtermOrPrintingWithoutEnd) {
    check_run("hung", "exec /bin/sh -c 'trap \"\" TERM; while :; do sleep 1; done' dc-fake-tool\n");
    check_run("flooding", "exec yes 'Number of bad blocks: 9 true POT: 7 active' dc-fake-tool\n");
}

