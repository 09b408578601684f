// The vumba and mediaDevice items in the simulated router beside the sample
// router's golden documents (a USB disk, a printer, a media server): no USB
// at all, no kernel USB list, and hostile inputs.
#include "sim_test.h"

const std::string kServerNoUsb =
    R"({"plexEnabled":false,"plexVersion":"1.40.1.8227-c0dd5a73e 2024 Mar, 07",)"
    R"("plexRunning":true,"plexErrorCode":"","plexAutoUpdate":true,"plexUSBDriveSelected":true,)"
    R"("plexUSBDriveInfo":"","plexRemoteDrive":true,"plexRemoteFolders":"2"})";

using UsbItems = SimTest;

TEST_F(UsbItems, WithoutUsb) {
    Scenario sc;
    sc.extra_fixtures = {"sim/layers/no-usb"};
    EXPECT_EQ(json_text(run_item("vumba", sc).doc.get(), "vumba"), R"({"usbStorage":false})");

    sc.files["/tmp/plex_current_version"] = "PlexMediaServer 2024-03-07 1.40.1.8227 c0dd5a73e\n";
    sc.store = {{"amazon_login_status", "401"}, {"drive_folder_invalid", "1"},
                {"amazon_usbcheck", "2"}};
    ItemRun run = run_item("mediaDevice", sc);
    expect_members(run.at("mediaDevice"), {
        {"numberOfDevices", "0"}, {"usbDevice", "[]"}, {"plexMediaServer", kServerNoUsb},
        {"amazonCloudBackup",
         R"({"accountActive":false,"usbStatus":"off","backupStatus":"failed",)"
         R"("failedReason":"USB HDD has been removed","selectedUSBDetached":true,)"
         R"("usbDetachedAction":"Recover file from Amazon Cloud","backupFolder":"",)"
         R"("backupSchedule":""})"}});

    // Without the kernel's USB list the server and the backup are still reported.
    sc.remove = {"/sys/kernel/debug/usb/devices"};
    run = run_item("mediaDevice", sc);
    EXPECT_EQ(member_names(run.at("mediaDevice")),
              (std::vector<std::string>{"plexMediaServer", "amazonCloudBackup"}));
    EXPECT_EQ(json_text(run.doc.get(), "mediaDevice.plexMediaServer"), kServerNoUsb);
}

TEST_F(UsbItems, HostileInputs) {
    Scenario sc;
    sc.extra_fixtures = {"sim/layers/hostile"};
    for (const char* item : {"vumba", "mediaDevice"}) {
        ItemRun run = run_item(item, sc);  // the harness checks the document is strict JSON
        EXPECT_FALSE(run.r.exists("/tmp/pwned")) << item;
        if (item[0] != 'm') continue;
        EXPECT_EQ(json_object_get_int(run.at("mediaDevice.numberOfDevices")), 64);
        EXPECT_EQ(json_object_array_length(run.at("mediaDevice.usbDevice")), 64u);
        EXPECT_EQ(json_str(run.doc.get(), "mediaDevice.usbDevice.0.deviceBrand").size(), 127u);
        EXPECT_EQ(json_str(run.doc.get(), "mediaDevice.amazonCloudBackup.backupFolder").size(),
                  127u);
    }
}
