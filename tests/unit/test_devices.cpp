// Connected devices: type names, MAC forms, the station dump and scanner
// counts, the link file and the device-recognition records.
#include "test_util.h"
#include "attach_device.h"
#include "connectedDevice.h"
#include "fing.h"

using namespace std::string_literals;

namespace {

void reset_counts() {
    for (connected_device& row : connectedDevices) row.flag = row.total = 0;
}

// "2.4G=2 5G=1 | wireless=3" from the band rows whose section was seen.
std::string band_counts() {
    std::string s;
    for (int row = kRow24G; row <= kRow60G; ++row)
        if (connectedDevices[row].flag)
            s += std::string(connectedDevices[row].type) + "=" +
                 std::to_string(connectedDevices[row].total) + " ";
    return s + "| wireless=" + std::to_string(connectedDevices[kRowWireless].total);
}

}  // namespace

TEST(Devices, TypeNames) {
    const std::pair<const char*, const char*> cases[] = {
        {"1", "Amazon Kindle"}, {"54", "Smart Watch"}, {"43", "Chromcast"}, {"55", "Other"},
        {"abc", "Other"},       {"0", "Other"},        {"-1", "Other"},     {"", "Other"},
        {"12a", "Other"},       {"99999999999999999999", "Other"},          {"047", "Other"},
    };
    for (const auto& [id, name] : cases) EXPECT_STREQ(get_device_type_name(id), name) << id;
    EXPECT_STREQ(get_device_type_name(nullptr), "Other");
    for (int i = 0; i < 54; ++i) EXPECT_EQ(type_list[i].dev_type_id, i + 1);
}

TEST(Devices, MacNormalisation) {
    const std::pair<std::string, std::string> cases[] = {
        {"aabbccddeeff", "aa:bb:cc:dd:ee:ff"}, {"AABBCCDDEEFF", "AA:BB:CC:DD:EE:FF"},
        {"aa:bb:cc:dd:ee:ff", "aa:bb:cc:dd:ee:ff"}, {"a", "a"}, {"abc", "ab:c"}, {"", ""},
        {"aabbccddeeff0011", "aa:bb:cc:dd:ee:ff00:11:"},
    };
    for (const auto& [in, out] : cases) EXPECT_EQ(normalize_mac(in), out) << in;
    EXPECT_EQ(normalize_mac(std::string(100000, 'a')).size(), 127u);
}

TEST(Devices, StationDumpCounts) {
    const std::pair<std::string, std::string> cases[] = {
        {"###2.4G###\naa:01\naa:02\n\n###5G###\nbb:01\n", "2.4G=2 5G=1 | wireless=3"},
        // Only an empty line or one opening with a blank closes a section.
        {"###2.4G###\naa:01\n###5G###\nbb:01\n", "2.4G=2 | wireless=2"},
        {"###2.4G Guest###\na:1\n\n###2.4G Gre###\nb:1\n\n###5G1###\nc:1\n stop\n###60G###\nd:1",
         "2.4G=2 5G=1 60G=1 | wireless=4"},
        {"###6G###\n\n###5G Guest###\nno colon\n", "5G=0 6G=0 | wireless=0"},
        {"garbage:1\n###7G###\nx:1\n#\n", "| wireless=0"},
        {"###2.4G###\n" + std::string(5000, ':') + "\n\x01\xff:\n\0:\n"s, "2.4G=3 | wireless=3"},
        {"", "| wireless=0"},
    };
    for (const auto& [dump, want] : cases) {
        reset_counts();
        count_station_dump(dump);
        EXPECT_EQ(band_counts(), want) << dump.substr(0, 60);
    }
}

TEST(Devices, LinkFileLastMatchWinsAndMissingFieldsStay) {
    LinkTable t;
    t.assign("AA:BB:CC:00:00:01 866 -50 5G\n"
             "aa:bb:cc:00:00:01 1201\n"
             "AA:BB:CC:00:00:02 1000 0 wired\n"
             "AA:BB:CC:00:00:03 72 -70 2.4G Guest Network Long\n" +
             std::string(120, ' ') + "AA:BB:CC:00:00:04 1 2 3\n");
    // Link rate, signal and type; a 16-byte type buffer; :04 is cut off its line.
    const std::pair<const char*, std::string> cases[] = {
        {"aa:BB:cc:00:00:01", "1201 -50 5G"}, {"AA:BB:CC:00:00:02", "1000 0 wired"},
        {"AA:BB:CC:00:00:03", "72 -70 2.4G Guest Netw"}, {"AA:BB:CC:00:00:04", "  "},
        {"AA:BB:CC:00:00:09", "  "}};
    for (const auto& [mac, want] : cases) {
        char link[64] = "", signal[64] = "", type[16] = "";
        get_Devices_links_and_signal_type(t, mac, link, sizeof link, signal, sizeof signal, type, sizeof type);
        EXPECT_EQ(std::string(link) + " " + signal + " " + type, want) << mac;
    }
}

TEST(Devices, RecognitionRecordMapsEveryMember) {
    const struct {
        const char* record;
        int online;
        std::vector<std::pair<const char*, const char*>> want;  // member -> text
    } cases[] = {
        {"{}", 0,
         {{"connStatus", "Offline"}, {"connType", ""}, {"deviceNameUserDefined", "false"},
          {"deviceTypeID", "0"}, {"deviceTypeV2UserDefined", ""}, {"linkspeed", "0.00"},
          {"connectedAPModel", ""}}},
        {R"({"DeviceName":"Mom&#39;s &lt;iPad&gt; &amp;","DeviceNameUserDefined":"TRUE",
             "DeviceTypeUserDefined":true,"DeviceTypeOldID":"17x","DeviceTypeID":119,
             "LinkRate":"866.5","UserAgent":null,"DeviceModel":{"a":[1]}})",
         1,
         {{"connStatus", "Online"}, {"deviceName", "Mom's <iPad> &amp;"},
          {"deviceNameUserDefined", "true"}, {"deviceTypeUserDefined", "true"},
          {"deviceTypeV2UserDefined", "true"}, {"deviceTypeID", "17"},
          {"deviceTypeV2ID", "119"}, {"linkspeed", "866.50"}, {"userAgent", ""},
          {"deviceModel", "{ \"a\": [ 1 ] }"}}},
        {R"({"LinkRate":"nan","DeviceTypeOldID":"99999999999999999999"})", 1,
         {{"linkspeed", "null"}}},
    };
    for (const auto& c : cases) {
        JsonPtr in(json_tokener_parse(c.record));
        ASSERT_TRUE(in) << c.record;
        JsonPtr out(json_object_new_object());
        add_one_device(in.get(), out.get(), c.online);
        EXPECT_EQ(json_object_object_length(out.get()), 34) << c.record;
        for (const auto& [member, value] : c.want) EXPECT_EQ(member_text(out.get(), member), value) << member;
    }

    JsonPtr big(json_object_new_object());
    json_object_object_add(big.get(), "DeviceName",
                           json_object_new_string(std::string(100000, 'n').c_str()));
    JsonPtr out(json_object_new_object());
    add_one_device(big.get(), out.get(), 1);
    EXPECT_EQ(member_text(out.get(), "deviceName").size(), 511u);
}

TEST(Devices, OnlineListCountsBandsAndFillsDefaults) {
    reset_counts();
    JsonPtr list(json_tokener_parse(R"([
        {"ConnectionInterface":"wired","DeviceMAC":"AA:00:00:00:00:01"},
        {"ConnectionInterface":"2.4G Guest","UserAgent":"","DetectEngine":"Fing 2.1"},
        {"ConnectionInterface":"5G1","UserAgent":"curl"}, {"ConnectionInterface":"6G"},
        {"ConnectionInterface":"60G"}, {"ConnectionInterface":"Wired"},
        {"DeviceName":"no interface"}, {"ConnectionInterface":5},
        42, null, []
    ])"));
    ASSERT_TRUE(list);
    LinkTable links;
    links.assign("aa:00:00:00:00:01 1000 0 wired\n");
    complete_online_list(list.get(), links);
    EXPECT_EQ(band_counts(), "2.4G=1 5G=1 6G=1 | wireless=0");  // the sum is the caller's
    EXPECT_EQ(connectedDevices[kRowWired].total, 1);
    json_object* first = json_object_array_get_idx(list.get(), 0);
    EXPECT_EQ(member_text(first, "LinkRate") + member_text(first, "SignalStrength"), "1000");  // wired
    EXPECT_EQ(member_text(first, "UserAgent") + " " + member_text(first, "DetectEngine"), "NA Fing 2.0");
    EXPECT_EQ(member_text(json_object_array_get_idx(list.get(), 6), "UserAgent"), "<absent>");
}

TEST(Devices, VpnRecordsReuseOneScratchObject) {
    JsonPtr arr(json_object_new_array());
    parse_vpn_records("noise\n-----device:1\n10.8.0.6\nAA:BB:CC:00:00:01\nx\nx\nThinkPad\nLaptop\n"
                      "x\nAllow\n0\n0\n-----device:2\n10.8.0.10\nAA:BB:CC:00:00:02\nx\nx\nUnknown\n"
                      "Unknown\nx\nBlock\n0\n0\n-----device:3\n10.8.0.14\n",
                      arr.get());
    ASSERT_EQ(json_object_array_length(arr.get()), 2u);
    json_object* second = json_object_array_get_idx(arr.get(), 1);
    std::string got;
    for (const char* m : {"ipAddress", "deviceName", "deviceModel", "connType", "deviceTypeID",
                          "deviceTypeV2", "allowOrBlock", "connStatus"})
        got += member_text(second, m) + "|";
    // "Unknown" keeps the previous name and model.
    EXPECT_EQ(got, "10.8.0.10|Laptop|ThinkPad|vpn|24|Network (Generic)|Block|Online|");
}
