// The system log of a systemd device: the journal, and syslog(3) where no journal answers.
#include <common/PlatformLog.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <glib.h>
#include <syslog.h>

namespace {

// Long enough for any line of ours with ordinary names; a longer one is cut here, so that no line
// costs an allocation and a megabyte of name does not go to the log.
constexpr std::size_t LINE_CAPACITY = 4096;

// The journal and syslog share one numbering of severities.
int Severity(int priority) {
    if (priority >= 6) {
        return LOG_ERR;
    }
    return priority == 4 ? LOG_INFO : LOG_DEBUG;
}

bool WriteToJournal(int bufferId, int severity, const char* tag, const char* line) {
    char severityText[12];
    char bufferText[12];
    std::snprintf(severityText, sizeof(severityText), "%d", severity);
    std::snprintf(bufferText, sizeof(bufferText), "%d", bufferId);
    const GLogField fields[] = {
        {"MESSAGE", line, -1},
        {"PRIORITY", severityText, -1},
        {"SYSLOG_IDENTIFIER", tag, -1},
        {"LOG_BUFFER", bufferText, -1},
    };
    return g_log_writer_journald(G_LOG_LEVEL_DEBUG, fields, G_N_ELEMENTS(fields), nullptr) ==
           G_LOG_WRITER_HANDLED;
}

} // namespace

void PlatformLogPrint(int bufferId, int priority, const char* tag, const char* format, ...) {
    char line[LINE_CAPACITY] = "";
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line, sizeof(line), format, arguments);
    va_end(arguments);
    if (length < 0) {
        // A line of more than INT_MAX bytes: the C library gives up on it, we say at least where
        // it came from.
        std::snprintf(line, sizeof(line), "%s", format);
    }

    const int severity = Severity(priority);
    if (!WriteToJournal(bufferId, severity, tag, line)) {
        // No openlog: the ident belongs to the host process.
        syslog(severity, "%s: %s", tag, line);
    }
}
