// The command line as the router's scripts use it: usage, unknown words and
// the model probe, run through the real binary in the simulated router.
#include <string>

#include "sim_harness.h"

namespace {

const std::string kUsage =
    "Usage: data_collector\n\n"
    "  data_collector eventtype4        Collect Item routerHardware about user choose\n"
    "  data_collector routerInfo        Collect Item routerInfo about router basic information\n"
    "  data_collector routerConfig      Collect Item routerConfig about router setting\n"
    "  data_collector connectedDevice   Collect Item connectedDeviceDetails about the connection "
    "devices information\n"
    "  data_collector cpu               Collect Item cpuUtilizations about cpu information\n"
    "  data_collector memory            Collect Item memoryUsage about memory information\n"
    "  data_collector eventtype2\t\tCollect Item cpuUtilizations & memoryUsage\n"
    "  data_collector eventtype0\t\tCollect Item kernelReboot about kernel boot log\n"
    "  data_collector all               Collect Item routerInfo & routerConfig & "
    "connectedDeviceDetails\n"
    "\t\t\t\t\t\t\t\t\t\t\t\t\t& vumba & mediaDevice\n"
    "  data_collector vumba             Collect Item vumba about usb states\n"
    "  data_collector mediaDevice       Collect Item mediaDevice about the usb details\n"
    "  data_collector firmware          Collect Item firmwareUpgradeAnalytics about firmware "
    "upgrade information\n"
    "  data_collector eventtype5        Collect Item Internet disconnect and gateway disconnect "
    "eventtype\n"
    "  data_collector eventtype7          Collect Item ssorap login event\n"
    "  data_collector cloud $infile $outfile  Add routerHardware header for 3rd event, and move "
    "to trigger folder path\n"
    "  data_collector eventtype10       Collect dbgLogs (image ubinfo)\n";

bool wrote_any_document(const SimResult& r) {
    for (const char* item : {"", "foo", "RouterInfo", "cloud"})
        if (r.exists(std::string("/tmp/aws_json_") + item)) return true;
    return false;
}

TEST(Entry, UsageAndUnknownWords) {
    REQUIRE_SIM();
    SimResult none = run_in_router({"data_collector"});
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.out, kUsage);

    SimResult empty = run_in_router({"data_collector", ""});
    EXPECT_EQ(empty.status, 0);
    EXPECT_EQ(empty.out, "");
    EXPECT_FALSE(wrote_any_document(empty));

    // Item words are case-sensitive; an unknown one writes nothing.
    for (const std::string& word : {std::string("foo"), std::string("RouterInfo"),
                                    std::string(50, 'x')}) {
        SimResult r = run_in_router({"data_collector", word});
        EXPECT_EQ(r.status, 0) << word;
        EXPECT_EQ(r.out, "Wrong option, Please try again\n" + kUsage) << word;
        EXPECT_FALSE(wrote_any_document(r)) << word;
    }
}

TEST(Entry, HeaderOnlyDocumentOfEventtype4) {
    REQUIRE_SIM();
    SimResult r = run_in_router({"data_collector", "eventtype4"});
    EXPECT_EQ(r.status, 0);
    SimJson doc = r.json("/tmp/aws_json_eventtype4");
    ASSERT_TRUE(doc) << r.file("/tmp/aws_json_eventtype4");
    EXPECT_EQ(member_names(doc.get()), std::vector<std::string>{"routerHardware"});
    EXPECT_EQ(json_object_get_int(json_at(doc.get(), "routerHardware.eventType")), 1);
    // Written pretty-printed as json-c does, two-blank indentation.
    EXPECT_EQ(r.file("/tmp/aws_json_eventtype4").rfind("{\n  \"routerHardware\":{\n", 0), 0u);
}

TEST(Entry, ModelProbeNeverRunsTheBoardFileAsShell) {
    REQUIRE_SIM();
    Scenario sc;
    sc.files["/module_name"] = "zt500'; touch /tmp/pwned; echo '\n";
    sc.files["/etc/init.d/model_check.sh"] = "#!/bin/sh\necho \"$2\" > /tmp/model_arg\necho ZT500\n";
    SimResult r = run_in_router({"data_collector", "eventtype4"}, sc);
    EXPECT_EQ(r.status, 0);
    EXPECT_FALSE(r.exists("/tmp/pwned"));
    EXPECT_EQ(r.file("/tmp/model_arg"), "zt500'; touch /tmp/pwned; echo '\n");
    EXPECT_TRUE(r.exists("/tmp/aws_json_eventtype4"));
}

TEST(Entry, EveryRunExitsZeroWithoutBoardFiles) {
    REQUIRE_SIM();
    Scenario sc;
    sc.remove = {"/module_name", "/etc/init.d/model_check.sh", "/firmware_version",
                 "/tmp/board_hw_id", "/proc/nvram/boardid", "/tmp/Seria_Number"};
    sc.netifs = {"!br0"};
    SimResult r = run_in_router({"data_collector", "eventtype4"}, sc);
    EXPECT_EQ(r.status, 0);
    SimJson doc = r.json("/tmp/aws_json_eventtype4");
    ASSERT_TRUE(doc);
    EXPECT_EQ(json_str(doc.get(), "routerHardware.hwRevision"), ",");
    EXPECT_EQ(json_str(doc.get(), "routerHardware.modelName"), "");
    EXPECT_EQ(json_str(doc.get(), "routerHardware.deviceInfo.macAddress"), "");
}

}  // namespace
