// Radio lookups shared by the wireless documents and the connected-device
// counters. Each lookup is split into a pure table walk over the values and a
// thin reader of the store or file, so the tables can be checked on literals.
#include "collect_wifi.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <config_store.h>

#include "Add_object.h"
#include "unit.h"

const wifi_mode wifimode[] = {
    {3, "Up to 0.3 Gbps"},   {4, "Up to 0.4 Gbps"},   {5, "Up to 0.5 Gbps"},
    {6, "Up to 0.6 Gbps"},   {7, "Up to 0.7 Gbps"},   {8, "Up to 0.8 Gbps"},
    {10, "Up to 1.0 Gbps"},  {11, "Up to 1.1 Gbps"},  {14, "Up to 1.4 Gbps"},
    {15, "Up to 1.5 Gbps"},  {18, "Up to 1.8 Gbps"},  {21, "Up to 2.1 Gbps"},
    {24, "Up to 2.4 Gbps"},  {29, "Up to 2.9 Gbps"},  {36, "Up to 3.6 Gbps"},
    {43, "Up to 4.3 Gbps"},  {48, "Up to 4.8 Gbps"},  {58, "Up to 5.8 Gbps"},
    {115, "Up to 11.5 Gbps"}, {-1, nullptr},
};

const wifi_region wifiregion[] = {
    {10, "US"}, {4, "WW"}, {2, "AU"}, {3, "CA"}, {20, "SG"},
    {21, "TW"}, {22, "HK"}, {25, "AE"}, {-1, nullptr},
};

const char* const prefix_2g[] = {"###2.4G###", "###2.4G Guest###", "###2.4G Gre###", nullptr};
const char* const prefix_5g[] = {"###5G1###", "###5G1 Guest###", "###5G1 Gre###",
                                 "###5G###",  "###5G Guest###",  "###5G Gre###", nullptr};
const char* const prefix_6g[] = {"###6G###", "###6G Guest###", "###6G Gre###", nullptr};
const char* const prefix_60g[] = {"###60G###", nullptr};

namespace {

// Several store keys are formed in 64-byte buffers; an over-long prefix
// shortens the key rather than overflowing.
constexpr size_t kKeySize = 64;

// Rate indexes of one radio: a mode number selects one of the four. On the
// non-802.11ax builds they are link rates in Mbps that match no wifimode row,
// so those builds always report the first row; the cloud expects that.
struct RateRow {
    WifiBuild build;
    const char* prefix;     // nullptr: any other prefix
    const char* models[4];  // nullptr-ended; empty: any model; "X*": begins with X
    int top, mode28, mode10, low;
};

// No row matches 0, so an index the firmware never defined (2.4 GHz main
// network, mode-10 or low) reports the first row like every other miss.
constexpr int kUndefined = 0;

const RateRow kRateRows[] = {
    {WifiBuild::ax, "wl", {"ZT580"}, 6, 3, kUndefined, kUndefined},
    {WifiBuild::ax, "wl", {}, 7, 4, kUndefined, kUndefined},
    {WifiBuild::ax, "wla", {"ZT960", "ZT990", "ZT520*", "ZT490"}, 29, 14, 58, 7},
    {WifiBuild::ax, "wla", {"ZT480"}, 24, 11, 48, 6},
    {WifiBuild::ax, "wla", {"ZT450*", "ZT440", "ZT470"}, 21, 10, 43, 5},
    {WifiBuild::ax, "wla", {"ZT430"}, 18, 8, 36, 4},
    {WifiBuild::ax, "wla", {}, 15, 7, 29, 4},
    {WifiBuild::ax, nullptr, {"ZT960", "ZT990"}, 58, 29, 115, 14},
    {WifiBuild::ax, nullptr, {}, 29, 14, 58, 7},
    {WifiBuild::ax_qw55, "wl", {}, 460, 229, kUndefined, 54},
    {WifiBuild::ax_qw55, "wla", {}, 960, 458, 0, 229},
    {WifiBuild::ax_qw55, nullptr, {}, 2401, 1147, 4803, 573},
    {WifiBuild::legacy, "wl", {}, 500, 240, kUndefined, 54},
    {WifiBuild::legacy, "wla", {}, 1083, 500, 0, 240},
    {WifiBuild::legacy, nullptr, {}, 2166, 1000, 4333, 481},
};

bool model_matches(const char* const* models, const char* model) {
    if (!models[0]) return true;
    for (size_t i = 0; i < 4 && models[i]; ++i) {
        size_t len = strlen(models[i]);
        if (models[i][len - 1] == '*' ? strncmp(model, models[i], len - 1) == 0
                                      : strcmp(model, models[i]) == 0)
            return true;
    }
    return false;
}

const RateRow* rate_row(WifiBuild build, const char* pre, const char* model) {
    for (const RateRow& row : kRateRows) {
        if (row.build != build) continue;
        if (row.prefix && strcmp(row.prefix, pre) != 0) continue;
        if (model_matches(row.models, model)) return &row;
    }
    return nullptr;  // unreachable: every build ends with a catch-all row
}

struct IfnameRow {
    const char* prefix;
    const char* two_radio;
    const char* three_radio;
};
const IfnameRow kIfnames[] = {
    {"wl", "wl1", "wl2"},      {"wlg1", "wl1.1", "wl2.1"}, {"wlg3", "wl1.3", "wl2.3"},
    {"wla", "wl0", "wl1"},     {"wla1", "wl0.1", "wl1.1"}, {"wla3", "wl0.3", "wl1.3"},
    {"wla_6g", "", "wl0"},     {"wla_6g1", "", "wl0.1"},
};

const lookup_row kSecLabels[] = {
    {"8", "WPA2-PSK[AES]+WPA3-PSK"}, {"7", "WPA3-PSK"}, {"6", "WPA/WPA2 Enterprise"},
    {"5", "WPA-PSK[TKIP]+WPA2-PSK[AES]"}, {"4", "WPA2-PSK[AES]"}, {"3", "WPA-PSK"},
};

struct BandRow {
    const char* radio;
    const char* two_radio;
    const char* three_radio;
};
const BandRow kBands[] = {{"wl0", "5G", "6G"}, {"wl1", "2G", "5G"}, {"wl2", "", "2G"}};

const lookup_row kStatusFiles[] = {
    {"wl", "/tmp/WLAN_2G_status"},
    {"wla", "/tmp/WLAN_5G_status"},
    {"wla_6g", "/tmp/WLAN_6G_status"},
};

struct PurposeRow {
    const char* mark;
    const char* lower;
    const char* title;
};
// Tested in order: a name holding both ".2" and ".1" is a backhaul.
const PurposeRow kPurposes[] = {
    {".2", "backhaul", "Backhaul"}, {".1", "guest", "Guest"}, {".3", "iot", "IOT"}};

const char* safe(const char* s) { return s ? s : ""; }

long to_long(const char* text) { return strtol(safe(text), nullptr, 10); }

int clamp_int(long v) {
    if (v > INT_MAX) return INT_MAX;
    if (v < INT_MIN) return INT_MIN;
    return static_cast<int>(v);
}

const char* purpose(const char* ifname, bool title) {
    for (const PurposeRow& row : kPurposes)
        if (strstr(safe(ifname), row.mark)) return title ? row.title : row.lower;
    return title ? "Primary" : "main";
}

const char* key_value(const char* fmt, const char* pre) {
    char key[kKeySize];
    snprintf(key, sizeof key, fmt, safe(pre));
    return config_get(key);
}

}  // namespace

// ---- pure lookups ------------------------------------------------------------

const char* wlan_mode_label(const char* pre, const char* simple_mode, WifiBuild build,
                            const char* model) {
    long m = 0;
    bool top = false;
    if (simple_mode && *simple_mode) {
        m = to_long(simple_mode);
        top = m == 3 || m == 5 || m == 6;
    }
    const RateRow* row = rate_row(build, safe(pre), safe(model));
    int index = kUndefined;
    if (row) {
        if (top || m == 9)
            index = row->top;
        else if (m == 2 || m == 8)
            index = row->mode28;
        else if (m == 10)
            index = row->mode10;
        else
            index = row->low;
    }
    for (const wifi_mode* w = wifimode; w->mode; ++w)
        if (w->mode_id == index) return w->mode;
    return wifimode[0].mode;
}

const char* wlan_sec_label(const char* sectype, const char* key_length) {
    if (strcmp(safe(sectype), "2") == 0)
        return strcmp(safe(key_length), "5") == 0 ? "WEP64" : "WEP128";
    return lookup_text(kSecLabels, safe(sectype), "None");
}

const char* wlan_ifname(const char* pre, bool two_radio) {
    for (const IfnameRow& row : kIfnames)
        if (strcmp(safe(pre), row.prefix) == 0) return two_radio ? row.two_radio : row.three_radio;
    return "";
}

const char* wlan_region_label(const char* country) {
    long id = (country && *country) ? to_long(country) : -1;
    for (const wifi_region* r = wifiregion; r->region; ++r)
        if (r->country_id == id) return r->region;
    return wifiregion[0].region;
}

const char* radio_band(const char* ifname, bool two_radio) {
    for (const BandRow& row : kBands)
        if (strncmp(safe(ifname), row.radio, 3) == 0)
            return two_radio ? row.two_radio : row.three_radio;
    return "";
}

int enable_ap_line(const char* line) {
    line = safe(line);
    return strncmp(line, "ON", 2) == 0 || strncmp(line, "Up", 2) == 0 ? 1 : 0;
}

const char* get_if_purpose(const char* ifname) { return purpose(ifname, false); }

const char* get_wifi_ra_purpose(const char* ifname) { return purpose(ifname, true); }

int get_start_channel(const char* channel_list) { return clamp_int(to_long(channel_list)); }

int get_end_channel(const char* channel_list) {
    const char* last = strrchr(safe(channel_list), ' ');
    return clamp_int(to_long(last ? last + 1 : channel_list));
}

// ---- store and file readers ------------------------------------------------------

bool is_two_radio_router() { return config_match("radio_number", "0x3") == 1; }

const char* get_wlan_mode(const char* pre) {
    char model[64];
    strncpyt(model, cat_file("/module_name"), sizeof model);
    WifiBuild build = WifiBuild::legacy;
    if (config_match("wla_ax", "1"))
        build = strcmp(model, "QW55") == 0 ? WifiBuild::ax_qw55 : WifiBuild::ax;
    return wlan_mode_label(pre, key_value("%s_simple_mode", pre), build, model);
}

const char* get_wlan_sec(const char* pre) {
    // The security key takes the prefix cut to 48 characters, the key length
    // the whole prefix; the firmware forms them so.
    const char* sectype = key_value("%.48s_sectype", pre);
    std::string length_key = std::string(safe(pre)) + "_key_length";
    return wlan_sec_label(sectype, config_get(length_key.c_str()));
}

const char* get_wlan_IFname(const char* pre) { return wlan_ifname(pre, is_two_radio_router()); }

const char* get_wlan_region(const char* pre) {
    return wlan_region_label(key_value("%s_country", pre));
}

int enable_ap(const char* file_name) {
    FILE* fp = file_name ? fopen(file_name, "r") : nullptr;
    if (!fp) return 0;
    char line[128] = {0};
    if (!fgets(line, sizeof line, fp)) line[0] = '\0';
    fclose(fp);
    return enable_ap_line(line);
}

int get_wlan_status(const char* pre) {
    const char* file = lookup_text(kStatusFiles, pre, nullptr);
    return file ? enable_ap(file) : 0;
}

const char* get_radio_band(const char* ifname) { return radio_band(ifname, is_two_radio_router()); }

const char* get_radio_channel(const char* ifname) {
    static char channel[32];
    static const char* const kFiles[] = {
        "/tmp/router-analytics/wifi_ra/wl0-channel",
        "/tmp/router-analytics/wifi_ra/wl1-channel",
        "/tmp/router-analytics/wifi_ra/wl2-channel",
    };
    const char* name = safe(ifname);
    if (strncmp(name, "wl", 2) == 0 && name[2] >= '0' && name[2] <= '2')
        snprintf(channel, sizeof channel, "%s", cat_file(kFiles[name[2] - '0']));
    return channel;
}

int interface_exists(const char* interface_name) {
    // A link's name is asked of the kernel directly, far cheaper than the
    // whole address list; an alias label ("br0:1") is only in that list.
    const char* name = safe(interface_name);
    if (*name && strlen(name) < IFNAMSIZ && !strchr(name, ':')) {
        int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        if (fd >= 0) {
            struct ifreq ifr {};
            memcpy(ifr.ifr_name, name, strlen(name));
            int rc = ioctl(fd, SIOCGIFINDEX, &ifr);
            int err = errno;
            close(fd);
            if (rc == 0) return 1;
            if (err == ENODEV) return 0;
        }
    }
    struct ifaddrs* list = nullptr;
    if (getifaddrs(&list) == -1) {
        perror("getifaddrs");
        return -1;
    }
    int found = 0;
    for (struct ifaddrs* it = list; it && !found; it = it->ifa_next)
        if (it->ifa_name && strcmp(it->ifa_name, safe(interface_name)) == 0) found = 1;
    freeifaddrs(list);
    return found;
}

// ---- per-network settings ---------------------------------------------------------

namespace {

// Store keys of one network, in band order 2.4, 5, 6 GHz.
struct NetworkKeys {
    const char* flag;
    const char* ssid;
    const char* broadcast;
    const char* prefix;
};
const NetworkKeys kMainNets[] = {
    {"endis_wl_radio", "wl_ssid", "endis_ssid_broadcast", "wl"},
    {"endis_wla_radio", "wla_ssid", "wla_endis_ssid_broadcast", "wla"},
    {"endis_wla_6g_radio", "wla_6g_ssid", "wla_6g_endis_ssid_broadcast", "wla_6g"},
};
const NetworkKeys kGuestNets[] = {
    {"wlg1_endis_guestNet", "wlg1_ssid", "wlg1_endis_guestSSIDbro", "wlg1"},
    {"wla1_endis_guestNet", "wla1_ssid", "wla1_endis_guestSSIDbro", "wla1"},
    {"wla_6g1_endis_guestNet", "wla_6g1_ssid", "wla_6g1_endis_guestSSIDbro", "wla_6g1"},
};
// The IoT object lists both bands as enabled or not but describes only the
// 2.4 GHz network, with the main network's broadcast flag; the cloud expects it.
const NetworkKeys kIotNets[] = {
    {"wlg3_endis_iotNet", "wlg3_ssid", "endis_ssid_broadcast", "wlg3"},
    {"wla3_endis_iotNet", "", "", ""},
};
const char* const kBandShort[] = {"2G", "5G", "6G"};
const char* const kBandLong[] = {"2.4G", "5G", "6G"};
const char* const kHiddenChannel[] = {"wl_hidden_channel", "wla_hidden_channel",
                                      "wla_6g_hidden_channel"};

const char* yes_no(const char* key) { return config_match(key, "1") ? "yes" : "no"; }

// The first n values joined with ", ", cut to size - 1 characters.
template <typename Value>
std::string join(size_t n, size_t size, Value value) {
    std::string s;
    for (size_t i = 0; i < n; ++i) s += (i ? ", " : "") + std::string(value(i));
    if (s.size() > size - 1) s.resize(size - 1);
    return s;
}

// enable_n bands in "enable", other_n in ssid, broadcast and security, band_n
// in frequencyBand.
json_object* network_object(const NetworkKeys* nets, size_t enable_n, size_t other_n,
                            size_t band_n) {
    json_object* obj = json_object_new_object();
    auto add = [obj](const char* name, const std::string& v) {
        Add_object_string(obj, name, v.c_str());
    };
    add("enable", join(enable_n, 64, [nets](size_t i) { return yes_no(nets[i].flag); }));
    add("ssid", join(other_n, 256, [nets](size_t i) {
            char ssid[64];
            strncpyt(ssid, config_get(nets[i].ssid), sizeof ssid);
            return std::string(ssid);
        }));
    add("frequencyBand", join(band_n, 64, [](size_t i) { return kBandShort[i]; }));
    add("broadcast", join(other_n, 64, [nets](size_t i) { return yes_no(nets[i].broadcast); }));
    add("security", join(other_n, 64, [nets](size_t i) { return get_wlan_sec(nets[i].prefix); }));
    return obj;
}

size_t radio_count() { return config_match("radio_number", "0x7") ? 3 : 2; }

json_object* wifi_network_entry(size_t i, size_t entries) {
    size_t band = i / 2;
    bool guest = i % 2 == 1;
    const NetworkKeys& net = guest ? kGuestNets[band] : kMainNets[band];
    const char* freq = kBandLong[band];
    if (!guest && to_long(config_get("mlo_mode")) == 1)
        freq = entries == 4 ? "2.4G, 5G" : "2.4G, 5G, 6G";
    bool radio = config_match(kMainNets[band].flag, "1") && (!guest || config_match(net.flag, "1"));
    const char* channel = config_get(kHiddenChannel[band]);
    char channel_text[64];
    strncpyt(channel_text, strcmp(channel, "0") == 0 ? "AUTO" : channel, sizeof channel_text);

    json_object* obj = json_object_new_object();
    Add_object_string(obj, "type", guest ? "guest" : "main");
    Add_object_string(obj, "frequencyBand", freq);
    Add_object_boolean(obj, "radio", radio);
    Add_object_boolean(obj, "broadcast", config_match(net.broadcast, "1"));
    Add_object_string(obj, "channel", channel_text);
    Add_object_string(obj, "mode", get_wlan_mode(kMainNets[band].prefix));
    Add_object_string(obj, "securityType", get_wlan_sec(net.prefix));
    return obj;
}

}  // namespace

// With band steering one network spans all bands: it is described by the
// 2.4 GHz values while frequencyBand still lists every band.
json_object* get_routerconf_wificonfig_main() {
    size_t n = radio_count();
    size_t described = config_match("lbd_enable", "1") ? 1 : n;
    return network_object(kMainNets, described, described, n);
}

json_object* get_routerconf_wificonfig_guest() {
    size_t n = radio_count();
    return network_object(kGuestNets, n, n, n);
}

json_object* get_routerconf_wificonfig_iot() { return network_object(kIotNets, 2, 1, 2); }

json_object* get_wifiNetwork_json() {
    size_t entries = is_two_radio_router() ? 4 : 6;
    json_object* array = json_object_new_array();
    for (size_t i = 0; i < entries; ++i) json_object_array_add(array, wifi_network_entry(i, entries));
    return array;
}
