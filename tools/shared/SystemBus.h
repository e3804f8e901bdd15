// A shared or private connection to the system bus. Reports a lost bus instead of ending the
// process.
#ifndef APPLIST_TOOLS_SYSTEMBUS_H
#define APPLIST_TOOLS_SYSTEMBUS_H

#include <functional>
#include <string>

#include <gio/gio.h>

namespace applistctl {

class SystemBus {
public:
    enum class Kind {
        Shared, ///< the connection that the library uses
        Own     ///< with another unique name; closed by the destructor
    };

    /** @param onClosed called in the main loop, with the reason */
    explicit SystemBus(std::function<void(const std::string& reason)> onClosed,
                       Kind kind = Kind::Shared);
    ~SystemBus();

    SystemBus(const SystemBus&) = delete;
    SystemBus& operator=(const SystemBus&) = delete;

    /** @return null without a bus, with the reason and the address in Problem() */
    GDBusConnection* Connection() const { return m_connection; }
    const std::string& Problem() const { return m_problem; }

    /**
     * Calls the bus daemon.
     * @return why findings from now on would be wrong: the daemon has closed @p connection, or is
     * stalled; empty with a bus
     */
    static std::string DescribeLoss(GDBusConnection* connection);

    /** The time for a reply of the daemon, and the description of a daemon that misses it. */
    static constexpr int REPLY_LIMIT_MS = 10000;
    static std::string DescribeSilence();

    /** "the system bus", or the address that replaces it. */
    static std::string Describe();

    /** The remedy for a missing bus. It names the origin of the address. */
    static std::string Advice();

    /** Makes @p address, the value of --bus, the system bus of this process. */
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

} // namespace applistctl

#endif
