// dc_floor: does nothing, linked as data_collector is (json-c, cJSON, the C++
// runtime, the same link options): the floor of what one run can cost.
#include <cJSON.h>
#include <json-c/json.h>

#include <string>

int main(int argc, char**) {
    // Referenced so that no linker option drops a library the collector loads.
    std::string versions = std::string(json_c_version()) + cJSON_Version();
    return argc > 1 && versions.empty();
}
