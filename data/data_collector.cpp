// Entry, command table and event document files: every item ends in one
// pretty-printed document whose first member is routerHardware; long lists
// are written to a scratch document first and merged in under a 128 KiB
// ceiling that the cloud agent enforces on the files it publishes.
#include "data_collector.h"

#include <dirent.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cJSON.h>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "collect_cloudinfo.h"
#include "collect_eventtype5.h"
#include "collect_generic.h"
#include "collect_router.h"
#include "collect_router_dbglog.h"
#include "collect_router_config.h"
#include "collect_ssorap.h"
#include "collect_usb.h"
#include "collect_usb_media.h"
#include "collect_satelliteinfo.h"
#include "collect_wifi_analytics.h"
#include "collect_wifi_config.h"
#include "collect_wifi_connect.h"
#include "collect_wifiscanresult.h"
#include "config_store.h"
#include "connectedDevice.h"
#include "event_document.h"
#include "file_update.h"
#include "generate_crtkt.h"
#include "interleave.h"
#include "strict_json.h"
#include "unit.h"
#include "xagent.h"
#include "zol_json.h"

namespace {

// What runs killed on the way left under names of their own ("BASE.PID",
// the process gone): a router's /tmp is its memory.
void remove_stale_scratch(const char* base) {
    const char* slash = strrchr(base, '/');
    std::string dir(base, slash - base), prefix = std::string(slash + 1) + ".";
    DIR* d = opendir(dir.c_str());
    if (!d) return;
    while (dirent* e = readdir(d)) {
        if (strncmp(e->d_name, prefix.c_str(), prefix.size()) != 0) continue;
        const char* digits = e->d_name + prefix.size();
        char* end = nullptr;
        long pid = strtol(digits, &end, 10);
        if (end == digits || *end || pid <= 0 || pid > INT_MAX) continue;
        if (kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH)
            unlinkat(dirfd(d), e->d_name, 0);
    }
    closedir(d);
}

// A scratch document of this run's own: runs of the same item at the same
// moment never read each other's.
std::string run_scratch(const char* base) {
    remove_stale_scratch(base);
    return std::string(base) + "." + std::to_string(getpid());
}

// The document is built under a name of this run's own and takes its real
// name in one rename, once whole and strict: a reader sees the previous
// document or this one, never a part, and a write that failed (a full /tmp)
// leaves the previous one as it was.
void publish(const std::string& work, const char* file) {
    std::string text;
    if (read_whole_file(work.c_str(), text, 64u << 20) && json_text_is_strict(text.data(), text.size()))
        rename(work.c_str(), file);
    unlink(work.c_str());
}

// Builds a document of routerHardware plus the given members, in order, and
// writes it. Builders may return null (a member that could not be made);
// json-c then stores null, which is what the cloud already sees for it.
using Member = std::pair<const char*, json_object* (*)()>;

void write_document(const char* file, int type, const std::vector<Member>& members) {
    eventtype = type;
    JsonPtr root(json_object_new_object());
    json_object_object_add(root.get(), "routerHardware", get_hardware_json());
    for (const auto& m : members) json_object_object_add(root.get(), m.first, m.second());
    dump_json_to_file(root.get(), file);
}

}  // namespace

void init_data() {
    config_set("gwDisconnDuration", "0");
    config_set("internetDisconnDuration", "0");
}

// ---- collect functions --------------------------------------------------------

void collect_event4(char* file) { write_document(file, 1, {}); }

void collect_routerinfo(char* file) {
    write_document(file, 1, {{"routerInfo", get_routerinfo_json}});
}

void collect_routerconf(char* file) {
    write_document(file, 1, {{"routerConfig", get_routerConfig_json}});
}

// "all": the details list goes through a scratch document so that a long one
// is trimmed to the ceiling; numberOfDevices keeps the count from before.
void merge_connected_device_details(const char* file) {
    const std::string details = run_scratch("/tmp/RA_json_connectdevice");
    const char* kDetailsFile = details.c_str();
    JsonPtr side(json_object_new_object());
    json_object_object_add(side.get(), "connectedDeviceDetails", get_connectedDetails_json());
    dump_json_to_file(side.get(), kDetailsFile);
    side.reset();
    combine_json(file, kDetailsFile);
    unlink(kDetailsFile);
}

// One plain document: the summary, then the details (which need the
// summary's counters), and the builders' scratch files removed before writing.
// Only "all" merges the details under the ceiling.
void collect_connected_device_info(char* file) {
    eventtype = 2;
    JsonPtr root(json_object_new_object());
    json_object_object_add(root.get(), "routerHardware", get_hardware_json());
    json_object_object_add(root.get(), "connectedDevice", get_connectedDevice_json());
    json_object_object_add(root.get(), "connectedDeviceDetails", get_connectedDetails_json());
    dump_json_to_file(root.get(), file);
}

void collect_vumba(char* file) { write_document(file, 1, {{"vumba", get_vumba_json}}); }

void collect_mediaDeviceInfo(char* file) {
    write_document(file, 1, {{"mediaDevice", get_mediaDeviceInfo_json}});
}

void collect_event2_cpu(char* file) {
    write_document(file, 2, {{"cpuUtilizations", get_event2Cpu_json}});
}

void collect_event2_mem(char* file) {
    write_document(file, 2, {{"memoryUsage", get_event2Mem_json}});
}

void collect_event2(char* file) {
    write_document(file, 2,
                   {{"cpuUtilizations", get_event2Cpu_json}, {"memoryUsage", get_event2Mem_json}});
}

void collect_kernelRebootInfo(char* file) {
    write_document(file, 0, {{"kernelReboot", get_event0_json}});
}

void collect_firmwareUpgradeInfo(char* file) {
    write_document(file, 2, {{"firmwareUpgradeAnalytics", get_firmwareUpgrade_json}});
}

void collect_eventtype7(char* file) {
    write_document(file, 7, {{"ssorapLoginEvent", get_ssorapLoginEvent_json}});
}

// After the event the outage markers are reset, and the gateway total is
// saved so that the next event reports only the minutes added since.
void collect_event5(char* file) {
    // The saved total is read, reported and replaced as one step.
    RunLock lock("/tmp/router-analytics/gw_disconn_duration.lock");
    write_document(file, 5, {{"InternetDisconnEvent", get_internetDisconnEvent_json}});
    config_set("disconn_timestamp", "0");
    for (const char* marker : {"/tmp/router-analytics/recovered_timestamp",
                               "/tmp/router-analytics/disconn_reason",
                               "/tmp/router-analytics/gw_disconn_duration"})
        unlink(marker);
    save_gw_disconn_duration();
    config_commit();
}

void collect_event10(char* file) {
    write_document(file, 10, {{"dbgLogs", get_dbgLogs_json}});
    dbgLogs_revised(file);
}

void collect_event22(char* file) {
    const std::string scan = run_scratch("/tmp/RA_json_scanresult");
    const char* kScanFile = scan.c_str();
    write_document(file, 22, {});

    JsonPtr side(json_object_new_object());
    json_object_object_add(side.get(), "wifiScanResult", get_wifiScanResult_json());
    const char* text = json_object_to_json_string_ext(side.get(), JSON_C_TO_STRING_PRETTY);
    // The merge is handed cJSON's array count of this document, and ignores it.
    // The document is an object, never an array, so the count is always 0:
    // cJSON is asked about an empty object of the same shape rather than a
    // parsed copy of the whole survey (a hundred kilobytes of heap for nothing).
    int count = 0;
    if (cJSON* shape = cJSON_CreateObject()) {
        if (cJSON_IsArray(shape)) count = cJSON_GetArraySize(shape);
        cJSON_Delete(shape);
    }
    autoup_set(kScanFile, text);  // the same bytes dump_json_to_file would write
    side.reset();

    combine_scanresult_json(file, kScanFile, count);
    unlink(kScanFile);
}

// The scratch list holds only the newest events that can reach the document
// (a day of a busy mesh can log tens of thousands), still over the ceiling
// whenever older ones were left out, so the merge trims and reports as usual.
void collect_event3(char* file) {
    const std::string events = run_scratch("/tmp/RA_json_connectevent");
    const char* kEventFile = events.c_str();
    write_document(file, 3, {});
    unsigned long root_size = file_size(file);
    unsigned long budget = root_size < kMaxJsonSize ? kMaxJsonSize - root_size : 0;

    write_connect_event_file(budget, "/tmp/wifi_ra", kEventFile);

    combine_connectevent_json(file, kEventFile);
    unlink(kEventFile);
}

// Everything the cloud knows of the router in one document; the USB and media
// members are left out on the model without a USB port (de_features).
void collect_all(char* file) {
    std::vector<Member> members = {{"routerInfo", get_routerinfo_json},
                                   {"routerConfig", get_routerConfig_json},
                                   {"wifiConfig", get_wifiConfig_json},
                                   {"wifiAnalytics", get_wifi_analytic_json},
                                   {"connectedDevice", get_connectedDevice_json}};
    if (de_features == 0) {
        members.push_back({"vumba", get_vumba_json});
        members.push_back({"mediaDevice", get_mediaDeviceInfo_json});
    }
    members.push_back({"SatelliteInfo", get_SatelliteInfo_json});

    write_document(file, 1, members);
    merge_connected_device_details(file);
}

// ---- entry ---------------------------------------------------------------------

const data_colletor_t data_collector_array[] = {
    {"eventtype4", collect_event4},
    {"routerInfo", collect_routerinfo},
    {"routerConfig", collect_routerconf},
    {"connectedDevice", collect_connected_device_info},
    {"vumba", collect_vumba},
    {"mediaDevice", collect_mediaDeviceInfo},
    {"cpu", collect_event2_cpu},
    {"memory", collect_event2_mem},
    {"eventtype2", collect_event2},
    {"eventtype0", collect_kernelRebootInfo},
    {"firmware", collect_firmwareUpgradeInfo},
    {"eventtype5", collect_event5},
    {"wifiScanResult", collect_event22},
    {"eventtype7", collect_eventtype7},
    {"all", collect_all},
    {"eventtype10", collect_event10},
    {"wifiConnectEvent", collect_event3},
    {nullptr, nullptr},
};

void show_usage() {
    puts("Usage: data_collector\n\n"
         "  data_collector eventtype4        Collect Item routerHardware about user choose\n"
         "  data_collector routerInfo        Collect Item routerInfo about router basic information\n"
         "  data_collector routerConfig      Collect Item routerConfig about router setting\n"
         "  data_collector connectedDevice   Collect Item connectedDeviceDetails about the connection devices information\n"
         "  data_collector cpu               Collect Item cpuUtilizations about cpu information\n"
         "  data_collector memory            Collect Item memoryUsage about memory information\n"
         "  data_collector eventtype2\t\tCollect Item cpuUtilizations & memoryUsage\n"
         "  data_collector eventtype0\t\tCollect Item kernelReboot about kernel boot log\n"
         "  data_collector all               Collect Item routerInfo & routerConfig & connectedDeviceDetails\n"
         "\t\t\t\t\t\t\t\t\t\t\t\t\t& vumba & mediaDevice\n"
         "  data_collector vumba             Collect Item vumba about usb states\n"
         "  data_collector mediaDevice       Collect Item mediaDevice about the usb details\n"
         "  data_collector firmware          Collect Item firmwareUpgradeAnalytics about firmware upgrade information\n"
         "  data_collector eventtype5        Collect Item Internet disconnect and gateway disconnect eventtype\n"
         "  data_collector eventtype7          Collect Item ssorap login event\n"
         "  data_collector cloud $infile $outfile  Add routerHardware header for 3rd event, and move to trigger folder path\n"
         "  data_collector eventtype10       Collect dbgLogs (image ubinfo)");
}

// The model name comes from the firmware's helper script, which is given the
// board's module name, read from a file: one argument whatever it holds.
void unified_modelname(char* name) {
    std::string module = cat_file("/module_name");
    static const char kScript[] = "/etc/init.d/model_check.sh";
    // The firmware's command line had 128 bytes: a longer name is cut to what
    // fitted after "SCRIPT eth ".
    module.resize(std::min(module.size(), 127 - strlen("/etc/init.d/model_check.sh eth ")));
    RunResult r = run_program({{kScript, "eth", module}, 64});
    if (!r.started) {
        strncpyt(name, module.c_str(), 4);
        return;
    }
    // What fgets would read of it: the first line, at most 63 characters.
    size_t end = r.out.find('\n');
    std::string first = r.out.substr(0, end == std::string::npos ? end : end + 1);
    char line[64] = {0};
    strncpyt(line, first.c_str(), sizeof line);
    if (size_t len = strlen(line)) {
        // The last character goes, newline or not: the script always ends its line.
        strncpyt(name, line, len < 32 ? len : 32);
    }
}

namespace {

// mv: a rename, or a copy and a removal across file systems. The copy is
// whole before it takes the destination's name.
void move_file(const char* from, const char* to) {
    if (rename(from, to) == 0 || errno != EXDEV) return;
    std::string text;
    if (read_whole_file(from, text) && file_update::replace_keep_mode(to, text)) unlink(from);
}

// A producer's document that already has its header is moved as it is, unless
// the cloud's strict parser would drop it: then it is rewritten clean.
void collect_cloud(const char* infile, const char* outfile) {
    if (check_header_of_inputfile(infile) != 1) {
        collect_cloudinfo(infile, outfile);
        return;
    }
    std::string text;
    if (!read_whole_file(infile, text) || json_text_is_strict(text.data(), text.size())) {
        move_file(infile, outfile);
        return;
    }
    JsonPtr doc(json_object_from_file(infile));
    dump_json_to_file(doc.get(), outfile);
    unlink(infile);
}

}  // namespace

int data_collector_main(int argc, char** argv) {
    if (argc < 2) {
        show_usage();
        return 0;
    }
    char model[32] = {0};
    unified_modelname(model);
    if (strcmp(model, "ZT410") == 0) de_features = 1;

    const char* item = argv[1];
    if (strcmp(item, "prod") == 0 || strcmp(item, "dev") == 0) {
        print_two_ck(item);
        return 0;
    }
    if (strcmp(item, "interleave") == 0) {
        interleave_files();
        return 0;
    }
    if (item[0] == '\0') return 0;

    char path[64] = {0};
    snprintf(path, sizeof(path), "%s_%s", "/tmp/aws_json", item);
    for (const data_colletor_t* row = data_collector_array; row->name; ++row) {
        if (strcmp(row->name, item) == 0) {
            std::string work = run_scratch(path);
            row->collect_func(work.data());
            keep_d2_answer();
            publish(work, path);
            return 0;
        }
    }
    if (strcmp(item, "cloud") != 0) {
        puts("Wrong option, Please try again");
        show_usage();
        return 0;
    }
    // Missing paths are not checked by the router's scripts; an empty path
    // reads as no input and writes nothing.
    collect_cloud(argc > 2 ? argv[2] : "", argc > 3 ? argv[3] : "");
    return 0;
}
