// The program's log and its switchable trace.
#pragma once

// ---- logs -----------------------------------------------------------------
// One "[time]message" line appended to /tmp/RA_collect.log.
void RA_logger(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
// Appended to /tmp/aws_log.txt only while the store key aws_log is "1".
void Dprintf(const char* str, ...) __attribute__((format(printf, 1, 2)));
// The collectors' three-call trace entry: prefix, message, newline.
#define DC_TRACE(func, line, ...)                      \
    do {                                               \
        Dprintf("DEBUG:   %s L#%d ", (func), (line));  \
        Dprintf(__VA_ARGS__);                          \
        Dprintf("\n");                                 \
    } while (0)

