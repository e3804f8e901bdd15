// A thread that is cancelled, and the end of its work before the cancellation takes effect.
#pragma once

#include <atomic>
#include <functional>
#include <utility>

#include <gtest/gtest.h>
#include <pthread.h>

inline namespace applist_test {

class CancelledThread {
public:
    /** @param work is followed by a point at which a cancellation takes effect */
    explicit CancelledThread(std::function<void()> work) : m_work(std::move(work)) {
        EXPECT_EQ(pthread_create(&m_thread, nullptr, Run, this), 0);
    }

    void Cancel() const { pthread_cancel(m_thread); }

    /** @return whether the work was finished before the cancellation ended the thread */
    bool FinishedFirst() {
        void* result = nullptr;
        pthread_join(m_thread, &result);
        return result == PTHREAD_CANCELED && m_isFinished;
    }

private:
    static void* Run(void* self) {
        auto& thread = *static_cast<CancelledThread*>(self);
        thread.m_work();
        thread.m_isFinished = true;
        pthread_testcancel();
        return nullptr;
    }

    std::function<void()> m_work;
    pthread_t m_thread = {};
    std::atomic<bool> m_isFinished{false};
};

/** Runs @p work in a thread whose cancellation is pending. @return whether the work was finished
 *  before the cancellation ended the thread */
inline bool FinishesBeforeItsCancellation(const std::function<void()>& work) {
    CancelledThread thread([&] {
        pthread_cancel(pthread_self());
        work();
    });
    return thread.FinishedFirst();
}

} // namespace applist_test
