// The helpers every collector shares: command runner, scratch files, logs,
// metric readers, and the text, MAC, time and digest helpers.
#include <chrono>
#include <functional>

#include "collect_generic.h"
#include "diagnostic_log.h"
#include "test_util.h"

namespace {

using RunnerTest = TempDirTest;

TEST_F(RunnerTest, FirstLinesAndLineCounts) {
    auto first = [&](const std::string& text) { return cat_file(put("f", text).c_str()); };
    expect_all({{first("abc\r\nsecond\n"), "abc"}, {first(""), ""}, {cat_file(path("missing").c_str()), ""},
                {first(std::string("ab\0cd\n", 6)), "ab"}, {first(std::string(100000, 'z')), std::string(511, 'z')}});
    EXPECT_EQ(get_file_line_num(path("missing").c_str()), 0);  // texts: the wc -l differential
    std::string got;
    EXPECT_TRUE(read_whole_file("/dev/zero", got, 10000));
    EXPECT_EQ(got.size(), 10000u);
}

TEST_F(RunnerTest, SafeSystem) {
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

TEST_F(RunnerTest, SafeSystemDropsArgumentsBeyondTheVector) {
#define A10 "a", "a", "a", "a", "a", "a", "a", "a", "a", "a"
    testing::internal::CaptureStdout();
    zol_safe_system(path("many").c_str(), nullptr, 0, "/usr/bin/printf", "%s\n", A10, A10, A10,
                    A10, A10, A10, A10, A10, A10, A10, nullptr);
#undef A10
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "warning: drop some argv!\n");
    // The format plus 97 of the 100 words fit in the 98 further arguments.
    EXPECT_EQ(slurp(path("many")).size(), 97 * 2u);
}

long elapsed_ms(const std::function<void()>& f) {
    auto start = std::chrono::steady_clock::now();
    f();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 start).count();
}

// Dead or a zombie waiting for init, within a second of its SIGKILL.
bool gone(const std::string& pid) {
    for (int i = 0; i < 100; ++i, usleep(10000)) {
        std::string stat = slurp("/proc/" + pid + "/stat");
        size_t paren = stat.rfind(')');
        if (stat.empty() || (paren != std::string::npos && stat.compare(paren + 2, 1, "Z") == 0))
            return true;
    }
    return false;
}

TEST_F(RunnerTest, ProgramsStartWithoutAShell) {
    EXPECT_EQ(program_output({"printf", "%s", "$(id);'`*"}), "$(id);'`*");  // found along PATH
    EXPECT_EQ(program_output({"/bin/cat"}), "");                            // stdin is /dev/null
    RunResult err = run_program({{"sh", "-c", "echo out; echo err >&2; exit 3"}, 64, Capture::Stderr});
    EXPECT_TRUE(err.out == "err\n" && err.status == 3 << 8) << err.out << err.status;
    RunResult missing = run_program({{"no-such-tool-anywhere"}});
    EXPECT_TRUE(!missing.started && missing.status == 127 << 8);  // as the shell reports it

    RunRequest env({"sh", "-c", "echo $LD_LIBRARY_PATH"});
    env.env = {"LD_LIBRARY_PATH=/opt/x/lib"};
    EXPECT_EQ(run_program(env).out, "/opt/x/lib\n");

    // A question that holds for the run starts its tool once.
    RunRequest ask({"sh", "-c", "echo x >>" + path("asked") + "; wc -l <" + path("asked")});
    ask.reuse = true;
    EXPECT_EQ(run_program(ask).out, "1\n");
    EXPECT_EQ(run_program(ask).out, "1\n");
    ask.reuse = false;
    EXPECT_EQ(run_program(ask).out, "2\n");

    // Flooding output stops the tool at the bound; what came first is kept.
    RunResult flood = run_program({{"yes"}, 1000});
    EXPECT_TRUE(flood.cut && flood.finished());
    std::string ys;
    for (int i = 0; i < 500; ++i) ys += "y\n";
    EXPECT_EQ(flood.out, ys);
}

TEST_F(RunnerTest, DeadlinesStopTheWholeGroupAndAreNotWaitedTwice) {
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

TEST_F(RunnerTest, Logs) {
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
    if (!had_log) unlink(log);

    const char* trace = "/tmp/aws_log.txt";
    bool had_trace = file_exists(trace);
    std::string trace_before = slurp(trace);
    Dprintf("off %d", 1);
    EXPECT_EQ(slurp(trace), trace_before);
    config_set("aws_log", "1");
    DC_TRACE("fn", 12, "x=%s", std::string(2000, 'y').c_str());
    EXPECT_EQ(slurp(trace).substr(trace_before.size()),
              "DEBUG:   fn L#12 x=" + std::string(1021, 'y') + "\n");
    if (!had_trace) unlink(trace);
}

TEST_F(RunnerTest, MetricReaders) {
    // A whole meminfo is the sample router's (the golden memory document).
    EXPECT_FLOAT_EQ(memory_utilization_from(path("missing").c_str()), 0.0f);

    char v[8][21];
    for (auto& s : v) strcpy(s, "unset");
    cpu_util_from(path("missing").c_str(), v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]);
    EXPECT_STREQ(v[0], "unset");
    std::string stat = put("stat", "cpu0 9 9\ncpu  1 2 3 4 5 6 7 8 9 10\n");
    cpu_util_from(stat.c_str(), v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]);
    EXPECT_EQ(std::string(v[0]) + v[7], "18");
    // An oversized counter cannot overrun the 21-byte buffers.
    stat = put("stat", "cpu  " + std::string(40, '9') + " 2 3 4 5 6 7 8\n");
    cpu_util_from(stat.c_str(), v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]);
    EXPECT_EQ(strlen(v[0]), 20u);

    char mac[32] = "stale";
    EXPECT_EQ(get_macaddr("nosuchif", mac), mac);
    EXPECT_STREQ(mac, "");
}

TEST(UnitText, BoundedCopies) {
    char d[8];
    strncpyt(d, "abcdefghij", sizeof d);
    EXPECT_STREQ(d, "abcdefg");
    // Refuses to truncate: a source of n-1 or more characters adds nothing.
    char cat[16] = "x";
    EXPECT_EQ(zol_strncat(cat, "abc", 4), nullptr);
    EXPECT_STREQ(cat, "x");
    EXPECT_EQ(zol_strncat(cat, "ab", 4), cat);
    EXPECT_STREQ(cat, "xab");
    EXPECT_EQ(zol_strncat(cat, "a", 0), nullptr);
    EXPECT_EQ(strlen(str_replace(std::string(3000, 'q').c_str())), 2047u);

    const struct {
        const char* text;
        char sep;
        int index;
        size_t size;
        const char* want;
    } fields[] = {
        {"  a  b c", ' ', 2, 16, "b"},  {"  a  b c", ' ', 4, 16, ""},
        {"x abcdefgh\n", ' ', 2, 4, "abc"}, {"x y\nz", ' ', 2, 16, "y"},
        {"abc", '\0', 2, 16, ""},  // must not run past the end
    };
    for (const auto& c : fields) {
        char out[16];
        extraction_string_bychar(c.text, c.sep, c.index, out, c.size);
        EXPECT_STREQ(out, c.want) << c.text << " #" << c.index;
    }
}

TEST(UnitText, MacEntitiesAndDigest) {
    // The colon form is the sample router's MAC; only the first 511
    // characters of a name are considered.
    auto xss = [](const char* in, size_t size) {
        char out[1024];
        conv_items_xss(in, out, size);
        return std::string(out);
    };
    expect_all({{parse_mac("a0-b1-c2-d3-e4-f5"), "A0B1C2D3E4F5"},
                {parse_mac("aa:bb:cc:dd:ee:ff:gg:h"), "AABBCCDDEEFFgg:h"},
                {parse_mac(std::string(400, 'a').c_str()), std::string(127, 'A')},
                {formatted_mac("a4:91:b1:0c:22:7e"), "a491b10c227e"},
                {formatted_mac(std::string(40, 'f').c_str()), std::string(31, 'f')},
                {xss("a&lt;b&#41;&amp;x", 64), "a<b)&amp;x"}, {xss("abcdef", 4), "abc"},
                {xss(nullptr, 64), ""}, {xss(std::string(900, 'n').c_str(), 1024), std::string(511, 'n')},
                {zol_md5_transform(""), ""}, {zol_md5_transform("ABC123"), "bbf2dead374654cbb32a917afd236656"},
                // A text with shell characters is hashed as it is.
                {zol_md5_transform("a'b; rm -rf x"), "95823512e4f60a8cc96a2cfbacccb640"}});
}

using StoreTest = TempDirTest;

TEST_F(StoreTest, CheckTime) {
    ASSERT_EQ(config_set("check_time", "2024_3.7_9:5:0"), 0);
    std::string before = slurp(path("config.store"));
    EXPECT_STREQ(get_check_time(), "2024_3.7_9:5:0");
    EXPECT_EQ(slurp(path("config.store")), before);

    // Seconds since boot become the local date of that moment, written back.
    ASSERT_EQ(config_set("check_time", "100"), 0);
    time_t moment = time(nullptr) - get_uptime() + 100;
    std::string got = get_check_time();
    struct tm local {};
    localtime_r(&moment, &local);
    char want[64];
    snprintf(want, sizeof want, "%d_%d.%d_%d:", local.tm_year + 1900, local.tm_mon + 1,
             local.tm_mday, local.tm_hour);
    EXPECT_EQ(got.rfind(want, 0), 0u) << got;
    EXPECT_STREQ(config_get("check_time"), got.c_str());

    // The largest offset lands 68 years on, past 2038: never wrapped back to
    // 1901 by a 32-bit time_t.
    ASSERT_EQ(config_set("check_time", "99999999999"), 0);
    EXPECT_GE(atoi(get_check_time()), local.tm_year + 1900 + 67);
}

// Through the real /proc readers; the plain 25% and 50% cases run simulated.
class CollectGenericFiles : public TempDirTest {
   protected:
    cpu_counters counters(const char* stat) {
        char f[8][21] = {};
        cpu_util_from(put("stat", stat).c_str(), f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7]);
        return cpu_counters_from_fields(f);
    }
    std::string cpu_text(const char* stat1, const char* stat2) {
        char text[32];
        format_utilization(cpu_utilization_between(counters(stat1), counters(stat2)), text, 32);
        return text;
    }
    mem_usage mem(const char* meminfo) {
        char t[64] = "", f[64] = "", b[64] = "", c[64] = "";
        meminfo_from(put("meminfo", meminfo).c_str(), t, f, b, c);
        return mem_usage_from_lines(t, f, b, c);
    }
};

TEST_F(CollectGenericFiles, CpuAndMemoryFigures) {
    // Only the aggregate line counts, not the per-core lines after it; all
    // eight columns (iowait, irq, softirq, steal too) are in the total.
    EXPECT_EQ(cpu_text("cpu  1000 10 500 8000 40 0 50 0 0 0\ncpu0 900 0 100 100 0 0 0 0\n",
                       "cpu  1100 10 550 8300 40 0 100 0 0 0\ncpu0 9000 0 100 100 0 0 0 0\n"),
              "40.00%");
    // Counters beyond 64 bits and junk columns must not trap.
    EXPECT_LT(cpu_text("cpu  99999999999999999999 9223372036854775807 1 2 3 4 5 6\n",
                       "cpu  x y z 7 -9223372036854775808 0 0 0\n").size(), 20u);

    // Only the first "Cached:" line counts, not SwapCached after it.
    mem_usage u = mem("MemTotal: 262144 kB\nMemFree: 65536 kB\nBuffers: 8192 kB\n"
                      "Cached: 57344 kB\nSwapCached: 999999 kB\n");
    EXPECT_EQ(std::string(u.total) + " " + u.free + " " + u.used + " " + u.utilization,
              "256 128 128 50.00%");
    // One-word lines and absurd counts are tolerated.
    u = mem("MemTotal:\nMemFree: 99999999999999999999999 kB\nCached: 1 kB\n");
    EXPECT_STREQ(u.total, "0");
    EXPECT_LT(strlen(u.utilization), 20u);
}

TEST_F(CollectGenericFiles, FirmwareCodesAndFullContent) {
    EXPECT_STREQ(fw_event_type_text(nullptr), "APP upgrade");
    EXPECT_STREQ(fw_check_result_text(nullptr), "");
    auto content = [](const std::string& file) -> std::string {
        JsonPtr obj(json_object_new_object());
        get_full_content_from_file(file.c_str(), obj.get(), "log");
        json_object* v = nullptr;
        return json_object_object_get_ex(obj.get(), "log", &v) ? json_object_get_string(v) : "<absent>";
    };
    expect_all({{content(put("nl", "\n")), ""},  // a lone newline counts as empty
                {content(put("nlnl", "\n\n")), "\n\n"}, {content(path("missing")), ""},
                {content(put("nul", std::string("ab\0cd", 5))), "ab"}});
}

}  // namespace
