// Times the trimming of a scan-result list far over the 128 KiB ceiling: the
// fast trimming against the literal step-by-step rule, and checks that both
// leave the same bytes. Usage: bench_merge [N ...] [--reference-max N]
//   (default sizes 1000 10000 40000; the literal rule is run only up to
//   --reference-max elements, default 1000, since its cost is quadratic).
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "Add_object.h"
#include "event_document.h"
#include "merge_reference.h"
#include "zol_json.h"

namespace {

const unsigned long kCeiling = 0x20000;

json_object* make_bss(int i) {
    json_object* bss = json_object_new_object();
    char buf[64];
    static const char* bands[] = {"2G", "5G", "6G"};
    Add_object_string(bss, "frequencyBand", bands[i % 3]);
    snprintf(buf, sizeof buf, "Apartment-%d-WiFi", i);
    Add_object_string(bss, "ssidName", buf);
    snprintf(buf, sizeof buf, "a4:%02x:%02x:%02x:5c:%02x", i & 0xff, (i >> 8) & 0xff, i % 7, i % 251);
    Add_object_string(bss, "bssMac", buf);
    Add_object_string(bss, "bssMLDMac", "");
    Add_object_string(bss, "bssBW", (i % 3) ? "80" : "20");
    Add_object_int(bss, "bssMainChannel", 1 + i % 165);
    snprintf(buf, sizeof buf, "-%d", 40 + i % 50);
    Add_object_string(bss, "bssRssi", buf);
    Add_object_string(bss, "bssSNR", "25");
    Add_object_string(bss, "bssNoise", "-92");
    Add_object_int(bss, "bssColor", (i % 5) ? i % 63 : -1);
    Add_object_int(bss, "bssHT", 1);
    Add_object_int(bss, "bssVHT", i % 2);
    Add_object_int(bss, "bssHE", i % 3 == 0);
    Add_object_int(bss, "bssEHT", i % 7 == 0);
    Add_object_int(bss, "bssBasicRate", (i % 3) ? 6 : 1);
    return bss;
}

void write_scan_file(const char* path, int n) {
    JsonPtr doc(json_object_new_object());
    json_object* inner = json_object_new_object();
    json_object* arr = json_object_new_array();
    for (int i = 0; i < n; ++i) json_object_array_add(arr, make_bss(i));
    json_object_object_add(inner, "wifiScanResult", arr);
    json_object_object_add(doc.get(), "wifiScanResult", inner);
    json_object_to_file_ext(path, doc.get(), JSON_C_TO_STRING_PRETTY);
}

std::string slurp(const char* path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

double seconds_since(std::chrono::steady_clock::time_point t0) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<int> sizes;
    int reference_max = 1000;
    for (int i = 1; i < argc; ++i) {
        if (!strcmp(argv[i], "--reference-max") && i + 1 < argc)
            reference_max = atoi(argv[++i]);
        else
            sizes.push_back(atoi(argv[i]));
    }
    if (sizes.empty()) sizes = {1000, 10000, 40000};

    char dir[] = "/tmp/bench_merge.XXXXXX";
    if (!mkdtemp(dir)) return 1;
    std::string fast = std::string(dir) + "/fast", ref = std::string(dir) + "/ref";
    const unsigned long root_size = 1500;  // a routerHardware-only event file

    printf("%8s %12s %12s %14s %10s\n", "elements", "file bytes", "fast s", "step-by-step s",
           "same bytes");
    for (int n : sizes) {
        write_scan_file(fast.c_str(), n);
        unsigned long before = reference::file_size(fast.c_str());
        std::string original = slurp(fast.c_str());

        auto t0 = std::chrono::steady_clock::now();
        trim_oldest(fast.c_str(), "wifiScanResult", "wifiScanResult", root_size, kCeiling);
        double t_fast = seconds_since(t0);

        if (n <= reference_max) {
            std::ofstream(ref, std::ios::binary) << original;
            t0 = std::chrono::steady_clock::now();
            reference::trim_oldest(ref.c_str(), "wifiScanResult", "wifiScanResult", root_size,
                                   kCeiling);
            double t_ref = seconds_since(t0);
            bool same = slurp(fast.c_str()) == slurp(ref.c_str());
            printf("%8d %12lu %12.4f %14.3f %10s\n", n, before, t_fast, t_ref, same ? "yes" : "NO");
        } else {
            printf("%8d %12lu %12.4f %14s %10s\n", n, before, t_fast, "(skipped)", "-");
        }
    }
    unlink(fast.c_str());
    unlink(ref.c_str());
    rmdir(dir);
    return 0;
}
