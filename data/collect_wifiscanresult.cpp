// Neighbouring networks from the radios' site survey files. The firmware leaves
// one driver listing per band; each BSS is a block of lines that ends with its
// "QBSS Channel Utilization" line.
#include "collect_wifiscanresult.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Add_object.h"
#include "config_store.h"
#include "unit.h"

namespace {

// Lines are handled in pieces of at most this many characters, as a 512-byte
// fgets buffer would hand them over.
constexpr size_t kLineMax = 511;
// Survey files are a few hundred kilobytes at most; anything beyond is junk.
constexpr size_t kScanFileMax = 16u << 20;

void copy_quoted_ssid(const char* after_quote, APInfo* ap) {
    const char* end = strchr(after_quote, '"');
    size_t len = end ? static_cast<size_t>(end - after_quote) : strcspn(after_quote, "\r\n");
    len = std::min(len, sizeof(ap->ssid) - 1);
    memcpy(ap->ssid, after_quote, len);
    ap->ssid[len] = '\0';
}

void emit_bss(const APInfo& ap, const char* band, json_object* list) {
    char upper_band[3] = {static_cast<char>(band[0]), 'G', '\0'};
    char bw[16];
    snprintf(bw, sizeof(bw), "%d", ap.chanspec_bw);
    json_object* bss = json_object_new_object();
    Add_object_string(bss, "frequencyBand", upper_band);
    Add_object_string(bss, "ssidName", ap.ssid);
    Add_object_string(bss, "bssMac", ap.bssid);
    Add_object_string(bss, "bssMLDMac", "");
    Add_object_string(bss, "bssBW", bw);
    Add_object_int(bss, "bssMainChannel", ap.primary_channel);
    Add_object_string(bss, "bssRssi", ap.rssi);
    Add_object_string(bss, "bssSNR", ap.snr);
    Add_object_string(bss, "bssNoise", ap.noise);
    Add_object_int(bss, "bssColor", ap.bss_color);
    Add_object_int(bss, "bssHT", ap.bss_ht);
    Add_object_int(bss, "bssVHT", ap.bss_vht);
    Add_object_int(bss, "bssHE", ap.bss_he);
    Add_object_int(bss, "bssEHT", ap.bss_eht);
    // Lowest basic rate in Mbps: CCK on 2.4 GHz, OFDM elsewhere.
    Add_object_int(bss, "bssBasicRate", band[0] == '2' ? 1 : 6);
    json_object_array_add(list, bss);
}

struct McsFlag {
    const char* label;
    int APInfo::*flag;
};
const McsFlag mcs_flags[] = {
    {"Supported HT MCS", &APInfo::bss_ht},
    {"Supported VHT MCS", &APInfo::bss_vht},
    {"Supported HE MCS", &APInfo::bss_he},
    {"Supported EHT MCS", &APInfo::bss_eht},
};

// One line of a block; the first label found decides. Returns true when the
// block is complete and `ap` has been emitted and cleared.
bool parse_scan_line(const char* line, APInfo* ap, int* ssid_count) {
    const char* p;
    if ((p = strstr(line, "SSID: \"")) != nullptr) {
        ++*ssid_count;
        copy_quoted_ssid(p + strlen("SSID: \""), ap);
        return false;
    }
    if ((p = strstr(line, "BSSID:")) != nullptr) {
        sscanf(p, "BSSID: %17s", ap->bssid);
        return false;
    }
    const char* rssi = strstr(line, "RSSI:");
    const char* snr = strstr(line, "SNR:");
    const char* noise = strstr(line, "noise:");
    if (rssi && snr && noise) {
        sscanf(rssi, "RSSI: %15s", ap->rssi);
        sscanf(snr, "SNR: %15s", ap->snr);
        sscanf(noise, "noise: %15s", ap->noise);
        return false;
    }
    if ((p = strstr(line, "Chanspec:")) != nullptr) {
        if ((p = strstr(p, "channel")) != nullptr) sscanf(p, "channel %*d %dMHz", &ap->chanspec_bw);
        return false;
    }
    if ((p = strstr(line, "Primary channel:")) != nullptr) {
        sscanf(p, "Primary channel: %d", &ap->primary_channel);
        return false;
    }
    if ((p = strstr(line, "BSS Color:")) != nullptr) {
        char color[16] = "";
        if (sscanf(p, "BSS Color: %15s", color) == 1)
            ap->bss_color = static_cast<int>(strtol(color, nullptr, 16));
        return false;
    }
    for (const McsFlag& m : mcs_flags) {
        if (strstr(line, m.label) != nullptr) {
            ap->*m.flag = 1;
            return false;
        }
    }
    return strstr(line, "QBSS Channel Utilization") != nullptr;
}

}  // namespace

void init_ap(APInfo* ap) {
    memset(ap, 0, sizeof(*ap));
    ap->bss_color = -1;
}

int parse_wifi_scan_text(const std::string& text, const char* band, json_object* list) {
    APInfo ap;
    init_ap(&ap);
    int ssid_count = 0;
    char line[kLineMax + 1];
    for (size_t pos = 0; pos < text.size();) {
        size_t len = std::min(kLineMax, text.size() - pos);
        const void* nl = memchr(text.data() + pos, '\n', len);
        if (nl != nullptr) len = static_cast<size_t>(static_cast<const char*>(nl) - (text.data() + pos)) + 1;
        memcpy(line, text.data() + pos, len);
        line[len] = '\0';
        pos += len;
        // A block without its closing line is not emitted: its fields stay and
        // mix with the next block's (established behaviour, kept).
        if (parse_scan_line(line, &ap, &ssid_count)) {
            emit_bss(ap, band, list);
            init_ap(&ap);
        }
    }
    return ssid_count;
}

json_object* get_wifiScanResult_json() {
    static const char* const bands[] = {"2g", "5g", "6g"};
    const int band_count = config_match("radio_number", "0x3") ? 2 : 3;
    json_object* result = json_object_new_object();
    json_object* list = json_object_new_array();
    int ssid_count = 0;
    for (int i = 0; i < band_count; ++i) {
        char path[128];
        snprintf(path, sizeof(path), "/tmp/router-analytics/wifi_scan_file_%s", bands[i]);
        std::string text;
        if (!read_whole_file(path, text, kScanFileMax)) {
            printf("open file failed !! (%s)\n", path);
            continue;
        }
        ssid_count += parse_wifi_scan_text(text, bands[i], list);
    }
    json_object_object_add(result, "wifiScanResult", list);
    printf("#### wifiScanResult: total SSID count (%d)\n", ssid_count);
    return result;
}
