#include "BareEndpoint.h"

#include <utility>

#include "Channel.h"

namespace {

constexpr const char* XML =
    "<node><interface name='org.morva.javamw.DbusCommunication'><method name='Send'>"
    "<arg type='ay' name='data' direction='in'/><arg type='ay' name='response' direction='out'/>"
    "</method></interface></node>";

std::string StepName(const std::string& id, bool isHost) {
    return "org.morva.JavaMW." + id + (isHost ? "_CLIENT" : "_SERVICE");
}

} // namespace

BareEndpoint::BareEndpoint(GDBusConnection* connection, Role role, const std::string& id,
                           Handlers handlers)
    : m_connection(connection),
      m_ownName(StepName(id, role == Role::HOST)),
      m_otherName(StepName(id, role != Role::HOST)),
      m_path("/org/morva/javamw/CommunicationChannel/" + id),
      m_handlers(std::move(handlers)) {
    if (m_handlers.onCall) {
        static const GDBusInterfaceVTable vtable = {OnCall, nullptr, nullptr, {nullptr}};
        g_autoptr(GDBusNodeInfo) node = g_dbus_node_info_new_for_xml(XML, nullptr);
        g_dbus_connection_register_object(Connection(), m_path.c_str(), node->interfaces[0],
                                          &vtable, this, nullptr, nullptr);
    }
    for (const char* step : {"_SYN", "_SYN_ACK", "_ACK"}) {
        Subscribe(BUS, BUS, "NameOwnerChanged", "/org/freedesktop/DBus",
                  (m_otherName + step).c_str(), OnAnnouncement);
    }
    Subscribe(nullptr, INTERFACE, "SendSignal", m_path.c_str(), nullptr, OnSignal);
    // After its reply to a later call, the daemon has all match rules.
    BusDaemon::Ping(Connection());
}

BareEndpoint::~BareEndpoint() {
    for (const guint id : m_subscriptions) {
        g_dbus_connection_signal_unsubscribe(Connection(), id);
    }
}

void BareEndpoint::Subscribe(const char* sender, const char* interface, const char* member,
                             const char* path, const char* argument, GDBusSignalCallback callback) {
    m_subscriptions.push_back(
        g_dbus_connection_signal_subscribe(Connection(), sender, interface, member, path, argument,
                                           G_DBUS_SIGNAL_FLAGS_NONE, callback, this, nullptr));
}

void BareEndpoint::Announce(const std::string& step) {
    BusDaemon::RequestName(Connection(), m_ownName + step);
    BusDaemon::ReleaseName(Connection(), m_ownName + step);
}

void BareEndpoint::Notify(const std::string& peer, GVariant* body) {
    g_dbus_connection_emit_signal(Connection(), peer.c_str(), m_path.c_str(), INTERFACE,
                                  "SendSignal", body, nullptr);
}

GVariant* BareEndpoint::Call(const std::string& peer, GVariant* body, GError** error) {
    return g_dbus_connection_call_sync(Connection(), peer.c_str(), m_path.c_str(), INTERFACE,
                                       "Send", body, G_VARIANT_TYPE("(ay)"), G_DBUS_CALL_FLAGS_NONE,
                                       -1, nullptr, error);
}

void BareEndpoint::OnAnnouncement(GDBusConnection* /*connection*/, const char* /*sender*/,
                                  const char* /*path*/, const char* /*interface*/,
                                  const char* /*signal*/, GVariant* parameters, void* self) {
    const auto* const endpoint = static_cast<BareEndpoint*>(self);
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    g_variant_get(parameters, "(&s&s&s)", &name, &oldOwner, &newOwner);
    if (*newOwner == '\0') {
        endpoint->m_handlers.onAnnouncement(name + endpoint->m_otherName.size(), oldOwner);
    }
}

void BareEndpoint::OnSignal(GDBusConnection* /*connection*/, const char* /*sender*/,
                            const char* /*path*/, const char* /*interface*/, const char* /*signal*/,
                            GVariant* parameters, void* self) {
    static_cast<BareEndpoint*>(self)->m_handlers.onNotification(parameters);
}

void BareEndpoint::OnCall(GDBusConnection* /*connection*/, const char* /*sender*/,
                          const char* /*path*/, const char* /*interface*/, const char* /*method*/,
                          GVariant* parameters, GDBusMethodInvocation* invocation, void* self) {
    static_cast<BareEndpoint*>(self)->m_handlers.onCall(parameters, invocation);
}
