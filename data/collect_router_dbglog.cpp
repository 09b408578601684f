// The flash debug-log event (eventtype10): the UBI volume's block counts and
// summary, as the cloud expects them, an array of one record.
#include "collect_router_dbglog.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "Add_object.h"
#include "file_update.h"
#include "text_filters.h"
#include "unit.h"

namespace {

constexpr const char* kUbinfoFile = "/tmp/ubinfo_ubi0.txt";
constexpr const char* kDbgLineFile = "/tmp/dbgLogs-line";
// The tool's answer is kept up to this size; the parser reads the start.
constexpr size_t kUbinfoBytes = 64 * 1024;

// ubinfo's answer; every call overwrites it.
char ubinfo_buf[UBINFO_BUF_SIZE];

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
    // This run's answer, not the file another run may be replacing.
    static std::string output;
    static bool readable = false;
    if (!item) {
        // The tool's answer stays beside the document, as it always has.
        RunResult r = run_to_file({{"ubinfo", "/dev/ubi0"}, kUbinfoBytes}, kUbinfoFile);
        output = r.out;
        readable = !r.timed_out;
        return nullptr;
    }
    if (readable) return dbgLogs_ubinfo_text(output.data(), output.size(), item);
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
void dbgLogs_revised(const char* file) {
    std::string doc;
    read_whole_file(file, doc);
    doc = replace_all(doc, "\"dbgLogs\":{", "\"dbgLogs\":[{");

    // Only the member name itself starts a line with "dbgMsg": (the same word
    // inside a text is escaped as \"dbgMsg\"), so a serial number or tool
    // output holding the word cannot move the edit. The line numbers stay
    // beside the document, as they always have.
    std::string lines = matching_line_numbers(doc, "^ *\"dbgMsg\":");
    file_update::replace_keep_mode(kDbgLineFile, lines);

    // dbgMsg is the record's last member and its text is escaped onto one
    // line, so the line after it holds the record's closing brace.
    long line = strtol(first_line_of(lines), nullptr, 10);
    if (line < 0 || line > 1000000) line = 0;
    doc = replace_all_on_line(doc, line + 1, "}", "}]");
    if (file_exists(file)) file_update::replace_keep_mode(file, doc);
}
