// Neighbouring networks from the radios' site survey files.
#pragma once

#include <json-c/json.h>

struct APInfo {
    char ssid[128];
    char bssid[32];
    int chanspec_bw;
    int primary_channel;
    char rssi[16];
    char snr[16];
    char noise[16];
    int bss_color;
    int bss_ht;
    int bss_vht;
    int bss_he;
    int bss_eht;
};

void init_ap(APInfo* ap);
json_object* get_wifiScanResult_json();

#include <string>

// Parses one band's survey listing ("2g", "5g" or "6g"), appending one object
// per complete block to the array `list`; returns the number of SSID lines.
int parse_wifi_scan_text(const std::string& text, const char* band, json_object* list);
