// Files and the firmware's tools as the collectors read them: the argument
// list entry to the runner, first lines, whole files, line-by-line reading
// and whole-file replacement.
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

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

// ---- files and digest ----------------------------------------------------------
void autoup_set(const char* file, const char* value);
char* zol_md5_transform(const char* code);
