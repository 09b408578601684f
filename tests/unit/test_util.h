// Shared fixtures of the unit tests: a private temporary directory (with its
// own configuration store) and whole-file helpers.
// Also the headers most tests use.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "Add_object.h"
#include "config_store.h"
#include "unit.h"
#include "zol_json.h"

// Each test gets a fresh directory, removed afterwards, and a store file in it
// (CONFIG_STORE points there for the test's duration).
class TempDirTest : public ::testing::Test {
   protected:
    void SetUp() override {
        char tmpl[] = "/tmp/dc_unit.XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        setenv("CONFIG_STORE", path("config.store").c_str(), 1);
        runner_forget_stopped();  // every test starts with a run's whole budget
    }
    void TearDown() override {
        unsetenv("CONFIG_STORE");
        std::string cmd = "rm -rf '" + dir_ + "'";
        EXPECT_EQ(system(cmd.c_str()), 0);
    }
    std::string path(const std::string& name) const { return dir_ + "/" + name; }
    // Writes content to name inside the directory and returns its path.
    std::string put(const std::string& name, const std::string& content) const {
        std::ofstream(path(name), std::ios::binary) << content;
        return path(name);
    }
    std::string dir_;
};

// Each text looked up (a std::string made at once, so static buffers may be
// reused) against what it must be.
inline void expect_all(std::initializer_list<std::pair<std::string, std::string>> cases) {
    int row = 0;
    for (const auto& [got, want] : cases) EXPECT_EQ(got, want) << "row " << row++;
}

// Compact text of a JSON value: member order, types and values at once.
inline std::string json_text(json_object* o) {
    return o ? json_object_to_json_string_ext(o, JSON_C_TO_STRING_PLAIN) : "<null>";
}
inline std::string json_text(const JsonPtr& o) { return json_text(o.get()); }
// A member's value as text; "<absent>" when there is none.
inline std::string member_text(json_object* o, const char* name) {
    json_object* v = nullptr;
    if (!json_object_object_get_ex(o, name, &v)) return "<absent>";
    return v ? json_object_get_string(v) : "<null>";
}

inline std::string slurp(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

// A stream over a text, for parsers that read a FILE*.
struct TextFile : std::unique_ptr<FILE, int (*)(FILE*)> {
    explicit TextFile(const std::string& text) : unique_ptr(tmpfile(), fclose) {
        fwrite(text.data(), 1, text.size(), get());
        rewind(get());
    }
    operator FILE*() const { return get(); }
};
