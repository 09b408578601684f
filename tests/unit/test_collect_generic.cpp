#include "collect_generic.h"
#include "test_util.h"
#include "zol_json.h"

#include <cstring>
#include <string>

namespace {

std::string cpu_text(const char* stat1, const char* stat2) {
    char text[32];
    format_utilization(cpu_utilization_between(cpu_counters_from_stat(stat1),
                                               cpu_counters_from_stat(stat2)),
                       text, sizeof text);
    return text;
}

TEST(CollectGeneric, CpuUtilisationFromTwoStatSamples) {
    // Totals differ by 200, idles by 150.
    EXPECT_EQ(cpu_text("cpu  100 0 100 800 0 0 0 0\n", "cpu  130 0 120 950 0 0 0 0\n"),
              "25.00%");
    // Only the aggregate line counts, not the per-core lines after it; all
    // eight columns (iowait, irq, softirq, steal too) are in the total.
    EXPECT_EQ(cpu_text("cpu  1000 10 500 8000 40 0 50 0 0 0\ncpu0 900 0 100 100 0 0 0 0\n",
                       "cpu  1100 10 550 8300 40 0 100 0 0 0\ncpu0 9000 0 100 100 0 0 0 0\n"),
              "40.00%");
    // Counters beyond 64 bits and junk columns must not trap.
    std::string huge = cpu_text("cpu  99999999999999999999 9223372036854775807 1 2 3 4 5 6\n",
                                "cpu  x y z 7 -9223372036854775808 0 0 0\n");
    EXPECT_LT(huge.size(), 20u);
}

TEST(CollectGeneric, MemoryFiguresFromMeminfo) {
    // Only the first "Cached:" line counts, not SwapCached after it.
    mem_usage u = mem_usage_from_text(
        "MemTotal:         262144 kB\nMemFree:           65536 kB\n"
        "Buffers:            8192 kB\nCached:            57344 kB\nSwapCached: 999999 kB\n");
    EXPECT_STREQ(u.total, "256");
    EXPECT_STREQ(u.free, "128");
    EXPECT_STREQ(u.used, "128");
    EXPECT_STREQ(u.utilization, "50.00%");
    // One-word lines and absurd counts are tolerated.
    u = mem_usage_from_text("MemTotal:\nMemFree: 99999999999999999999999 kB\nCached: 1 kB\n");
    EXPECT_STREQ(u.total, "0");
    EXPECT_LT(strlen(u.utilization), 20u);
}

TEST(CollectGeneric, FirmwareCodesOfUnsetKeys) {
    EXPECT_STREQ(fw_event_type_text(nullptr), "APP upgrade");
    EXPECT_STREQ(fw_check_result_text(nullptr), "");
}

std::string content_member(const std::string& file) {
    JsonPtr obj(json_object_new_object());
    get_full_content_from_file(file.c_str(), obj.get(), "log");
    json_object* v = nullptr;
    return json_object_object_get_ex(obj.get(), "log", &v) ? json_object_get_string(v) : "<absent>";
}

class CollectGenericFiles : public TempDirTest {};

TEST_F(CollectGenericFiles, FullContentMember) {
    EXPECT_EQ(content_member(put("nl", "\n")), "");  // a lone newline counts as empty
    EXPECT_EQ(content_member(put("nlnl", "\n\n")), "\n\n");
    EXPECT_EQ(content_member(path("missing")), "");
    EXPECT_EQ(content_member(put("nul", std::string("ab\0cd", 5))), "ab");
}

}  // namespace
