// Readers of one value from a JSON file left in /tmp by another component,
// and the RAII holder every collector uses for json-c trees.
#pragma once

#include <json-c/json.h>
#include <cstdint>
#include <memory>

struct JsonPut {
    void operator()(json_object* o) const { json_object_put(o); }
};
// Owns one reference to a json-c object; releasing it releases the tree.
using JsonPtr = std::unique_ptr<json_object, JsonPut>;

char* get_string_from_file(const char* file, const char* data_name);
char* get_second_object_string_from_file(const char* file, const char* object_name,
                                         const char* data_name);
int32_t get_int_from_file(const char* file, const char* data_name);
int get_boolean_from_file(const char* file, const char* data_name);
int64_t get_int64_from_file(const char* file, const char* data_name);
double get_double_from_file(const char* file, const char* data_name);
char* zol_get_json_object_to_string(json_object* root_obj, const char* data_name);
int get_object_int(json_object* root_obj, const char* name);
int match_mac_to_get_string_from_file(const char* satellite_mac, const char* file_name,
                                      const char* data_name, const char* buff);
json_object* local_json_object_object_get(json_object* jso, const char* key);
