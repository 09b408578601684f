// The "cloud" command: gives another producer's document a hardware header.
#pragma once

#include <json-c/json.h>

int check_header_of_inputfile(const char* infile);
void collect_cloudinfo(const char* infile, const char* outfile);
void get_cloudinfo(json_object* my_object, const char* name, const char* publish_infile);
void get_publishEventInfo_header_from_object(json_object* my_object, json_object* obj,
                                             const char* name);
