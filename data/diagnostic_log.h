// Diagnostic texts (listings, crash and upgrade logs) as document members,
// bounded so that a runaway file cannot exhaust the router's memory.
#pragma once

#include <json-c/json.h>

#include <cstddef>
#include <string>

// Diagnostic texts (top, ps, slab and meminfo listings, the kernel crash log)
// are read up to this many bytes; a larger file is cut there. 1 MiB is far
// beyond what those listings hold on a router and keeps a runaway file from
// exhausting the router's memory or the cloud's message size.
constexpr size_t kDiagnosticLogMax = 1u << 20;

// Whole file as a C text (it ends at a NUL byte, as the cloud reads it), at
// most kDiagnosticLogMax bytes; false when unreadable.
bool read_log_text(const char* file, std::string& text);
void get_full_content_from_file(const char* file, json_object* root, const char* name);
// The same for text already read (what a tool printed).
void get_full_content_from_text(std::string text, json_object* root, const char* name);
