// Credential files: the block interleaving.

#include "dc_credentials.h"
#include "interleave.h"
#include "test_util.h"

namespace {

const int kChaos[8] = {DC_CHAOS_INDEX_MAP};
const int kPeace[8] = {DC_PEACE_INDEX_MAP};

class Credentials : public TempDirTest {
   protected:
    int interleave(const char* in, const char* out, int offset, int to_chaos) const {
        return interleave_file(path(in).c_str(), path(out).c_str(), offset, to_chaos);
    }
};

std::string pattern(size_t n) {
    std::string s;
    for (size_t i = 0; i < n; ++i) s.push_back(static_cast<char>(i * 31 + 7));
    return s;
}

// Expected result: full 128-byte blocks permuted group by group, the tail as it is.
std::string permuted(const std::string& in, const int* map) {
    std::string out = in;
    for (size_t b = 0; b + 128 <= in.size(); b += 128)
        for (int g = 0; g < 8; ++g) out.replace(b + map[g] * 16, 16, in, b + g * 16, 16);
    return out;
}

TEST_F(Credentials, InterleavesFullBlocksOnly) {
    const std::string data = pattern(300);
    put("in", data);
    ASSERT_EQ(interleave("in", "chaos", 0, 1), 0);
    EXPECT_EQ(slurp(path("chaos")), permuted(data, kChaos));
    ASSERT_EQ(interleave("chaos", "back", 0, 0), 0);
    EXPECT_EQ(slurp(path("back")), data);
    struct stat st {};
    ASSERT_EQ(stat(path("chaos").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0622, 0600u);  // created 0644: nobody else may write

    put("exact", pattern(256));
    ASSERT_EQ(interleave("exact", "exact.out", 0, 0), 0);
    EXPECT_EQ(slurp(path("exact.out")), permuted(pattern(256), kPeace));
}

TEST_F(Credentials, OffsetAndFailures) {
    const std::string data = pattern(200 + 128 + 5);
    put("in", data);
    ASSERT_EQ(interleave("in", "out", 200, 1), 0);
    EXPECT_EQ(slurp(path("out")), data.substr(0, 200) + permuted(data.substr(200), kChaos));

    EXPECT_EQ(interleave("in", "short.out", 400, 0), -1);
    EXPECT_EQ(interleave("missing", "never", 0, 0), -1);
    EXPECT_EQ(interleave("in", "no/dir", 0, 0), -1);
    EXPECT_FALSE(std::ifstream(path("never")).good());
}

}  // namespace
