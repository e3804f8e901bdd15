// The system log of a systemd device: the journal, and syslog(3) where no journal answers.
#include <common/PlatformLog.h>

#include <atomic>
#include <charconv>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>

#include <glib.h>
#include <paths.h>
#include <syslog.h>
#include <unistd.h>

namespace {

// Long enough for any line of ours with ordinary names; a longer one is cut here, so that no line
// costs an allocation and a megabyte of name does not go to the log.
constexpr std::size_t LINE_CAPACITY = 4096;

// Where there is no log at all, one is looked for again after this time only: the lines that nobody
// hears must not cost their caller a tenth of a request. An error always looks.
constexpr std::int64_t DEAF_PERIOD_MS = 100;
std::atomic<std::int64_t> g_deafUntilMs{0};

std::int64_t NowMs() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

bool SyslogListens() {
    return access(_PATH_LOG, F_OK) == 0;
}

// The journal and syslog share one numbering of severities.
int Severity(int priority) {
    if (priority >= 6) {
        return LOG_ERR;
    }
    return priority == 4 ? LOG_INFO : LOG_DEBUG;
}

// Without the cost of a format. @return the length
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

} // namespace

void PlatformLogPrint(int bufferId, int priority, const char* tag, const char* format, ...) {
    const int severity = Severity(priority);
    if (severity != LOG_ERR && NowMs() < g_deafUntilMs.load(std::memory_order_relaxed)) {
        return;
    }
    char line[LINE_CAPACITY];
    va_list arguments;
    va_start(arguments, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start is two lines up
    const int length = std::vsnprintf(line, sizeof(line), format, arguments);
    va_end(arguments);
    if (length < 0) {
        // A line of more than INT_MAX bytes: the C library gives up on it; say at least which.
        std::snprintf(line, sizeof(line), "%s", format);
    }

    if (WriteToJournal(bufferId, severity, tag, line)) {
        return;
    }
    if (!SyslogListens()) {
        g_deafUntilMs.store(NowMs() + DEAF_PERIOD_MS, std::memory_order_relaxed);
        return;
    }
    // No openlog: the ident belongs to the host process.
    syslog(severity, "%s: %s", tag, line);
}
