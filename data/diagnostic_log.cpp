#include "diagnostic_log.h"

#include <cstring>

#include "Add_object.h"
#include "unit.h"

bool read_log_text(const char* file, std::string& text) {
    text.clear();
    if (!read_whole_file(file, text, kDiagnosticLogMax)) return false;
    text.resize(strlen(text.c_str()));
    return true;
}

void get_full_content_from_file(const char* file, json_object* root, const char* name) {
    std::string text;
    read_log_text(file, text);
    get_full_content_from_text(text, root, name);
}

void get_full_content_from_text(std::string text, json_object* root, const char* name) {
    if (text.size() > kDiagnosticLogMax) text.resize(kDiagnosticLogMax);
    text.resize(strlen(text.c_str()));
    if (text == "\n") text.clear();
    Add_object_string(root, name, text.c_str());
}
