#include "fuzz_util.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace fuzz {
namespace {

bool write_proc(const char* path, const std::string& text) {
    int fd = open(path, O_WRONLY);
    if (fd < 0) return false;
    bool ok = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    return ok;
}

bool unshare_tmp(std::string* why) {
    uid_t uid = getuid();
    gid_t gid = getgid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        *why = std::string("unshare: ") + strerror(errno);
        return false;
    }
    write_proc("/proc/self/setgroups", "deny");
    if (!write_proc("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1\n") ||
        !write_proc("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1\n")) {
        *why = "cannot map the user";
        return false;
    }
    // The type is ignored for a propagation change; valgrind wants it readable.
    if (mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/tmp", "tmpfs", 0, "mode=1777,size=256m") != 0) {
        *why = std::string("mount: ") + strerror(errno);
        return false;
    }
    return true;
}

std::string& scratch_dir() {
    static std::string dir;
    return dir;
}

}  // namespace

void enter_private_tmp() {
    if (!scratch_dir().empty()) return;
    std::string why;
    if (!unshare_tmp(&why))
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
