// The small event documents in the simulated router: SSO login (eventtype7),
// flash debug log (eventtype10) and Internet disconnect (eventtype5).
#include "sim_harness.h"

#include <string>
#include <vector>

namespace {

using Names = std::vector<std::string>;

// Compact text of a member: order, types and values at once.
std::string text(json_object* doc, const std::string& path) {
    json_object* v = json_at(doc, path);
    return v ? json_object_to_json_string_ext(v, JSON_C_TO_STRING_PLAIN) : "<absent>";
}

// routerHardware (with the header's firmware description) and then `item`.
void expect_event_document(json_object* doc, int event_type, const std::string& item) {
    ASSERT_NE(doc, nullptr);
    EXPECT_EQ(member_names(doc), (Names{"routerHardware", item}));
    EXPECT_EQ(json_object_get_int(json_at(doc, "routerHardware.eventType")), event_type);
    EXPECT_EQ(member_names(json_at(doc, "routerHardware.firmware")),
              (Names{"fwVersion", "fwLastUpdate", "fwLastChecked"}));
}

const char* const kSsoFiles[] = {
    "/tmp/ssoLoginMethod",         "/tmp/ssoLoginEvent",          "/tmp/ssoLoginFromIP",
    "/tmp/ssoLoginInternetStatus", "/tmp/ssoLoginDuringInstallation",
    "/tmp/ssoLoginRedirectString", "/tmp/ssoLoginRedirectStringENC", "/tmp/ssoLoginResult",
};

}  // namespace

TEST(SmallEvents, SsoLoginEvent) {
    REQUIRE_SIM();
    Scenario sc;
    sc.files["/tmp/ssoLoginFromIP"] = "192.168.1.23\r\nsecond line\n";
    sc.files["/tmp/ssoLoginRedirectString"] = std::string(100, 'r') + "\n";
    SimResult r = run_in_router({"data_collector", "eventtype7"}, sc);
    EXPECT_EQ(r.status, 0) << r.err;
    SimJson doc = r.json("/tmp/aws_json_eventtype7");
    expect_event_document(doc.get(), 7, "ssorapLoginEvent");
    EXPECT_EQ(text(doc.get(), "ssorapLoginEvent"),
              R"({"ssorapEventType":"password","ssorapSubEventType":"login",)"
              R"("fromIP":"192.168.1.23","internetStatus":"connected","duringInstallation":"no",)"
              R"("redirectString":")" + std::string(63, 'r') + R"(",)"
              R"("redirectStringENC":"aHR0cHM6Ly8xOTIuMTY4LjEuMS9zdGFydC5odG0=",)"
              R"("errorReason":"success"})");
    for (const char* f : kSsoFiles) EXPECT_TRUE(r.exists(f)) << f << " is not ours to remove";

    // Only the result left behind, and an empty method file.
    Scenario partial;
    partial.remove.assign(std::begin(kSsoFiles) + 1, std::end(kSsoFiles) - 1);
    partial.files["/tmp/ssoLoginMethod"] = "";
    r = run_in_router({"data_collector", "eventtype7"}, partial);
    doc = r.json("/tmp/aws_json_eventtype7");
    expect_event_document(doc.get(), 7, "ssorapLoginEvent");
    EXPECT_EQ(text(doc.get(), "ssorapLoginEvent"),
              R"({"ssorapEventType":"","ssorapSubEventType":"","fromIP":"","internetStatus":"",)"
              R"("duringInstallation":"","redirectString":"","redirectStringENC":"",)"
              R"("errorReason":"success"})");
}

TEST(SmallEvents, FlashDebugLog) {
    REQUIRE_SIM();
    const std::string head = R"([{"dbglogType":"Flash","dbglevel":"Debug","dbgSource":"Device",)"
                             R"x("dbgSummary":"UBI info (image)",)x";
    SimResult r = run_in_router({"data_collector", "eventtype10"});
    EXPECT_EQ(r.status, 0) << r.err;
    SimJson doc = r.json("/tmp/aws_json_eventtype10");
    ASSERT_NE(doc, nullptr) << r.file("/tmp/aws_json_eventtype10");
    expect_event_document(doc.get(), 10, "dbgLogs");
    EXPECT_EQ(json_str(doc.get(), "routerHardware.firmware.fwVersion"), "V1.0.4.32");
    std::string logs = text(doc.get(), "dbgLogs");
    EXPECT_EQ(logs.rfind(head + R"("dbgArg1":"1016","dbgArg2":"0","dbgMsg":"Volumes count:)", 0),
              0u) << logs;
    const std::string tail = R"(Present volumes:                         0, 1, 2\n"}])";
    EXPECT_EQ(logs.substr(logs.size() > tail.size() ? logs.size() - tail.size() : 0), tail);
    // Scratch files stay for whoever looks into the flash state later.
    EXPECT_TRUE(r.exists("/tmp/ubinfo_ubi0.txt"));
    EXPECT_TRUE(r.exists("/tmp/dbgLogs-line"));

    // No ubinfo on the router: the record is still there, with empty values.
    Scenario none;
    none.remove = {"/usr/sbin/ubinfo"};
    r = run_in_router({"data_collector", "eventtype10"}, none);
    doc = r.json("/tmp/aws_json_eventtype10");
    ASSERT_NE(doc, nullptr) << r.file("/tmp/aws_json_eventtype10");
    EXPECT_EQ(text(doc.get(), "dbgLogs"), head + R"("dbgArg1":"","dbgArg2":"","dbgMsg":""}])");

    // An output larger than the reader's buffer is cut, not fatal.
    Scenario big;
    big.files["/usr/sbin/ubinfo"] =
        "#!/bin/sh\necho 'Volumes count: 3'\n"
        "echo 'Total amount of logical eraseblocks: 2048 (260046848 bytes)'\n"
        "i=0; while [ $i -lt 100 ]; do echo \"Volume $i padding padding\"; i=$((i+1)); done\n";
    r = run_in_router({"data_collector", "eventtype10"}, big);
    EXPECT_EQ(r.status, 0) << r.err;
    doc = r.json("/tmp/aws_json_eventtype10");
    ASSERT_NE(doc, nullptr) << r.file("/tmp/aws_json_eventtype10");
    EXPECT_EQ(json_str(doc.get(), "dbgLogs.0.dbgArg1"), "2048");
    EXPECT_EQ(json_str(doc.get(), "dbgLogs.0.dbgMsg").size(), 2047u);
}

TEST(SmallEvents, InternetDisconnectEventAndMarkers) {
    REQUIRE_SIM();
    Scenario sc;
    sc.store["disconn_timestamp"] = "1700000000";
    sc.store["gwDisconnDuration"] = "12";
    sc.remove = {"/tmp/router-analytics/disconn_reason"};
    SimResult r = run_in_router({"data_collector", "eventtype5"}, sc);
    EXPECT_EQ(r.status, 0) << r.err;
    SimJson doc = r.json("/tmp/aws_json_eventtype5");
    expect_event_document(doc.get(), 5, "InternetDisconnEvent");
    EXPECT_EQ(text(doc.get(), "InternetDisconnEvent"),
              R"({"disconnTimeStamp":1700000000,"recoveredTimeStamp":1700000300,)"
              R"("internetDisconnDuration":300,"gwDisconnDuration":120,"internetConfig":"DHCP",)"
              R"("InternetDisconnReason":"ISP gateway not response"})");
    // Markers reset for the next outage; the running total saved.
    EXPECT_EQ(r.store("disconn_timestamp"), "0");
    EXPECT_FALSE(r.exists("/tmp/router-analytics/recovered_timestamp"));
    EXPECT_FALSE(r.exists("/tmp/router-analytics/disconn_reason"));
    EXPECT_EQ(r.file("/tmp/router-analytics/gw_disconn_duration"), "12\n");

    // The saved total comes from the store and is written as text, never run.
    for (std::string value : {"1; touch /tmp/pwned", "$(touch /tmp/pwned)",
                              "1' ; touch /tmp/pwned ; echo '"}) {
        Scenario hostile;
        hostile.store["gwDisconnDuration"] = value;
        r = run_in_router({"data_collector", "eventtype5"}, hostile);
        EXPECT_EQ(r.status, 0) << value << r.err;
        EXPECT_FALSE(r.exists("/tmp/pwned")) << value;
        EXPECT_EQ(r.file("/tmp/router-analytics/gw_disconn_duration"), value + "\n");
        EXPECT_NE(r.json("/tmp/aws_json_eventtype5"), nullptr) << value;
    }
}
