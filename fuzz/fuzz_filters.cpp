// The utilities' work done by the collector (text_filters.h, unit.h) against
// the command lines it replaced, run through /bin/sh on the same input: any
// difference aborts. Inputs stay in the classes where the router's busybox
// agrees with dash and the GNU tools (tests/unit/test_text_filters.cpp).
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_util.h"
#include "text_filters.h"
#include "unit.h"

namespace {

std::string quoted(const std::string& s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

std::string sh(const std::string& line) {
    std::string cmd = "LC_ALL=C /bin/sh -c " + quoted(line) + " 2>/dev/null";
    FILE* p = popen(cmd.c_str(), "r");
    fuzz::require(p != nullptr, "popen");
    std::string out;
    char buf[4096];
    // libFuzzer's timer signal may cut a read short.
    for (size_t n; (n = fread(buf, 1, sizeof buf, p)) > 0 || (ferror(p) && errno == EINTR);) {
        out.append(buf, n);
        clearerr(p);
    }
    pclose(p);
    return out;
}

void same(const std::string& ours, const std::string& theirs, const std::string& line) {
    if (ours == theirs) return;
    fprintf(stderr, "/bin/sh -c %s\ngave  [%s]\nwe say [%s]\n", quoted(line).c_str(),
            theirs.c_str(), ours.c_str());
    abort();
}

// The file the command lines read, holding text.
std::string input_file(const std::string& text) {
    std::string path = fuzz::scratch("in");
    fuzz::put_file(path, text);
    return path;
}

// grep reads a pattern's lines as patterns of their own (a MAC has one), and
// GNU grep reads "\e" as "e" where busybox's does not: such backslashes go.
std::string grep_pattern(const std::string& text) {
    std::string p = text.substr(0, text.find('\n'));
    std::string out;
    for (size_t i = 0; i < p.size(); ++i) {
        if (p[i] == '\\' && i + 1 < p.size() &&
            !strchr("\\.*[]^$(){}|+?<>wWsSbB`'123456789", p[i + 1]))
            continue;
        out += p[i];
        if (p[i] == '\\' && i + 1 < p.size()) out += p[++i];
    }
    return out;
}

void grep(fuzz::Input& in) {
    std::string mac = grep_pattern(in.text(256)), text = in.text();
    std::string line = "grep -i -e " + quoted(mac) + " " + input_file(text);
    bool offline = !sh(line).empty();
    same(LineGrep(text_lines(text)).any_icase(mac) ? "offline" : "online",
         offline ? "offline" : "online", line);
}

void pipelines(fuzz::Input& in) {
    int which = in.byte() % 3;
    std::string text = in.text();
    std::string cat = "cat " + input_file(text);
    if (which == 0) {
        std::string line = cat + "|grep POT:|awk '{print $2}'";
        same(grep_awk_field(text, "POT:", 2), sh(line), line);
    } else if (which == 1) {
        std::string line = cat + " |grep plex_net_state |grep '=1' |wc -l";
        same(count_lines_holding(text, "plex_net_state", "=1"), sh(line), line);
    } else {
        std::string line = cat + " | grep -n '^ *\"dbgMsg\":' | awk -F \":\" '{print $1}'";
        same(matching_line_numbers(text, "^ *\"dbgMsg\":"), sh(line), line);
    }
}

void edits(fuzz::Input& in) {
    long n = 1 + in.byte() % 16;
    std::string text = in.text();
    std::string path = input_file(text);
    std::string line = "sed -i 's/\"dbgLogs\":{/\"dbgLogs\":[{/g' " + path;
    sh(line);
    same(replace_all(text, "\"dbgLogs\":{", "\"dbgLogs\":[{"), fuzz::file_text(path), line);
    fuzz::put_file(path, text);
    line = "sed -i '" + std::to_string(n) + "s/}/}]/g' " + path;
    sh(line);
    same(replace_all_on_line(text, n, "}", "}]"), fuzz::file_text(path), line);
}

void files(fuzz::Input& in) {
    std::string value = in.text(64), text = in.text();
    std::string path = input_file(text);
    std::string line = "wc -l " + path, out = sh(line);
    same(std::to_string(get_file_line_num(path.c_str())), out.substr(0, out.find(' ')), line);
    // Plain values only: dash's echo reads backslashes, busybox's does not.
    auto odd = [](char c) { return !isalnum(static_cast<unsigned char>(c)) && !strchr("_.:", c); };
    value.erase(std::remove_if(value.begin(), value.end(), odd), value.end());
    if (value.empty()) value = "0";
    line = "echo " + value + " > " + path;
    sh(line);
    same(value + "\n", fuzz::file_text(path), line);
}

// The names in dir, dot files too, each with "/" for a directory.
std::string listing(const std::string& dir) {
    std::vector<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d)) {
            std::string name = e->d_name;
            if (name == "." || name == "..") continue;
            struct stat st;
            bool is_dir = lstat((dir + "/" + name).c_str(), &st) == 0 && S_ISDIR(st.st_mode);
            names.push_back(name + (is_dir ? "/" : ""));
        }
        closedir(d);
    }
    std::sort(names.begin(), names.end());
    std::string out;
    for (const std::string& n : names) out += n + "\n";
    return out;
}

// Lays out dir afresh from text, an entry a line: "name/" a directory,
// "name@" a symlink to nowhere, else a file. Returns the names that are no
// symlink. ascii: printable ASCII names only (busybox's ls prints others as '?').
std::vector<std::string> lay_dir(const std::string& dir, const std::string& text, bool ascii) {
    for (const std::string& entry : text_lines(listing(dir))) {
        std::string p = dir + "/" + entry;
        if (unlink(p.c_str()) != 0) rmdir(p.c_str());
    }
    mkdir(dir.c_str(), 0755);
    std::vector<std::string> plain;
    for (std::string name : text_lines(text)) {
        char kind = name.empty() ? 0 : name.back();
        if (kind == '/' || kind == '@') name.pop_back();
        name.erase(std::remove(name.begin(), name.end(), '/'), name.end());
        bool odd =
            std::any_of(name.begin(), name.end(), [](char c) { return c < 0x20 || c > 0x7e; });
        if (name.empty() || name == "." || name == ".." || (ascii && odd) || plain.size() > 64)
            continue;
        std::string p = dir + "/" + name;
        int made = kind == '/'   ? mkdir(p.c_str(), 0755)
                   : kind == '@' ? symlink("nowhere", p.c_str())
                                 : open(p.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
        if (kind != '/' && kind != '@' && made >= 0) close(made);
        // A name too long or taken already is left out.
        if (made >= 0 && kind != '@') plain.push_back(name);
    }
    return plain;
}

void dirs(fuzz::Input& in) {
    uint8_t pick = in.byte();
    std::string text = in.text();
    std::string dir = fuzz::scratch("dir");
    // A symlink to nowhere is not asked for: GNU ls names it, busybox's (as
    // the collector) lists nothing.
    std::vector<std::string> plain = lay_dir(dir, text, true);
    std::string target = dir;
    if (pick % 4 == 1) target += "/missing";
    if (pick % 4 > 1 && !plain.empty()) target += "/" + plain[pick % plain.size()];
    std::string line = "ls " + quoted(target);
    same(ls_names(target.c_str()), sh(line), line);

    lay_dir(dir, text, false);
    line = "rm " + dir + "/thermal_wifi*";
    sh(line);
    std::string theirs = listing(dir);
    lay_dir(dir, text, false);
    remove_prefixed(dir.c_str(), "thermal_wifi");
    same(listing(dir), theirs, line);
}

const fuzz::Case kCases[] = {grep, pipelines, edits, files, dirs};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz::run_case(kCases, data, size);
}
