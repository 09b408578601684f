// Shared helpers of every collector: logs, the command runner and scratch
// files, bounded text operations, MAC and time texts, system metric readers.
// Functions that return char* return a static buffer that the next call of
// the same function overwrites; callers copy what they keep.
#pragma once

#include <netinet/in.h>
#include <sys/types.h>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "runner.h"

// ---- logs -----------------------------------------------------------------
// One "[time]message" line appended to /tmp/RA_collect.log.
void RA_logger(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
// Appended to /tmp/aws_log.txt only while the store key aws_log is "1".
void Dprintf(const char* str, ...) __attribute__((format(printf, 1, 2)));
// The collectors' three-call trace entry: prefix, message, newline.
#define DC_TRACE(func, line, ...)                      \
    do {                                               \
        Dprintf("DEBUG:   %s L#%d ", (func), (line));  \
        Dprintf(__VA_ARGS__);                          \
        Dprintf("\n");                                 \
    } while (0)

// ---- command runner and scratch files --------------------------------------
// Runs cmd (a full path) with the further arguments, closed by nullptr, without
// a shell; stdout goes to output when given. At most 98 further arguments of
// at most 2,047 characters each are passed. mode bit 0: stderr too; bit 1:
// append. Returns the raw wait status (32512 when cmd cannot run), or -1 when
// it could not be started or was stopped at its deadline (runner.h).
int zol_safe_system(const char* output, const char* output2, unsigned char mode,
                    const char* cmd, ...);
// First line of path without its line end, "" when unreadable (512-byte buffer).
char* cat_file(const char* path);
// cat_file of text already read (what a tool printed); its own buffer.
char* first_line_of(const std::string& text);
// Line count of a file as wc -l gives it (newline characters), 0 when unreadable.
int get_file_line_num(const char* file_name);
// Whole file into out (binary-safe, at most max_bytes); false when unreadable.
bool read_whole_file(const char* path, std::string& out, size_t max_bytes = 8u << 20);
bool file_exists(const char* path);
struct FileClose {
    void operator()(FILE* fp) const { fclose(fp); }
};
// A stream closed with its holder; null when the file cannot be opened.
using FilePtr = std::unique_ptr<FILE, FileClose>;
inline FilePtr open_read(const char* path) { return FilePtr(path ? fopen(path, "r") : nullptr); }
// A stream over text (what a tool printed), for the parsers that read lines;
// null for empty text, which they read as empty.
inline FilePtr open_text(const std::string& text) {
    return FilePtr(text.empty() ? nullptr : fmemopen(const_cast<char*>(text.data()), text.size(), "r"));
}
// Calls f(char* line) for each line of fp as fgets reads it into a buffer of
// `size` bytes: a longer line comes in pieces of size - 1 characters, line
// ends are kept. f returns false to stop. A null fp reads as empty.
template <typename F>
void for_each_line(FILE* fp, size_t size, F&& f) {
    if (!fp || size < 2) return;
    std::vector<char> line(size);
    while (fgets(line.data(), static_cast<int>(size), fp))
        if (!f(line.data())) return;
}

// ---- bounded copies and numbers --------------------------------------------
void strncpyt(char* dst, const char* src, size_t len);
int zol_strncpy(char* dst, const char* src, int size);
char* zol_strncat(char* dest, const char* src, size_t n);
char* str_replace(const char* str);
char* sed_items_xss(char* sed);
int zol_atoi(const char* input);
int is_Number(const char* input_str);

// One row of a table from a stored value to the text the cloud expects.
struct lookup_row {
    const char* value;
    const char* text;
};
// The text of the first row whose value equals key exactly, else fallback.
template <std::size_t N>
const char* lookup_text(const lookup_row (&rows)[N], const char* key, const char* fallback) {
    for (const lookup_row& row : rows)
        if (key && std::strcmp(row.value, key) == 0) return row.text;
    return fallback;
}

// ---- fields ------------------------------------------------------------------
// Next-to-last blank-separated word, split in place; "" for fewer than two words.
char* last_str(char* str);
char* parse_parmetrs(char* str);
int extraction_string_bychar(const char* buf, char ch, int column, char* string, int len);
void get_data_from_string(const char* input, char* output, char symbol, int num, int size);

// ---- MAC, HTML entities, access control -------------------------------------
char* parse_mac(const char* mac);
char* formatted_mac(const char* mac);
void conv_items_xss(const char* str, char* result, int size);
int cmp_access_device(const char* dtype, const char* mac, char* cur_val);

// ---- time texts ------------------------------------------------------------------
char* parse_uptime(int uptime);
char* get_check_time();

// ---- files and digest ----------------------------------------------------------
void autoup_set(const char* file, const char* value);
char* zol_md5_transform(const char* code);

// ---- system metric readers -----------------------------------------------------
// Whole lines (with newline) of /proc/meminfo; buffers of at least 64 bytes.
// A missing file leaves the buffers as they were.
void meminfo(char* mem_total, char* mem_free, char* mem_buff, char* mem_cache);
// The "cpu " line of /proc/stat: user, nice, system, idle, iowait, irq, softirq,
// steal, each at most 20 characters, so buffers of at least 21 bytes. A missing
// file leaves the buffers as they were.
void cpu_util(char* cuse, char* cice, char* csys, char* cide, char* ciow, char* cxxx,
              char* cyyy, char* czzz);
long get_uptime();
// Used memory in percent of MemTotal; 0 when MemTotal is unknown.
float get_MemoryUtilization();
// The same readers over another file (the /proc paths are fixed for the above).
void meminfo_from(const char* path, char* mem_total, char* mem_free, char* mem_buff,
                  char* mem_cache);
void cpu_util_from(const char* path, char* cuse, char* cice, char* csys, char* cide, char* ciow,
                   char* cxxx, char* cyyy, char* czzz);
float memory_utilization_from(const char* path);
void meminfo_from_stream(FILE* fp, char* mem_total, char* mem_free, char* mem_buff,
                         char* mem_cache);
char* get_macaddr(const char* ifname, char* eabuf);
in_addr_t get_ipaddr(const char* ifname);
int is_wan_on_demand();
