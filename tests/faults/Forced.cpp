#include "Forced.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include <gio/gio.h>
#include <pthread.h>

#include "CapturedLog.h"

namespace {

struct Watch {
    std::string start;
    std::function<void()> action;
};

std::mutex g_watchMutex;
std::vector<Watch> g_watches;

struct ThreadLocks {
    int untilAction = 0;
    std::function<void()> action;
    std::vector<const void*> taken;
    std::size_t held = 0;
    bool isCounting = false;
};
thread_local ThreadLocks t_locks;

thread_local bool t_failNext = false;
std::atomic<long> g_liveBlocks{0};
std::function<void()> g_atRelease;

// Removes the first matching watch from the list.
std::function<void()> ActionFor(const CapturedLog::Line& line) {
    const std::lock_guard<std::mutex> lock(g_watchMutex);
    const auto found = std::find_if(g_watches.begin(), g_watches.end(), [&](const Watch& watch) {
        return line.message.compare(0, watch.start.size(), watch.start) == 0;
    });
    if (found == g_watches.end()) {
        return nullptr;
    }
    std::function<void()> action = std::move(found->action);
    g_watches.erase(found);
    return action;
}

} // namespace

void Forced::AtLine(const std::string& start, std::function<void()> action) {
    {
        const std::lock_guard<std::mutex> lock(g_watchMutex);
        g_watches.push_back({start, std::move(action)});
    }
    CapturedLog::OnLine([](const CapturedLog::Line& line) {
        if (const std::function<void()> wanted = ActionFor(line)) {
            wanted();
        }
    });
}

void Forced::BeforeLock(int count, std::function<void()> action) {
    t_locks.action = std::move(action);
    t_locks.untilAction = count;
}

void Forced::ForgetLocks() {
    t_locks.taken.clear();
    t_locks.isCounting = true;
}

std::vector<const void*> Forced::TakenLocks() {
    t_locks.isCounting = false;
    return t_locks.taken;
}

std::size_t Forced::HeldLocks() {
    return t_locks.held;
}

void Forced::FailNextAllocation() {
    t_failNext = true;
}

long Forced::LiveBlocks() {
    return g_liveBlocks;
}

void Forced::AtReleaseOfNextProxy(std::function<void()> action) {
    g_atRelease = std::move(action);
}

HeldLine::HeldLine(const std::string& start) {
    Forced::AtLine(start, [this] {
        std::future<void> released = m_released.get_future();
        m_reached.set_value();
        released.wait();
    });
}

void HeldLine::Release() {
    if (!std::exchange(m_isReleased, true)) {
        m_released.set_value();
    }
}

void* operator new(std::size_t size) {
    if (std::exchange(t_failNext, false)) {
        throw std::bad_alloc();
    }
    void* const block = std::malloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    ++g_liveBlocks;
    return block;
}

void operator delete(void* block) noexcept {
    if (block != nullptr) {
        --g_liveBlocks;
        std::free(block);
    }
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
    operator delete(block);
}

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" {
decltype(pthread_mutex_lock) __real_pthread_mutex_lock;
decltype(pthread_mutex_lock) __wrap_pthread_mutex_lock;
decltype(pthread_mutex_unlock) __real_pthread_mutex_unlock;
decltype(pthread_mutex_unlock) __wrap_pthread_mutex_unlock;
decltype(g_dbus_proxy_new_sync) __real_g_dbus_proxy_new_sync;
decltype(g_dbus_proxy_new_sync) __wrap_g_dbus_proxy_new_sync;

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    if (t_locks.untilAction > 0 && --t_locks.untilAction == 0) {
        std::exchange(t_locks.action, nullptr)();
    }
    const int result = __real_pthread_mutex_lock(mutex);
    ++t_locks.held;
    if (t_locks.isCounting) {
        t_locks.isCounting = false; // the vector's own allocation may lock
        t_locks.taken.push_back(mutex);
        t_locks.isCounting = true;
    }
    return result;
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    --t_locks.held;
    return __real_pthread_mutex_unlock(mutex);
}

GDBusProxy* __wrap_g_dbus_proxy_new_sync(GDBusConnection* connection, GDBusProxyFlags flags,
                                         GDBusInterfaceInfo* info, const char* name,
                                         const char* path, const char* interface,
                                         GCancellable* cancellable, GError** error) {
    GDBusProxy* const proxy = __real_g_dbus_proxy_new_sync(connection, flags, info, name, path,
                                                           interface, cancellable, error);
    if (proxy != nullptr && g_atRelease) {
        g_object_weak_ref(
            G_OBJECT(proxy),
            [](void* action, GObject* /*released*/) {
                const std::unique_ptr<std::function<void()>> owned(
                    static_cast<std::function<void()>*>(action));
                (*owned)();
            },
            new std::function<void()>(std::exchange(g_atRelease, nullptr)));
    }
    return proxy;
}
}
// NOLINTEND(bugprone-reserved-identifier)
