// Writers of one member or array element with the cloud's conventions.
#include "Add_object.h"

#include <json-c/printbuf.h>

#include <cmath>
#include <cstdio>
#include <cstring>

#include "strict_json.h"

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
    json_object_object_add(my_object, name, zol_json_object_new_string(value));
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
    json_object_array_add(my_object, zol_json_object_new_string(value));
}

namespace {
// The userdata of the collector's own doubles: json_make_strict tells them by it.
char two_decimals[] = "%.2f";
}  // namespace

json_object* zol_json_object_new_double(double d)
{
    json_object* jso = json_object_new_double(d);
    json_object_set_serializer(jso, zol_json_object_double_to_json_string, two_decimals, nullptr);
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
        if (!point) {  // nan, inf, -inf: no JSON number, and the cloud rejects bare tokens
            printbuf_memappend(pb, "null", 4);
            return 4;
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

// ---- strict text --------------------------------------------------------------

namespace {

const char kReplacement[] = "\xEF\xBF\xBD";  // U+FFFD

}  // namespace

std::string utf8_repair(const char* s, std::size_t len)
{
    std::string out;
    out.reserve(len + 8);
    std::size_t i = 0;
    while (i < len) {
        std::size_t ok = utf8_valid_prefix(s + i, len - i);
        out.append(s + i, ok);
        i += ok;
        if (i < len) {
            out.append(kReplacement, 3);
            ++i;
        }
    }
    return out;
}

json_object* zol_json_object_new_string_len(const char* s, std::size_t len)
{
    if (!s)
        return json_object_new_string("");
    if (utf8_valid_prefix(s, len) == len)
        return json_object_new_string_len(s, static_cast<int>(len));
    std::string fixed = utf8_repair(s, len);
    return json_object_new_string_len(fixed.data(), static_cast<int>(fixed.size()));
}

json_object* zol_json_object_new_string(const char* s)
{
    return zol_json_object_new_string_len(s, s ? strlen(s) : 0);
}

namespace {

bool valid_text(const char* s, std::size_t len) { return utf8_valid_prefix(s, len) == len; }

// Returns what to keep in place of node: node itself (strings repaired in
// place), null for a non-finite number, or a new object when a member name
// was not valid UTF-8. node is never released here; the caller's replacement
// does that. Depth is bounded by json-c's parser depth.
json_object* make_strict(json_object* node)
{
    switch (json_object_get_type(node)) {
    case json_type_double: {
        double d = json_object_get_double(node);
        if (!std::isfinite(d))
            return nullptr;
        // json-c prints a parsed number with its source text (kept as the
        // node's userdata), and its parser takes forms JSON has not (03.25,
        // 1., -.5): those are printed afresh from the value (finite here, so
        // json-c's own printer is safe). The collector's own doubles and
        // json-c's plain ones print strict JSON already.
        const char* source = static_cast<const char*>(json_object_get_userdata(node));
        if (!source || source == two_decimals || json_text_is_strict(source, strlen(source)))
            return node;
        return json_object_new_double(d);
    }
    case json_type_string: {
        const char* s = json_object_get_string(node);
        std::size_t len = static_cast<std::size_t>(json_object_get_string_len(node));
        if (!valid_text(s, len)) {
            std::string fixed = utf8_repair(s, len);
            json_object_set_string_len(node, fixed.data(), static_cast<int>(fixed.size()));
        }
        return node;
    }
    case json_type_array: {
        std::size_t n = json_object_array_length(node);
        for (std::size_t i = 0; i < n; ++i) {
            json_object* child = json_object_array_get_idx(node, i);
            json_object* kept = make_strict(child);
            if (kept != child)
                json_object_array_put_idx(node, i, kept);  // releases child
        }
        return node;
    }
    case json_type_object: {
        bool keys_ok = true;
        json_object_object_foreach(node, key, child) {
            (void)child;
            keys_ok = keys_ok && valid_text(key, strlen(key));
        }
        if (!keys_ok) {
            json_object* out = json_object_new_object();
            json_object_object_foreach(node, k, v) {
                json_object* kept = make_strict(v);
                if (kept == v)
                    json_object_get(v);  // now shared with out; node goes below
                json_object_object_add(out, utf8_repair(k, strlen(k)).c_str(), kept);
            }
            return out;
        }
        json_object_object_foreach(node, k, v) {
            json_object* kept = make_strict(v);
            if (kept != v)
                json_object_object_add(node, k, kept);  // same key: replaced, v released
        }
        return node;
    }
    default:
        return node;
    }
}

}  // namespace

json_object* json_make_strict(json_object* tree)
{
    if (!tree)
        return nullptr;
    json_object* kept = make_strict(tree);
    if (kept != tree)
        json_object_put(tree);
    return kept;
}
