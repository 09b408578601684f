// Writers of one member or array element with the cloud's conventions.
#include "Add_object.h"

#include <json-c/printbuf.h>

#include <cstdio>
#include <cstring>

void Add_object_int(json_object* my_object, const char* name, int value)
{
    json_object_object_add(my_object, name, json_object_new_int(value));
}

void Add_object_boolean(json_object* my_object, const char* name, int value)
{
    // An unknown state is left out rather than reported as false.
    if (value != 0 && value != 1)
        return;
    json_object_object_add(my_object, name, json_object_new_boolean(value));
}

void Add_object_string(json_object* my_object, const char* name, const char* value)
{
    json_object_object_add(my_object, name, json_object_new_string(value ? value : ""));
}

void Add_object_double(json_object* my_object, const char* name, double value)
{
    json_object_object_add(my_object, name, zol_json_object_new_double(value));
}

void Add_object_Array_int(json_object* my_object, int value)
{
    json_object_array_add(my_object, json_object_new_int(value));
}

void Add_object_Array_double(json_object* my_object, double value)
{
    json_object_array_add(my_object, zol_json_object_new_double(value));
}

void Add_object_Array_string(json_object* my_object, const char* value)
{
    json_object_array_add(my_object, json_object_new_string(value ? value : ""));
}

json_object* zol_json_object_new_double(double d)
{
    static char format[] = "%.2f";
    json_object* jso = json_object_new_double(d);
    json_object_set_serializer(jso, zol_json_object_double_to_json_string, format, nullptr);
    return jso;
}

// The cloud parses numbers with exactly two decimals, whatever the locale.
int zol_json_object_double_to_json_string(json_object* jso, struct printbuf* pb, int /*level*/,
                                          int flags)
{
    char text[128];
    snprintf(text, sizeof text, "%.2f", json_object_get_double(jso));

    char* point = strchr(text, ',');
    if (point) {
        *point = '.';
    } else {
        point = strchr(text, '.');
        if (!point) {  // nan, inf, -inf
            int len = static_cast<int>(strlen(text));
            printbuf_memappend(pb, text, len);
            return len;
        }
    }

    if (flags & JSON_C_TO_STRING_NOZERO) {
        char* keep = point + 1;  // at least one decimal stays
        for (char* p = point + 1; *p; ++p) {
            if (*p != '0')
                keep = p;
        }
        keep[1] = '\0';
    }

    int len = static_cast<int>(strlen(text));
    printbuf_memappend(pb, text, len);
    return len;
}
