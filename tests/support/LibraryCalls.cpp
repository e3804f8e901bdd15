#include "LibraryCalls.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>

#include <gio/gio.h>
#include <pthread.h>
#include <unistd.h>

#include "Guarded.h"

namespace {

struct CallState {
    bool refuseThreads = false;
    bool refuseSubscriptions = false;
    bool loseReplies = false;
    std::string stoppingMethod;
    pid_t daemon = 0;
    bool held = false;
    int waiting = 0; // threads inside usleep
    int steps = 0;   // the number of calls that may continue
    int running = 0;
    int requested = 0;
    int started = 0;
    int joined = 0;
    unsigned int lastSleep = 0;
};

using Calls = Guarded<CallState>;

struct ThreadStart {
    void* (*routine)(void*);
    void* argument;
};

void* RunThread(void* start) {
    const ThreadStart copy = *static_cast<ThreadStart*>(start);
    delete static_cast<ThreadStart*>(start);
    void* const result = copy.routine(copy.argument);
    const Calls calls;
    --calls->running;
    calls.NotifyAll();
    return result;
}

void SetFlag(bool CallState::*flag, bool value) {
    const Calls calls;
    (*calls).*flag = value;
    calls.NotifyAll();
}

// The state in /proc/PID/stat follows the name in brackets.
bool IsStopped(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string text;
    std::getline(file, text);
    const std::size_t end = text.rfind(") ");
    return end != std::string::npos && text.compare(end + 2, 1, "T") == 0;
}

// Whether this call of @p method has stopped the bus.
bool StopsTheBus(const char* method) {
    pid_t daemon = 0;
    {
        const Calls calls;
        if (calls->stoppingMethod != method) {
            return false;
        }
        calls->stoppingMethod.clear();
        daemon = calls->daemon;
    }
    if (kill(daemon, SIGSTOP) != 0) {
        return false;
    }
    while (!IsStopped(daemon)) {
        std::this_thread::yield();
    }
    return true;
}

bool Flag(bool CallState::*flag) {
    return (*Calls()).*flag;
}

} // namespace

extern "C" {

decltype(pthread_create) __real_pthread_create;
decltype(pthread_join) __real_pthread_join;
decltype(usleep) __real_usleep;
decltype(g_dbus_connection_signal_subscribe) __real_g_dbus_connection_signal_subscribe;
decltype(g_dbus_proxy_call_sync) __real_g_dbus_proxy_call_sync;
decltype(g_dbus_connection_call_sync) __real_g_dbus_connection_call_sync;

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*routine)(void*), void* argument) {
    {
        const Calls calls;
        ++calls->requested;
        if (calls->refuseThreads) {
            return EAGAIN;
        }
        ++calls->running;
        ++calls->started;
    }
    return __real_pthread_create(thread, attributes, RunThread, new ThreadStart{routine, argument});
}

int __wrap_pthread_join(pthread_t thread, void** result) {
    const int status = __real_pthread_join(thread, result);
    const Calls calls;
    calls->joined += status == 0 ? 1 : 0;
    return status;
}

int __wrap_usleep(useconds_t period) {
    {
        Calls calls;
        calls->lastSleep = period;
        if (calls->held) {
            ++calls->waiting;
            calls.NotifyAll();
            calls.Wait([&] { return calls->steps > 0 || !calls->held; });
            --calls->waiting;
            calls->steps -= calls->steps > 0 ? 1 : 0;
            calls.NotifyAll();
            return 0;
        }
    }
    return __real_usleep(period);
}

guint __wrap_g_dbus_connection_signal_subscribe(GDBusConnection* connection, const char* sender,
                                                const char* interface, const char* member,
                                                const char* path, const char* arg0,
                                                GDBusSignalFlags flags,
                                                GDBusSignalCallback callback, void* userData,
                                                GDestroyNotify destroy) {
    const bool isPartners = std::strcmp(interface, "org.morva.javamw.DbusCommunication") == 0;
    if (isPartners && Flag(&CallState::refuseSubscriptions)) {
        return 0;
    }
    return __real_g_dbus_connection_signal_subscribe(connection, sender, interface, member, path,
                                                     arg0, flags, callback, userData, destroy);
}

GVariant* __wrap_g_dbus_proxy_call_sync(GDBusProxy* proxy, const char* method, GVariant* parameters,
                                        GDBusCallFlags flags, int timeout,
                                        GCancellable* cancellable, GError** error) {
    if (Flag(&CallState::loseReplies)) {
        g_variant_unref(g_variant_ref_sink(parameters));
        return nullptr;
    }
    return __real_g_dbus_proxy_call_sync(proxy, method, parameters, flags, timeout, cancellable,
                                         error);
}

GVariant* __wrap_g_dbus_connection_call_sync(GDBusConnection* connection, const char* name,
                                             const char* path, const char* interface,
                                             const char* method, GVariant* parameters,
                                             const GVariantType* replyType, GDBusCallFlags flags,
                                             int timeout, GCancellable* cancellable,
                                             GError** error) {
    constexpr int SHORT_TIMEOUT_MS = 200;
    return __real_g_dbus_connection_call_sync(
        connection, name, path, interface, method, parameters, replyType, flags,
        StopsTheBus(method) ? SHORT_TIMEOUT_MS : timeout, cancellable, error);
}

} // extern "C"

void LibraryCalls::RefuseThreads(bool refuse) {
    SetFlag(&CallState::refuseThreads, refuse);
}

void LibraryCalls::RefusePartnerSubscriptions(bool refuse) {
    SetFlag(&CallState::refuseSubscriptions, refuse);
}

void LibraryCalls::LoseReplies(bool lose) {
    SetFlag(&CallState::loseReplies, lose);
}

void LibraryCalls::StopTheBusAt(const std::string& method, pid_t daemon) {
    const Calls calls;
    calls->stoppingMethod = method;
    calls->daemon = daemon;
}

void LibraryCalls::HoldResendThread() {
    SetFlag(&CallState::held, true);
}

void LibraryCalls::ReleaseResendThread() {
    SetFlag(&CallState::held, false);
}

void LibraryCalls::StepResendThread() {
    Calls calls;
    calls.Wait([&] { return calls->waiting > 0 || calls->running == 0; });
    if (calls->running == 0) {
        return;
    }
    ++calls->steps;
    calls.NotifyAll();
    calls.Wait([&] { return calls->steps == 0; });
    calls.Wait([&] { return calls->waiting > 0 || calls->running == 0; });
}

bool LibraryCalls::ResendThreadRuns() {
    return Calls()->running > 0;
}

bool LibraryCalls::WaitForResendThreadsEnd() {
    Calls calls;
    return calls.WaitFor(std::chrono::seconds(20), [&] { return calls->running == 0; });
}

LibraryCalls::ThreadCounts LibraryCalls::Threads() {
    const Calls calls;
    return {calls->requested, calls->started, calls->joined};
}

void LibraryCalls::ForgetThreads() {
    const Calls calls;
    calls->requested = calls->started = calls->joined = 0;
}

unsigned int LibraryCalls::LastSleep() {
    return Calls()->lastSleep;
}
