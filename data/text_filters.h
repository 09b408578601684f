// The work the shell's text utilities did on what a tool printed, done here:
// each function names the command line whose output it gives.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// grep -i -e PATTERN on these lines: whether one matches (a basic regular
// expression, case ignored). A pattern grep would refuse matches nothing.
class LineGrep {
public:
    explicit LineGrep(const std::vector<std::string>& lines) : lines_(lines) {}
    bool any_icase(const std::string& pattern) const;

private:
    const std::vector<std::string>& lines_;
    // The lines folded to lower case and joined by newlines, made on the
    // first plain search: one list is searched once per device.
    mutable std::string folded_;
};

// The lines of text without their ends (a last line without one included).
std::vector<std::string> text_lines(const std::string& text);

// awk '{print $N}' for one line: the Nth run of non-blanks, "" past the last.
std::string awk_field(const std::string& line, int n);

// TOOL | grep WORD | awk '{print $N}': one output line per line holding word.
std::string grep_awk_field(const std::string& text, const char* word, int n);

// TOOL | grep A | grep B | wc -l: the count as wc prints it.
std::string count_lines_holding(const std::string& text, const char* a, const char* b);

// grep -n 'REGEX' FILE | awk -F ":" '{print $1}': the numbers of the lines
// that match, one a line.
std::string matching_line_numbers(const std::string& text, const char* regex);

// sed 's/FROM/TO/g' (from and to plain text, no line end in from).
std::string replace_all(std::string text, const std::string& from, const std::string& to);

// sed 'Ns/FROM/TO/g': the same on line n (counted from 1) only.
std::string replace_all_on_line(const std::string& text, long n, const std::string& from,
                                const std::string& to);

// ls DIR: the names it lists (no dot files, in byte order), one a line; a
// path that is not a directory lists itself; "" for a missing one.
std::string ls_names(const char* dir);

// rm DIR/PREFIX*: removes the entries the shell's pattern names (no dot files).
void remove_prefixed(const char* dir, const char* prefix);
