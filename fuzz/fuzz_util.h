// Shared pieces of the fuzz targets: a private /tmp (the collector writes
// fixed router paths there), a reader of the fuzzer's bytes, scratch files
// and the checks every target makes on what a parser gives back.
#pragma once

#include <json-c/json.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "strict_json.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace fuzz {

// Enters private user and mount namespaces with a tmpfs on /tmp and points the
// configuration store into it; without namespaces a note is printed and the
// machine's /tmp is used. Idempotent.
void enter_private_tmp();

// Takes the fuzzer's bytes from the front: small numbers first, then texts.
class Input {
   public:
    Input(const uint8_t* data, size_t size) : p_(data), left_(size) {}
    uint8_t byte() {
        if (!left_) return 0;
        --left_;
        return *p_++;
    }
    uint32_t u32() {
        uint32_t v = 0;
        for (int i = 0; i < 4; ++i) v = v << 8 | byte();
        return v;
    }
    bool flag() { return byte() & 1; }
    // Up to the next NUL (dropped) or at most max bytes.
    std::string text(size_t max = 4096) {
        std::string s;
        while (left_ && s.size() < max) {
            char c = static_cast<char>(byte());
            if (c == '\0') break;
            s.push_back(c);
        }
        return s;
    }
    std::string rest() {
        std::string s(reinterpret_cast<const char*>(p_), left_);
        p_ += left_;
        left_ = 0;
        return s;
    }

   private:
    const uint8_t* p_;
    size_t left_;
};

// path of name in the fuzzers' scratch directory.
std::string scratch(const char* name);
// Writes text to path (binary), aborting when it cannot.
void put_file(const std::string& path, const std::string& text);
// The whole file, "" when unreadable.
std::string file_text(const std::string& path);

// A read-only stream over text (an empty text reads as /dev/null).
class MemFile {
   public:
    explicit MemFile(const std::string& text);
    ~MemFile();
    MemFile(const MemFile&) = delete;
    MemFile& operator=(const MemFile&) = delete;
    FILE* get() const { return fp_; }

   private:
    std::string text_;
    FILE* fp_ = nullptr;
};

// Aborts with the reason when what is false.
void require(bool what, const char* why);
// The tree prints as one strict JSON text (what the cloud's parser takes).
void require_strict(json_object* tree, const char* where);
void require_strict_text(const std::string& text, const char* where);
// A C string no longer than max characters.
void require_bounded(const char* s, size_t max, const char* where);

// Runs the case the input's first byte picks, on the rest of the input.
using Case = void (*)(Input&);
template <size_t N>
int run_case(const Case (&cases)[N], const uint8_t* data, size_t size) {
    Input in(data, size);
    cases[in.byte() % N](in);
    return 0;
}

}  // namespace fuzz
