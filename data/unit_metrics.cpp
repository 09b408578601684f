#include "unit_metrics.h"

#include "unit_files.h"
#include "unit_text.h"

#include <config_store.h>

#include <arpa/inet.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace {

// Counters beyond this are corrupt input; clamping keeps the sums of a few
// of them inside 64 bits.
constexpr long long kCounterClamp = 1LL << 52;

long long clamp_counter(long long v) {
    if (v > kCounterClamp) return kCounterClamp;
    if (v < -kCounterClamp) return -kCounterClamp;
    return v;
}

}  // namespace

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

// ---- clock ----------------------------------------------------------------------

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

long long meminfo_kb(const char* line) {
    char copy[64];
    strncpyt(copy, line, sizeof copy);
    return clamp_counter(strtoll(last_str(copy), nullptr, 10));
}
