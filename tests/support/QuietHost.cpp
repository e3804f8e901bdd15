#include "QuietHost.h"

#include <atomic>
#include <cstdio>
#include <cstring>

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

} // namespace

QuietHost::QuietHost() : m_before(std::cout.rdbuf(&m_nowhere)) {
    g_log_set_default_handler(OnLine, nullptr);
}

QuietHost::~QuietHost() {
    std::cout.rdbuf(m_before);
}

unsigned long QuietHost::Warnings() {
    return g_warnings;
}

unsigned long QuietHost::Criticals() {
    return g_criticals;
}
