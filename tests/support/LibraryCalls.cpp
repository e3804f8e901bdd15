#include "LibraryCalls.h"

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>

#include <gio/gio.h>
#include <pthread.h>
#include <unistd.h>

namespace {

struct Calls {
    std::mutex mutex;
    std::condition_variable changed;
    bool refuseThreads = false;
    bool refuseSubscriptions = false;
    bool loseReplies = false;
    std::string stoppingMethod;
    pid_t daemon = 0;
    bool held = false;
    int waiting = 0; // threads that stand in usleep
    int steps = 0;   // how many of them may go on
    int running = 0;
    int requested = 0;
    int started = 0;
    int joined = 0;
    unsigned int lastSleep = 0;
};

Calls& TheCalls() {
    static auto* const calls = new Calls();
    return *calls;
}

struct ThreadStart {
    void* (*routine)(void*);
    void* argument;
};

void* RunThread(void* start) {
    const ThreadStart copy = *static_cast<ThreadStart*>(start);
    delete static_cast<ThreadStart*>(start);
    void* const result = copy.routine(copy.argument);
    Calls& calls = TheCalls();
    const std::lock_guard<std::mutex> lock(calls.mutex);
    --calls.running;
    calls.changed.notify_all();
    return result;
}

void SetFlag(bool Calls::*flag, bool value) {
    Calls& calls = TheCalls();
    const std::lock_guard<std::mutex> lock(calls.mutex);
    calls.*flag = value;
    calls.changed.notify_all();
}

// The state in /proc/PID/stat stands behind the name in brackets.
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
        Calls& calls = TheCalls();
        const std::lock_guard<std::mutex> lock(calls.mutex);
        if (calls.stoppingMethod != method) {
            return false;
        }
        calls.stoppingMethod.clear();
        daemon = calls.daemon;
    }
    if (kill(daemon, SIGSTOP) != 0) {
        return false;
    }
    while (!IsStopped(daemon)) {
        std::this_thread::yield();
    }
    return true;
}

bool Flag(bool Calls::*flag) {
    Calls& calls = TheCalls();
    const std::lock_guard<std::mutex> lock(calls.mutex);
    return calls.*flag;
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
    Calls& calls = TheCalls();
    {
        const std::lock_guard<std::mutex> lock(calls.mutex);
        ++calls.requested;
        if (calls.refuseThreads) {
            return EAGAIN;
        }
        ++calls.running;
        ++calls.started;
    }
    return __real_pthread_create(thread, attributes, RunThread, new ThreadStart{routine, argument});
}

int __wrap_pthread_join(pthread_t thread, void** result) {
    const int status = __real_pthread_join(thread, result);
    Calls& calls = TheCalls();
    const std::lock_guard<std::mutex> lock(calls.mutex);
    calls.joined += status == 0 ? 1 : 0;
    return status;
}

int __wrap_usleep(useconds_t period) {
    Calls& calls = TheCalls();
    std::unique_lock<std::mutex> lock(calls.mutex);
    calls.lastSleep = period;
    if (!calls.held) {
        lock.unlock();
        return __real_usleep(period);
    }
    ++calls.waiting;
    calls.changed.notify_all();
    calls.changed.wait(lock, [&] { return calls.steps > 0 || !calls.held; });
    --calls.waiting;
    if (calls.steps > 0) {
        --calls.steps;
    }
    calls.changed.notify_all();
    return 0;
}

guint __wrap_g_dbus_connection_signal_subscribe(GDBusConnection* connection, const char* sender,
                                                const char* interface, const char* member,
                                                const char* path, const char* arg0,
                                                GDBusSignalFlags flags,
                                                GDBusSignalCallback callback, void* userData,
                                                GDestroyNotify destroy) {
    const bool isPartners = std::strcmp(interface, "org.morva.javamw.DbusCommunication") == 0;
    if (isPartners && Flag(&Calls::refuseSubscriptions)) {
        return 0;
    }
    return __real_g_dbus_connection_signal_subscribe(connection, sender, interface, member, path,
                                                     arg0, flags, callback, userData, destroy);
}

GVariant* __wrap_g_dbus_proxy_call_sync(GDBusProxy* proxy, const char* method, GVariant* parameters,
                                        GDBusCallFlags flags, int timeout,
                                        GCancellable* cancellable, GError** error) {
    if (Flag(&Calls::loseReplies)) {
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
    SetFlag(&Calls::refuseThreads, refuse);
}

void LibraryCalls::RefusePartnerSubscriptions(bool refuse) {
    SetFlag(&Calls::refuseSubscriptions, refuse);
}

void LibraryCalls::LoseReplies(bool lose) {
    SetFlag(&Calls::loseReplies, lose);
}

void LibraryCalls::StopTheBusAt(const std::string& method, pid_t daemon) {
    Calls& calls = TheCalls();
    const std::lock_guard<std::mutex> lock(calls.mutex);
    calls.stoppingMethod = method;
    calls.daemon = daemon;
}

void LibraryCalls::HoldResendThread() {
    SetFlag(&Calls::held, true);
}

void LibraryCalls::ReleaseResendThread() {
    SetFlag(&Calls::held, false);
}

void LibraryCalls::StepResendThread() {
    Calls& calls = TheCalls();
    std::unique_lock<std::mutex> lock(calls.mutex);
    calls.changed.wait(lock, [&] { return calls.waiting > 0 || calls.running == 0; });
    if (calls.running == 0) {
        return;
    }
    ++calls.steps;
    calls.changed.notify_all();
    calls.changed.wait(lock, [&] { return calls.steps == 0; });
    calls.changed.wait(lock, [&] { return calls.waiting > 0 || calls.running == 0; });
}

bool LibraryCalls::ResendThreadRuns() {
    Calls& calls = TheCalls();
    const std::lock_guard<std::mutex> lock(calls.mutex);
    return calls.running > 0;
}

bool LibraryCalls::WaitForResendThreadsEnd() {
    Calls& calls = TheCalls();
    std::unique_lock<std::mutex> lock(calls.mutex);
    return calls.changed.wait_for(lock, std::chrono::seconds(20),
                                  [&] { return calls.running == 0; });
}

LibraryCalls::ThreadCounts LibraryCalls::Threads() {
    Calls& calls = TheCalls();
    const std::lock_guard<std::mutex> lock(calls.mutex);
    return {calls.requested, calls.started, calls.joined};
}

void LibraryCalls::ForgetThreads() {
    Calls& calls = TheCalls();
    const std::lock_guard<std::mutex> lock(calls.mutex);
    calls.requested = calls.started = calls.joined = 0;
}

unsigned int LibraryCalls::LastSleep() {
    Calls& calls = TheCalls();
    const std::lock_guard<std::mutex> lock(calls.mutex);
    return calls.lastSleep;
}
