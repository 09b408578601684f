// Event document files: the writer every document goes through, the merge of
// a scratch document's long list into an event file under the cloud's size
// ceiling, and the process-wide state the collectors read. Kept below every
// collector so that each can write or merge a document itself.
#pragma once

#include <json-c/json.h>

extern int de_features;  // 1 on the model "ZT410"
extern int eventtype;    // reported as routerHardware.eventType

// The cloud agent drops larger files.
constexpr unsigned long kMaxJsonSize = 0x20000;

void dump_json_to_file(json_object* root, const char* file);
void combine_json(const char* root_file, const char* conndev_file);
void combine_connectevent_json(const char* root_file, const char* connevent_file);
void combine_scanresult_json(const char* root_file, const char* scan_file, int count);
void delete_array_from_file(const char* file, const char* object_name, const char* data_name,
                            int num);
void delete_array_idx_from_file(const char* file, const char* object_name,
                                const char* data_name, int idx);
int get_second_object_int_from_file(const char* file, const char* object_name,
                                    const char* data_name);

// ---- trimming ------------------------------------------------------------------
// A list inside a scratch document is trimmed until the scratch file and the
// event file together fit under the ceiling. The result is the file that
// deleting elements one step at a time (rewrite, re-measure) gives, computed
// without rewriting the file at every step.

// Size in bytes as the file system reports it; 0 for a missing file.
unsigned long file_size(const char* path);

// Drops the first (oldest) elements of object_name.array_name until
// root_size + file size <= ceiling, or the array is empty.
void trim_oldest(const char* file, const char* object_name, const char* array_name,
                 unsigned long root_size, unsigned long ceiling);

// Keeps the first n elements, n lowered in steps by the excess divided by the
// average element size (rounded up), starting from count; stops when count or
// the average size reaches zero.
void trim_by_average(const char* file, const char* object_name, const char* array_name,
                     unsigned long root_size, int count, unsigned long ceiling);

// The merge of a scratch file's member into a document, both as this program
// printed them, done on their text: json-c's pretty layout prints a top-level
// member alike in either document, so the root's text with the member's text
// appended is the tree merge's output, without parsing and printing the
// (possibly 128 KiB) member twice. False, nothing written, for anything else:
// a file that is not strict or not closed as json-c closes an object, a side
// file with other members, a root that has the member already, a key twice or
// a key written with escapes.
bool merge_member_text(const char* root_file, const char* side_file, const char* member);
