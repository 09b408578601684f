// Readers of one value from a JSON file left in /tmp by another component.
// Their defaults are what the documents show when a source is absent.
#include "zol_json.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Each text reader owns one 128-byte buffer; at most 126 characters are kept.
constexpr size_t kTextBuf = 128;
constexpr size_t kTextBound = 127;

char* empty_text()
{
    static char empty[1];
    empty[0] = '\0';
    return empty;
}

// The member of a parsed file, or null; the file is released with the holder.
json_object* member_of_file(const char* file, const char* name, JsonPtr& doc)
{
    if (!file)
        return nullptr;
    doc.reset(json_object_from_file(file));
    return local_json_object_object_get(doc.get(), name);
}

void copy_text(char* buf, json_object* member)
{
    const char* text = json_object_get_string(member);
    snprintf(buf, kTextBound, "%s", text ? text : "");
}

}  // namespace

json_object* local_json_object_object_get(json_object* jso, const char* key)
{
    json_object* member = nullptr;
    if (!jso || !key || !json_object_object_get_ex(jso, key, &member))
        return nullptr;
    return member;
}

char* get_string_from_file(const char* file, const char* data_name)
{
    static char buf[kTextBuf];
    JsonPtr doc;
    json_object* member = member_of_file(file, data_name, doc);
    if (!doc)
        return empty_text();
    if (member)
        copy_text(buf, member);
    else
        buf[0] = '\0';
    return buf;
}

char* get_second_object_string_from_file(const char* file, const char* object_name,
                                         const char* data_name)
{
    // A blank in the first byte means "not found" to the callers; the rest of
    // the previous text stays behind it, and a missing object_name returns
    // the previous text unchanged. Callers compare against " " and rely on it.
    static char buf[kTextBuf];
    JsonPtr doc;
    json_object* outer = member_of_file(file, object_name, doc);
    if (!doc)
        return empty_text();
    if (!outer)
        return buf;

    if (json_object_is_type(outer, json_type_object)) {
        json_object* member = local_json_object_object_get(outer, data_name);
        if (member)
            copy_text(buf, member);
        else
            buf[0] = ' ';
    } else if (json_object_is_type(outer, json_type_array)) {
        size_t n = json_object_array_length(outer);
        for (size_t i = 0; i < n; ++i) {
            json_object* member =
                local_json_object_object_get(json_object_array_get_idx(outer, i), data_name);
            if (member) {
                copy_text(buf, member);
                break;
            }
            buf[0] = ' ';
        }
    } else {
        buf[0] = ' ';
    }
    return buf;
}

int32_t get_int_from_file(const char* file, const char* data_name)
{
    JsonPtr doc;
    json_object* member = member_of_file(file, data_name, doc);
    return member ? json_object_get_int(member) : 0;
}

int get_boolean_from_file(const char* file, const char* data_name)
{
    JsonPtr doc;
    json_object* member = member_of_file(file, data_name, doc);
    return member ? (json_object_get_boolean(member) ? 1 : 0) : 0;
}

int64_t get_int64_from_file(const char* file, const char* data_name)
{
    // The 32-bit conversion is what the cloud has always received.
    JsonPtr doc;
    json_object* member = member_of_file(file, data_name, doc);
    return member ? static_cast<int64_t>(json_object_get_int(member)) : 0;
}

double get_double_from_file(const char* file, const char* data_name)
{
    // The fraction is dropped on purpose: the cloud's series are whole numbers.
    JsonPtr doc;
    json_object* member = member_of_file(file, data_name, doc);
    return member ? static_cast<double>(json_object_get_int(member)) : 0.0;
}

char* zol_get_json_object_to_string(json_object* root_obj, const char* data_name)
{
    static char buf[kTextBuf];
    json_object* member = local_json_object_object_get(root_obj, data_name);
    if (member)
        copy_text(buf, member);
    else
        buf[0] = '\0';
    return buf;
}

int get_object_int(json_object* root_obj, const char* name)
{
    json_object* member = local_json_object_object_get(root_obj, name);
    if (!member)
        return 0;
    const char* text = json_object_get_string(member);
    if (!text || !*text)
        return 0;
    return static_cast<int>(strtol(text, nullptr, 10));
}

int match_mac_to_get_string_from_file(const char* satellite_mac, const char* file_name,
                                      const char* data_name, const char* buff)
{
    char line[1280] = {0};
    if (FILE* fp = file_name ? fopen(file_name, "r") : nullptr) {
        while (fgets(line, sizeof line, fp)) {
            if (satellite_mac && strstr(line, satellite_mac)) {
                // The wanted member is on the line after the MAC; at the end of
                // the file the matched line stays.
                char* next = fgets(line, sizeof line, fp);
                (void)next;
                break;
            }
        }
        fclose(fp);
    }

    // name":"value"<rest>: the rest tells whether another member follows. A
    // line that does not split that far leaves token at buff.
    const char* token = buff;
    char* save = nullptr;
    if (data_name && strstr(line, data_name) && strtok_r(line, ":", &save) &&
        strtok_r(nullptr, "\"", &save))
        token = strtok_r(nullptr, "\"", &save);
    if (!token)
        return 1;
    return token[0] == ',' ? 1 : 0;
}
