// Writers of one member or array element with the cloud's conventions: a null
// string is "", a boolean outside 0/1 is left out, numbers print two decimals.
#pragma once

#include <json-c/json.h>

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
