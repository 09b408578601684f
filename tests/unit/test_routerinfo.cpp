// Parsers of routerInfo's sources: routes and neighbours, the flash tools and
// debug log, the CPU collector file, the thermal sensor files, the firmware
// and SSO registration members and the Internet disconnect event. Each
// source as the sample router has it is pinned by the golden documents.
#include "collect_eventtype5.h"
#include "collect_otp.h"
#include "collect_router.h"
#include "collect_router_dbglog.h"
#include "collect_router_gateway.h"
#include "collect_ssorap.h"
#include "test_util.h"

namespace {

const char kRouteHeader[] =
    "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n";
const char kArp[] =
    "IP address       HW type     Flags       HW address            Mask     Device\n"
    "192.168.1.23     0x1         0x2         3c:22:fb:11:aa:01     *        br0\n"
    "203.0.113.1      0x1         0x2         a4:91:b1:0c:22:7e     *        brwan\n"
    "192.168.100.1    0x1         0x2         00:1d:d5:9a:3c:11     *        brwan\n";

std::string gateway_ip(const std::string& route) {
    char ip[16] = "unset";
    return gateway_ip_from(TextFile(route), ip) ? ip : "<none>";
}

std::string gateway_mac(const std::string& arp, const char* ip) {
    char mac[32] = "unset";
    return gateway_mac_from(TextFile(arp), ip, mac) ? mac : "<none>";
}

std::string cpu(const std::string& file) { return json_text(JsonPtr(cpu_average_from(TextFile(file)))); }

std::string sensor(const std::string& file, bool board) {
    return json_text(JsonPtr(parse_sensor_file(TextFile(file), board)));
}

TEST(RouterInfoParsers, RouteLines) {
    struct { std::string route; const char* gateway; } cases[] = {
        {std::string(kRouteHeader) + "brwan\t007100CB\t00000000\t0001\t0\n"
                                     "brwan\t00000000\t017100CB\t0003\t0\n",
         "203.0.113.1"},
        {"br0 00000000 0100A8C0\n", "192.168.0.1"},  // three fields are enough
        {"eth0 00000000 1FFFFFFFF 0003\nbr0 00000000 zz\nbr0 0 0101A8C0\n", "192.168.1.1"},
        {std::string(100000, 'x'), "<none>"}, {std::string("\0\0\xff 00000000 01\n", 16), "<none>"},
    };
    for (const auto& c : cases) EXPECT_EQ(gateway_ip(c.route), c.gateway) << c.route.substr(0, 80);

    char ifname[16];
    uint32_t dest = 1, gw = 1;
    EXPECT_TRUE(parse_route_line("a-very-long-interface-name 0 0", ifname, &dest, &gw));
    EXPECT_STREQ(ifname, "a-very-long-int");
    EXPECT_FALSE(parse_route_line("Iface Destination Gateway", ifname, &dest, &gw));
}

TEST(RouterInfoParsers, ArpLines) {
    // A line without a MAC is skipped, 17 characters kept; the first line of
    // the modem decides.
    expect_all(
        {{gateway_mac(kArp, "203.0.113.2"), "<none>"},
         {gateway_mac("10.0.0.1 0x1 0x2\n10.0.0.1 0x1 0x2 aa:bb:cc:dd:ee:ff:00:11\n", "10.0.0.1"),
          "aa:bb:cc:dd:ee:ff"},
         {cable_modem_mac_from(TextFile("192.168.100.1 0x1 0x0\n192.168.100.1 0x1 0x2 aa\n")), ""},
         {cable_modem_mac_from(TextFile("192.168.100.1\t0x1\t0x2\t$(reboot)`x`;;aaaaaa\n")),
          "$(reboot)`x`;;aaa"},
         {get_mac_oui(""), "na"}});
}

TEST(RouterInfoParsers, FlashToolOutput) {
    struct { std::string output; const char* phrase; size_t offset; const char* count; } cases[] = {
        {"NUMBER OF BAD BLOCKS: 17 (of 1024)\n", "Number of bad blocks", 22, "17"},
        {"Number of bad blocks:\nNumber of bad blocks: x\nNumber of bad blocks: 5\n",
         "Number of bad blocks", 22, "5"},  // keeps searching past lines without a number
        {"Number of bad blocks", "Number of bad blocks", 22, ""},
        {"Amount of eraseblocks: 1024\n", "Amount of eraseblocks", 32, ""},
        {"Amount of eraseblocks:          " + std::string(100, '9') + "\n", "Amount of eraseblocks",
         32, "9999999999999999999999999999999"},
        {std::string(100000, 'N'), "Number of bad blocks", 22, ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(nand_count_from(TextFile(c.output), c.phrase, c.offset), c.count)
            << c.output.substr(0, 60);
}

TEST(RouterInfoParsers, CpuCollectorFile) {
    const std::string zeros4 = R"("cpuAveByCores":[0.00,0.00,0.00,0.00])";
    struct { std::string file; std::string want; } cases[] = {
        // Single precision on the overall average only (0.005f is below
        // 0.005); five bytes per core.
        {"0.005\n0.005,12.3456789\n2\n5\n",
         R"({"cpuAveAll":0.00,"totalCoreNumber":2,"cpuAveByCores":[0.01,12.34],"highCpuTime":5})"},
        {"", R"({"cpuAveAll":0.00,"totalCoreNumber":4,)" + zeros4 + R"(,"highCpuTime":0})"},
        // Out of range: infinities print null, the core count falls back.
        {"1e99\n1e9,nan,-inf\n1000\n99999999999999999999\n",
         R"({"cpuAveAll":null,"totalCoreNumber":4,"cpuAveByCores":[1000000000.00,null,null,0.00],)"
         R"("highCpuTime":2147483647})"},
        // One long line comes in 127-character pieces.
        {std::string(100000, '7'),
         R"({"cpuAveAll":null,"totalCoreNumber":4,"cpuAveByCores":[77777.00,0.00,0.00,0.00],)"
         R"("highCpuTime":2147483647})"},
    };
    for (const auto& c : cases) EXPECT_EQ(cpu(c.file), c.want) << c.file.substr(0, 60);
    EXPECT_EQ(json_text(JsonPtr(cpu_average_from(nullptr))),
              R"({"cpuAveAll":0.00,"totalCoreNumber":4,)" + zeros4 + R"(,"highCpuTime":0})");

    EXPECT_EQ(high_mem_time_from(TextFile("61.5\n")), 0);  // two lines: the golden routerInfo
    EXPECT_EQ(high_mem_time_from(nullptr), 0);
}

TEST(ThermalSensors, Files) {
    struct { std::string file; bool board; const char* want; } cases[] = {
        // The board knows only code 1 as triggered; members follow the lines.
        {"otpTriggerStatus=2\notpTriggerLongestDuration=120\nName=board\n", true,
         R"({"otpTriggerStatus":"Unknown","otpTriggerLongestDuration":2,"Name":"board"})"},
        {"otpTriggerStatus=3\notpEnable=true\n", false,
         R"({"otpTriggerStatus":"Triggered","otpEnable":false})"},
        {"otpTriggerStatus=\nhighestTemp= 40\nlowestTemp=\nName=\n", false,
         R"({"otpTriggerStatus":"Unknown","highestTemp":0,"lowestTemp":0,"Name":""})"},
        {"\nName=wifi0\n", false, "{}"},  // a blank first line ends the file
        {"highestTemp=99999999999\notpTriggerLongestDuration=-119\n", false,
         R"({"highestTemp":2147483647,"otpTriggerLongestDuration":-1})"},
        {std::string(100000, 'x'), false, "{}"},
        {std::string("Name=\xff\xfe\0x\n", 9), false, "{\"Name\":\"\xEF\xBF\xBD\xEF\xBF\xBD\"}"},
    };
    for (const auto& c : cases) EXPECT_EQ(sensor(c.file, c.board), c.want) << c.file.substr(0, 60);
    EXPECT_EQ(json_text(JsonPtr(parse_sensor_file(nullptr, false))), "{}");
    EXPECT_EQ(get_sensor_json(1, 2), nullptr);
}

const char kUbinfo[] =
    "ubi0\n"
    "Volumes count:                           3\n"
    "Total amount of logical eraseblocks:     1016 (129007616 bytes, 123.0 MiB)\n"
    "Count of bad physical eraseblocks:       0\n";

std::string ubinfo(const std::string& out, const char* item) {
    return dbgLogs_ubinfo_text(out.data(), out.size(), item);
}

std::string event5(const char* start, const char* recovered, const char* gw, const char* saved,
                   const char* proto, const char* reason) {
    return json_text(JsonPtr(build_internetDisconnEvent({start, recovered, gw, saved, proto, reason})));
}

TEST(DbgLogsUbinfo, ParsesToolOutput) {
    // The tool's whole output is the sample router's (golden eventtype10).
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
using RouterInfoMembers = TempDirTest;

TEST_F(RouterInfoMembers, FirmwareAndSsoRegistration) {
    const char* flag = "/tmp/dgc_func_have_sso";
    config_set("update_time", std::string(100, 'u').c_str());
    config_set("check_time", "2024_3.7_9:5:0");
    config_set("ssoGuiRegStatus", "Registered");
    const std::string fw = json_text(JsonPtr(get_firmware_json(0)));
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
        return json_text(obj);
    };
    const std::string k = R"({"ssoGuiRegStatus":")", m = R"(","ssoGUIRegNewInstall":")";
    EXPECT_EQ(members(nullptr, "5000"), k + "Unknown" + m + "Unknown\"}");
    EXPECT_EQ(members("0\n", "5000"), k + "Unknown" + m + "No\"}");
    EXPECT_EQ(members("1\n", "1439"), k + "Registered" + m + "Yes - PostInstallUpgrade\"}");
    // A flag of 1 and a day or more since the install is the sample router's.
    unlink(flag);
    setenv("PATH", old_path.c_str(), 1);
}

}  // namespace
