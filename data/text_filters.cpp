#include "text_filters.h"

#include <dirent.h>
#include <regex.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstring>

namespace {
int uc(char c) { return static_cast<unsigned char>(c); }

// In grep's syntax a repetition with nothing to repeat ("a**", a leading
// "\{2\}") is taken, where regcomp's strict basic syntax refuses the pattern:
// GNU grep and busybox's grep (GNU regex) both take it.
bool compile_as_grep(regex_t* re, const std::string& pattern) {
#ifdef RE_SYNTAX_GREP
    *re = regex_t{};
    reg_syntax_t saved = re_set_syntax(RE_SYNTAX_GREP | RE_ICASE | RE_NO_SUB);
    bool ok = re_compile_pattern(pattern.data(), pattern.size(), re) == nullptr;
    re_set_syntax(saved);
    if (!ok) regfree(re);
    return ok;
#else
    return regcomp(re, pattern.c_str(), REG_ICASE | REG_NOSUB) == 0;
#endif
}

}  // namespace

bool LineGrep::any_icase(const std::string& pattern) const {
    // A pattern without the basic expressions' special characters (a MAC
    // address) matches as plain text: no expression to compile per device.
    if (pattern.find_first_of(".[]*^$\\\n") == std::string::npos) {
        auto fold = [](std::string s) {
            for (char& c : s) c = static_cast<char>(tolower(uc(c)));
            return s;
        };
        if (folded_.empty())
            for (const std::string& line : lines_) folded_ += fold(line) + '\n';
        // Without a newline in the pattern, a hit lies within one line.
        return !lines_.empty() && folded_.find(fold(pattern)) != std::string::npos;
    }
    regex_t re;
    if (!compile_as_grep(&re, pattern)) return false;
    bool found = std::any_of(lines_.begin(), lines_.end(), [&re](const std::string& line) {
        return regexec(&re, line.c_str(), 0, nullptr, 0) == 0;
    });
    regfree(&re);
    return found;
}

std::vector<std::string> text_lines(const std::string& text) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        lines.emplace_back(text, start, end - start);
        start = end + 1;
    }
    return lines;
}

std::string awk_field(const std::string& line, int n) {
    const char* blanks = " \t";
    size_t pos = 0;
    for (int i = 1;; ++i) {
        size_t start = line.find_first_not_of(blanks, pos);
        if (start == std::string::npos) return "";
        size_t end = std::min(line.find_first_of(blanks, start), line.size());
        if (i == n) return line.substr(start, end - start);
        pos = end;
    }
}

std::string grep_awk_field(const std::string& text, const char* word, int n) {
    std::string out;
    for (const std::string& line : text_lines(text))
        if (line.find(word) != std::string::npos) out += awk_field(line, n) + "\n";
    return out;
}

std::string count_lines_holding(const std::string& text, const char* a, const char* b) {
    long count = 0;
    for (const std::string& line : text_lines(text))
        if (line.find(a) != std::string::npos && line.find(b) != std::string::npos) ++count;
    return std::to_string(count) + "\n";
}

std::string matching_line_numbers(const std::string& text, const char* regex) {
    regex_t re;
    if (regcomp(&re, regex, REG_NOSUB) != 0) return "";
    std::string out;
    long number = 0;
    for (const std::string& line : text_lines(text)) {
        ++number;
        if (regexec(&re, line.c_str(), 0, nullptr, 0) == 0) out += std::to_string(number) + "\n";
    }
    regfree(&re);
    return out;
}

std::string replace_all(std::string text, const std::string& from, const std::string& to) {
    if (from.empty()) return text;
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

std::string replace_all_on_line(const std::string& text, long n, const std::string& from,
                                const std::string& to) {
    size_t start = 0;
    for (long i = 1; i < n; ++i) {
        start = text.find('\n', start);
        if (start == std::string::npos) return text;
        ++start;
    }
    if (n < 1 || start >= text.size()) return text;
    size_t end = std::min(text.find('\n', start), text.size());
    return text.substr(0, start) + replace_all(text.substr(start, end - start), from, to) +
           text.substr(end);
}

namespace {

std::vector<std::string> visible_names(const char* dir, const char* prefix) {
    std::vector<std::string> names;
    DIR* d = opendir(dir);
    if (!d) return names;
    size_t plen = strlen(prefix);
    while (dirent* e = readdir(d))
        if (e->d_name[0] != '.' && strncmp(e->d_name, prefix, plen) == 0) names.emplace_back(e->d_name);
    closedir(d);
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

std::string ls_names(const char* dir) {
    struct stat st;
    if (!dir || stat(dir, &st) != 0) return "";
    if (!S_ISDIR(st.st_mode)) return std::string(dir) + "\n";
    std::string out;
    for (const std::string& name : visible_names(dir, "")) out += name + "\n";
    return out;
}

void remove_prefixed(const char* dir, const char* prefix) {
    for (const std::string& name : visible_names(dir, prefix))
        unlink((std::string(dir) + "/" + name).c_str());
}
