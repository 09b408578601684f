// Readers of the cloud agent's settings (through /usr/bin/d2) and the
// device-location request.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

char* get_value_from_dto(const char* string);
int get_bool_from_dto(const char* string);
int check_value_from_dto(const char* string);
void get_wanip_info();

// The cloud service stage an agent id belongs to, told by its prefix.
enum class CloudStage { dev, qa, prod };
CloudStage get_stage_of_agent_id(const char* agent_id);
// Device-location host of a stage, fixed at build time.
const char* get_device_location_host(CloudStage stage);
// The device-location request's curl command, each agent setting inside one
// argument whatever it holds; empty when a value is missing.
std::vector<std::string> wanip_request_argv(const char* host, const char* agent_id,
                                            const char* claim_code);
// The settings tool's whole answer to the last read; "" when it gave none.
const std::string& last_d2_answer();
// Leaves the last answer in /tmp/ra_d2_info, as the firmware expects after a
// run (none when that read was stopped); once, at the end of the run.
void keep_d2_answer();
// Removes /tmp/ra_d2_info and forgets the pending answer.
void drop_d2_answer();
