// The simulated router itself: isolation, fixtures, scenario overrides.
// Shell commands only, so these hold whatever state the collector is in; one
// router run covers them all since each run costs most of a second.
#include "sim_harness.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

TEST(RouterSim, FixtureScenarioAndIsolation) {
    REQUIRE_SIM();
    const std::string probe = "/tmp/dc-sim-written-" + std::to_string(getpid());
    Scenario sc;
    sc.uptime = 90061;
    sc.netifs = {"wl3 02:11:22:33:44:55 10.9.8.7/16"};
    sc.store["aws_stage"] = "qa";
    sc.remove = {"/firmware_version"};
    sc.sequences["/tmp/counter"] = {"one\n", "two\n", "three\n"};
    SimResult r = run_in_router(
        {"sh", "-c",
         "echo err >&2; echo kept > /tmp/made; echo x > " + probe +
             "; cat /module_name; test -e /firmware_version || echo no-fw; "
             "ip -o -4 addr show br0 | awk '{print $4}'; "
             "ip -o link show wl2 | grep -o 'link/ether [^ ]*'; "
             "ip -o -4 addr show wl3 | awk '{print $4}'; "
             "for i in 1 2 3 4; do cat /tmp/counter; done; "
             "cut -d' ' -f1 /.simproc/uptime; exit 7"},
        sc);
    EXPECT_EQ(r.status, 7);
    EXPECT_EQ(r.err, "err\n");
    EXPECT_EQ(r.file("/tmp/made"), "kept\n");
    struct stat st;
    EXPECT_NE(stat(probe.c_str(), &st), 0) << "router wrote into the host's /tmp";

    const std::string head =
        "ZT500\nno-fw\n192.168.1.1/24\nlink/ether a4:2b:8c:5e:71:d6\n"
        "10.9.8.7/16\none\ntwo\nthree\nthree\n";
    ASSERT_EQ(r.out.compare(0, head.size(), head), 0) << r.out;
    long up = atol(r.out.c_str() + head.size());
    EXPECT_GE(up, 90061);
    EXPECT_LT(up, 90061 + 30);

    EXPECT_EQ(r.store("radio_number"), "0x7");
    EXPECT_EQ(r.store("aws_stage"), "qa");
}
