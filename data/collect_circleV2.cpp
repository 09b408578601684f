// Circle parental-control members. The agent is reached through its own
// commands and through the cloud agent's settings store (d2).
#include "collect_circleV2.h"

#include <cstdio>
#include <cstring>

#include <unistd.h>

#include "Add_object.h"
#include "diagnostic_log.h"
#include "unit.h"
#include "xagent.h"

namespace {

// The agent's status is read in lines of this many characters, each losing
// its last character (the line end) as the firmware's reader does.
constexpr size_t kStatusLine = 254;
constexpr size_t kAgentVersionWord = 127;

// Texts from the agent's settings store; members are never left out.
void add_setting(json_object* obj, const char* member, const char* key) {
    Add_object_string(obj, member, get_value_from_dto(key));
}

}  // namespace

int circle_version_from_text(const char* first_line) {
    if (!first_line) return 0;
    if (first_line[0] == '2') return 2;
    if (first_line[0] == '1') return 1;
    return 0;
}

int get_circle_version_num() {
    char line[16];
    strncpyt(line, first_line_of(program_answer({"/usr/bin/get_circle_status", "circle_version"})),
             sizeof line);
    return circle_version_from_text(line);
}

circle_status parse_circle_status(FILE* output) {
    circle_status st;
    for_each_line(output, kStatusLine + 1, [&st](char* line) {
        size_t n = strlen(line);  // 0 for a line that starts with a NUL byte
        if (n) line[n - 1] = '\0';
        // The first rule that matches a line decides for it.
        if (strstr(line, "Circle Running: true"))
            st.running = true;
        else if (strstr(line, "rclient:   connected"))
            st.online = true;
        else if (strstr(line, "Circle Provisioned: true"))
            st.provisioned = true;
        return true;
    });
    return st;
}

std::string parse_circle_agent_version(FILE* output) {
    std::string version;
    for_each_line(output, 256, [&version](char* line) {
        const char* at = strstr(line, "Circle Agent Version");
        if (!at) return true;
        char word[kAgentVersionWord + 1] = "";
        if (sscanf(at, "Circle Agent Version: %127s", word) == 1) version = word;
        return false;
    });
    return version;
}

void get_routerinfo_circleV2(json_object* obj) {
    if (get_circle_version_num() != 2) return;
    const std::string status = program_output({"circlectl", "status"}, kDiagnosticLogMax);
    circle_status st = parse_circle_status(open_text(status).get());
    int last_timestamp = zol_atoi(get_value_from_dto("CircleDebug.lastTimestamp"));
    int error_id = zol_atoi(get_value_from_dto("CircleDebug.errorid"));

    Add_object_string(obj, "circleV2AgentIsStart", st.running ? "yes" : "no");
    Add_object_string(obj, "circleV2AgentIsOnline", st.online ? "yes" : "no");
    Add_object_string(obj, "circleV2AgentIsProvisioned", st.provisioned ? "yes" : "no");
    add_setting(obj, "circleV2ActivationStatus", "CircleStatus.activationStatus");
    add_setting(obj, "circleV2EnableStatus", "CircleStatus.spcStatus");
    Add_object_int(obj, "circleV2CSHLastTimestamp", last_timestamp);
    Add_object_int(obj, "circleV2CSHErrorID", error_id);
    // The whole answer, not only its first line.
    get_value_from_dto("CircleDebug.errorMessage");
    get_full_content_from_text(last_d2_answer(), obj, "circleV2CSHErrorMessage");
    get_full_content_from_text(status, obj, "circleV2CtlStatusLog");
    drop_d2_answer();
}

void get_routerconf_circleV2(json_object* obj) {
    if (get_circle_version_num() != 2) return;
    Add_object_string(obj, "circleFeatureVersion", "2");
    add_setting(obj, "circleV2ActivationConfig", "CircleCfg.action");
    add_setting(obj, "circleV2EnableConfig", "DalSpcRa.circleV2EnableConfig");
    add_setting(obj, "circleV2ProvisionHardwareURL", "CircleCfg.provisionHardwareURL");
    add_setting(obj, "circleV2CloudHost", "CircleCfg.cloudhost");
    add_setting(obj, "circleV2CircleID", "CircleCfg.circleId");
    add_setting(obj, "circleV2Cuuid", "CircleCfg.cuuid");
    std::string version = parse_circle_agent_version(open_text(program_output({"circlectl", "version"})).get());
    Add_object_string(obj, "circleV2AgentVersion", version.c_str());
    add_setting(obj, "circleV2DBVersion", "DalSpcRa.circleV2DBVersion");
}
