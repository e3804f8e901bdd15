// The process's shared bus connection, which the library uses, for the code of a test.
#pragma once

#include <string>

#include <gio/gio.h>

#include "Owners.h"

inline namespace applist_test {

/** Holds the shared connection, as another part of a host does. */
class SharedBus {
public:
    SharedBus();

    GDBusConnection* Connection() const { return m_connection.get(); }
    std::string UniqueName() const { return g_dbus_connection_get_unique_name(Connection()); }

    /** The loss of the bus no longer ends the process. */
    void DisableExitOnClose() const { g_dbus_connection_set_exit_on_close(Connection(), FALSE); }

    /** The unique name of the shared connection, while a reference to the connection exists. */
    static std::string CurrentUniqueName() { return SharedBus().UniqueName(); }

    /**
     * Iterates until the last reference to the shared connection is released, so that the bus may
     * exit. @return false when a reference remains
     */
    static bool WaitUntilReleased();

private:
    ObjectOwner<GDBusConnection> m_connection;
};

} // namespace applist_test
