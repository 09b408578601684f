// Documents stay strict JSON whatever bytes the router holds: text that is not
// UTF-8 and the debug-log edit (producers' documents: test_cloud.cpp).
#include "sim_harness.h"

#include <algorithm>

const std::string kFffd = "\xEF\xBF\xBD";

// A scan block in the survey tool's layout, with its channel-load line.
static std::string scan_block(const std::string& ssid, const std::string& bssid) {
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
    ItemRun run = run_item("wifiScanResult", sc);  // the harness checks strictness
    EXPECT_EQ(json_str(run.doc.get(), "routerHardware.deviceInfo.serialNumber"),
              "6LA1" + kFffd + kFffd + "BCX" + kFffd + kFffd + "00");
    std::vector<std::string> ssids;
    json_object* list = run.at("wifiScanResult.wifiScanResult");
    for (size_t i = 0; list && i < json_object_array_length(list); ++i)
        ssids.push_back(json_str(json_object_array_get_idx(list, i), "ssidName"));
    // The Latin-1 neighbour costs two bytes of its name, not the survey;
    // well-formed UTF-8 (accents, emoji) is kept byte for byte.
    for (const std::string& want : {"Caf" + kFffd + " " + kFffd + kFffd, std::string("Plain Neighbour"),
                                    std::string("Caf\xc3\xa9 \xf0\x9f\x93\xb6")})
        EXPECT_NE(std::find(ssids.begin(), ssids.end(), want), ssids.end()) << want;
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
    ItemRun run = run_item("eventtype10", sc);
    json_object* logs = run.at("dbgLogs");
    ASSERT_EQ(json_type_name(logs), "array");
    ASSERT_EQ(json_object_array_length(logs), 1u);
    EXPECT_EQ(json_str(logs, "0.dbgArg1"), "1016");
    EXPECT_TRUE(has(json_str(logs, "0.dbgMsg"), "\"dbgMsg\": {x}"));
    EXPECT_EQ(json_str(run.doc.get(), "routerHardware.deviceInfo.serialNumber"), "dbgMsg \"dbgMsg\": }");
    // The scratch files the firmware looks at stay.
    EXPECT_TRUE(run.r.exists("/tmp/dbgLogs-line") && run.r.exists("/tmp/ubinfo_ubi0.txt"));
}

