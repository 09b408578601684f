// "data_collector cloud <in> <out>" in the simulated router, every case in one
// run: producer documents get the router's header, or are moved when they
// already have one, and come out strict JSON whatever came in (a broken one
// gets the header alone, as the unit tests check). The forwarded
// Circle document itself is the golden one (docs/golden/cloud.json).
#include <fstream>
#include <sstream>

#include "sim_test.h"

const std::string kFffd = "\xEF\xBF\xBD";

using SimCloud = SimTest;

TEST_F(SimCloud, HeaderAddedOrKeptAndDocumentsMadeStrict) {
    std::ifstream in(std::string(DC_SOURCE_DIR) + "/sim/router/rootfs/tmp/sim/cloud_in_with_header.json");
    std::stringstream with_header;
    with_header << in.rdbuf();
    Scenario sc;
    sc.files["/tmp/sim/nan_plain.json"] =
        R"({"speedTest":{"down":NaN,"up":Infinity,"list":[1.5,-Infinity],"name":"ok"}})";
    sc.files["/tmp/sim/nan_header.json"] =
        "{\"routerHardware\":{\"eventType\":9},\"probe\":{\"rtt\":-Infinity,\"ssid\":\"Caf\xe9\",\"ok\":2.5}}";
    // Each output is /tmp/aws_json_N (the cloud's schema checks them) or
    // /tmp/out_N; a line after each run tells whether the Circle copy is there.
    std::string script;
    for (const char* doc : {"aws_json_1 cloud_in_with_header", "aws_json_3 cloud_in_circle",
                            "out_4 nan_plain", "out_5 nan_header"})
        script += std::string("set -- ") + doc + "; data_collector cloud /tmp/sim/$2.json /tmp/$1; "
                  "echo \"== $2:$(test -e /tmp/aws_json_circleV2 && echo circle)\"; ";
    SimResult r = run_ok({"sh", "-c", script}, sc);

    // A document with its header is moved unchanged.
    EXPECT_EQ(r.file("/tmp/aws_json_1"), with_header.str());
    EXPECT_FALSE(r.exists("/tmp/sim/cloud_in_with_header.json"));
    EXPECT_TRUE(has(r.out, "== cloud_in_with_header:\n"));
    // A Circle event is kept as aws_json_circleV2 too, and its input stays.
    EXPECT_TRUE(has(r.out, "DATA_COLLECTOR: raw data /tmp/sim/cloud_in_circle.json\n {"));
    EXPECT_TRUE(has(r.out, "== cloud_in_circle:circle\n"));
    EXPECT_EQ(r.file("/tmp/aws_json_circleV2"), r.file("/tmp/aws_json_3"));
    EXPECT_TRUE(r.exists("/tmp/sim/cloud_in_circle.json"));

    // Non-finite numbers become null, text that is not UTF-8 is repaired;
    // a headed document is rewritten clean and its input is gone.
    EXPECT_EQ(json_text(r.json("/tmp/out_4").get(), "speedTest"),
              R"({"down":null,"up":null,"list":[1.5,null],"name":"ok"})");
    SimJson moved = r.json("/tmp/out_5");
    EXPECT_EQ(json_text(moved.get(), "probe"), "{\"rtt\":null,\"ssid\":\"Caf" + kFffd + "\",\"ok\":2.5}");
    EXPECT_FALSE(r.exists("/tmp/sim/nan_header.json"));
}
