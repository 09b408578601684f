// Traffic meter and bandwidth parsers and the speed-test status; the Circle
// agent's output parsers.
#include "collect_circleV2.h"
#include "collect_router.h"
#include "config_store.h"
#include "test_util.h"
#include "zol_json.h"

#include <cstdint>
#include <ctime>
#include <string>

namespace {

std::string text(json_object* o) {
    JsonPtr held(o);
    return held ? json_object_to_json_string_ext(o, JSON_C_TO_STRING_PLAIN) : "<null>";
}

std::string stat_field(const char* line, int which) {
    char out[32];
    traffic_statistics_field(line, which, out, sizeof out);
    return out;
}

circle_status status_of(const std::string& output) { return parse_circle_status(TextFile(output)); }
std::string agent_version(const std::string& output) {
    return parse_circle_agent_version(TextFile(output));
}

class TrafficStore : public TempDirTest {
   protected:
    void set(std::initializer_list<std::pair<const char*, const char*>> kv) {
        for (const auto& [k, v] : kv) config_set(k, v);
    }
};

}  // namespace

TEST(TrafficMeter, StatisticsFields) {
    EXPECT_EQ(stat_field("2024-03-02 12:00 10.25 300.5 x\n", 0), "10.25");
    EXPECT_EQ(stat_field("2024-03-02 12:00 10.25 300.5 x\n", 1), "300.5");
    EXPECT_EQ(stat_field("a b 7\r\n99 100", 1), "0");  // the line ends at CR
    EXPECT_EQ(stat_field("", 0), "0");
    EXPECT_EQ(stat_field(("a b " + std::string(200, '9') + " 4").c_str(), 0), std::string(31, '9'));
}

TEST(TrafficMeter, NetDevLines) {
    struct {
        const char* line;
        const char* ifname;
        bool ok;
        uint64_t rx, tx;
    } cases[] = {
        {" brwan: 8642081620 9011874 0 12 0 0 0 40761 1152306117 4870022 0 0 0 0 0 0\n", "brwan",
         true, 8642081620ull, 1152306117ull},
        {"  ppp0:100 1 0 0 0 0 0 0 200 2 0 0 0 0 0 0", "ppp0", true, 100, 200},
        {"   br0: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16", "brwan", false, 0, 0},
        {" brwan: 1 2 3 4 5 6 7 8", "brwan", false, 0, 0},          // no transmit field
        {" brwan: -5 2 3 4 5 6 7 8 9", "brwan", false, 0, 0},       // negative counter
        {" brwan: 1e99 2 3 4 5 6 7 8 9", "brwan", false, 0, 0},
        {" brwan: 99999999999999999999999 2 3 4 5 6 7 8 9", "brwan", true, UINT64_MAX, 9},
        {"no colon at all brwan", "brwan", false, 0, 0},
    };
    for (const auto& c : cases) {
        uint64_t rx = 0, tx = 0;
        EXPECT_EQ(parse_net_dev_line(c.line, c.ifname, &rx, &tx), c.ok) << c.line;
        if (c.ok) {
            EXPECT_EQ(rx, c.rx) << c.line;
            EXPECT_EQ(tx, c.tx) << c.line;
        }
    }
}

TEST(TrafficMeter, DeltaWrapsAt32Bits) {
    EXPECT_EQ(traffic_delta(100, 4294967200ull), 196u);
    EXPECT_EQ(traffic_delta(5000, 1000), 4000u);
    EXPECT_EQ(traffic_delta(7, 7), 0u);
    EXPECT_EQ(traffic_delta(0, UINT64_MAX), (1ull << 32) + 1);
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
        {"", when, "", false},
    };
    for (const auto& c : cases) {
        char out[64];
        bool stale = !c.stale;
        speedtest_time_text(c.raw, c.now, out, sizeof out, &stale);
        EXPECT_STREQ(out, c.text) << c.raw;
        EXPECT_EQ(stale, c.stale) << c.raw;
    }
}

TEST_F(TrafficStore, ControlType) {
    struct {
        const char *time, *limit, *type;
    } cases[] = {{"1", "2", "connection time control"}, {"0", "0", "traffic volume-nolimit"},
                 {"0", "1", "traffic volume-download"}, {"", "2", "traffic volume-bi-direction"},
                 {"0", "3", ""}};
    for (const auto& c : cases) {
        set({{"endis_traffic", "1"}, {"ctrl_volumn_time", c.time}, {"limit", c.limit}});
        EXPECT_EQ(text(get_trafficMeter_json()),
                  std::string(R"({"enabled":true,"controlType":")") + c.type + "\"}");
    }
}

TEST_F(TrafficStore, OoklaStatusAndWhatItRemembers) {
    struct {
        const char *last, *old, *cur, *prev;
        int status;
        const char* remembered;  // old_last_speedtest_time afterwards
    } cases[] = {
        {"", "x", "1", "1", 2, "x"},
        {"t2", "t1", "12500000", "", 0, "t2"},
        {"t2", "t1", "12500000", "12500000", 1, "t1"},
        {"t2", "t1", "", "", 3, "t1"},
        {"t2", "t1", "", "9", 1, "t1"},
        {"t1", "t1", "12500000", "9", 4, "t1"},
        {"t1", "t1", "9", "9", 1, "t1"},
    };
    for (const auto& c : cases) {
        set({{"last_speedtest_time", c.last}, {"old_last_speedtest_time", c.old},
             {"ookla_downlimit", c.cur}, {"old_ookla_downlimit", c.prev},
             {"ookla_averageping", "12"}, {"old_ookla_averageping", "30"}});
        EXPECT_EQ(get_ookla_data_status(), c.status) << c.last << "/" << c.cur << "/" << c.prev;
        EXPECT_STREQ(config_get("old_last_speedtest_time"), c.remembered);
        EXPECT_STREQ(config_get("old_ookla_averageping"), c.status == 0 ? "12" : "30");
    }
}

TEST_F(TrafficStore, BandwidthDocument) {
    set({{"last_speedtest_time", "t2"}, {"old_last_speedtest_time", "t1"},
         {"ookla_downlimit", "12500000"}, {"ookla_uplimit", "2500000"},
         {"ookla_averageping", "12"}, {"old_ookla_downlimit", ""}});
    EXPECT_EQ(text(get_bandwidth_json()),
              R"({"downloadSpeed":100.00,"uploadSpeed":20.00,"averagePing":12.00,)"
              R"("lastTestTime":"t2","speedtestResults":"Success"})");
    // Reported again: unchanged figures are the previous ones and failed.
    set({{"old_ookla_downlimit", "12500000"}, {"old_ookla_uplimit", "1e999"},
         {"old_ookla_averageping", ""}});
    EXPECT_EQ(text(get_bandwidth_json()),
              R"({"downloadSpeed":100.00,"uploadSpeed":null,"averagePing":0.00,)"
              R"("lastTestTime":"t2","speedtestResults":"Failed"})");
    // Manual bandwidth takes its own keys and the result switch.
    set({{"bandwidth_type", "1"}, {"downlimit", "1000000"}, {"uplimit", ""},
         {"averageping", "7"}, {"show_speedtest_result", "1"}});
    EXPECT_EQ(text(get_bandwidth_json()),
              R"({"downloadSpeed":8.00,"uploadSpeed":0.00,"averagePing":7.00,)"
              R"("lastTestTime":"t2","speedtestResults":"Success"})");
    set({{"last_speedtest_time", ""}});
    EXPECT_EQ(text(get_bandwidth_json()),
              R"({"downloadSpeed":null,"uploadSpeed":null,"averagePing":null,)"
              R"("lastTestTime":null,"speedtestResults":null})");
}

TEST(Circle, VersionAndStatus) {
    for (auto [line, version] : {std::pair{"2.0.1", 2}, {"1.5", 1}, {"", 0}, {" 2", 0}, {"v2", 0}})
        EXPECT_EQ(circle_version_from_text(line), version) << line;

    circle_status st = status_of(
        "Circle Running: true rclient:   connected\nCircle Provisioned: true\n");
    EXPECT_TRUE(st.running);
    EXPECT_FALSE(st.online);  // the first rule that matches a line wins
    EXPECT_TRUE(st.provisioned);

    st = status_of("rclient:   connected\nCircle Running: true");
    EXPECT_TRUE(st.online);
    EXPECT_FALSE(st.running);  // the last character of every line is dropped
    st = status_of("rclient:  connected\n" + std::string(300, 'x') +
                             "Circle Provisioned: true\n\n");
    EXPECT_FALSE(st.online);
    EXPECT_TRUE(st.provisioned);
    st = status_of(std::string("\0\xff\n", 3));
    EXPECT_FALSE(st.running || st.online || st.provisioned);
}

TEST(Circle, AgentVersion) {
    EXPECT_EQ(agent_version("Build: x\nCircle Agent Version: 2.6.1-rc2 (arm)\n"
                                         "Circle Agent Version: 9\n"),
              "2.6.1-rc2");
    EXPECT_EQ(agent_version("Circle Agent Version:\n"), "");
    EXPECT_EQ(agent_version("version 2.6\n"), "");
    EXPECT_EQ(agent_version("Circle Agent Version: " + std::string(500, 'v')).size(),
              127u);
}
