// The few calls of the library to GDBus and to the system that no bus can make fail, or that would
// wait for the clock. The linker replaces these calls (--wrap). By default, the replacements
// call the originals.
#pragma once

#include <string>

#include <sys/types.h>

namespace LibraryCalls {

/** pthread_create fails with EAGAIN. */
void RefuseThreads(bool refuse);

/** g_dbus_connection_signal_subscribe returns 0 for the signals of a partner. */
void RefusePartnerSubscriptions(bool refuse);

/** g_dbus_proxy_call_sync returns neither a reply nor an error. */
void LoseReplies(bool lose);

/**
 * The next g_dbus_connection_call_sync of @p method stops the process @p daemon first, and then
 * waits for its answer 200 ms instead of 25 s. The daemon stays stopped.
 */
void StopTheBusAt(const std::string& method, pid_t daemon);

/** The resend thread's usleep waits for StepResendThread instead of for the clock. */
void HoldResendThread();

/** Lets a held resend thread make one pass. Returns when it waits again or has ended. */
void StepResendThread();

/** The resend thread sleeps by the clock again; a held thread continues at once. */
void ReleaseResendThread();

/** Whether a thread that the library started has not ended yet. */
bool ResendThreadRuns();
bool WaitForResendThreadsEnd();

/** Resend threads since the start of the process, or since the last ForgetThreads. */
struct ThreadCounts {
    int requested;
    int started;
    int joined;
};
ThreadCounts Threads();
void ForgetThreads();

/** The period that the resend thread last slept, in microseconds. */
unsigned int LastSleep();

} // namespace LibraryCalls

inline namespace applist_test {

/** Stops the resend thread for the duration of a scope, except for the requested steps. */
class HeldResendThread {
public:
    HeldResendThread() { LibraryCalls::HoldResendThread(); }
    ~HeldResendThread() { LibraryCalls::ReleaseResendThread(); }

    HeldResendThread(const HeldResendThread&) = delete;
    HeldResendThread& operator=(const HeldResendThread&) = delete;
};

} // namespace applist_test
