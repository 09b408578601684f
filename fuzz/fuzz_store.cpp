// The configuration store file: any text reads without harm, and a write
// keeps every other key's value and reads back exactly what was written.
#include <cstring>
#include <map>

#include "config_store.h"
#include "fuzz_util.h"

using fuzz::require;

namespace {

const size_t kMaxValue = 64 * 1024;

// Names of the lines of text, as the store splits them (before the first '=').
std::map<std::string, std::string> read_names(const std::string& text) {
    std::map<std::string, std::string> values;
    for (size_t pos = 0; pos < text.size() && values.size() < 64;) {
        size_t nl = text.find('\n', pos);
        size_t end = nl == std::string::npos ? text.size() : nl;
        size_t eq = text.find('=', pos);
        // A line holding a NUL byte is not read; its name could not be asked for.
        if (eq < end && text.find('\0', pos) >= end) values[text.substr(pos, eq - pos)];
        pos = end + 1;
    }
    for (auto& kv : values) {
        const char* v = config_get(kv.first.c_str());
        require(v != nullptr, "config_get gave null");
        require(strnlen(v, kMaxValue + 1) <= kMaxValue, "value over the store's bound");
        kv.second = v;
    }
    return values;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input in(data, size);
    std::string name = in.text(64);
    std::string value = in.text(512);
    // A new path each time: the store re-reads a file it has not seen.
    static unsigned turn;
    std::string path = fuzz::scratch(++turn & 1 ? "store_a" : "store_b");
    std::string text = in.rest();
    fuzz::put_file(path, text);
    setenv("CONFIG_STORE", path.c_str(), 1);

    std::map<std::string, std::string> before = read_names(text);
    if (config_set(name.c_str(), value.c_str()) != 0) return 0;
    require(value == config_get(name.c_str()), "a written value reads back changed");
    require(config_match(name.c_str(), value.c_str()) == 1, "config_match after config_set");
    for (const auto& kv : before) {
        if (kv.first == name) continue;
        require(kv.second == config_get(kv.first.c_str()), "a write changed another key");
    }
    require(config_unset(name.c_str()) == 0, "config_unset");
    require(*config_get(name.c_str()) == '\0', "an unset key still reads");
    return 0;
}
