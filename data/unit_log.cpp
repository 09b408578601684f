#include "unit_log.h"

#include <config_store.h>

#include <cstdarg>
#include <cstdio>
#include <ctime>

namespace {

const char kProgramLog[] = "/tmp/RA_collect.log";
const char kTraceLog[] = "/tmp/aws_log.txt";

}  // namespace

// ---- logs -----------------------------------------------------------------

void RA_logger(const char* fmt, ...)
{
    char when[64] = "";
    time_t now = time(nullptr);
    struct tm local;
    if (localtime_r(&now, &local))
        strftime(when, sizeof when, "%Y-%m-%d %H:%M:%S", &local);

    // Bound one below the buffer: a message keeps at most 16,382 characters.
    static char message[16384];
    va_list ap;
    va_start(ap, fmt);
    vsnprintf(message, sizeof message - 1, fmt, ap);
    va_end(ap);

    FILE* fp = fopen(kProgramLog, "a");
    if (!fp) {
        fprintf(stderr, "create file:%s failed!!!\n", kProgramLog);
        return;
    }
    fprintf(fp, "[%s]%s\n", when, message);
    fclose(fp);
}

void Dprintf(const char* str, ...)
{
    // Consulted on every call so that switching aws_log acts without a restart.
    if (!config_match("aws_log", "1"))
        return;
    char text[1024];
    va_list ap;
    va_start(ap, str);
    vsnprintf(text, sizeof text, str, ap);
    va_end(ap);
    FILE* fp = fopen(kTraceLog, "a");
    if (!fp)
        return;
    fputs(text, fp);
    fclose(fp);
}
