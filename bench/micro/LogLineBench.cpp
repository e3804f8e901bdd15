// One log line by itself: the library's, the same through GLib's journal writer with the line
// ready, and the bare datagram, which is the least that a writer could do. And lines below the
// level.
#include <cstdio>
#include <cstring>
#include <string>

#include <benchmark/benchmark.h>
#include <glib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <common/Log.h>

namespace {

constexpr const char* LINE = "LogLineBench.cpp: LogLine(24) > [LogLine:24] Sending sync message "
                             "with 41 bytes\n";

void LogLine(benchmark::State& state) {
    for (auto _ : state) {
        APPLIST_LOG_DEBUG("Sending sync message with %d bytes", 41);
    }
}

// Below APPLIST_LOG_LEVEL, which a process reads once.
void LineBelowLevel(benchmark::State& state) {
    const int before = LogSettings::g_lowestPriority.exchange(LOG_PRIORITY_ERROR);
    LogLine(state);
    LogSettings::g_lowestPriority = before;
}

void LineBelowHostsMask(benchmark::State& state) {
    const int before = setlogmask(LOG_UPTO(LOG_ERR));
    LogLine(state);
    setlogmask(before);
}

void GlibJournalWriter(benchmark::State& state) {
    const GLogField fields[] = {{"MESSAGE", LINE, -1},
                                {"PRIORITY", "7", -1},
                                {"SYSLOG_IDENTIFIER", LOG_TAG, -1},
                                {"LOG_BUFFER", "0", -1},
                                {"CODE_FILE", "LogLineBench.cpp", -1},
                                {"CODE_LINE", "24", -1},
                                {"CODE_FUNC", "LogLine", -1}};
    for (auto _ : state) {
        g_log_writer_journald(G_LOG_LEVEL_DEBUG, fields, G_N_ELEMENTS(fields), nullptr);
    }
}

void BareDatagram(benchmark::State& state) {
    // A text with line feeds goes with its length, as eight bytes, instead of "=".
    std::string datagram("MESSAGE\n");
    const std::uint64_t size = GUINT64_TO_LE(std::strlen(LINE));
    datagram.append(reinterpret_cast<const char*>(&size), sizeof(size));
    datagram += std::string(LINE) + "\nPRIORITY=7\nSYSLOG_IDENTIFIER=applist\nLOG_BUFFER=0\n"
                                    "CODE_FILE=LogLineBench.cpp\nCODE_LINE=24\nCODE_FUNC=LogLine\n";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/run/systemd/journal/socket");
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    for (auto _ : state) {
        benchmark::DoNotOptimize(sendto(fd, datagram.data(), datagram.size(), MSG_NOSIGNAL,
                                        reinterpret_cast<const sockaddr*>(&address),
                                        sizeof(address)));
    }
    close(fd);
}

// The text without any writer.
void FormatOnly(benchmark::State& state) {
    char line[4096];
    for (auto _ : state) {
        std::snprintf(line, sizeof(line),
                      "%s: %s(%d) > [%s:%d] Sending sync message with %d bytes%s",
                      LogBaseName(__FILE__), __func__, __LINE__, __func__, __LINE__, 41, "\n");
        benchmark::DoNotOptimize(line);
    }
}

BENCHMARK(LogLine);
BENCHMARK(LineBelowLevel);
BENCHMARK(LineBelowHostsMask);
BENCHMARK(GlibJournalWriter);
BENCHMARK(BareDatagram);
BENCHMARK(FormatOnly);

} // namespace
