// Whether a text is one JSON document that the cloud's strict parser takes:
// RFC 8259 grammar (no NaN or Infinity, no comments, no trailing text) in
// valid UTF-8, with \u escapes naming whole characters (surrogates paired).
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// On failure *why (when given) says what and where, e.g. "invalid UTF-8 at byte 12".
bool json_text_is_strict(const char* text, std::size_t len, std::string* why = nullptr);

// One member of an object's text: the key as written between its quotes
// (escapes not decoded) and where its value's text begins and ends.
struct JsonMemberText {
    std::string key;
    std::size_t value_begin = 0, value_end = 0;
};
// The top-level members of a text json_text_is_strict accepted, in order;
// false when it is not an object.
bool json_object_members(const std::string& text, std::vector<JsonMemberText>* members);
