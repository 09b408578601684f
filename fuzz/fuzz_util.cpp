#include "fuzz_util.h"

#include <sys/stat.h>

#include <cstring>

#include "../tests/private_tmp.h"
#include "unit.h"

namespace fuzz {
namespace {

std::string& scratch_dir() {
    static std::string dir;
    return dir;
}

}  // namespace

void enter_private_tmp() {
    if (!scratch_dir().empty()) return;
    std::string why;
    if (!::enter_private_tmp("mode=1777,size=256m", &why))
        fprintf(stderr, "note: no private /tmp (%s); the collector's /tmp files land in this "
                        "machine's /tmp\n", why.c_str());
    char tmpl[] = "/tmp/dc_fuzz.XXXXXX";
    if (!mkdtemp(tmpl)) {
        perror("mkdtemp");
        abort();
    }
    scratch_dir() = tmpl;
    setenv("CONFIG_STORE", scratch("config.store").c_str(), 1);
}

std::string scratch(const char* name) { return scratch_dir() + "/" + name; }

void put_file(const std::string& path, const std::string& text) {
    FILE* fp = fopen(path.c_str(), "wb");
    require(fp != nullptr, "cannot write a scratch file");
    if (!text.empty()) require(fwrite(text.data(), 1, text.size(), fp) == text.size(), "short write");
    fclose(fp);
}

MemFile::MemFile(const std::string& text) : text_(text) {
    fp_ = text_.empty() ? fopen("/dev/null", "r") : fmemopen(&text_[0], text_.size(), "r");
    require(fp_ != nullptr, "fmemopen");
}

MemFile::~MemFile() { fclose(fp_); }

std::string file_text(const std::string& path) {
    std::string text;
    read_whole_file(path.c_str(), text);
    return text;
}

void require(bool what, const char* why) {
    if (what) return;
    fprintf(stderr, "fuzz check failed: %s\n", why);
    abort();
}

void require_strict_text(const std::string& text, const char* where) {
    std::string why;
    if (json_text_is_strict(text.data(), text.size(), &why)) return;
    fprintf(stderr, "%s: not strict JSON (%s): %.300s\n", where, why.c_str(), text.c_str());
    abort();
}

void require_strict(json_object* tree, const char* where) {
    if (!tree) return;
    size_t len = 0;
    const char* s = json_object_to_json_string_length(tree, JSON_C_TO_STRING_PLAIN, &len);
    require(s != nullptr, "json-c cannot print the tree");
    require_strict_text(std::string(s, len), where);
}

void require_bounded(const char* s, size_t max, const char* where) {
    if (s && strnlen(s, max + 1) <= max) return;
    fprintf(stderr, "%s: %s\n", where, s ? "text over its bound" : "null text");
    abort();
}

}  // namespace fuzz

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::enter_private_tmp();
    return 0;
}
