// The connectedDevice document in the simulated router, on both engines: the
// classic scanner list (the sample router) and the device-recognition engine
// (layer sim/layers/fing). Each classic run includes the scanner's six-second
// refresh wait, so the classic cases are few and each checks much.
#include "sim_test.h"

#include <cstdlib>

const char kDoc[] = "/tmp/aws_json_connectedDevice";
const char kFing[] = "sim/layers/fing";

static size_t device_count(json_object* doc) {
    json_object* arr = json_at(doc, "connectedDeviceDetails.connDevices");
    return arr ? json_object_array_length(arr) : 0;
}

// The counts and the devices as "wired=12 wireless=26[2.4G=10 5G=12 6G=4]
// VPN=2 devices=40/40" (numberOfDevices / devices listed).
static std::string summary(json_object* doc) {
    std::string s;
    for (size_t i = 0; i < 3; ++i) {
        const std::string o = "connectedDevice." + std::to_string(i);
        s += json_text(doc, o + ".typeConnection") + "=" + json_text(doc, o + ".countTotal");
        json_object* bands = json_at(doc, o + ".wirelessType");
        s += bands ? "[" : "";
        for (size_t b = 0; bands && b < json_object_array_length(bands); ++b) {
            const std::string band = o + ".wirelessType." + std::to_string(b);
            s += (b ? " " : "") + json_text(doc, band + ".wifiBand") + "=" +
                 json_text(doc, band + ".countDeviceTotal");
        }
        s += bands ? "] " : " ";
    }
    return s + "devices=" + json_text(doc, "connectedDeviceDetails.numberOfDevices") + "/" +
           std::to_string(device_count(doc));
}

// Members of one device, their values as text, joined by "|".
static std::string row(json_object* dev, const std::vector<const char*>& members) {
    std::string s;
    for (size_t i = 0; i < members.size(); ++i) s += (i ? "|" : "") + json_text(dev, members[i]);
    return s;
}

static json_object* device(json_object* doc, size_t i) {
    return json_object_array_get_idx(json_at(doc, "connectedDeviceDetails.connDevices"), i);
}

static ItemRun collect(const Scenario& sc) { return run_item("connectedDevice", sc); }

using ConnectedDevice = SimTest;

TEST_F(ConnectedDevice, ClassicHouseholdInRouterMode) {
    // The document is the golden one. Wired flags are written back where
    // they were stale, nothing else touched.
    ItemRun run = collect({});
    std::string store;
    for (int i = 1; i <= 6; ++i) store += run.r.store("access_control" + std::to_string(i)) + "\n";
    EXPECT_EQ(store, "0 a4:83:e7:10:00:01 0 Office-PC\n0 A4:83:E7:20:00:01 1 Thermostat\n"
                     "1 A4:83:E7:30:00:02 1 Kids-Tablet\n0 A4:83:E7:10:00:03 0 Living-Room-TV\n"
                     "1 A4:83:E7:20:00:09 1 Guest-Phone\n0 A4:83:E7:50:00:01 1 VPN-Laptop\n");

    // On/off goes only to the diagnostic lines.
    EXPECT_NE(run.r.err.find("{ mac:\"A4:83:E7:10:00:0B\", ip:\"192.168.1.20\", "
                             "name:\"Camera-Garage\", devtype:\"47\", contype:\"wired\", "
                             "priority:\"0\", access_control:\"allow\", onOrOff:\"0\"}\n"),
              std::string::npos);
    size_t on = 0;
    for (size_t p = 0; (p = run.r.err.find("onOrOff:\"1\"", p)) != std::string::npos; ++p) ++on;
    EXPECT_EQ(on, 38u);
}

TEST_F(ConnectedDevice, ClassicAccessPointModeBlanksTypesAndNames) {
    Scenario sc;
    sc.store = {{"ap_mode", "1"}, {"new_device_statue_by_default", "Block"}};
    ItemRun run = collect(sc);
    json_object* doc = run.doc.get();
    ASSERT_TRUE(doc);
    ASSERT_EQ(summary(doc), "wired=12 wireless=26[2.4G=10 5G=12 6G=4] VPN=2 devices=40/40");
    std::string allowed;
    for (size_t i = 0; i < 40; ++i) {
        json_object* dev = device(doc, i);
        EXPECT_EQ(row(dev, {"deviceName", "deviceModel", "deviceType", "deviceTypeID"}), "|||47") << i;
        if (json_str(dev, "allowOrBlock") == "allow") allowed += json_str(dev, "ipAddress") + " ";
    }
    // The diagnostic line shows the device before the blanking.
    EXPECT_NE(run.r.err.find("name:\"Family NAS\", devtype:\"33\""), std::string::npos);
    // Allow records (any case of the MAC) and the upstream MAC, stored without colons.
    EXPECT_EQ(allowed, "192.168.1.10 192.168.1.12 192.168.1.15 192.168.1.30 10.8.0.6 ");
}

TEST_F(ConnectedDevice, ClassicWithoutScannerListKeepsNegativeWiredCount) {
    Scenario sc;
    sc.remove = {"/tmp/netscan"};
    ItemRun run = collect(sc);
    json_object* doc = run.doc.get();
    ASSERT_TRUE(doc);
    EXPECT_EQ(summary(doc), "wired=-26 wireless=26[2.4G=10 5G=12 6G=4] VPN=0 devices=0/0");
    EXPECT_EQ(member_names(json_at(doc, "connectedDeviceDetails")),
              std::vector<std::string>{"numberOfDevices"});
}

TEST_F(ConnectedDevice, ClassicSurvivesHostileLists) {
    std::string list =
        "192.168.1.90 A4:83:E7:60:00:01 47 0 x y " + std::string(100000, 'N') + " 1\n"
        "192.168.1.91 A4:83:E7:60:00:02 47 0 x y \xff\xfe\x01name\x80 1\n"
        "192.168.1.92 -f/etc/passwd 47 0 x y dash 1\n"
        "192.168.1.93 A4:83:E7:60:00:03';touch${IFS}/tmp/pwned;' 47 0 x y "
        "$(touch${IFS}/tmp/pwned2)`touch${IFS}/tmp/pwned3` 1\n"
        "1 2 3\n\n";
    list += std::string("192.168.1.94 A4:83:E7:60:00:04 47 0 x y nul\0byte 1\n", 51);
    std::string vpn = "Common Name,Real Address\n";
    for (int i = 0; i < 10000; ++i) vpn += "client" + std::to_string(i) + ",198.51.100.1:1194\n";
    Scenario sc;
    sc.files = {{"/tmp/netscan/attach_device_streamboost", list},
                {"/tmp/openvpnd.status", vpn},
                {"/tmp/sim/link_and_signal",
                 "A4:83:E7:60:00:01 inf \xc3\x28 5G\nA4:83:E7:60:00:02 1e999999 x " +
                     std::string(300, 'T') + "\n\x01\x02\x03\nA4:83:E7:60:00:04 300\n"},
                {"/tmp/sim/wlan_stainfo", "###2.4G###\n\xff\xfe:\x00\x01\n" + std::string(70000, 'x')}};
    // Each list's first entry of a MAC decides; a record without a name does not.
    sc.store = {{"streamboost_enable", "0"}, {"device_list0", "A4:83:E7:60:00:01"},
                {"device_list1", "A4:83:E7:60:00:02 0"}, {"device_list2", "A4:83:E7:60:00:02 0 9 Later"},
                {"access_control1", "0 A4:83:E7:60:00:02"}, {"access_control2", "0 a4:83:e7:60:00:02 0 x"},
                {"ac_connect1", "1 a4:83:e7:60:00:01 0 0 1"},
                {"ac_connect2", "1 A4:83:E7:60:00:01 0 0 " + std::string(300, 'A')},
                {"ac_connect3", "1 A4:83:E7:60:00:01 0 0 Later 1"}};
    ItemRun run = collect(sc);
    json_object* doc = run.doc.get();
    ASSERT_TRUE(doc);
    for (const char* pwned : {"/tmp/pwned", "/tmp/pwned2", "/tmp/pwned3"})
        EXPECT_FALSE(run.r.exists(pwned)) << pwned;
    // "1 2 3" counts, its MAC "2" found inside a VPN client's name.
    ASSERT_EQ(summary(doc), "wired=4 wireless=1[2.4G=1] VPN=1 devices=7/5");
    // The 100 kB name is cut with its line; the connection record names it, cut
    // to the 255 characters kept of the record less its last two.
    expect_members(device(doc, 0), {{"deviceName", std::string(229, 'A')}, {"connType", "5G"},
                                    {"signalStrength", "\xef\xbf\xbd("}, {"linkSpeed", "<absent>"}});
    EXPECT_EQ(json_str(device(doc, 1), "deviceName"), "");  // the user's entry has no name
    EXPECT_EQ(run.r.store("access_control1") + "|" + run.r.store("access_control2"),
              "0 A4:83:E7:60:00:02|0 a4:83:e7:60:00:02 0 x");
    EXPECT_EQ(json_str(device(doc, 2), "macAddress"), "-f:/e:tc:/p:as:swd");
    // Without streamboost the types are blank; the names stay.
    for (size_t i = 0; i < 5; ++i)
        EXPECT_EQ(row(device(doc, i), {"deviceModel", "deviceType", "deviceTypeID"}), "||47") << i;
    // A link line with the speed alone.
    expect_members(device(doc, 4), {{"deviceName", "nul"}, {"linkSpeed", "300.00"}, {"signalStrength", ""}});
}

TEST_F(ConnectedDevice, RecognitionEngineInEachMode) {
    for (const char* ap_mode : {"0", "1"}) {
        SCOPED_TRACE(std::string("ap_mode=") + ap_mode);
        Scenario sc;
        sc.extra_fixtures = {kFing};
        sc.store["ap_mode"] = ap_mode;
        ItemRun run = collect(sc);
        json_object* doc = run.doc.get();
        ASSERT_TRUE(doc);
        ASSERT_EQ(summary(doc), "wired=10 wireless=26[2.4G=10 5G=12 6G=4] VPN=2 devices=40/38");
        EXPECT_EQ(run.r.err.find("{ mac:"), std::string::npos);  // not the classic path
        const std::vector<const char*> m = {"connStatus", "connType", "deviceName", "deviceNameUserDefined",
                                            "deviceTypeID", "deviceTypeV2ID", "detectEngine", "userAgent",
                                            "linkspeed", "signalStrength", "connectedAP"};
        const std::pair<size_t, std::string> rows[] = {
            {0, "Online|wired|Office PC|true|38|138|Fing 2.0|NA|1000.00||Router"},
            {20, "Online|5G|Dad's iPhone|false|17|117|Fing 2.0|Mozilla/5.0 (X11; Linux armv7l)|"
                 "866.00|-51|Router"},
            {28, "Online|5G1|Teen <3 Laptop|false|38|138|Fing 2.0|NA|1201.00|-59|"
                 "Satellite-Upstairs"},
            {31, "Online|5G Guest|Visitor Laptop|false|19|119|Fing 2.1|"
                 "Mozilla/5.0 (X11; Linux armv7l)|433.00|-62|Satellite-Upstairs"},
            {37, "Offline||Old Laptop|false|37|137|Fing 2.1||0.00||Router"},
        };
        for (const auto& [i, want] : rows) EXPECT_EQ(row(device(doc, i), m), want) << i;
        EXPECT_EQ(row(device(doc, 35), {"connStatus"}) + row(device(doc, 36), {"connStatus"}), "OnlineOffline");
        // The working list is rewritten with the completed members.
        SimJson online = run.r.json("/tmp/ra_attach_online_device");
        EXPECT_EQ(row(json_object_array_get_idx(online.get(), 0), {"UserAgent", "LinkRate"}), "NA|1000");
    }
}

TEST_F(ConnectedDevice, RecognitionEngineSurvivesBadLists) {
    std::string vpn;
    for (int i = 0; i < 10000; ++i) vpn += "-----device:" + std::to_string(i) + "\n\xff\x01\n";
    const struct {
        const char* online;
        const char* offline;
        const char* want;
    } cases[] = {
        {"[{\"ConnectionInterface\": \"5G\", \"DeviceName\": ", "{\"a\": 1}",
         "wired=0 wireless=0[] VPN=10000 devices=/0"},
        {"[{\"ConnectionInterface\": 5, \"DeviceName\": 42, \"DeviceMAC\": [\"x\"], "
         "\"UserAgent\": 7, \"LinkRate\": {}}, \"text\", 3, null, {\"ConnectionInterface\": "
         "\"2.4G\", \"DeviceName\": \"\\u00ff\\ud800\"}]",
         "[[], 1]", "wired=0 wireless=1[2.4G=1] VPN=10000 devices=/6"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.online);
        Scenario sc;
        sc.extra_fixtures = {kFing};
        sc.files = {{"/tmp/soapclient/satellite_wifi_info/ra_attach_device", c.online},
                    {"/tmp/netscan/attach_offline_device", c.offline},
                    {"/tmp/netscan/vpn_attach_device", vpn}};
        ItemRun run = collect(sc);
        ASSERT_TRUE(run.doc);
        std::string got = summary(run.doc.get());
        size_t count = got.find("devices=") + 8;  // the devices listed, whatever their count
        EXPECT_EQ(got.erase(count, got.find('/', count) - count), c.want);
    }
}

// The connectedDevice document holds every device; "all", whose other members
// leave less room, trims the list under the ceiling and keeps the full count.
TEST_F(ConnectedDevice, TwoThousandDevices) {
    char tmpl[] = "/tmp/dc-devices.XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    std::string layer = tmpl;
    std::string cmd = std::string("'") + DC_SOURCE_DIR + "/tools/device-layer' " + layer + " 2000 fing";
    ASSERT_EQ(system(cmd.c_str()), 0);
    Scenario sc;
    sc.extra_fixtures = {layer};
    ItemRun run = collect(sc);
    json_object* doc = run.doc.get();
    ASSERT_TRUE(doc);
    EXPECT_EQ(summary(doc), "wired=500 wireless=1500[2.4G=500 5G=500 6G=500] VPN=0 devices=2000/2000");
    EXPECT_GT(run.r.file(kDoc).size(), 131072u);

    SimResult all = run_in_router({"data_collector", "all"}, sc);
    EXPECT_EQ(system(("rm -rf " + layer).c_str()), 0);
    SimJson adoc = all.json("/tmp/aws_json_all");
    ASSERT_TRUE(adoc);
    EXPECT_LE(all.file("/tmp/aws_json_all").size(), 131072u);
    EXPECT_EQ(json_object_get_int(json_at(adoc.get(), "connectedDeviceDetails.numberOfDevices")), 2000);
    EXPECT_GT(device_count(adoc.get()), 50u);
    EXPECT_LT(device_count(adoc.get()), 2000u);
    EXPECT_EQ(json_str(device(adoc.get(), 0), "macAddress"), "A4:83:E8:00:00:00");
    EXPECT_NE(all.out.find("JSON FILE SIZE IS TOO LARGE, MAX JSON SIZE is 128k\n"), std::string::npos);
    EXPECT_NE(all.file("/tmp/RA_collect.log")
                  .find("JSON FILE SIZE IS TOO LARGE, MAX JSON SIZE is 128k (connectedDeviceDetails)"),
              std::string::npos);
}
