// Parsers of the flash debug log, the firmware and SSO registration members
// and the Internet disconnect event.
#include "collect_eventtype5.h"
#include "collect_router.h"
#include "collect_router_dbglog.h"
#include "collect_ssorap.h"
#include "config_store.h"
#include "test_util.h"
#include "zol_json.h"

#include <cstring>
#include <string>

#include <unistd.h>

namespace {

const char kUbinfo[] =
    "ubi0\n"
    "Volumes count:                           3\n"
    "Total amount of logical eraseblocks:     1016 (129007616 bytes, 123.0 MiB)\n"
    "Count of bad physical eraseblocks:       0\n";

std::string ubinfo(const std::string& out, const char* item) {
    return dbgLogs_ubinfo_text(out.data(), out.size(), item);
}

// Compact text of an object: member order, types and values at once.
std::string text(const JsonPtr& obj) {
    return obj ? json_object_to_json_string_ext(obj.get(), JSON_C_TO_STRING_PLAIN) : "<null>";
}

std::string event5(const char* start, const char* recovered, const char* gw, const char* saved,
                   const char* proto, const char* reason) {
    return text(JsonPtr(build_internetDisconnEvent({start, recovered, gw, saved, proto, reason})));
}

}  // namespace

TEST(DbgLogsUbinfo, ParsesToolOutput) {
    EXPECT_EQ(ubinfo(kUbinfo, "total_blocks"), "1016");
    EXPECT_EQ(ubinfo(kUbinfo, "bad_blocks"), "0");
    EXPECT_EQ(ubinfo(kUbinfo, "info"), strstr(kUbinfo, "Volumes count"));
    EXPECT_EQ(ubinfo("ubi0\nnothing useful\n", "total_blocks"), "");
    EXPECT_STREQ(dbgLogs_ubinfo_text(nullptr, 0, "total_blocks"), "");

    // Output longer than the 2048-byte buffer is cut to it; a phrase beyond it is not seen.
    std::string out = kUbinfo + std::string(3000, 'x');
    EXPECT_EQ(ubinfo(out, "total_blocks"), "1016");
    EXPECT_EQ(ubinfo(out, "info").size(), UBINFO_BUF_SIZE - 1 - out.find("Volumes count"));
    EXPECT_EQ(ubinfo(std::string(2100, ' ') + "Count of bad physical eraseblocks: 7\n", "bad_blocks"),
              "");
}

TEST(InternetDisconnEvent, FallbacksAndWrapping) {
    // Nothing saved: the whole total counts; no recovery time gives -D; code
    // "5" reads like an empty reason; the proto names are case-sensitive.
    EXPECT_EQ(event5("1700000000", "", "3", "", "DHCP", "5"),
              R"({"disconnTimeStamp":1700000000,"recoveredTimeStamp":0,)"
              R"("internetDisconnDuration":-1700000000,"gwDisconnDuration":180,)"
              R"("internetConfig":"Static","InternetDisconnReason":"ISP gateway not response"})");
    // Garbage counts saturate and wrap like the router's 32-bit longs, no overflow trap.
    EXPECT_EQ(event5("-2147483648", "2147483647", "99999999999", "-99999999999", nullptr, "x"),
              R"({"disconnTimeStamp":-2147483648,"recoveredTimeStamp":2147483647,)"
              R"("internetDisconnDuration":-1,"gwDisconnDuration":-60,)"
              R"("internetConfig":"Static","InternetDisconnReason":"unknown"})");
    EXPECT_STREQ(disconn_reason_text("5", 0), "unknown");
    EXPECT_STREQ(disconn_reason_text("", 0), "unknown");
}

// Plays the firmware's part: the flag file on the host's /tmp and a fake
// pot_tool first on PATH.
class RouterInfoMembers : public TempDirTest {};

TEST_F(RouterInfoMembers, FirmwareAndSsoRegistration) {
    const char* flag = "/tmp/dgc_func_have_sso";
    config_set("update_time", std::string(100, 'u').c_str());
    config_set("check_time", "2024_3.7_9:5:0");
    config_set("ssoGuiRegStatus", "Registered");
    const std::string fw = text(JsonPtr(get_firmware_json(0)));
    EXPECT_NE(fw.find(R"("fwLastUpdate":")" + std::string(63, 'u') +
                      R"(","fwLastChecked":"2024_3.7_9:5:0"})"),
              std::string::npos) << fw;

    put("pot_tool", "#!/bin/sh\necho 'POT version: 1'\necho \"POT: $(cat \"$0.min\")\"\n");
    ASSERT_EQ(system(("chmod +x " + path("pot_tool") + " && mkdir -p /tmp/router-analytics").c_str()), 0);
    std::string old_path = getenv("PATH") ? getenv("PATH") : "/usr/bin:/bin";
    setenv("PATH", (dir_ + ":" + old_path).c_str(), 1);
    auto members = [&](const char* flag_text, const char* minutes) {
        if (flag_text) std::ofstream(flag) << flag_text; else unlink(flag);
        put("pot_tool.min", minutes);
        JsonPtr obj(json_object_new_object());
        get_routerInfo_ssoGuiRegStatus(obj.get());
        get_routerInfo_ssoGUIRegNewInstall(obj.get());
        return text(obj);
    };
    const std::string k = R"({"ssoGuiRegStatus":")", m = R"(","ssoGUIRegNewInstall":")";
    EXPECT_EQ(members(nullptr, "5000"), k + "Unknown" + m + "Unknown\"}");
    EXPECT_EQ(members("0\n", "5000"), k + "Unknown" + m + "No\"}");
    EXPECT_EQ(members("1\n", "1439"), k + "Registered" + m + "Yes - PostInstallUpgrade\"}");
    EXPECT_EQ(members("1\n", "1440"), k + "Registered" + m + "Yes\"}");
    EXPECT_NE(access("/tmp/router-analytics/pot_time", F_OK), 0);
    unlink(flag);
    setenv("PATH", old_path.c_str(), 1);
}
