// The simulated router itself: isolation, fixtures, scenario overrides.
// Shell commands only, so these hold whatever state the collector is in; one
// router run covers them all since each run costs most of a second.
#include "sim_test.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

using RouterSim = SimTest;

TEST_F(RouterSim, FixtureScenarioAndIsolation) {
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

// A layer's file where a lower layer has a link replaces the link: the staging
// happens outside the router, so following it would write onto the machine.
TEST_F(RouterSim, LayersNeverWriteThroughLinks) {
    const std::string s = "/tmp/dc-links-" + std::to_string(getpid());
    const std::string lower = s + "/lower/rootfs/opt";
    const std::string scratch = "for f in f rel chain d/victim d2/victim; do ";
    ASSERT_EQ(system(("rm -rf " + s + " && mkdir -p " + s + "/d " + s + "/d2 " + lower + " && cd " + s +
                      " && " + scratch + "echo scratch > $f; done").c_str()), 0);
    // Absolute and relative links to files, a link to a directory, a chain,
    // and a directory link below which the upper layer deletes.
    const std::string up = "../../../../../../../../../../../..";
    const std::pair<std::string, std::string> links[] = {
        {s + "/f", "abs"}, {up + s + "/rel", "rel"}, {s + "/d", "dir"},
        {"c2", "c1"},      {s + "/chain", "c2"},     {s + "/d2", "del"}};
    for (const auto& [target, name] : links)
        ASSERT_EQ(symlink(target.c_str(), (lower + "/" + name).c_str()), 0) << name;

    Scenario sc;
    sc.extra_fixtures = {s + "/lower"};
    sc.files = {{"/opt/abs", "upper abs\n"}, {"/opt/rel", "upper rel\n"},
                {"/opt/dir/victim", "upper dir\n"}, {"/opt/c1", "upper chain\n"}};
    sc.remove = {"/opt/del/victim"};
    SimResult r = run_ok({"sh", "-c", "cat /opt/abs /opt/rel /opt/dir/victim /opt/c1"}, sc);
    EXPECT_EQ(r.out, "upper abs\nupper rel\nupper dir\nupper chain\n");
    EXPECT_EQ(system(("cd " + s + " && " + scratch + "[ \"$(cat $f)\" = scratch ] || exit 1; done").c_str()), 0)
        << "a layer wrote through a link into " << s;
    EXPECT_EQ(system(("rm -rf " + s).c_str()), 0);
}
