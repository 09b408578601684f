// The collector writes fixed router paths under /tmp (scratch files, logs,
// /tmp/router-analytics). So that the unit tests never touch the /tmp of the
// machine that runs them, the test process gets a /tmp of its own: a fresh
// tmpfs in private user and mount namespaces, made before the first test.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

bool write_proc(const char* path, const std::string& text) {
    int fd = open(path, O_WRONLY);
    if (fd < 0) return false;
    bool ok = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    return ok;
}

bool enter_private_tmp(std::string* why) {
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
        mount("tmpfs", "/tmp", "tmpfs", 0, "mode=1777") != 0) {
        *why = std::string("mount: ") + strerror(errno);
        return false;
    }
    return true;
}

class PrivateTmp : public ::testing::Environment {
   public:
    void SetUp() override {
        std::string why;
        if (!enter_private_tmp(&why))
            fprintf(stderr, "note: no private /tmp (%s); tests share this machine's /tmp\n",
                    why.c_str());
    }
};

const auto* const kPrivateTmp = ::testing::AddGlobalTestEnvironment(new PrivateTmp);

}  // namespace
