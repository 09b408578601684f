// Parsers and tables of the firmware members, the flash debug log, the SSO
// registration members and the Internet disconnect event.
#include "collect_eventtype5.h"
#include "collect_router.h"
#include "collect_ssorap.h"
#include "config_store.h"
#include "zol_json.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <unistd.h>

namespace {

const char kUbinfo[] =
    "ubi0\n"
    "Volumes count:                           3\n"
    "Total amount of logical eraseblocks:     1016 (129007616 bytes, 123.0 MiB)\n"
    "Count of bad physical eraseblocks:       0\n"
    "Present volumes:                         0, 1, 2\n";

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

void write_file(const std::string& path, const char* content) {
    if (!content) {
        unlink(path.c_str());
        return;
    }
    FILE* f = fopen(path.c_str(), "w");
    ASSERT_NE(f, nullptr) << path;
    fputs(content, f);
    fclose(f);
}

}  // namespace

TEST(DbgLogsUbinfo, ParsesToolOutput) {
    EXPECT_EQ(ubinfo(kUbinfo, "total_blocks"), "1016");
    EXPECT_EQ(ubinfo(kUbinfo, "bad_blocks"), "0");
    EXPECT_EQ(ubinfo(kUbinfo, "info"), strstr(kUbinfo, "Volumes count"));
    EXPECT_EQ(ubinfo("Total amount of logical eraseblocks:\t512\r\n", "total_blocks"), "512");
    EXPECT_EQ(ubinfo("Count of bad blocks unknown", "bad_blocks"), "Count of bad blocks unknown");
    // Missing phrase, unknown item, and then unreadable output (buffer kept, i.e. cleared).
    EXPECT_EQ(ubinfo("ubi0\nnothing useful\n", "total_blocks"), "");
    EXPECT_EQ(ubinfo(kUbinfo, "volumes"), "");
    EXPECT_STREQ(dbgLogs_ubinfo_text(nullptr, 0, "total_blocks"), "");

    // Output longer than the buffer is cut to it; a phrase beyond it is not seen.
    std::string out = kUbinfo + std::string(3000, 'x');
    EXPECT_EQ(ubinfo(out, "total_blocks"), "1016");
    size_t start = out.find("Volumes count");
    EXPECT_EQ(ubinfo(out, "info"), out.substr(start, UBINFO_BUF_SIZE - 1 - start));
    EXPECT_EQ(ubinfo(std::string(2100, ' ') + "Count of bad physical eraseblocks: 7\n", "bad_blocks"),
              "");
}

TEST(InternetDisconnEvent, DurationsReasonsAndLinkKinds) {
    EXPECT_EQ(event5("1700000000", "1700000300", "12", "10", "dhcp", ""),
              R"({"disconnTimeStamp":1700000000,"recoveredTimeStamp":1700000300,)"
              R"("internetDisconnDuration":300,"gwDisconnDuration":120,"internetConfig":"DHCP",)"
              R"("InternetDisconnReason":"ISP gateway not response"})");
    EXPECT_EQ(event5("1700000000", "1700000300", "10", "10", "l2tp", "5"),
              R"({"disconnTimeStamp":1700000000,"recoveredTimeStamp":1700000300,)"
              R"("internetDisconnDuration":300,"gwDisconnDuration":0,"internetConfig":"L2TP",)"
              R"("InternetDisconnReason":"unknown"})");
    // Nothing saved: the whole total counts; no recovery time: -D, as computed.
    EXPECT_EQ(event5("1700000000", "", "3", "", "DHCP", "2"),
              R"({"disconnTimeStamp":1700000000,"recoveredTimeStamp":0,)"
              R"("internetDisconnDuration":-1700000000,"gwDisconnDuration":180,)"
              R"("internetConfig":"Static","InternetDisconnReason":"DNS cannot resolv"})");
    // Garbage counts saturate and wrap like the router's 32-bit longs, no overflow trap.
    EXPECT_EQ(event5("-2147483648", "2147483647", "99999999999", "-99999999999", nullptr, "x"),
              R"({"disconnTimeStamp":-2147483648,"recoveredTimeStamp":2147483647,)"
              R"("internetDisconnDuration":-1,"gwDisconnDuration":-60,)"
              R"("internetConfig":"Static","InternetDisconnReason":"unknown"})");

    EXPECT_STREQ(disconn_reason_text("1", 0), "DUT WAN down");
    EXPECT_STREQ(disconn_reason_text("3", 0), "Server no response");
    EXPECT_STREQ(disconn_reason_text("4", 7), "Reboot");
    EXPECT_STREQ(disconn_reason_text("5", 2), "ISP gateway not response");
    EXPECT_STREQ(disconn_reason_text("0", 1), "ISP gateway not response");
    EXPECT_STREQ(internet_config_name("pppoe"), "PPPoE");
    EXPECT_STREQ(internet_config_name("pptp"), "PPTP");
    EXPECT_STREQ(internet_config_name("static"), "Static");
}

// Both tests below play the firmware's part: a private store, and for SSO
// the flag file on the host's /tmp and a fake pot_tool first on PATH.
TEST(RouterInfoMembers, FirmwareAndSsoRegistration) {
    const char* flag = "/tmp/dgc_func_have_sso";
    if (access(flag, F_OK) == 0) GTEST_SKIP() << flag << " belongs to someone else here";
    char dir[] = "/tmp/router_members_test.XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    std::string d = dir;
    setenv("CONFIG_STORE", (d + "/config.store").c_str(), 1);
    config_set("update_time", std::string(100, 'u').c_str());
    config_set("check_time", "2024_3.7_9:5:0");
    config_set("fwupgrade_Method", "auto");
    config_set("ssoGuiRegStatus", "Registered");

    JsonPtr header(get_firmware_json(0)), info(get_firmware_json(1));
    std::string fw = R"("fwLastUpdate":")" + std::string(63, 'u') + R"(","fwLastChecked":"2024_3.7_9:5:0")";
    EXPECT_NE(text(header).find(fw + "}"), std::string::npos) << text(header);
    EXPECT_NE(text(info).find(fw + R"(,"fwupgrade_Method":"auto"})"), std::string::npos);

    write_file(d + "/pot_tool", "#!/bin/sh\necho 'POT version: 1'\necho \"POT: $(cat \"$0.min\" 2>/dev/null)\"\n");
    ASSERT_EQ(system(("chmod +x " + d + "/pot_tool && mkdir -p /tmp/router-analytics").c_str()), 0);
    std::string old_path = getenv("PATH") ? getenv("PATH") : "/usr/bin:/bin";
    setenv("PATH", (d + ":" + old_path).c_str(), 1);
    auto members = [&](const char* flag_text, const char* minutes) {
        write_file(flag, flag_text);
        write_file(d + "/pot_tool.min", minutes);
        JsonPtr obj(json_object_new_object());
        get_routerInfo_ssoGuiRegStatus(obj.get());
        get_routerInfo_ssoGUIRegNewInstall(obj.get());
        return text(obj);
    };
    auto expect = [](const char* status, const char* install) {
        return std::string(R"({"ssoGuiRegStatus":")") + status + R"(","ssoGUIRegNewInstall":")" +
               install + "\"}";
    };
    EXPECT_EQ(members(nullptr, "5000"), expect("Unknown", "Unknown"));
    EXPECT_EQ(members("0\n", "5000"), expect("Unknown", "No"));
    EXPECT_EQ(members("1\n", "1439"), expect("Registered", "Yes - PostInstallUpgrade"));
    EXPECT_EQ(members("1\n", "1440"), expect("Registered", "Yes"));
    EXPECT_EQ(members("1\n", nullptr), expect("Registered", "Yes - PostInstallUpgrade"));
    EXPECT_EQ(members("", "5000"), expect("Unknown", "Unknown"));
    EXPECT_NE(access("/tmp/router-analytics/pot_time", F_OK), 0);

    unlink(flag);
    setenv("PATH", old_path.c_str(), 1);
    unsetenv("CONFIG_STORE");
    EXPECT_EQ(system(("rm -rf '" + d + "'").c_str()), 0);
}
