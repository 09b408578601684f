// Parsers of routerInfo's sources: routes and neighbours, the flash tools,
// the CPU collector file and the thermal sensor files.
#include <cstdint>
#include <string>

#include "collect_otp.h"
#include "collect_router.h"
#include "collect_router_gateway.h"
#include "test_util.h"
#include "zol_json.h"

namespace {

std::string text(json_object* o) {
    JsonPtr held(o);
    return held ? json_object_to_json_string_ext(o, JSON_C_TO_STRING_PLAIN) : "<null>";
}

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

std::string cpu(const std::string& file) { return text(cpu_average_from(TextFile(file))); }

std::string sensor(const std::string& file, bool board) {
    return text(parse_sensor_file(TextFile(file), board));
}

}  // namespace

TEST(RouterInfoParsers, RouteLines) {
    struct {
        std::string route;
        const char* gateway;
    } cases[] = {
        {std::string(kRouteHeader) + "brwan\t007100CB\t00000000\t0001\t0\n"
                                     "brwan\t00000000\t017100CB\t0003\t0\n",
         "203.0.113.1"},
        {"br0 00000000 0100A8C0\n", "192.168.0.1"},  // three fields are enough
        {"eth0 00000000 1FFFFFFFF 0003\nbr0 00000000 zz\nbr0 0 0101A8C0\n", "192.168.1.1"},
        {std::string(100000, 'x'), "<none>"},
        {std::string("\0\0\xff 00000000 01\n", 16), "<none>"},
    };
    for (const auto& c : cases) EXPECT_EQ(gateway_ip(c.route), c.gateway) << c.route.substr(0, 80);

    char ifname[16];
    uint32_t dest = 1, gw = 1;
    EXPECT_TRUE(parse_route_line("a-very-long-interface-name 0 0", ifname, &dest, &gw));
    EXPECT_STREQ(ifname, "a-very-long-int");
    EXPECT_FALSE(parse_route_line("Iface Destination Gateway", ifname, &dest, &gw));
}

TEST(RouterInfoParsers, ArpLines) {
    EXPECT_EQ(gateway_mac(kArp, "203.0.113.1"), "a4:91:b1:0c:22:7e");
    EXPECT_EQ(gateway_mac(kArp, "203.0.113.2"), "<none>");
    EXPECT_EQ(
        gateway_mac("10.0.0.1 0x1 0x2\n10.0.0.1 0x1 0x2 aa:bb:cc:dd:ee:ff:00:11\n", "10.0.0.1"),
        "aa:bb:cc:dd:ee:ff");  // a line without a MAC is skipped; 17 characters kept
    EXPECT_EQ(cable_modem_mac_from(TextFile(kArp)), "00:1d:d5:9a:3c:11");
    EXPECT_EQ(cable_modem_mac_from(TextFile("192.168.100.1 0x1 0x0\n192.168.100.1 0x1 0x2 aa\n")),
              "");  // the first line of the modem decides
    EXPECT_EQ(cable_modem_mac_from(TextFile("192.168.100.1\t0x1\t0x2\t$(reboot)`x`;;aaaaaa\n")),
              "$(reboot)`x`;;aaa");

    EXPECT_STREQ(get_mac_oui("00:1d:d5:9a:3c:11"), "001DD5");
    EXPECT_STREQ(get_mac_oui(""), "na");
}

TEST(RouterInfoParsers, FlashToolOutput) {
    struct {
        std::string output;
        const char* phrase;
        size_t offset;
        const char* count;
    } cases[] = {
        {"ECC failed: 0\nNumber of bad blocks: 2\nNumber of bbt blocks: 4\n",
         "Number of bad blocks", 22, "2"},
        {"NUMBER OF BAD BLOCKS: 17 (of 1024)\n", "Number of bad blocks", 22, "17"},
        {"Number of bad blocks:\nNumber of bad blocks: x\nNumber of bad blocks: 5\n",
         "Number of bad blocks", 22, "5"},  // keeps searching past lines without a number
        {"Number of bad blocks", "Number of bad blocks", 22, ""},
        {"Amount of eraseblocks:          1024 (134217728 bytes, 128.0 MiB)\n",
         "Amount of eraseblocks", 32, "1024"},
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
    struct {
        std::string file;
        std::string want;
    } cases[] = {
        {"23.7\n31.2,18.4,25.0,20.1\n4\n120\n",
         R"({"cpuAveAll":23.70,"totalCoreNumber":4,"cpuAveByCores":[31.20,18.40,25.00,20.10],)"
         R"("highCpuTime":120})"},
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
    EXPECT_EQ(text(cpu_average_from(nullptr)),
              R"({"cpuAveAll":0.00,"totalCoreNumber":4,)" + zeros4 + R"(,"highCpuTime":0})");

    EXPECT_EQ(high_mem_time_from(TextFile("61.5\n360\n")), 360);
    EXPECT_EQ(high_mem_time_from(TextFile("61.5\n")), 0);
    EXPECT_EQ(high_mem_time_from(nullptr), 0);
}

TEST(ThermalSensors, Files) {
    struct {
        std::string file;
        bool board;
        const char* want;
    } cases[] = {
        {"Name=wifi1\nhighestTemp=88\nlowestTemp=41\notpEnable=True\notpTriggerStatus=2\n"
         "otpTriggerCount=3\notpTriggerLongestDuration=119\n",
         false,
         R"({"Name":"wifi1","highestTemp":88,"lowestTemp":41,"otpEnable":true,)"
         R"("otpTriggerStatus":"Triggered","otpTriggerCount":3,"otpTriggerLongestDuration":1})"},
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
    EXPECT_EQ(text(parse_sensor_file(nullptr, false)), "{}");
    EXPECT_EQ(get_sensor_json(1, 2), nullptr);
}
