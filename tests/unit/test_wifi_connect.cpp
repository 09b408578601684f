// Connect-event log lines, labels, the satellite MAC conversion, device
// lookups, and the scratch window that must trim exactly like the whole list;
// the wifiAnalytics counter arithmetic.
#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "Add_object.h"
#include "collect_wifi_analytics.h"
#include "collect_wifi_connect.h"
#include "config_store.h"
#include "json_trim.h"
#include "test_util.h"
#include "zol_json.h"

namespace {

std::vector<std::string> fields_of(std::string line) {
    ConnectLogFields f = split_connect_log_line(&line[0]);
    return {f.mac, f.ifname, f.time, f.code, f.reason, f.rssi};
}

template <size_t N>
std::string bytes(const char (&s)[N]) {
    return std::string(s, N - 1);
}

std::string member(json_object* o, const char* name) {
    json_object* v = nullptr;
    return json_object_object_get_ex(o, name, &v) ? json_object_get_string(v) : "<absent>";
}

}  // namespace

TEST(ConnectLogLine, SplitsAsTheDaemonWritesIt) {
    using V = std::vector<std::string>;
    const struct {
        std::string line;
        V want;
    } cases[] = {
        {"aa:bb:cc:00:00:01,wl1,1700000000,1,3,-45\n", {"aa:bb:cc:00:00:01", "wl1", "1700000000", "1", "3", "-45"}},
        {"m,wl1,17,1,3,-45", {"m", "wl1", "17", "1", "3", "-45"}},
        // Empty fields collapse: the next field moves up.
        {"m,,17,1,3,-45\n", {"m", "17", "1", "3", "-45\n", ""}},
        {"m,wl1\n", {"m", "wl1\n", "", "", "", ""}},
        {"m,wl1,17,1,3\n", {"m", "wl1", "17", "1", "3\n", ""}},
        {"m,wl1,17,1,3,-50,extra,more\n", {"m", "wl1", "17", "1", "3", "-50"}},
        {",,,\n", {"\n", "", "", "", "", ""}},
        {"", {"", "", "", "", "", ""}},
        {bytes("\xff\x01,w\x80,1\0,2"), {"\xff\x01", "w\x80", "1", "", "", ""}},
    };
    for (const auto& c : cases) EXPECT_EQ(fields_of(c.line), c.want) << c.line;
}

TEST(ConnectLabels, ReasonsAndEventCodes) {
    const char* reasons[][2] = {{"0", "0000:Reserved"},       {"1", "0001:UNSPECIFIED"},
                                {"2", "0002:AUTH_INVAL"},     {"3", "0003:DEAUTH_LEAVING"},
                                {"4", "0004:INACTIVITY"},     {"9", "0009:NOT_AUTH"},
                                {"15", "0015:4WH_TIMEOUT"},   {"7", "7"},
                                {"03", "03"},                 {"", ""},
                                {"3\n", "3\n"}};
    for (auto& r : reasons) EXPECT_STREQ(change_reason_format(r[0]), r[1]) << r[0];

    const char* codes[][2] = {{"1", "1:Connect success"},
                              {"2", "2:Connect fail"},
                              {"3", "3:Disconnect by ap"},
                              {"4", "4:Disconnect by client"},
                              {"5", "5:Post-association steer success"},
                              {"6", "6:Post-association steer fail"},
                              {"2x", "2:Connect fail"},
                              {"0", nullptr},
                              {"7", nullptr},
                              {"-1", nullptr},
                              {"abc", nullptr},
                              {"", nullptr},
                              {"99999999999999999999999", nullptr},
                              {"4294967297", nullptr}};
    for (auto& c : codes) {
        const char* got = connect_event_label(c[0]);
        EXPECT_STREQ(got ? got : "<none>", c[1] ? c[1] : "<none>") << c[0];
    }
}

TEST(SatelliteMac, OffsetBorrowAndMalformedTexts) {
    const struct {
        const char* ifname;
        const char* mac;
        bool three_radio;
        const char* want;
    } cases[] = {
        {"wl1.2", "AA:BB:CC:00:00:01", false, "aa:bb:cc:00:ff:ff"},
        {"wl0.2", "11:22:33:44:55:02", true, "11:22:33:44:54:ff"},
        {"wl0.2", "11:22:33:44:55:02", false, "11:22:33:44:55:00"},
        {"wl1.2", "11:22:33:44:55:02", true, "11:22:33:44:55:00"},
        {"wl0.2", "11:22:33:44:55:10", true, "11:22:33:44:55:0d"},
        {"wl1.2", "aa:bb:cc:05:00:01", false, "aa:bb:cc:04:ff:ff"},
        {"wl1.2", "aa:bb:cc:00:00:00", false, "aa:bb:cc:00:ff:fe"},
        // Texts of the wrong length or form: parsing stops, the rest is 0.
        {"wl1.2", "", false, "00:00:00:00:ff:fe"},
        {"wl1.2", "AA:BB", false, "aa:bb:00:00:ff:fe"},
        {"wl1.2", "aa:bb:cc:dd:ee:ff:11:22", false, "aa:bb:cc:dd:ee:fd"},
        {"wl1.2", "aabbccddeeff", false, "ff:00:00:00:ff:fe"},
        {"wl1.2", "100:2:3:4:5:6", false, "00:02:03:04:05:04"},
        {"wl1.2", "0x1a: 2:3:4:5:6", false, "1a:02:03:04:05:04"},
        {"wl1.2", "zz:bb:cc:dd:ee:ff", false, "00:00:00:00:ff:fe"},
        {"wl1.2", "aa-bb-cc-dd-ee-ff", false, "aa:00:00:00:ff:fe"},
    };
    for (const auto& c : cases) {
        char out[32];
        memset(out, 'x', sizeof out);
        satellite_base_mac(c.ifname, c.mac, c.three_radio, out);
        EXPECT_STREQ(out, c.want) << c.mac << " on " << c.ifname;
    }
}

TEST(ConnectDevices, SatelliteListFirstCaseIgnoredBadElementsSkipped) {
    JsonPtr sat(json_tokener_parse(
        R"([{"DeviceMAC":"aa:bb:cc:00:ff:ff","DeviceTypeOldName":"Satellite","DeviceModel":"ZT500S",
             "DeviceName":"Upstairs","ConnectedAPModel":"ZT500","ConnectedAPMac":"A4:2B",
             "ConnSSID":"bh"}])"));
    std::string long_name(100, 'n');
    JsonPtr router(json_tokener_parse(
        (R"([{"DeviceMAC":"AA:BB:CC:00:FF:FF","DeviceTypeOldName":"Old"}, 7, "text", {},
              {"DeviceMAC":12,"DeviceName":"numeric"},
              {"DeviceMAC":"11:22:33:44:55:66","DeviceName":")" + long_name + R"("}])").c_str()));
    ASSERT_TRUE(sat && router);
    ConnectDeviceIndex index;
    index.add_list(nullptr);
    JsonPtr not_list(json_object_new_object());
    index.add_list(not_list.get());
    index.add_list(sat.get());
    index.add_list(router.get());

    const ConnectDevice* d = index.find("AA:BB:CC:00:FF:FF");
    ASSERT_TRUE(d);
    EXPECT_EQ(d->type, "Satellite");
    EXPECT_EQ(d->name, "Upstairs");
    ASSERT_TRUE(index.find("12"));
    EXPECT_EQ(index.find("12")->name, "numeric");
    ASSERT_TRUE(index.find("11:22:33:44:55:66"));
    EXPECT_EQ(index.find("11:22:33:44:55:66")->name, std::string(62, 'n'));
    EXPECT_FALSE(index.find("11:22:33:44:55:67"));
}

class ConnectLog : public TempDirTest {
   protected:
    std::vector<JsonPtr> read(const std::string& log, int count) {
        std::vector<JsonPtr> events;
        read_connect_events(path(log).c_str(), count,
                            [&](json_object* e) { events.emplace_back(e); });
        return events;
    }
};

TEST_F(ConnectLog, BuilderCarriesTheEventTypeAndCrossesNameAndModel) {
    config_set("radio_number", "0x3");
    JsonPtr list(json_tokener_parse(
        R"([{"DeviceMAC":"AA:BB:CC:00:FF:FF","DeviceTypeOldName":"Satellite","DeviceModel":"ZT500S",
             "DeviceName":"Upstairs","ConnectedAPModel":"ZT500","ConnectedAPMac":"A4:2B:8C:5E:71:D1",
             "ConnSSID":"HomeMesh"}])"));
    ConnectDeviceIndex index;
    index.add_list(list.get());
    ConnectEventBuilder builder(index);
    const struct {
        std::string line;
        const char* event_type;
        const char* reason;
        const char* rssi;
        const char* device_name;
        const char* device_model;
        const char* network;
        const char* band;
    } cases[] = {
        {"AA:BB:CC:00:00:01,wl1.2,1700000000,1,3,-45\n", "1:Connect success", "0003:DEAUTH_LEAVING",
         "-45dbm", "ZT500S", "Upstairs", "Backhaul", "2G:"},
        {"aa:bb:cc:00:ff:ff,wl0.1,1700000001,2,15,-60\n", "2:Connect fail", "0015:4WH_TIMEOUT",
         "-60dbm", "ZT500S", "Upstairs", "Guest", "5G:"},
        {"aa:bb:cc:00:ff:fe,wl1.3,1700000002,9,7,-61\n", "2:Connect fail", "7", "-61dbm", "", "",
         "IOT", "2G:"},
        {"aa:bb:cc:00:ff:fe,wl0,x,4\n", "4:Disconnect by client", "", "dbm", "", "", "Primary", "5G:"},
        {"\n", "4:Disconnect by client", "", "dbm", "", "", "Primary", ":"},
    };
    for (const auto& c : cases) {
        std::string line = c.line;
        JsonPtr e(builder.build(&line[0]));
        EXPECT_EQ(member(e.get(), "eventType"), c.event_type) << c.line;
        EXPECT_EQ(member(e.get(), "reason"), c.reason) << c.line;
        EXPECT_EQ(member(e.get(), "RSSI"), c.rssi) << c.line;
        EXPECT_EQ(member(e.get(), "deviceName"), c.device_name) << c.line;
        EXPECT_EQ(member(e.get(), "deviceModel"), c.device_model) << c.line;
        EXPECT_EQ(member(e.get(), "apNetwork"), c.network) << c.line;
        EXPECT_EQ(member(e.get(), "connBandChannel").rfind(c.band, 0), 0u) << c.line;
        EXPECT_EQ(json_object_object_length(e.get()), 18) << c.line;
    }
}

TEST_F(ConnectLog, LongBinaryAndShortLogsAreReadAsCounted) {
    std::string long_line = "aa:bb:cc:dd:ee:ff,wl1,1700000000,1,3," + std::string(2000, '9') + "\n";
    std::string binary = bytes("\xff\xfe,\x01,wl\x80\x81,\x7f,3,\xc3\x28,-4\0tail\n");
    put("log", long_line + binary + "m,wl2,1,2\n");
    EXPECT_EQ(count_connect_log_lines(path("log").c_str()), 4);  // 1023 + the rest + 2
    EXPECT_EQ(count_connect_log_lines(path("none").c_str()), 0);

    std::vector<JsonPtr> events = read("log", 4);
    ASSERT_EQ(events.size(), 4u);
    EXPECT_EQ(member(events[0].get(), "RSSI").size(), 30u);  // at most 30 characters
    for (const JsonPtr& e : events) {
        size_t len = 0;
        const char* text = json_object_to_json_string_length(e.get(), 0, &len);
        EXPECT_EQ(utf8_valid_prefix(text, len), len) << text;
    }
    // A log shorter than counted ends the reading; a count of 0 reads nothing.
    EXPECT_EQ(member(events[1].get(), "clientMAC"), std::string(1014, '9') + "\n");
    EXPECT_EQ(member(events[2].get(), "RSSI"), "\xef\xbf\xbd(dbm");
    EXPECT_EQ(read("log", 50).size(), 4u);
    EXPECT_EQ(read("log", 2).size(), 2u);
    EXPECT_TRUE(read("log", 0).empty());
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
               std::string(1 + i % 40, '5') + "\n";
    put("log", log);
    put("short", log.substr(0, log.find('\n', 2000) + 1));
    const unsigned long kCeiling = 0x20000;
    auto scratch = [&](const char* name, const char* log_name, unsigned long budget) {
        JsonPtr doc(json_object_new_object());
        json_object_object_add(doc.get(), "wifiConnectEvent",
                               get_connect_event_window_json(budget, path(log_name).c_str()));
        json_object_to_file_ext(path(name).c_str(), doc.get(), JSON_C_TO_STRING_PRETTY);
        return path(name);
    };
    for (const char* log_name : {"log", "short"}) {
        for (unsigned long root : {0ul, 900ul, 70000ul, 130000ul, 131071ul, 140000ul}) {
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
    const struct {
        const char* text;
        int64_t want;
    } counters[] = {
        {"48213557210", 48213557210LL}, {"0", 0}, {"", 0}, {"abc", 0}, {"12abc", 12},
        {" 42", 42}, {"-5", 0}, {"9223372036854775807", INT64_MAX},
        {"18446744073709551615", INT64_MAX}, {"99999999999999999999999", INT64_MAX},
    };
    for (const auto& c : counters) EXPECT_EQ(counter_value(c.text), c.want) << c.text;

    const struct {
        int64_t packets, dropped;
        int want;
    } drops[] = {
        {900, 100, 10}, {1000, 0, 0},  {0, 0, 0},    {0, 5, 100},
        {2, 1, 33},     {3, 1, 25},    {-5, 3, 100}, {70123456, 7800, 0},
        {INT64_MAX, INT64_MAX, 50}, {0, INT64_MAX, 100}, {INT64_MAX, 1, 0},
        {INT64_MAX / 3 * 2, INT64_MAX / 3, 33}, {99, INT64_MAX, 99},
    };
    for (const auto& d : drops)
        EXPECT_EQ(tx_drop_percent(d.packets, d.dropped), d.want) << d.packets << "/" << d.dropped;

    EXPECT_EQ(wifi_text_int("12"), 12);
    EXPECT_EQ(wifi_text_int("-62"), -62);
    EXPECT_EQ(wifi_text_int("x"), 0);
    EXPECT_EQ(wifi_text_int("99999999999"), INT_MAX);
    EXPECT_EQ(wifi_text_int("-99999999999"), INT_MIN);
    EXPECT_EQ(wifi_util_sum(12, 7), 19);
    EXPECT_EQ(wifi_util_sum(INT_MAX, 5), INT_MAX);
    EXPECT_EQ(wifi_util_sum(INT_MIN, -5), INT_MIN);
}
