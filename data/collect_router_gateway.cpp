// The cable modem and the WAN gateway as routerInfo reports them: their
// MACs, found through the ARP table after a ping or from the default route.
#include "collect_router_gateway.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <config_store.h>

#include "Add_object.h"
#include "file_update.h"
#include "unit.h"

namespace {

const char kCableModemFile[] = "/tmp/router-analytics/cableModeMacAddr";
const char kPingResult[] = "/tmp/ra_ping_cable_result";
const char kModemIp[] = "192.168.100.1";

bool is_hex(const char* s) {
    if (!*s) return false;
    for (; *s; ++s)
        if (!isxdigit(static_cast<unsigned char>(*s))) return false;
    return true;
}

// Blank- and tab-separated words of a line, each cut to its field width.
std::vector<std::string> words_of(const char* line, std::initializer_list<size_t> widths) {
    std::vector<std::string> words;
    auto width = widths.begin();
    for (const char* p = line; width != widths.end();) {
        p += strspn(p, " \t\r\n");
        size_t len = strcspn(p, " \t\r\n");
        if (len == 0) break;
        words.emplace_back(p, len < *width ? len : *width);
        p += len;
        ++width;
    }
    return words;
}

void add_modem(json_object* obj, const char* mac, const char* oui) {
    Add_object_string(obj, "cableModemMacAddr", mac);
    Add_object_string(obj, "cableModemMacOui", oui);
}

const char* modem_alias_ifname() {
    if (!config_match("ap_mode", "0")) return "br0";
    return config_match("bridge_mode", "0") ? "brwan" : "br0";
}

void run_alias(const char* alias, std::vector<std::string> action) {
    action.insert(action.begin(), {"ifconfig", std::string(alias) + ":0"});
    run_program({action});
}

// Puts an address of the modem's network on an alias to ask the modem for
// its MAC; true when it was found and added.
bool probe_cable_modem(json_object* obj) {
    if (dotted_quad(get_ipaddr(wan_ifname())).rfind("192.168.100.", 0) == 0) return false;
    const char* alias = modem_alias_ifname();
    run_alias(alias, {"192.168.100.100", "netmask", "255.255.255.0", "up"});
    char mac[18] = "";
    if (get_ping_cable_result()) strncpyt(mac, get_cable_modem_mac(), sizeof mac);
    run_alias(alias, {"down"});
    if (!mac[0] || strncmp(mac, "00:00:00:00:00:00", 17) == 0) return false;
    add_modem(obj, parse_mac(mac), get_mac_oui(mac));
    file_update::replace_keep_mode(kCableModemFile, std::string(mac) + "\n");
    return true;
}

}  // namespace

const char* wan_ifname() {
    return config_match("wan_proto", "dhcp") || config_match("wan_proto", "static") ? "brwan"
                                                                                    : "ppp0";
}

std::string dotted_quad(in_addr_t addr) {
    char text[INET_ADDRSTRLEN] = "";
    in_addr in{};
    in.s_addr = addr;
    inet_ntop(AF_INET, &in, text, sizeof text);
    return text;
}

void add_wan_gateway(json_object* obj) {
    char mac[32] = "NA";
    char oui[16] = "NA";
    if (config_match("ap_mode", "1") || config_match("wan_proto", "dhcp") ||
        config_match("wan_proto", "static")) {
        char ip[16], found[32];
        if (get_gateway_ip(ip) == 0 && get_gateway_mac(ip, found) == 0) {
            remove_colon(found);
            strncpyt(mac, found, sizeof mac);
            strncpyt(oui, found, 7);
        }
    }
    Add_object_string(obj, "wanGwMacAddr", mac);
    Add_object_string(obj, "wanGwMacOui", oui);
}

char* get_mac_oui(const char* mac) {
    static char oui[128];
    memset(oui, 0, sizeof oui);
    size_t n = 0;
    for (size_t i = 0; mac && i < 8 && mac[i]; ++i) {
        if (i % 3 == 2) continue;  // the colons
        oui[n++] = static_cast<char>(toupper(static_cast<unsigned char>(mac[i])));
    }
    if (n == 0) strncpyt(oui, "na", sizeof oui);
    return oui;
}

bool ping_answered(FILE* result) {
    bool answered = false;
    for_each_line(result, 256, [&answered](char* line) {
        answered = strstr(line, "1 packets received") != nullptr;
        return !answered;
    });
    return answered;
}

int get_ping_cable_result() {
    // The answer stays for later runs to look at, as it always has.
    RunResult r = run_to_file({{"ping", "-c", "1", "-q", "192.168.100.1"}, 64 * 1024}, kPingResult);
    if (r.exited_zero()) sleep(1);
    return ping_answered(open_text(r.out).get()) ? 1 : 0;
}

std::string cable_modem_mac_from(FILE* arp) {
    std::string mac;
    for_each_line(arp, 255, [&mac](char* line) {
        std::vector<std::string> w = words_of(line, {255, 255, 255, 17});
        if (w.empty() || w[0] != kModemIp) return true;
        if (w.size() == 4) mac = w[3];
        return false;
    });
    return mac;
}

char* get_cable_modem_mac() {
    static char mac[18];
    strncpyt(mac, cable_modem_mac_from(open_read("/proc/net/arp").get()).c_str(), sizeof mac);
    return mac;
}

void get_cable_modem(json_object* rtInfo_json) {
    // One run probes (an alias on the interface, a ping); the others wait for
    // its answer rather than probe beside it.
    RunLock lock(std::string(kCableModemFile) + ".lock");
    if (!lock.held() && !file_exists(kCableModemFile)) {
        add_modem(rtInfo_json, "na", "na");  // not known yet; nothing saved
        return;
    }
    if (file_exists(kCableModemFile)) {
        char cached[128];
        strncpyt(cached, cat_file(kCableModemFile), sizeof cached);
        if (strcmp(cached, "na") == 0)
            add_modem(rtInfo_json, "na", "na");
        else
            add_modem(rtInfo_json, parse_mac(cached), get_mac_oui(cached));
        return;
    }
    printf("get cableModeMacAddr once\n");
    if (probe_cable_modem(rtInfo_json)) return;
    add_modem(rtInfo_json, "na", "na");
    file_update::replace_keep_mode(kCableModemFile, "na\n");
}

bool parse_route_line(const char* line, char (&ifname)[16], uint32_t* dest, uint32_t* gateway) {
    std::vector<std::string> w = words_of(line ? line : "", {15, 16, 16});
    if (w.size() < 3 || !is_hex(w[1].c_str()) || !is_hex(w[2].c_str())) return false;
    unsigned long long d = strtoull(w[1].c_str(), nullptr, 16);
    unsigned long long g = strtoull(w[2].c_str(), nullptr, 16);
    if (d > UINT32_MAX || g > UINT32_MAX) return false;
    strncpyt(ifname, w[0].c_str(), sizeof ifname);
    *dest = static_cast<uint32_t>(d);
    *gateway = static_cast<uint32_t>(g);
    return true;
}

bool gateway_ip_from(FILE* route, char* gateway_ip) {
    bool found = false;
    for_each_line(route, 256, [&](char* line) {
        char ifname[16];
        uint32_t dest = 0, gw = 0;
        if (!parse_route_line(line, ifname, &dest, &gw) || dest != 0) return true;
        // The kernel prints the address as the host-order view of network-order bytes.
        strncpyt(gateway_ip, dotted_quad(gw).c_str(), 16);
        found = true;
        return false;
    });
    return found;
}

int get_gateway_ip(char* gateway_ip) {
    return gateway_ip_from(open_read("/proc/net/route").get(), gateway_ip) ? 0 : -1;
}

bool gateway_mac_from(FILE* arp, const char* ip, char* mac) {
    bool found = false;
    for_each_line(arp, 256, [&](char* line) {
        std::vector<std::string> w = words_of(line, {20, 7, 7, 17});
        if (w.size() < 4 || w[0] != ip) return true;
        strncpyt(mac, w[3].c_str(), 32);
        found = true;
        return false;
    });
    return found;
}

int get_gateway_mac(const char* gateway_ip, char* gateway_mac) {
    if (!gateway_ip) return -1;
    return gateway_mac_from(open_read("/proc/net/arp").get(), gateway_ip, gateway_mac) ? 0 : -1;
}

void remove_colon(char* mac) {
    if (!mac) return;
    char* out = mac;
    for (const char* p = mac; *p; ++p)
        if (*p != ':') *out++ = *p;
    *out = '\0';
}
