// PTMutex and the lock that holds it for a scope.
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include <common/PTAutoLock.h>
#include <common/PTMutex.h>

namespace {

// Asked from another thread: what a thread may do with its own mutex says nothing.
bool IsFree(PTMutex& mutex) {
    bool taken = false;
    std::thread([&] {
        if (mutex.TryLock()) {
            taken = true;
            mutex.Unlock();
        }
    }).join();
    return taken;
}

TEST(PTMutexTest, TryLockTakesAFreeMutex) {
    PTMutex mutex;
    const bool taken = mutex.TryLock();
    ASSERT_TRUE(taken);
    EXPECT_FALSE(IsFree(mutex));
    mutex.Unlock();
    EXPECT_TRUE(IsFree(mutex));
}

TEST(PTMutexTest, TryLockFailsForTheHoldersOwnThreadTooBecauseItIsNotRecursive) {
    PTMutex mutex;
    mutex.Lock();
    const bool takenTwice = mutex.TryLock();
    EXPECT_FALSE(takenTwice);
    mutex.Unlock();
}

TEST(PTMutexTest, LockKeepsOthersOutUntilUnlock) {
    PTMutex mutex;
    int counter = 0;
    const auto count = [&] {
        for (int i = 0; i < 20000; ++i) {
            mutex.Lock();
            ++counter;
            mutex.Unlock();
        }
    };
    std::thread other(count);
    count();
    other.join();
    EXPECT_EQ(counter, 40000);
}

TEST(PTAutoLockTest, HoldsTheMutexForItsScope) {
    PTMutex mutex;
    {
        const PTAutoLock lock(mutex);
        EXPECT_FALSE(IsFree(mutex));
    }
    EXPECT_TRUE(IsFree(mutex));
}

TEST(PTAutoLockTest, ReleasesTheMutexWhenAnExceptionLeavesTheScope) {
    PTMutex mutex;
    try {
        const PTAutoLock lock(mutex);
        throw std::runtime_error("left");
    } catch (const std::runtime_error&) {
    }
    EXPECT_TRUE(IsFree(mutex));
}

} // namespace
