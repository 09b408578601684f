// Internet disconnect event.
#pragma once

#include <json-c/json.h>

json_object* get_internetDisconnEvent_json();

// Saves the store's gwDisconnDuration into
// /tmp/router-analytics/gw_disconn_duration for the next event; the value is
// written as text whatever it holds (it goes to the shell quoted).
void save_gw_disconn_duration();

// The raw texts the event is computed from; a null text counts as empty.
struct DisconnInputs {
    const char* disconn_timestamp;    // store disconn_timestamp
    const char* recovered_timestamp;  // first line of recovered_timestamp
    const char* gw_duration;          // store gwDisconnDuration (minutes)
    const char* saved_gw_duration;    // first line of gw_disconn_duration
    const char* wan_proto;            // store wan_proto
    const char* reason_code;          // first line of disconn_reason
};
// The InternetDisconnEvent object for the given inputs.
json_object* build_internetDisconnEvent(const DisconnInputs& in);
// internetConfig for a wan_proto value ("Static" for anything unknown).
const char* internet_config_name(const char* wan_proto);
// InternetDisconnReason for a reason-file text and the gateway minutes added.
const char* disconn_reason_text(const char* reason_code, int gw_minutes);
