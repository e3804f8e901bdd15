// Sees every message on the bus that matters, as a monitor of the bus.
#ifndef APPLIST_TOOLS_BUSCAPTURE_H
#define APPLIST_TOOLS_BUSCAPTURE_H

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include <gio/gio.h>

#include <monitor/SeenMessage.h>

class BusCapture {
public:
    using OnSeen = std::function<void(const SeenMessage&)>;

    /**
     * @param connection is good for nothing else afterwards
     * @param onSeen called within the main loop, in the bus's order
     */
    BusCapture(GDBusConnection* connection, OnSeen onSeen);
    ~BusCapture();

    BusCapture(const BusCapture&) = delete;
    BusCapture& operator=(const BusCapture&) = delete;

    /** @return false, and why in @p problem, when the bus does not let us watch. */
    bool Start(std::string& problem);

    /** The time that messages seen now are given. */
    Microseconds Now() const;

private:
    static GDBusMessage* OnMessage(GDBusConnection* connection, GDBusMessage* message,
                                   gboolean incoming, void* user_data);
    static gboolean OnQueued(void* user_data);

    GDBusConnection* m_connection;
    OnSeen m_onSeen;
    Microseconds m_clockOffset;
    guint m_filterId = 0;
    std::mutex m_mutex;
    std::vector<SeenMessage> m_queue;
    guint m_queueId = 0;
};

#endif
