// The mediaDevice document's content. The media server and the backup
// service leave their state in the store and in files under /tmp; the server's
// version comes from its upgrade script, which is given three seconds to
// write it when it is not there yet.
#include "collect_usb_media.h"

#include "Add_object.h"
#include "collect_usb.h"
#include "config_store.h"
#include "text_filters.h"
#include "unit.h"

#include <unistd.h>

#include <cstring>
#include <ctime>

namespace {

const char kPlexVersionFile[] = "/tmp/plex_current_version";
const char kPlexInstalledVersion[] = "/tmp/plexmediaserver/plex_current_version";
const char kPlexUsbInfo[] = "/tmp/plex_curUSB_info";
// The whole store as the tool shows it (the store holds at most 8 MiB).
constexpr size_t kStoreBytes = 8u << 20;

constexpr int kMaxLines = 4096;

int store_number(const char* key) { return zol_atoi(config_get(key)); }

// The first line of the version file, asking the upgrade script for it once.
void read_plex_version_line(char* line, size_t size) {
    if (!file_exists(kPlexVersionFile)) {
        // Runs on by design: its answer is for later runs.
        run_detached({"/etc/plexmediaserver/plexmediaserver_upgrade.sh", "check", "auto"});
        sleep(3);
    }
    strncpyt(line, cat_file(kPlexVersionFile), size);
}

// Count of network drives the server is given, as wc prints it.
void net_drive_count(char* count, size_t size) {
    std::string shown = program_output({"config", "show"}, kStoreBytes);
    strncpyt(count, first_line_of(count_lines_holding(shown, "plex_net_state", "=1")), size);
}

}  // namespace

void plex_version_from_line(const char* line, char* out, size_t size) {
    if (!out || size == 0) return;
    out[0] = '\0';
    if (!line || !*line) return;
    char date[64], major[64], minor[64];
    extraction_string_bychar(line, ' ', 2, date, sizeof date);
    extraction_string_bychar(line, ' ', 3, major, sizeof major);
    extraction_string_bychar(line, ' ', 4, minor, sizeof minor);
    struct tm when {};
    char date_text[64] = "";
    const char* end = strptime(date, " %Y-%m-%d", &when);
    if (end) strftime(date_text, sizeof date_text, "%Y %b, %d", &when);
    snprintf(out, size, "%s-%s %s", major, minor, date_text);
}

void plex_usb_drive_info_from(FILE* fp, const char* selected, char* out, size_t size) {
    char line[128];
    char name[65] = "", total[33] = "", free_space[33] = "";
    size_t selected_len = strlen(selected);
    int count = 0;
    while (count < kMaxLines && fgets(line, sizeof line, fp)) {
        ++count;
        if (strncmp(line, selected, selected_len) != 0) continue;
        line[strcspn(line, "\r\n")] = '\0';
        get_data_from_string(line, name, ',', 3, sizeof name - 1);
        get_data_from_string(line, total, ',', 4, sizeof total - 1);
        get_data_from_string(line, free_space, ',', 5, sizeof free_space - 1);
        break;
    }
    snprintf(out, size, "USB%d, %s , Total space: %s, Free space: %s", count, name, total,
             free_space);
}

const char* plex_error_code(int process_run, bool server_enabled, bool clock_set,
                            bool version_file) {
    if (process_run == 3 && server_enabled) return "4";
    if (!clock_set) return "1";
    if (process_run == 0 && version_file) return "2";
    if (!version_file) return "3";
    return "";
}

json_object* get_plexMediaServer_json() {
    bool enabled = config_match("plexmediaserver_enable", "1");
    int process_run = store_number("plex_process_run");

    char line[512];
    char version[512];
    read_plex_version_line(line, sizeof line);
    plex_version_from_line(line, version, sizeof version);

    char drive_info[128] = "";
    if (FILE* fp = fopen(kPlexUsbInfo, "r")) {
        plex_usb_drive_info_from(fp, config_get("plex_select_usb"), drive_info,
                                 sizeof drive_info);
        fclose(fp);
    }
    char drives[64];
    net_drive_count(drives, sizeof drives);

    json_object* obj = json_object_new_object();
    Add_object_boolean(obj, "plexEnabled", partitions_have_sd() && enabled);
    Add_object_string(obj, "plexVersion", version);
    Add_object_boolean(obj, "plexRunning", process_run == 1);
    Add_object_string(obj, "plexErrorCode",
                      plex_error_code(process_run, enabled, file_exists("/tmp/ntp_updated"),
                                      file_exists(kPlexInstalledVersion)));
    Add_object_boolean(obj, "plexAutoUpdate", store_number("plex_auto_upgrade_enable") != 0);
    Add_object_boolean(obj, "plexUSBDriveSelected",
                       strstr(config_get("plex_select_usb"), "/mnt") != nullptr);
    Add_object_string(obj, "plexUSBDriveInfo", drive_info);
    Add_object_boolean(obj, "plexRemoteDrive", zol_atoi(drives) != 0);
    Add_object_string(obj, "plexRemoteFolders", drives);
    return obj;
}

// ---- cloud backup ------------------------------------------------------------------

void backup_status(const char* sync, bool disk_attached, const char* error_other,
                   const char** status, const char** reason) {
    *status = "";
    *reason = "";
    if (strcmp(sync, "0") == 0) {
        *status = "successful";
        return;
    }
    if (!strchr(sync, '-')) return;
    *status = "failed";
    if (!disk_attached)
        *reason = "USB HDD has been removed";
    else if (strstr(sync, "-3"))
        *reason = "USB selected folder has been changed or removed";
    else if (strstr(sync, "-2") && strcmp(error_other, "no_space") == 0)
        *reason = "Storage size reach limitation";
    else
        *reason = "Data backup failure";
}

const char* usb_detached_action(const char* usbcheck) {
    static const struct {
        int code;
        const char* action;
    } kActions[] = {
        {4, "Do nothing"},
        {2, "Recover file from Amazon Cloud"},
        {3, "Delete the files on Amazon Cloud"},
    };
    int code = zol_atoi(usbcheck);
    for (const auto& row : kActions)
        if (row.code == code) return row.action;
    return "";
}

json_object* get_amazonCloudBackup_json() {
    bool active = store_number("amazon_login_status") == 200;
    bool disk = partitions_have_sd();
    const char* status;
    const char* reason;
    backup_status(config_get("amazon_sync"), disk, config_get("backup_error_other"), &status,
                  &reason);
    bool detached = config_match("drive_folder_invalid", "1");

    char folder[128] = "";
    if (active) {
        char full[256];  // the whole path first, then the 127-character bound
        snprintf(full, sizeof full, "%.127s/%.64s", config_get("usb_path"),
                 config_get("sync_local_folder"));
        strncpyt(folder, full, sizeof folder);
    }
    const char* schedule = "";
    if (active) schedule = store_number("sync_auto") != 0 ? "real-time" : "scheduled";

    json_object* obj = json_object_new_object();
    Add_object_boolean(obj, "accountActive", active);
    Add_object_string(obj, "usbStatus", disk ? "connected" : "off");
    Add_object_string(obj, "backupStatus", status);
    Add_object_string(obj, "failedReason", reason);
    Add_object_boolean(obj, "selectedUSBDetached", detached);
    Add_object_string(obj, "usbDetachedAction",
                      detached ? usb_detached_action(config_get("amazon_usbcheck")) : "");
    Add_object_string(obj, "backupFolder", folder);
    Add_object_string(obj, "backupSchedule", schedule);
    return obj;
}

// ---- the mediaDevice member -------------------------------------------------------

// The cloud files the media server and the backup under mediaDevice, beside
// the USB list; they are reported even when the USB list cannot be read.
json_object* get_mediaDeviceInfo_json() {
    json_object* obj = get_mediaDevice_json();
    if (!obj) obj = json_object_new_object();
    json_object_object_add(obj, "plexMediaServer", get_plexMediaServer_json());
    json_object_object_add(obj, "amazonCloudBackup", get_amazonCloudBackup_json());
    return obj;
}
