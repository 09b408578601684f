// Traffic meter parsers, the speed-test time and the Circle agent's outputs.
// (The speed-test statuses and the counter wrap run in the simulated router.)
#include <cstdint>
#include <ctime>
#include <string>

#include "collect_circleV2.h"
#include "collect_router_traffic.h"
#include "config_store.h"
#include "test_util.h"
#include "zol_json.h"

namespace {

std::string stat_field(const std::string& line, int which) {
    char out[32];
    traffic_statistics_field(line.c_str(), which, out, sizeof out);
    return out;
}

std::string net_dev(const char* line, const char* ifname) {
    uint64_t rx = 0, tx = 0;
    if (!parse_net_dev_line(line, ifname, &rx, &tx)) return "-";
    return std::to_string(rx) + "/" + std::to_string(tx);
}

}  // namespace

TEST(TrafficMeter, Parsers) {
    EXPECT_EQ(stat_field("2024-03-02 12:00 10.25 300.5 x\n", 0), "10.25");
    EXPECT_EQ(stat_field("2024-03-02 12:00 10.25 300.5 x\n", 1), "300.5");
    EXPECT_EQ(stat_field("a b 7\r\n99 100", 1), "0");  // the line ends at CR
    EXPECT_EQ(stat_field("a b " + std::string(200, '9') + " 4", 0), std::string(31, '9'));

    EXPECT_EQ(net_dev(" brwan: 8642081620 9 0 12 0 0 0 40761 1152306117 4 0 0 0 0 0 0\n", "brwan"),
              "8642081620/1152306117");
    EXPECT_EQ(net_dev("   br0: 1 2 3 4 5 6 7 8 9 10", "brwan"), "-");
    EXPECT_EQ(net_dev(" brwan: 1 2 3 4 5 6 7 8", "brwan"), "-");  // no transmit field
    EXPECT_EQ(net_dev(" brwan: -5 2 3 4 5 6 7 8 9", "brwan"), "-");
    EXPECT_EQ(net_dev(" brwan: 99999999999999999999999 2 3 4 5 6 7 8 9", "brwan"),
              "18446744073709551615/9");
    EXPECT_EQ(traffic_delta(0, UINT64_MAX), (1ull << 32) + 1);  // wraps without overflow
}

TEST(SpeedTest, TimeText) {
    struct tm t {};
    strptime("14:05 Mar 02, 2024", "%R %b %d, %Y", &t);
    t.tm_isdst = -1;
    time_t when = mktime(&t);
    struct {
        const char* raw;
        time_t now;
        const char* text;
        bool stale;
    } cases[] = {
        {"14:05 Mar 02, 2024", when + 86400, "2024_03.02_14:05:00", false},
        {"14:05 Mar 02, 2024", when + 86401, "2024_03.02_14:05:00", true},
        {"2024-03-02 14:05", when + 999999, "2024-03-02 14:05", false},
        {"garbage, 1", when, "garbage, 1", false},
    };
    for (const auto& c : cases) {
        char out[64];
        bool stale = !c.stale;
        speedtest_time_text(c.raw, c.now, out, sizeof out, &stale);
        EXPECT_STREQ(out, c.text) << c.raw;
        EXPECT_EQ(stale, c.stale) << c.raw;
    }
}

class TrafficMeterSetting : public TempDirTest {};

TEST_F(TrafficMeterSetting, ControlType) {
    struct {
        const char *time, *limit, *type;
    } cases[] = {{"1", "2", "connection time control"},
                 {"0", "0", "traffic volume-nolimit"},
                 {"0", "1", "traffic volume-download"},
                 {"", "2", "traffic volume-bi-direction"},
                 {"0", "3", ""}};
    config_set("endis_traffic", "1");
    for (const auto& c : cases) {
        config_set("ctrl_volumn_time", c.time);
        config_set("limit", c.limit);
        JsonPtr obj(get_trafficMeter_json());
        EXPECT_STREQ(json_object_to_json_string_ext(obj.get(), JSON_C_TO_STRING_PLAIN),
                     (std::string(R"({"enabled":true,"controlType":")") + c.type + "\"}").c_str());
    }
}

TEST(Circle, Outputs) {
    for (auto [line, version] : {std::pair{"2.0.1", 2}, {"1.5", 1}, {"", 0}, {" 2", 0}})
        EXPECT_EQ(circle_version_from_text(line), version) << line;

    auto status = [](const std::string& out) {
        circle_status st = parse_circle_status(TextFile(out));
        return std::string(st.running ? "R" : "") + (st.online ? "O" : "") +
               (st.provisioned ? "P" : "");
    };
    // The first rule that matches a line wins.
    EXPECT_EQ(status("Circle Running: true rclient:   connected\nCircle Provisioned: true\n"),
              "RP");
    // Every line loses its last character, line end or not.
    EXPECT_EQ(status("rclient:   connected\nCircle Running: true"), "O");
    EXPECT_EQ(
        status("rclient:  connected\n" + std::string(300, 'x') + "Circle Provisioned: true\n"),
        "P");
    EXPECT_EQ(status(std::string("\0\xff\n", 3)), "");

    auto version = [](const std::string& out) { return parse_circle_agent_version(TextFile(out)); };
    EXPECT_EQ(version("Build: x\nCircle Agent Version: 2.6.1-rc2 (arm)\nCircle Agent Version: 9\n"),
              "2.6.1-rc2");
    EXPECT_EQ(version("Circle Agent Version:\n"), "");
    EXPECT_EQ(version("Circle Agent Version: " + std::string(500, 'v')).size(), 127u);
}
