// Bounded text operations, fields, MAC and HTML-entity texts. Functions that
// return char* return a static buffer that the next call of the same function
// overwrites; callers copy what they keep.
#pragma once

#include <cstddef>
#include <cstring>

// ---- bounded copies and numbers --------------------------------------------
void strncpyt(char* dst, const char* src, size_t len);
int zol_strncpy(char* dst, const char* src, int size);
char* zol_strncat(char* dest, const char* src, size_t n);
char* str_replace(const char* str);
char* sed_items_xss(char* sed);
int zol_atoi(const char* input);
int is_Number(const char* input_str);

// One row of a table from a stored value to the text the cloud expects.
struct lookup_row {
    const char* value;
    const char* text;
};
// The text of the first row whose value equals key exactly, else fallback.
template <std::size_t N>
const char* lookup_text(const lookup_row (&rows)[N], const char* key, const char* fallback) {
    for (const lookup_row& row : rows)
        if (key && std::strcmp(row.value, key) == 0) return row.text;
    return fallback;
}

// ---- fields ------------------------------------------------------------------
// Next-to-last blank-separated word, split in place; "" for fewer than two words.
char* last_str(char* str);
char* parse_parmetrs(char* str);
int extraction_string_bychar(const char* buf, char ch, int column, char* string, int len);
void get_data_from_string(const char* input, char* output, char symbol, int num, int size);

// ---- MAC, HTML entities, access control -------------------------------------
char* parse_mac(const char* mac);
char* formatted_mac(const char* mac);
void conv_items_xss(const char* str, char* result, int size);
int cmp_access_device(const char* dtype, const char* mac, char* cur_val);

// ---- time texts ------------------------------------------------------------------
char* parse_uptime(int uptime);
