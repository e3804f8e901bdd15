// The log of another platform: lines go to the file that APPLIST_LOG_FILE names.
#include <common/PlatformLog.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

void PlatformLogPrint(int bufferId, int priority, const char* tag, const char* format, ...) {
    const char* const path = std::getenv("APPLIST_LOG_FILE");
    std::FILE* const file = path == nullptr ? nullptr : std::fopen(path, "a");
    if (file == nullptr) {
        return;
    }
    std::fprintf(file, "%d %d %s ", bufferId, priority, tag);
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(file, format, arguments);
    va_end(arguments);
    std::fclose(file);
}
