// USB storage: the vumba member, the table of attached disks (serial and size
// from /proc/partitions, /sys and the usb-storage driver) and the kernel's
// list of USB printers and disks.
#include "collect_usb.h"

#include "Add_object.h"
#include "text_filters.h"
#include "unit.h"

#include <strings.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

char usb_storage_serial_num[kUsbSlots][128];
uint64_t usb_storage_size[kUsbSlots];
char storage_size[32];

namespace {

const char kPartitions[] = "/proc/partitions";
const char kUsbDevices[] = "/sys/kernel/debug/usb/devices";

// Every line loop stops here too: a /proc or /sys file that never ends (or a
// file put in its place) must not keep the run going.
constexpr int kMaxLines = 1 << 16;

// Stands in for a block count that is not a number: the previous disk's.
int64_t remembered_blocks = 0;

void strip_line_end(char* text) { text[strcspn(text, "\r\n")] = '\0'; }

// The text after key (found in a line) into out, line end removed.
void copy_after(const char* found, const char* key, char* out, size_t size) {
    strncpyt(out, found + strlen(key), size);
    strip_line_end(out);
}

}  // namespace

// ---- /proc/partitions -------------------------------------------------------

bool partitions_have_sd() {
    FILE* fp = fopen(kPartitions, "r");
    if (!fp) return false;
    char line[256];
    char name[128];
    bool found = false;
    for (int n = 0; !found && n < kMaxLines && fgets(line, sizeof line, fp); ++n) {
        extraction_string_bychar(line, ' ', 4, name, sizeof name);
        found = strncmp(name, "sd", 2) == 0;
    }
    fclose(fp);
    return found;
}

json_object* get_vumba_json() {
    json_object* obj = json_object_new_object();
    Add_object_boolean(obj, "usbStorage", partitions_have_sd() ? 1 : 0);
    return obj;
}

bool partition_disk_line(const char* line, char* name, char* blocks) {
    char field[128];
    extraction_string_bychar(line, ' ', 4, field, sizeof field);
    if (strlen(field) != 3 || strncmp(field, "sd", 2) != 0) return false;
    strncpyt(name, field, 4);
    extraction_string_bychar(line, ' ', 3, blocks, 64);
    return true;
}

bool scsi_serial_from(FILE* fp, char* out) {
    static const char kKey[] = "Serial Number:";
    char line[128];
    for (int n = 0; n < kMaxLines && fgets(line, sizeof line, fp); ++n) {
        const char* found = strcasestr(line, kKey);
        if (!found) continue;
        // The driver writes one blank after the colon.
        const char* value = found + strlen(kKey);
        if (*value == ' ') ++value;
        strncpyt(out, value, 128);
        strip_line_end(out);
        return true;
    }
    return false;
}

namespace {

// The serial the usb-storage driver reports for a disk, through the SCSI host
// number that /sys gives for it; false when there is none.
bool disk_serial(const char* name, char* serial) {
    char dir[64];
    snprintf(dir, sizeof dir, "/sys/block/%s/device/scsi_device", name);
    char host[64];
    strncpyt(host, first_line_of(ls_names(dir)), sizeof host);
    host[strcspn(host, ":")] = '\0';

    char path[128];
    snprintf(path, sizeof path, "/proc/scsi/usb-storage/%s", host);
    FILE* fp = fopen(str_replace(path), "r");
    if (!fp) return false;
    bool found = scsi_serial_from(fp, serial);
    fclose(fp);
    return found;
}

}  // namespace

void init_storage_serial_array() {
    memset(usb_storage_serial_num, 0, sizeof usb_storage_serial_num);
    memset(usb_storage_size, 0, sizeof usb_storage_size);
    FILE* fp = fopen(kPartitions, "r");
    if (!fp) return;
    char line[256];
    int count = 0;
    for (int n = 0; count < kUsbSlots && n < kMaxLines && fgets(line, sizeof line, fp); ++n) {
        char name[4];
        char blocks[64];
        if (!partition_disk_line(line, name, blocks)) continue;
        // strtoll saturates on absurd counts; is_Number rules out signs.
        if (is_Number(blocks)) remembered_blocks = strtoll(blocks, nullptr, 10);
        usb_storage_size[count] = static_cast<uint64_t>(remembered_blocks) >> 10;
        // A disk without a serial leaves its slot to the next disk.
        if (disk_serial(name, usb_storage_serial_num[count])) ++count;
    }
    fclose(fp);
}

char* get_storage_size_by_serail(const char* serial) {
    if (!serial) return storage_size;
    for (int i = 0; i < kUsbSlots; ++i) {
        if (strcasecmp(serial, usb_storage_serial_num[i]) != 0) continue;
        float gib = static_cast<float>(usb_storage_size[i]) * 0.0009765625f;
        snprintf(storage_size, sizeof storage_size, "%.2f", gib);
        break;
    }
    return storage_size;
}

int usb_printer_enable() {
    FILE* fp = fopen("/proc/bus/usb/devices", "r");
    if (!fp) return 0;
    char piece[128];
    int found = 0;
    for (int n = 0; !found && n < kMaxLines && fgets(piece, sizeof piece, fp); ++n)
        found = strstr(piece, "Driver=KC") != nullptr;
    fclose(fp);
    return found;
}

// ---- kernel USB device list ---------------------------------------------------

int parse_usb_devices(FILE* fp, usb_device_slot* slots, int max) {
    int count = 0;
    bool open = false;
    char line[256];
    for (int n = 0; count < max && n < kMaxLines && fgets(line, sizeof line, fp); ++n) {
        usb_device_slot& dev = slots[count];
        const char* found;
        if ((found = strstr(line, "Ver="))) {
            // A new device: nothing of a skipped hub may show under its name.
            memset(&dev, 0, sizeof dev);
            copy_after(found, "Ver=", dev.version, sizeof dev.version);
            open = true;
        } else if ((found = strstr(line, "Manufacturer="))) {
            copy_after(found, "Manufacturer=", dev.manufacturer, sizeof dev.manufacturer);
        } else if ((found = strstr(line, "Product="))) {
            copy_after(found, "Product=", dev.product, sizeof dev.product);
        } else if ((found = strcasestr(line, "SerialNumber="))) {
            copy_after(found, "SerialNumber=", dev.serial, sizeof dev.serial);
        } else if (open && (found = strstr(line, "Driver="))) {
            copy_after(found, "Driver=", dev.driver, sizeof dev.driver);
            open = false;
            dev.printer = strstr(dev.driver, "KC") != nullptr;
            if (dev.printer || strcasestr(dev.driver, "usb-storage")) ++count;
        }
    }
    return count;
}

json_object* usb_devices_json(const usb_device_slot* slots, int count) {
    json_object* obj = json_object_new_object();
    Add_object_int(obj, "numberOfDevices", count);
    json_object* list = json_object_new_array();
    for (int i = 0; i < count; ++i) {
        const usb_device_slot& dev = slots[i];
        json_object* item = json_object_new_object();
        Add_object_string(item, "usbType", dev.version);
        Add_object_string(item, "deviceType", dev.printer ? "usb-printer" : "usb-storage");
        Add_object_string(item, "deviceBrand", dev.manufacturer);
        Add_object_string(item, "deviceModel", dev.product);
        Add_object_string(item, "deviceSize",
                          dev.printer ? "N/A" : get_storage_size_by_serail(dev.serial));
        json_object_array_add(list, item);
    }
    json_object_object_add(obj, "usbDevice", list);
    return obj;
}

json_object* get_mediaDevice_json() {
    DC_TRACE("get_mediaDevice_json", 1484, "Collect mediaDeviceinfo");
    init_storage_serial_array();
    FILE* fp = fopen(kUsbDevices, "r");
    if (!fp) return nullptr;
    static usb_device_slot slots[kUsbSlots];
    int count = parse_usb_devices(fp, slots, kUsbSlots);
    fclose(fp);
    return usb_devices_json(slots, count);
}
