// Internet disconnect event (eventtype5): how long the Internet and the ISP
// gateway were unreachable during the outage that just ended, and why.
#include "collect_eventtype5.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include <config_store.h>

#include "Add_object.h"
#include "file_update.h"
#include "unit.h"

namespace {

constexpr const char* kRecoveredFile = "/tmp/router-analytics/recovered_timestamp";
constexpr const char* kReasonFile = "/tmp/router-analytics/disconn_reason";
constexpr const char* kSavedGwFile = "/tmp/router-analytics/gw_disconn_duration";
// The save command is formatted into a field of this size.
constexpr size_t kSaveCmdSize = 128;

const struct {
    const char* wan_proto;
    const char* config;
} kInternetConfigs[] = {
    {"dhcp", "DHCP"},
    {"pppoe", "PPPoE"},
    {"pptp", "PPTP"},
    {"l2tp", "L2TP"},
};

// The cloud files these texts as they are, spelling included (each is
// shorter than the event's 32-byte text fields).
const char* const kReasons[] = {
    "DUT WAN down",        // 1
    "DNS cannot resolv",   // 2
    "Server no response",  // 3
    "Reboot",              // 4
};

// The firmware keeps these counts as 32-bit longs: decimal text, leading
// digits only, saturating like strtol on the router.
int32_t to_int32(const char* text) {
    if (!text) return 0;
    long long v = strtoll(text, nullptr, 10);
    if (v > INT32_MAX) return INT32_MAX;
    if (v < INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(v);
}

// 32-bit arithmetic that wraps like the router's instead of overflowing.
int32_t wrap32(int64_t v) {
    return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(v)));
}

}  // namespace

const char* internet_config_name(const char* wan_proto) {
    for (const auto& row : kInternetConfigs)
        if (wan_proto && strcmp(wan_proto, row.wan_proto) == 0) return row.config;
    return "Static";
}

const char* disconn_reason_text(const char* reason_code, int gw_minutes) {
    int32_t code = to_int32(reason_code);
    if (code >= 1 && code <= static_cast<int32_t>(sizeof kReasons / sizeof kReasons[0]))
        return kReasons[code - 1];
    return gw_minutes >= 1 ? "ISP gateway not response" : "unknown";
}

json_object* build_internetDisconnEvent(const DisconnInputs& in) {
    int32_t start = to_int32(in.disconn_timestamp);
    int32_t recovered = to_int32(in.recovered_timestamp);
    int32_t gw_minutes = to_int32(in.gw_duration);
    // Only the minutes added since the previous event belong to this outage.
    if (in.saved_gw_duration && in.saved_gw_duration[0] != '\0')
        gw_minutes = wrap32(int64_t{gw_minutes} - to_int32(in.saved_gw_duration));

    json_object* obj = json_object_new_object();
    if (!obj) return nullptr;
    Add_object_int(obj, "disconnTimeStamp", start);
    Add_object_int(obj, "recoveredTimeStamp", recovered);
    Add_object_int(obj, "internetDisconnDuration", wrap32(int64_t{recovered} - start));
    Add_object_int(obj, "gwDisconnDuration", wrap32(int64_t{gw_minutes} * 60));
    Add_object_string(obj, "internetConfig", internet_config_name(in.wan_proto));
    Add_object_string(obj, "InternetDisconnReason",
                      disconn_reason_text(in.reason_code, gw_minutes));
    return obj;
}

json_object* get_internetDisconnEvent_json() {
    // cat_file shares one buffer: keep each file's text before the next read.
    std::string recovered = cat_file(kRecoveredFile);
    std::string saved_gw = cat_file(kSavedGwFile);
    std::string reason = cat_file(kReasonFile);
    DisconnInputs in{config_get("disconn_timestamp"), recovered.c_str(),
                     config_get("gwDisconnDuration"), saved_gw.c_str(),
                     config_get("wan_proto"), reason.c_str()};
    return build_internetDisconnEvent(in);
}

void save_gw_disconn_duration() {
    // The firmware's command ("echo VALUE > FILE") had 128 bytes: a longer
    // value is cut to what fitted beside the fixed text.
    static const size_t kMaxValue =
        kSaveCmdSize - 1 - strlen("echo '' > ") - strlen(kSavedGwFile);
    std::string value(config_get("gwDisconnDuration"));
    if (value.size() > kMaxValue) value.resize(kMaxValue);
    file_update::replace_keep_mode(kSavedGwFile, value + "\n");
}
