// The mediaDevice document's content: the USB printers and disks, the media
// server's state and the cloud backup of a USB disk.
#pragma once

#include <json-c/json.h>

#include <cstddef>
#include <cstdio>

// The mediaDevice member: the USB members of get_mediaDevice_json (absent
// when the kernel's USB list is unreadable), then "plexMediaServer" and
// "amazonCloudBackup".
json_object* get_mediaDeviceInfo_json();
json_object* get_plexMediaServer_json();
json_object* get_amazonCloudBackup_json();

// ---- the deciding halves, usable on plain values ----------------------------
// "%s-%s %s" of the two version parts and the date ("%Y %b, %d") of the
// media server's version line; "" for an empty line.
void plex_version_from_line(const char* line, char* out, size_t size);
// "USB<n>, <name> , Total space: <t>, Free space: <f>" of the line of the
// server's USB list that begins with selected.
void plex_usb_drive_info_from(FILE* fp, const char* selected, char* out, size_t size);
const char* plex_error_code(int process_run, bool server_enabled, bool clock_set,
                            bool version_file);
// backupStatus and failedReason of an amazon_sync value.
void backup_status(const char* sync, bool disk_attached, const char* error_other,
                   const char** status, const char** reason);
const char* usb_detached_action(const char* usbcheck);
