// The traffic of the communication object on one bus connection: the sent requests with their
// replies, the notifications of the partner, and its requests.
#ifndef APPLIST_TOOLS_TRAFFIC_H
#define APPLIST_TOOLS_TRAFFIC_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gio/gio.h>

namespace applistctl {

/** A request to the partner, and its reply. */
struct SentRequest {
    std::int32_t id = 0;
    std::uint32_t serial = 0;
    std::chrono::steady_clock::time_point sent;
    bool hasReply = false;
    double seconds = 0;
    std::string problem;           ///< of the reply: an error, or a type other than (ay)
    bool isUnknownObject = false;  ///< the receiver has no communication object
    bool isUnknownService = false; ///< the receiver had left the bus
    std::vector<char> reply;
};

/** A notification of the partner. */
struct Notification {
    std::int32_t id = 0;
    std::string sender;  ///< unique name
    std::string problem; ///< empty for a correct notification
    bool isBroadcast = false;
};

/** A request of the partner to this host. */
struct ReceivedRequest {
    std::string during; ///< the sent request without a reply at that time, or empty
};

class Traffic {
public:
    explicit Traffic(GDBusConnection* connection);
    ~Traffic();

    Traffic(const Traffic&) = delete;
    Traffic& operator=(const Traffic&) = delete;

    std::vector<SentRequest> SentRequests() const;
    std::vector<Notification> Notifications() const;
    std::vector<ReceivedRequest> ReceivedRequests() const;

    std::size_t CountNotifications(std::int32_t id) const;

private:
    /** Shared with the filter, which GDBus may run after the destructor. */
    struct Record;

    static GDBusMessage* OnMessage(GDBusConnection* connection, GDBusMessage* message,
                                   gboolean incoming, gpointer user_data);
    static void OnFilterEnd(gpointer user_data);

    GDBusConnection* m_connection;
    std::shared_ptr<Record> m_record;
    guint m_filterId = 0;
};

} // namespace applistctl

#endif
