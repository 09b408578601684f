// Test-only: prints the wifiConfig or wifiAnalytics object, which only the
// "all" document carries, so the simulated-router tests can check them alone,
// or the whole wifiConnectEvent object, untrimmed;
// and runs the two halves of the wifiConnectEvent merge apart, to measure them.
// Usage: wifi_objects wifiConfig|wifiAnalytics|wifiConnectEvent
//        wifi_objects connectScratch LOG OUT [BUDGET]  (no BUDGET: every event)
//        wifi_objects connectMerge MAIN SCRATCH
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "collect_wifi_analytics.h"
#include "collect_wifi_config.h"
#include "collect_wifi_connect.h"
#include "event_document.h"
#include "zol_json.h"

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    const char* what = argv[1];
    JsonPtr obj;
    if (strcmp(what, "wifiConfig") == 0) {
        obj.reset(get_wifiConfig_json());
    } else if (strcmp(what, "wifiAnalytics") == 0) {
        obj.reset(get_wifi_analytic_json());
    } else if (strcmp(what, "wifiConnectEvent") == 0) {
        obj.reset(get_wifiConnectEvent_json());
    } else if (strcmp(what, "connectScratch") == 0 && argc >= 4) {
        unsigned long budget = argc > 4 ? strtoul(argv[4], nullptr, 10) : ULONG_MAX;
        return write_connect_event_file(budget, argv[2], argv[3]) ? 0 : 1;
    } else if (strcmp(what, "connectMerge") == 0 && argc >= 4) {
        combine_connectevent_json(argv[2], argv[3]);
        return 0;
    } else {
        return 2;
    }
    fflush(stdout);  // the firmware helper the builders run shares stdout
    puts(json_object_to_json_string_ext(obj.get(), JSON_C_TO_STRING_PRETTY));
    return 0;
}
