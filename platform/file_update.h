// Whole-file replacement and cross-process locks, shared by the store and by
// the collector's files that other runs and other programs read.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <string>

namespace file_update {

// Holds an exclusive flock on lock_path for its lifetime (created when
// missing), waiting for it at most max_wait_ms (for good when negative).
// held() is false when the lock could not be had.
class Lock {
public:
    explicit Lock(const std::string& lock_path, long max_wait_ms = -1);
    ~Lock();
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    bool held() const { return fd_ >= 0; }

private:
    int fd_ = -1;
};

bool write_all(int fd, const std::string& data);

// Writes text to a temporary file beside path and renames it over path, so a
// reader sees the old file or the new one, never a part, whatever happens to
// the writer; a failed write (a full file system) leaves the old file as it
// was. durable: fsync before the rename (for files on flash). *st: the new
// file once in place, when given.
bool replace(const std::string& path, const std::string& text, mode_t mode, bool durable = false,
             struct stat* st = nullptr);

// replace() keeping the mode of the file it replaces (0644 for a new one).
bool replace_keep_mode(const std::string& path, const std::string& text);

}  // namespace file_update
