// The wifiAnalytics object: the router's identity, the statistics block of
// each band's main BSS and one object per wireless driver interface that
// exists. Values are first lines of small files, so every read is bounded
// and every number is parsed with saturation.
#include "collect_wifi_analytics.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Add_object.h"
#include "collect_wifi.h"
#include "config_store.h"
#include "unit.h"

namespace {

struct BandBlock {
    const char* name;    // member of wifiAnalytics
    const char* prefix;  // the band's main network
    int basic_rate;      // lowest basic rate in Mbps: CCK on 2.4 GHz, OFDM elsewhere
    bool radar;          // DFS channels: the radar detection count is reported
    bool six_ghz;        // left out on a two-radio router
};
// The second 5 GHz band (5g2BssInfo) has no block on any layout.
const BandBlock kBandBlocks[] = {
    {"2gBssInfo", "wl", 1, false, false},
    {"5g1BssInfo", "wla", 6, true, false},
    {"6gBssInfo", "wla_6g", 6, false, true},
};

// The interfaces reported when they exist: radios, guest and backhaul.
const char* const kIfaces[] = {"wl0", "wl0.1", "wl0.2", "wl1", "wl1.1",
                               "wl1.2", "wl2", "wl2.1", "wl2.2"};

struct BandSetting {
    const char* band;         // get_radio_band label
    const char* prefix;       // region from <prefix>_country
    const char* channel_key;  // "0" means automatic channel selection
};
const BandSetting kBandSettings[] = {
    {"2G", "wl", "wl_hidden_channel"},
    {"5G", "wla", "wla_hidden_channel"},
    {"6G", "wla_6g", "wla_6g_hidden_channel"},
};

struct Counter {
    const char* member;
    const char* file;  // under /sys/class/net/<if>/statistics; null: txDropPercent
};
const Counter kCounters[] = {
    {"rxBytes", "rx_bytes"},           {"rxPacket", "rx_packets"},
    {"rxMulticast", "multicast"},      {"rxDropped", "rx_dropped"},
    {"rxErrorCrc", "rx_crc_errors"},   {"rxErrorFifo", "rx_fifo_errors"},
    {"rxErrorFrame", "rx_frame_errors"}, {"rxErrorLength", "rx_length_errors"},
    {"txBytes", "tx_bytes"},           {"txPacket", "tx_packets"},
    {"txDropped", "tx_dropped"},       {"txDropPercent", nullptr},
    {"txError", "tx_errors"},          {"txErrorFifo", "tx_fifo_errors"},
    {"txErrorCarrier", "tx_carrier_errors"},
};

// x * a for a below 2^32, as two 64-bit words.
struct Wide {
    uint64_t hi, lo;
};

Wide times(uint64_t x, uint64_t a) {
    uint64_t low = (x & 0xffffffffu) * a;
    uint64_t mid = (x >> 32) * a;
    uint64_t lo = low + (mid << 32);
    return {(mid >> 32) + (lo < low ? 1 : 0), lo};
}

bool less(const Wide& a, const Wide& b) { return a.hi < b.hi || (a.hi == b.hi && a.lo < b.lo); }

std::string first_line(const char* path, size_t max_chars) {
    return std::string(cat_file(path)).substr(0, max_chars);
}

json_object* device_info_json() {
    std::string model = first_line("/module_name", 31);
    for (char& c : model) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    std::string revision =
        first_line("/tmp/board_hw_id", 127) + "," + first_line("/proc/nvram/boardid", 31);
    char mac[64] = "";
    get_macaddr("br0", mac);

    json_object* info = json_object_new_object();
    Add_object_string(info, "modelName", model.c_str());
    Add_object_string(info, "hwRevision", revision.substr(0, 127).c_str());
    Add_object_string(info, "macAddress", parse_mac(mac));
    Add_object_string(info, "serialNumber", first_line("/tmp/Seria_Number", 63).c_str());
    return info;
}

int analytic_int(const char* ifname, const char* name) {
    return wifi_text_int(analytic_file_text(ifname, name).c_str());
}

json_object* band_block(const BandBlock& b) {
    char ifname[32];
    strncpyt(ifname, get_wlan_IFname(b.prefix), sizeof ifname);
    std::string bssid = analytic_file_text(ifname, "bssid");
    std::string channels = analytic_file_text(ifname, "bssChannelList", 255);
    int rx = analytic_int(ifname, "bssChUtilRx");
    int tx = analytic_int(ifname, "bssChUtilTx");

    json_object* o = json_object_new_object();
    Add_object_string(o, "bssMac", bssid.c_str());
    Add_object_string(o, "bssMLDMac", bssid.c_str());
    Add_object_string(o, "bssBW", analytic_file_text(ifname, "bssBW").c_str());
    Add_object_int(o, "bssStartChannel", get_start_channel(channels.c_str()));
    Add_object_int(o, "bssEndChannel", get_end_channel(channels.c_str()));
    Add_object_int(o, "bssMainChannel", analytic_int(ifname, "bssMainChannel"));
    Add_object_string(o, "bssNoiseFlr", analytic_file_text(ifname, "bssNoiseFlr").c_str());
    Add_object_int(o, "bssColor", analytic_int(ifname, "bssColor"));
    for (const char* flag : {"bssHT", "bssVHT", "bssHE", "bssEHT"}) Add_object_int(o, flag, 1);
    Add_object_int(o, "bssBasicRate", b.basic_rate);
    Add_object_int(o, "bssChUtilRx", rx);
    Add_object_int(o, "bssChUtilTx", tx);
    Add_object_int(o, "bssChUtilBSS", wifi_util_sum(rx, tx));
    Add_object_int(o, "bssChUtilObss", analytic_int(ifname, "bssChUtilObss"));
    Add_object_string(o, "bssChUtilUnknown", "NA");
    Add_object_int(o, "bssCcaThreshold", analytic_int(ifname, "bssCcaThreshold"));
    if (b.radar) Add_object_int(o, "bssRadarDetecteCnt", wifi_text_int(cat_file("/tmp/radar_cnt.dat")));
    return o;
}

// Region and channel mode of an interface's band; all empty for a band the
// router does not have on its layout.
struct RadioSetting {
    std::string region, channel_mode, user_set;
};

RadioSetting radio_setting(const char* band) {
    for (const BandSetting& s : kBandSettings) {
        if (strcmp(band, s.band) != 0) continue;
        RadioSetting r{std::string(get_wlan_region(s.prefix)).substr(0, 15), "auto", "auto"};
        if (!config_match(s.channel_key, "0")) {
            r.channel_mode = "fixed";
            r.user_set = std::string(config_get(s.channel_key)).substr(0, 31);
        }
        return r;
    }
    return {};
}

json_object* sub_object(json_object* parent, const char* name) {
    json_object* o = json_object_new_object();
    json_object_object_add(parent, name, o);
    return o;
}

json_object* iface_json(const char* ifname, const std::string& serial) {
    std::string mac = analytic_file_text(ifname, "bssid");
    char radio[4];
    strncpyt(radio, ifname, sizeof radio);
    std::string band = std::string(get_radio_band(ifname)).substr(0, 15);
    RadioSetting setting = radio_setting(band.c_str());

    json_object* o = json_object_new_object();
    json_object* dv = sub_object(o, "dvInfo");
    Add_object_string(dv, "dvMac", mac.c_str());
    Add_object_string(dv, "dvSN", serial.c_str());
    json_object* info = sub_object(o, "radioInfo");
    Add_object_string(info, "radioName", ifname);
    Add_object_string(info, "radioBand", band.c_str());
    Add_object_string(info, "radioInfoRegion", setting.region.c_str());
    Add_object_string(info, "radioInfoChannel", setting.channel_mode.c_str());
    json_object* stat = sub_object(o, "radioStat");
    Add_object_string(stat, "radioStatChannel", analytic_file_text(radio, "bssMainChannel").c_str());
    Add_object_string(stat, "radioStatChannelUserSet", setting.user_set.c_str());
    Add_object_string(stat, "radioStatUtilitization", "NA");
    Add_object_int(stat, "radioNumOfVaps", 1);
    json_object* iface = sub_object(o, "ifaceInfo");
    Add_object_string(iface, "ifaceName", ifname);
    Add_object_string(iface, "ifaceMac", formatted_mac(mac.c_str()));
    Add_object_string(iface, "ifaceMode", "AP");
    Add_object_string(iface, "ifacePurpose", get_if_purpose(ifname));
    Add_object_boolean(iface, "ifaceEnable", mac != "00:00:00:00:00:00");
    json_object_object_add(o, "ifaceStat", get_iface_stat_json(ifname));
    return o;
}

}  // namespace

// ---- pieces ------------------------------------------------------------------------

std::string analytic_file_text(const char* ifname, const char* name, size_t max_chars) {
    char path[128];
    snprintf(path, sizeof path, "/tmp/router-analytics/analytic/%s-%s", ifname, name);
    return first_line(path, max_chars);
}

int wifi_text_int(const char* text) {
    long long v = strtoll(text ? text : "", nullptr, 10);
    return v > INT_MAX ? INT_MAX : v < INT_MIN ? INT_MIN : static_cast<int>(v);
}

int wifi_util_sum(int a, int b) {
    long long sum = static_cast<long long>(a) + b;
    return sum > INT_MAX ? INT_MAX : sum < INT_MIN ? INT_MIN : static_cast<int>(sum);
}

int64_t counter_value(const char* text) {
    long long v = strtoll(text ? text : "", nullptr, 10);  // saturates beyond 64 bits
    return v < 0 ? 0 : static_cast<int64_t>(v);
}

int tx_drop_percent(int64_t packets, int64_t dropped) {
    if (dropped <= 0) return 0;
    uint64_t d = static_cast<uint64_t>(dropped);
    uint64_t total = static_cast<uint64_t>(packets < 0 ? 0 : packets) + d;  // below 2^64
    // The largest p with total * p <= dropped * 100, in two-word arithmetic.
    const Wide limit = times(d, 100);
    int percent = 0;
    while (percent < 100 && !less(limit, times(total, static_cast<uint64_t>(percent) + 1)))
        ++percent;
    return percent;
}

json_object* get_iface_stat_json(const char* ifname) {
    int64_t values[sizeof kCounters / sizeof kCounters[0]] = {};
    int64_t packets = 0, dropped = 0;
    for (size_t i = 0; i < sizeof kCounters / sizeof kCounters[0]; ++i) {
        if (!kCounters[i].file) continue;
        char path[128];
        snprintf(path, sizeof path, "/sys/class/net/%s/statistics/%s", ifname, kCounters[i].file);
        char text[32];
        strncpyt(text, cat_file(path), sizeof text);
        values[i] = counter_value(text);
        if (strcmp(kCounters[i].file, "tx_packets") == 0) packets = values[i];
        if (strcmp(kCounters[i].file, "tx_dropped") == 0) dropped = values[i];
    }
    json_object* o = json_object_new_object();
    for (size_t i = 0; i < sizeof kCounters / sizeof kCounters[0]; ++i) {
        if (kCounters[i].file)
            json_object_object_add(o, kCounters[i].member, json_object_new_int64(values[i]));
        else
            Add_object_int(o, kCounters[i].member, tx_drop_percent(packets, dropped));
    }
    return o;
}

json_object* get_wifi_analytic_json() {
    zol_safe_system(nullptr, nullptr, 0, "/sbin/get_ra_wifi_info", "analytic", nullptr);
    json_object* result = json_object_new_object();
    json_object_object_add(result, "deviceInfo", device_info_json());
    const bool two_radio = is_two_radio_router();
    for (const BandBlock& b : kBandBlocks)
        if (!(b.six_ghz && two_radio)) json_object_object_add(result, b.name, band_block(b));

    std::string serial = first_line("/tmp/sn-setted", 31);
    json_object* ifaces = json_object_new_array();
    for (const char* ifname : kIfaces)
        if (interface_exists(ifname) == 1) json_object_array_add(ifaces, iface_json(ifname, serial));
    json_object_object_add(result, "wifiIface", ifaces);
    return result;
}
