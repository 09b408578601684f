// Thermal sensor members of routerInfo.
#include "collect_otp.h"

#include <cstring>

#include "Add_object.h"
#include "unit.h"

namespace {

// The driver numbers its radios without gaps; more than this is a corrupt cache.
constexpr int kMaxRadioSensors = 16;
// Lines of at most 126 characters.
constexpr size_t kSensorLine = 127;

enum class Kind { text, temp, flag, trigger, count, minutes };

const struct {
    const char* key;
    Kind kind;
} kSensorKeys[] = {
    {"Name", Kind::text},
    {"highestTemp", Kind::temp},
    {"lowestTemp", Kind::temp},
    {"otpEnable", Kind::flag},
    {"otpTriggerStatus", Kind::trigger},
    {"otpTriggerCount", Kind::count},
    {"otpTriggerLongestDuration", Kind::minutes},
};

std::string radio_file(int n) {
    return "/tmp/cache/wireless/thermal_wifi" + std::to_string(n) + ".conf";
}
const char kBoardFile[] = "/tmp/cache/wireless/thermal_board.conf";

// Trigger codes 2 and 3 are radio-only states; on the board they mean nothing known.
const char* trigger_text(char code, bool board) {
    if (code == '0') return "Not triggered";
    if (code == '1' || (!board && (code == '2' || code == '3'))) return "Triggered";
    return "Unknown";
}

void add_sensor_member(json_object* obj, const char* key, Kind kind, const char* value,
                       bool board) {
    switch (kind) {
        case Kind::text:
            Add_object_string(obj, key, value);
            break;
        case Kind::temp:
            Add_object_int(obj, key, value[0] == ' ' ? 0 : zol_atoi(value));
            break;
        case Kind::flag:
            Add_object_boolean(obj, key, value[0] == 'T');
            break;
        case Kind::trigger:
            Add_object_string(obj, key, trigger_text(value[0], board));
            break;
        case Kind::count:
            Add_object_int(obj, key, zol_atoi(value));
            break;
        case Kind::minutes:
            Add_object_int(obj, key, zol_atoi(value) / 60);
            break;
    }
}

}  // namespace

int get_numberOfSensors() {
    int n = 0;
    while (n < kMaxRadioSensors && file_exists(radio_file(n).c_str())) ++n;
    return n + (file_exists(kBoardFile) ? 1 : 0);
}

json_object* parse_sensor_file(FILE* fp, bool board) {
    json_object* obj = json_object_new_object();
    if (!obj) return nullptr;
    for_each_line(fp, kSensorLine, [obj, board](char* line) {
        // A line that starts with a blank or is empty ends the file.
        if (line[0] == ' ' || line[0] == '\n') return false;
        line[strcspn(line, "\n")] = '\0';
        const char* eq = strchr(line, '=');
        const char* value = eq ? eq + 1 : "";
        for (const auto& k : kSensorKeys)
            if (strstr(line, k.key)) add_sensor_member(obj, k.key, k.kind, value, board);
        return true;
    });
    return obj;
}

json_object* get_sensor_json(int count, int index) {
    if (count < index) return nullptr;
    std::string path = radio_file(index - 1);
    bool board = index < 1 || index - 1 >= kMaxRadioSensors || !file_exists(path.c_str());
    FILE* fp = fopen(board ? kBoardFile : path.c_str(), "r");
    json_object* obj = parse_sensor_file(fp, board);
    if (fp) fclose(fp);
    return obj;
}
