// The simulated router itself: isolation, fixtures, scenario overrides.
// Shell commands only, so these hold whatever state the collector is in.
#include "sim_harness.h"

#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace {

SimResult sh(const std::string& script, const Scenario& sc = {}) {
    return run_in_router({"sh", "-c", script}, sc);
}

}  // namespace

TEST(RouterSim, CapturesStatusOutputAndTmp) {
    REQUIRE_SIM();
    SimResult r = sh("echo out; echo err >&2; echo kept > /tmp/made; exit 7");
    EXPECT_EQ(r.status, 7);
    EXPECT_EQ(r.out, "out\n");
    EXPECT_EQ(r.err, "err\n");
    EXPECT_EQ(r.file("/tmp/made"), "kept\n");
    EXPECT_FALSE(r.exists("/tmp/never"));
    EXPECT_EQ(r.file("/tmp/never"), "");
}

TEST(RouterSim, HostTmpProcSysStayOutside) {
    REQUIRE_SIM();
    char marker[] = "/tmp/dc-sim-host-XXXXXX";
    int fd = mkstemp(marker);
    ASSERT_GE(fd, 0);
    close(fd);
    const std::string probe = "/tmp/dc-sim-written-" + std::to_string(getpid());
    SimResult r = sh(std::string("test -e ") + marker + " && echo host-tmp-visible; " +
                     "echo x > " + probe + "; test -e /proc/meminfo && echo meminfo; " +
                     "test -e /proc/kallsyms && echo kallsyms; test -e /sys/fs/cgroup && echo sys; " +
                     "test -r /proc/self/status && echo self; hostname");
    EXPECT_EQ(r.status, 0) << r.err;
    // The sample router's own /proc files only, plus the process files.
    EXPECT_EQ(r.out, "meminfo\nself\nrouter\n");
    struct stat st;
    EXPECT_NE(stat(probe.c_str(), &st), 0) << "router wrote into the host's /tmp";
    unlink(marker);
}

TEST(RouterSim, BoardFilesStoreAndTools) {
    REQUIRE_SIM();
    SimResult r = sh("cat /module_name /firmware_version /tmp/Seria_Number; "
                     "/etc/init.d/model_check.sh eth \"$(cat /module_name)\"; "
                     "echo \"$PATH|$HOME|${TZ-unset}|${CONFIG_STORE-unset}\"; "
                     "command -v data_collector; command -v config; ps | head -1");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out,
              "ZT500\nV1.0.4.32\n6LA21B7X00123\nZT500\n"
              "/usr/sbin:/usr/bin:/sbin:/bin|/root|unset|unset\n"
              "/usr/sbin/data_collector\n/usr/sbin/config\n"
              "  PID USER       VSZ STAT COMMAND\n");
    EXPECT_EQ(r.store("radio_number"), "0x7");
    EXPECT_EQ(r.store("time_zone"), "PST8PDT");
    EXPECT_TRUE(r.store_has("agree_collect_TC"));
}

TEST(RouterSim, InterfacesAndUptime) {
    REQUIRE_SIM();
    Scenario sc;
    sc.uptime = 90061;
    sc.netifs = {"!ppp0", "wl3 02:11:22:33:44:55 10.9.8.7/16"};
    SimResult r = sh("ip -o -4 addr show br0 | awk '{print $4}'; "
                     "ip -o link show wl2 | grep -o 'link/ether [^ ]*'; "
                     "ip -o -4 addr show wl3 | awk '{print $4}'; "
                     "ip link show ppp0 >/dev/null 2>&1 || echo no-ppp0; "
                     "cut -d' ' -f1 /.simproc/uptime",
                     sc);
    EXPECT_EQ(r.status, 0) << r.err;
    std::string up_prefix = "192.168.1.1/24\nlink/ether a4:2b:8c:5e:71:d6\n10.9.8.7/16\nno-ppp0\n";
    ASSERT_EQ(r.out.compare(0, up_prefix.size(), up_prefix), 0) << r.out;
    long up = atol(r.out.c_str() + up_prefix.size());
    EXPECT_GE(up, 90061);
    EXPECT_LT(up, 90061 + 30);
}

TEST(RouterSim, ScenarioOverridesFixture) {
    REQUIRE_SIM();
    Scenario sc;
    sc.files["/tmp/reboot_reason"] = "watchdog\n";
    sc.files["/usr/bin/d2"] = "#!/bin/sh\necho fake-d2 \"$@\"\n";
    sc.store["aws_stage"] = "qa";
    sc.store["multi_line"] = "a\nb\\c";
    sc.unset_keys = {"wl_country"};
    sc.remove = {"/firmware_version", "/tmp/Seria_Number", "/etc/hostname"};
    SimResult r = sh("cat /tmp/reboot_reason; d2 -g x; test -e /firmware_version || echo no-fw; "
                     "test -e /tmp/Seria_Number || echo no-sn; test -e /etc/hostname || echo no-host; "
                     "grep -c '^aws_stage=' /tmp/config.store",
                     sc);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "watchdog\nfake-d2 -g x\nno-fw\nno-sn\nno-host\n1\n");
    EXPECT_EQ(r.store("aws_stage"), "qa");
    EXPECT_EQ(r.store("multi_line"), "a\nb\\c");
    EXPECT_FALSE(r.store_has("wl_country"));
    EXPECT_TRUE(r.store_has("wla_country"));
}

TEST(RouterSim, SequenceGivesSuccessiveContents) {
    REQUIRE_SIM();
    Scenario sc;
    sc.sequences["/tmp/counter"] = {"one\n", "two\n", "three\n"};
    SimResult r = sh("for i in 1 2 3 4; do cat /tmp/counter; done; "
                     "a=$(head -1 /proc/stat); b=$(head -1 /proc/stat); "
                     "[ \"${a%% *}\" = cpu ] && [ \"$a\" != \"$b\" ] && echo two-samples",
                     sc);
    EXPECT_EQ(r.status, 0) << r.err;
    // The sample router's /proc/stat gives two different samples.
    EXPECT_EQ(r.out, "one\ntwo\nthree\nthree\ntwo-samples\n");

    // A scenario's plain file ends the sample router's sequence there.
    Scenario plain;
    plain.files["/proc/stat"] = "cpu  1 2 3 4 5 6 7 8\n";
    r = sh("cat /proc/stat; cat /proc/stat", plain);
    EXPECT_EQ(r.out, "cpu  1 2 3 4 5 6 7 8\ncpu  1 2 3 4 5 6 7 8\n");
}

TEST(RouterSim, JsonHelpers) {
    REQUIRE_SIM();
    SimResult r = sh("printf '{\"b\":{\"x\":[1,2.5]},\"a\":\"s\",\"c\":true}' > /tmp/doc; "
                     "printf '{\"a\":' > /tmp/broken");
    SimJson doc = r.json("/tmp/doc");
    ASSERT_TRUE(doc);
    EXPECT_EQ(member_names(doc.get()), (std::vector<std::string>{"b", "a", "c"}));
    EXPECT_EQ(json_type_name(json_at(doc.get(), "b.x.1")), "double");
    EXPECT_EQ(json_type_name(json_at(doc.get(), "c")), "boolean");
    EXPECT_EQ(json_str(doc.get(), "a"), "s");
    EXPECT_EQ(json_at(doc.get(), "b.x.2"), nullptr);
    EXPECT_FALSE(r.json("/tmp/broken"));
    EXPECT_FALSE(r.json("/tmp/missing"));
}
