// The trimming of the 128 KiB merge against the one-step-at-a-time rule:
// byte for byte the same file, on lists the collector writes and on any text
// found in the scratch file.
#include <cstring>

#include "../bench/merge_reference.h"
#include "Add_object.h"
#include "fuzz_util.h"
#include "event_document.h"
#include "unit.h"
#include "zol_json.h"

using fuzz::require;

namespace {

// {"list": {"numberOfDevices": n, "list": [...]}} with elements whose sizes
// come from the input; the reference is quadratic, so lists stay short.
std::string list_document(fuzz::Input& in) {
    int n = in.byte() % 48;
    int flags = in.flag() ? JSON_C_TO_STRING_PRETTY : JSON_C_TO_STRING_PLAIN;
    JsonPtr doc(json_object_new_object());
    json_object* inner = json_object_new_object();
    Add_object_int(inner, "numberOfDevices", n);
    json_object* arr = json_object_new_array();
    for (int i = 0; i < n; ++i) {
        uint8_t b = in.byte();
        json_object* e = json_object_new_object();
        Add_object_string(e, "name", std::string(b % 97, static_cast<char>('a' + i % 26)).c_str());
        if (b & 0x80) Add_object_double(e, "rate", b * 0.75);
        json_object_array_add(arr, e);
    }
    json_object_object_add(inner, "list", arr);
    json_object_object_add(doc.get(), "list", inner);
    return json_object_to_json_string_ext(doc.get(), flags);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input in(data, size);
    bool by_average = in.flag();
    bool raw = in.flag();
    unsigned long root = in.u32() % 4096;
    unsigned long ceiling = in.u32() % 8192;
    int count = static_cast<int>(in.byte()) - 8;
    std::string text = raw ? in.rest().substr(0, 1024) : list_document(in);

    std::string fast = fuzz::scratch("trim_fast"), ref = fuzz::scratch("trim_ref");
    fuzz::put_file(fast, text);
    fuzz::put_file(ref, text);
    if (by_average) {
        trim_by_average(fast.c_str(), "list", "list", root, count, ceiling);
        reference::trim_by_average(ref.c_str(), "list", "list", root, count, ceiling);
    } else {
        trim_oldest(fast.c_str(), "list", "list", root, ceiling);
        reference::trim_oldest(ref.c_str(), "list", "list", root, ceiling);
    }
    require(fuzz::file_text(fast) == fuzz::file_text(ref), "trimming differs from the step-by-step rule");
    return 0;
}
