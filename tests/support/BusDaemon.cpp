#include "BusDaemon.h"

namespace {

GVariant* CallFor(GDBusConnection* connection, const char* method, GVariant* parameters) {
    return g_dbus_connection_call_sync(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                       "org.freedesktop.DBus", method, parameters, nullptr,
                                       G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
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
    g_autoptr(GVariant) reply =
        CallFor(connection, "RequestName", g_variant_new("(su)", name.c_str(), guint32{4}));
    guint32 code = 0;
    if (reply != nullptr) {
        g_variant_get(reply, "(u)", &code);
    }
    return code;
}

bool BusDaemon::ReleaseName(GDBusConnection* connection, const std::string& name) {
    return Call(connection, "ReleaseName", g_variant_new("(s)", name.c_str()));
}
