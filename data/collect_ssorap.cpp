// SSO registration members of routerInfo and the SSO login event (eventtype7).
// The inputs are small files the web interface's SSO handlers leave in /tmp.
#include "collect_ssorap.h"

#include <cstdlib>

#include <config_store.h>

#include "Add_object.h"
#include "text_filters.h"
#include "unit.h"

namespace {

// Texts of the SSO handlers are short; the cloud reads at most 63 characters.
constexpr size_t kSsoFieldSize = 64;
constexpr const char* kHaveSsoFile = "/tmp/dgc_func_have_sso";
// A day of power-on time separates a fresh install from an upgrade.
constexpr long kNewInstallMinutes = 1440;

char have_sso_flag() { return cat_file(kHaveSsoFile)[0]; }

long power_on_minutes() {
    std::string minutes = grep_awk_field(program_output({"pot_tool", "get"}), "POT:", 2);
    return strtol(first_line_of(minutes), nullptr, 10);
}

}  // namespace

void get_routerInfo_ssoGuiRegStatus(json_object* obj) {
    Add_object_string(obj, "ssoGuiRegStatus",
                      have_sso_flag() == '1' ? config_get("ssoGuiRegStatus") : "Unknown");
}

void get_routerInfo_ssoGUIRegNewInstall(json_object* obj) {
    const char* value = "Unknown";
    switch (have_sso_flag()) {
        case '0':
            value = "No";
            break;
        case '1':
            value = power_on_minutes() >= kNewInstallMinutes ? "Yes" : "Yes - PostInstallUpgrade";
            break;
        default:
            break;
    }
    Add_object_string(obj, "ssoGUIRegNewInstall", value);
}

json_object* get_ssorapLoginEvent_json() {
    static const struct {
        const char* member;
        const char* file;
    } kMembers[] = {
        {"ssorapEventType", "/tmp/ssoLoginMethod"},
        {"ssorapSubEventType", "/tmp/ssoLoginEvent"},
        {"fromIP", "/tmp/ssoLoginFromIP"},
        {"internetStatus", "/tmp/ssoLoginInternetStatus"},
        {"duringInstallation", "/tmp/ssoLoginDuringInstallation"},
        {"redirectString", "/tmp/ssoLoginRedirectString"},
        {"redirectStringENC", "/tmp/ssoLoginRedirectStringENC"},
        {"errorReason", "/tmp/ssoLoginResult"},
    };
    json_object* obj = json_object_new_object();
    if (!obj) return nullptr;
    for (const auto& m : kMembers) {
        char value[kSsoFieldSize] = {0};
        if (file_exists(m.file)) strncpyt(value, cat_file(m.file), sizeof value);
        Add_object_string(obj, m.member, value);
    }
    return obj;
}
