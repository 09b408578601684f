// A validating scanner, not a parser: it builds nothing, so checking a
// document costs one pass over its bytes.
#include "strict_json.h"

#include <cstring>

namespace {

// Length of the valid UTF-8 sequence at s (RFC 3629: no overlong forms, no
// surrogates, nothing above U+10FFFF), or 0 when s[0] starts none.
std::size_t utf8_sequence(const unsigned char* s, std::size_t len)
{
    unsigned char c = s[0];
    if (c < 0x80)
        return 1;
    std::size_t n;
    unsigned char lo = 0x80, hi = 0xBF;  // bounds of the second byte
    if (c >= 0xC2 && c <= 0xDF) {
        n = 2;
    } else if (c >= 0xE0 && c <= 0xEF) {
        n = 3;
        if (c == 0xE0) lo = 0xA0;
        if (c == 0xED) hi = 0x9F;
    } else if (c >= 0xF0 && c <= 0xF4) {
        n = 4;
        if (c == 0xF0) lo = 0x90;
        if (c == 0xF4) hi = 0x8F;
    } else {
        return 0;
    }
    if (len < n || s[1] < lo || s[1] > hi)
        return 0;
    for (std::size_t i = 2; i < n; ++i) {
        if ((s[i] & 0xC0) != 0x80)
            return 0;
    }
    return n;
}

}  // namespace

std::size_t utf8_valid_prefix(const char* s, std::size_t len)
{
    const unsigned char* u = reinterpret_cast<const unsigned char*>(s);
    std::size_t i = 0;
    while (i < len) {
        if (u[i] < 0x80) {  // the common case: plain ASCII
            ++i;
            continue;
        }
        std::size_t n = utf8_sequence(u + i, len - i);
        if (n == 0)
            break;
        i += n;
    }
    return i;
}

namespace {

// Deeper nesting than any document of ours; bounds the recursion on hostile input.
const int kMaxDepth = 512;

struct Scanner {
    const unsigned char* begin;
    const unsigned char* p;
    const unsigned char* end;
    std::string error;

    bool fail(const char* what)
    {
        if (error.empty())
            error = std::string(what) + " at byte " + std::to_string(p - begin);
        return false;
    }
    void skip_space()
    {
        while (p < end && (*p == ' ' || *p == '\t' || *p == '\n' || *p == '\r'))
            ++p;
    }
    bool literal(const char* word)
    {
        std::size_t n = strlen(word);
        if (static_cast<std::size_t>(end - p) < n || memcmp(p, word, n) != 0)
            return fail("unexpected token");
        p += n;
        return true;
    }
    bool digits()
    {
        const unsigned char* start = p;
        while (p < end && *p >= '0' && *p <= '9')
            ++p;
        return p > start || fail("digit expected");
    }
    bool number()
    {
        if (p < end && *p == '-')
            ++p;
        if (p < end && *p == '0')
            ++p;
        else if (!digits())
            return false;
        if (p < end && *p == '.') {
            ++p;
            if (!digits())
                return false;
        }
        if (p < end && (*p == 'e' || *p == 'E')) {
            ++p;
            if (p < end && (*p == '+' || *p == '-'))
                ++p;
            if (!digits())
                return false;
        }
        return true;
    }
    // Four hex digits after "\u"; -1 when malformed.
    long hex4()
    {
        if (end - p < 4)
            return -1;
        long v = 0;
        for (int i = 0; i < 4; ++i, ++p) {
            int c = *p;
            int d = c >= '0' && c <= '9' ? c - '0'
                  : c >= 'a' && c <= 'f' ? c - 'a' + 10
                  : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
            if (d < 0)
                return -1;
            v = v * 16 + d;
        }
        return v;
    }
    bool escape()
    {
        if (p >= end)
            return fail("unterminated string");
        unsigned char c = *p++;
        if (strchr("\"\\/bfnrt", c) && c)
            return true;
        if (c != 'u')
            return fail("invalid escape");
        long u = hex4();
        if (u < 0)
            return fail("invalid \\u escape");
        if (u >= 0xDC00 && u <= 0xDFFF)
            return fail("unpaired surrogate");
        if (u >= 0xD800 && u <= 0xDBFF) {
            if (end - p < 2 || p[0] != '\\' || p[1] != 'u')
                return fail("unpaired surrogate");
            p += 2;
            long low = hex4();
            if (low < 0xDC00 || low > 0xDFFF)
                return fail("unpaired surrogate");
        }
        return true;
    }
    bool string()
    {
        ++p;  // the opening quote
        while (p < end) {
            unsigned char c = *p;
            if (c == '"') {
                ++p;
                return true;
            }
            if (c < 0x20)
                return fail("control character in string");
            if (c == '\\') {
                ++p;
                if (!escape())
                    return false;
            } else if (c < 0x80) {
                ++p;
            } else {
                // One character: its lead byte and the continuation bytes after it.
                std::size_t one = 1;
                while (one < 4 && p + one < end && (p[one] & 0xC0) == 0x80)
                    ++one;
                if (utf8_valid_prefix(reinterpret_cast<const char*>(p), one) != one)
                    return fail("invalid UTF-8");
                p += one;
            }
        }
        return fail("unterminated string");
    }
    bool members(int depth)
    {
        ++p;
        skip_space();
        if (p < end && *p == '}') {
            ++p;
            return true;
        }
        for (;;) {
            skip_space();
            if (p >= end || *p != '"')
                return fail("member name expected");
            if (!string())
                return false;
            skip_space();
            if (p >= end || *p != ':')
                return fail("':' expected");
            ++p;
            if (!value(depth + 1))
                return false;
            skip_space();
            if (p < end && *p == ',') {
                ++p;
                continue;
            }
            if (p < end && *p == '}') {
                ++p;
                return true;
            }
            return fail("',' or '}' expected");
        }
    }
    bool elements(int depth)
    {
        ++p;
        skip_space();
        if (p < end && *p == ']') {
            ++p;
            return true;
        }
        for (;;) {
            if (!value(depth + 1))
                return false;
            skip_space();
            if (p < end && *p == ',') {
                ++p;
                continue;
            }
            if (p < end && *p == ']') {
                ++p;
                return true;
            }
            return fail("',' or ']' expected");
        }
    }
    bool value(int depth)
    {
        if (depth > kMaxDepth)
            return fail("nested too deeply");
        skip_space();
        if (p >= end)
            return fail("value expected");
        switch (*p) {
        case '{': return members(depth);
        case '[': return elements(depth);
        case '"': return string();
        case 't': return literal("true");
        case 'f': return literal("false");
        case 'n': return literal("null");
        default:
            if (*p == '-' || (*p >= '0' && *p <= '9'))
                return number();
            return fail("unexpected token");
        }
    }
};

}  // namespace

bool json_text_is_strict(const char* text, std::size_t len, std::string* why)
{
    const unsigned char* t = reinterpret_cast<const unsigned char*>(text ? text : "");
    Scanner s{t, t, t + (text ? len : 0), {}};
    bool ok = s.value(0);
    if (ok) {
        s.skip_space();
        if (s.p != s.end)
            ok = s.fail("text after the document");
    }
    if (!ok && why)
        *why = s.error;
    return ok;
}
