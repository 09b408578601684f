// Devices attached to the router as the classic network scanner lists them:
// the device type table, the wired/VPN count and the per-device details.
#pragma once

#include <json-c/json.h>

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

struct device_type_list {
    int dev_type_id;
    char dev_type_name[32];
    char dev_model[32];  // two-digit class code, kept as data
};
extern const device_type_list type_list[54];

// "Other" (type 47) for anything that is not a number from 1 to 54.
const char* get_device_type_name(const char* type_id_str);

// The counters of the connectedDevice summary, kept here because the
// scanner's list and the recognition engine's lists fill them too.
struct connected_device {
    const char* type;
    int flag;   // 1 once the band's section was seen in the station dump
    int total;
};
// Rows by position: wired, wireless, VPN, 2.4G, 5G, 6G, 60G, end mark. The
// counts live for the run and are never reset: one summary per process.
enum ConnectedRow { kRowWired, kRowWireless, kRowVPN, kRow24G, kRow5G, kRow6G, kRow60G };
extern connected_device connectedDevices[8];

// ---- text of the scanner's and the VPN server's files ------------------------

// Calls f(line) for each line of text without its newline, each line cut to at
// most max characters (the rest of an over-long line is dropped, never taken
// for a line of its own).
template <class F>
void for_each_line(const std::string& text, std::size_t max, F f) {
    for (std::size_t pos = 0; pos < text.size();) {
        std::size_t nl = text.find('\n', pos);
        std::size_t end = nl == std::string::npos ? text.size() : nl;
        std::string line = text.substr(pos, end - pos < max ? end - pos : max);
        f(line);
        pos = end + 1;
    }
}

// Blank-separated words of a line (runs of blanks count as one).
std::vector<std::string> split_blanks(const std::string& line, const char* blanks = " ");

// A status file folded to lower case, each line cut to 255 characters, for the
// case-insensitive "line contains" searches of the VPN status files.
class FoldedLines {
   public:
    bool load(const char* path);
    void assign(const std::string& text);
    // Some line at or after the one holding byte `from` contains needle.
    bool contains(const std::string& needle, std::size_t from = 0) const;
    // Start of the first line containing needle, or npos.
    std::size_t line_of(const std::string& needle) const;

   private:
    std::string text_;
};

// The link file ("MAC link signal type..."): each MAC's lines in file order.
struct LinkLine {
    std::vector<std::string> fields;  // up to link and signal
    std::string type;                 // the rest of the line
    bool has_type = false;
};
class LinkTable {
   public:
    bool load(const char* path);
    void assign(const std::string& text);
    // Lines whose first field equals mac, ignoring case, in file order.
    const std::vector<LinkLine>* lines_of(const char* mac) const;

   private:
    std::unordered_map<std::string, std::vector<LinkLine>> by_mac_;
};

// aabbccddeeff -> aa:bb:cc:dd:ee:ff; a text holding ':' stays as it is.
std::string normalize_mac(const std::string& mac);

// ---- the counts and the details ----------------------------------------------

// 1 (and the VPN count raised) when some line of the VPN status holds mac.
int check_VPN_device(const FoldedLines& vpn_status, const char* mac);
// Link speed, signal and connection type of mac; the last matching line wins
// and a field it lacks leaves its buffer as it was.
void get_Devices_links_and_signal_type(const LinkTable& links, const char* mac, char* link,
                                       int len_link, char* signal, int len_signel, char* type,
                                       int len_type);
// Wired = scanner list - VPN - wireless; get_wireless_num runs first.
void collect_connected_device();
// The scanner-list counts from the text of /tmp/netscan/ra_device_info.
void count_attached_devices(const std::string& list, const FoldedLines& vpn_status);
json_object* get_Detals_json();
// Runs the firmware's script that writes each client's link speed and signal
// to /tmp/ra_devices_link_and_signal, and keeps what it wrote for this run.
void refresh_device_links();
const std::string& device_links_text();
