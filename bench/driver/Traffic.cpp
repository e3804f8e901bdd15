#include "Traffic.h"

#include <cstdio>
#include <cstdlib>
#include <thread>

#include "Names.h"

namespace {

void Call(GDBusConnection* connection, const char* interface, const char* method,
          GVariant* parameters) {
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        connection, Names::BUS, Names::BUS_PATH, interface, method, parameters, nullptr,
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    if (reply == nullptr) {
        std::fprintf(stderr, "driver: %s: %s\n", method, error->message);
        std::exit(1);
    }
}

} // namespace

Traffic::Traffic(const PrivateBus& bus) : m_monitor(bus.Connect()), m_marker(bus.Connect()) {
    Call(m_monitor, "org.freedesktop.DBus.Monitoring", "BecomeMonitor",
         g_variant_new("(asu)", nullptr, 0U));
    // Behind the call: a monitor's own reply is traffic like any other.
    g_dbus_connection_add_filter(m_monitor, Filter, this, nullptr);
}

Traffic::~Traffic() {
    // The filter runs in GDBus's thread until then.
    g_dbus_connection_close_sync(m_monitor, nullptr, nullptr);
    g_object_unref(m_monitor);
    g_object_unref(m_marker);
}

GDBusMessage* Traffic::Filter(GDBusConnection* /*connection*/, GDBusMessage* message,
                              gboolean incoming, void* self) {
    if (incoming == FALSE) {
        return message;
    }
    static_cast<Traffic*>(self)->Take(message);
    g_object_unref(message); // a monitor answers nothing
    return nullptr;
}

void Traffic::Take(GDBusMessage* message) {
    const char* const sender = g_dbus_message_get_sender(message);
    if (sender != nullptr) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_sent[sender];
    }
}

unsigned Traffic::CountFrom(const std::string& sender) {
    const auto sent = [this](const std::string& name) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_sent[name];
    };
    const std::string marker = g_dbus_connection_get_unique_name(m_marker);
    const unsigned before = sent(marker);
    Call(m_marker, Names::BUS, "GetId", nullptr);
    while (sent(marker) == before) {
        std::this_thread::yield();
    }
    return sent(sender);
}
