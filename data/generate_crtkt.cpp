// Writes the cloud client's certificate, private key and root certificate for
// one cloud stage. The line arrays come from the build configuration
// (dc_credentials.h, generated); their content is never logged or printed.
#include "generate_crtkt.h"

#include <cstdio>
#include <cstring>

#include "dc_credentials.h"

namespace {

// Written in this order; the index selects the array of the stage.
const char* const credential_files[] = {"certificate.pem.crt", "private.pem.key", "rootCA.crt",
                                        nullptr};

struct StageLines {
    const char* stage;
    const char* const* lines[3];
};

// "prod" and "dev" by name; every other stage falls back to the test set.
const StageLines stage_table[] = {
    {"prod", {prod_two_private_c, prod_two_private_k, prod_two_public_c}},
    {"dev", {dev_two_private_c, dev_two_private_k, dev_two_public_c}},
};
const StageLines qa_lines = {"qa", {qa_two_private_c, qa_two_private_k, qa_two_public_c}};

const StageLines& lines_of_stage(const char* stage) {
    for (const StageLines& row : stage_table)
        if (strcmp(row.stage, stage) == 0) return row;
    return qa_lines;
}

}  // namespace

void print_to_file(const char* path, const char* const* lines) {
    if (path == nullptr || lines == nullptr) return;
    // Appended, never truncated: two runs double the content (established
    // behaviour, kept).
    FILE* fp = fopen(path, "a");
    if (fp == nullptr) return;
    for (const char* const* line = lines; *line != nullptr; ++line) {
        fputs(*line, fp);
        fputc('\n', fp);
    }
    fclose(fp);
}

void print_two_ck(const char* stage) {
    if (stage == nullptr) return;
    const StageLines& set = lines_of_stage(stage);
    for (int i = 0; credential_files[i] != nullptr; ++i) {
        char path[256];
        snprintf(path, sizeof(path), "/tmp/router-analytics/%s", credential_files[i]);
        print_to_file(path, set.lines[i]);
    }
}
