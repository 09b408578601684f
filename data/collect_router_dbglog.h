// The flash debug-log event (eventtype10).
#pragma once

#include <json-c/json.h>
#include <cstddef>

// Debug log event (eventtype10)
json_object* get_dbgLogs_json();
char* dbgLogs_ubinfo(const char* dev, const char* item);
void dbgLogs_revised(const char* file);

// Size of the static buffer that holds ubinfo's output and dbgLogs_ubinfo's answer.
constexpr std::size_t UBINFO_BUF_SIZE = 2048;
// The parsing half of dbgLogs_ubinfo: loads len bytes of output into the
// static buffer (cut to UBINFO_BUF_SIZE - 1 bytes; a null output keeps the
// buffer as it is) and answers item ("total_blocks", "bad_blocks", "info")
// from it; "" for an unknown item or a missing phrase.
char* dbgLogs_ubinfo_text(const char* output, std::size_t len, const char* item);
