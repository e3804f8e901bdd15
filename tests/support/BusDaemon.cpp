#include "BusDaemon.h"

namespace {

GVariant* CallFor(GDBusConnection* connection, const char* method, GVariant* parameters) {
    return g_dbus_connection_call_sync(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                       "org.freedesktop.DBus", method, parameters, nullptr,
                                       G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
}

// The number in the daemon's reply, or 0.
std::uint32_t NumberFor(GDBusConnection* connection, const char* method, GVariant* parameters) {
    g_autoptr(GVariant) reply = CallFor(connection, method, parameters);
    guint32 number = 0;
    if (reply != nullptr) {
        g_variant_get(reply, "(u)", &number);
    }
    return number;
}

} // namespace

bool BusDaemon::Call(GDBusConnection* connection, const char* method, GVariant* parameters) {
    g_autoptr(GVariant) reply = CallFor(connection, method, parameters);
    return reply != nullptr;
}

void BusDaemon::Ping(GDBusConnection* connection) {
    Call(connection, "GetId", nullptr);
}

std::uint32_t BusDaemon::RequestName(GDBusConnection* connection, const std::string& name) {
    return NumberFor(connection, "RequestName", g_variant_new("(su)", name.c_str(), guint32{4}));
}

bool BusDaemon::ReleaseName(GDBusConnection* connection, const std::string& name) {
    return Call(connection, "ReleaseName", g_variant_new("(s)", name.c_str()));
}

pid_t BusDaemon::Process(GDBusConnection* connection) {
    return static_cast<pid_t>(NumberFor(connection, "GetConnectionUnixProcessID",
                                        g_variant_new("(s)", "org.freedesktop.DBus")));
}
