// The library's log lines: their priorities, their tag, and the prefix with their origin.
// LogSettings decides which lines are written, PlatformLogPrint writes them.
#ifndef APPLIST_COMMON_LOG_H
#define APPLIST_COMMON_LOG_H

#include <common/LogSettings.h>
#include <common/PlatformLog.h>

constexpr int LOG_BUFFER_MAIN = 0;
constexpr const char* LOG_TAG = "applist";

constexpr int LOG_PRIORITY_DEBUG = 3;
constexpr int LOG_PRIORITY_INFO = 4;
constexpr int LOG_PRIORITY_ERROR = 6;

/** The severity of syslog(3) and of the journal for @p priority. */
constexpr int SyslogSeverity(int priority) {
    constexpr int SEVERITY_ERROR = 3;
    constexpr int SEVERITY_INFO = 6;
    constexpr int SEVERITY_DEBUG = 7;
    if (priority >= LOG_PRIORITY_ERROR) {
        return SEVERITY_ERROR;
    }
    return priority == LOG_PRIORITY_INFO ? SEVERITY_INFO : SEVERITY_DEBUG;
}

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
 * so that the variadic part is never empty. A line below the level does not evaluate its arguments.
 */
#define APPLIST_LOG_DEBUG(...) APPLIST_LOG_LINE(LOG_PRIORITY_DEBUG, __VA_ARGS__, "\n")
#define APPLIST_LOG_INFO(...) APPLIST_LOG_LINE(LOG_PRIORITY_INFO, __VA_ARGS__, "\n")
#define APPLIST_LOG_ERROR(...) APPLIST_LOG_LINE(LOG_PRIORITY_ERROR, __VA_ARGS__, "\n")

#define APPLIST_LOG_LINE(priority, format, ...)                                                    \
    do {                                                                                           \
        if (LogSettings::Includes(priority)) {                                                     \
            PlatformLogPrint(LOG_BUFFER_MAIN, priority, LOG_TAG, PLATFORM_LOG_PREFIX format "%s",  \
                             LogBaseName(__FILE__), __func__, __LINE__, __func__, __LINE__,        \
                             __VA_ARGS__);                                                         \
        }                                                                                          \
    } while (false)

#endif
