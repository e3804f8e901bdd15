// One end of the channel without the library: names, paths and bytes are literals here.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <gio/gio.h>

#include "BusDaemon.h"
#include "Owners.h"

inline namespace applist_test {

class BareEndpoint {
public:
    enum class Role { HOST, PARTNER };

    /** Called in the main context that is the thread-default one of the constructing thread. */
    struct Handlers {
        /** The other side released the name of a step, such as "_SYN". */
        std::function<void(const std::string& step, const std::string& owner)> onAnnouncement;
        std::function<void(GVariant* body)> onNotification;
        /** Answers "Send". An empty function registers no object. */
        std::function<void(GVariant* body, GDBusMethodInvocation* invocation)> onCall;
    };

    /** Owns the reference to @p connection from now on. All match rules apply on return. */
    BareEndpoint(GDBusConnection* connection, Role role, const std::string& id, Handlers handlers);

    /** Leaves the bus. */
    ~BareEndpoint();

    GDBusConnection* Connection() const { return m_connection.get(); }

    /** Owns and releases this side's name of a step. */
    void Announce(const std::string& step);

    /** Emits SendSignal. @p body is consumed, here and below. */
    void Notify(const std::string& peer, GVariant* body);
    void Flush() { g_dbus_connection_flush_sync(Connection(), nullptr, nullptr); }

    /** Calls "Send" and waits. @return the reply's body; null sets @p error */
    GVariant* Call(const std::string& peer, GVariant* body, GError** error);

private:
    static void OnAnnouncement(GDBusConnection*, const char*, const char*, const char*, const char*,
                               GVariant* parameters, void* self);
    static void OnSignal(GDBusConnection*, const char*, const char*, const char*, const char*,
                         GVariant* parameters, void* self);
    static void OnCall(GDBusConnection*, const char*, const char*, const char*, const char*,
                       GVariant* parameters, GDBusMethodInvocation* invocation, void* self);
    void Subscribe(const char* sender, const char* interface, const char* member, const char* path,
                   const char* argument, GDBusSignalCallback callback);

    const ConnectionOwner m_connection;
    const std::string m_ownName;   ///< without the step
    const std::string m_otherName; ///< without the step
    const std::string m_path;
    const Handlers m_handlers;
    std::vector<guint> m_subscriptions;
};

} // namespace applist_test
