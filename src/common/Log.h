// The library's log lines: their priorities, their tag, and the prefix with their origin.
// PlatformLogPrint writes the line.
#ifndef APPLIST_COMMON_LOG_H
#define APPLIST_COMMON_LOG_H

#include <common/PlatformLog.h>

constexpr int LOG_BUFFER_MAIN = 0;
constexpr const char* LOG_TAG = "applist";

constexpr int LOG_PRIORITY_DEBUG = 3;
constexpr int LOG_PRIORITY_INFO = 4;
constexpr int LOG_PRIORITY_ERROR = 6;

/** The part of @p path after its last slash. Optimising compilers evaluate it at compile time. */
constexpr const char* LogBaseName(const char* path) {
    const char* name = path;
    for (const char* at = path; *at != '\0'; ++at) {
        if (*at == '/') {
            name = at + 1;
        }
    }
    return name;
}

/**
 * APPLIST_LOG_DEBUG(format, ...), APPLIST_LOG_INFO(format, ...) and APPLIST_LOG_ERROR(format, ...)
 * write one line: "file: function(line) > [function:line] " and the message. The format must be a
 * literal, so that one call formats prefix and message. The closing line feed is the last argument,
 * so that the variadic part is never empty.
 */
#define APPLIST_LOG_DEBUG(...) APPLIST_LOG_LINE(LOG_PRIORITY_DEBUG, __VA_ARGS__, "\n")
#define APPLIST_LOG_INFO(...) APPLIST_LOG_LINE(LOG_PRIORITY_INFO, __VA_ARGS__, "\n")
#define APPLIST_LOG_ERROR(...) APPLIST_LOG_LINE(LOG_PRIORITY_ERROR, __VA_ARGS__, "\n")

#define APPLIST_LOG_LINE(priority, format, ...)                                                    \
    PlatformLogPrint(LOG_BUFFER_MAIN, priority, LOG_TAG, "%s: %s(%d) > [%s:%d] " format "%s",      \
                     LogBaseName(__FILE__), __func__, __LINE__, __func__, __LINE__, __VA_ARGS__)

#endif
