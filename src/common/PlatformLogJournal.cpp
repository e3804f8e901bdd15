// The system log of a systemd device: the journal, or syslog(3) without a journal.
#include <common/PlatformLog.h>

#include <atomic>
#include <charconv>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>

#include <glib.h>
#include <paths.h>
#include <syslog.h>
#include <unistd.h>

#include <common/CancellationOff.h>
#include <common/ErrorIds.h>
#include <common/Log.h>
#include <common/StandardError.h>

namespace {

// Long enough for every line with ordinary names. A longer line is cut, so that no line costs an
// allocation and a name of a megabyte does not reach the log.
constexpr std::size_t LINE_CAPACITY = 4096;
constexpr char CUT_MARK[] = "...\n";

// While no log is available, debug lines look for one at this interval only: lines without a
// reader must not cost a tenth of a request. Errors and information always look for a log.
constexpr std::int64_t RETRY_PERIOD_MS = 100;
std::atomic<std::int64_t> g_retryAtMs{0};

std::int64_t NowMs() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

bool SyslogIsAvailable() {
    return access(_PATH_LOG, F_OK) == 0;
}

// Cheaper than a format. @return the length
template <std::size_t CAPACITY>
gssize WriteNumber(char (&text)[CAPACITY], int number) {
    return std::to_chars(text, text + CAPACITY, number).ptr - text;
}

// The line without its text. Without an origin, the file is null.
struct Origin {
    const char* file = nullptr;
    const char* function = nullptr;
    int line = 0;
    const char* errorId = nullptr;
};

// The closing line feed is the last argument of each line.
const char* FindErrorId(const char* format) {
    for (const ErrorId& error : ERROR_IDS) {
        const std::size_t size = std::strlen(error.format);
        if (std::strncmp(format, error.format, size) == 0 &&
            std::strcmp(format + size, "%s") == 0) {
            return error.id;
        }
    }
    return nullptr;
}

Origin OriginOf(int severity, const char* format, va_list arguments) {
    constexpr std::size_t PREFIX_SIZE = sizeof(PLATFORM_LOG_PREFIX) - 1;
    Origin origin;
    if (std::strncmp(format, PLATFORM_LOG_PREFIX, PREFIX_SIZE) == 0) {
        va_list copy;
        va_copy(copy, arguments);
        // PlatformLogPrint has started the list.
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
        origin.file = va_arg(copy, const char*);
        origin.function = va_arg(copy, const char*);
        origin.line = va_arg(copy, int);
        va_end(copy);
        origin.errorId = severity == LOG_ERR ? FindErrorId(format + PREFIX_SIZE) : nullptr;
    }
    return origin;
}

bool WriteToJournal(int bufferId, int severity, const char* tag, const char* line,
                    const Origin& origin) {
    char severityText[12];
    char bufferText[12];
    char lineText[12];
    const GLogField fields[] = {
        {"MESSAGE", line, -1},
        {"PRIORITY", severityText, WriteNumber(severityText, severity)},
        {"SYSLOG_IDENTIFIER", tag, -1},
        {"LOG_BUFFER", bufferText, WriteNumber(bufferText, bufferId)},
        // Only lines with an origin have the following fields, and only errors have the last one.
        {"CODE_FILE", origin.file, -1},
        {"CODE_LINE", lineText, WriteNumber(lineText, origin.line)},
        {"CODE_FUNC", origin.function, -1},
        {"MESSAGE_ID", origin.errorId, -1},
    };
    gsize count = origin.file == nullptr ? 4 : 7;
    count += origin.errorId == nullptr ? 0 : 1;
    return g_log_writer_journald(G_LOG_LEVEL_DEBUG, fields, count, nullptr) == G_LOG_WRITER_HANDLED;
}

// Ends a truncated line with the mark. No UTF-8 character is cut in two before the mark, because
// the journal would show the whole line as binary.
void MarkCut(char (&line)[LINE_CAPACITY]) {
    std::size_t end = LINE_CAPACITY - sizeof(CUT_MARK);
    while (end > LINE_CAPACITY - sizeof(CUT_MARK) - 3 && (line[end] & 0xC0) == 0x80) {
        --end;
    }
    std::memcpy(line + end, CUT_MARK, sizeof(CUT_MARK));
}

void FormatLine(char (&line)[LINE_CAPACITY], const char* format, va_list arguments) {
    // PlatformLogPrint has started the list.
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    const int length = std::vsnprintf(line, sizeof(line), format, arguments);
    if (length < 0) {
        // The C library refuses lines of more than INT_MAX bytes. The format identifies the line.
        std::snprintf(line, sizeof(line), "%s", format);
    } else if (static_cast<std::size_t>(length) >= sizeof(line)) {
        MarkCut(line);
    }
}

void WriteToLog(int bufferId, int severity, const char* tag, const char* line,
                const Origin& origin) {
    if (WriteToJournal(bufferId, severity, tag, line, origin)) {
        return;
    }
    if (!SyslogIsAvailable()) {
        g_retryAtMs.store(NowMs() + RETRY_PERIOD_MS, std::memory_order_relaxed);
        return;
    }
    // No openlog: the ident belongs to the host process.
    syslog(severity, "%s: %s", tag, line);
}

} // namespace

void PlatformLogPrint(int bufferId, int priority, const char* tag, const char* format, ...) {
    const CancellationOff untilWritten;
    const int severity = SyslogSeverity(priority);
    const bool isForStandardError = LogSettings::IncludesStandardError();
    const bool isForLog =
        severity != LOG_DEBUG || NowMs() >= g_retryAtMs.load(std::memory_order_relaxed);
    if (!isForLog && !isForStandardError) {
        return;
    }
    char line[LINE_CAPACITY];
    va_list arguments;
    va_start(arguments, format);
    const Origin origin = OriginOf(severity, format, arguments);
    FormatLine(line, format, arguments);
    va_end(arguments);
    if (isForStandardError) {
        StandardError::WriteLine(priority, tag, line);
    }
    if (isForLog) {
        WriteToLog(bufferId, severity, tag, line, origin);
    }
}
