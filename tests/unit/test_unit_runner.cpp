// Command runner, scratch files, logs and metric readers.
#include "unit.h"

#include <config_store.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "test_util.h"

namespace {

using RunnerTest = TempDirTest;

TEST_F(RunnerTest, CatFileFirstLine)
{
    EXPECT_STREQ(cat_file(put("crlf", "abc\r\nsecond\n").c_str()), "abc");
    EXPECT_STREQ(cat_file(put("empty", "").c_str()), "");
    EXPECT_STREQ(cat_file(path("missing").c_str()), "");
    EXPECT_STREQ(cat_file(put("bin", std::string("ab\0cd\n", 6)).c_str()), "ab");
    EXPECT_EQ(strlen(cat_file(put("long", std::string(100000, 'z')).c_str())), 511u);
}

TEST_F(RunnerTest, SafeSystem)
{
    std::string out = put("x", "old content\n");
    EXPECT_EQ(zol_safe_system(out.c_str(), nullptr, 0, "/bin/echo", "one", nullptr), 0);
    EXPECT_EQ(slurp(out), "one\n");
    zol_safe_system(out.c_str(), nullptr, 2, "/bin/echo", "two", nullptr);
    EXPECT_EQ(slurp(out), "one\ntwo\n");

    std::string big(3000, 'k');
    zol_safe_system(out.c_str(), nullptr, 0, "/usr/bin/printf", "%s", big.c_str(), nullptr);
    EXPECT_EQ(slurp(out), big.substr(0, 2047));
    // Arguments are never interpreted by a shell.
    zol_safe_system(out.c_str(), nullptr, 0, "/usr/bin/printf", "%s", "$(id);'`", nullptr);
    EXPECT_EQ(slurp(out), "$(id);'`");

    EXPECT_EQ(zol_safe_system(nullptr, nullptr, 0, "/no/such/program", nullptr), 127 << 8);
    EXPECT_EQ(zol_safe_system(path("no/dir/out").c_str(), nullptr, 0, "/bin/echo", "x", nullptr),
              127 << 8);
}

TEST_F(RunnerTest, SafeSystemDropsArgumentsBeyondTheVector)
{
#define A10 "a", "a", "a", "a", "a", "a", "a", "a", "a", "a"
    testing::internal::CaptureStdout();
    zol_safe_system(path("many").c_str(), nullptr, 0, "/usr/bin/printf", "%s\n", A10, A10, A10,
                    A10, A10, A10, A10, A10, A10, A10, nullptr);
#undef A10
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "warning: drop some argv!\n");
    // The format plus 97 of the 100 words fit in the 98 further arguments.
    EXPECT_EQ(slurp(path("many")).size(), 97 * 2u);
}

TEST_F(RunnerTest, ScratchFilesAndQuoting)
{
    EXPECT_EQ(get_file_line_num(put("three", "a\nb\nc\n").c_str()), 3);
    EXPECT_FALSE(file_exists("/tmp/line_num"));
    EXPECT_EQ(get_file_line_num(path("missing").c_str()), 0);

    std::string got;
    EXPECT_TRUE(read_whole_file("/dev/zero", got, 10000));
    EXPECT_EQ(got.size(), 10000u);

    // Any text survives the shell as one literal word.
    std::string nasty = "it's \"$(x)\" `y` \\ ; |&\n*";
    std::string target = path("quoted");
    EXPECT_EQ(run_shell(("printf %s " + shell_quote(nasty) + " > " + shell_quote(target)).c_str()),
              0);
    EXPECT_EQ(slurp(target), nasty);
    EXPECT_EQ(run_shell("exit 3"), 3 << 8);  // the wait status, as system() gives it
}

// popen/pclose as the firmware used them: the shell's whole stdout, then its
// exit waited for; the pipe is not left open in later children.
TEST_F(RunnerTest, ShellReaderReadsTheShellsOutput)
{
    std::string pipe_name;
    {
        ShellReader reader("printf 'one\\ntwo\\n'");
        ASSERT_NE(reader.get(), nullptr);
        char line[16];
        ASSERT_NE(fgets(line, sizeof line, reader.get()), nullptr);
        EXPECT_STREQ(line, "one\n");
        struct stat st {};
        ASSERT_EQ(fstat(fileno(reader.get()), &st), 0);
        ShellReader inner(("ls -l /proc/self/fd > " + shell_quote(path("fds"))).c_str());
        pipe_name = "pipe:[" + std::to_string(st.st_ino) + "]";
    }
    EXPECT_EQ(slurp(path("fds")).find(pipe_name), std::string::npos) << slurp(path("fds"));
    ShellReader silent("exit 1");
    ASSERT_NE(silent.get(), nullptr);
    EXPECT_EQ(fgetc(silent.get()), EOF);
}

TEST_F(RunnerTest, Logs)
{
    const char* log = "/tmp/RA_collect.log";
    bool had_log = file_exists(log);
    RA_logger("%s", std::string(20000, 'm').c_str());
    std::string text = slurp(log);
    ASSERT_GT(text.size(), 16384u);
    EXPECT_EQ(text.back(), '\n');
    size_t start = text.rfind('[', text.size() - 16384);
    ASSERT_NE(start, std::string::npos);
    // "[" date-time "]" then the message cut to 16382 characters.
    EXPECT_EQ(text.size() - start, 1 + 19 + 1 + 16382 + 1u);
    if (!had_log)
        unlink(log);

    const char* trace = "/tmp/aws_log.txt";
    bool had_trace = file_exists(trace);
    std::string trace_before = slurp(trace);
    Dprintf("off %d", 1);
    EXPECT_EQ(slurp(trace), trace_before);
    config_set("aws_log", "1");
    DC_TRACE("fn", 12, "x=%s", std::string(2000, 'y').c_str());
    EXPECT_EQ(slurp(trace).substr(trace_before.size()),
              "DEBUG:   fn L#12 x=" + std::string(1021, 'y') + "\n");
    if (!had_trace)
        unlink(trace);
}

TEST_F(RunnerTest, MetricReaders)
{
    std::string mem = put("meminfo",
                          "MemTotal:        1000 kB\nMemFree:          200 kB\n"
                          "MemAvailable:     500 kB\nBuffers:          100 kB\n"
                          "Cached:           200 kB\n");
    EXPECT_FLOAT_EQ(memory_utilization_from(mem.c_str()), 50.0f);
    EXPECT_FLOAT_EQ(memory_utilization_from(path("missing").c_str()), 0.0f);

    char v[8][21];
    for (auto& s : v)
        strcpy(s, "unset");
    cpu_util_from(path("missing").c_str(), v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]);
    EXPECT_STREQ(v[0], "unset");
    std::string stat = put("stat", "cpu0 9 9\ncpu  1 2 3 4 5 6 7 8 9 10\n");
    cpu_util_from(stat.c_str(), v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]);
    EXPECT_STREQ(v[0], "1");
    EXPECT_STREQ(v[7], "8");
    // An oversized counter cannot overrun the 21-byte buffers.
    stat = put("stat", "cpu  " + std::string(40, '9') + " 2 3 4 5 6 7 8\n");
    cpu_util_from(stat.c_str(), v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]);
    EXPECT_EQ(strlen(v[0]), 20u);

    char mac[32] = "stale";
    EXPECT_EQ(get_macaddr("nosuchif", mac), mac);
    EXPECT_STREQ(mac, "");
}

}  // namespace
