// Readers of the cloud agent's settings (through /usr/bin/d2) and the
// device-location request.
#pragma once

#include <cstddef>

char* get_value_from_dto(const char* string);
int get_bool_from_dto(const char* string);
int check_value_from_dto(const char* string);
void get_wanip_info();

// The cloud service stage an agent id belongs to, told by its prefix.
enum class CloudStage { dev, qa, prod };
CloudStage get_stage_of_agent_id(const char* agent_id);
// Device-location host of a stage, fixed at build time.
const char* get_device_location_host(CloudStage stage);
// Writes the background curl command of the device-location request into cmd
// (size bytes), with the agent id and claim code quoted for the shell.
// Returns false, leaving cmd empty, when the whole command does not fit: a cut
// command line could lose its closing quote or the trailing "&".
bool format_wanip_command(char* cmd, size_t size, const char* host, const char* agent_id,
                          const char* claim_code);
