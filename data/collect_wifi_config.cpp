// The wifiConfig object. Member names repeat their parents' tags
// ("main-2G" > "main-2G-Config" > "main-2G-Config-SSID"); the cloud files
// them by those exact names. The 6 GHz objects exist on three-radio routers
// (radio_number "0x7") only.
#include "collect_wifi_config.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "Add_object.h"
#include "collect_wifi.h"
#include "collect_wifi_analytics.h"
#include "config_store.h"
#include "unit.h"

namespace {

struct Network {
    const char* tag;
    const char* prefix;        // the network's own keys, security and interface
    const char* radio;         // the band's main network: rate class and status
    const char* own_enable;    // null for a main network
    const char* radio_enable;
    const char* ssid_key;
    // IoT networks take the broadcast flag of their band's main network and
    // every network its band's channel: the firmware keeps them so.
    const char* broadcast_key;
    const char* channel_key;
    bool six_ghz;
};

// In document order. There is no 6 GHz IoT network.
const Network kNetworks[] = {
    {"main-2G", "wl", "wl", nullptr, "endis_wl_radio", "wl_ssid", "endis_ssid_broadcast",
     "wl_hidden_channel", false},
    {"main-5G", "wla", "wla", nullptr, "endis_wla_radio", "wla_ssid", "wla_endis_ssid_broadcast",
     "wla_hidden_channel", false},
    {"main-6G", "wla_6g", "wla_6g", nullptr, "endis_wla_6g_radio", "wla_6g_ssid",
     "wla_6g_endis_ssid_broadcast", "wla_6g_hidden_channel", true},
    {"guest-2G", "wlg1", "wl", "wlg1_endis_guestNet", "endis_wl_radio", "wlg1_ssid",
     "wlg1_endis_guestSSIDbro", "wl_hidden_channel", false},
    {"guest-5G", "wla1", "wla", "wla1_endis_guestNet", "endis_wla_radio", "wla1_ssid",
     "wla1_endis_guestSSIDbro", "wla_hidden_channel", false},
    {"guest-6G", "wla_6g1", "wla_6g", "wla_6g1_endis_guestNet", "endis_wla_6g_radio",
     "wla_6g1_ssid", "wla_6g1_endis_guestSSIDbro", "wla_6g_hidden_channel", true},
    {"customize-2G", "wlg3", "wl", "wlg3_endis_iotNet", "endis_wl_radio", "wlg3_ssid",
     "endis_ssid_broadcast", "wl_hidden_channel", false},
    {"customize-5G", "wla3", "wla", "wla3_endis_iotNet", "endis_wla_radio", "wla3_ssid",
     "wla_endis_ssid_broadcast", "wla_hidden_channel", false},
};

struct Radio {
    const char* tag;
    const char* prefix;
    const char* enable_key;
    bool six_ghz;
};
const Radio kRadios[] = {
    {"radio-2G", "wl", "endis_wl_radio", false},
    {"radio-5G", "wla", "endis_wla_radio", false},
    {"radio-6G", "wla_6g", "endis_wla_6g_radio", true},
};

bool flag(const char* key) { return config_match(key, "1") == 1; }

// Adds tag + suffix; the caller's object keeps the member order.
void add_string(json_object* o, const std::string& tag, const char* suffix, const char* value) {
    Add_object_string(o, (tag + suffix).c_str(), value);
}

json_object* network_config(const Network& n) {
    const std::string t = std::string(n.tag) + "-Config";
    bool enabled = flag(n.radio_enable) && (!n.own_enable || flag(n.own_enable));
    json_object* o = json_object_new_object();
    Add_object_boolean(o, (t + "-Enable").c_str(), enabled);
    add_string(o, t, "-SSID", config_get(n.ssid_key));
    add_string(o, t, "-Broadcast", flag(n.broadcast_key) ? "true" : "false");
    add_string(o, t, "-Channel", config_match(n.channel_key, "0") ? "AUTO" : config_get(n.channel_key));
    add_string(o, t, "-Mode", get_wlan_mode(n.radio));
    add_string(o, t, "-SecurityType", get_wlan_sec(n.prefix));
    return o;
}

json_object* network_ifconf(const Network& n) {
    const std::string t = std::string(n.tag) + "-IfConf";
    char ifname[32];
    strncpyt(ifname, get_wlan_IFname(n.prefix), sizeof ifname);
    bool up = get_wlan_status(n.radio) == 1 && (!n.own_enable || flag(n.own_enable));
    std::string live_ssid;
    if (up || !n.own_enable) {
        char path[128];
        snprintf(path, sizeof path, "/tmp/router-analytics/wifi_config/%s-ssid", ifname);
        live_ssid = std::string(cat_file(path)).substr(0, 31);
    }
    json_object* o = json_object_new_object();
    add_string(o, t, "-Name", ifname);
    add_string(o, t, "-Mode", "AP");
    add_string(o, t, "-Status", up ? "up" : "down");
    add_string(o, t, "-SSID", live_ssid.c_str());
    return o;
}

json_object* radio_json(const Radio& r) {
    const std::string t = r.tag;
    char ifname[32];
    strncpyt(ifname, get_wlan_IFname(r.prefix), sizeof ifname);
    int rx = wifi_text_int(analytic_file_text(ifname, "bssChUtilRx").c_str());
    int tx = wifi_text_int(analytic_file_text(ifname, "bssChUtilTx").c_str());
    char util[16];
    snprintf(util, sizeof util, "%d", wifi_util_sum(rx, tx));

    json_object* o = json_object_new_object();
    Add_object_boolean(o, (t + "-Status").c_str(), flag(r.enable_key));
    add_string(o, t, "-Name", ifname);
    add_string(o, t, "-Channel", get_radio_channel(ifname));
    add_string(o, t, "-Region", get_wlan_region(r.prefix));
    add_string(o, t, "-bandwidth", analytic_file_text(ifname, "bssBW").c_str());
    add_string(o, t, "-ChanUtilBSS", util);
    add_string(o, t, "-ChanUtilOBSS", analytic_file_text(ifname, "bssChUtilObss").c_str());
    add_string(o, t, "-NoiseFlr", analytic_file_text(ifname, "bssNoiseFlr").c_str());
    return o;
}

// Asked again before each 6 GHz member, as the store can change meanwhile.
bool has_six_ghz() { return config_match("radio_number", "0x7") == 1; }

}  // namespace

json_object* get_wifiConfig_json() {
    zol_safe_system(nullptr, nullptr, 0, "/sbin/get_ra_wifi_info", "wifiConfig", nullptr);
    json_object* result = json_object_new_object();
    for (const Network& n : kNetworks) {
        if (n.six_ghz && !has_six_ghz()) continue;
        json_object* net = json_object_new_object();
        json_object_object_add(net, (std::string(n.tag) + "-Config").c_str(), network_config(n));
        json_object_object_add(net, (std::string(n.tag) + "-IfConf").c_str(), network_ifconf(n));
        json_object_object_add(result, n.tag, net);
    }
    for (const Radio& r : kRadios)
        if (!r.six_ghz || has_six_ghz()) json_object_object_add(result, r.tag, radio_json(r));
    return result;
}
