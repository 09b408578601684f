// The cloud client's credential files, written for one stage.
#pragma once

void print_two_ck(const char* stage);
void print_to_file(const char* path, const char* const* lines);
