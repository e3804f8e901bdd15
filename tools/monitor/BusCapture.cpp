#include <monitor/BusCapture.h>

#include <utility>

#include <ipc/HandshakeNames.h>
#include <shared/Endpoint.h>

namespace applistctl {

namespace {

// A reply has no path: all replies come, and the analysis selects those to the channel's calls.
std::vector<std::string> Rules() {
    const std::string daemon = "org.freedesktop.DBus";
    return {
        "path='" + HandshakeNames::ObjectPath(ENDPOINT_ID) + "'",
        "type='signal',interface='" + std::string(JavaMWDbusRemote::JAVAMW_DBUS_OBJ_IFACE) + "'",
        "type='method_return'",
        "type='error'",
        "type='signal',sender='" + daemon + "',member='NameOwnerChanged'",
        "type='method_call',destination='" + daemon + "',member='RequestName'",
    };
}

GVariant* RulesAsVariant() {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("as"));
    for (const std::string& rule : Rules()) {
        g_variant_builder_add(&builder, "s", rule.c_str());
    }
    return g_variant_builder_end(&builder);
}

} // namespace

// Latencies are differences: the clock that is never set counts, from today's time on.
BusCapture::BusCapture(GDBusConnection* connection, OnSeen onSeen)
    : m_connection(connection),
      m_onSeen(std::move(onSeen)),
      m_clockOffset(g_get_real_time() - g_get_monotonic_time()) {}

BusCapture::~BusCapture() {
    if (m_filterId != 0) {
        g_dbus_connection_remove_filter(m_connection, m_filterId);
        // A filter under way in GDBus's thread has ended when the connection has closed.
        g_dbus_connection_close_sync(m_connection, nullptr, nullptr);
    }
    if (m_queueId != 0) {
        g_source_remove(m_queueId);
    }
}

Microseconds BusCapture::Now() const {
    return g_get_monotonic_time() + m_clockOffset;
}

bool BusCapture::Start(std::string& problem) {
    m_filterId = g_dbus_connection_add_filter(m_connection, OnMessage, this, nullptr);
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply =
        g_dbus_connection_call_sync(m_connection, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                    "org.freedesktop.DBus.Monitoring", "BecomeMonitor",
                                    g_variant_new("(@asu)", RulesAsVariant(), guint32{0}), nullptr,
                                    G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    if (reply == nullptr) {
        g_dbus_error_strip_remote_error(error);
        problem = error->message;
    }
    return reply != nullptr;
}

// In GDBus's own thread. A monitor must answer nothing, so every message but the reply to our own
// call ends here.
GDBusMessage* BusCapture::OnMessage(GDBusConnection* connection, GDBusMessage* message,
                                    gboolean incoming, void* user_data) {
    auto* const self = static_cast<BusCapture*>(user_data);
    const bool isForUs = g_strcmp0(g_dbus_message_get_destination(message),
                                   g_dbus_connection_get_unique_name(connection)) == 0;
    if (incoming == FALSE || isForUs) {
        return message;
    }
    const std::lock_guard<std::mutex> lock(self->m_mutex);
    self->m_queue.push_back({self->Now(), std::unique_ptr<GDBusMessage, Unref>(message), 0});
    if (self->m_queueId == 0) {
        self->m_queueId = g_idle_add(OnQueued, self);
    }
    return nullptr;
}

gboolean BusCapture::OnQueued(void* user_data) {
    auto* const self = static_cast<BusCapture*>(user_data);
    std::vector<SeenMessage> queue;
    {
        const std::lock_guard<std::mutex> lock(self->m_mutex);
        queue.swap(self->m_queue);
        self->m_queueId = 0;
    }
    for (const SeenMessage& seen : queue) {
        self->m_onSeen(seen);
    }
    return G_SOURCE_REMOVE;
}

} // namespace applistctl
