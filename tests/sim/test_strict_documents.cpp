// Documents stay strict JSON whatever bytes the router holds: text that is not
// UTF-8, non-finite numbers from other producers, and the debug-log edit.
#include "sim_harness.h"

#include <algorithm>
#include <string>
#include <vector>

namespace {

const std::string kFffd = "\xEF\xBF\xBD";

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// A scan block in the survey tool's layout, with its channel-load line.
std::string scan_block(const std::string& ssid, const std::string& bssid) {
    return "SSID: \"" + ssid + "\"\n"
           "Mode: Managed\tRSSI: -50 dBm\tSNR: 40 dB\tnoise: -90 dBm\tFlags: RSSI on-channel \tChannel: 6/20\n"
           "BSSID: " + bssid + "\tCapability: ESS Privacy ShortSlot \n"
           "Supported Rates: [ 1(b) 2(b) 5.5(b) 11(b) 6 9 12 18 24 36 48 54 ]\n"
           "QBSS Channel Utilization: 0x80 (50 %)\n\n";
}

TEST(StrictDocuments, TextThatIsNotUtf8IsRepairedAndTheRestKept) {
    REQUIRE_SIM();
    Scenario sc;
    sc.files["/tmp/router-analytics/wifi_scan_file_2g"] =
        scan_block("Caf\xe9 \xff\xfe", "2c:a9:d5:bf:12:01") + scan_block("Plain Neighbour", "2c:a9:d5:bf:12:02") +
        scan_block("Caf\xc3\xa9 \xf0\x9f\x93\xb6", "2c:a9:d5:bf:12:03");
    sc.files["/tmp/Seria_Number"] = "6LA1\x80\x80" "BCX\xc0\xaf" "00\n";
    SimResult r = run_in_router({"data_collector", "wifiScanResult"}, sc);
    ASSERT_EQ(r.status, 0) << r.err;
    SimJson doc = r.json("/tmp/aws_json_wifiScanResult");  // the harness checks strictness
    ASSERT_TRUE(doc);
    EXPECT_EQ(json_str(doc.get(), "routerHardware.deviceInfo.serialNumber"),
              "6LA1" + kFffd + kFffd + "BCX" + kFffd + kFffd + "00");
    std::vector<std::string> ssids;
    json_object* list = json_at(doc.get(), "wifiScanResult.wifiScanResult");
    for (size_t i = 0; list && i < json_object_array_length(list); ++i)
        ssids.push_back(json_str(json_object_array_get_idx(list, i), "ssidName"));
    // The Latin-1 neighbour costs two bytes of its name, not the survey;
    // well-formed UTF-8 (accents, emoji) is kept byte for byte.
    for (const std::string& want : {"Caf" + kFffd + " " + kFffd + kFffd, std::string("Plain Neighbour"),
                                    std::string("Caf\xc3\xa9 \xf0\x9f\x93\xb6")})
        EXPECT_NE(std::find(ssids.begin(), ssids.end(), want), ssids.end()) << want;
}

TEST(StrictDocuments, NonFiniteNumbersFromProducersBecomeNull) {
    REQUIRE_SIM();
    Scenario sc;
    sc.files["/tmp/sim/nan_plain.json"] =
        R"({"speedTest":{"down":NaN,"up":Infinity,"list":[1.5,-Infinity],"name":"ok"}})";
    sc.files["/tmp/sim/nan_header.json"] =
        "{\"routerHardware\":{\"eventType\":9},\"probe\":{\"rtt\":-Infinity,\"ssid\":\"Caf\xe9\",\"ok\":2.5}}";
    SimResult r = run_in_router(
        {"sh", "-c",
         "data_collector cloud /tmp/sim/nan_plain.json /tmp/out_plain.json && "
         "data_collector cloud /tmp/sim/nan_header.json /tmp/out_header.json"},
        sc);
    ASSERT_EQ(r.status, 0) << r.err;
    SimJson plain = r.json("/tmp/out_plain.json");
    ASSERT_TRUE(plain) << r.file("/tmp/out_plain.json");
    EXPECT_STREQ(json_object_to_json_string_ext(json_at(plain.get(), "speedTest"), JSON_C_TO_STRING_PLAIN),
                 R"({"down":null,"up":null,"list":[1.5,null],"name":"ok"})");

    // A document that already has its header is moved as it is when strict,
    // and rewritten clean when not; the input is gone either way.
    SimJson moved = r.json("/tmp/out_header.json");
    ASSERT_TRUE(moved) << r.file("/tmp/out_header.json");
    EXPECT_EQ(json_type_name(json_at(moved.get(), "probe.rtt")), "null");
    EXPECT_EQ(json_str(moved.get(), "probe.ssid"), "Caf" + kFffd);
    EXPECT_EQ(json_object_get_double(json_at(moved.get(), "probe.ok")), 2.5);
    EXPECT_FALSE(r.exists("/tmp/sim/nan_header.json"));
}

TEST(StrictDocuments, DebugLogRecordFoundByItsMemberNotByTheWord) {
    REQUIRE_SIM();
    Scenario sc;
    sc.files["/tmp/Seria_Number"] = "dbgMsg \"dbgMsg\": }\n";
    sc.files["/usr/sbin/ubinfo"] =
        "#!/bin/sh\n"
        "echo 'Volumes count: 3 dbgMsg'\n"
        "echo '\"dbgMsg\": {x}'\n"
        "echo 'Total amount of logical eraseblocks: 1016 (129007616 bytes)'\n"
        "echo 'Count of bad physical eraseblocks: 0'\n";
    SimResult r = run_in_router({"data_collector", "eventtype10"}, sc);
    ASSERT_EQ(r.status, 0) << r.err;
    SimJson doc = r.json("/tmp/aws_json_eventtype10");
    ASSERT_TRUE(doc) << r.file("/tmp/aws_json_eventtype10");
    json_object* logs = json_at(doc.get(), "dbgLogs");
    ASSERT_EQ(json_type_name(logs), "array");
    ASSERT_EQ(json_object_array_length(logs), 1u);
    EXPECT_EQ(json_str(logs, "0.dbgArg1"), "1016");
    EXPECT_TRUE(has(json_str(logs, "0.dbgMsg"), "\"dbgMsg\": {x}"));
    EXPECT_EQ(json_str(doc.get(), "routerHardware.deviceInfo.serialNumber"), "dbgMsg \"dbgMsg\": }");
    // The scratch files the firmware looks at stay.
    EXPECT_TRUE(r.exists("/tmp/dbgLogs-line"));
    EXPECT_TRUE(r.exists("/tmp/ubinfo_ubi0.txt"));
}

}  // namespace
