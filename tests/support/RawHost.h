// A host without the library, on a separate bus connection, for steps that the library never
// performs.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <gio/gio.h>

#include "BareEndpoint.h"
#include "PrivateBus.h"

inline namespace applist_test {

/** The callbacks run in the test's main context, which every waiting function iterates. */
class RawHost {
public:
    explicit RawHost(const PrivateBus& bus);
    ~RawHost();

    GDBusConnection* Connection() { return m_connection; }
    std::string UniqueName() const { return g_dbus_connection_get_unique_name(m_connection); }

    /** Owns and releases the name of a step, such as "_SYN". */
    void Announce(const std::string& step) { m_endpoint->Announce(step); }

    /** Waits for @p count announcements of @p step. The last announcer becomes the partner. */
    bool WaitForAnnouncement(const std::string& step, std::size_t count = 1);

    /** Handshake with a partner that runs already. */
    bool Connect();

    /** Calls Send with these bytes. @return the answer's bytes, or "ERROR: " and the reason */
    std::string Request(const std::string& bytes);

    /** Emits SendSignal to the partner with any body, which is consumed. */
    void Notify(GVariant* body);

    /** Waits until the partner has sent this notification. */
    bool WaitForNotification(const std::string& bytes);
    const std::vector<std::string>& Notifications() const { return m_notifications; }

private:
    GDBusConnection* m_connection;
    std::string m_partner;
    std::optional<BareEndpoint> m_endpoint;
    std::vector<std::string> m_announcements;
    std::vector<std::string> m_notifications;
};

} // namespace applist_test
