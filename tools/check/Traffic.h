// What goes over one bus connection on the communication object, as the partner's duties see it:
// our requests with their answers, the partner's notifications, and what it asks us.
#ifndef APPLIST_TOOLS_TRAFFIC_H
#define APPLIST_TOOLS_TRAFFIC_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gio/gio.h>

/** A request of ours. */
struct SentRequest {
    std::int32_t id = 0;
    std::uint32_t serial = 0;
    std::chrono::steady_clock::time_point sent;
    bool hasReply = false;
    double seconds = 0;
    std::string problem; ///< of the answer: an error, or a type other than (ay)
    std::vector<char> reply;
};

/** A notification of the partner. */
struct Notification {
    std::int32_t id = 0;
    std::string problem; ///< what is wrong with it
};

/** A request that the partner made of us. */
struct ReceivedRequest {
    std::string during; ///< our own request that was unanswered then, or empty
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
    /** Outlives us where GDBus is still inside the filter. */
    struct Record;

    static GDBusMessage* OnMessage(GDBusConnection* connection, GDBusMessage* message,
                                   gboolean incoming, gpointer user_data);
    static void OnFilterEnd(gpointer user_data);

    GDBusConnection* m_connection;
    std::shared_ptr<Record> m_record;
    guint m_filterId = 0;
};

#endif
