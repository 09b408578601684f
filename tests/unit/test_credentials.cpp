// Credential files: appending the line arrays and the block interleaving.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include <sys/stat.h>

#include "dc_credentials.h"
#include "generate_crtkt.h"
#include "interleave.h"

namespace {

const int kChaos[8] = {DC_CHAOS_INDEX_MAP};
const int kPeace[8] = {DC_PEACE_INDEX_MAP};

class Credentials : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/dc_cred_unit_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
    }
    void TearDown() override { ASSERT_EQ(system(("rm -rf '" + dir_ + "'").c_str()), 0); }
    std::string path(const char* name) const { return dir_ + "/" + name; }
    void write(const char* name, const std::string& data) const {
        std::ofstream(path(name), std::ios::binary) << data;
    }
    std::string read(const char* name) const {
        std::stringstream ss;
        ss << std::ifstream(path(name), std::ios::binary).rdbuf();
        return ss.str();
    }
    int interleave(const char* in, const char* out, int offset, int to_chaos) const {
        return interleave_file(path(in).c_str(), path(out).c_str(), offset, to_chaos);
    }
    std::string dir_;
};

std::string pattern(size_t n) {
    std::string s;
    for (size_t i = 0; i < n; ++i) s.push_back(static_cast<char>(i * 31 + 7));
    return s;
}

// Expected result: full blocks permuted group by group, the tail as it is.
std::string permuted(const std::string& in, const int* map) {
    std::string out = in;
    for (size_t b = 0; b + 128 <= in.size(); b += 128)
        for (int g = 0; g < 8; ++g) out.replace(b + map[g] * 16, 16, in, b + g * 16, 16);
    return out;
}

TEST_F(Credentials, InterleavesFullBlocksOnly) {
    const std::string data = pattern(300);
    write("in", data);
    ASSERT_EQ(interleave("in", "chaos", 0, 1), 0);
    const std::string chaos = read("chaos");
    EXPECT_EQ(chaos, permuted(data, kChaos));
    EXPECT_NE(chaos.substr(0, 256), data.substr(0, 256));
    EXPECT_EQ(chaos.substr(256), data.substr(256));
    ASSERT_EQ(interleave("chaos", "back", 0, 0), 0);
    EXPECT_EQ(read("back"), data);
    struct stat st {};
    ASSERT_EQ(stat(path("chaos").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0622, 0600u);

    write("exact", pattern(256));
    ASSERT_EQ(interleave("exact", "exact.out", 0, 0), 0);
    EXPECT_EQ(read("exact.out"), permuted(pattern(256), kPeace));

    // An existing longer output keeps its tail.
    write("long", std::string(400, '#'));
    write("small", pattern(130));
    ASSERT_EQ(interleave("small", "long", 0, 1), 0);
    EXPECT_EQ(read("long"), permuted(pattern(130), kChaos) + std::string(270, '#'));
}

TEST_F(Credentials, OffsetAndFailures) {
    const std::string data = pattern(200 + 128 + 5);
    write("in", data);
    ASSERT_EQ(interleave("in", "out", 200, 1), 0);
    EXPECT_EQ(read("out"), data.substr(0, 200) + permuted(data.substr(200), kChaos));

    testing::internal::CaptureStderr();
    EXPECT_EQ(interleave("in", "short.out", 400, 0), -1);
    EXPECT_EQ(interleave("missing", "never", 0, 0), -1);
    EXPECT_EQ(interleave("in", "no/dir", 0, 0), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "data in " + path("in") + " little than offset 400\n"
              "open in file " + path("missing") + " fail: No such file or directory\n"
              "open out file " + path("no/dir") + " fail: No such file or directory\n");
    struct stat st {};
    EXPECT_NE(stat(path("never").c_str(), &st), 0);
}

TEST_F(Credentials, PrintToFileAppends) {
    const char* const lines[] = {"QUJD", "REVG", nullptr};
    const std::string file = path("cert");
    print_to_file(file.c_str(), lines);
    print_to_file(file.c_str(), lines);
    print_to_file(file.c_str(), nullptr);
    print_to_file(nullptr, lines);
    EXPECT_EQ(read("cert"), "QUJD\nREVG\nQUJD\nREVG\n");
}

}  // namespace
