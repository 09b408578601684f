// A /tmp of the process's own: private user and mount namespaces with a
// fresh tmpfs on /tmp, so the router paths the collector writes never reach
// the machine's /tmp. Shared by the unit tests and the fuzz targets; call it
// before any thread starts.
#pragma once

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

namespace private_tmp_detail {

inline bool write_proc(const char* path, const std::string& text) {
    int fd = open(path, O_WRONLY);
    if (fd < 0) return false;
    bool ok = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    return ok;
}

// "/tmp/<entry>" of each path under /tmp: the checkout and build trees the
// test needs (its working directory, its own binary, DC_BUILD_DIR, `keep`),
// which the fresh tmpfs would otherwise hide when they live under /tmp.
inline std::set<std::string> tmp_entries(const char* keep) {
    std::set<std::string> entries;
    char buf[PATH_MAX];
    std::string paths[4];
    if (getcwd(buf, sizeof buf)) paths[0] = buf;
    ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
    if (n > 0) paths[1] = std::string(buf, static_cast<size_t>(n));
    if (const char* build = getenv("DC_BUILD_DIR")) paths[2] = build;
    if (keep) paths[3] = keep;
    for (const std::string& path : paths) {
        if (path.compare(0, 5, "/tmp/") != 0) continue;
        std::string entry = path.substr(5, path.find('/', 5) - 5);
        if (!entry.empty() && entry != "." && entry != "..") entries.insert(entry);
    }
    return entries;
}

// Binds each entry of the old /tmp (open as old_tmp) into the new one.
inline bool bind_entries(int old_tmp, const std::set<std::string>& entries, std::string* why) {
    for (const std::string& entry : entries) {
        std::string from = "/proc/self/fd/" + std::to_string(old_tmp) + "/" + entry;
        std::string to = "/tmp/" + entry;
        if (mkdir(to.c_str(), 0755) != 0 ||
            mount(from.c_str(), to.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) {
            *why = "bind " + to + ": " + strerror(errno);
            return false;
        }
    }
    return true;
}

}  // namespace private_tmp_detail

// tmpfs_options: the mount options of the new /tmp; keep: one more path the
// process reads (its source tree), or null. On failure *why says what.
inline bool enter_private_tmp(const char* tmpfs_options, std::string* why,
                              const char* keep = nullptr) {
    using namespace private_tmp_detail;
    std::set<std::string> entries = tmp_entries(keep);
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
    // Still reachable through /proc/self/fd once the tmpfs covers it.
    int old_tmp = open("/tmp", O_PATH | O_DIRECTORY | O_CLOEXEC);
    bool ok = true;
    // The type is ignored for a propagation change; valgrind wants it readable.
    if (mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/tmp", "tmpfs", 0, tmpfs_options) != 0) {
        *why = std::string("mount: ") + strerror(errno);
        ok = false;
    }
    ok = ok && bind_entries(old_tmp, entries, why);
    if (old_tmp >= 0) close(old_tmp);
    return ok;
}
