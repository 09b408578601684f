#include "file_update.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace file_update {

Lock::Lock(const std::string& lock_path, long max_wait_ms) {
    int fd = open(lock_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0) return;
    const int how = max_wait_ms < 0 ? LOCK_EX : LOCK_EX | LOCK_NB;
    for (long waited = 0, slice = 1;; waited += slice, slice = std::min(slice * 2, 50L)) {
        if (flock(fd, how) == 0) {
            fd_ = fd;
            return;
        }
        if ((errno != EWOULDBLOCK && errno != EINTR) || (max_wait_ms >= 0 && waited >= max_wait_ms))
            break;
        if (errno == EWOULDBLOCK) poll(nullptr, 0, static_cast<int>(slice));
    }
    close(fd);
}

Lock::~Lock() {
    if (fd_ >= 0) close(fd_);  // closing releases the lock
}

bool write_all(int fd, const std::string& data) {
    size_t off = 0;
    while (off < data.size()) {
        ssize_t n = write(fd, data.data() + off, data.size() - off);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        off += static_cast<size_t>(n);
    }
    return true;
}

bool replace(const std::string& path, const std::string& text, mode_t mode, bool durable,
             struct stat* st) {
    std::string tmpl = path + ".tmpXXXXXX";
    std::vector<char> tmp(tmpl.begin(), tmpl.end());
    tmp.push_back('\0');
    int fd = mkostemp(tmp.data(), O_CLOEXEC);
    if (fd < 0) return false;
    bool ok = fchmod(fd, mode) == 0 && write_all(fd, text) && (!durable || fsync(fd) == 0);
    if (ok && rename(tmp.data(), path.c_str()) == 0) {
        if (st && fstat(fd, st) != 0) *st = {};
        return close(fd) == 0;
    }
    close(fd);
    unlink(tmp.data());
    return false;
}

bool replace_keep_mode(const std::string& path, const std::string& text) {
    struct stat st;
    mode_t mode = stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0644;
    return replace(path, text, mode);
}

}  // namespace file_update
