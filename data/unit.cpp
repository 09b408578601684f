// Shared helpers of every collector: logs, the command runner, bounded text
// operations, MAC and time texts, system metric readers.
#include "unit.h"

#include "runner.h"

#include <config_store.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

extern char** environ;

namespace {

const char kProgramLog[] = "/tmp/RA_collect.log";
const char kTraceLog[] = "/tmp/aws_log.txt";
const char kAnalyticsDir[] = "/tmp/router-analytics";
const char kMd5Input[] = "/tmp/router-analytics/zol_md5_code";

// Returned where a text result has nothing to point at; callers may write the
// terminator, so it is reset on every use.
char* empty_text()
{
    static char empty[1];
    empty[0] = '\0';
    return empty;
}

}  // namespace

// ---- logs -----------------------------------------------------------------

void RA_logger(const char* fmt, ...)
{
    char when[64] = "";
    time_t now = time(nullptr);
    struct tm local;
    if (localtime_r(&now, &local))
        strftime(when, sizeof when, "%Y-%m-%d %H:%M:%S", &local);

    // Bound one below the buffer: a message keeps at most 16,382 characters.
    static char message[16384];
    va_list ap;
    va_start(ap, fmt);
    vsnprintf(message, sizeof message - 1, fmt, ap);
    va_end(ap);

    FILE* fp = fopen(kProgramLog, "a");
    if (!fp) {
        fprintf(stderr, "create file:%s failed!!!\n", kProgramLog);
        return;
    }
    fprintf(fp, "[%s]%s\n", when, message);
    fclose(fp);
}

void Dprintf(const char* str, ...)
{
    // Consulted on every call so that switching aws_log acts without a restart.
    if (!config_match("aws_log", "1"))
        return;
    char text[1024];
    va_list ap;
    va_start(ap, str);
    vsnprintf(text, sizeof text, str, ap);
    va_end(ap);
    FILE* fp = fopen(kTraceLog, "a");
    if (!fp)
        return;
    fputs(text, fp);
    fclose(fp);
}

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

// ---- bounded copies and numbers --------------------------------------------

namespace {

// strncpy with the last byte forced to the terminator: at most len - 1
// characters, the rest of dst zero-filled as callers of the old copy expect.
void copy_padded(char* dst, const char* src, size_t len)
{
    size_t n = strnlen(src, len - 1);
    memcpy(dst, src, n);
    memset(dst + n, 0, len - n);
}

}  // namespace

void strncpyt(char* dst, const char* src, size_t len)
{
    if (!dst || len == 0)
        return;
    if (!src) {
        dst[0] = '\0';
        return;
    }
    copy_padded(dst, src, len);
}

int zol_strncpy(char* dst, const char* src, int size)
{
    if (!dst || !src || size <= 0)
        return 0;
    copy_padded(dst, src, static_cast<size_t>(size));
    return 1;
}

char* zol_strncat(char* dest, const char* src, size_t n)
{
    if (!dest || !src || n == 0)
        return nullptr;
    // Refuses rather than truncates: a cut value would be silently wrong.
    if (strlen(src) >= n - 1)
        return nullptr;
    strncat(dest, src, n - 1);
    return dest;
}

char* str_replace(const char* str)
{
    static char copy[2048];
    strncpyt(copy, str ? str : "", sizeof copy);
    return copy;
}

char* sed_items_xss(char* sed)
{
    return sed;
}

int zol_atoi(const char* input)
{
    if (!input)
        return 0;
    // Saturates like strtol with the router's 32-bit long.
    long long v = strtoll(input, nullptr, 10);
    return static_cast<int>(std::clamp<long long>(v, INT32_MIN, INT32_MAX));
}

int is_Number(const char* input_str)
{
    if (!input_str || !*input_str)
        return 0;
    for (const char* p = input_str; *p; ++p) {
        if (*p < '0' || *p > '9')
            return 0;
    }
    return 1;
}

// ---- fields ------------------------------------------------------------------

char* last_str(char* str)
{
    if (!str)
        return empty_text();
    char* save = nullptr;
    char* before = nullptr;
    char* last = nullptr;
    for (char* tok = strtok_r(str, " \t\r\n", &save); tok; tok = strtok_r(nullptr, " \t\r\n", &save)) {
        before = last;
        last = tok;
    }
    return before ? before : empty_text();
}

char* parse_parmetrs(char* str)
{
    if (!str)
        return empty_text();
    char* percent = strchr(str, '%');
    if (percent)
        *percent = '\0';
    return str;
}

int extraction_string_bychar(const char* buf, char ch, int column, char* string, int len)
{
    if (!string || len <= 0)
        return 0;
    string[0] = '\0';
    if (!buf || column < 1 || ch == '\0')
        return 0;
    const char* p = buf;
    for (int field = 1;; ++field) {
        while (*p == ch)
            ++p;
        if (*p == '\0' || *p == '\n')
            return 0;
        if (field == column)
            break;
        while (*p && *p != ch && *p != '\n')
            ++p;
    }
    int n = 0;
    while (n < len - 1 && p[n] && p[n] != ch && p[n] != '\n') {
        string[n] = p[n];
        ++n;
    }
    string[n] = '\0';
    return 0;
}

void get_data_from_string(const char* input, char* output, char symbol, int num, int size)
{
    if (!input || !output || num < 1 || size <= 0 || (symbol == '\0' && num > 1))
        return;
    const char* p = input;
    for (int field = 1; field < num; ++field) {
        p = strchr(p, symbol);
        if (!p)
            return;
        ++p;
    }
    for (int n = 0; n < size && p[n] && p[n] != symbol; ++n)
        output[n] = p[n];
}

// ---- MAC, HTML entities, access control -------------------------------------

char* parse_mac(const char* mac)
{
    static char digits[128];
    memset(digits, 0, sizeof digits);
    if (!mac)
        return digits;
    size_t out = 0;
    for (size_t i = 0; mac[i] && out < sizeof digits - 1; ++i) {
        size_t pos = i + 1;
        // Separator positions of aa:bb:cc:dd:ee:ff, whatever character is there.
        if (pos % 3 == 0 && pos <= 18)
            continue;
        char c = mac[i];
        digits[out++] = (c >= 'a' && c <= 'f') ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return digits;
}

char* formatted_mac(const char* mac)
{
    static char plain[32];
    memset(plain, 0, sizeof plain);
    if (!mac)
        return plain;
    size_t out = 0;
    for (const char* p = mac; *p && out < sizeof plain - 1; ++p) {
        if (*p != ':')
            plain[out++] = *p;
    }
    return plain;
}

void conv_items_xss(const char* str, char* result, int size)
{
    static const struct {
        const char* seq;
        char ch;
    } kEntities[] = {
        {"&lt;", '<'},  {"&gt;", '>'},  {"&#40;", '('}, {"&#41;", ')'},  {"&#34;", '"'},
        {"&#39;", '\''}, {"&#35;", '#'}, {"&#38;", '&'}, {"&#92;", '\\'},
    };
    if (!result || size <= 0)
        return;
    result[0] = '\0';
    if (!str || !*str || size < 2)
        return;

    char text[512];
    strncpyt(text, str, sizeof text);
    int out = 0;
    for (const char* p = text; *p && out < size - 1;) {
        char decoded = *p;
        size_t used = 1;
        if (*p == '&') {
            for (const auto& e : kEntities) {
                size_t n = strlen(e.seq);
                if (strncmp(p, e.seq, n) == 0) {
                    decoded = e.ch;
                    used = n;
                    break;
                }
            }
        }
        result[out++] = decoded;
        p += used;
    }
    result[out] = '\0';
}

int cmp_access_device(const char* dtype, const char* mac, char* cur_val)
{
    if (!dtype || !mac || !cur_val)
        return 0;
    char* save = nullptr;
    char* flag = strtok_r(cur_val, " ", &save);
    char* entry_mac = flag ? strtok_r(nullptr, " ", &save) : nullptr;
    if (!entry_mac)
        return 0;
    if (strcasecmp(entry_mac, mac) != 0)
        return 0;
    if (strcasecmp(dtype, "allow_device") == 0 && strcmp(flag, "0") == 0)
        return 1;
    if (strcasecmp(dtype, "block_device") == 0 && strcmp(flag, "1") == 0)
        return 1;
    return 0;
}

// ---- time texts ------------------------------------------------------------------

char* parse_uptime(int uptime)
{
    static char text[256];
    int days = uptime / 86400;
    int rest = uptime % 86400;
    snprintf(text, sizeof text, "%d days %02d:%02d:%02d", days, rest / 3600, rest % 3600 / 60,
             rest % 60);
    return text;
}

namespace {
constexpr long long kMaxTimeOffset = 0x7fffffffLL;
}

char* get_check_time()
{
    static char text[64];
    strncpyt(text, config_get("check_time"), sizeof text);
    if (strchr(text, ':'))
        return text;

    // The store holds the moment as seconds since boot; the cloud wants a date.
    // The offset is clamped so that a garbled value cannot overflow time_t.
    long long offset = std::clamp(strtoll(text, nullptr, 10), -kMaxTimeOffset, kMaxTimeOffset);
    long long boot = static_cast<long long>(time(nullptr)) - get_uptime();
    time_t moment = static_cast<time_t>(boot + offset);
    struct tm local {};
    localtime_r(&moment, &local);
    snprintf(text, sizeof text, "%d_%d.%d_%d:%d:%d", local.tm_year + 1900, local.tm_mon + 1,
             local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    config_set("check_time", text);
    return text;
}

// ---- files and digest ----------------------------------------------------------

void autoup_set(const char* file, const char* value)
{
    if (!file)
        return;
    FILE* fp = fopen(file, "w");
    if (!fp)
        return;
    fputs(value ? value : "", fp);
    fclose(fp);
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

// ---- system metric readers -----------------------------------------------------

void meminfo_from(const char* path, char* mem_total, char* mem_free, char* mem_buff,
                  char* mem_cache)
{
    FilePtr fp = open_read(path);
    meminfo_from_stream(fp.get(), mem_total, mem_free, mem_buff, mem_cache);
}

void meminfo_from_stream(FILE* fp, char* mem_total, char* mem_free, char* mem_buff,
                         char* mem_cache)
{
    if (!fp)
        return;
    char line[64];
    while (fgets(line, sizeof line, fp)) {
        if (strstr(line, "MemTotal:"))
            strcpy(mem_total, line);
        else if (strstr(line, "MemFree:"))
            strcpy(mem_free, line);
        else if (strstr(line, "Buffers:"))
            strcpy(mem_buff, line);
        else if (strstr(line, "Cached:")) {
            strcpy(mem_cache, line);
            break;
        }
    }
}

void meminfo(char* mem_total, char* mem_free, char* mem_buff, char* mem_cache)
{
    meminfo_from("/proc/meminfo", mem_total, mem_free, mem_buff, mem_cache);
}

void cpu_util_from(const char* path, char* cuse, char* cice, char* csys, char* cide, char* ciow,
                   char* cxxx, char* cyyy, char* czzz)
{
    FILE* fp = fopen(path, "r");
    if (!fp)
        return;
    char line[256];
    while (fgets(line, sizeof line, fp)) {
        if (strstr(line, "cpu ")) {
            sscanf(line, "cpu  %20s %20s %20s %20s %20s %20s %20s %20s", cuse, cice, csys, cide,
                   ciow, cxxx, cyyy, czzz);
            break;
        }
    }
    fclose(fp);
}

void cpu_util(char* cuse, char* cice, char* csys, char* cide, char* ciow, char* cxxx,
              char* cyyy, char* czzz)
{
    cpu_util_from("/proc/stat", cuse, cice, csys, cide, ciow, cxxx, cyyy, czzz);
}

long get_uptime()
{
    struct sysinfo info {};
    if (sysinfo(&info) != 0)
        return 0;
    return info.uptime;
}

float memory_utilization_from(const char* path)
{
    char total[64] = "", free_[64] = "", buffers[64] = "", cached[64] = "";
    meminfo_from(path, total, free_, buffers, cached);
    float t = static_cast<float>(zol_atoi(last_str(total)));
    float f = static_cast<float>(zol_atoi(last_str(free_)));
    float b = static_cast<float>(zol_atoi(last_str(buffers)));
    float c = static_cast<float>(zol_atoi(last_str(cached)));
    if (t == 0.0f)  // no counters: report 0 rather than a NaN in the document
        return 0.0f;
    return (t - f - b - c) * 100.0f / t;
}

float get_MemoryUtilization()
{
    return memory_utilization_from("/proc/meminfo");
}

char* get_macaddr(const char* ifname, char* eabuf)
{
    if (!eabuf)
        return eabuf;
    eabuf[0] = '\0';
    if (!ifname)
        return eabuf;
    int fd = socket(AF_INET, SOCK_RAW, 255);
    if (fd < 0)  // raw sockets need privilege; the request works on any socket
        fd = socket(AF_INET, SOCK_DGRAM, 0);
    if (fd < 0)
        return eabuf;
    struct ifreq ifr {};
    memcpy(ifr.ifr_name, ifname, strnlen(ifname, 14));
    if (ioctl(fd, SIOCGIFHWADDR, &ifr) == 0) {
        const unsigned char* a = reinterpret_cast<unsigned char*>(ifr.ifr_hwaddr.sa_data);
        snprintf(eabuf, 18, "%02X:%02X:%02X:%02X:%02X:%02X", a[0], a[1], a[2], a[3], a[4], a[5]);
    }
    close(fd);
    return eabuf;
}

in_addr_t get_ipaddr(const char* ifname)
{
    if (!ifname)
        return 0;
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    if (fd < 0)
        return 0;
    struct ifreq ifr {};
    ifr.ifr_addr.sa_family = AF_INET;
    memcpy(ifr.ifr_name, ifname, strnlen(ifname, IFNAMSIZ - 1));
    in_addr_t addr = 0;
    if (ioctl(fd, SIOCGIFADDR, &ifr) == 0) {
        struct sockaddr_in sin;
        memcpy(&sin, &ifr.ifr_addr, sizeof sin);
        addr = sin.sin_addr.s_addr;
    }
    close(fd);
    return addr;
}

int is_wan_on_demand()
{
    if (config_match("wan_proto", "pppoe") && config_match("wan_pppoe_demand", "1"))
        return 1;
    if (config_match("wan_proto", "pptp") && config_match("wan_pptp_demand", "1"))
        return 1;
    return 0;
}
