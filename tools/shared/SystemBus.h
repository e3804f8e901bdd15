// A connection to the system bus, the process's shared one or one of its own, which tells when the
// bus is gone instead of ending the process.
#ifndef APPLIST_TOOLS_SYSTEMBUS_H
#define APPLIST_TOOLS_SYSTEMBUS_H

#include <functional>
#include <string>

#include <gio/gio.h>

class SystemBus {
public:
    enum class Kind {
        Shared, ///< the one that the library uses too
        Own     ///< with a unique name of its own; closed at the end
    };

    /** @param onClosed called within the main loop, with the reason */
    explicit SystemBus(std::function<void(const std::string& reason)> onClosed,
                       Kind kind = Kind::Shared);
    ~SystemBus();

    SystemBus(const SystemBus&) = delete;
    SystemBus& operator=(const SystemBus&) = delete;

    /** @return null when there is no bus; Problem() says why */
    GDBusConnection* Connection() const { return m_connection; }
    const std::string& Problem() const { return m_problem; }

    /** "the system bus", or the address that stands in for it. */
    static std::string Describe();

    /** From here on, @p address is the system bus of this process. */
    static void UseAddress(const std::string& address);

private:
    static void OnClosed(GDBusConnection* connection, gboolean remotePeerVanished, GError* error,
                         void* user_data);

    std::function<void(const std::string&)> m_onClosed;
    Kind m_kind;
    GDBusConnection* m_connection;
    gulong m_handlerId = 0;
    std::string m_problem;
};

#endif
