#include "config_store.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

class ConfigStore : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/config_store_test.XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        path_ = dir_ + "/config.store";
        setenv("CONFIG_STORE", path_.c_str(), 1);
    }
    void TearDown() override {
        unsetenv("CONFIG_STORE");
        std::string cmd = "rm -rf '" + dir_ + "'";
        EXPECT_EQ(system(cmd.c_str()), 0);
    }
    // Replaces the file by a new inode, as an outside writer would.
    void write_file(const std::string& text) {
        std::string tmp = path_ + ".ext";
        std::ofstream(tmp, std::ios::binary) << text;
        ASSERT_EQ(rename(tmp.c_str(), path_.c_str()), 0);
    }
    std::string file_text() {
        std::ifstream in(path_, std::ios::binary);
        std::stringstream ss;
        ss << in.rdbuf();
        return ss.str();
    }
    std::string dir_, path_;
};

// Runs the config tool with args; returns its exit status, stdout in *out.
int run_tool(const std::vector<std::string>& args, std::string* out = nullptr) {
    std::string tool = std::string(getenv("DC_BUILD_DIR")) + "/config";
    int fds[2];
    if (pipe(fds) != 0) return -1;
    pid_t pid = fork();
    if (pid == 0) {
        dup2(fds[1], 1);
        close(fds[0]);
        std::vector<char*> argv{const_cast<char*>("config")};
        for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        int devnull = open("/dev/null", O_WRONLY);
        dup2(devnull, 2);
        execv(tool.c_str(), argv.data());
        _exit(127);
    }
    close(fds[1]);
    std::string text;
    char buf[4096];
    ssize_t n;
    while ((n = read(fds[0], buf, sizeof buf)) > 0) text.append(buf, static_cast<size_t>(n));
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    if (out) *out = text;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(ConfigStore, ReadsAbsentJunkAndHandWrittenLines) {
    EXPECT_STREQ(config_get("anything"), "");
    EXPECT_EQ(config_match("anything", ""), 1);
    EXPECT_EQ(config_invmatch("anything", "x"), 1);
    EXPECT_STREQ(config_get(nullptr), "");

    std::string junk("\x01\xff\0garbage=1\n", 14);
    write_file("no equals sign\nurl=http://h/?a=b\nC=C:\\dir\n=empty\n" + junk +
               std::string(200000, 'x') + "\nlong=" + std::string(70000, 'v') +
               "\ndup=1\ndup=2\nlast=no newline");
    EXPECT_STREQ(config_get("no equals sign"), "");
    EXPECT_STREQ(config_get("url"), "http://h/?a=b");
    EXPECT_STREQ(config_get("C"), "C:\\dir");
    EXPECT_STREQ(config_get("long"), "");
    EXPECT_STREQ(config_get("dup"), "2");
    EXPECT_STREQ(config_get("last"), "no newline");
    EXPECT_EQ(config_match("url", "http://h/?a="), 0);
    EXPECT_EQ(config_invmatch("url", "http://h/?a=b"), 0);

    // A set keeps hand-written lines and collapses duplicates.
    ASSERT_EQ(config_set("dup", "3"), 0);
    std::string text = file_text();
    EXPECT_EQ(text.find("no equals sign\nurl=http://h/?a=b\n"), 0u);
    EXPECT_NE(text.find("\ndup=3\nlast=no newline\n"), std::string::npos);
    EXPECT_EQ(text.find("dup=2"), std::string::npos);
}

TEST_F(ConfigStore, EscapesOnlyWhatWouldBreakTheFile) {
    const char* tricky = "line1\nline2\r\\n end\\";
    ASSERT_EQ(config_set("multi", tricky), 0);
    ASSERT_EQ(config_set("plain", "a b=c\t\"'$(x)"), 0);
    EXPECT_STREQ(config_get("multi"), tricky);
    EXPECT_EQ(file_text(), "multi=line1\\nline2\\r\\\\n end\\\\\nplain=a b=c\t\"'$(x)\n");

    EXPECT_EQ(config_set("", "x"), -1);
    EXPECT_EQ(config_set(nullptr, "x"), -1);
    EXPECT_EQ(config_set("a=b", "x"), -1);
    EXPECT_EQ(config_set("a\nb", "x"), -1);
    EXPECT_EQ(config_set("big", std::string(64 * 1024 + 1, 'v').c_str()), -1);
    std::string max(64 * 1024, 'v');
    ASSERT_EQ(config_set("big", max.c_str()), 0);
    EXPECT_EQ(config_get("big"), max);

    EXPECT_EQ(config_unset("multi"), 0);
    EXPECT_EQ(config_unset("never"), 0);
    EXPECT_STREQ(config_get("multi"), "");
}

TEST_F(ConfigStore, ConcurrentWritersKeepEveryKey) {
    const int procs = 6, keys = 40;
    std::vector<pid_t> pids;
    for (int p = 0; p < procs; ++p) {
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            int failures = 0;
            for (int k = 0; k < keys; ++k) {
                std::string name = "p" + std::to_string(p) + "_k" + std::to_string(k);
                failures += config_set(name.c_str(), name.c_str()) != 0;
            }
            _exit(failures ? 1 : 0);
        }
        pids.push_back(pid);
    }
    for (pid_t pid : pids) {
        int status = 0;
        waitpid(pid, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    for (int p = 0; p < procs; ++p)
        for (int k = 0; k < keys; ++k) {
            std::string name = "p" + std::to_string(p) + "_k" + std::to_string(k);
            EXPECT_STREQ(config_get(name.c_str()), name.c_str());
        }
}

TEST_F(ConfigStore, SeesOutsideWritesAndKeepsOldTextValid) {
    ASSERT_EQ(config_set("mode", "router"), 0);
    char* first = config_get("mode");
    EXPECT_EQ(config_get("mode"), first);  // interned, not copied again

    write_file("mode=bridge\n");
    EXPECT_STREQ(config_get("mode"), "bridge");
    ASSERT_EQ(config_set("mode", "ap"), 0);
    EXPECT_STREQ(config_get("mode"), "ap");
    EXPECT_STREQ(first, "router");

    // Switching stores follows the environment.
    std::string other = dir_ + "/other.store";
    setenv("CONFIG_STORE", other.c_str(), 1);
    EXPECT_STREQ(config_get("mode"), "");
    EXPECT_EQ(config_commit(), 0);
}

TEST_F(ConfigStore, ToolExitStatuses) {
    if (!getenv("DC_BUILD_DIR")) GTEST_SKIP() << "DC_BUILD_DIR not set";
    std::string out;
    EXPECT_EQ(run_tool({"set", "wl_ssid=Home=Net"}), 0);
    EXPECT_EQ(run_tool({"set", "empty="}), 0);
    EXPECT_EQ(run_tool({"get", "wl_ssid"}, &out), 0);
    EXPECT_EQ(out, "Home=Net\n");
    EXPECT_EQ(run_tool({"get", "absent"}, &out), 0);
    EXPECT_EQ(out, "\n");
    EXPECT_STREQ(config_get("wl_ssid"), "Home=Net");
    ASSERT_EQ(config_set("note", "a\nb"), 0);
    EXPECT_EQ(run_tool({"show"}, &out), 0);
    EXPECT_EQ(out, "wl_ssid=Home=Net\nempty=\nnote=a\\nb\n");
    EXPECT_EQ(run_tool({"unset", "wl_ssid"}), 0);
    EXPECT_STREQ(config_get("wl_ssid"), "");
    EXPECT_EQ(run_tool({"commit"}), 0);

    for (const auto& bad : std::vector<std::vector<std::string>>{
             {}, {"get"}, {"get", "a", "b"}, {"get", ""}, {"set", "novalue"}, {"set", "=v"},
             {"unset", ""}, {"show", "x"}, {"frobnicate", "a"}})
        EXPECT_EQ(run_tool(bad), 2) << (bad.empty() ? "" : bad[0]);

    setenv("CONFIG_STORE", "/nonexistent-dir/config.store", 1);
    EXPECT_EQ(run_tool({"set", "a=1"}), 1);
}

}  // namespace
