#include "QuietHost.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include <glib.h>

namespace {

std::atomic<unsigned long> g_warnings{0};
std::atomic<unsigned long> g_criticals{0};

void OnLine(const char* domain, GLogLevelFlags level, const char* message, void* /*data*/) {
    if ((level & (G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_ERROR | G_LOG_LEVEL_WARNING)) == 0) {
        return;
    }
    if ((level & G_LOG_LEVEL_WARNING) != 0 &&
        std::strstr(message, "passed to g_bus_unwatch_name()") != nullptr) {
        ++g_warnings;
        return;
    }
    ++g_criticals;
    std::fprintf(stderr, "%s: %s\n", domain, message);
}

// The library's lines come one by one, since it flushes before and after each.
ssize_t WriteButTheLibrarysLines(void* standardOutput, const char* text, std::size_t size) {
    const std::string_view written(text, size);
    if (written != "Connection not set.\n" && written != "Proxy not ready\n") {
        std::fwrite(text, 1, size, static_cast<std::FILE*>(standardOutput));
        std::fflush(static_cast<std::FILE*>(standardOutput));
    }
    return static_cast<ssize_t>(size);
}

} // namespace

QuietHost::QuietHost() : m_standardOutput(stdout) {
    g_log_set_default_handler(OnLine, nullptr);
    cookie_io_functions_t functions = {};
    functions.write = WriteButTheLibrarysLines;
    stdout = fopencookie(m_standardOutput, "w", functions);
}

QuietHost::~QuietHost() {
    std::fclose(std::exchange(stdout, m_standardOutput));
}

unsigned long QuietHost::Warnings() {
    return g_warnings;
}

unsigned long QuietHost::Criticals() {
    return g_criticals;
}
