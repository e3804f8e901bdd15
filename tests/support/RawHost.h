// A host without the library: literal names, paths and bytes on a bus connection of its own, for
// steps that no library would take.
#ifndef APPLIST_TESTS_RAWHOST_H
#define APPLIST_TESTS_RAWHOST_H

#include <cstddef>
#include <string>
#include <vector>

#include <gio/gio.h>

#include "PrivateBus.h"

inline namespace applist_test {

/** Its callbacks run while the test's main context is iterated, which all waiting does. */
class RawHost {
public:
    explicit RawHost(const PrivateBus& bus);
    ~RawHost();

    RawHost(const RawHost&) = delete;
    RawHost& operator=(const RawHost&) = delete;

    GDBusConnection* Connection() { return m_connection; }
    const std::string& UniqueName() const { return m_uniqueName; }

    /** Owns and releases org.morva.JavaMW.Applist_CLIENT + @p suffix. */
    void Announce(const std::string& suffix);

    /** Waits for the partner's @p count announcement of _SERVICE + suffix, and takes it for ours.
     */
    bool WaitForAnnouncement(const std::string& suffix, std::size_t count = 1);

    /** Handshake with a partner that runs already. */
    bool Connect();

    /** Calls Send with these bytes. @return the answer's bytes, or "ERROR: " and why */
    std::string Request(const std::string& bytes);

    /** Emits SendSignal to the partner with any body, which is consumed. */
    void Notify(GVariant* body);

    /** Waits until the partner has sent this notification. */
    bool WaitForNotification(const std::string& bytes);
    const std::vector<std::string>& Notifications() const { return m_notifications; }

private:
    static void OnNameOwnerChanged(GDBusConnection*, const char*, const char*, const char*,
                                   const char*, GVariant* parameters, void* user_data);
    static void OnSignal(GDBusConnection*, const char*, const char*, const char*, const char*,
                         GVariant* parameters, void* user_data);

    GDBusConnection* m_connection;
    std::string m_uniqueName;
    std::string m_partner;
    std::vector<guint> m_subscriptions;
    std::vector<std::string> m_announcements;
    std::vector<std::string> m_notifications;
};

} // namespace applist_test

#endif
