#include "collect_generic.h"
#include "diagnostic_log.h"
#include "test_util.h"
#include "unit.h"
#include "zol_json.h"

#include <cstring>
#include <string>

namespace {

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

TEST_F(CollectGenericFiles, CpuUtilisationFromTwoStatSamples) {
    // Only the aggregate line counts, not the per-core lines after it; all
    // eight columns (iowait, irq, softirq, steal too) are in the total.
    EXPECT_EQ(cpu_text("cpu  1000 10 500 8000 40 0 50 0 0 0\ncpu0 900 0 100 100 0 0 0 0\n",
                       "cpu  1100 10 550 8300 40 0 100 0 0 0\ncpu0 9000 0 100 100 0 0 0 0\n"),
              "40.00%");
    // Counters beyond 64 bits and junk columns must not trap.
    EXPECT_LT(cpu_text("cpu  99999999999999999999 9223372036854775807 1 2 3 4 5 6\n",
                       "cpu  x y z 7 -9223372036854775808 0 0 0\n").size(), 20u);
}

TEST_F(CollectGenericFiles, MemoryFiguresFromMeminfo) {
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

TEST_F(CollectGenericFiles, FullContentMember) {
    EXPECT_EQ(content_member(put("nl", "\n")), "");  // a lone newline counts as empty
    EXPECT_EQ(content_member(put("nlnl", "\n\n")), "\n\n");
    EXPECT_EQ(content_member(path("missing")), "");
    EXPECT_EQ(content_member(put("nul", std::string("ab\0cd", 5))), "ab");
}

}  // namespace
