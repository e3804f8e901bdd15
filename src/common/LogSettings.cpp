#include <common/LogSettings.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>

#include <syslog.h>

#include <common/Log.h>

namespace LogSettings {
std::atomic<int> g_lowestPriority{NOT_READ};
} // namespace LogSettings

namespace {

constexpr const char* LEVEL_VARIABLE = "APPLIST_LOG_LEVEL";
constexpr const char* LOG_VARIABLE = "APPLIST_LOG";

struct Level {
    const char* name;
    int lowestPriority;
};
constexpr std::array<Level, 3> LEVELS = {
    {{"error", LOG_PRIORITY_ERROR}, {"info", LOG_PRIORITY_INFO}, {"debug", LOG_PRIORITY_DEBUG}}};

std::atomic<bool> g_standardError{false};

// A copy of the host's mask. setlogmask takes the lock of syslog(3), which costs 50 ns, and which a
// thread of the host may hold while it waits for the log.
std::atomic<int> g_mask{LOG_UPTO(LOG_DEBUG)};
constexpr std::int64_t NEVER = std::numeric_limits<std::int64_t>::min();
std::atomic<std::int64_t> g_maskReadAt{NEVER};

// @return null also for an empty value. A host with more rights than its user ignores the
// variables.
const char* Value(const char* variable) {
    const char* const value = secure_getenv(variable);
    return value == nullptr || *value == '\0' ? nullptr : value;
}

int LowestPriority(const char* level) {
    for (const Level& known : LEVELS) {
        if (std::strcmp(level, known.name) == 0) {
            return known.lowestPriority;
        }
    }
    return LogSettings::FROM_HOST;
}

// On standard error as well, because the user with the typing error reads it.
void ReportUnknownValue(const char* variable, const char* value) {
    const bool before = g_standardError.exchange(true);
    APPLIST_LOG_ERROR("Environment variable %s has the unknown value '%s'", variable, value);
    g_standardError = before;
}

// The first thread reports unknown values. Other threads may read the same environment meanwhile.
void ReadEnvironment() {
    const char* const log = Value(LOG_VARIABLE);
    const char* const level = Value(LEVEL_VARIABLE);
    const bool isLogKnown = log == nullptr || std::strcmp(log, "stderr") == 0;
    const int lowest = level == nullptr ? LogSettings::FROM_HOST : LowestPriority(level);
    if (log != nullptr && isLogKnown) {
        g_standardError = true;
    }
    int notRead = LogSettings::NOT_READ;
    if (!LogSettings::g_lowestPriority.compare_exchange_strong(notRead, lowest)) {
        return;
    }
    if (!isLogKnown) {
        ReportUnknownValue(LOG_VARIABLE, log);
    }
    if (level != nullptr && lowest == LogSettings::FROM_HOST) {
        ReportUnknownValue(LEVEL_VARIABLE, level);
    }
}

std::int64_t CurrentTick() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return std::int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

int HostsMask() {
    const std::int64_t tick = CurrentTick();
    if (g_maskReadAt.load(std::memory_order_acquire) != tick) {
        g_mask.store(setlogmask(0), std::memory_order_relaxed);
        g_maskReadAt.store(tick, std::memory_order_release);
    }
    return g_mask.load(std::memory_order_relaxed);
}

} // namespace

bool LogSettings::IncludesByHostsMask(int priority) {
    if (g_lowestPriority.load(std::memory_order_acquire) == NOT_READ) {
        ReadEnvironment();
        return Includes(priority);
    }
    return (HostsMask() & LOG_MASK(SyslogSeverity(priority))) != 0;
}

bool LogSettings::IncludesStandardError() {
    if (g_lowestPriority.load(std::memory_order_acquire) == NOT_READ) {
        ReadEnvironment();
    }
    return g_standardError.load(std::memory_order_relaxed);
}
