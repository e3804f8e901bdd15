#include "EventLog.h"

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <common/Log.h>

#include "Guarded.h"

namespace {

struct State {
    EventLog::Counts counts;
    std::string bound;
    std::string partner;
    std::vector<std::string> errors;
};

using GuardedState = Guarded<State>;

std::atomic<unsigned long> g_lines{0};
std::atomic<bool> g_ready{false};

std::string TextAfter(const char* text, const std::string& line) {
    const std::size_t start = line.find(text) + std::strlen(text);
    return line.substr(start, line.find('\n') - start);
}

void RecordReadiness(State& state, bool ready, const std::string& partner) {
    state.partner = ready ? partner : "";
    ++(ready ? state.counts.ready : state.counts.lost);
    g_ready = ready;
}

void RecordError(State& state, const std::string& line) {
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
    const bool isBinding = has("Monitor unique name ");
    const bool isReadiness = has("HandleConnectionReady state=");
    // An endpoint reports readiness during its construction without the name of the partner.
    const bool isEarlyReadiness = has("Default handler - HandleConnectionReady = ");
    const bool isStep = has("NameOwnerChanged called");
    const bool isResend = has("Executed OnResendHandshake");
    const bool isTimer = has("Creating timer");
    const bool isError = priority == LOG_PRIORITY_ERROR;
    if (!isBinding && !isReadiness && !isEarlyReadiness && !isStep && !isResend && !isTimer &&
        !isError) {
        return;
    }
    char line[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof(line), format, arguments);
    va_end(arguments);
    const GuardedState state;
    state->counts.steps += isStep ? 1 : 0;
    state->counts.resends += isResend ? 1 : 0;
    state->counts.timers += isTimer ? 1 : 0;
    if (isBinding) {
        state->bound = TextAfter("Monitor unique name ", line);
    }
    if (isReadiness) {
        RecordReadiness(*state, TextAfter("state=", line)[0] == '1', TextAfter("partner=", line));
    }
    if (isEarlyReadiness) {
        RecordReadiness(*state, TextAfter("Ready = ", line)[0] == '1', state->bound);
    }
    if (isError) {
        RecordError(*state, line);
    }
    state.NotifyAll();
}

EventLog::Counts EventLog::Now() {
    Counts counts = GuardedState()->counts;
    counts.lines = g_lines;
    return counts;
}

std::string EventLog::Partner() {
    return GuardedState()->partner;
}

bool EventLog::IsReady() {
    return g_ready;
}

bool EventLog::WaitUntilReady(const std::string& partner, int seconds) {
    GuardedState state;
    return state.WaitFor(std::chrono::seconds(seconds), [&] { return state->partner == partner; });
}

bool EventLog::WaitUntil(const std::function<bool(const Counts&)>& reached,
                         std::chrono::milliseconds patience) {
    GuardedState state;
    return state.WaitFor(patience, [&] { return reached(state->counts); });
}

void EventLog::ForgetPartner() {
    const GuardedState state;
    state->partner.clear();
    g_ready = false;
}

std::vector<std::string> EventLog::LastErrors() {
    return GuardedState()->errors;
}
