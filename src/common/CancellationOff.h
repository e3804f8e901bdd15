// Disables the cancellation of a thread in code that must not end halfway.
#ifndef APPLIST_COMMON_CANCELLATIONOFF_H
#define APPLIST_COMMON_CANCELLATIONOFF_H

#include <pthread.h>

/**
 * Until the destructor, pthread_cancel() of the calling thread stays pending. GLib is C and
 * releases neither its locks nor its memory when a cancellation unwinds its functions. An unwinding
 * through a destructor or a callback of the library would end the process.
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
