// Entry and command table: one collect function per item word.
#pragma once

#include <json-c/json.h>

struct data_colletor_t {
    const char* name;
    void (*collect_func)(char* file);
};
extern const data_colletor_t data_collector_array[];

int data_collector_main(int argc, char** argv);
void show_usage();
void unified_modelname(char* name);

void init_data();

void collect_event4(char* file);
void collect_routerinfo(char* file);
void collect_routerconf(char* file);
void collect_connected_device_info(char* file);
// The second half of the connected-device document, for "all" too: builds
// connectedDeviceDetails (after get_connectedDevice_json has run) into a
// scratch document and merges it into file under the 128 KiB ceiling.
void merge_connected_device_details(const char* file);
void collect_vumba(char* file);
void collect_mediaDeviceInfo(char* file);
void collect_event2_cpu(char* file);
void collect_event2_mem(char* file);
void collect_event2(char* file);
void collect_kernelRebootInfo(char* file);
void collect_firmwareUpgradeInfo(char* file);
void collect_event5(char* file);
void collect_event22(char* file);
void collect_eventtype7(char* file);
void collect_all(char* file);
void collect_event10(char* file);
void collect_event3(char* file);
