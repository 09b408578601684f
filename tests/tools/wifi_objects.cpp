// Test-only: prints the wifiConfig or wifiAnalytics object, which only the
// "all" document carries, so the simulated-router tests can check them alone.
// Usage: wifi_objects wifiConfig|wifiAnalytics
#include <cstdio>
#include <cstring>

#include "collect_wifi_analytics.h"
#include "collect_wifi_config.h"
#include "zol_json.h"

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    JsonPtr obj;
    if (strcmp(argv[1], "wifiConfig") == 0)
        obj.reset(get_wifiConfig_json());
    else if (strcmp(argv[1], "wifiAnalytics") == 0)
        obj.reset(get_wifi_analytic_json());
    else
        return 2;
    fflush(stdout);  // the firmware helper the builders run shares stdout
    puts(json_object_to_json_string_ext(obj.get(), JSON_C_TO_STRING_PRETTY));
    return 0;
}
