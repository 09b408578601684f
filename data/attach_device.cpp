// Devices attached to the router as the classic network scanner lists them.
// The scanner's list, the link file and the VPN server's status files are
// read once per run and searched in memory: a household can have hundreds of
// devices, and each device looks at every file.
#include "attach_device.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unordered_map>

#include "Add_object.h"
#include "config_store.h"
#include "file_update.h"
#include "text_filters.h"
#include "unit.h"

const device_type_list type_list[54] = {
    {1, "Amazon Kindle", "20"},         {2, "Android Device", "20"},
    {3, "Android Phone", "30"},         {4, "Android Tablet", "20"},
    {5, "Apple Airport Express", "20"}, {6, "Blu-ray player", "10"},
    {7, "Bridge", "20"},                {8, "Cable STB", "10"},
    {9, "Camera", "30"},                {10, "Router", "20"},
    {11, "DVR", "10"},                  {12, "Gaming Console", "10"},
    {13, "iMac", "20"},                 {14, "iPad", "20"},
    {15, "iPad mini", "20"},            {16, "iPhone 5/5S/5C", "30"},
    {17, "iPhone", "30"},               {18, "iPod Touch", "30"},
    {19, "Linux PC", "20"},             {20, "Mac mini", "20"},
    {21, "Mac Pro", "20"},              {22, "Mac Book", "20"},
    {23, "Media Device", "10"},         {24, "Network Device", "30"},
    {25, "Other STB", "10"},            {26, "Powerline", "20"},
    {27, "Printer", "30"},              {28, "Repeater", "20"},
    {29, "Satellite STB", "10"},        {30, "scanner", "30"},
    {31, "Sling box", "10"},            {32, "Smart phone", "30"},
    {33, "Storage (NAS)", "40"},        {34, "Switch", "20"},
    {35, "TV", "10"},                   {36, "Tablet", "20"},
    {37, "Unix PC", "20"},              {38, "Windows PC", "20"},
    {39, "Surface", "20"},              {40, "Wifi Extender", "20"},
    {41, "Apple TV", "10"},             {42, "AV Receiver", "10"},
    {43, "Chromcast", "10"},            {44, "Google Nexus 5", "30"},
    {45, "Google Nexus 7", "30"},       {46, "Google Nexus 10", "20"},
    {47, "Other", "30"},                {48, "XR2210", "20"},
    {49, "XR2250", "20"},               {50, "VoIP", "10"},
    {51, "Iphone6", "30"},              {52, "Kavo", "20"},
    {53, "Amazon Fire TV", "20"},       {54, "Smart Watch", "20"},
};

connected_device connectedDevices[8] = {
    {"wired", 0, 0}, {"wireless", 0, 0}, {"VPN", 0, 0}, {"2.4G", 0, 0},
    {"5G", 0, 0},    {"6G", 0, 0},       {"60G", 0, 0}, {nullptr, 0, 0},
};

namespace {

const char kDeviceInfo[] = "/tmp/netscan/ra_device_info";
const char kLinkFile[] = "/tmp/ra_devices_link_and_signal";
const char kVpnStatus[] = "/tmp/openvpnd.status";
const char kVpnTunStatus[] = "/tmp/openvpnd_tun.status";
const char kScannerNames[] = "/tmp/netscan/attach_device";
const char kOfflineList[] = "/tmp/netscan/offline_mac";
const char kOtherType[] = "47";

constexpr std::size_t kListLine = 255;  // scanner list, VPN status, store copies
constexpr std::size_t kLinkLine = 126;
constexpr std::size_t kMacText = 63;
// A store list ends at its first empty entry; this only bounds a corrupt one.
constexpr int kStoreListMax = 4096;

std::string lower(std::string s) {
    for (char& c : s) c = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    return s;
}

std::string cut(const std::string& s, std::size_t max) { return s.size() > max ? s.substr(0, max) : s; }

// Values of key<first>, key<first+1>, ... up to the first empty one.
std::vector<std::string> store_list(const char* key, int first) {
    std::vector<std::string> values;
    for (int n = first; n < first + kStoreListMax; ++n) {
        std::string name = key + std::to_string(n);
        const char* value = config_get(name.c_str());
        if (!value[0]) break;
        values.emplace_back(value);
    }
    return values;
}

// The text after the first n blank-separated words, leading blanks skipped.
std::string rest_after_words(const std::string& value, int n) {
    std::size_t pos = 0;
    for (int i = 0; i < n && pos != std::string::npos; ++i) {
        pos = value.find_first_not_of(' ', pos);
        if (pos != std::string::npos) pos = value.find(' ', pos);
    }
    if (pos != std::string::npos) pos = value.find_first_not_of(' ', pos);
    return pos == std::string::npos ? "" : value.substr(pos);
}

bool access_matches(const char* kind, const std::string& mac, const std::string& entry) {
    std::string copy = cut(entry, kListLine);
    return cmp_access_device(kind, mac.c_str(), copy.data()) == 1;
}

}  // namespace

const char* get_device_type_name(const char* type_id_str) {
    if (!is_Number(type_id_str) || strlen(type_id_str) > 9) return type_list[46].dev_type_name;
    long id = strtol(type_id_str, nullptr, 10);
    if (id < 1 || id > 54) return type_list[46].dev_type_name;
    return type_list[id - 1].dev_type_name;
}

// ---- text of the scanner's and the VPN server's files ------------------------

std::vector<std::string> split_blanks(const std::string& line, const char* blanks) {
    std::vector<std::string> words;
    std::size_t pos = line.find_first_not_of(blanks);
    while (pos != std::string::npos) {
        std::size_t end = line.find_first_of(blanks, pos);
        words.push_back(line.substr(pos, end == std::string::npos ? end : end - pos));
        pos = end == std::string::npos ? end : line.find_first_not_of(blanks, end);
    }
    return words;
}

bool FoldedLines::load(const char* path) {
    std::string raw;
    bool ok = read_whole_file(path, raw);  // "" when unreadable
    assign(raw);
    return ok;
}

void FoldedLines::assign(const std::string& text) {
    text_.clear();
    for_each_line(text, kListLine, [this](const std::string& line) {
        text_ += lower(line);
        text_ += '\n';
    });
}

bool FoldedLines::contains(const std::string& needle, std::size_t from) const {
    // A needle never holds a newline, so a hit lies within one line.
    if (from >= text_.size() || needle.find('\n') != std::string::npos) return false;
    return text_.find(lower(needle), from) != std::string::npos;
}

std::size_t FoldedLines::line_of(const std::string& needle) const {
    std::size_t hit = text_.find(lower(needle));
    if (hit == std::string::npos) return hit;
    std::size_t nl = text_.rfind('\n', hit);
    return nl == std::string::npos ? 0 : nl + 1;
}

bool LinkTable::load(const char* path) {
    std::string raw;
    bool ok = read_whole_file(path, raw);  // "" when unreadable
    assign(raw);
    return ok;
}

void LinkTable::assign(const std::string& text) {
    by_mac_.clear();
    for_each_line(text, kLinkLine, [this](const std::string& line) {
        LinkLine link;
        std::size_t pos = 0;
        std::string mac;
        // MAC, link and signal are words; the connection type is the rest.
        for (int field = 0; field < 3; ++field) {
            pos = line.find_first_not_of(' ', pos);
            if (pos == std::string::npos) break;
            std::size_t end = std::min(line.find(' ', pos), line.size());
            (field == 0 ? mac : link.fields.emplace_back()) = line.substr(pos, end - pos);
            pos = end;
        }
        if (mac.empty()) return;
        if (link.fields.size() == 2 && pos < line.size()) {
            std::size_t start = line.find_first_not_of(' ', pos);
            if (start != std::string::npos) {
                link.type = line.substr(start);
                if (!link.type.empty() && link.type.back() == '\r') link.type.pop_back();
                link.has_type = true;
            }
        }
        by_mac_[lower(mac)].push_back(std::move(link));
    });
}

const std::vector<LinkLine>* LinkTable::lines_of(const char* mac) const {
    if (!mac) return nullptr;
    auto it = by_mac_.find(lower(mac));
    return it == by_mac_.end() ? nullptr : &it->second;
}

std::string normalize_mac(const std::string& mac) {
    if (mac.find(':') != std::string::npos || mac.empty()) return cut(mac, 127);
    std::string out(1, mac[0]);
    for (std::size_t i = 1, count = 2; i < mac.size() && out.size() < 127; ++i, ++count) {
        out += mac[i];
        if (count % 2 == 0 && count != 12 && out.size() < 127) out += ':';
    }
    return out;
}

// ---- the counts ------------------------------------------------------------------

int check_VPN_device(const FoldedLines& vpn_status, const char* mac) {
    if (!mac || !vpn_status.contains(mac)) return 0;
    connectedDevices[kRowVPN].total++;
    return 1;
}

void get_Devices_links_and_signal_type(const LinkTable& links, const char* mac, char* link,
                                       int len_link, char* signal, int len_signel, char* type,
                                       int len_type) {
    const std::vector<LinkLine>* lines = links.lines_of(mac);
    if (!lines) return;
    for (const LinkLine& l : *lines) {
        if (l.fields.size() > 0) zol_strncpy(link, l.fields[0].c_str(), len_link);
        if (l.fields.size() > 1) zol_strncpy(signal, l.fields[1].c_str(), len_signel);
        if (l.has_type) zol_strncpy(type, l.type.c_str(), len_type);
    }
}

void count_attached_devices(const std::string& list, const FoldedLines& vpn_status) {
    for_each_line(list, kListLine, [&](const std::string& line) {
        std::vector<std::string> words = split_blanks(line, " \t\n\v\f\r");
        if (words.size() < 3) return;
        std::string mac = normalize_mac(words[1]);
        if (check_VPN_device(vpn_status, mac.c_str()) != 1) connectedDevices[kRowWired].total++;
    });
}

namespace {
std::string links_text;
// The device list this run copied, read back by its details.
std::string device_list_text;
bool device_list_copied = false;
}  // namespace

void refresh_device_links() {
    // Every run's script writes the same file and every run removes it: the
    // script's run, the read and the removal are one step under a lock.
    RunLock lock(std::string(kLinkFile) + ".lock");
    links_text.clear();
    if (!lock.held()) return;
    zol_safe_system(nullptr, nullptr, 0, "/sbin/link_signal.sh", nullptr);
    read_whole_file(kLinkFile, links_text);
    unlink(kLinkFile);
}

const std::string& device_links_text() { return links_text; }

void collect_connected_device() {
    // The scanner refreshes its lists on the signal; six seconds is the time
    // it is given, by design.
    run_program({{"killall", "-SIGUSR1", "net-scan"}});
    sleep(6);
    // The working copy stays for the next run, whole; a list that is gone
    // leaves it empty.
    std::string list;
    read_whole_file(config_match("trend_micro_enable", "1") ? "/tmp/netscan/attach_device_trend_micro"
                                                            : "/tmp/netscan/attach_device_streamboost",
                    list);
    device_list_copied = file_update::replace_keep_mode(kDeviceInfo, list);
    device_list_text = list;

    if (!list.empty()) {
        FoldedLines vpn;
        vpn.load(kVpnStatus);
        count_attached_devices(list, vpn);
    }
    // The scanner lists the wireless clients too; the station dump counted them.
    connectedDevices[kRowWired].total -= connectedDevices[kRowWireless].total;
}

// ---- the details ------------------------------------------------------------------

namespace {

// The key a MAC is compared by, as strcasecmp compares C strings.
std::string mac_key(const std::string& mac) { return lower(mac.c_str()); }

// What every device of one run looks at, read once. The store's lists grow
// with every device the router has seen, so they are indexed by MAC here
// instead of being walked for every device.
struct DetailsContext {
    std::string wan_mac;
    bool allow_by_default = false;
    bool trend_micro = false;
    bool ap_or_bridge = false;
    bool streamboost_off = false;
    std::vector<std::string> access_control;
    // device_list: the user's type and name, by the entry's MAC as written.
    std::unordered_map<std::string, std::pair<std::string, std::string>> user_named;
    // access_control: the entries naming a MAC, in list order.
    std::unordered_map<std::string, std::vector<std::size_t>> access_entries;
    // ac_connect: the name of the first record of a MAC that has one, or
    // none when its records have no name.
    std::unordered_map<std::string, std::pair<bool, std::string>> connect_names;
    LinkTable links;
    FoldedLines vpn, vpn_tun;
    std::size_t tun_clients = std::string::npos;  // the tunnel status's client table
    std::unordered_map<std::string, std::string> scanner_names;  // lower-case MAC -> name

    void load() {
        wan_mac = normalize_mac(cut(config_get("wan_remote_mac"), 63));
        allow_by_default = config_match("new_device_statue_by_default", "Allow");
        trend_micro = config_match("trend_micro_enable", "1");
        ap_or_bridge = config_match("ap_mode", "1") || config_match("bridge_mode", "1");
        streamboost_off = zol_atoi(config_get("streamboost_enable")) == 0;
        index_device_list(store_list("device_list", 0));
        access_control = store_list("access_control", 1);
        for (std::size_t i = 0; i < access_control.size(); ++i)
            access_entries[access_key(access_control[i])].push_back(i);
        index_ac_connect(store_list("ac_connect", 1));
        links.assign(device_links_text());
        vpn.load(kVpnStatus);
        vpn_tun.load(kVpnTunStatus);
        tun_clients = vpn_tun.line_of("Virtual Address");
        std::string names;
        if (!read_whole_file(kScannerNames, names)) return;
        for_each_line(names, kListLine, [this](const std::string& line) {
            std::vector<std::string> w = split_blanks(line);
            if (w.size() >= 3) scanner_names.emplace(lower(w[1]), w[2]);  // first line wins
        });
    }

    // The first entry of a MAC wins.
    void index_device_list(const std::vector<std::string>& entries) {
        for (const std::string& entry : entries) {
            std::string value = cut(entry, 127);
            std::vector<std::string> w = split_blanks(value);
            if (w.size() < 2) continue;
            user_named.emplace(w[0], std::make_pair(w.size() > 2 ? w[2] : "",
                                                    rest_after_words(value, 3)));
        }
    }

    void index_ac_connect(const std::vector<std::string>& entries) {
        for (const std::string& entry : entries) {
            std::string value = cut(entry, kListLine);
            std::vector<std::string> w = split_blanks(value);
            if (w.size() < 2) continue;
            std::string rest = rest_after_words(value, 4);
            // The web interface stores two characters after the name.
            rest = rest.size() > 2 ? rest.substr(0, rest.size() - 2) : "";
            auto& named = connect_names[mac_key(w[1])];
            if (!named.first && !rest.empty()) named = {true, rest};
        }
    }

    // An entry is indexed by its second word, the MAC. The index only narrows
    // the entries a device is compared with; the comparison still decides.
    static std::string access_key(const std::string& entry) {
        std::vector<std::string> w = split_blanks(cut(entry, kListLine));
        return w.size() >= 2 ? mac_key(w[1]) : std::string();
    }

    // Entry i rewritten: it is found under its new MAC, in list order.
    void reindex_access(std::size_t i, const std::string& old_key) {
        std::string key = access_key(access_control[i]);
        if (key == old_key) return;
        auto& from = access_entries[old_key];
        from.erase(std::find(from.begin(), from.end(), i));
        auto& to = access_entries[key];
        to.insert(std::lower_bound(to.begin(), to.end(), i), i);
    }

    const std::vector<std::size_t>& access_of_mac(const std::string& mac) const {
        static const std::vector<std::size_t> kNone;
        auto it = access_entries.find(mac_key(mac));
        return it == access_entries.end() ? kNone : it->second;
    }
};

struct Device {
    std::string ip, raw_mac, mac, priority, name, type_id;
    std::string access, link, signal, conn_type;
};

bool parse_device_line(const std::string& line, Device& d) {
    std::vector<std::string> f = split_blanks(line);
    if (f.size() < 6) return false;
    d.ip = f[0];
    d.raw_mac = f[1];
    d.type_id = f[2];
    d.priority = f[3];
    if (f.size() >= 8) d.name = f[6];  // a seventh word alone is no name
    return true;
}

// The user's own name and type for the device, when set.
void apply_device_list(const DetailsContext& ctx, Device& d) {
    auto it = ctx.user_named.find(d.raw_mac);
    if (it == ctx.user_named.end()) return;
    d.type_id = it->second.first;
    d.name = it->second.second;
}

const char* access_of(const DetailsContext& ctx, const std::string& mac) {
    const std::vector<std::size_t>& entries = ctx.access_of_mac(mac);
    if (ctx.allow_by_default) {
        for (std::size_t i : entries)
            if (access_matches("block_device", mac, ctx.access_control[i])) return "block";
        return "allow";
    }
    if (strcasecmp(mac.c_str(), ctx.wan_mac.c_str()) == 0) return "allow";
    for (std::size_t i : entries)
        if (access_matches("allow_device", mac, ctx.access_control[i])) return "allow";
    return "block";
}

void find_connection(const DetailsContext& ctx, Device& d) {
    char link[64] = "", signal[64] = "", type[16] = "";
    get_Devices_links_and_signal_type(ctx.links, d.mac.c_str(), link, sizeof link, signal,
                                      sizeof signal, type, sizeof type);
    d.link = link;
    d.signal = signal;
    d.conn_type = type;
    if (ctx.tun_clients != std::string::npos && ctx.vpn_tun.contains(d.ip, ctx.tun_clients))
        d.conn_type = "VPN";
    if (ctx.vpn.contains(d.mac)) d.conn_type = "VPN";
    if (d.conn_type.empty()) d.conn_type = "wired";
}

// The access-control record of the device learns whether it is wired now.
void write_back_wired_flag(DetailsContext& ctx, const Device& d) {
    for (std::size_t i : ctx.access_of_mac(d.mac)) {
        std::string value = cut(ctx.access_control[i], kListLine);
        if (!access_matches("allow_device", d.mac, value) &&
            !access_matches("block_device", d.mac, value))
            continue;
        std::size_t first = value.find(' ');
        std::size_t second = first == std::string::npos ? first : value.find(' ', first + 1);
        if (second != std::string::npos) {
            char flag = d.conn_type == "wired" ? '0' : '1';
            if (second + 1 < value.size())
                value[second + 1] = flag;
            else
                value += flag;
        }
        // The store is rewritten only for a real change.
        if (value != ctx.access_control[i]) {
            std::string key = "access_control" + std::to_string(i + 1);
            config_set(key.c_str(), value.c_str());
            ctx.access_control[i] = value;
            ctx.reindex_access(i, mac_key(d.mac));  // the flag may have been written over the MAC
        }
        return;
    }
}

void search_ac_connect(const DetailsContext& ctx, Device& d) {
    auto it = ctx.connect_names.find(mac_key(d.mac));
    if (it == ctx.connect_names.end()) return;
    if (it->second.first) {
        d.name = it->second.second;
        return;
    }
    // Records without a name: the scanner's own name.
    auto scanned = ctx.scanner_names.find(lower(d.mac));
    if (scanned != ctx.scanner_names.end()) d.name = scanned->second;
}

void fix_name(const DetailsContext& ctx, Device& d) {
    // The two placeholders of the scanner differ on purpose: only the first
    // may still be named by the user's connection records.
    if (d.name == "&lt;unknown&gt;") {
        d.name = "n/a";
        return;
    }
    if (d.name == "@#$&*!") d.name = "n/a";
    search_ac_connect(ctx, d);
}


// The on/off state is the firmware's diagnostic only; the cloud never sees it.
void report_device(const Device& d, bool online) {
    fprintf(stderr,
            "{ mac:\"%s\", ip:\"%s\", name:\"%s\", devtype:\"%s\", contype:\"%s\", "
            "priority:\"%s\", access_control:\"%s\", onOrOff:\"%d\"}\n",
            d.mac.c_str(), d.ip.c_str(), d.name.c_str(), d.type_id.c_str(), d.conn_type.c_str(),
            d.priority.c_str(), d.access.c_str(), online ? 1 : 0);
}

void add_device(json_object* devices, const DetailsContext& ctx, Device& d) {
    std::string type_name = cut(get_device_type_name(d.type_id.c_str()), 63);
    if (ctx.ap_or_bridge) {
        type_name.clear();
        d.type_id = kOtherType;
        d.name.clear();
    } else if (ctx.streamboost_off) {
        type_name.clear();
        d.type_id = kOtherType;
    }
    json_object* obj = json_object_new_object();
    Add_object_string(obj, "connType", d.conn_type.c_str());
    Add_object_string(obj, "deviceName", d.name.c_str());
    Add_object_string(obj, "deviceModel", type_name.c_str());
    Add_object_string(obj, "deviceType", type_name.c_str());
    Add_object_int(obj, "deviceTypeID", zol_atoi(d.type_id.c_str()));
    Add_object_string(obj, "ipAddress", d.ip.c_str());
    Add_object_string(obj, "macAddress", d.mac.c_str());
    Add_object_double(obj, "linkSpeed", strtod(d.link.c_str(), nullptr));
    Add_object_string(obj, "signalStrength", d.signal.c_str());
    Add_object_string(obj, "allowOrBlock", d.access.c_str());
    json_object_array_add(devices, obj);
}

}  // namespace

json_object* get_Detals_json() {
    json_object* result = json_object_new_object();
    DetailsContext ctx;
    ctx.load();
    // The list this run copied just before (the copy failing, none).
    const std::string& list = device_list_copied ? device_list_text : std::string();
    Add_object_int(result, "numberOfDevices",
                   static_cast<int>(std::count(list.begin(), list.end(), '\n')));
    if (!device_list_copied) return result;
    std::string offline_text;
    read_whole_file(kOfflineList, offline_text);
    // The scanner's offline list, read once for every device.
    const std::vector<std::string> offline_lines = text_lines(offline_text);
    const LineGrep offline(offline_lines);
    json_object* devices = json_object_new_array();
    for_each_line(list, kListLine, [&](const std::string& line) {
        Device d;
        if (!parse_device_line(line, d)) return;
        if (!ctx.trend_micro) d.type_id = kOtherType;
        apply_device_list(ctx, d);
        d.mac = cut(normalize_mac(d.raw_mac), kMacText);
        d.access = access_of(ctx, d.mac);
        find_connection(ctx, d);
        write_back_wired_flag(ctx, d);
        fix_name(ctx, d);
        bool online = !offline.any_icase(d.mac);
        d.name = sed_items_xss(d.name.data());
        report_device(d, online);
        add_device(devices, ctx, d);
    });
    json_object_object_add(result, "connDevices", devices);
    return result;
}
