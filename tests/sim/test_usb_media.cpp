// The vumba and mediaDevice items in the simulated router: the sample router
// (a USB disk, a printer, a media server), no USB at all, no kernel USB list,
// and hostile inputs.
#include "sim_harness.h"

#include <string>
#include <vector>

namespace {

const char kDevices[] = "/sys/kernel/debug/usb/devices";
const char kPlexVersion[] = "/tmp/plex_current_version";

std::string plain(json_object* obj) {
    return obj ? json_object_to_json_string_ext(obj, JSON_C_TO_STRING_PLAIN) : "<absent>";
}

struct ItemDoc {
    SimResult r;
    SimJson doc;
    json_object* at(const std::string& path) const { return json_at(doc.get(), path); }
};

ItemDoc run_item(const char* item, const Scenario& sc) {
    ItemDoc run{run_in_router({"data_collector", item}, sc), nullptr};
    EXPECT_EQ(run.r.status, 0) << run.r.err;
    run.doc = run.r.json(std::string("/tmp/aws_json_") + item);
    EXPECT_EQ(member_names(run.doc.get()),
              (std::vector<std::string>{"routerHardware", item[0] == 'v' ? "vumba" : "mediaDevice"}));
    EXPECT_EQ(json_object_get_int(run.at("routerHardware.eventType")), 1);
    return run;
}

const std::string kServerNoUsb =
    R"({"plexEnabled":false,"plexVersion":"1.40.1.8227-c0dd5a73e 2024 Mar, 07",)"
    R"("plexRunning":true,"plexErrorCode":"","plexAutoUpdate":true,"plexUSBDriveSelected":true,)"
    R"("plexUSBDriveInfo":"","plexRemoteDrive":true,"plexRemoteFolders":"2"})";

}  // namespace

TEST(UsbItems, VumbaFollowsPartitions) {
    REQUIRE_SIM();
    Scenario sample, no_usb;
    no_usb.extra_fixtures = {"sim/layers/no-usb"};
    for (const auto& [sc, want] :
         std::vector<std::pair<Scenario, std::string>>{{sample, "true"}, {no_usb, "false"}})
        EXPECT_EQ(plain(run_item("vumba", sc).at("vumba")), R"({"usbStorage":)" + want + "}");
}

// The sample router's document is its golden document; the scratch files go.
TEST(UsbItems, MediaDeviceOfTheSampleRouterLeavesNoScratchFiles) {
    REQUIRE_SIM();
    // The version file is not there yet: the upgrade script is asked for it.
    ItemDoc run = run_item("mediaDevice", {});
    EXPECT_EQ(json_object_get_int(run.at("mediaDevice.numberOfDevices")), 2);
    for (const char* scratch : {"/tmp/scsi_result", "/tmp/plex_netdrives"})
        EXPECT_FALSE(run.r.exists(scratch)) << scratch;
}

TEST(UsbItems, MediaDeviceWithoutUsb) {
    REQUIRE_SIM();
    Scenario sc;
    sc.extra_fixtures = {"sim/layers/no-usb"};
    sc.files[kPlexVersion] = "PlexMediaServer 2024-03-07 1.40.1.8227 c0dd5a73e\n";
    sc.store = {{"amazon_login_status", "401"}, {"drive_folder_invalid", "1"},
                {"amazon_usbcheck", "2"}};
    ItemDoc run = run_item("mediaDevice", sc);
    EXPECT_EQ(plain(json_at(run.at("mediaDevice"), "numberOfDevices")), "0");
    EXPECT_EQ(plain(run.at("mediaDevice.usbDevice")), "[]");
    EXPECT_EQ(plain(run.at("mediaDevice.plexMediaServer")), kServerNoUsb);
    EXPECT_EQ(plain(run.at("mediaDevice.amazonCloudBackup")),
              R"({"accountActive":false,"usbStatus":"off","backupStatus":"failed",)"
              R"("failedReason":"USB HDD has been removed","selectedUSBDetached":true,)"
              R"("usbDetachedAction":"Recover file from Amazon Cloud","backupFolder":"",)"
              R"("backupSchedule":""})");

    // Without the kernel's USB list the server and the backup are still reported.
    sc.remove = {kDevices};
    run = run_item("mediaDevice", sc);
    EXPECT_EQ(member_names(run.at("mediaDevice")),
              (std::vector<std::string>{"plexMediaServer", "amazonCloudBackup"}));
    EXPECT_EQ(plain(run.at("mediaDevice.plexMediaServer")), kServerNoUsb);
}

TEST(UsbItems, HostileInputs) {
    REQUIRE_SIM();
    Scenario sc;
    sc.extra_fixtures = {"sim/layers/hostile"};
    for (const char* item : {"vumba", "mediaDevice"}) {
        ItemDoc run = run_item(item, sc);  // the harness checks the document is strict JSON
        EXPECT_FALSE(run.r.exists("/tmp/pwned")) << item;
        if (item[0] != 'm') continue;
        EXPECT_EQ(json_object_get_int(run.at("mediaDevice.numberOfDevices")), 64);
        EXPECT_EQ(json_object_array_length(run.at("mediaDevice.usbDevice")), 64u);
        EXPECT_EQ(json_str(run.doc.get(), "mediaDevice.usbDevice.0.deviceBrand").size(), 127u);
        EXPECT_EQ(json_str(run.doc.get(), "mediaDevice.amazonCloudBackup.backupFolder").size(),
                  127u);
    }
}
