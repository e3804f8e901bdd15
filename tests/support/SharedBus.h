// The process's shared bus connection, which the library uses, seen from a test.
#ifndef APPLIST_TESTS_SHAREDBUS_H
#define APPLIST_TESTS_SHAREDBUS_H

#include <string>

#include <gio/gio.h>

inline namespace applist_test {

/** Holds the shared connection, as another part of a host does. */
class SharedBus {
public:
    SharedBus();
    ~SharedBus();

    SharedBus(const SharedBus&) = delete;
    SharedBus& operator=(const SharedBus&) = delete;

    GDBusConnection* Connection() const { return m_connection; }
    std::string UniqueName() const { return g_dbus_connection_get_unique_name(m_connection); }

    /** The loss of the bus no longer ends the process. */
    void SurviveTheBus() const { g_dbus_connection_set_exit_on_close(m_connection, FALSE); }

    /** The shared connection's unique name while somebody holds that connection. */
    static std::string CurrentUniqueName() { return SharedBus().UniqueName(); }

    /**
     * Iterates until nobody holds the shared connection any more, so that the bus may end. @return
     * false when somebody keeps it.
     */
    static bool WaitUntilReleased();

private:
    GDBusConnection* m_connection;
};

} // namespace applist_test

#endif
