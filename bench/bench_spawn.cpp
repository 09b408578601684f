// What one child process costs the collector's own process: the CPU time
// (user + system) this process spends per child for each way the collector
// starts one. An item's own CPU time is at least this times the children it
// starts itself.
//   bench_spawn [COUNT]   (default 500)
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <functional>

#include "unit.h"

namespace {

double own_cpu_us() {
    rusage ru{};
    getrusage(RUSAGE_SELF, &ru);
    return (ru.ru_utime.tv_sec + ru.ru_stime.tv_sec) * 1e6 + ru.ru_utime.tv_usec +
           ru.ru_stime.tv_usec;
}

void measure(const char* what, int count, const std::function<void()>& start_one) {
    double before = own_cpu_us();
    for (int i = 0; i < count; ++i) start_one();
    printf("%-44s %7.1f us own CPU per child\n", what, (own_cpu_us() - before) / count);
}

}  // namespace

int main(int argc, char** argv) {
    int count = argc > 1 ? atoi(argv[1]) : 500;
    if (count <= 0) return 2;
    // The first children of a process cost more (its page tables, caches).
    for (int i = 0; i < 50; ++i) zol_safe_system(nullptr, nullptr, 0, "/bin/true", nullptr);
    measure("zol_safe_system(\"/bin/true\")", count,
            [] { zol_safe_system(nullptr, nullptr, 0, "/bin/true", nullptr); });
    measure("zol_safe_system(\"/bin/true\") > /dev/null", count,
            [] { zol_safe_system("/dev/null", nullptr, 2, "/bin/true", nullptr); });
    measure("program_output({\"/bin/true\"})", count, [] { program_output({"/bin/true"}); });
    measure("program_output({\"true\"}) (found along PATH)", count,
            [] { program_output({"true"}); });
    measure("system(\"exit 0\") (glibc, for comparison)", count, [] {
        if (system("exit 0") != 0) fputs("system failed\n", stderr);
    });
    return 0;
}
