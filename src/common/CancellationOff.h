// Keeps a thread from being cancelled in places that cannot be left halfway.
#ifndef APPLIST_COMMON_CANCELLATIONOFF_H
#define APPLIST_COMMON_CANCELLATIONOFF_H

#include <pthread.h>

/**
 * While it lives, pthread_cancel() of the calling thread stays pending. GLib is C and releases
 * neither its locks nor its memory when a cancellation unwinds it, and an unwinding that meets a
 * destructor or a callback of ours would end the process.
 */
class CancellationOff {
public:
    CancellationOff() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_before); }
    ~CancellationOff() { pthread_setcancelstate(m_before, nullptr); }

    CancellationOff(const CancellationOff&) = delete;
    CancellationOff& operator=(const CancellationOff&) = delete;

private:
    int m_before = PTHREAD_CANCEL_ENABLE;
};

#endif
