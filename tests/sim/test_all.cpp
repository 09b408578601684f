// The "all" document gathers the single items' objects under one header, and
// every item word of the usage text writes its document.
#include "sim_harness.h"

#include <sstream>
#include <string>
#include <vector>

namespace {

const std::vector<std::string> kAllMembers = {
    "routerHardware", "routerInfo",  "routerConfig",  "wifiConfig",
    "wifiAnalytics",  "connectedDevice", "vumba",     "mediaDevice",
    "SatelliteInfo",  "connectedDeviceDetails"};

// "all" and the single items each in a fresh sample router: some sources are
// consumed by the first report (the thermal scratch files).
TEST(AllDocument, MembersAreTheSingleItemsMembers) {
    REQUIRE_SIM();
    SimResult r = run_in_router(
        {"sh", "-c",
         "for i in routerInfo routerConfig connectedDevice vumba mediaDevice; do "
         "data_collector $i; done"});
    ASSERT_EQ(r.status, 0) << r.err;
    SimResult a = run_in_router({"data_collector", "all"});
    ASSERT_EQ(a.status, 0) << a.err;
    SimJson all = a.json("/tmp/aws_json_all");
    ASSERT_TRUE(all);
    EXPECT_EQ(member_names(all.get()), kAllMembers);
    EXPECT_EQ(json_object_get_int(json_at(all.get(), "routerHardware.eventType")), 1);
    for (const char* item : {"routerInfo", "routerConfig", "vumba", "mediaDevice"}) {
        SimJson single = r.json(std::string("/tmp/aws_json_") + item);
        ASSERT_TRUE(single) << item;
        EXPECT_EQ(json_shape(json_at(all.get(), item)), json_shape(json_at(single.get(), item))) << item;
    }
    SimJson dev = r.json("/tmp/aws_json_connectedDevice");
    ASSERT_TRUE(dev);
    for (const char* member : {"connectedDevice", "connectedDeviceDetails"})
        EXPECT_EQ(json_shape(json_at(all.get(), member)), json_shape(json_at(dev.get(), member)))
            << member;
    EXPECT_EQ(json_object_get_int(json_at(all.get(), "SatelliteInfo.numberOfSatellite")), 2);
    EXPECT_EQ(json_type_name(json_at(all.get(), "wifiConfig")), "object");
    EXPECT_EQ(json_type_name(json_at(all.get(), "wifiAnalytics")), "object");
    for (const char* scratch : {"/tmp/RA_json_connectdevice", "/tmp/ra_devices_link_and_signal",
                                "/tmp/wlan_sta_info"})
        EXPECT_FALSE(a.exists(scratch)) << scratch;
}

TEST(AllDocument, ModelWithoutUsbLeavesOutUsbAndMedia) {
    REQUIRE_SIM();
    Scenario sc;
    sc.files["/module_name"] = "ZT410\n";
    SimResult r = run_in_router({"data_collector", "all"}, sc);
    ASSERT_EQ(r.status, 0) << r.err;
    SimJson all = r.json("/tmp/aws_json_all");
    ASSERT_TRUE(all);
    std::vector<std::string> want;
    for (const auto& m : kAllMembers)
        if (m != "vumba" && m != "mediaDevice") want.push_back(m);
    EXPECT_EQ(member_names(all.get()), want);
}

// The item words listed by the usage text, plus the two it leaves out.
std::vector<std::string> usage_items(const std::string& usage) {
    std::vector<std::string> words;
    std::istringstream in(usage);
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string prog, word;
        if (fields >> prog >> word && prog == "data_collector" && word != "cloud") words.push_back(word);
    }
    words.push_back("wifiScanResult");
    words.push_back("wifiConnectEvent");
    return words;
}

TEST(AllDocument, EveryItemWordWritesItsDocument) {
    REQUIRE_SIM();
    SimResult help = run_in_router({"data_collector"});
    std::vector<std::string> items = usage_items(help.out);
    ASSERT_EQ(items.size(), 17u) << help.out;
    std::string loop = "for i in";
    for (const auto& i : items) loop += " " + i;
    SimResult r = run_in_router({"sh", "-c", loop + "; do data_collector $i; done"});
    ASSERT_EQ(r.status, 0) << r.err;
    for (const auto& i : items) {
        SimJson doc = r.json("/tmp/aws_json_" + i);
        ASSERT_TRUE(doc) << i;
        std::vector<std::string> names = member_names(doc.get());
        ASSERT_GE(names.size(), 1u) << i;
        EXPECT_EQ(names[0], "routerHardware") << i;
        EXPECT_EQ(names.size() > 1, i != "eventtype4") << i;
    }
}

}  // namespace
