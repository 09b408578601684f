// USB storage and media: whether a USB disk is attached (vumba), the table of
// attached disks (serial and size) and the list of USB printers and disks the
// mediaDevice document reports.
#pragma once

#include <json-c/json.h>

#include <cstdint>
#include <cstdio>

constexpr int kUsbSlots = 64;

// Disk table, refilled by init_storage_serial_array: serials (with their line
// end removed) and sizes in MiB, parallel by slot.
extern char usb_storage_serial_num[kUsbSlots][128];
extern uint64_t usb_storage_size[kUsbSlots];
// Last size text given out by get_storage_size_by_serail; lasts for the run.
extern char storage_size[32];

// {"usbStorage": bool}: some /proc/partitions entry is an "sd" device.
json_object* get_vumba_json();
void init_storage_serial_array();
// GiB with two decimals; the previous answer for a null or unknown serial.
char* get_storage_size_by_serail(const char* serial);
// 1 when the kernel's USB list names a printer driver; no document uses it.
int usb_printer_enable();

// {"numberOfDevices": int, "usbDevice": [...]}, or null without the kernel's
// USB device list.
json_object* get_mediaDevice_json();

// ---- the parsing halves, usable on any stream ------------------------------
// Whether /proc/partitions lists an "sd" device (a disk or a partition).
bool partitions_have_sd();
// A whole-disk line of /proc/partitions ("sd" and one character): its name
// (4 bytes) and block count text (at least 64 bytes). False for anything else.
bool partition_disk_line(const char* line, char* name, char* blocks);
// The serial of a /proc/scsi/usb-storage/<host> text into out (128 bytes),
// line end removed; false when it has no "Serial Number:" line.
bool scsi_serial_from(FILE* fp, char* out);

// One device of the kernel's list; texts without their line end.
struct usb_device_slot {
    char version[5];
    char manufacturer[128];
    char product[128];
    char serial[128];
    char driver[128];
    int printer;
};
// Records the printers and disks of a kernel USB device list, at most max;
// returns how many.
int parse_usb_devices(FILE* fp, usb_device_slot* slots, int max);
// The mediaDevice USB members for recorded devices.
json_object* usb_devices_json(const usb_device_slot* slots, int count);
