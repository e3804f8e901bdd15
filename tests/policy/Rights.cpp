#include "Rights.h"

#include <cstring>

#include "BusDaemon.h"

namespace {

constexpr const char* MATCH = "interface='org.morva.javamw.DbusCommunication'";

} // namespace

BusParty::BusParty(const PrivateBus& bus, const BusUser& user)
    : m_bus(bus), m_user(user), m_connection(user.Connect(bus)) {
    g_dbus_connection_add_filter(m_connection.get(), OnMessage, this, nullptr);
    // The second one may be refused, or mean nothing.
    for (const std::string& rule : {std::string(MATCH), std::string("eavesdrop='true',") + MATCH}) {
        BusDaemon::Call(m_connection.get(), "AddMatch", g_variant_new("(s)", rule.c_str()));
    }
}

// Runs on GDBus's own thread.
GDBusMessage* BusParty::OnMessage(GDBusConnection* connection, GDBusMessage* message,
                                  gboolean incoming, void* user_data) {
    auto* const self = static_cast<BusParty*>(user_data);
    const GDBusMessageType type = g_dbus_message_get_message_type(message);
    if (incoming == FALSE ||
        (type != G_DBUS_MESSAGE_TYPE_METHOD_CALL && type != G_DBUS_MESSAGE_TYPE_SIGNAL)) {
        return message;
    }
    if (*g_dbus_message_get_sender(message) != ':') { // the bus
        if (std::strcmp(g_dbus_message_get_member(message), "NameOwnerChanged") == 0) {
            self->m_ownerChanged = true;
        }
        return message;
    }
    const char* const destination = g_dbus_message_get_destination(message);
    const bool isOurs =
        destination == nullptr ||
        std::strcmp(destination, g_dbus_connection_get_unique_name(connection)) == 0;
    (isOurs ? self->m_reached : self->m_eavesdropped) = true;
    g_object_unref(message); // and ends here
    return nullptr;
}

bool BusParty::Owns(const std::string& name) {
    const std::string whole = "org.morva.JavaMW." + name;
    return BusDaemon::RequestName(m_connection.get(), whole) == 1 &&
           BusDaemon::ReleaseName(m_connection.get(), whole);
}

bool BusParty::Sends(const char* destination, BusParty& other, const Message& message) {
    other.m_reached = false;
    g_autoptr(GDBusMessage) sent =
        message.type == G_DBUS_MESSAGE_TYPE_SIGNAL
            ? g_dbus_message_new_signal(message.path, message.interface, message.member)
            : g_dbus_message_new_method_call(destination, message.path, message.interface,
                                             message.member);
    g_dbus_message_set_destination(sent, destination);
    g_dbus_message_set_body(sent, g_variant_new("(@ay)", g_variant_new_bytestring("")));
    g_dbus_message_set_flags(sent, G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED);
    g_dbus_connection_send_message(m_connection.get(), sent, G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                   nullptr, nullptr);
    // The bus has handled the message, and then the forwarded message has arrived.
    BusDaemon::Ping(m_connection.get());
    BusDaemon::Ping(other.m_connection.get());
    return other.m_reached;
}

bool BusParty::Reaches(BusParty& other, const Message& message) {
    return Sends(g_dbus_connection_get_unique_name(other.m_connection.get()), other, message);
}

bool BusParty::ReachesAsListener(BusParty& other, const Message& message) {
    return Sends(nullptr, other, message);
}

bool BusParty::Monitors() {
    // It would do nothing else from then on.
    g_autoptr(GDBusConnection) monitor = m_user.Connect(m_bus);
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        monitor, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus.Monitoring",
        "BecomeMonitor", g_variant_new("(@asu)", g_variant_new_strv(nullptr, 0), guint32{0}),
        nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    g_dbus_connection_close_sync(monitor, nullptr, nullptr);
    return reply != nullptr;
}

bool BusParty::ReceivesOwnerChanges() {
    BusDaemon::Call(m_connection.get(), "AddMatch",
                    g_variant_new("(s)", "sender='org.freedesktop.DBus',type='signal'"));
    m_ownerChanged = false;
    g_autoptr(GDBusConnection) newcomer = m_user.Connect(m_bus);
    BusDaemon::Ping(m_connection.get());
    g_dbus_connection_close_sync(newcomer, nullptr, nullptr);
    return m_ownerChanged;
}

Rights applist_test::RightsOf(const PrivateBus& bus, const BusUser& host, const BusUser& partner,
                              const BusUser& otherUser) {
    struct Role {
        const char* name;
        BusParty party;
    };
    Role roles[] = {
        {"host", {bus, host}}, {"partner", {bus, partner}}, {"other user", {bus, otherUser}}};
    Rights rights;
    const auto grant = [&](const Role& role, const std::string& right, bool isGranted) {
        if (isGranted) {
            rights.insert(std::string(role.name) + " " + right);
        }
    };
    for (Role& role : roles) {
        for (const char* name : {"CLIENT_SYN", "CLIENT_SYN_ACK", "CLIENT_ACK", "SERVICE_SYN",
                                 "SERVICE_SYN_ACK", "SERVICE_ACK"}) {
            grant(role, std::string("owns ") + name,
                  role.party.Owns(std::string("Applist_") + name));
        }
        bool calls = false;
        bool signals = false;
        for (Role& other : {std::ref(roles[0]), std::ref(roles[1])}) {
            if (&other != &role) {
                calls |= role.party.Reaches(other.party, SEND);
                signals |= role.party.Reaches(other.party, SEND_SIGNAL);
            }
        }
        grant(role, "calls", calls);
        grant(role, "signals", signals);
        grant(role, "monitors", role.party.Monitors());
    }
    for (const Role& role : roles) {
        grant(role, "eavesdrops", role.party.HasEavesdropped());
    }
    return rights;
}
