// The aegix security service and its Bitdefender agent, as routerConfig
// reports them: the service probes, the agent's version and status report,
// and the mapping of either the report (newer agents) or the cloud agent's
// aegixstatus settings (older agents) onto the words the cloud expects.
#pragma once

#include <json-c/json.h>

#include <cstdint>
#include <string>

// 1 when bdaversion is at least limitversion, 0 when below, -1 when either is
// null or has no '.'. At most four numeric fields are compared.
int compare_bdaVersion(const char* limitversion, const char* bdaversion);

int check_aegix_support();  // the aegix status tool is installed
int get_aegix_status();     // the service is activated
int get_aegix_enable();     // the service is enabled
// Adds aegixAgentVersion ("NA" when the tool cannot be started).
void get_routerConfig_aegixAgentVersion(json_object* my_object);
// Adds the six aegix status members, from the agent's report or the settings.
void check_aegix_bd_status_mapping(json_object* my_object);
// Adds routerProtectEnabled, routerProtectLicenseStatus and aegixGusterVersion.
void add_bitdefender_report_members(json_object* my_object);

// ---- the parsing halves, on values already read ---------------------------------
// What the "agent" member of a status report says.
struct AegixReport {
    bool usable = false;  // "agent" is an object
    int registered = -1;  // -1: member absent
    std::string status;
    bool has_expiry = false;
    int64_t expiry = 0;
    std::string level;
};
AegixReport aegix_report_from_json(json_object* report);
void add_aegix_report_status(json_object* obj, const AegixReport& report, const char* va_date);

// The aegixstatus settings of an older agent, as read.
struct AegixSettings {
    std::string subscription_status, expiry_date, va_report_date, subscription_level,
        registration_status;
};
void add_aegix_settings_status(json_object* obj, const AegixSettings& settings);

// router_protection.license_status of a report, "" when absent.
std::string bda_license_status(json_object* report);
