// "data_collector cloud <in> <out>" in the simulated router: producer
// documents get the router's header, or are moved when they already have one.
#include <fstream>
#include <sstream>

#include "sim_harness.h"

namespace {

const char kOut[] = "/tmp/aws_json_cloudtest";

SimResult run_cloud(const std::string& infile, const Scenario& sc = {}) {
    return run_in_router({"data_collector", "cloud", infile, kOut}, sc);
}

TEST(SimCloud, DocumentWithHeaderIsMovedUnchanged) {
    REQUIRE_SIM();
    std::ifstream in(std::string(DC_SOURCE_DIR) +
                     "/sim/router/rootfs/tmp/sim/cloud_in_with_header.json");
    std::stringstream original;
    original << in.rdbuf();
    SimResult r = run_cloud("/tmp/sim/cloud_in_with_header.json");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_FALSE(r.exists("/tmp/sim/cloud_in_with_header.json"));
    EXPECT_EQ(r.file(kOut), original.str());
    EXPECT_FALSE(r.exists("/tmp/aws_json_circleV2"));
}

TEST(SimCloud, CircleEventTakesProducerIdentityAndIsKept) {
    REQUIRE_SIM();
    SimResult r = run_cloud("/tmp/sim/cloud_in_circle.json");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out.rfind("DATA_COLLECTOR: raw data /tmp/sim/cloud_in_circle.json\n {", 0), 0u);
    SimJson doc = r.json(kOut);
    ASSERT_TRUE(doc) << r.file(kOut);
    EXPECT_EQ(member_names(doc.get()), (std::vector<std::string>{"routerHardware", "circleV2"}));

    json_object* hw = json_at(doc.get(), "routerHardware");
    std::vector<std::string> names = member_names(hw);
    ASSERT_GE(names.size(), 4u);
    EXPECT_EQ(names[0], "productFamily");
    EXPECT_EQ(std::vector<std::string>(names.end() - 2, names.end()),
              (std::vector<std::string>{"epochTimeStamp", "ntpResult"}));
    EXPECT_EQ(json_object_get_int(json_at(hw, "eventType")), 6);
    EXPECT_STREQ(json_object_to_json_string_ext(json_at(hw, "timeStamp"), JSON_C_TO_STRING_PLAIN),
                 R"({"date":[2024,1,2],"time":[3,4,5]})");
    EXPECT_EQ(json_type_name(json_at(hw, "epochTimeStamp")), "null");
    EXPECT_EQ(json_type_name(json_at(hw, "ntpResult")), "null");
    EXPECT_EQ(json_str(doc.get(), "circleV2.circleV2Profiles.2"), "Adult");

    EXPECT_EQ(r.file("/tmp/aws_json_circleV2"), r.file(kOut));
    EXPECT_TRUE(r.exists("/tmp/sim/cloud_in_circle.json"));
}

TEST(SimCloud, BrokenProducerDocumentStillGivesAHeader) {
    REQUIRE_SIM();
    Scenario sc;
    sc.files["/tmp/sim/bad.json"] = "{\"circleV2\": {\"x\": 1";
    SimResult r = run_cloud("/tmp/sim/bad.json", sc);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("not find file_name: /tmp/sim/bad.json\n"), std::string::npos) << r.out;
    SimJson doc = r.json(kOut);
    ASSERT_TRUE(doc) << r.file(kOut);
    EXPECT_EQ(member_names(doc.get()), std::vector<std::string>{"routerHardware"});
    EXPECT_FALSE(r.exists("/tmp/aws_json_circleV2"));
}

}  // namespace
