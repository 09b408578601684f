// Connect-event log lines, the satellite MAC conversion, reading logs that
// are shorter than counted, the scratch window that must trim exactly like the
// whole list, and the wifiAnalytics counter arithmetic.
#include "collect_wifi_analytics.h"
#include "collect_wifi_connect.h"
#include "event_document.h"
#include "test_util.h"

using namespace std::string_literals;

TEST(ConnectLogLine, SplitsAsStrtokDoes) {
    using V = std::vector<std::string>;
    const std::pair<std::string, V> cases[] = {
        {"aa:bb,wl1,1700000000,1,3,-45\n", {"aa:bb", "wl1", "1700000000", "1", "3", "-45"}},
        {"m,,17,1,3,-45\n", {"m", "17", "1", "3", "-45\n", ""}},  // empty fields collapse
        {"m,wl1,17,1,3\n", {"m", "wl1", "17", "1", "3\n", ""}},
        {"m,wl1,17,1,3,-50,extra\n", {"m", "wl1", "17", "1", "3", "-50"}},
        {",,,\n", {"\n", "", "", "", "", ""}}, {"", {"", "", "", "", "", ""}},
        {"\xff\x01,w\x80,1\0,2"s, {"\xff\x01", "w\x80", "1", "", "", ""}},
    };
    for (auto [line, want] : cases) {
        ConnectLogFields f = split_connect_log_line(&line[0]);
        EXPECT_EQ((V{f.mac, f.ifname, f.time, f.code, f.reason, f.rssi}), want) << line;
    }
}

TEST(SatelliteMac, OffsetBorrowAndMalformedTexts) {
    const struct { const char *ifname, *mac; bool three_radio; const char* want; } cases[] = {
        {"wl1.2", "AA:BB:CC:00:00:01", false, "aa:bb:cc:00:ff:ff"},  // the borrow stops at byte 4
        {"wl0.2", "11:22:33:44:55:02", true, "11:22:33:44:54:ff"}, {"wl0.2", "11:22:33:44:55:02", false, "11:22:33:44:55:00"},
        {"wl1.2", "11:22:33:44:55:10", true, "11:22:33:44:55:0e"}, {"wl1.2", "aa:bb:cc:05:00:01", false, "aa:bb:cc:04:ff:ff"},
        // Wrong lengths and forms: parsing stops, the rest counts 0.
        {"wl1.2", "", false, "00:00:00:00:ff:fe"}, {"wl1.2", "AA:BB", false, "aa:bb:00:00:ff:fe"},
        {"wl1.2", "aa:bb:cc:dd:ee:ff:11:22", false, "aa:bb:cc:dd:ee:fd"}, {"wl1.2", "aabbccddeeff", false, "ff:00:00:00:ff:fe"},
        {"wl1.2", "100:2:3:4:5:6", false, "00:02:03:04:05:04"}, {"wl1.2", "0x1a: 2:3:4:5:6", false, "1a:02:03:04:05:04"},
        {"wl1.2", "aa-bb-cc-dd-ee-ff", false, "aa:00:00:00:ff:fe"},
    };
    for (const auto& c : cases) {
        char out[32];
        memset(out, 'x', sizeof out);
        satellite_base_mac(c.ifname, c.mac, c.three_radio, out);
        EXPECT_STREQ(out, c.want) << c.mac << " on " << c.ifname;
    }
}

class ConnectLog : public TempDirTest {
   protected:
    std::vector<JsonPtr> read(const char* log, int count) {
        std::vector<JsonPtr> events;
        read_connect_events(path(log).c_str(), count, [&](json_object* e) { events.emplace_back(e); });
        return events;
    }
};

// Long lines count and read once per 1,023-character piece; a log shorter
// than its count (cut meanwhile) ends the reading.
TEST_F(ConnectLog, ReadsAsCountedAndStopsAtTheEnd) {
    put("log", "m,wl1,1,1,3," + std::string(2000, '9') + "\n" + "m,wl2,1,2\n");
    EXPECT_EQ(count_connect_log_lines(path("log").c_str()), 3);
    EXPECT_EQ(count_connect_log_lines(path("none").c_str()), 0);
    std::vector<JsonPtr> events = read("log", 50);
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(member_text(events[0].get(), "RSSI"), std::string(30, '9'));  // "%sdbm", 30 at most
    EXPECT_EQ(read("log", 2).size(), 2u);
    EXPECT_TRUE(read("none", 3).empty());
}

// The scratch window, trimmed by the merge, must leave exactly the bytes the
// whole list leaves, and overflow exactly when the whole list does.
TEST_F(ConnectLog, WindowTrimsLikeTheWholeList) {
    std::string log;
    for (int i = 0; i < 400; ++i)
        log += "aa:bb:cc:00:" + std::to_string(10 + i % 90) + ":01,wl" + std::to_string(i % 3) +
               (i % 7 ? "" : ".2") + "," + std::to_string(1700000000 + i * 37) + "," +
               std::to_string(i % 9) + "," + std::to_string(i % 16) + ",-" +
               std::string(1 + i % 40, i % 5 ? '5' : "\"/\\\x01"[i % 4]) + "\n";
    put("log", log);
    put("short", log.substr(0, log.find('\n', 2000) + 1));
    const unsigned long kCeiling = 0x20000;
    // The whole list as a tree, printed by json-c; the window as the collector writes it.
    auto scratch = [&](const char* name, const char* log_name, unsigned long budget) {
        if (budget != ULONG_MAX) {
            EXPECT_TRUE(write_connect_event_file(budget, path(log_name).c_str(), path(name).c_str()));
            return path(name);
        }
        JsonPtr doc(json_object_new_object());
        json_object_object_add(doc.get(), "wifiConnectEvent",
                               get_connect_event_window_json(budget, path(log_name).c_str()));
        json_object_to_file_ext(path(name).c_str(), doc.get(), JSON_C_TO_STRING_PRETTY);
        return path(name);
    };
    for (const char* log_name : {"log", "short", "none"}) {
        write_connect_event_file(ULONG_MAX, path(log_name).c_str(), path("text").c_str());
        EXPECT_EQ(slurp(path("text")), slurp(scratch("tree", log_name, ULONG_MAX))) << log_name;
    }
    for (const char* log_name : {"log", "short"}) {
        for (unsigned long root : {0ul, 900ul, 70000ul, 131071ul, 140000ul}) {
            unsigned long budget = root < kCeiling ? kCeiling - root : 0;
            std::string whole = scratch("whole", log_name, ULONG_MAX);
            std::string window = scratch("window", log_name, budget);
            EXPECT_EQ(root + file_size(whole.c_str()) > kCeiling,
                      root + file_size(window.c_str()) > kCeiling) << log_name << " " << root;
            EXPECT_LT(file_size(window.c_str()), budget + budget / 4 + 4000) << log_name << " " << root;
            trim_oldest(whole.c_str(), "wifiConnectEvent", "event", root, kCeiling);
            trim_oldest(window.c_str(), "wifiConnectEvent", "event", root, kCeiling);
            EXPECT_EQ(slurp(window), slurp(whole)) << log_name << " " << root;
        }
    }
}

TEST(WifiAnalyticsNumbers, CountersPercentAndUtilisation) {
    const std::pair<const char*, int64_t> counters[] = {
        {"48213557210", 48213557210LL}, {"", 0}, {"abc", 0}, {"12abc", 12}, {"-5", 0},
        {"18446744073709551615", INT64_MAX}, {"99999999999999999999999", INT64_MAX}};
    for (auto [text, want] : counters) EXPECT_EQ(counter_value(text), want) << text;

    const int64_t drops[][3] = {{900, 100, 10}, {1000, 0, 0}, {0, 0, 0}, {0, 5, 100}, {2, 1, 33},
                                {-5, 3, 100}, {INT64_MAX, INT64_MAX, 50}, {99, INT64_MAX, 99},
                                {INT64_MAX, 1, 0}};
    for (auto& d : drops) EXPECT_EQ(tx_drop_percent(d[0], d[1]), d[2]) << d[0] << "/" << d[1];
    EXPECT_EQ(wifi_util_sum(wifi_text_int("99999999999"), 5), INT_MAX);
}
