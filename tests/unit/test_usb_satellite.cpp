// USB storage, media device and satellite builders on literal inputs; the
// sample router's satellite list and store through the SatelliteInfo builder.
#include "collect_satelliteinfo.h"
#include "collect_usb.h"
#include "collect_usb_media.h"
#include "strict_json.h"
#include "test_util.h"

namespace {

const char kPrinter[] =
    "D:  Ver= 2.00 Cls=00(>ifc ) Sub=00\nS:  Manufacturer=HP\nS:  Product=LaserJet\n"
    "I:* If#= 0 Cls=07(print) Driver=KC_usblp\n";
const char kHub[] =
    "D:  Ver= 2.00 Cls=09(hub  )\nS:  Manufacturer=Linux xhci-hcd\nS:  Product=xHCI Host\n"
    "S:  SerialNumber=xhci-hcd.0\nI:* If#= 0 Cls=09(hub  ) Driver=hub\n";
const char kDisk[] =
    "D:  Ver= 3.20\nS:  Product=Elements\nS:  serialnumber=WX41\nI:* Driver=USB-Storage\n"
    "I:* If#= 1 Driver=usb-storage\n";

}  // namespace

TEST(Usb, WholeDiskLinesOnly) {
    char name[4], blocks[64];
    EXPECT_TRUE(partition_disk_line("   8        0  12x34 sda\n", name, blocks));
    EXPECT_EQ(std::string(name) + " " + blocks, "sda 12x34");
    for (const char* line : {"   8 1 500106584 sda1\n", " 179 0 3817472 mmcblk0\n", "", "sd\n",
                             "   8 0 1 sd"})
        EXPECT_FALSE(partition_disk_line(line, name, blocks)) << line;
}

TEST(Usb, SizesBySerial) {
    memset(usb_storage_serial_num, 0, sizeof usb_storage_serial_num);
    storage_size[0] = '\0';
    EXPECT_STREQ(get_storage_size_by_serail("NOT-THERE"), "");
    strcpy(usb_storage_serial_num[0], "5758AB");
    strcpy(usb_storage_serial_num[1], "OTHER");
    usb_storage_size[0] = 500107608ull >> 10;
    usb_storage_size[1] = 1024;
    EXPECT_STREQ(get_storage_size_by_serail("5758ab"), "476.94");
    EXPECT_STREQ(get_storage_size_by_serail("OTHER"), "1.00");
    // Unknown and null serials repeat the last answer.
    EXPECT_STREQ(get_storage_size_by_serail("NOT-THERE"), "1.00");
    EXPECT_STREQ(get_storage_size_by_serail(nullptr), "1.00");
    usb_storage_size[1] = UINT64_MAX >> 10;
    EXPECT_LT(strlen(get_storage_size_by_serail("OTHER")), sizeof storage_size);
}

TEST(Usb, DeviceListKeepsPrintersAndDisks) {
    memset(usb_storage_serial_num, 0, sizeof usb_storage_serial_num);
    strcpy(usb_storage_serial_num[0], "WX41");
    usb_storage_size[0] = 2048;
    usb_device_slot slots[kUsbSlots];
    // A driver line before any device, and the disk's second interface, count nothing.
    int n = parse_usb_devices(TextFile(std::string("I:* Driver=usb-storage\n") + kHub + kPrinter +
                                       kHub + kDisk),
                              slots, kUsbSlots);
    EXPECT_EQ(json_text(JsonPtr(usb_devices_json(slots, n))),
              R"({"numberOfDevices":2,"usbDevice":[)"
              R"({"usbType":" 2.0","deviceType":"usb-printer","deviceBrand":"HP",)"
              R"("deviceModel":"LaserJet","deviceSize":"N\/A"},)"
              // The hub before the disk lends it no manufacturer.
              R"({"usbType":" 3.2","deviceType":"usb-storage","deviceBrand":"",)"
              R"("deviceModel":"Elements","deviceSize":"2.00"}]})");

    std::string many;
    for (int i = 0; i < 70; ++i) many += kDisk;
    EXPECT_EQ(parse_usb_devices(TextFile(many), slots, kUsbSlots), kUsbSlots);
}

TEST(UsbMedia, ServerDriveCodesAndBackupStates) {
    auto version = [](const char* line) {
        char out[512];
        plex_version_from_line(line, out, sizeof out);
        return std::string(out);
    };
    // The count is of the lines read, up to the matching one or to the end.
    auto drive = [](const char* mount) {
        char out[128];
        plex_usb_drive_info_from(
            TextFile("/mnt/sdb1,sdb1,Stick,7.5 GB,1.0 GB\n/mnt/sda1,sda1,WD,465 GB,311 GB\r\n"), mount, out,
            sizeof out);
        return std::string(out);
    };
    expect_all({{version("x not-a-date 1.2 abc"), "1.2-abc "}, {version(""), ""},
                {drive("/mnt/sda1"), "USB2, WD , Total space: 465 GB, Free space: 311 GB"},
                {drive("/mnt/sdc1"), "USB2,  , Total space: , Free space: "},
                {plex_error_code(3, true, false, false), "4"}, {plex_error_code(3, false, false, true), "1"},
                {plex_error_code(0, true, true, true), "2"},   {plex_error_code(1, true, true, false), "3"},
                {plex_error_code(1, true, true, true), ""},
                {usb_detached_action("4"), "Do nothing"}, {usb_detached_action("2"), "Recover file from Amazon Cloud"},
                {usb_detached_action("3"), "Delete the files on Amazon Cloud"}, {usb_detached_action("1"), ""}});

    // -2 for want of space is the sample router's.
    struct Case { const char *sync, *error; bool disk; const char *status, *reason; };
    for (const Case& c : std::vector<Case>{
             {"0", "", true, "successful", ""}, {"", "", true, "", ""}, {"5", "", true, "", ""},
             {"-3", "", false, "failed", "USB HDD has been removed"},
             {"-3", "", true, "failed", "USB selected folder has been changed or removed"},
             {"-2", "quota", true, "failed", "Data backup failure"},
             {"-1", "no_space", true, "failed", "Data backup failure"}}) {
        const char *status, *reason;
        backup_status(c.sync, c.disk, c.error, &status, &reason);
        EXPECT_EQ(std::string(status) + "|" + reason, std::string(c.status) + "|" + c.reason)
            << c.sync;
    }
}

using Satellites = TempDirTest;

TEST_F(Satellites, BackhaulStatusAndDisconnectsByExactMac) {
    // "2" is OK, "1" Close, on the sample router; the rest by the first character only.
    expect_all({{bh_conn_status_text("12"), "Close"}, {bh_conn_status_text("1x"), "Close"},
                {bh_conn_status_text("22"), "Far"},   {bh_conn_status_text(""), "Far"},
                {bh_conn_status_text("3"), "Far"},    {bh_conn_status_text(" 1"), "Far"}});
    config_set("disconn_sate1", "AA:BB:CC:DD:EE:00,10,1");
    config_set("disconn_sate2", "AA:BB:CC:DD:EE:FF,300,4");
    config_set("disconn_sate4", "11:22:33:44:55:66,7,7");  // after the gap: not read
    const std::pair<const char*, const char*> cases[] = {
        {"AA:BB:CC:DD:EE:FF", "300\",\"bhDisconnectCount\":\"4"}, {"aa:bb:cc:dd:ee:ff", "0\",\"bhDisconnectCount\":\"0"},
        {"11:22:33:44:55:66", "0\",\"bhDisconnectCount\":\"0"}, {"AA:BB:CC:DD:EE", "0\",\"bhDisconnectCount\":\"0"}};
    for (const auto& [mac, want] : cases) {
        JsonPtr obj(json_object_new_object());
        EXPECT_EQ(get_SatelliteInfo_Satellite_bhDisconnectTimeCount(obj.get(), mac), 0);
        EXPECT_EQ(json_text(obj), std::string(R"({"bhDisconnectTime":")") + want + "\"}") << mac;
    }
}

// The satellite list of a fixture directory of the simulated router, parsed
// as the builder reads it.
static JsonPtr satellite_list(const std::string& fixture) {
    std::string file =
        DC_SOURCE_DIR "/" + fixture + "/rootfs/tmp/soapclient/satellite_wifi_info/ra_satellite";
    return JsonPtr(json_object_from_file(file.c_str()));
}

TEST_F(Satellites, BrokenAndHostileLists) {
    for (const char* layer : {"sim/layers/bad-satellites", "sim/layers/no-satellites"})
        EXPECT_EQ(json_text(JsonPtr(satellite_info_from_list(satellite_list(layer).get()))),
                  R"({"numberOfSatellite":0,"Satellite":[]})") << layer;
    JsonPtr info(satellite_info_from_list(satellite_list("sim/layers/hostile").get()));
    EXPECT_EQ(json_object_get_int(json_object_object_get(info.get(), "numberOfSatellite")),
              kMaxSatellites);
    // Invalid UTF-8, and a character cut at the 62-byte bound, are repaired, so a
    // strict parser takes the whole member.
    json_object* sat3 = json_object_array_get_idx(json_object_object_get(info.get(), "Satellite"), 3);
    std::string hw = json_object_get_string(json_object_object_get(sat3, "hwRevision"));
    EXPECT_EQ(hw.substr(0, 5), "hw\xEF\xBF\xBD");
    EXPECT_EQ(hw.substr(hw.size() - 3), "\xEF\xBF\xBD");
    const char* doc = json_object_to_json_string_ext(info.get(), JSON_C_TO_STRING_PLAIN);
    std::string why;
    EXPECT_TRUE(json_text_is_strict(doc, strlen(doc), &why)) << why;
}

// The sample router's list and store fragment (its values are the golden
// "all" document's) with a 70-character model name, cut to 62 characters.
TEST_F(Satellites, SampleRouterModelNameIsCut) {
    put("config.store", slurp(DC_SOURCE_DIR "/sim/router/store.d/60-usb-satellite.store"));
    JsonPtr list = satellite_list("sim/router");
    json_object_object_add(json_object_array_get_idx(list.get(), 1), "modelName",
                           json_object_new_string(std::string(70, 'M').c_str()));
    JsonPtr info(satellite_info_from_list(list.get()));
    json_object* sat = json_object_array_get_idx(json_object_object_get(info.get(), "Satellite"), 1);
    EXPECT_STREQ(json_object_get_string(json_object_object_get(sat, "modelName")),
                 std::string(62, 'M').c_str());
}
