// The configuration store (its readers and writers, concurrent and outside
// writers, the config tool) and the credential files' block interleaving.
#include <sys/wait.h>

#include "dc_credentials.h"
#include "interleave.h"
#include "test_util.h"

namespace {

class ConfigStore : public TempDirTest {
   protected:
    // Replaces the store by a new inode, as an outside writer would.
    void replace_store(const std::string& text) {
        put("ext", text);
        ASSERT_EQ(rename(path("ext").c_str(), path("config.store").c_str()), 0);
    }
};

// Runs the config tool; returns its exit status, stdout in *out.
int run_tool(const std::vector<std::string>& args, std::string* out = nullptr) {
    std::string cmd = std::string(getenv("DC_BUILD_DIR")) + "/config";
    for (const auto& a : args) cmd += " '" + a + "'";
    FILE* p = popen((cmd + " 2>/dev/null").c_str(), "r");
    if (!p) return -1;
    char buf[4096];
    size_t n = fread(buf, 1, sizeof buf, p);
    if (out) out->assign(buf, n);
    int status = pclose(p);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(ConfigStore, ReadsAbsentJunkAndHandWrittenLines) {
    EXPECT_STREQ(config_get("anything"), "");
    EXPECT_STREQ(config_get(nullptr), "");

    std::string junk("\x01\xff\0garbage=1\n", 14);
    replace_store("no equals sign\nurl=http://h/?a=b\n" + junk + std::string(200000, 'x') +
                  "\nlong=" + std::string(70000, 'v') + "\ndup=1\ndup=2\nlast=no newline");
    EXPECT_STREQ(config_get("no equals sign"), "");
    EXPECT_STREQ(config_get("url"), "http://h/?a=b");
    EXPECT_STREQ(config_get("long"), "");
    EXPECT_STREQ(config_get("dup"), "2");
    EXPECT_STREQ(config_get("last"), "no newline");
    EXPECT_EQ(config_invmatch("url", "http://h/?a=b"), 0);

    // A set keeps hand-written lines and collapses duplicates.
    ASSERT_EQ(config_set("dup", "3"), 0);
    std::string text = slurp(path("config.store"));
    EXPECT_EQ(text.find("no equals sign\nurl=http://h/?a=b\n"), 0u);
    EXPECT_NE(text.find("\ndup=3\nlast=no newline\n"), std::string::npos);
    EXPECT_EQ(text.find("dup=2"), std::string::npos);
}

TEST_F(ConfigStore, EscapesOnlyWhatWouldBreakTheFile) {
    const char* tricky = "line1\nline2\r\\n end\\";
    ASSERT_EQ(config_set("multi", tricky), 0);
    ASSERT_EQ(config_set("plain", "a b=c\t\"'$(x)"), 0);
    EXPECT_STREQ(config_get("multi"), tricky);
    EXPECT_EQ(slurp(path("config.store")),
              "multi=line1\\nline2\\r\\\\n end\\\\\nplain=a b=c\t\"'$(x)\n");

    for (const char* bad : {"", "a=b", "a\nb"}) EXPECT_EQ(config_set(bad, "x"), -1) << bad;
    EXPECT_EQ(config_set(nullptr, "x"), -1);
    std::string max(64 * 1024, 'v');
    EXPECT_EQ(config_set("big", (max + "v").c_str()), -1);
    ASSERT_EQ(config_set("big", max.c_str()), 0);
    EXPECT_EQ(config_get("big"), max);
}

TEST_F(ConfigStore, ConcurrentWritersKeepEveryKey) {
    const int procs = 6, keys = 40;
    auto name = [](int p, int k) { return "p" + std::to_string(p) + "_k" + std::to_string(k); };
    for (int p = 0; p < procs; ++p) {
        // The writers only call config_set and _exit; _Fork skips the fork
        // handlers and thread-stack bookkeeping, which qemu-arm mishandles in a
        // dynamically linked child (the armhf suite runs under it).
        pid_t pid = _Fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            int failures = 0;
            for (int k = 0; k < keys; ++k)
                failures += config_set(name(p, k).c_str(), name(p, k).c_str()) != 0;
            _exit(failures != 0);
        }
    }
    int status = 0;
    while (wait(&status) > 0) EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    for (int p = 0; p < procs; ++p)
        for (int k = 0; k < keys; ++k) EXPECT_EQ(config_get(name(p, k).c_str()), name(p, k));
}

TEST_F(ConfigStore, SeesOutsideWritesAndKeepsOldTextValid) {
    ASSERT_EQ(config_set("mode", "router"), 0);
    char* first = config_get("mode");
    replace_store("mode=bridge\n");
    EXPECT_STREQ(config_get("mode"), "bridge");
    ASSERT_EQ(config_set("mode", "ap"), 0);
    EXPECT_STREQ(config_get("mode"), "ap");
    EXPECT_STREQ(first, "router");

    // A set updates the cached store in place only when the cache is of the
    // file it replaced: here another writer came between.
    replace_store("mode=ap\nother=1\n");
    ASSERT_EQ(config_set("multi", "a\nb\\"), 0);
    EXPECT_STREQ(config_get("other"), "1");
    ASSERT_EQ(config_unset("mode"), 0);
    EXPECT_STREQ(config_get("mode"), "");
    EXPECT_STREQ(config_get("multi"), "a\nb\\");

    setenv("CONFIG_STORE", path("other.store").c_str(), 1);
    EXPECT_STREQ(config_get("mode"), "");
    // Read afresh, the file says what the cache said.
    setenv("CONFIG_STORE", path("config.store").c_str(), 1);
    EXPECT_STREQ(config_get("multi"), "a\nb\\");
    EXPECT_STREQ(config_get("other"), "1");
}

TEST_F(ConfigStore, ToolExitStatuses) {
    if (!getenv("DC_BUILD_DIR")) GTEST_SKIP() << "DC_BUILD_DIR not set";
    std::string out;
    EXPECT_EQ(run_tool({"set", "wl_ssid=Home=Net"}), 0);
    EXPECT_EQ(run_tool({"get", "wl_ssid"}, &out), 0);
    EXPECT_EQ(out, "Home=Net\n");
    ASSERT_EQ(config_set("note", "a\nb"), 0);
    EXPECT_EQ(run_tool({"show"}, &out), 0);
    EXPECT_EQ(out, "wl_ssid=Home=Net\nnote=a\\nb\n");
    EXPECT_EQ(run_tool({"unset", "wl_ssid"}), 0);
    EXPECT_STREQ(config_get("wl_ssid"), "");

    for (const auto& bad : std::vector<std::vector<std::string>>{
             {}, {"get"}, {"get", "a", "b"}, {"get", ""}, {"set", "novalue"}, {"set", "=v"},
             {"unset", ""}, {"show", "x"}, {"frobnicate", "a"}})
        EXPECT_EQ(run_tool(bad), 2) << (bad.empty() ? "" : bad[0]);

    setenv("CONFIG_STORE", "/nonexistent-dir/config.store", 1);
    EXPECT_EQ(run_tool({"set", "a=1"}), 1);
}

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

TEST_F(Credentials, InterleavesFullBlocksAfterTheOffset) {
    // Input size, offset, direction; the result read back the other way.
    const struct { size_t size; int offset, to_chaos; } cases[] = {
        {300, 0, 1}, {256, 0, 0}, {333, 200, 1}};
    for (const auto& c : cases) {
        const std::string data = pattern(c.size), head = data.substr(0, c.offset);
        const std::string out = "out" + std::to_string(c.size), back = "back" + std::to_string(c.size);
        put("in", data);
        ASSERT_EQ(interleave("in", out.c_str(), c.offset, c.to_chaos), 0);
        const int* map = c.to_chaos ? kChaos : kPeace;
        EXPECT_EQ(slurp(path(out)), head + permuted(data.substr(c.offset), map));
        ASSERT_EQ(interleave(out.c_str(), back.c_str(), c.offset, !c.to_chaos), 0);
        EXPECT_EQ(slurp(path(back)), data) << c.size;
    }
    struct stat st {};
    ASSERT_EQ(stat(path("out300").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0622, 0600u);  // created 0644: nobody else may write

    EXPECT_EQ(interleave("in", "short.out", 400, 0), -1);
    EXPECT_EQ(interleave("missing", "never", 0, 0), -1);
    EXPECT_EQ(interleave("in", "no/dir", 0, 0), -1);
    EXPECT_FALSE(std::ifstream(path("never")).good());
}

}  // namespace
