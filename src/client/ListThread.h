// The thread that holds the list of a client and iterates its main context.
#ifndef APPLIST_CLIENT_LISTTHREAD_H
#define APPLIST_CLIENT_LISTTHREAD_H

#include <atomic>

#include <client/PartnerList.h>
#include <client/SystemBus.h>
#include <glib.h>

namespace applist_internal {

/** The work of the thread; the client starts the thread. */
class ListThread {
public:
    ListThread(PartnerList& list, PartnerListObserver& observer);
    ~ListThread();

    ListThread(const ListThread&) = delete;
    ListThread& operator=(const ListThread&) = delete;

    /** Connects the list, again after each loss of the bus, until Stop. */
    void Run();

    /** @name Called on any thread */
    /** @{ */
    /** Ends an attempt to connect, but not Run. */
    void Cancel() { m_bus.Cancel(); }
    /** Ends Run. */
    void Stop();
    /** A request has failed: checks whether the bus has closed the connection. */
    void CheckBus();
    /** @} */

private:
    void ConnectOnce();
    void IterateWhileConnected();
    void WaitBeforeRetry();

    PartnerList& m_list;
    PartnerListObserver& m_observer;
    GMainContext* m_context;
    SystemBus m_bus;
    std::atomic<bool> m_isStopped{false};
};

} // namespace applist_internal

#endif
