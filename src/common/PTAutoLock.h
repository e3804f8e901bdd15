// Holds a PTMutex for a scope.
#ifndef APPLIST_COMMON_PTAUTOLOCK_H
#define APPLIST_COMMON_PTAUTOLOCK_H

#include "PTMutex.h"

/**
 * Locks a mutex in its constructor and unlocks it in its destructor, also when an exception leaves
 * the scope. The mutex is not owned and must outlive the lock.
 */
class APPLIST_SCOPED_CAPABILITY PTAutoLock {
public:
    /** Blocks until the calling thread holds @p mutex, which it must not hold yet. */
    explicit PTAutoLock(PTMutex& mutex) APPLIST_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.Lock(); }
    ~PTAutoLock() APPLIST_RELEASE() { m_mutex.Unlock(); }

    PTAutoLock(const PTAutoLock&) = delete;
    PTAutoLock& operator=(const PTAutoLock&) = delete;

private:
    PTMutex& m_mutex;
};

#endif
