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

namespace {

// Long enough for every line with ordinary names. A longer line is cut, so that no line costs an
// allocation and a name of a megabyte does not reach the log.
constexpr std::size_t LINE_CAPACITY = 4096;
constexpr char CUT_MARK[] = "...\n";

// While no log is available, the library looks for one at this interval only: lines without a
// reader must not cost a tenth of a request. An error always looks for a log.
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

// The journal and syslog share one numbering of severities.
int Severity(int priority) {
    if (priority >= 6) {
        return LOG_ERR;
    }
    return priority == 4 ? LOG_INFO : LOG_DEBUG;
}

// Cheaper than a format. @return the length
template <std::size_t CAPACITY>
gssize WriteNumber(char (&text)[CAPACITY], int number) {
    return std::to_chars(text, text + CAPACITY, number).ptr - text;
}

bool WriteToJournal(int bufferId, int severity, const char* tag, const char* line) {
    char severityText[12];
    char bufferText[12];
    const GLogField fields[] = {
        {"MESSAGE", line, -1},
        {"PRIORITY", severityText, WriteNumber(severityText, severity)},
        {"SYSLOG_IDENTIFIER", tag, -1},
        {"LOG_BUFFER", bufferText, WriteNumber(bufferText, bufferId)},
    };
    return g_log_writer_journald(G_LOG_LEVEL_DEBUG, fields, G_N_ELEMENTS(fields), nullptr) ==
           G_LOG_WRITER_HANDLED;
}

// Ends a line that was cut with the mark, in front of which no UTF-8 character is cut in two: the
// journal would show the whole line as binary.
void MarkCut(char (&line)[LINE_CAPACITY]) {
    std::size_t end = LINE_CAPACITY - sizeof(CUT_MARK);
    while (end > LINE_CAPACITY - sizeof(CUT_MARK) - 3 && (line[end] & 0xC0) == 0x80) {
        --end;
    }
    std::memcpy(line + end, CUT_MARK, sizeof(CUT_MARK));
}

} // namespace

void PlatformLogPrint(int bufferId, int priority, const char* tag, const char* format, ...) {
    const CancellationOff untilWritten;
    const int severity = Severity(priority);
    if (severity != LOG_ERR && NowMs() < g_retryAtMs.load(std::memory_order_relaxed)) {
        return;
    }
    char line[LINE_CAPACITY];
    va_list arguments;
    va_start(arguments, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start is two lines up
    const int length = std::vsnprintf(line, sizeof(line), format, arguments);
    va_end(arguments);
    if (length < 0) {
        // The C library refuses lines of more than INT_MAX bytes. The format identifies the line.
        std::snprintf(line, sizeof(line), "%s", format);
    } else if (static_cast<std::size_t>(length) >= sizeof(line)) {
        MarkCut(line);
    }

    if (WriteToJournal(bufferId, severity, tag, line)) {
        return;
    }
    if (!SyslogIsAvailable()) {
        g_retryAtMs.store(NowMs() + RETRY_PERIOD_MS, std::memory_order_relaxed);
        return;
    }
    // No openlog: the ident belongs to the host process.
    syslog(severity, "%s: %s", tag, line);
}
