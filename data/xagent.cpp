// Readers of the cloud agent's settings and the device-location request.
#include "xagent.h"

#include <unistd.h>

#include <cstdio>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "file_update.h"
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
// Holds the last answer after a run, as the tool's redirection left it.
const char kD2Output[] = "/tmp/ra_d2_info";
const char kAgentIdKey[] = "xagentcfg[0].x_agent_id";
const char kClaimCodeKey[] = "xagentcfg[0].x_agent_claim_code";
const char kLocationPath[] = "device-location/resolve";

// The answer to the last read; kD2Output gets it once, at the end of the run
// (keep_d2_answer), not after every read.
std::string d2_answer;
bool d2_answer_pending = false;
bool d2_timed_out = false;
// More than any setting the agent keeps.
constexpr size_t kD2Bytes = 64 * 1024;

void run_d2(const char* key)
{
    RunRequest req;
    req.argv = {kD2Tool, "-s", std::string(key).substr(0, 2047)};
    req.max_bytes = kD2Bytes;
    req.reuse = true;  // a setting does not change within a run
    RunResult r = run_program(req);
    d2_answer = r.out;
    d2_timed_out = r.timed_out;
    d2_answer_pending = true;
}

// First line of the answer (at most 126 characters, line end kept), as fgets
// reads it; false when there is no line to read.
bool read_d2_line(char (&line)[127])
{
    line[0] = '\0';
    if (d2_answer.empty())
        return false;
    size_t end = d2_answer.find('\n');
    size_t n = std::min(end == std::string::npos ? d2_answer.size() : end + 1, sizeof line - 1);
    memcpy(line, d2_answer.data(), n);
    line[n] = '\0';
    return true;
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

void keep_d2_answer()
{
    if (!d2_answer_pending)
        return;
    d2_answer_pending = false;
    // Nothing stale may read as the answer of a read that was stopped.
    if (d2_timed_out)
        unlink(kD2Output);
    else
        file_update::replace_keep_mode(kD2Output, d2_answer);
}

void drop_d2_answer()
{
    d2_answer_pending = false;
    unlink(kD2Output);
}

char* get_value_from_dto(const char* string)
{
    static char empty[1];
    if (!string) {
        empty[0] = '\0';
        return empty;
    }
    run_d2(string);
    return first_line_of(d2_answer);
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

std::vector<std::string> wanip_request_argv(const char* host, const char* agent_id,
                                            const char* claim_code)
{
    if (!host || !agent_id || !claim_code)
        return {};
    return {"curl", "--capath", "/etc/ssl/certs", "-X", "GET",
            std::string("https://") + host + "/" + kLocationPath,
            "-H", "content-type: application/json",
            "-H", std::string("Authorization:") + agent_id + ":" + claim_code,
            "-o", "/tmp/Tarnel_MAXmind", "--connect-timeout", "3"};
}

const std::string& last_d2_answer()
{
    return d2_answer;
}

void get_wanip_info()
{
    char agent_id[63];
    char claim_code[63];
    copy_setting_or_zero(agent_id, get_value_from_dto(kAgentIdKey));
    const char* host = get_device_location_host(get_stage_of_agent_id(agent_id));
    copy_setting_or_zero(claim_code, get_value_from_dto(kClaimCodeKey));

    // Runs on by design: the answer is for later runs.
    run_detached(wanip_request_argv(host, agent_id, claim_code));
}
