// The platform's log under the fuzzer: each line is formatted, so that its arguments are read, and
// nothing is written.
#include <cstdarg>
#include <cstdio>

#include <common/PlatformLog.h>

void PlatformLogPrint(int /*bufferId*/, int /*priority*/, const char* /*tag*/, const char* format,
                      ...) {
    char line[256];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof(line), format, arguments);
    va_end(arguments);
}
