// Built-in configuration store: a text file of name=value lines at
// $CONFIG_STORE (default /tmp/config.store). See config_store.h for the
// file format, the escaping and the lifetime of returned text.
#include "config_store.h"
#include "file_update.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* kDefaultStore = "/tmp/config.store";
constexpr size_t kMaxName = 1024;
constexpr size_t kMaxValue = 64 * 1024;
constexpr size_t kMaxFile = 8 * 1024 * 1024;

// Identity of one version of the store file; a writer always renames a new
// inode into place, so any change shows in at least one of these.
struct FileStamp {
    bool present = false;
    dev_t dev = 0;
    ino_t ino = 0;
    off_t size = 0;
    long mtime_s = 0, mtime_ns = 0, ctime_s = 0, ctime_ns = 0;

    bool operator==(const FileStamp& o) const {
        return present == o.present && dev == o.dev && ino == o.ino && size == o.size &&
               mtime_s == o.mtime_s && mtime_ns == o.mtime_ns && ctime_s == o.ctime_s &&
               ctime_ns == o.ctime_ns;
    }
};

FileStamp stamp_of(const struct stat& st) {
    FileStamp s;
    s.present = true;
    s.dev = st.st_dev;
    s.ino = st.st_ino;
    s.size = st.st_size;
    s.mtime_s = st.st_mtim.tv_sec;
    s.mtime_ns = st.st_mtim.tv_nsec;
    s.ctime_s = st.st_ctim.tv_sec;
    s.ctime_ns = st.st_ctim.tv_nsec;
    return s;
}

struct Cache {
    bool valid = false;
    std::string path;
    FileStamp stamp;
    std::unordered_map<std::string, std::string> values;
    // Every text handed out by config_get; node-based, so the addresses
    // never move.
    std::unordered_set<std::string> pool;
    std::mutex mu;
};

// Never destroyed, so text handed out stays valid even in exit handlers.
Cache& cache() {
    static Cache* c = new Cache;
    return *c;
}

char g_empty[1] = {0};

std::string store_path() {
    const char* p = getenv("CONFIG_STORE");
    return (p && *p) ? p : kDefaultStore;
}

std::string_view line_name(std::string_view line, bool* has_eq) {
    size_t eq = line.find('=');
    *has_eq = eq != std::string_view::npos;
    return *has_eq ? line.substr(0, eq) : std::string_view();
}

std::string encode_value(std::string_view v) {
    if (v.find_first_of("\\\n\r") == std::string_view::npos) return std::string(v);
    std::string out;
    out.reserve(v.size());
    for (char c : v) {
        switch (c) {
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        default: out += c;
        }
    }
    return out;
}

// Unknown escapes and a trailing lone backslash are kept literally, so a
// hand-written value such as "C:\dir" reads back as written.
std::string decode_value(std::string_view v) {
    if (v.find('\\') == std::string_view::npos) return std::string(v);
    std::string out;
    out.reserve(v.size());
    for (size_t i = 0; i < v.size(); ++i) {
        char c = v[i];
        if (c == '\\' && i + 1 < v.size()) {
            char n = v[i + 1];
            if (n == 'n' || n == 'r' || n == '\\') {
                out += n == 'n' ? '\n' : n == 'r' ? '\r' : '\\';
                ++i;
                continue;
            }
        }
        out += c;
    }
    return out;
}

// Splits text into lines (without their '\n'); a last line without '\n'
// counts too. Bounded by the text, which the readers cap at kMaxFile.
std::vector<std::string_view> split_lines(std::string_view text) {
    std::vector<std::string_view> lines;
    size_t pos = 0;
    while (pos < text.size()) {
        size_t nl = text.find('\n', pos);
        if (nl == std::string_view::npos) nl = text.size();
        lines.push_back(text.substr(pos, nl - pos));
        pos = nl + 1;
    }
    return lines;
}

// Reads at most kMaxFile bytes; *truncated tells whether more was there.
bool read_fd(int fd, std::string* out, bool* truncated) {
    out->clear();
    *truncated = false;
    char buf[65536];
    for (;;) {
        ssize_t n = read(fd, buf, sizeof buf);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return false;
        if (n == 0) return true;
        size_t room = kMaxFile - out->size();
        if (static_cast<size_t>(n) > room) {
            out->append(buf, room);
            *truncated = true;
            return true;
        }
        out->append(buf, static_cast<size_t>(n));
    }
}

void parse_store(std::string_view text, std::unordered_map<std::string, std::string>* values) {
    values->clear();
    for (std::string_view line : split_lines(text)) {
        bool has_eq = false;
        std::string_view name = line_name(line, &has_eq);
        if (!has_eq || name.empty() || name.size() > kMaxName) continue;
        std::string_view raw = line.substr(name.size() + 1);
        if (raw.size() > 2 * kMaxValue || line.find('\0') != std::string_view::npos) continue;
        std::string value = decode_value(raw);
        if (value.size() > kMaxValue) continue;
        // Later lines win, as when store fragments are concatenated.
        (*values)[std::string(name)] = std::move(value);
    }
}

// Brings the cache up to date with the file; caller holds cache().mu.
void refresh(Cache& c) {
    std::string path = store_path();
    struct stat st;
    FileStamp now;
    if (stat(path.c_str(), &st) == 0) now = stamp_of(st);
    if (c.valid && c.path == path && c.stamp == now) return;

    c.values.clear();
    c.path = path;
    c.stamp = FileStamp();
    c.valid = true;
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return;
    // Stamp the inode actually read, so a rename racing with the stat above
    // only causes one more re-read later.
    std::string text;
    bool truncated = false;
    if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && read_fd(fd, &text, &truncated)) {
        if (truncated) {
            size_t last_nl = text.rfind('\n');
            text.resize(last_nl == std::string::npos ? 0 : last_nl + 1);
        }
        parse_store(text, &c.values);
        c.stamp = stamp_of(st);
    }
    close(fd);
}

bool valid_name(const char* name) {
    if (!name || !*name) return false;
    size_t len = strnlen(name, kMaxName + 1);
    return len <= kMaxName && strpbrk(name, "=\n\r") == nullptr;
}

// Reads the current file under the lock. Absent is an empty store; a file
// over the size cap is refused rather than cut short by the rewrite.
// *stamp: the file read (not present when there is none).
bool load_for_update(const std::string& path, std::string* text, mode_t* mode, FileStamp* stamp) {
    *mode = 0644;
    *stamp = FileStamp();
    text->clear();
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return errno == ENOENT;
    struct stat st;
    bool truncated = false;
    bool ok = fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && read_fd(fd, text, &truncated) &&
              !truncated;
    if (ok) {
        *mode = st.st_mode & 07777;
        *stamp = stamp_of(st);
    }
    close(fd);
    return ok;
}

// *stamp: the new file as it is once renamed into place.
bool replace_file(const std::string& path, const std::string& text, mode_t mode, FileStamp* stamp) {
    struct stat st;
    if (!file_update::replace(path, text, mode, true, &st)) return false;
    *stamp = stamp_of(st);
    return true;
}

// Sets (value != nullptr) or removes the key. The first line of the key is
// replaced in place and its later duplicates dropped, so the rest of the
// file keeps its order and its hand-written lines.
int update_store(const char* name, const std::string* value) {
    if (!valid_name(name)) return -1;
    if (value && value->size() > kMaxValue) return -1;
    std::string path = store_path();
    file_update::Lock lock(path + ".lock");
    if (!lock.held()) return -1;

    std::string old_text;
    mode_t mode;
    FileStamp old_stamp, new_stamp;
    if (!load_for_update(path, &old_text, &mode, &old_stamp)) return -1;
    // Like for like: the rewrite ends every line with '\n'.
    if (!old_text.empty() && old_text.back() != '\n') old_text += '\n';

    // Empty when removing, so the same pass serves both.
    std::string wanted = value ? std::string(name) + "=" + encode_value(*value) + "\n" : "";
    std::string out;
    out.reserve(old_text.size() + wanted.size());
    bool seen = false;
    for (std::string_view line : split_lines(old_text)) {
        bool has_eq = false;
        std::string_view line_key = line_name(line, &has_eq);
        if (has_eq && line_key == name) {
            if (!seen) out += wanted;
            seen = true;
            continue;
        }
        out.append(line.data(), line.size());
        out += '\n';
    }
    if (!seen) out += wanted;
    if (out == old_text) return 0;
    if (!replace_file(path, out, mode, &new_stamp)) return -1;

    // A cache of the file just replaced takes the one change instead of
    // parsing the whole store again at the next read.
    Cache& c = cache();
    std::lock_guard<std::mutex> g(c.mu);
    if (c.valid && c.path == path && c.stamp == old_stamp && old_stamp.present &&
        new_stamp.present) {
        if (value)
            c.values[name] = *value;
        else
            c.values.erase(name);
        c.stamp = new_stamp;
    } else {
        c.valid = false;
    }
    return 0;
}

}  // namespace

extern "C" {

char* config_get(const char* name) {
    if (!name) return g_empty;
    Cache& c = cache();
    std::lock_guard<std::mutex> g(c.mu);
    refresh(c);
    auto it = c.values.find(name);
    if (it == c.values.end() || it->second.empty()) return g_empty;
    // The API hands out char* for compatibility; callers must not write.
    return const_cast<char*>(c.pool.insert(it->second).first->c_str());
}

int config_set(const char* name, const char* value) {
    std::string v = value ? value : "";
    return update_store(name, &v);
}

int config_unset(const char* name) {
    return update_store(name, nullptr);
}

int config_match(const char* name, const char* value) {
    return strcmp(config_get(name), value ? value : "") == 0 ? 1 : 0;
}

int config_invmatch(const char* name, const char* value) {
    return config_match(name, value) ? 0 : 1;
}

int config_commit(void) {
    // Every set already renamed a synced file into place; what remains is
    // making the rename itself durable.
    std::string path = store_path();
    size_t slash = path.rfind('/');
    std::string dir = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return -1;
    int rc = fsync(fd) == 0 || errno == EINVAL ? 0 : -1;
    close(fd);
    return rc;
}

}  // extern "C"
