// The process's shared connection to the system bus: reached again after each loss.
#ifndef APPLIST_CLIENT_SYSTEMBUS_H
#define APPLIST_CLIENT_SYSTEMBUS_H

#include <gio/gio.h>

namespace applist_internal {

/** Used on the thread that iterates the thread-default main context, except for Cancel. */
class SystemBus {
public:
    /** @param context woken after the bus has closed the connection; must outlive this object */
    explicit SystemBus(GMainContext* context);
    ~SystemBus();

    SystemBus(const SystemBus&) = delete;
    SystemBus& operator=(const SystemBus&) = delete;

    /**
     * Connects and keeps the connection. The first of consecutive failures is logged as an error.
     *
     * @return whether the connection is open
     */
    bool Connect();
    /**
     * Releases the connection. Dispatches the deliveries that hold the connection until it has
     * ended, for at most 200 ms, because another part of the process may also hold it. A delivery
     * without a dispatch would keep the connection on the bus for ever.
     */
    void Disconnect();
    bool IsClosed() const;

    /** Ends a Connect under way on another thread. */
    void Cancel();

private:
    GMainContext* m_context;
    GCancellable* m_cancellable;
    GDBusConnection* m_connection = nullptr;
    unsigned long m_handler = 0;
    bool m_hasFailed = false;
};

} // namespace applist_internal

#endif
