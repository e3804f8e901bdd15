#include "ThreadCalls.h"

#include <atomic>
#include <cerrno>

#include <pthread.h>

#include <ipc/javamw-dbus-remote.h>

namespace {

std::atomic<bool> g_fail{false};
std::atomic<int> g_requested{0};
std::atomic<int> g_created{0};
std::atomic<int> g_joined{0};

} // namespace

extern "C" {

// The names are the linker's.
// NOLINTBEGIN(bugprone-reserved-identifier)
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*routine)(void*), void* arg);
int __real_pthread_join(pthread_t thread, void** result);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*routine)(void*), void* arg);
int __wrap_pthread_join(pthread_t thread, void** result);

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*routine)(void*), void* arg) {
    if (routine != &JavaMWDbusRemote::TimerThread) {
        return __real_pthread_create(thread, attributes, routine, arg);
    }
    ++g_requested;
    if (g_fail) {
        return EAGAIN;
    }
    const int status = __real_pthread_create(thread, attributes, routine, arg);
    if (status == 0) {
        ++g_created;
    }
    return status;
}

int __wrap_pthread_join(pthread_t thread, void** result) {
    const int status = __real_pthread_join(thread, result);
    if (status == 0) {
        ++g_joined;
    }
    return status;
}
// NOLINTEND(bugprone-reserved-identifier)
}

void ThreadCalls::Reset() {
    g_fail = false;
    g_requested = 0;
    g_created = 0;
    g_joined = 0;
}

void ThreadCalls::FailCreation(bool fail) {
    g_fail = fail;
}

int ThreadCalls::Requested() {
    return g_requested;
}

int ThreadCalls::Created() {
    return g_created;
}

int ThreadCalls::Joined() {
    return g_joined;
}
