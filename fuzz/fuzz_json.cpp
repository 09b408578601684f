// JSON from outside: producers' documents given to "cloud" (with and
// without their header), the JSON readers of files other components leave in
// /tmp, UTF-8 repair and the strict scanner itself.
#include <unistd.h>

#include <cstring>

#include "Add_object.h"
#include "collect_cloudinfo.h"
#include "event_document.h"
#include "fuzz_util.h"
#include "strict_json.h"
#include "unit.h"
#include "zol_json.h"

using fuzz::require;
using fuzz::require_bounded;
using fuzz::require_strict;
using fuzz::require_strict_text;

namespace {

// What "cloud IN OUT" writes: a header added, or a headed document made strict.
void cloud_input(fuzz::Input& in) {
    std::string infile = fuzz::scratch("cloud_in"), outfile = fuzz::scratch("cloud_out");
    fuzz::put_file(infile, in.rest());
    unlink(outfile.c_str());
    if (check_header_of_inputfile(infile.c_str()) == 1) {
        JsonPtr doc(json_object_from_file(infile.c_str()));
        dump_json_to_file(doc.get(), outfile.c_str());
    } else {
        collect_cloudinfo(infile.c_str(), outfile.c_str());
    }
    std::string out = fuzz::file_text(outfile);
    if (!out.empty()) require_strict_text(out, "cloud output");
}

void file_readers(fuzz::Input& in) {
    std::string name = in.text(64), second = in.text(64);
    std::string path = fuzz::scratch("reader.json");
    fuzz::put_file(path, in.rest());
    const char* f = path.c_str();
    require(get_string_from_file(f, name.c_str()) != nullptr, "get_string_from_file");
    require(get_second_object_string_from_file(f, name.c_str(), second.c_str()) != nullptr,
            "get_second_object_string_from_file");
    get_int_from_file(f, name.c_str());
    get_boolean_from_file(f, name.c_str());
    get_int64_from_file(f, name.c_str());
    get_double_from_file(f, name.c_str());
    get_second_object_int_from_file(f, name.c_str(), second.c_str());
    match_mac_to_get_string_from_file(name.c_str(), f, second.c_str(), "");
    JsonPtr doc(json_object_from_file(f));
    if (doc) {
        require(zol_get_json_object_to_string(doc.get(), name.c_str()) != nullptr, "zol_get_json_object_to_string");
        get_object_int(doc.get(), name.c_str());
    }
}

void repair(fuzz::Input& in) {
    std::string text = in.rest();
    std::string fixed = utf8_repair(text.data(), text.size());
    require(utf8_valid_prefix(fixed.data(), fixed.size()) == fixed.size(), "repair left invalid UTF-8");
    if (utf8_valid_prefix(text.data(), text.size()) == text.size())
        require(fixed == text, "repair changed valid UTF-8");
    JsonPtr s(zol_json_object_new_string_len(text.data(), text.size()));
    require_strict(s.get(), "zol_json_object_new_string_len");
    JsonPtr obj(json_object_new_object());
    Add_object_string(obj.get(), "ssid", text.c_str());
    require_strict(obj.get(), "Add_object_string");
}

// Any tree json-c parses becomes strict; the scanner never reads past its text.
void make_strict(fuzz::Input& in) {
    std::string text = in.rest();
    if (json_text_is_strict(text.data(), text.size())) {
        // What the scanner passes, a JSON parser takes (json-c only stops at depth).
        json_tokener* tok = json_tokener_new_ex(512);
        JsonPtr parsed(json_tokener_parse_ex(tok, text.c_str(), -1));
        json_tokener_error err = json_tokener_get_error(tok);
        json_tokener_free(tok);
        // A parsed JSON null is a null pointer with success.
        require(parsed != nullptr || err == json_tokener_success || err == json_tokener_error_depth,
                "the strict scanner passed a text json-c rejects");
    }
    JsonPtr tree(json_tokener_parse(text.c_str()));
    if (!tree) return;
    JsonPtr fixed(json_make_strict(tree.release()));
    require_strict(fixed.get(), "json_make_strict");
}

// The merge of a side file's member into a document: the same tree as a
// tree merge, strict, and when both files are as json-c prints them (the
// collector's own), the same bytes.
void merge(fuzz::Input& in) {
    bool printed = in.flag();
    std::string root_text = in.text(), side_text = in.rest();
    if (printed) {
        JsonPtr r(json_tokener_parse(root_text.c_str())), s(json_tokener_parse(side_text.c_str()));
        if (!r || !s) return;
        root_text = json_object_to_json_string_ext(r.get(), JSON_C_TO_STRING_PRETTY);
        side_text = json_object_to_json_string_ext(s.get(), JSON_C_TO_STRING_PRETTY);
    }
    std::string root = fuzz::scratch("root"), side = fuzz::scratch("side");
    fuzz::put_file(root, root_text);
    fuzz::put_file(side, side_text);
    JsonPtr want(json_object_from_file(root.c_str()));
    if (!want || !json_object_is_type(want.get(), json_type_object) || side_text.size() > 0x10000) return;
    JsonPtr from(json_object_from_file(side.c_str()));
    json_object* value = nullptr;
    if (from && json_object_object_get_ex(from.get(), "wifiConnectEvent", &value)) json_object_get(value);
    json_object_object_add(want.get(), "wifiConnectEvent", value);
    want.reset(json_make_strict(want.release()));
    combine_connectevent_json(root.c_str(), side.c_str());
    std::string got = fuzz::file_text(root);
    require_strict_text(got, "merged file");
    // The tree merge writes the tree's print; compared as read back, since a
    // number made strict may read back as another json-c type (2E as 2).
    std::string printed_want = json_object_to_json_string_ext(want.get(), JSON_C_TO_STRING_PRETTY);
    JsonPtr merged(json_tokener_parse(got.c_str())), expected(json_tokener_parse(printed_want.c_str()));
    require(json_object_equal(merged.get(), expected.get()), "merge differs from the tree merge");
    if (printed) require(got == printed_want, "merge of printed files differs in bytes from the tree merge");
}

const fuzz::Case kCases[] = {cloud_input, file_readers, repair, make_strict, merge};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz::run_case(kCases, data, size);
}
