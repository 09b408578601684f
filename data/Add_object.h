// Writers of one member or array element with the cloud's conventions: a null
// string is "", a boolean outside 0/1 is left out, numbers print two decimals.
#pragma once

#include <json-c/json.h>

#include <cstddef>
#include <string>

void Add_object_int(json_object* my_object, const char* name, int value);
void Add_object_boolean(json_object* my_object, const char* name, int value);
void Add_object_string(json_object* my_object, const char* name, const char* value);
void Add_object_double(json_object* my_object, const char* name, double value);
void Add_object_Array_int(json_object* my_object, int value);
void Add_object_Array_double(json_object* my_object, double value);
void Add_object_Array_string(json_object* my_object, const char* value);
json_object* zol_json_object_new_double(double d);
int zol_json_object_double_to_json_string(json_object* jso, struct printbuf* pb, int level,
                                          int flags);

// Every text that enters a document goes through these: valid UTF-8 is kept
// byte for byte, each byte that cannot start or continue a valid sequence
// becomes U+FFFD, so a strict parser in the cloud accepts the document.
json_object* zol_json_object_new_string(const char* s);
json_object* zol_json_object_new_string_len(const char* s, std::size_t len);
// s[0..len) with each invalid byte replaced by U+FFFD.
std::string utf8_repair(const char* s, std::size_t len);
// Makes a tree read from outside (another producer's document) fit for a
// strict parser: strings and member names repaired, NaN and infinities
// replaced by null. Returns the (possibly new) root the caller owns.
json_object* json_make_strict(json_object* tree);
