// Determines from another thread whether the model's lock is free, so that a lock that is held by
// mistake fails a test instead of blocking it for ever.
#pragma once

#include <chrono>
#include <future>
#include <mutex>
#include <utility>
#include <vector>

#include <applist/AppListModel.h>

inline namespace applist_test {

/** The destructor waits for the threads of the probe, so the lock must be free by then. */
class LockProbe {
public:
    explicit LockProbe(AppListModel& model) : m_model(model) {}

    /** @return whether another thread could read the list within @p patience. */
    bool LockIsFree(std::chrono::milliseconds patience = std::chrono::seconds(10)) {
        std::future<int> read =
            std::async(std::launch::async, [this] { return m_model.GetItemsCount(); });
        const bool isFree = read.wait_for(patience) == std::future_status::ready;
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_reads.push_back(std::move(read));
        return isFree;
    }

    /** The same for a lock that is expected to be held; a free lock is detected at once. */
    bool LockIsHeld() { return !LockIsFree(std::chrono::milliseconds(50)); }

private:
    AppListModel& m_model;
    std::mutex m_mutex;
    std::vector<std::future<int>> m_reads;
};

} // namespace applist_test
