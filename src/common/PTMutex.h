// A POSIX mutex as an object.
#ifndef APPLIST_COMMON_PTMUTEX_H
#define APPLIST_COMMON_PTMUTEX_H

#include <pthread.h>

#include "Export.h"
#include "ThreadAnnotations.h"

/**
 * A mutex with default attributes: not recursive, not shared between processes.
 *
 * A second lock by the same thread blocks that thread for ever. An unlock by a thread that does not
 * hold the mutex, and the destruction of a locked mutex, are undefined (pthread_mutex_lock(3p),
 * pthread_mutex_destroy(3p)). No operation reports an error, because with default attributes only
 * wrong use causes one. Prefer PTAutoLock to explicit Lock/Unlock pairs.
 */
class APPLIST_API APPLIST_CAPABILITY("mutex") PTMutex {
public:
    PTMutex();
    ~PTMutex();

    PTMutex(const PTMutex&) = delete;
    PTMutex& operator=(const PTMutex&) = delete;

    /** Blocks until the calling thread holds the mutex. */
    void Lock() APPLIST_ACQUIRE();

    /** Locks the mutex if it is free. Never blocks. @return true when the lock was taken */
    bool TryLock() APPLIST_TRY_ACQUIRE(true);

    /** Releases the mutex, which the calling thread must hold. */
    void Unlock() APPLIST_RELEASE();

private:
    pthread_mutex_t m_mutex;
};

#endif
