// The one call to the platform's system log.
//
// A device with another logger replaces the C++ source file behind this function. The CMake
// variable APPLIST_PLATFORM_LOG_SOURCE is the path of the other file; docs/porting.md has an
// example.
#ifndef APPLIST_COMMON_PLATFORMLOG_H
#define APPLIST_COMMON_PLATFORMLOG_H

/**
 * The start of the format of each line of the library. A format with this start has five arguments
 * first: the base name of the source file and the function, of type const char*, the line, of type
 * int, and then the function and the line again. The rest of the format identifies the message.
 */
#define PLATFORM_LOG_PREFIX "%s: %s(%d) > [%s:%d] "

/**
 * Writes one line to the system log.
 *
 * Called on any thread, also with locks held. The function must not throw, must not call the
 * library except for LogSettings and StandardError, and must not be a cancellation point
 * (pthread_cancel(3)).
 *
 * @param bufferId the log buffer; this library writes to the main log, 0
 * @param priority 3 debug, 4 info, 6 error
 * @param tag the program that writes the line; "applist" for this library
 * @param format a printf format whose text ends with a line feed. Texts from other processes are
 *        always arguments, never formats.
 */
void PlatformLogPrint(int bufferId, int priority, const char* tag, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

#endif
