// The NameOwnerChanged signals of a test's bus: announcements of the handshake, and processes that
// leave the bus.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include <gio/gio.h>

#include "PrivateBus.h"

inline namespace applist_test {

/** All waiting iterates the test's main context. */
class OwnerChanges {
public:
    explicit OwnerChanges(const PrivateBus& bus);
    ~OwnerChanges();

    GDBusConnection* Connection() { return m_connection.get(); }

    /**
     * Waits for the first announcement of another process.
     * @param suffix such as "_CLIENT_SYN"
     * @return the unique name of the process, empty when there is none in time
     */
    std::string WaitForNewcomer(const std::string& suffix);

    /** Waits until the connection with this unique name has left the bus. */
    bool WaitForEnd(const std::string& uniqueName);

private:
    struct Release {
        std::string name;
        std::string owner;
    };

    static void OnNameOwnerChanged(GDBusConnection*, const char*, const char*, const char*,
                                   const char*, GVariant* parameters, void* user_data);
    /** @return the owner before the release of @p name, empty when there is none in time */
    std::string WaitForRelease(const std::string& name);

    ConnectionOwner m_connection;
    guint m_subscription;
    std::vector<Release> m_releases;
    std::size_t m_searched = 0;
    std::set<std::string> m_newcomers; ///< so far
};

} // namespace applist_test
