#include "CapturedLog.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include <common/PlatformLog.h>

#include "Guarded.h"

namespace {

struct Captured {
    std::vector<CapturedLog::Line> lines;
    std::function<void(const CapturedLog::Line&)> onLine;
};
using Capture = Guarded<Captured>;

// "file: function(line) > [function:line] message\n"
CapturedLog::Line Parse(int bufferId, int priority, const char* tag, std::string text) {
    CapturedLog::Line line{bufferId, priority, tag, text, "", "", text};
    const auto fileEnd = text.find(": ");
    const auto functionEnd = text.find('(');
    const auto prefixEnd = text.find("] ");
    if (fileEnd == std::string::npos || functionEnd == std::string::npos ||
        prefixEnd == std::string::npos) {
        return line;
    }
    line.file = text.substr(0, fileEnd);
    line.function = text.substr(fileEnd + 2, functionEnd - fileEnd - 2);
    line.message = text.substr(prefixEnd + 2);
    while (!line.message.empty() && line.message.back() == '\n') {
        line.message.pop_back();
    }
    return line;
}

std::string PriorityName(int priority) {
    switch (priority) {
    case CapturedLog::DEBUG:
        return "DEBUG";
    case CapturedLog::INFO:
        return "INFO";
    case CapturedLog::ERROR:
        return "ERROR";
    default:
        return std::to_string(priority);
    }
}

template <class Matches>
std::size_t CountMatching(Matches matches) {
    const Capture capture;
    return static_cast<std::size_t>(
        std::count_if(capture->lines.begin(), capture->lines.end(), matches));
}

} // namespace

void PlatformLogPrint(int bufferId, int priority, const char* tag, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    char* text = nullptr;
    const int length = vasprintf(&text, format, arguments);
    va_end(arguments);
    std::string copy(text != nullptr && length >= 0 ? std::string(text) : std::string());
    free(text);

    const CapturedLog::Line line = Parse(bufferId, priority, tag, std::move(copy));
    std::function<void(const CapturedLog::Line&)> onLine;
    {
        const Capture capture;
        capture->lines.push_back(line);
        capture.NotifyAll();
        onLine = capture->onLine;
    }
    if (onLine) {
        onLine(line);
    }
}

std::ostream& CapturedLog::operator<<(std::ostream& os, const Line& line) {
    return os << PriorityName(line.priority) << " " << line.text;
}

void CapturedLog::Clear() {
    Capture()->lines.clear();
}

void CapturedLog::OnLine(std::function<void(const Line& line)> action) {
    Capture()->onLine = std::move(action);
}

std::vector<CapturedLog::Line> CapturedLog::Lines() {
    return Capture()->lines;
}

std::vector<std::string> CapturedLog::Messages() {
    std::vector<std::string> messages;
    for (const Line& line : Lines()) {
        messages.push_back(PriorityName(line.priority) + " " + line.message);
    }
    return messages;
}

std::size_t CapturedLog::Count(int priority, const std::string& message) {
    return CountMatching(
        [&](const Line& line) { return line.priority == priority && line.message == message; });
}

std::size_t CapturedLog::CountStarting(int priority, const std::string& start) {
    return CountMatching([&](const Line& line) {
        return line.priority == priority && line.message.compare(0, start.size(), start) == 0;
    });
}

bool CapturedLog::WaitFor(int priority, const std::string& message,
                          std::chrono::milliseconds timeout) {
    Capture capture;
    return capture.WaitFor(timeout, [&] {
        return std::any_of(capture->lines.begin(), capture->lines.end(), [&](const Line& line) {
            return line.priority == priority && line.message == message;
        });
    });
}
