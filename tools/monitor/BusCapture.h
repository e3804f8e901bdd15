// Receives the channel's messages and the owner changes, as a monitor of the bus.
#ifndef APPLIST_TOOLS_BUSCAPTURE_H
#define APPLIST_TOOLS_BUSCAPTURE_H

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include <gio/gio.h>

#include <monitor/SeenMessage.h>

namespace applistctl {

class BusCapture {
public:
    using OnSeen = std::function<void(const SeenMessage&)>;

    /**
     * @param connection becomes a monitor, which can send nothing more
     * @param onSeen called within the main loop, in the bus's order
     */
    BusCapture(GDBusConnection* connection, OnSeen onSeen);
    ~BusCapture();

    BusCapture(const BusCapture&) = delete;
    BusCapture& operator=(const BusCapture&) = delete;

    /** @return false, and the reason in @p problem, when the bus refuses to be watched. */
    bool Start(std::string& problem);

    /** The time of messages that arrive now. */
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

} // namespace applistctl

#endif
