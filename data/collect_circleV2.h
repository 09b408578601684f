// Circle parental-control members of routerInfo (agent status) and
// routerConfig (agent configuration). Both add nothing unless the agent is
// of version 2.
#pragma once

#include <json-c/json.h>

#include <cstdio>
#include <string>

// 2 or 1 by the first character of the agent's version text, else 0.
int get_circle_version_num();
void get_routerinfo_circleV2(json_object* obj);
void get_routerconf_circleV2(json_object* obj);

// The parsing halves, on the tools' output (a null stream reads as empty).
int circle_version_from_text(const char* first_line);
struct circle_status {
    bool running = false;
    bool online = false;
    bool provisioned = false;
};
circle_status parse_circle_status(FILE* output);
// The word after "Circle Agent Version: " on the first line naming it; "".
std::string parse_circle_agent_version(FILE* output);
