// The trimming rule done literally: delete, rewrite the file, re-measure, one
// step at a time. Kept only as the reference the fast trimming is compared
// with (byte for byte) and timed against; its cost grows with the square of
// the list. Both stop where the fast one stops: an empty array, no array, a
// zero device count or a zero average size.
#pragma once

#include <sys/stat.h>

#include "event_document.h"
#include "zol_json.h"

namespace reference {

inline unsigned long file_size(const char* path) {
    struct stat st;
    return stat(path, &st) == 0 ? static_cast<unsigned long>(st.st_size) : 0;
}

inline size_t array_length(const char* file, const char* object_name, const char* array_name) {
    JsonPtr doc(json_object_from_file(file));
    json_object *obj = nullptr, *arr = nullptr;
    if (!doc || !json_object_object_get_ex(doc.get(), object_name, &obj) ||
        !json_object_object_get_ex(obj, array_name, &arr) ||
        !json_object_is_type(arr, json_type_array))
        return 0;
    return json_object_array_length(arr);
}

inline void trim_oldest(const char* file, const char* object_name, const char* array_name,
                        unsigned long root_size, unsigned long ceiling) {
    unsigned long side = file_size(file);
    while (root_size + side > ceiling) {
        if (array_length(file, object_name, array_name) == 0) return;
        delete_array_idx_from_file(file, object_name, array_name, 0);
        side = file_size(file);
    }
}

inline void trim_by_average(const char* file, const char* object_name, const char* array_name,
                            unsigned long root_size, int count, unsigned long ceiling) {
    unsigned long side = file_size(file);
    unsigned long n = count > 0 ? static_cast<unsigned long>(count) : 0;
    while (root_size + side > ceiling) {
        if (n == 0 || side / n == 0) return;
        unsigned long per_device = side / n;
        unsigned long excess = root_size + side - ceiling;
        unsigned long q = excess / per_device, r = excess % per_device;
        unsigned long drop = q + (r ? 1 : 0);
        n = drop >= n ? 0 : n - drop;
        delete_array_from_file(file, object_name, array_name, static_cast<int>(n));
        side = file_size(file);
    }
}

}  // namespace reference
