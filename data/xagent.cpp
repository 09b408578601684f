// Readers of the cloud agent's settings and the device-location request.
#include "xagent.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "unit.h"

// Host names of the device-location service are deployment settings; the
// build passes them in (cmake/cloud_hosts.cmake). These fall-backs only keep
// a build without that file compiling and resolve nowhere.
#ifndef DC_LOCATION_HOST_DEV
#define DC_LOCATION_HOST_DEV "device-location.dev.example.invalid"
#endif
#ifndef DC_LOCATION_HOST_QA
#define DC_LOCATION_HOST_QA "device-location.qa.example.invalid"
#endif
#ifndef DC_LOCATION_HOST_PROD
#define DC_LOCATION_HOST_PROD "device-location.prod.example.invalid"
#endif

namespace {

const char kD2Tool[] = "/usr/bin/d2";
// Kept after each read; the next read replaces it.
const char kD2Output[] = "/tmp/ra_d2_info";
const char kAgentIdKey[] = "xagentcfg[0].x_agent_id";
const char kClaimCodeKey[] = "xagentcfg[0].x_agent_claim_code";
const char kLocationPath[] = "device-location/resolve";

// No shell is involved, so a key is passed to the tool as one argument
// whatever characters it holds.
void run_d2(const char* key)
{
    zol_safe_system(kD2Output, nullptr, 0, kD2Tool, "-s", key, nullptr);
}

// First line of the tool's output (at most 126 characters, line end kept);
// false when there is no line to read.
bool read_d2_line(char (&line)[127])
{
    line[0] = '\0';
    FILE* fp = fopen(kD2Output, "r");
    if (!fp)
        return false;
    bool got = fgets(line, sizeof line, fp) != nullptr;
    fclose(fp);
    return got;
}

// An agent setting as the request sends it: at most 62 characters, "0"
// standing in for a missing value.
void copy_setting_or_zero(char (&dst)[63], const char* value)
{
    strncpyt(dst, value ? value : "", sizeof dst);
    if (dst[0] == '\0')
        strncpyt(dst, "0", sizeof dst);
}

}  // namespace

char* get_value_from_dto(const char* string)
{
    static char empty[1];
    if (!string) {
        empty[0] = '\0';
        return empty;
    }
    run_d2(string);
    return cat_file(kD2Output);
}

int get_bool_from_dto(const char* string)
{
    if (!string)
        return 0;
    run_d2(string);
    char line[127];
    if (!read_d2_line(line) || line[0] == '\0')
        return 0;
    return strtol(line, nullptr, 10) == 1 ? 1 : 0;
}

int check_value_from_dto(const char* string)
{
    if (!string)
        return 0;
    run_d2(string);
    char line[127];
    return read_d2_line(line) ? 1 : 0;
}

CloudStage get_stage_of_agent_id(const char* agent_id)
{
    if (!agent_id)
        return CloudStage::prod;
    // Prefixes are case-sensitive: the agent's own stage markers are upper case.
    if (strncmp(agent_id, "DEV-", 4) == 0)
        return CloudStage::dev;
    if (strncmp(agent_id, "QA-", 3) == 0)
        return CloudStage::qa;
    return CloudStage::prod;
}

const char* get_device_location_host(CloudStage stage)
{
    switch (stage) {
    case CloudStage::dev:
        return DC_LOCATION_HOST_DEV;
    case CloudStage::qa:
        return DC_LOCATION_HOST_QA;
    case CloudStage::prod:
        break;
    }
    return DC_LOCATION_HOST_PROD;
}

bool format_wanip_command(char* cmd, size_t size, const char* host, const char* agent_id,
                          const char* claim_code)
{
    if (!cmd || size == 0)
        return false;
    cmd[0] = '\0';
    if (!host || !agent_id || !claim_code)
        return false;
    // The id and code come from the agent's store: each is one quoted shell
    // word, joined to the fixed text so that curl still receives the single
    // argument Authorization:<id>:<code>.
    const std::string id = shell_quote(agent_id);
    const std::string code = shell_quote(claim_code);
    int n = snprintf(cmd, size,
                     "curl --capath /etc/ssl/certs -X GET https://%s/%s"
                     " -H \"content-type: application/json\""
                     " -H \"Authorization:\"%s\":\"%s"
                     " -o /tmp/Tarnel_MAXmind --connect-timeout 3 &",
                     host, kLocationPath, id.c_str(), code.c_str());
    if (n < 0 || static_cast<size_t>(n) >= size) {
        cmd[0] = '\0';
        return false;
    }
    return true;
}

void get_wanip_info()
{
    char agent_id[63];
    char claim_code[63];
    copy_setting_or_zero(agent_id, get_value_from_dto(kAgentIdKey));
    const char* host = get_device_location_host(get_stage_of_agent_id(agent_id));
    copy_setting_or_zero(claim_code, get_value_from_dto(kClaimCodeKey));

    char cmd[512];
    if (format_wanip_command(cmd, sizeof cmd, host, agent_id, claim_code))
        run_shell(cmd);
    else
        RA_logger("device-location request not sent: agent settings too long");
}
