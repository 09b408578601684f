// Whether a text is one JSON document that the cloud's strict parser takes:
// RFC 8259 grammar (no NaN or Infinity, no comments, no trailing text) in
// valid UTF-8, with \u escapes naming whole characters (surrogates paired).
#pragma once

#include <cstddef>
#include <string>

// On failure *why (when given) says what and where, e.g. "invalid UTF-8 at byte 12".
bool json_text_is_strict(const char* text, std::size_t len, std::string* why = nullptr);


// Length of the longest prefix of s[0..len) that is valid UTF-8.
std::size_t utf8_valid_prefix(const char* s, std::size_t len);
