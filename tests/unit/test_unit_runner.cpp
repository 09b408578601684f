// Command runner, scratch files, logs and metric readers.
#include "unit.h"

#include <config_store.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <functional>
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

TEST_F(RunnerTest, LineCountAndWholeFiles)
{
    EXPECT_EQ(get_file_line_num(put("three", "a\nb\nc\n").c_str()), 3);
    EXPECT_EQ(get_file_line_num(put("open", "a\nb").c_str()), 1);  // as wc -l counts
    EXPECT_FALSE(file_exists("/tmp/line_num"));
    EXPECT_EQ(get_file_line_num(path("missing").c_str()), 0);

    std::string got;
    EXPECT_TRUE(read_whole_file("/dev/zero", got, 10000));
    EXPECT_EQ(got.size(), 10000u);
}

long elapsed_ms(const std::function<void()>& f)
{
    auto start = std::chrono::steady_clock::now();
    f();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 start).count();
}

// Dead or a zombie waiting for init, within a second of its SIGKILL.
bool gone(const std::string& pid)
{
    for (int i = 0; i < 100; ++i, usleep(10000)) {
        std::string stat = slurp("/proc/" + pid + "/stat");
        size_t paren = stat.rfind(')');
        if (stat.empty() || (paren != std::string::npos && stat.compare(paren + 2, 1, "Z") == 0))
            return true;
    }
    return false;
}

TEST_F(RunnerTest, ProgramsStartWithoutAShell)
{
    EXPECT_EQ(program_output({"printf", "%s", "$(id);'`*"}), "$(id);'`*");  // found along PATH
    EXPECT_EQ(program_output({"/bin/cat"}), "");                            // stdin is /dev/null
    RunResult err = run_program({{"sh", "-c", "echo out; echo err >&2; exit 3"}, 64, Capture::Stderr});
    EXPECT_EQ(err.out, "err\n");
    EXPECT_EQ(err.status, 3 << 8);
    RunResult missing = run_program({{"no-such-tool-anywhere"}});
    EXPECT_FALSE(missing.started);
    EXPECT_EQ(missing.status, 127 << 8);  // as the shell reports it

    RunRequest env({"sh", "-c", "echo $LD_LIBRARY_PATH"});
    env.env = {"LD_LIBRARY_PATH=/opt/x/lib"};
    EXPECT_EQ(run_program(env).out, "/opt/x/lib\n");

    // Flooding output stops the tool at the bound; what came first is kept.
    RunResult flood = run_program({{"yes"}, 1000});
    EXPECT_TRUE(flood.cut && flood.finished());
    std::string ys;
    for (int i = 0; i < 500; ++i) ys += "y\n";
    EXPECT_EQ(flood.out, ys);
}

TEST_F(RunnerTest, DeadlinesStopTheWholeGroupAndAreNotWaitedTwice)
{
    // A tool that ignores SIGTERM and one whose background child keeps the
    // pipe open: neither holds the run for long, nothing of theirs lives on.
    std::string bg;
    long t = elapsed_ms([&] { bg = program_output({"sh", "-c", "sleep 30 & echo $!"}); });
    EXPECT_LT(t, 2000);
    ASSERT_FALSE(bg.empty());
    bg.pop_back();
    EXPECT_TRUE(gone(bg));

    RunRequest hang({"sh", "-c", "trap '' TERM; echo early; sleep 30"});
    hang.timeout_ms = 300;
    RunResult r;
    t = elapsed_ms([&] { r = run_program(hang); });
    EXPECT_TRUE(r.timed_out && r.started);
    EXPECT_EQ(r.out, "");  // counts as missing
    EXPECT_LT(t, 1500);
    t = elapsed_ms([&] { r = run_program(hang); });
    EXPECT_TRUE(r.timed_out && !r.started);
    EXPECT_LT(t, 100);

    // A scratch file others read: whole, empty for a missing tool, gone after a deadline.
    std::string file = put("scratch", "stale\n");
    run_to_file({{"printf", "fresh\n"}}, file.c_str());
    EXPECT_EQ(slurp(file), "fresh\n");
    run_to_file({{"no-such-tool-anywhere"}}, file.c_str());
    EXPECT_TRUE(file_exists(file.c_str()) && slurp(file).empty());
    run_to_file(hang, file.c_str());
    EXPECT_FALSE(file_exists(file.c_str()));
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
