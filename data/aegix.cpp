// The aegix security service. Agents from 2.2.95 on answer a JSON status
// report (through the broker from 3.2.289 on); older ones publish their state
// as the cloud agent's aegixstatus settings. The cloud files each state under
// fixed words: "fail" for a report that says nothing, "invalid" for a setting
// that is empty.
#include "aegix.h"

#include <cstdio>
#include <cstring>

#include <unistd.h>

#include <config_store.h>

#include "Add_object.h"
#include "unit.h"
#include "xagent.h"
#include "zol_json.h"

namespace {

constexpr const char* kStatusTool = "/usr/share/aegix/get_aegix_status";
constexpr const char* kReportFile = "/tmp/router-analytics/aegix_bda.json";
constexpr const char* kReportVersion = "2.2.95";
// More than any report holds; a larger answer is cut there.
constexpr size_t kReportBytes = 1 << 20;
constexpr const char* kBrokerVersion = "3.2.289";
constexpr size_t kVersionSize = 64;  // version texts and every status text: 63 characters
constexpr size_t kLicenseSize = 32;

std::string bounded(const char* text, size_t size) {
    std::string s = text ? text : "";
    if (s.size() > size - 1) s.resize(size - 1);
    return s;
}

std::string dto_value(const char* key) { return bounded(get_value_from_dto(key), kVersionSize); }

const char* or_word(const std::string& text, const char* word) {
    return text.empty() ? word : text.c_str();
}

std::string member_text(json_object* obj, const char* name, size_t size) {
    return bounded(json_object_get_string(local_json_object_object_get(obj, name)), size);
}

// Runs the status tool with one argument and tells whether a line of its
// output says "true".
int aegix_probe(const char* what) {
    std::string out = program_output({kStatusTool, what});
    int on = 0;
    for_each_line(open_text(out).get(), 1024, [&on](char* line) {
        if (strstr(line, "true")) on = 1;
        return !on;
    });
    return on;
}

// Asks an agent new enough for its status report, parsed from what this run
// was told (another run may be replacing the file meanwhile); false when the
// installed version predates the report (or is no version at all).
bool make_status_report(JsonPtr* tree) {
    unlink(kReportFile);
    std::string version = dto_value("aegixstatus.bdaVersion");
    if (compare_bdaVersion(kReportVersion, version.c_str()) != 1) return false;
    RunRequest req;
    req.max_bytes = kReportBytes;
    req.reuse = true;
    if (compare_bdaVersion(kBrokerVersion, version.c_str()) == 1) {
        req.argv = {"/usr/share/aegix/bdbroker-client-cmd", "get_status_report"};
    } else {
        req.argv = {"/opt/bitdefender/bin/bdagent-manage", "-get_status_report"};
        req.env = {"LD_LIBRARY_PATH=/opt/bitdefender/lib"};
    }
    // The report stays after the run, as it always has.
    RunResult r = run_to_file(req, kReportFile);
    tree->reset(r.out.empty() ? nullptr : json_tokener_parse(r.out.c_str()));
    return true;
}

// Subscription levels the cloud knows, tested in this order.
struct LevelRow {
    const char* mark;
    const char* type;
};
const LevelRow kLevels[] = {
    {"pro", "aegix-pro"}, {"light", "aegix-light"}, {"basic", "aegix-basic"}, {"unknown", "unknown"}};

const char* subscription_type(const std::string& level) {
    for (const LevelRow& row : kLevels)
        if (level.find(row.mark) != std::string::npos) return row.type;
    return level.c_str();
}

const char* registration_word(int registered, const char* otherwise) {
    return registered == 1 ? "true" : registered == 0 ? "false" : otherwise;
}

}  // namespace

int compare_bdaVersion(const char* limitversion, const char* bdaversion) {
    if (!limitversion || !bdaversion) return -1;
    char limit[kVersionSize], bda[kVersionSize];
    strncpyt(limit, limitversion, sizeof limit);
    strncpyt(bda, bdaversion, sizeof bda);
    if (!strchr(bda, '.') || !strchr(limit, '.')) return -1;

    // At most four fields; the fourth keeps any further dots, which the
    // number conversion then stops at.
    char* lf[4] = {};
    char* bf[4] = {};
    auto split = [](char* text, char** fields) {
        fields[0] = text;
        for (int i = 1; i < 4; ++i) {
            char* dot = strchr(fields[i - 1], '.');
            if (!dot) break;
            *dot = '\0';
            fields[i] = dot + 1;
        }
    };
    split(limit, lf);
    split(bda, bf);
    for (int i = 0; i < 3; ++i) {
        int have = zol_atoi(bf[i]), want = zol_atoi(lf[i]);
        if (have < want) return 0;
        if (have > want) return 1;
    }
    return zol_atoi(bf[3]) >= zol_atoi(lf[3]) ? 1 : 0;
}

int check_aegix_support() { return file_exists(kStatusTool) ? 1 : 0; }

int get_aegix_status() {
    return aegix_probe("activate");
}

int get_aegix_enable() {
    return aegix_probe("enable");
}

void get_routerConfig_aegixAgentVersion(json_object* my_object) {
    RunResult r = run_program({{kStatusTool, "bd_version"}, 1023});
    if (r.timed_out) {
        Add_object_string(my_object, "aegixAgentVersion", "NA");
        return;
    }
    // The first line as fgets reads it into 1,024 bytes.
    std::string version = r.out.substr(0, r.out.find('\n'));
    version.resize(std::min(strcspn(version.c_str(), "\r"), version.size()));
    Add_object_string(my_object, "aegixAgentVersion", version.c_str());
}

AegixReport aegix_report_from_json(json_object* report) {
    AegixReport r;
    json_object* agent = local_json_object_object_get(report, "agent");
    if (!json_object_is_type(agent, json_type_object)) return r;
    r.usable = true;
    if (json_object* reg = local_json_object_object_get(agent, "registered"))
        r.registered = json_object_get_boolean(reg) ? 1 : 0;
    json_object* sub = local_json_object_object_get(agent, "subscription");
    if (json_object_is_type(sub, json_type_object)) {
        r.status = member_text(sub, "status", kVersionSize);
        if (json_object* expiry = local_json_object_object_get(sub, "expiry")) {
            r.has_expiry = true;
            r.expiry = json_object_get_int64(expiry);
        }
        r.level = member_text(sub, "level", kVersionSize);
    }
    return r;
}

void add_aegix_report_status(json_object* obj, const AegixReport& r, const char* va_date) {
    const char* status = "fail";
    if (r.usable && !r.status.empty())
        status = r.status.find("unknown") != std::string::npos ? "unknown" : r.status.c_str();
    Add_object_string(obj, "aegixSubscriptionStatus", status);

    char expiry[32] = "fail";
    if (r.has_expiry && r.expiry != -1)
        snprintf(expiry, sizeof expiry, "%lld", static_cast<long long>(r.expiry));
    Add_object_string(obj, "aegixSubscriptionExpirationDate", expiry);
    Add_object_string(obj, "aegixVAReportDate", va_date && *va_date ? va_date : "invalid");

    bool typed = r.usable && !r.level.empty();
    Add_object_string(obj, "aegixSubscriptionType", typed ? subscription_type(r.level) : "fail");
    Add_object_string(obj, "aegixBdAgentStatus", r.usable ? "ok" : "fail");
    Add_object_string(obj, "aegixRegistrationStatus", registration_word(r.registered, "fail"));
}

void add_aegix_settings_status(json_object* obj, const AegixSettings& s) {
    const char* status = s.subscription_status.empty()         ? "invalid"
                         : s.subscription_status == "true" ? "on"
                                                               : "off";
    Add_object_string(obj, "aegixSubscriptionStatus", status);
    Add_object_string(obj, "aegixSubscriptionExpirationDate", or_word(s.expiry_date, "invalid"));
    Add_object_string(obj, "aegixVAReportDate", or_word(s.va_report_date, "invalid"));
    Add_object_string(obj, "aegixSubscriptionType", or_word(s.subscription_level, "invalid"));
    // Older agents never tell their own state; the cloud expects "fail" here.
    Add_object_string(obj, "aegixBdAgentStatus", "fail");
    int registered =
        s.registration_status.empty() ? -1 : zol_atoi(s.registration_status.c_str());
    Add_object_string(obj, "aegixRegistrationStatus", registration_word(registered, "invalid"));
}

void check_aegix_bd_status_mapping(json_object* my_object) {
    JsonPtr tree;
    if (make_status_report(&tree)) {
        AegixReport report = aegix_report_from_json(tree.get());
        std::string va = dto_value("aegixstatus[0].vaReportDate");
        add_aegix_report_status(my_object, report, va.c_str());
        return;
    }
    AegixSettings s;
    s.subscription_status = dto_value("aegixstatus.subscriptionStatus");
    s.expiry_date = dto_value("aegixstatus.expiryDate");
    s.va_report_date = dto_value("aegixstatus[0].vaReportDate");
    s.subscription_level = dto_value("aegixstatus.subscriptionLevel");
    s.registration_status = dto_value("aegixstatus.registrationStatus");
    add_aegix_settings_status(my_object, s);
}

std::string bda_license_status(json_object* report) {
    json_object* protection = local_json_object_object_get(report, "router_protection");
    if (!json_object_is_type(protection, json_type_object)) return "";
    return member_text(protection, "license_status", kLicenseSize);
}

void add_bitdefender_report_members(json_object* my_object) {
    JsonPtr tree;
    make_status_report(&tree);
    std::string license = bda_license_status(tree.get());
    // "ture" is the word the cloud has always received for an enabled protection.
    Add_object_string(my_object, "routerProtectEnabled",
                      config_match("protection_enable", "1") ? "ture" : "false");
    Add_object_string(my_object, "routerProtectLicenseStatus", or_word(license, "invalid"));
    Add_object_string(my_object, "aegixGusterVersion",
                      cat_file("/opt/bitdefender/guster/guster.version"));
}
