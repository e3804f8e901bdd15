// Holds a PTMutex for the length of a scope.
#ifndef APPLIST_COMMON_PTAUTOLOCK_H
#define APPLIST_COMMON_PTAUTOLOCK_H

#include "PTMutex.h"

/**
 * Locks a mutex when constructed and unlocks it when destroyed, also when the scope is left by an
 * exception. The mutex must outlive the lock; it is not owned.
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
