// Firmware description (routerInfo and every routerHardware header) and the
// flash debug-log event.
#include "collect_router.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <config_store.h>

#include "Add_object.h"
#include "unit.h"

namespace {

// Every firmware member is a short text; the cloud truncates nothing itself.
constexpr size_t kFwFieldSize = 64;

constexpr const char* kUbinfoFile = "/tmp/ubinfo_ubi0.txt";
constexpr const char* kEvent10File = "/tmp/aws_json_eventtype10";
constexpr const char* kDbgLineFile = "/tmp/dbgLogs-line";
// The revision commands are formatted into fields of this size; built from
// constants and a bounded line number, they always fit.
constexpr size_t kReviseCmdSize = 200;

// ubinfo's answer; every call overwrites it.
char ubinfo_buf[UBINFO_BUF_SIZE];

void add_bounded(json_object* obj, const char* name, const char* value) {
    char field[kFwFieldSize] = {0};
    strncpyt(field, value ? value : "", sizeof field);
    Add_object_string(obj, name, field);
}

// The value after the ':' that follows the phrase, up to the next blank or
// line end. The ':' may lie on a later line; ubinfo never prints it so.
char* ubinfo_value_after(char* match) {
    char* p = strchr(match, ':');
    if (!p) return match;
    ++p;
    while (*p == ' ' || *p == '\t') ++p;
    p[strcspn(p, " \t\r\n")] = '\0';
    return p;
}

char* ubinfo_extract(const char* item) {
    static const struct {
        const char* item;
        const char* phrase;
        bool whole_rest;
    } kItems[] = {
        {"total_blocks", "Total amount", false},
        {"bad_blocks", "Count of bad", false},
        {"info", "Volumes count", true},
    };
    for (const auto& row : kItems) {
        if (strcmp(item, row.item) != 0) continue;
        char* match = strstr(ubinfo_buf, row.phrase);
        if (!match) break;
        return row.whole_rest ? match : ubinfo_value_after(match);
    }
    ubinfo_buf[0] = '\0';
    return ubinfo_buf;
}

}  // namespace

json_object* get_firmware_json(int is_routerInfo) {
    json_object* obj = json_object_new_object();
    if (!obj) return nullptr;
    add_bounded(obj, "fwVersion", cat_file("/firmware_version"));
    add_bounded(obj, "fwLastUpdate", config_get("update_time"));
    add_bounded(obj, "fwLastChecked", get_check_time());
    if (is_routerInfo == 1) add_bounded(obj, "fwupgrade_Method", config_get("fwupgrade_Method"));
    return obj;
}

char* dbgLogs_ubinfo_text(const char* output, size_t len, const char* item) {
    if (output) {
        // The tool's output is bounded by the buffer: a longer output keeps its
        // first UBINFO_BUF_SIZE - 1 bytes (the phrases we need come first)
        // rather than aborting the collection.
        size_t n = len < sizeof ubinfo_buf - 1 ? len : sizeof ubinfo_buf - 1;
        memcpy(ubinfo_buf, output, n);
        ubinfo_buf[n] = '\0';
    }
    return ubinfo_extract(item ? item : "");
}

char* dbgLogs_ubinfo(const char* dev, const char* item) {
    (void)dev;  // always /dev/ubi0; the command names it itself
    if (!item) {
        run_shell("ubinfo /dev/ubi0 > /tmp/ubinfo_ubi0.txt");
        return nullptr;
    }
    std::string output;
    // Read a little past the buffer so the truncation is the parser's decision.
    if (read_whole_file(kUbinfoFile, output, 2 * UBINFO_BUF_SIZE))
        return dbgLogs_ubinfo_text(output.data(), output.size(), item);
    // Unreadable output: the buffer keeps what the previous call left in it.
    return dbgLogs_ubinfo_text(nullptr, 0, item);
}

json_object* get_dbgLogs_json() {
    dbgLogs_ubinfo("/dev/ubi0", nullptr);
    json_object* obj = json_object_new_object();
    if (!obj) return nullptr;
    Add_object_string(obj, "dbglogType", "Flash");
    Add_object_string(obj, "dbglevel", "Debug");
    Add_object_string(obj, "dbgSource", "Device");
    Add_object_string(obj, "dbgSummary", "UBI info (image)");
    // Each value is copied by the writer before the next call reuses the buffer.
    Add_object_string(obj, "dbgArg1", dbgLogs_ubinfo("/dev/ubi0", "total_blocks"));
    Add_object_string(obj, "dbgArg2", dbgLogs_ubinfo("/dev/ubi0", "bad_blocks"));
    Add_object_string(obj, "dbgMsg", dbgLogs_ubinfo("/dev/ubi0", "info"));
    return obj;
}

// The cloud expects dbgLogs as an array of records while the document is built
// with one record object; the pretty-printed file is edited into that shape.
void dbgLogs_revised() {
    char cmd[kReviseCmdSize];
    snprintf(cmd, sizeof cmd, "sed -i 's/\"dbgLogs\":{/\"dbgLogs\":[{/g' %s", kEvent10File);
    run_shell(cmd);

    // Only the member name itself starts a line with "dbgMsg": (the same word
    // inside a text is escaped as \"dbgMsg\"), so a serial number or tool
    // output holding the word cannot move the edit.
    snprintf(cmd, sizeof cmd,
             "cat %s | grep -n '^ *\"dbgMsg\":' | awk -F \":\" '{print $1}' > %s",
             kEvent10File, kDbgLineFile);
    run_shell(cmd);

    // dbgMsg is the record's last member and its text is escaped onto one
    // line, so the line after it holds the record's closing brace.
    long line = strtol(cat_file(kDbgLineFile), nullptr, 10);
    if (line < 0 || line > 1000000) line = 0;
    snprintf(cmd, sizeof cmd, "sed -i '%lds/}/}]/g' %s", line + 1, kEvent10File);
    run_shell(cmd);
}
