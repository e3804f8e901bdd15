// The mutex and the lock that holds it for a scope.
#include <common/PTAutoLock.h>
#include <common/PTMutex.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>
#include <type_traits>

#include <gtest/gtest.h>

namespace {

/** Whether another thread could lock the mutex now. */
bool IsFree(PTMutex& mutex) {
    return std::async(std::launch::async,
                      [&] {
                          const bool taken = mutex.TryLock();
                          if (taken) {
                              mutex.Unlock();
                          }
                          return taken;
                      })
        .get();
}

TEST(Mutex, StartsUnlocked) {
    PTMutex mutex;
    EXPECT_TRUE(IsFree(mutex));
}

TEST(Mutex, ExcludesOtherThreadsUntilItIsUnlocked) {
    PTMutex mutex;
    mutex.Lock();
    EXPECT_FALSE(IsFree(mutex));
    mutex.Unlock();
    EXPECT_TRUE(IsFree(mutex));
}

TEST(Mutex, IsLockedByTryLock) {
    PTMutex mutex;
    if (mutex.TryLock()) {
        EXPECT_FALSE(IsFree(mutex));
        mutex.Unlock();
    } else {
        ADD_FAILURE() << "no thread holds the mutex";
    }
    EXPECT_TRUE(IsFree(mutex));
}

// The thread-safety analysis refuses a second attempt by the thread that holds the mutex.
bool TryAgain(PTMutex& mutex) APPLIST_NO_THREAD_SAFETY_ANALYSIS {
    mutex.Lock();
    const bool takenAgain = mutex.TryLock();
    if (takenAgain) {
        mutex.Unlock();
    }
    mutex.Unlock();
    return takenAgain;
}

TEST(Mutex, IsNotRecursive) {
    PTMutex mutex;
    EXPECT_FALSE(TryAgain(mutex));
}

TEST(Mutex, MakesAWaiterWaitUntilItIsUnlocked) {
    PTMutex mutex;
    std::atomic<bool> unlocked{false};
    std::promise<void> waiting;
    mutex.Lock();
    auto waiter = std::async(std::launch::async, [&] {
        waiting.set_value();
        const PTAutoLock lock(mutex);
        return unlocked.load();
    });
    waiting.get_future().wait();
    EXPECT_EQ(waiter.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    unlocked = true;
    mutex.Unlock();
    EXPECT_TRUE(waiter.get());
}

TEST(Mutex, SerializesTheIncrementsOfTwoThreads) {
    PTMutex mutex;
    int count = 0;
    const auto increment = [&] {
        for (int i = 0; i < 100000; ++i) {
            const PTAutoLock lock(mutex);
            ++count;
        }
    };
    std::thread other(increment);
    increment();
    other.join();
    EXPECT_EQ(count, 200000);
}

TEST(Mutex, IsNotCopyable) {
    EXPECT_FALSE(std::is_copy_constructible_v<PTMutex>);
    EXPECT_FALSE(std::is_copy_assignable_v<PTMutex>);
    EXPECT_FALSE(std::is_copy_constructible_v<PTAutoLock>);
    EXPECT_FALSE(std::is_copy_assignable_v<PTAutoLock>);
}

TEST(AutoLock, LocksTheMutexUntilTheEndOfItsScope) {
    PTMutex mutex;
    {
        const PTAutoLock lock(mutex);
        EXPECT_FALSE(IsFree(mutex));
    }
    EXPECT_TRUE(IsFree(mutex));
}

TEST(AutoLock, UnlocksTheMutexWhenAnExceptionLeavesItsScope) {
    PTMutex mutex;
    try {
        const PTAutoLock lock(mutex);
        throw std::runtime_error("out");
    } catch (const std::runtime_error&) {
        EXPECT_TRUE(IsFree(mutex));
    }
}

} // namespace
