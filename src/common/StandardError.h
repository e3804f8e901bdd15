// Log lines on standard error, for a person at a terminal or the log of a container.
#ifndef APPLIST_COMMON_STANDARDERROR_H
#define APPLIST_COMMON_STANDARDERROR_H

namespace StandardError {

/**
 * Writes "time tag[process id] priority: " and @p line to standard error, in one write. Never
 * raises a signal, and is not a cancellation point. A line for a full pipe or a stopped terminal is
 * lost, and does not block the thread, except on a terminal that the process may not open. Control
 * characters in the line become '?', because a name from another process must not control the
 * terminal. Any thread may call it.
 */
void WriteLine(int priority, const char* tag, const char* line);

} // namespace StandardError

#endif
