#include "unit_files.h"

#include "file_update.h"
#include "runner.h"
#include "unit_text.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

const char kAnalyticsDir[] = "/tmp/router-analytics";
const char kMd5Input[] = "/tmp/router-analytics/zol_md5_code";

}  // namespace

// ---- command runner ------------------------------------------------------------

namespace {

// At most 98 further arguments, so that the vector of 100 entries keeps its
// closing null entry.
constexpr size_t kMaxFurtherArgs = 98;

}  // namespace

int zol_safe_system(const char* output, const char* output2, unsigned char mode,
                    const char* cmd, ...)
{
    if (!cmd)
        return -1;

    // The whole vector is made here: the vfork child must not allocate.
    // str_replace bounds each argument to 2,047 characters.
    std::vector<std::string> copies;
    va_list ap;
    va_start(ap, cmd);
    for (const char* arg = va_arg(ap, const char*); arg; arg = va_arg(ap, const char*)) {
        if (copies.size() == kMaxFurtherArgs) {
            printf("warning: drop some argv!\n");
            break;
        }
        copies.emplace_back(str_replace(arg));
    }
    va_end(ap);
    std::vector<char*> argv{const_cast<char*>(cmd)};
    for (auto& c : copies)
        argv.push_back(c.data());
    argv.push_back(nullptr);

    return run_with_files(cmd, argv.data(), output, output2, mode);
}

char* cat_file(const char* path)
{
    static char line[512];
    memset(line, 0, sizeof line);
    FILE* fp = path ? fopen(path, "r") : nullptr;
    if (!fp)
        return line;
    if (!fgets(line, sizeof line, fp))
        line[0] = '\0';
    fclose(fp);
    line[strcspn(line, "\r\n")] = '\0';
    return line;
}

char* first_line_of(const std::string& text)
{
    static char line[512];
    memset(line, 0, sizeof line);
    size_t end = text.find('\n');
    size_t n = std::min(end == std::string::npos ? text.size() : end + 1, sizeof line - 1);
    memcpy(line, text.data(), n);
    line[strcspn(line, "\r\n")] = '\0';
    return line;
}

int get_file_line_num(const char* file_name)
{
    // What wc -l prints: the number of newline characters.
    FILE* fp = file_name ? fopen(file_name, "rb") : nullptr;
    if (!fp)
        return 0;
    long lines = 0;
    char buf[4096];
    for (size_t n; (n = fread(buf, 1, sizeof buf, fp)) > 0;)
        lines += std::count(buf, buf + n, '\n');
    fclose(fp);
    return lines > INT_MAX ? INT_MAX : static_cast<int>(lines);
}

bool read_whole_file(const char* path, std::string& out, size_t max_bytes)
{
    out.clear();
    FILE* fp = path ? fopen(path, "rb") : nullptr;
    if (!fp)
        return false;
    char chunk[8192];
    while (out.size() < max_bytes) {
        size_t want = std::min(sizeof chunk, max_bytes - out.size());
        size_t got = fread(chunk, 1, want, fp);
        out.append(chunk, got);
        if (got < want)
            break;
    }
    bool ok = !ferror(fp);  // e.g. a directory opens but cannot be read
    fclose(fp);
    if (!ok)
        out.clear();
    return ok;
}

bool file_exists(const char* path)
{
    return path && access(path, F_OK) == 0;
}

// ---- files and digest ----------------------------------------------------------

void autoup_set(const char* file, const char* value)
{
    if (!file)
        return;
    // Whole or not at all: others read these files while this run writes.
    file_update::replace_keep_mode(file, value ? value : "");
}

char* zol_md5_transform(const char* code)
{
    static char digest[64];
    memset(digest, 0, sizeof digest);
    if (!code || !*code)
        return digest;

    // The firmware creates this directory at boot; a freshly reset router or a
    // test host may not have it yet.
    mkdir(kAnalyticsDir, 0755);
    autoup_set(kMd5Input, code);
    std::string line = program_output({"/usr/bin/md5sum", kMd5Input}, 128);
    unlink(kMd5Input);
    line.resize(std::min(line.find_first_of(" \t\r\n"), line.size()));
    strncpyt(digest, line.c_str(), sizeof digest);
    return digest;
}
