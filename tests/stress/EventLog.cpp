#include "EventLog.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>

#include <common/Log.h>

namespace {

struct State {
    std::mutex mutex;
    std::condition_variable changed;
    EventLog::Counts counts;
    std::string partner;
    std::vector<std::string> errors;
};

// Never destroyed: lines may come while the process exits.
State& TheState() {
    static auto* const state = new State();
    return *state;
}

std::atomic<unsigned long> g_lines{0};
std::atomic<bool> g_ready{false};

void TakeReadiness(State& state, const std::string& line) {
    const std::size_t at = line.find("state=");
    const bool ready = line[at + 6] == '1';
    const std::size_t name = line.find("partner=") + 8;
    state.partner = ready ? line.substr(name, line.find('\n') - name) : "";
    ++(ready ? state.counts.ready : state.counts.lost);
    g_ready = ready;
}

void TakeError(State& state, const std::string& line) {
    constexpr std::size_t KEPT = 5;
    ++state.counts.errors;
    if (state.errors.size() == KEPT) {
        state.errors.erase(state.errors.begin());
    }
    state.errors.push_back(line);
}

} // namespace

void PlatformLogPrint(int /*bufferId*/, int priority, const char* /*tag*/, const char* format,
                      ...) {
    g_lines.fetch_add(1, std::memory_order_relaxed);
    const auto has = [&](const char* text) { return std::strstr(format, text) != nullptr; };
    const bool isReadiness = has("HandleConnectionReady state=");
    const bool isStep = has("NameOwnerChanged called");
    const bool isResend = has("Executed OnResendHandshake");
    const bool isTimer = has("Creating timer");
    const bool isError = priority == LOG_PRIORITY_ERROR;
    if (!isReadiness && !isStep && !isResend && !isTimer && !isError) {
        return;
    }
    char line[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof(line), format, arguments);
    va_end(arguments);
    State& state = TheState();
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.counts.steps += isStep ? 1 : 0;
    state.counts.resends += isResend ? 1 : 0;
    state.counts.timers += isTimer ? 1 : 0;
    if (isReadiness) {
        TakeReadiness(state, line);
    }
    if (isError) {
        TakeError(state, line);
    }
    state.changed.notify_all();
}

EventLog::Counts EventLog::Now() {
    State& state = TheState();
    const std::lock_guard<std::mutex> lock(state.mutex);
    Counts counts = state.counts;
    counts.lines = g_lines;
    return counts;
}

std::string EventLog::Partner() {
    State& state = TheState();
    const std::lock_guard<std::mutex> lock(state.mutex);
    return state.partner;
}

bool EventLog::IsReady() {
    return g_ready;
}

bool EventLog::WaitUntilReady(const std::string& partner, int seconds) {
    State& state = TheState();
    std::unique_lock<std::mutex> lock(state.mutex);
    return state.changed.wait_for(lock, std::chrono::seconds(seconds),
                                  [&] { return state.partner == partner; });
}

bool EventLog::WaitUntil(const std::function<bool(const Counts&)>& reached,
                         std::chrono::milliseconds patience) {
    State& state = TheState();
    std::unique_lock<std::mutex> lock(state.mutex);
    return state.changed.wait_for(lock, patience, [&] { return reached(state.counts); });
}

void EventLog::ForgetPartner() {
    State& state = TheState();
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.partner.clear();
    g_ready = false;
}

std::vector<std::string> EventLog::LastErrors() {
    State& state = TheState();
    const std::lock_guard<std::mutex> lock(state.mutex);
    return state.errors;
}
