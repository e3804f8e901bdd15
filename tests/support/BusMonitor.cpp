#include "BusMonitor.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

#include "BusDaemon.h"

namespace {

std::string Text(const char* text) {
    return text != nullptr ? text : "";
}

BusMonitor::Message Describe(GDBusMessage* message) {
    BusMonitor::Message seen{g_dbus_message_get_message_type(message),
                             Text(g_dbus_message_get_sender(message)),
                             Text(g_dbus_message_get_destination(message)),
                             Text(g_dbus_message_get_path(message)),
                             Text(g_dbus_message_get_interface(message)),
                             Text(g_dbus_message_get_member(message)),
                             ""};
    if (GVariant* const body = g_dbus_message_get_body(message)) {
        g_autofree char* text = g_variant_print(body, TRUE);
        seen.body = text;
    }
    return seen;
}

} // namespace

// ThreadSanitizer does not see the locks inside GDBus, so the mutex is locked additionally before
// the first and after the last run of the filter.
BusMonitor::BusMonitor(const PrivateBus& bus) : m_bus(bus), m_connection(bus.Connect()) {
    std::unique_lock<std::mutex>(m_mutex).unlock();
    g_dbus_connection_add_filter(m_connection.get(), OnMessage, this, nullptr);
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        m_connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
        "org.freedesktop.DBus.Monitoring", "BecomeMonitor",
        g_variant_new("(@asu)", g_variant_new_strv(nullptr, 0), guint32{0}), nullptr,
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    if (reply == nullptr) {
        throw std::runtime_error(error->message);
    }
}

BusMonitor::~BusMonitor() {
    m_connection.reset();
    std::unique_lock<std::mutex>(m_mutex).unlock();
}

// Runs on GDBus's own thread. A monitor must not reply, so no message is processed further.
GDBusMessage* BusMonitor::OnMessage(GDBusConnection* /*connection*/, GDBusMessage* message,
                                    gboolean incoming, void* user_data) {
    auto* const self = static_cast<BusMonitor*>(user_data);
    const bool isOwnReply = g_dbus_message_get_reply_serial(message) != 0 &&
                            Text(g_dbus_message_get_destination(message)) ==
                                Text(g_dbus_connection_get_unique_name(self->m_connection.get()));
    if (incoming == FALSE || isOwnReply) {
        return message;
    }
    {
        const std::lock_guard<std::mutex> lock(self->m_mutex);
        self->m_messages.push_back(Describe(message));
    }
    self->m_changed.notify_all();
    g_object_unref(message);
    return nullptr;
}

// The daemon handles messages in order: after a mark, the monitor has received all earlier
// messages.
void BusMonitor::CatchUp() {
    const std::string mark = "org.example.Mark" + std::to_string(++m_marks);
    g_autoptr(GDBusConnection) connection = m_bus.Connect();
    BusDaemon::Call(connection, "NameHasOwner", g_variant_new("(s)", mark.c_str()));
    std::unique_lock<std::mutex> lock(m_mutex);
    const bool seen = m_changed.wait_for(lock, std::chrono::seconds(20), [&] {
        return std::any_of(m_messages.begin(), m_messages.end(), [&](const Message& message) {
            return message.member == "NameHasOwner" &&
                   message.body.find("'" + mark + "'") != std::string::npos;
        });
    });
    if (!seen) {
        throw std::runtime_error("the monitor sees nothing");
    }
}

std::vector<BusMonitor::Message> BusMonitor::SentBy(const std::string& sender) {
    CatchUp();
    std::vector<Message> sent;
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::copy_if(m_messages.begin(), m_messages.end(), std::back_inserter(sent),
                 [&](const Message& message) { return message.sender == sender; });
    return sent;
}

std::vector<std::string> BusMonitor::BodiesSentBy(const std::string& sender, GDBusMessageType type,
                                                  const std::string& member) {
    std::vector<std::string> bodies;
    for (const Message& message : SentBy(sender)) {
        if (message.type == type && message.member == member) {
            bodies.push_back(message.body);
        }
    }
    return bodies;
}
