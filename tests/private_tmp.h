// A /tmp of the process's own: private user and mount namespaces with a
// fresh tmpfs on /tmp, so the router paths the collector writes never reach
// the machine's /tmp. Shared by the unit tests and the fuzz targets; call it
// before any thread starts.
#pragma once

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace private_tmp_detail {

inline bool write_proc(const char* path, const std::string& text) {
    int fd = open(path, O_WRONLY);
    if (fd < 0) return false;
    bool ok = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    return ok;
}

}  // namespace private_tmp_detail

// tmpfs_options: the mount options of the new /tmp. On failure *why says what.
inline bool enter_private_tmp(const char* tmpfs_options, std::string* why) {
    using private_tmp_detail::write_proc;
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
        mount("tmpfs", "/tmp", "tmpfs", 0, tmpfs_options) != 0) {
        *why = std::string("mount: ") + strerror(errno);
        return false;
    }
    return true;
}
