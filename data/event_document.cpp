#include "event_document.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "Add_object.h"
#include "file_update.h"
#include "strict_json.h"
#include "unit.h"
#include "zol_json.h"

int de_features = 0;
int eventtype = 0;

unsigned long file_size(const char* path) {
    // Saturated far above the 128 KiB ceiling, so that the sum of two sizes
    // cannot wrap in a 32-bit unsigned long.
    const off_t kMax = off_t{1} << 30;
    struct stat st;
    if (stat(path, &st) != 0) return 0;
    return static_cast<unsigned long>(st.st_size < kMax ? st.st_size : kMax);
}

namespace {

const int kPretty = JSON_C_TO_STRING_PRETTY;

// Printed size of the document when its array keeps only elements [a, b).
// json-c prints an array element at a fixed depth: "[\n", then each element
// indented and separated by ",\n", then "\n" and the closing indent. So an
// element costs its own text, indented one level deeper than printed alone,
// plus its indent and separator. Element sizes are taken lazily, so trimming
// looks only at the elements near the part that is kept; the modelled size of
// the result is checked against a real print before the file is written.
class ArraySizer {
   public:
    ArraySizer(json_object* doc, json_object* parent, const char* name, json_object* arr)
        : doc_(doc), parent_(parent), name_(name), arr_(arr) {
        n_ = json_object_array_length(arr);
        units_.assign(n_, 0);
        empty_size_ = print(0, 0);
    }

    size_t length() const { return n_; }
    unsigned long empty_size() const { return empty_size_; }

    // Bytes that element i adds to the printed document.
    unsigned long unit(size_t i) {
        if (units_[i] == 0) {
            size_t len = 0;
            const char* text = json_object_to_json_string_length(
                json_object_array_get_idx(arr_, i), kPretty, &len);
            unsigned long lines = 0;
            for (size_t c = 0; c < len; ++c) lines += text[c] == '\n';
            const unsigned long indent = 2 * kElementDepth;
            units_[i] = indent + len + indent * lines + 2;
        }
        return units_[i];
    }

    unsigned long modelled(size_t a, size_t b) {
        if (a >= b) return empty_size_;
        unsigned long sum = empty_size_ - 1;
        for (size_t i = a; i < b; ++i) sum += unit(i);
        return sum;
    }

    // The document really printed with only [a, b) in the array.
    unsigned long print(size_t a, size_t b) {
        json_object* view = json_object_new_array_ext(static_cast<int>(b > a ? b - a : 0));
        for (size_t i = a; i < b; ++i)
            json_object_array_add(view, json_object_get(json_object_array_get_idx(arr_, i)));
        json_object_get(arr_);
        json_object_object_add(parent_, name_, view);
        size_t len = 0;
        json_object_to_json_string_length(doc_, kPretty, &len);
        json_object_object_add(parent_, name_, arr_);  // back in place, view released
        return len;
    }

    // Leaves only [a, b) in the document's array.
    void keep(size_t a, size_t b) {
        if (b < n_) json_object_array_del_idx(arr_, b, n_ - b);
        if (a > 0) json_object_array_del_idx(arr_, 0, a);
    }

   private:
    // The arrays trimmed here sit two levels down (document.object.array).
    static const unsigned long kElementDepth = 3;

    json_object* doc_;
    json_object* parent_;
    const char* name_;
    json_object* arr_;
    size_t n_ = 0;
    unsigned long empty_size_ = 0;
    std::vector<unsigned long> units_;
};

// The scratch document and its array, or nothing when either is missing: then
// there is nothing to trim and the file is left as it is.
struct Loaded {
    JsonPtr doc;
    json_object* parent = nullptr;
    json_object* arr = nullptr;
};

// The tree as the step-by-step rule rewrites it (dump_json_to_file makes it
// strict); false without the array. parent is set whenever the object exists.
bool load(const char* file, const char* object_name, const char* array_name, Loaded& out) {
    out.doc.reset(json_make_strict(json_object_from_file(file)));
    if (!out.doc || !json_object_object_get_ex(out.doc.get(), object_name, &out.parent))
        return false;
    json_object* arr = nullptr;
    if (!json_object_object_get_ex(out.parent, array_name, &arr) ||
        !json_object_is_type(arr, json_type_array))
        return false;
    out.arr = arr;
    return true;
}

// Smallest k >= 1 such that dropping the first k elements fits; n when even
// dropping all does not. size(k) only shrinks as k grows.
template <typename Size>
size_t first_fit(size_t n, unsigned long room, Size size) {
    size_t lo = 1, hi = n;
    while (lo < hi) {
        size_t mid = lo + (hi - lo) / 2;
        if (size(mid) <= room)
            hi = mid;
        else
            lo = mid + 1;
    }
    return lo;
}

// ---- text path ---------------------------------------------------------------
// The scratch files are written by json-c itself, so removing the first k
// elements of a list only cuts a run of bytes out of the file: no need to
// build the whole tree of a long list. A small structural scanner finds the
// element boundaries; the result is used only when json-c prints it back
// byte for byte (and so does the text with one element more, which proves the
// step before did not fit), otherwise the tree path below decides.

const int kMaxDepth = 32;  // json-c's own parser refuses deeper documents

size_t skip_ws(const std::string& t, size_t p) {
    while (p < t.size() && (t[p] == ' ' || t[p] == '\n' || t[p] == '\r' || t[p] == '\t')) ++p;
    return p;
}

// End of the string starting at the quote at p, or npos.
size_t skip_string(const std::string& t, size_t p) {
    for (++p; p < t.size(); ++p) {
        if (t[p] == '\\')
            ++p;
        else if (t[p] == '"')
            return p + 1;
    }
    return std::string::npos;
}

size_t skip_value(const std::string& t, size_t p, int depth);

// Calls visit(begin, end, key_begin, key_end) for each member or element of
// the container opening at p; returns the end of the container, or npos.
template <typename Visit>
size_t walk(const std::string& t, size_t p, int depth, Visit visit) {
    const bool object = t[p] == '{';
    const char close = object ? '}' : ']';
    if (depth > kMaxDepth) return std::string::npos;
    p = skip_ws(t, p + 1);
    if (p < t.size() && t[p] == close) return p + 1;
    while (p < t.size()) {
        size_t key = p, key_end = p;
        if (object) {
            if (t[p] != '"' || (key_end = skip_string(t, p)) == std::string::npos) break;
            p = skip_ws(t, key_end);
            if (p >= t.size() || t[p] != ':') break;
            p = skip_ws(t, p + 1);
        }
        size_t end = skip_value(t, p, depth + 1);
        if (end == std::string::npos) break;
        visit(p, end, key, key_end);
        p = skip_ws(t, end);
        if (p < t.size() && t[p] == close) return p + 1;
        if (p >= t.size() || t[p] != ',') break;
        p = skip_ws(t, p + 1);
    }
    return std::string::npos;
}

size_t skip_value(const std::string& t, size_t p, int depth) {
    if (p >= t.size()) return std::string::npos;
    if (t[p] == '{' || t[p] == '[') return walk(t, p, depth, [](size_t, size_t, size_t, size_t) {});
    if (t[p] == '"') return skip_string(t, p);
    size_t q = p;
    while (q < t.size() && !strchr(",]} \n\r\t", t[q])) ++q;
    return q > p ? q : std::string::npos;
}

// The member name's value inside the object opening at p, or npos.
size_t find_member(const std::string& t, size_t p, const char* name, int depth) {
    if (p >= t.size() || t[p] != '{') return std::string::npos;
    size_t found = std::string::npos;
    std::string quoted = std::string("\"") + name + "\"";
    size_t end = walk(t, p, depth, [&](size_t b, size_t, size_t k, size_t ke) {
        if (t.compare(k, ke - k, quoted) == 0) found = b;
    });
    return end == std::string::npos ? std::string::npos : found;
}

bool prints_back(const std::string& text) {
    json_tokener* tok = json_tokener_new();
    JsonPtr doc(json_tokener_parse_ex(tok, text.data(), static_cast<int>(text.size())));
    bool whole = json_tokener_get_error(tok) == json_tokener_success &&
                 json_tokener_get_parse_end(tok) == text.size();
    json_tokener_free(tok);
    if (!doc || !whole) return false;
    size_t len = 0;
    const char* printed = json_object_to_json_string_length(doc.get(), kPretty, &len);
    return len == text.size() && memcmp(printed, text.data(), len) == 0;
}

// Drops the oldest elements by cutting text; false when the tree path must decide.
bool trim_oldest_text(const char* file, const char* object_name, const char* array_name,
                      unsigned long room) {
    // Longer files than this are left to the tree path, which reads any size.
    const size_t kTextMax = 64u << 20;
    std::string t;
    if (!read_whole_file(file, t, kTextMax) || t.size() >= kTextMax) return false;
    // Cutting bytes keeps a file as it is; the rule rewrites it strict.
    if (!json_text_is_strict(t.data(), t.size())) return false;
    size_t root = skip_ws(t, 0);
    size_t obj = find_member(t, root, object_name, 1);
    size_t arr = find_member(t, obj, array_name, 2);
    if (arr == std::string::npos || t[arr] != '[') return false;
    std::vector<size_t> ends;  // end of each element
    if (walk(t, arr, 3, [&](size_t, size_t e, size_t, size_t) { ends.push_back(e); }) ==
        std::string::npos)
        return false;
    size_t n = ends.size();
    if (n < 2) return false;
    // Without its first k elements the file is "[" followed by what comes
    // after the comma that closes element k-1.
    auto size_without = [&](size_t k) { return (arr + 1) + (t.size() - (ends[k - 1] + 1)); };
    auto text_without = [&](size_t k) { return t.substr(0, arr + 1) + t.substr(ends[k - 1] + 1); };
    size_t k = first_fit(n - 1, room, size_without);
    if (size_without(k) > room) return false;  // even one element does not fit
    const std::string kept = text_without(k);
    if (!prints_back(kept) || (k > 1 && !prints_back(text_without(k - 1)))) return false;
    autoup_set(file, kept.c_str());
    return true;
}

bool ends_with(const std::string& t, const std::string& end) {
    return t.size() >= end.size() && t.compare(t.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

bool merge_member_text(const char* root_file, const char* side_file, const char* member) {
    std::string root, side;
    if (!read_whole_file(root_file, root) || !read_whole_file(side_file, side)) return false;
    static const std::string kEnd = "\n}";
    if (!ends_with(root, kEnd) || !ends_with(side, kEnd) ||
        !json_text_is_strict(root.data(), root.size()) ||
        !json_text_is_strict(side.data(), side.size()))
        return false;
    const std::string quoted = std::string("\"") + member + "\"";
    const size_t root_end = root.size() - kEnd.size(), side_end = side.size() - kEnd.size();
    // The side file: the member alone, its value closing the object.
    size_t value = std::string::npos, members = 0;
    size_t at = skip_ws(side, 0);
    if (side[at] != '{' || walk(side, at, 1, [&](size_t b, size_t e, size_t k, size_t ke) {
            ++members;
            if (e == side_end && side.compare(k, ke - k, quoted) == 0) value = b;
        }) == std::string::npos || members != 1 || value == std::string::npos)
        return false;
    // The root: keys plain and once each, the member not among them, the last
    // value closing the object.
    std::set<std::string> keys{quoted};
    bool plain = true;
    size_t last = std::string::npos;
    at = skip_ws(root, 0);
    if (root[at] != '{' || walk(root, at, 1, [&](size_t, size_t e, size_t k, size_t ke) {
            std::string key = root.substr(k, ke - k);
            plain = plain && key.find('\\') == std::string::npos && keys.insert(key).second;
            last = e;
        }) == std::string::npos || !plain || last != root_end)
        return false;
    root.insert(root_end, ",\n  " + quoted + ":" + side.substr(value, side_end - value));
    autoup_set(root_file, root.c_str());
    return true;
}

void trim_oldest(const char* file, const char* object_name, const char* array_name,
                 unsigned long root_size, unsigned long ceiling) {
    if (root_size + file_size(file) <= ceiling) return;
    unsigned long room = root_size < ceiling ? ceiling - root_size : 0;
    if (trim_oldest_text(file, object_name, array_name, room)) return;
    Loaded l;
    if (!load(file, object_name, array_name, l)) return;
    ArraySizer sizer(l.doc.get(), l.parent, array_name, l.arr);
    size_t n = sizer.length();
    if (n == 0) return;
    // Walk back from the newest element while the kept tail still fits.
    size_t k = n;
    if (sizer.empty_size() <= room) {
        unsigned long size = sizer.empty_size() - 1;
        for (size_t i = n - 1; i >= 1 && size + sizer.unit(i) <= room; --i) {
            size += sizer.unit(i);
            k = i;
        }
    }
    if (sizer.modelled(k, n) != sizer.print(k, n))
        k = first_fit(n, room, [&](size_t m) { return sizer.print(m, n); });
    sizer.keep(k, n);
    json_object_to_file_ext(file, l.doc.get(), kPretty);
}

// One run of the average rule over sizes given by size(kept).
template <typename Size>
static
size_t average_steps(unsigned long side, unsigned long root_size, unsigned long ceiling,
                     unsigned long n, size_t len, Size size) {
    size_t kept = len;
    // n falls by at least one each step, so the loop is bounded by the count.
    while (root_size + side > ceiling && n > 0 && side / n > 0) {
        unsigned long per_device = side / n;
        unsigned long excess = root_size + side - ceiling;
        unsigned long drop = excess / per_device + (excess % per_device ? 1 : 0);
        n = drop >= n ? 0 : n - drop;
        if (n < kept) kept = n;
        side = size(kept);
    }
    return kept;
}

void trim_by_average(const char* file, const char* object_name, const char* array_name,
                     unsigned long root_size, int count, unsigned long ceiling) {
    unsigned long side = file_size(file);
    if (root_size + side <= ceiling || count <= 0) return;
    Loaded l;
    unsigned long n = static_cast<unsigned long>(count);
    if (!load(file, object_name, array_name, l)) {
        // Without the array the rule still rewrites the file once.
        if (l.parent && side / n > 0) dump_json_to_file(l.doc.get(), file);
        return;
    }
    ArraySizer sizer(l.doc.get(), l.parent, array_name, l.arr);
    size_t len = sizer.length();
    if (side / n == 0) return;
    size_t kept = average_steps(side, root_size, ceiling, n, len,
                                [&](size_t m) { return sizer.modelled(0, m); });
    if (sizer.modelled(0, kept) != sizer.print(0, kept))
        kept = average_steps(side, root_size, ceiling, n, len,
                             [&](size_t m) { return sizer.print(0, m); });
    sizer.keep(0, kept);
    json_object_to_file_ext(file, l.doc.get(), kPretty);
}

// ---- event document files ---------------------------------------------------

// The last guard of every document: trees read back from files (merges,
// other producers' documents) may hold text or numbers a strict parser
// rejects; what the writers built is already clean and passes unchanged.
void dump_json_to_file(json_object* root, const char* file) {
    json_object* strict = json_make_strict(json_object_get(root));
    const char* text = json_object_to_json_string_ext(strict, JSON_C_TO_STRING_PRETTY);
    if (text && file) file_update::replace_keep_mode(file, text);
    json_object_put(strict);
}

void delete_array_from_file(const char* file, const char* object_name, const char* data_name,
                            int num) {
    JsonPtr doc(json_object_from_file(file));
    json_object* obj = nullptr;
    if (!doc || !json_object_object_get_ex(doc.get(), object_name, &obj)) return;
    json_object* arr = local_json_object_object_get(obj, data_name);
    if (json_object_is_type(arr, json_type_array) && num >= 0) {
        size_t len = json_object_array_length(arr);
        size_t keep = static_cast<size_t>(num);
        if (keep < len) json_object_array_del_idx(arr, keep, len - keep);
    }
    dump_json_to_file(doc.get(), file);
}

void delete_array_idx_from_file(const char* file, const char* object_name,
                                const char* data_name, int idx) {
    JsonPtr doc(json_object_from_file(file));
    json_object* obj = nullptr;
    if (!doc || !json_object_object_get_ex(doc.get(), object_name, &obj)) return;
    json_object* arr = local_json_object_object_get(obj, data_name);
    if (json_object_is_type(arr, json_type_array) && idx >= 0)
        json_object_array_del_idx(arr, static_cast<size_t>(idx), 1);
    dump_json_to_file(doc.get(), file);
}

int get_second_object_int_from_file(const char* file, const char* object_name,
                                    const char* data_name) {
    JsonPtr doc(json_object_from_file(file));
    json_object* obj = nullptr;
    if (!doc || !json_object_object_get_ex(doc.get(), object_name, &obj)) return 0;
    return json_object_get_int(local_json_object_object_get(obj, data_name));
}

namespace {

const char kTooLarge[] = "JSON FILE SIZE IS TOO LARGE, MAX JSON SIZE is 128k";

void report_overflow(const char* func, int line, const char* member) {
    DC_TRACE(func, line, "%s", kTooLarge);
    printf("%s\n", kTooLarge);
    RA_logger("%s (%s)", kTooLarge, member);
}

// Last step of every merge: the secondary file's member joins the main
// document (null when the secondary file or the member is missing).
void merge_member(const char* root_file, const char* side_file, const char* member) {
    if (merge_member_text(root_file, side_file, member)) return;
    JsonPtr root(json_object_from_file(root_file));
    if (!root || !json_object_is_type(root.get(), json_type_object)) return;
    JsonPtr side(json_object_from_file(side_file));
    json_object* value = nullptr;
    if (side && json_object_object_get_ex(side.get(), member, &value)) json_object_get(value);
    json_object_object_add(root.get(), member, value);
    dump_json_to_file(root.get(), root_file);
}

}  // namespace

void combine_json(const char* root_file, const char* conndev_file) {
    unsigned long root_size = file_size(root_file);
    unsigned long side_size = file_size(conndev_file);
    int n = get_second_object_int_from_file(conndev_file, "connectedDeviceDetails",
                                            "numberOfDevices");
    if (root_size + side_size > kMaxJsonSize) {
        report_overflow("combine_json", 133, "connectedDeviceDetails");
        trim_by_average(conndev_file, "connectedDeviceDetails", "connDevices", root_size, n,
                        kMaxJsonSize);
    }
    merge_member(root_file, conndev_file, "connectedDeviceDetails");
}

namespace {

// A list merged oldest first: over the ceiling, its oldest elements go first.
// The trimming goes by size alone, so the side file is not parsed for its count.
void combine_oldest_first(const char* root_file, const char* side_file, const char* member,
                          const char* array, const char* func, int line) {
    unsigned long root_size = file_size(root_file);
    if (root_size + file_size(side_file) > kMaxJsonSize) {
        report_overflow(func, line, member);
        trim_oldest(side_file, member, array, root_size, kMaxJsonSize);
    }
    merge_member(root_file, side_file, member);
}

}  // namespace

void combine_connectevent_json(const char* root_file, const char* connevent_file) {
    combine_oldest_first(root_file, connevent_file, "wifiConnectEvent", "event",
                         "combine_connectevent_json", 166);
}

void combine_scanresult_json(const char* root_file, const char* scan_file, int count) {
    (void)count;  // the caller's array count is not used: trimming goes by size
    combine_oldest_first(root_file, scan_file, "wifiScanResult", "wifiScanResult",
                         "combine_scanresult_json", 201);
}
