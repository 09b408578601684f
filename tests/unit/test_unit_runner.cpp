// Command runner, scratch files, logs and metric readers.
#include "unit.h"

#include <config_store.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <signal.h>
#include <sys/wait.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

namespace {

class RunnerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/unit_runner_test.XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        setenv("CONFIG_STORE", path("config.store").c_str(), 1);
    }
    void TearDown() override
    {
        unsetenv("CONFIG_STORE");
        EXPECT_EQ(run_shell(("rm -rf " + shell_quote(dir_)).c_str()), 0);
    }
    std::string path(const std::string& name) const { return dir_ + "/" + name; }
    std::string write(const std::string& name, const std::string& text) const
    {
        std::ofstream(path(name), std::ios::binary) << text;
        return path(name);
    }
    static std::string slurp(const std::string& file)
    {
        std::string out;
        read_whole_file(file.c_str(), out);
        return out;
    }
    std::string dir_;
};

TEST_F(RunnerTest, CatFileFirstLine)
{
    EXPECT_STREQ(cat_file(write("crlf", "abc\r\nsecond\n").c_str()), "abc");
    EXPECT_STREQ(cat_file(write("empty", "").c_str()), "");
    EXPECT_STREQ(cat_file(path("missing").c_str()), "");
    EXPECT_STREQ(cat_file(write("cr", "x\ry\n").c_str()), "x");
    EXPECT_STREQ(cat_file(write("bin", std::string("ab\0cd\n", 6)).c_str()), "ab");
    EXPECT_EQ(strlen(cat_file(write("long", std::string(100000, 'z')).c_str())), 511u);
    EXPECT_EQ(strlen(cat_file("/dev/zero")), 0u);
}

TEST_F(RunnerTest, SafeSystemOutputModes)
{
    std::string out = write("x", "old content\n");
    int st = zol_safe_system(out.c_str(), nullptr, 0, "/bin/echo", "one", nullptr);
    ASSERT_TRUE(WIFEXITED(st));
    EXPECT_EQ(WEXITSTATUS(st), 0);
    EXPECT_EQ(slurp(out), "one\n");
    zol_safe_system(out.c_str(), nullptr, 2, "/bin/echo", "two", nullptr);
    EXPECT_EQ(slurp(out), "one\ntwo\n");

    // Bit 0 sends standard error to the same file.
    zol_safe_system(out.c_str(), nullptr, 1, "/bin/sh", "-c", "echo err >&2", nullptr);
    EXPECT_EQ(slurp(out), "err\n");
    std::string err2 = path("err2");
    zol_safe_system(out.c_str(), err2.c_str(), 2, "/bin/sh", "-c", "echo o; echo e >&2", nullptr);
    EXPECT_EQ(slurp(out), "err\no\n");
    EXPECT_EQ(slurp(err2), "e\n");
}

TEST_F(RunnerTest, SafeSystemArgumentsAndFailures)
{
    std::string out = path("arg");
    std::string big(3000, 'k');
    zol_safe_system(out.c_str(), nullptr, 0, "/usr/bin/printf", "%s", big.c_str(), nullptr);
    EXPECT_EQ(slurp(out), big.substr(0, 2047));

    // Arguments are never interpreted by a shell.
    zol_safe_system(out.c_str(), nullptr, 0, "/usr/bin/printf", "%s", "$(id);'`", nullptr);
    EXPECT_EQ(slurp(out), "$(id);'`");

    EXPECT_EQ(zol_safe_system(nullptr, nullptr, 0, "/no/such/program", nullptr), 127 << 8);
    testing::internal::CaptureStdout();
    int st = zol_safe_system(path("no/dir/out").c_str(), nullptr, 0, "/bin/echo", "x", nullptr);
    std::string said = testing::internal::GetCapturedStdout();
    EXPECT_EQ(st, 127 << 8);
    EXPECT_EQ(said.rfind("can not open " + path("no/dir/out") + " ", 0), 0u) << said;

    struct sigaction before {}, after {};
    sigaction(SIGINT, nullptr, &before);
    zol_safe_system(nullptr, nullptr, 0, "/bin/true", nullptr);
    sigaction(SIGINT, nullptr, &after);
    EXPECT_EQ(before.sa_handler, after.sa_handler);
}

TEST_F(RunnerTest, SafeSystemDropsArgumentsBeyondTheVector)
{
#define A10 "a", "a", "a", "a", "a", "a", "a", "a", "a", "a"
    std::string out = path("many");
    testing::internal::CaptureStdout();
    zol_safe_system(out.c_str(), nullptr, 0, "/usr/bin/printf", "%s\n", A10, A10, A10, A10, A10,
                    A10, A10, A10, A10, A10, nullptr);
    std::string said = testing::internal::GetCapturedStdout();
#undef A10
    EXPECT_EQ(said, "warning: drop some argv!\n");
    // The format plus 97 of the 100 words fit in the 98 further arguments.
    std::string want;
    for (int i = 0; i < 97; ++i)
        want += "a\n";
    EXPECT_EQ(slurp(out), want);
}

TEST_F(RunnerTest, LineCountAndFiles)
{
    EXPECT_EQ(get_file_line_num(write("three", "a\nb\nc\n").c_str()), 3);
    EXPECT_FALSE(file_exists("/tmp/line_num"));
    EXPECT_EQ(get_file_line_num(path("missing").c_str()), 0);

    std::string bin("\0\1\2zz", 5);
    std::string got;
    EXPECT_TRUE(read_whole_file(write("bin", bin).c_str(), got));
    EXPECT_EQ(got, bin);
    EXPECT_TRUE(read_whole_file("/dev/zero", got, 10000));
    EXPECT_EQ(got.size(), 10000u);
    EXPECT_FALSE(read_whole_file(path("missing").c_str(), got));
    EXPECT_TRUE(got.empty());
    EXPECT_TRUE(file_exists(dir_.c_str()));
    EXPECT_FALSE(read_whole_file(dir_.c_str(), got));

    // Any text survives the shell as one literal word.
    std::string nasty = "it's \"$(x)\" `y` \\ ; |&\n*";
    std::string target = path("quoted");
    EXPECT_EQ(run_shell(("printf %s " + shell_quote(nasty) + " > " + shell_quote(target)).c_str()),
              0);
    EXPECT_EQ(slurp(target), nasty);
}

TEST_F(RunnerTest, Logs)
{
    const char* log = "/tmp/RA_collect.log";
    bool had_log = file_exists(log);
    RA_logger("%s", std::string(20000, 'm').c_str());
    std::string text = slurp(log);
    ASSERT_FALSE(text.empty());
    EXPECT_EQ(text.back(), '\n');
    size_t start = text.rfind('[', text.size() - 16384);
    ASSERT_NE(start, std::string::npos);
    std::string line = text.substr(start);
    EXPECT_EQ(line.size(), 1 + 19 + 1 + 16382 + 1u) << line.substr(0, 40);
    if (!had_log)
        unlink(log);

    const char* trace = "/tmp/aws_log.txt";
    bool had_trace = file_exists(trace);
    std::string trace_before = slurp(trace);
    Dprintf("off %d", 1);
    EXPECT_EQ(file_exists(trace), had_trace);
    EXPECT_EQ(slurp(trace), trace_before);
    config_set("aws_log", "1");
    DC_TRACE("fn", 12, "x=%s", std::string(2000, 'y').c_str());
    std::string added = slurp(trace).substr(trace_before.size());
    EXPECT_EQ(added, "DEBUG:   fn L#12 x=" + std::string(1021, 'y') + "\n");
    if (!had_trace)
        unlink(trace);
}

TEST_F(RunnerTest, MetricReaders)
{
    std::string mem = write("meminfo",
                            "MemTotal:        1000 kB\nMemFree:          200 kB\n"
                            "MemAvailable:     500 kB\nBuffers:          100 kB\n"
                            "Cached:           200 kB\nSwapCached:         0 kB\n");
    EXPECT_FLOAT_EQ(memory_utilization_from(mem.c_str()), 50.0f);
    EXPECT_FLOAT_EQ(memory_utilization_from(path("missing").c_str()), 0.0f);
    char t[64] = "keep", f[64] = "", b[64] = "", c[64] = "";
    meminfo_from(path("missing").c_str(), t, f, b, c);
    EXPECT_STREQ(t, "keep");
    meminfo_from(mem.c_str(), t, f, b, c);
    EXPECT_STREQ(t, "MemTotal:        1000 kB\n");
    EXPECT_STREQ(c, "Cached:           200 kB\n");

    char v[8][21];
    for (auto& s : v)
        strcpy(s, "unset");
    cpu_util_from(path("missing").c_str(), v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]);
    EXPECT_STREQ(v[0], "unset");
    std::string stat = write("stat", "cpu  1 2 3 4 5 6 7 8 9 10\ncpu0 9 9 9 9 9 9 9 9\n");
    cpu_util_from(stat.c_str(), v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]);
    EXPECT_STREQ(v[0], "1");
    EXPECT_STREQ(v[7], "8");
    // An oversized counter cannot overrun the 21-byte buffers.
    stat = write("stat2", "cpu  " + std::string(40, '9') + " 2 3 4 5 6 7 8\n");
    cpu_util_from(stat.c_str(), v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]);
    EXPECT_EQ(strlen(v[0]), 20u);

    EXPECT_GT(get_uptime(), 0);
    char mac[32] = "stale";
    EXPECT_EQ(get_macaddr("nosuchif", mac), mac);
    EXPECT_STREQ(mac, "");
    EXPECT_STREQ(get_macaddr("lo", mac), "00:00:00:00:00:00");
    EXPECT_EQ(get_ipaddr("nosuchif"), 0u);
    EXPECT_EQ(get_ipaddr("lo"), inet_addr("127.0.0.1"));
}

}  // namespace
