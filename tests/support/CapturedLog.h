// The system log, captured at the platform call: tests link this in place of the platform's log.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace CapturedLog {

struct Line {
    int bufferId;
    int priority;
    std::string tag;
    std::string text;     ///< the whole line: prefix, message and line feed
    std::string file;     ///< from the prefix
    std::string function; ///< from the prefix
    std::string message;  ///< the text without prefix and line feed
};
std::ostream& operator<<(std::ostream& os, const Line& line);

constexpr int DEBUG = 3;
constexpr int INFO = 4;
constexpr int ERROR = 6;

void Clear();

/** From now on calls @p action with each line, on the thread that logs; null for none. */
void OnLine(std::function<void(const Line& line)> action);
std::vector<Line> Lines();

/** The messages in order, each as "DEBUG text", "INFO text" or "ERROR text". */
std::vector<std::string> Messages();

/** The number of lines with exactly this priority and message. */
std::size_t Count(int priority, const std::string& message);

/** The number of lines with this priority and a message that starts with @p start. */
std::size_t CountStarting(int priority, const std::string& start);

/** Waits for a line with exactly this message, for threads without a main loop. */
bool WaitFor(int priority, const std::string& message,
             std::chrono::milliseconds timeout = std::chrono::seconds(20));

} // namespace CapturedLog

inline namespace applist_test {

inline std::size_t CountDebug(const std::string& message) {
    return CapturedLog::Count(CapturedLog::DEBUG, message);
}
inline std::size_t CountInfo(const std::string& message) {
    return CapturedLog::Count(CapturedLog::INFO, message);
}
inline std::size_t CountError(const std::string& message) {
    return CapturedLog::Count(CapturedLog::ERROR, message);
}
inline std::size_t CountDebugStarting(const std::string& start) {
    return CapturedLog::CountStarting(CapturedLog::DEBUG, start);
}
inline std::size_t CountErrorStarting(const std::string& start) {
    return CapturedLog::CountStarting(CapturedLog::ERROR, start);
}

} // namespace applist_test
