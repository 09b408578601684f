#include "unit_text.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>

namespace {

// Returned where a text result has nothing to point at; callers may write the
// terminator, so it is reset on every use.
char* empty_text()
{
    static char empty[1];
    empty[0] = '\0';
    return empty;
}

}  // namespace

// ---- bounded copies and numbers --------------------------------------------

namespace {

// strncpy with the last byte forced to the terminator: at most len - 1
// characters, the rest of dst zero-filled as callers of the old copy expect.
void copy_padded(char* dst, const char* src, size_t len)
{
    size_t n = strnlen(src, len - 1);
    memcpy(dst, src, n);
    memset(dst + n, 0, len - n);
}

}  // namespace

void strncpyt(char* dst, const char* src, size_t len)
{
    if (!dst || len == 0)
        return;
    if (!src) {
        dst[0] = '\0';
        return;
    }
    copy_padded(dst, src, len);
}

int zol_strncpy(char* dst, const char* src, int size)
{
    if (!dst || !src || size <= 0)
        return 0;
    copy_padded(dst, src, static_cast<size_t>(size));
    return 1;
}

char* zol_strncat(char* dest, const char* src, size_t n)
{
    if (!dest || !src || n == 0)
        return nullptr;
    // Refuses rather than truncates: a cut value would be silently wrong.
    if (strlen(src) >= n - 1)
        return nullptr;
    strncat(dest, src, n - 1);
    return dest;
}

char* str_replace(const char* str)
{
    static char copy[2048];
    strncpyt(copy, str ? str : "", sizeof copy);
    return copy;
}

char* sed_items_xss(char* sed)
{
    return sed;
}

int zol_atoi(const char* input)
{
    if (!input)
        return 0;
    // Saturates like strtol with the router's 32-bit long.
    long long v = strtoll(input, nullptr, 10);
    return static_cast<int>(std::clamp<long long>(v, INT32_MIN, INT32_MAX));
}

int is_Number(const char* input_str)
{
    if (!input_str || !*input_str)
        return 0;
    for (const char* p = input_str; *p; ++p) {
        if (*p < '0' || *p > '9')
            return 0;
    }
    return 1;
}

// ---- fields ------------------------------------------------------------------

char* last_str(char* str)
{
    if (!str)
        return empty_text();
    char* save = nullptr;
    char* before = nullptr;
    char* last = nullptr;
    for (char* tok = strtok_r(str, " \t\r\n", &save); tok; tok = strtok_r(nullptr, " \t\r\n", &save)) {
        before = last;
        last = tok;
    }
    return before ? before : empty_text();
}

char* parse_parmetrs(char* str)
{
    if (!str)
        return empty_text();
    char* percent = strchr(str, '%');
    if (percent)
        *percent = '\0';
    return str;
}

int extraction_string_bychar(const char* buf, char ch, int column, char* string, int len)
{
    if (!string || len <= 0)
        return 0;
    string[0] = '\0';
    if (!buf || column < 1 || ch == '\0')
        return 0;
    const char* p = buf;
    for (int field = 1;; ++field) {
        while (*p == ch)
            ++p;
        if (*p == '\0' || *p == '\n')
            return 0;
        if (field == column)
            break;
        while (*p && *p != ch && *p != '\n')
            ++p;
    }
    int n = 0;
    while (n < len - 1 && p[n] && p[n] != ch && p[n] != '\n') {
        string[n] = p[n];
        ++n;
    }
    string[n] = '\0';
    return 0;
}

void get_data_from_string(const char* input, char* output, char symbol, int num, int size)
{
    if (!input || !output || num < 1 || size <= 0 || (symbol == '\0' && num > 1))
        return;
    const char* p = input;
    for (int field = 1; field < num; ++field) {
        p = strchr(p, symbol);
        if (!p)
            return;
        ++p;
    }
    for (int n = 0; n < size && p[n] && p[n] != symbol; ++n)
        output[n] = p[n];
}

// ---- MAC, HTML entities, access control -------------------------------------

char* parse_mac(const char* mac)
{
    static char digits[128];
    memset(digits, 0, sizeof digits);
    if (!mac)
        return digits;
    size_t out = 0;
    for (size_t i = 0; mac[i] && out < sizeof digits - 1; ++i) {
        size_t pos = i + 1;
        // Separator positions of aa:bb:cc:dd:ee:ff, whatever character is there.
        if (pos % 3 == 0 && pos <= 18)
            continue;
        char c = mac[i];
        digits[out++] = (c >= 'a' && c <= 'f') ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return digits;
}

char* formatted_mac(const char* mac)
{
    static char plain[32];
    memset(plain, 0, sizeof plain);
    if (!mac)
        return plain;
    size_t out = 0;
    for (const char* p = mac; *p && out < sizeof plain - 1; ++p) {
        if (*p != ':')
            plain[out++] = *p;
    }
    return plain;
}

void conv_items_xss(const char* str, char* result, int size)
{
    static const struct {
        const char* seq;
        char ch;
    } kEntities[] = {
        {"&lt;", '<'},  {"&gt;", '>'},  {"&#40;", '('}, {"&#41;", ')'},  {"&#34;", '"'},
        {"&#39;", '\''}, {"&#35;", '#'}, {"&#38;", '&'}, {"&#92;", '\\'},
    };
    if (!result || size <= 0)
        return;
    result[0] = '\0';
    if (!str || !*str || size < 2)
        return;

    char text[512];
    strncpyt(text, str, sizeof text);
    int out = 0;
    for (const char* p = text; *p && out < size - 1;) {
        char decoded = *p;
        size_t used = 1;
        if (*p == '&') {
            for (const auto& e : kEntities) {
                size_t n = strlen(e.seq);
                if (strncmp(p, e.seq, n) == 0) {
                    decoded = e.ch;
                    used = n;
                    break;
                }
            }
        }
        result[out++] = decoded;
        p += used;
    }
    result[out] = '\0';
}

int cmp_access_device(const char* dtype, const char* mac, char* cur_val)
{
    if (!dtype || !mac || !cur_val)
        return 0;
    char* save = nullptr;
    char* flag = strtok_r(cur_val, " ", &save);
    char* entry_mac = flag ? strtok_r(nullptr, " ", &save) : nullptr;
    if (!entry_mac)
        return 0;
    if (strcasecmp(entry_mac, mac) != 0)
        return 0;
    if (strcasecmp(dtype, "allow_device") == 0 && strcmp(flag, "0") == 0)
        return 1;
    if (strcasecmp(dtype, "block_device") == 0 && strcmp(flag, "1") == 0)
        return 1;
    return 0;
}

// ---- time texts ------------------------------------------------------------------

char* parse_uptime(int uptime)
{
    static char text[256];
    int days = uptime / 86400;
    int rest = uptime % 86400;
    snprintf(text, sizeof text, "%d days %02d:%02d:%02d", days, rest / 3600, rest % 3600 / 60,
             rest % 60);
    return text;
}
