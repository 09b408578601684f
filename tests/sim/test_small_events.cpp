// The small event documents in the simulated router beside the sample
// router's golden ones: SSO login (eventtype7), Internet disconnect
// (eventtype5) and the debug-log edit (eventtype10).
#include "sim_test.h"

#include <iterator>

const char* const kSsoFiles[] = {
    "/tmp/ssoLoginMethod",         "/tmp/ssoLoginEvent",          "/tmp/ssoLoginFromIP",
    "/tmp/ssoLoginInternetStatus", "/tmp/ssoLoginDuringInstallation",
    "/tmp/ssoLoginRedirectString", "/tmp/ssoLoginRedirectStringENC", "/tmp/ssoLoginResult",
};

using SmallEvents = SimTest;

TEST_F(SmallEvents, SsoLoginEvent) {
    Scenario sc;
    sc.files["/tmp/ssoLoginFromIP"] = "192.168.1.23\r\nsecond line\n";
    sc.files["/tmp/ssoLoginRedirectString"] = std::string(100, 'r') + "\n";
    ItemRun run = run_item("eventtype7", sc);
    expect_members(run.at("ssorapLoginEvent"),
                   {{"fromIP", "192.168.1.23"}, {"redirectString", std::string(63, 'r')}});
    for (const char* f : kSsoFiles) EXPECT_TRUE(run.r.exists(f)) << f << " is not ours to remove";

    // Only the result left behind: every other member falls back to "".
    Scenario partial;
    partial.remove.assign(std::begin(kSsoFiles), std::end(kSsoFiles) - 1);
    run = run_item("eventtype7", partial);
    EXPECT_EQ(json_text(run.doc.get(), "ssorapLoginEvent"),
              R"({"ssorapEventType":"","ssorapSubEventType":"","fromIP":"","internetStatus":"",)"
              R"("duringInstallation":"","redirectString":"","redirectStringENC":"",)"
              R"("errorReason":"success"})");
}

TEST_F(SmallEvents, InternetDisconnectEventAndMarkers) {
    Scenario sc;
    sc.store["disconn_timestamp"] = "1700000000";
    sc.remove = {"/tmp/router-analytics/disconn_reason"};
    ItemRun run = run_item("eventtype5", sc);
    expect_members(run.at("InternetDisconnEvent"),
                   {{"disconnTimeStamp", "1700000000"}, {"internetDisconnDuration", "300"},
                    {"InternetDisconnReason", "ISP gateway not response"}});
    // Markers reset for the next outage; the running total saved.
    EXPECT_EQ(run.r.store("disconn_timestamp"), "0");
    EXPECT_FALSE(run.r.exists("/tmp/router-analytics/recovered_timestamp"));
    EXPECT_FALSE(run.r.exists("/tmp/router-analytics/disconn_reason"));
    EXPECT_EQ(run.r.file("/tmp/router-analytics/gw_disconn_duration"), "12\n");

    // The saved total comes from the store and is written as text, never run
    // (whether unquoted, single- or double-quoted, one of these would run).
    const std::string hostile = "1; touch /tmp/pwned ' $(touch /tmp/pwned) '";
    Scenario bad;
    bad.store["gwDisconnDuration"] = hostile;
    run = run_item("eventtype5", bad);
    EXPECT_FALSE(run.r.exists("/tmp/pwned"));
    EXPECT_EQ(run.r.file("/tmp/router-analytics/gw_disconn_duration"), hostile + "\n");
}

TEST_F(SmallEvents, DebugLogRecordFoundByItsMemberNotByTheWord) {
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

