#include <check/PeerCall.h>

#include <algorithm>
#include <utility>

#include <check/Seconds.h>
#include <ipc/ByteArray.h>
#include <ipc/HandshakeNames.h>
#include <shared/Endpoint.h>
#include <shared/Waiting.h>

namespace applistctl {

namespace {

constexpr int DAEMON_LIMIT_MS = 5000;

// A reply may arrive after the limit, so each call owns its result.
struct Pending {
    std::shared_ptr<PeerReply> reply;
    Clock::time_point start;
};

void OnReply(GObject* connection, GAsyncResult* result, void* user_data) {
    const std::unique_ptr<Pending> pending(static_cast<Pending*>(user_data));
    PeerReply& reply = *pending->reply;
    g_autoptr(GError) error = nullptr;
    GVariant* const value =
        g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &error);
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT) != FALSE) {
        return;
    }
    reply.isDone = true;
    reply.seconds = SecondsSince(pending->start);
    if (value != nullptr) {
        reply.value = std::shared_ptr<GVariant>(value, g_variant_unref);
        return;
    }
    g_autofree char* name = g_dbus_error_get_remote_error(error);
    g_dbus_error_strip_remote_error(error);
    reply.error = name != nullptr ? name : "local";
    reply.text = error->message;
}

std::string ObjectPath() {
    return HandshakeNames::ObjectPath(ENDPOINT_ID);
}

} // namespace

std::vector<PeerReply> CallPeers(GDBusConnection* connection, const std::vector<std::string>& names,
                                 const PeerMethod& method, GVariant* (*parameters)(),
                                 double limit) {
    std::vector<std::shared_ptr<PeerReply>> replies;
    for (const std::string& name : names) {
        replies.push_back(std::make_shared<PeerReply>());
        g_dbus_connection_call(connection, name.c_str(), method.path, method.interface,
                               method.method, parameters != nullptr ? parameters() : nullptr,
                               nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START,
                               static_cast<int>(limit * 1000), nullptr, OnReply,
                               new Pending{replies.back(), Clock::now()});
    }
    WaitUntil(
        [&] {
            return std::all_of(replies.begin(), replies.end(),
                               [](const auto& reply) { return reply->isDone; });
        },
        limit);
    std::vector<PeerReply> result;
    result.reserve(replies.size());
    for (const auto& reply : replies) {
        result.push_back(*reply);
    }
    return result;
}

std::vector<PeerReply> PingPeers(GDBusConnection* connection, const std::vector<std::string>& names,
                                 double limit) {
    const std::string path = ObjectPath();
    return CallPeers(connection, names, {path.c_str(), "org.freedesktop.DBus.Peer", "Ping"},
                     nullptr, limit);
}

std::vector<PeerReply> SendNothing(GDBusConnection* connection,
                                   const std::vector<std::string>& names, double limit) {
    const std::string path = ObjectPath();
    return CallPeers(
        connection, names,
        {path.c_str(), JavaMWDbusRemote::JAVAMW_DBUS_OBJ_IFACE,
         JavaMWDbusRemote::JAVAMW_DBUS_OBJ_METHOD},
        [] { return ByteArray::ToVariant({}); }, limit);
}

std::shared_ptr<GVariant> CallDaemon(GDBusConnection* connection, const char* interface,
                                     const char* method, GVariant* parameters,
                                     std::string& problem) {
    g_autoptr(GError) error = nullptr;
    GVariant* const reply = g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", interface, method, parameters,
        nullptr, G_DBUS_CALL_FLAGS_NONE, DAEMON_LIMIT_MS, nullptr, &error);
    if (reply == nullptr) {
        const bool isRefused =
            g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED) != FALSE;
        g_dbus_error_strip_remote_error(error);
        problem = isRefused ? std::string("its policy refuses ") + method : error->message;
        return nullptr;
    }
    return {reply, g_variant_unref};
}

} // namespace applistctl
