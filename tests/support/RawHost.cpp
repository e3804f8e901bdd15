#include "RawHost.h"

#include <algorithm>
#include <stdexcept>

#include "MainLoop.h"

namespace {

constexpr const char* PATH = "/org/morva/javamw/CommunicationChannel/Applist";
constexpr const char* INTERFACE = "org.morva.javamw.DbusCommunication";
const std::string BASE_NAME = "org.morva.JavaMW.Applist";

std::string BytesOf(GVariant* body) {
    g_autoptr(GVariant) array = g_variant_get_child_value(body, 0);
    gsize size = 0;
    const auto* bytes = static_cast<const char*>(g_variant_get_fixed_array(array, &size, 1));
    return std::string(bytes, bytes + size);
}

} // namespace

RawHost::RawHost(const PrivateBus& bus)
    : m_connection(bus.Connect()), m_uniqueName(g_dbus_connection_get_unique_name(m_connection)) {
    for (const char* suffix : {"_SERVICE_SYN", "_SERVICE_SYN_ACK", "_SERVICE_ACK"}) {
        m_subscriptions.push_back(g_dbus_connection_signal_subscribe(
            m_connection, "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
            "/org/freedesktop/DBus", (BASE_NAME + suffix).c_str(), G_DBUS_SIGNAL_FLAGS_NONE,
            OnNameOwnerChanged, this, nullptr));
    }
    m_subscriptions.push_back(g_dbus_connection_signal_subscribe(
        m_connection, nullptr, INTERFACE, "SendSignal", PATH, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
        OnSignal, this, nullptr));
    // The daemon has all the match rules once it has answered a call made behind them.
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        m_connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (reply == nullptr) {
        throw std::runtime_error("the bus does not answer");
    }
}

RawHost::~RawHost() {
    for (const guint id : m_subscriptions) {
        g_dbus_connection_signal_unsubscribe(m_connection, id);
    }
    g_dbus_connection_close_sync(m_connection, nullptr, nullptr);
    g_object_unref(m_connection);
    MainLoop::IterateUntilIdle();
}

void RawHost::Announce(const std::string& suffix) {
    const std::string name = BASE_NAME + "_CLIENT" + suffix;
    for (const char* method : {"RequestName", "ReleaseName"}) {
        GVariant* const parameters = std::string(method) == "RequestName"
                                         ? g_variant_new("(su)", name.c_str(), guint32{4})
                                         : g_variant_new("(s)", name.c_str());
        g_autoptr(GError) error = nullptr;
        g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
            m_connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            method, parameters, G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
        if (reply == nullptr) {
            throw std::runtime_error(error->message);
        }
    }
}

bool RawHost::WaitForAnnouncement(const std::string& suffix, std::size_t count) {
    return MainLoop::IterateUntil([&] {
        return static_cast<std::size_t>(
                   std::count(m_announcements.begin(), m_announcements.end(), suffix)) >= count;
    });
}

bool RawHost::Connect() {
    Announce("_SYN");
    if (!WaitForAnnouncement("_SYN_ACK")) {
        return false;
    }
    Announce("_ACK");
    return true;
}

std::string RawHost::Request(const std::string& bytes) {
    GVariant* const array =
        g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes.data(), bytes.size(), 1);
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        m_connection, m_partner.c_str(), PATH, INTERFACE, "Send", g_variant_new("(@ay)", array),
        G_VARIANT_TYPE("(ay)"), G_DBUS_CALL_FLAGS_NONE, 20000, nullptr, &error);
    return reply != nullptr ? BytesOf(reply) : "ERROR: " + std::string(error->message);
}

void RawHost::Notify(GVariant* body) {
    g_dbus_connection_emit_signal(m_connection, m_partner.c_str(), PATH, INTERFACE, "SendSignal",
                                  body, nullptr);
    g_dbus_connection_flush_sync(m_connection, nullptr, nullptr);
}

bool RawHost::WaitForNotification(const std::string& bytes) {
    return MainLoop::IterateUntil([&] {
        return std::find(m_notifications.begin(), m_notifications.end(), bytes) !=
               m_notifications.end();
    });
}

void RawHost::OnNameOwnerChanged(GDBusConnection* /*connection*/, const char* /*sender*/,
                                 const char* /*path*/, const char* /*interface*/,
                                 const char* /*signal*/, GVariant* parameters, void* user_data) {
    auto* const self = static_cast<RawHost*>(user_data);
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    g_variant_get(parameters, "(&s&s&s)", &name, &oldOwner, &newOwner);
    if (*newOwner == '\0') {
        self->m_partner = oldOwner;
        self->m_announcements.push_back(
            std::string(name).substr(BASE_NAME.size() + std::string("_SERVICE").size()));
    }
}

void RawHost::OnSignal(GDBusConnection* /*connection*/, const char* /*sender*/,
                       const char* /*path*/, const char* /*interface*/, const char* /*signal*/,
                       GVariant* parameters, void* user_data) {
    static_cast<RawHost*>(user_data)->m_notifications.push_back(BytesOf(parameters));
}
