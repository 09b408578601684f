// The small event documents in the simulated router: SSO login (eventtype7),
// flash debug log (eventtype10) and Internet disconnect (eventtype5).
#include "sim_harness.h"

#include <string>
#include <vector>

namespace {

// Compact text of a member: order, types and values at once.
std::string text(json_object* doc, const std::string& path) {
    json_object* v = json_at(doc, path);
    return v ? json_object_to_json_string_ext(v, JSON_C_TO_STRING_PLAIN) : "<absent>";
}

// Runs the item and checks the frame: routerHardware with the event type, then `member`.
SimJson run_event(const std::string& item, int event_type, const std::string& member,
                  const Scenario& sc = {}, SimResult* out = nullptr) {
    SimResult r = run_in_router({"data_collector", item}, sc);
    EXPECT_EQ(r.status, 0) << r.err;
    SimJson doc = r.json("/tmp/aws_json_" + item);
    EXPECT_NE(doc, nullptr) << r.file("/tmp/aws_json_" + item);
    if (doc) {
        EXPECT_EQ(member_names(doc.get()), (std::vector<std::string>{"routerHardware", member}));
        EXPECT_EQ(json_object_get_int(json_at(doc.get(), "routerHardware.eventType")), event_type);
    }
    if (out) *out = r;
    return doc;
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
    SimResult r;
    SimJson doc = run_event("eventtype7", 7, "ssorapLoginEvent", sc, &r);
    EXPECT_EQ(text(doc.get(), "ssorapLoginEvent"),
              R"({"ssorapEventType":"password","ssorapSubEventType":"login",)"
              R"("fromIP":"192.168.1.23","internetStatus":"connected","duringInstallation":"no",)"
              R"("redirectString":")" + std::string(63, 'r') + R"(",)"
              R"("redirectStringENC":"aHR0cHM6Ly8xOTIuMTY4LjEuMS9zdGFydC5odG0=",)"
              R"("errorReason":"success"})");
    for (const char* f : kSsoFiles) EXPECT_TRUE(r.exists(f)) << f << " is not ours to remove";

    // Only the result left behind: every other member falls back to "".
    Scenario partial;
    partial.remove.assign(std::begin(kSsoFiles), std::end(kSsoFiles) - 1);
    doc = run_event("eventtype7", 7, "ssorapLoginEvent", partial);
    EXPECT_EQ(text(doc.get(), "ssorapLoginEvent"),
              R"({"ssorapEventType":"","ssorapSubEventType":"","fromIP":"","internetStatus":"",)"
              R"("duringInstallation":"","redirectString":"","redirectStringENC":"",)"
              R"("errorReason":"success"})");
}

TEST(SmallEvents, FlashDebugLogIsOneRecord) {
    REQUIRE_SIM();
    SimJson doc = run_event("eventtype10", 10, "dbgLogs");
    ASSERT_TRUE(doc);
    const std::string logs = text(doc.get(), "dbgLogs");
    const std::string head = R"([{"dbglogType":"Flash","dbglevel":"Debug","dbgSource":"Device",)"
                             R"x("dbgSummary":"UBI info (image)","dbgArg1":"1016","dbgArg2":"0",)x"
                             R"("dbgMsg":"Volumes count:)";
    const std::string tail = R"(Present volumes:                         0, 1, 2\n"}])";
    EXPECT_EQ(logs.rfind(head, 0), 0u) << logs;
    ASSERT_GE(logs.size(), tail.size());
    EXPECT_EQ(logs.substr(logs.size() - tail.size()), tail);
    EXPECT_EQ(json_object_array_length(json_at(doc.get(), "dbgLogs")), 1u);
}

TEST(SmallEvents, InternetDisconnectEventAndMarkers) {
    REQUIRE_SIM();
    Scenario sc;
    sc.store["disconn_timestamp"] = "1700000000";
    sc.store["gwDisconnDuration"] = "12";
    sc.remove = {"/tmp/router-analytics/disconn_reason"};
    SimResult r;
    SimJson doc = run_event("eventtype5", 5, "InternetDisconnEvent", sc, &r);
    EXPECT_EQ(text(doc.get(), "InternetDisconnEvent"),
              R"({"disconnTimeStamp":1700000000,"recoveredTimeStamp":1700000300,)"
              R"("internetDisconnDuration":300,"gwDisconnDuration":120,"internetConfig":"DHCP",)"
              R"("InternetDisconnReason":"ISP gateway not response"})");
    // Markers reset for the next outage; the running total saved.
    EXPECT_EQ(r.store("disconn_timestamp"), "0");
    EXPECT_FALSE(r.exists("/tmp/router-analytics/recovered_timestamp"));
    EXPECT_FALSE(r.exists("/tmp/router-analytics/disconn_reason"));
    EXPECT_EQ(r.file("/tmp/router-analytics/gw_disconn_duration"), "12\n");

    // The saved total comes from the store and is written as text, never run
    // (whether unquoted, single- or double-quoted, one of these would run).
    const std::string hostile = "1; touch /tmp/pwned ' $(touch /tmp/pwned) '";
    Scenario bad;
    bad.store["gwDisconnDuration"] = hostile;
    run_event("eventtype5", 5, "InternetDisconnEvent", bad, &r);
    EXPECT_FALSE(r.exists("/tmp/pwned"));
    EXPECT_EQ(r.file("/tmp/router-analytics/gw_disconn_duration"), hostile + "\n");
}
