// The "cloud" command: another producer's document gets the hardware header
// and is written where the cloud agent picks it up.
#include "collect_cloudinfo.h"

#include <cstdio>
#include <cstring>

#include "collect_generic.h"
#include "event_document.h"
#include "file_update.h"
#include "unit.h"
#include "zol_json.h"

namespace {

const char kPublishInfo[] = "publishEventInfo";
const char kHeader[] = "routerHardware";
// The event type of parental-control status documents; the latest one is
// also kept as that item's own event file.
const int kCircleEventType = 6;

// Header members the producer may override, in the order they are applied.
const char* const kOverrides[] = {"eventType", "timeStamp", "epochTimeStamp", "ntpResult"};

json_object* parse_object_file(const char* path)
{
    return path ? json_object_from_file(path) : nullptr;
}

void keep_as_circle_event(const char* outfile)
{
    const char* type = get_second_object_string_from_file(outfile, kHeader, "eventType");
    if (type[0] == '\0' || zol_atoi(type) != kCircleEventType)
        return;
    char circle_file[64];
    snprintf(circle_file, sizeof circle_file, "%s_%s", "/tmp/aws_json", "circleV2");
    std::string text;
    if (read_whole_file(outfile, text)) file_update::replace_keep_mode(circle_file, text);
}

}  // namespace

int check_header_of_inputfile(const char* infile)
{
    JsonPtr doc(parse_object_file(infile));
    if (!doc || !json_object_is_type(doc.get(), json_type_object))
        return 0;
    return json_object_object_get_ex(doc.get(), kHeader, nullptr) ? 1 : 0;
}

void get_publishEventInfo_header_from_object(json_object* my_object, json_object* obj,
                                             const char* name)
{
    if (!json_object_is_type(my_object, json_type_object) || !name)
        return;
    json_object* value = nullptr;
    json_object_object_get_ex(obj, name, &value);
    // The header shares the producer's value; an existing member keeps its
    // place, a new one goes to the end, and a missing one becomes null.
    json_object_object_add(my_object, name, json_object_get(value));
}

void get_cloudinfo(json_object* my_object, const char* name, const char* publish_infile)
{
    (void)name;
    JsonPtr input(parse_object_file(publish_infile));
    if (!input) {
        printf("not find file_name: %s\n", publish_infile ? publish_infile : "");
        return;
    }
    printf("DATA_COLLECTOR: raw data %s\n %s\n", publish_infile,
           json_object_to_json_string_ext(input.get(), JSON_C_TO_STRING_PRETTY |
                                                           JSON_C_TO_STRING_NOZERO));
    // A top-level array or scalar has no members to forward.
    if (!json_object_is_type(input.get(), json_type_object))
        return;

    json_object* info = nullptr;
    json_object* header = nullptr;
    // Any publishEventInfo replaces the header's event identity; members it
    // does not hold (all of them when it is not an object) become null.
    if (json_object_object_get_ex(input.get(), kPublishInfo, &info) &&
        json_object_object_get_ex(my_object, kHeader, &header)) {
        for (const char* member : kOverrides)
            get_publishEventInfo_header_from_object(header, info, member);
    }

    // Members are shared by reference count, so releasing the parsed input
    // here leaves the document's copies alive until the document is released.
    json_object_object_foreach(input.get(), key, value) {
        if (strcmp(key, kPublishInfo) != 0)
            json_object_object_add(my_object, key, json_object_get(value));
    }
}

void collect_cloudinfo(const char* infile, const char* outfile)
{
    JsonPtr doc(json_object_new_object());
    // No collect function sets the event type for this command, so the
    // header says 0 until the producer overrides it.
    json_object_object_add(doc.get(), kHeader, get_hardware_json());
    get_cloudinfo(doc.get(), "publishEventname", infile);
    if (!outfile)
        return;
    dump_json_to_file(doc.get(), outfile);
    doc.reset();
    keep_as_circle_event(outfile);
}
