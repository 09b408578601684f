#include "collect_generic.h"
#include "zol_json.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

namespace {

std::string percent(float value) {
    char text[32];
    format_utilization(value, text, sizeof text);
    return text;
}

std::string cpu_text(const char* stat1, const char* stat2) {
    return percent(cpu_utilization_between(cpu_counters_from_stat(stat1),
                                           cpu_counters_from_stat(stat2)));
}

TEST(CollectGenericCpu, UtilisationFromTwoStatSamples) {
    // Totals differ by 200, idles by 150.
    EXPECT_EQ(cpu_text("cpu  100 0 100 800 0 0 0 0\n", "cpu  130 0 120 950 0 0 0 0\n"),
              "25.00%");
    // Only the aggregate line counts, not the per-core lines after it; all
    // eight columns (iowait, irq, softirq, steal too) are in the total.
    const char* s1 =
        "cpu  1000 10 500 8000 40 0 50 0 0 0\ncpu0 900 0 100 100 0 0 0 0 0 0\nintr 5\n";
    const char* s2 =
        "cpu  1100 10 550 8300 40 0 100 0 0 0\ncpu0 9000 0 100 100 0 0 0 0 0 0\nintr 9\n";
    EXPECT_EQ(cpu_text(s1, s2), "40.00%");
    EXPECT_EQ(cpu_text("intr 1\ncpu  10 0 0 10 0 0 0 0\n", "cpu  20 0 0 10 0 0 0 0\n"),
              "100.00%");
}

TEST(CollectGenericCpu, DegenerateSamplesGiveFloatTextsWithoutCrashing) {
    // No aggregate line at all: both samples are zero, 0/0.
    std::string no_line = cpu_text("intr 1 2 3\nctxt 5\n", "");
    EXPECT_NE(no_line.find("nan%"), std::string::npos) << no_line;
    // Idle grew more than the total (a counter went back): negative, as computed.
    EXPECT_EQ(cpu_text("cpu  0 0 50 0 0 0 0 0\n", "cpu  0 0 0 100 0 0 0 0\n"), "-100.00%");
    // Counters at the limits of 64 bits and junk columns must not trap.
    std::string huge = cpu_text("cpu  99999999999999999999 9223372036854775807 1 2 3 4 5 6\n",
                                "cpu  x y z 7 -9223372036854775808 0 0 0\n");
    EXPECT_FALSE(huge.empty());
    EXPECT_LT(huge.size(), 20u);
    EXPECT_EQ(percent(1.0f / 0.0f), "inf%");
}

TEST(CollectGenericMemory, FiguresFromMeminfo) {
    mem_usage u = mem_usage_from_text(
        "MemTotal:         262144 kB\n"
        "MemFree:           65536 kB\n"
        "MemAvailable:     100000 kB\n"
        "Buffers:            8192 kB\n"
        "Cached:            57344 kB\n"
        "SwapCached:       999999 kB\n");
    EXPECT_STREQ(u.total, "256");
    EXPECT_STREQ(u.free, "128");
    EXPECT_STREQ(u.used, "128");
    EXPECT_STREQ(u.utilization, "50.00%");

    // Only the first "Cached:" line counts: the SwapCached line after it
    // must not replace it.
    u = mem_usage_from_text(
        "MemTotal: 1000 kB\nMemFree: 200 kB\nBuffers: 100 kB\nCached: 200 kB\n"
        "SwapCached: 5 kB\n");
    EXPECT_STREQ(u.utilization, "50.00%");
    EXPECT_STREQ(u.total, "0");  // 1000 kB is below one MiB
}

TEST(CollectGenericMemory, MissingOrBrokenLines) {
    // One-word lines and absurd counts are tolerated.
    mem_usage u = mem_usage_from_text(
        "MemTotal:\nMemFree: 99999999999999999999999 kB\nBuffers: 1 kB\nCached: 1 kB\n");
    EXPECT_STREQ(u.total, "0");
    EXPECT_LT(strlen(u.utilization), 20u);
}

TEST(CollectGenericFirmware, CodeTables) {
    EXPECT_STREQ(fw_event_type_text("0"), "Weekly");
    EXPECT_STREQ(fw_event_type_text("4"), "GUI upgrade");
    EXPECT_STREQ(fw_event_type_text("5"), "APP upgrade");
    EXPECT_STREQ(fw_event_type_text("00"), "APP upgrade");
    EXPECT_STREQ(fw_event_type_text(""), "APP upgrade");
    EXPECT_STREQ(fw_event_type_text(nullptr), "APP upgrade");

    EXPECT_STREQ(fw_check_result_text("0"), "no error");
    EXPECT_STREQ(fw_check_result_text("1"), "unknown error");
    EXPECT_STREQ(fw_check_result_text("10"), "Library Internal Error");
    EXPECT_STREQ(fw_check_result_text("11"), "No URL Received From Server");
    EXPECT_STREQ(fw_check_result_text("12"), "");
    EXPECT_STREQ(fw_check_result_text(" 1"), "");
    EXPECT_STREQ(fw_check_result_text(""), "");
}

class CollectGenericFiles : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/collect_generic_test.XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
    }
    void TearDown() override {
        EXPECT_EQ(system(("rm -rf '" + dir_ + "'").c_str()), 0);
    }
    std::string write(const std::string& name, const std::string& content) {
        std::string path = dir_ + "/" + name;
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }
    std::string content_member(const std::string& path) {
        JsonPtr obj(json_object_new_object());
        get_full_content_from_file(path.c_str(), obj.get(), "log");
        json_object* v = nullptr;
        EXPECT_TRUE(json_object_object_get_ex(obj.get(), "log", &v));
        return v ? json_object_get_string(v) : "<absent>";
    }
    std::string dir_;
};

TEST_F(CollectGenericFiles, FullContentMember) {
    EXPECT_EQ(content_member(write("two", "line 1\nline 2\n")), "line 1\nline 2\n");
    EXPECT_EQ(content_member(write("nl", "\n")), "");
    EXPECT_EQ(content_member(write("nlnl", "\n\n")), "\n\n");
    EXPECT_EQ(content_member(dir_ + "/missing"), "");
    EXPECT_EQ(content_member(write("nul", std::string("ab\0cd", 5))), "ab");
}

}  // namespace
