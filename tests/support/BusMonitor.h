// All messages on the bus of a test, recorded by a monitor.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include <gio/gio.h>

#include "Owners.h"
#include "PrivateBus.h"

inline namespace applist_test {

class BusMonitor {
public:
    struct Message {
        GDBusMessageType type;
        std::string sender;
        std::string destination;
        std::string path;
        std::string interface;
        std::string member;
        std::string body; ///< in GVariant's text form
    };

    explicit BusMonitor(const PrivateBus& bus);
    ~BusMonitor();

    /** All messages of @p sender to the bus before this call, in order. */
    std::vector<Message> SentBy(const std::string& sender);

    /** The bodies of these messages with the given type and member. */
    std::vector<std::string> BodiesSentBy(const std::string& sender, GDBusMessageType type,
                                          const std::string& member);

private:
    static GDBusMessage* OnMessage(GDBusConnection* connection, GDBusMessage* message,
                                   gboolean incoming, void* user_data);
    void CatchUp();

    const PrivateBus& m_bus;
    ConnectionOwner m_connection;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Message> m_messages;
    unsigned m_marks = 0;
};

} // namespace applist_test
