// Readers of /proc, /sys and the firmware tools' output: /proc/stat,
// meminfo, net/dev, route, arp, partitions, the kernel's USB device list,
// the SCSI serial, thermal files, ubinfo and nand tool output, the CPU and
// memory collector files, the Circle and media server tools.
#include <climits>
#include <cstring>

#include "collect_circleV2.h"
#include "collect_generic.h"
#include "collect_otp.h"
#include "collect_router.h"
#include "collect_router_dbglog.h"
#include "collect_router_gateway.h"
#include "collect_router_traffic.h"
#include "collect_usb.h"
#include "collect_usb_media.h"
#include "fuzz_util.h"
#include "unit.h"
#include "zol_json.h"

using fuzz::MemFile;
using fuzz::require;
using fuzz::require_bounded;
using fuzz::require_strict;

namespace {

void proc_stat(fuzz::Input& in) {
    std::string path = fuzz::scratch("stat");
    fuzz::put_file(path, in.rest());
    char f[8][21] = {};
    cpu_util_from(path.c_str(), f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7]);
    for (auto& field : f) require_bounded(field, 20, "cpu_util_from");
    cpu_counters c = cpu_counters_from_fields(f);
    float u = cpu_utilization_between(c, cpu_counters_from_fields(f));
    char out[20];
    format_utilization(u, out, sizeof out);
    require_bounded(out, 19, "format_utilization");
}

void proc_meminfo(fuzz::Input& in) {
    std::string path = fuzz::scratch("meminfo");
    fuzz::put_file(path, in.rest());
    char t[64] = "", f[64] = "", b[64] = "", c[64] = "";
    meminfo_from(path.c_str(), t, f, b, c);
    for (const char* s : {t, f, b, c}) require_bounded(s, 63, "meminfo_from");
    mem_usage m = mem_usage_from_lines(t, f, b, c);
    for (const char* s : {m.total, m.free, m.used, m.utilization}) require_bounded(s, 31, "mem_usage");
    memory_utilization_from(path.c_str());
}

void route_and_arp(fuzz::Input& in) {
    std::string ip = in.text(32);
    std::string text = in.rest();
    char ifname[16];
    uint32_t dest = 0, gw = 0;
    if (parse_route_line(text.c_str(), ifname, &dest, &gw)) require_bounded(ifname, 15, "route ifname");
    char gateway[16];
    { MemFile f(text); if (gateway_ip_from(f.get(), gateway)) require_bounded(gateway, 15, "gateway ip"); }
    char mac[32];
    { MemFile f(text); if (gateway_mac_from(f.get(), ip.c_str(), mac)) require_bounded(mac, 17, "gateway mac"); }
    { MemFile f(text); require(cable_modem_mac_from(f.get()).size() <= 17, "cable modem mac"); }
    { MemFile f(text); ping_answered(f.get()); }
}

void net_dev(fuzz::Input& in) {
    std::string ifname = in.text(16);
    std::string text = in.rest();
    uint64_t rx = 0, tx = 0;
    MemFile f(text);
    for_each_line(f.get(), 512, [&](char* line) {
        parse_net_dev_line(line, ifname.c_str(), &rx, &tx);
        return true;
    });
}

void partitions_and_usb(fuzz::Input& in) {
    std::string text = in.rest();
    MemFile f(text);
    for_each_line(f.get(), 256, [](char* line) {
        char name[4], blocks[64];
        if (partition_disk_line(line, name, blocks)) {
            require_bounded(name, 3, "partition name");
            require_bounded(blocks, 63, "partition blocks");
        }
        return true;
    });
    char serial[128];
    { MemFile s(text); if (scsi_serial_from(s.get(), serial)) require_bounded(serial, 127, "scsi serial"); }
    usb_device_slot slots[kUsbSlots];
    MemFile u(text);
    int n = parse_usb_devices(u.get(), slots, kUsbSlots);
    require(n >= 0 && n <= kUsbSlots, "parse_usb_devices count");
    JsonPtr doc(usb_devices_json(slots, n));
    require_strict(doc.get(), "usb_devices_json");
}

void thermal(fuzz::Input& in) {
    bool board = in.flag();
    MemFile f(in.rest());
    JsonPtr doc(parse_sensor_file(f.get(), board));
    require_strict(doc.get(), "parse_sensor_file");
}

void ubinfo_and_nand(fuzz::Input& in) {
    size_t offset = in.byte() % 40;
    std::string phrase = in.text(32);
    std::string text = in.rest();
    for (const char* item : {"total_blocks", "bad_blocks", "info", "other"})
        require_bounded(dbgLogs_ubinfo_text(text.data(), text.size(), item), UBINFO_BUF_SIZE - 1,
                        "dbgLogs_ubinfo_text");
    MemFile f(text);
    require(nand_count_from(f.get(), phrase.c_str(), offset).size() <= text.size(), "nand count");
}

void collector_files(fuzz::Input& in) {
    std::string text = in.rest();
    { MemFile f(text); JsonPtr doc(cpu_average_from(f.get())); require_strict(doc.get(), "cpu_average_from"); }
    { MemFile f(text); high_mem_time_from(f.get()); }
}

void tools(fuzz::Input& in) {
    std::string selected = in.text(64);
    std::string text = in.rest();
    { MemFile f(text); parse_circle_status(f.get()); }
    { MemFile f(text); require(parse_circle_agent_version(f.get()).size() <= text.size(), "circle version"); }
    char drive[128];
    MemFile f(text);
    plex_usb_drive_info_from(f.get(), selected.c_str(), drive, sizeof drive);
    require_bounded(drive, 127, "plex_usb_drive_info_from");
}

void reboot_reason(fuzz::Input& in) {
    std::string path = fuzz::scratch("reboot_reason");
    fuzz::put_file(path, in.rest());
    get_last_reboot_reason(path.c_str());
    require_bounded(cat_file(path.c_str()), 511, "cat_file");
}

const fuzz::Case kCases[] = {proc_stat, proc_meminfo, route_and_arp,   net_dev,         partitions_and_usb,
                       thermal,   ubinfo_and_nand, collector_files, tools,         reboot_reason};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz::run_case(kCases, data, size);
}
