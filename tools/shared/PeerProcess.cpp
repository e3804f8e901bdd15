#include <shared/PeerProcess.h>

#include <fstream>

namespace applistctl {

namespace {

constexpr int LIMIT_MS = 2000;

} // namespace

std::string CommandOf(guint32 pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/comm");
    std::string command;
    std::getline(file, command);
    return command;
}

std::string PeerProcess::Describe() const {
    if (pid == 0) {
        return "";
    }
    return "pid " + std::to_string(pid) + (command.empty() ? "" : ", " + command);
}

PeerProcess FindPeerProcess(GDBusConnection* connection, const std::string& uniqueName) {
    PeerProcess process;
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetConnectionCredentials", g_variant_new("(s)", uniqueName.c_str()),
        G_VARIANT_TYPE("(a{sv})"), G_DBUS_CALL_FLAGS_NONE, LIMIT_MS, nullptr, nullptr);
    if (reply != nullptr) {
        g_autoptr(GVariant) credentials = g_variant_get_child_value(reply, 0);
        g_variant_lookup(credentials, "ProcessID", "u", &process.pid);
        g_variant_lookup(credentials, "UnixUserID", "u", &process.user);
        process.command = process.pid != 0 ? CommandOf(process.pid) : "";
    }
    return process;
}

} // namespace applistctl
