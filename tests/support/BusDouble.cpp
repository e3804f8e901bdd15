#include "BusDouble.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "Channel.h"

namespace {

constexpr const char* BUS_PATH = "/org/freedesktop/DBus";

std::string FirstString(GDBusMessage* message) {
    GVariant* const body = g_dbus_message_get_body(message);
    if (body == nullptr || g_variant_n_children(body) == 0) {
        return {};
    }
    g_autoptr(GVariant) first = g_variant_get_child_value(body, 0);
    const bool isString = g_variant_is_of_type(first, G_VARIANT_TYPE_STRING) != FALSE;
    return isString ? g_variant_get_string(first, nullptr) : "";
}

std::string CallText(const std::string& method, const std::string& argument) {
    return argument.empty() ? method : method + " " + argument;
}

} // namespace

BusDouble::Reply BusDouble::Reply::Body(GVariant* body) {
    Reply reply;
    if (body != nullptr) {
        reply.body = std::shared_ptr<GVariant>(g_variant_ref_sink(body), g_variant_unref);
    }
    return reply;
}

BusDouble::Reply BusDouble::Reply::Error(const std::string& name, const std::string& text) {
    Reply reply;
    reply.kind = Kind::ERROR;
    reply.name = name;
    reply.text = text;
    return reply;
}

BusDouble::Reply BusDouble::Reply::Missing() {
    Reply reply;
    reply.kind = Kind::MISSING;
    return reply;
}

BusDouble::Reply BusDouble::Reply::Disconnect() {
    Reply reply;
    reply.kind = Kind::DISCONNECT;
    return reply;
}

BusDouble::BusDouble() : m_context(g_main_context_new()) {
    g_autofree char* guid = g_dbus_generate_guid();
    g_autoptr(GError) error = nullptr;
    g_main_context_push_thread_default(m_context);
    m_server = g_dbus_server_new_sync("unix:tmpdir=/tmp", G_DBUS_SERVER_FLAGS_NONE, guid, nullptr,
                                      nullptr, &error);
    if (m_server == nullptr) {
        g_error("The bus double cannot listen: %s", error->message);
    }
    g_signal_connect(m_server, "new-connection", G_CALLBACK(OnConnection), this);
    g_dbus_server_start(m_server);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", g_dbus_server_get_client_address(m_server), 1);
    g_main_context_pop_thread_default(m_context);
    m_thread.emplace(m_context);
}

BusDouble::~BusDouble() {
    m_thread.reset();
    g_dbus_server_stop(m_server);
    g_object_unref(m_server);
    while (g_main_context_iteration(m_context, FALSE) != FALSE) {
    }
    for (const Client& client : m_clients) {
        g_dbus_connection_close_sync(client.connection, nullptr, nullptr);
        g_dbus_connection_remove_filter(client.connection, client.filter);
        g_object_unref(client.connection);
    }
    // GDBus's worker may still run a filter. GDBus reports the end in the context of its
    // registration.
    while (m_endedFilters < m_clients.size()) {
        g_main_context_iteration(m_context, TRUE);
    }
    // For ThreadSanitizer, which does not see the locks of the connections' threads.
    std::unique_lock<std::mutex>(m_mutex).unlock();
    g_main_context_unref(m_context);
}

// No message is read from the connection before this has returned.
gboolean BusDouble::OnConnection(GDBusServer* /*server*/, GDBusConnection* connection, void* self) {
    auto* const bus = static_cast<BusDouble*>(self);
    const std::lock_guard<std::mutex> lock(bus->m_mutex);
    bus->m_clients.push_back(
        {static_cast<GDBusConnection*>(g_object_ref(connection)),
         g_dbus_connection_add_filter(connection, OnMessage, self, OnFilterEnd)});
    return TRUE;
}

void BusDouble::OnFilterEnd(void* self) {
    ++static_cast<BusDouble*>(self)->m_endedFilters;
}

GDBusMessage* BusDouble::OnMessage(GDBusConnection* connection, GDBusMessage* message,
                                   gboolean incoming, void* self) {
    if (incoming == FALSE) {
        return message;
    }
    static_cast<BusDouble*>(self)->Take(connection, message);
    g_object_unref(message);
    return nullptr;
}

void BusDouble::Take(GDBusConnection* connection, GDBusMessage* message) {
    const GDBusMessageType type = g_dbus_message_get_message_type(message);
    if (type != G_DBUS_MESSAGE_TYPE_METHOD_CALL && type != G_DBUS_MESSAGE_TYPE_SIGNAL) {
        return;
    }
    const std::string method = g_dbus_message_get_member(message);
    const std::string argument = FirstString(message);
    const std::string call = CallText(method, argument);
    std::function<void(const std::string&)> watcher;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_calls.push_back(call);
        watcher = m_watcher;
    }
    m_changed.notify_all();
    if (watcher) {
        watcher(call);
    }
    if (type == G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
        Answer(connection, message, ReplyTo(method, argument));
    }
}

BusDouble::Reply BusDouble::ReplyTo(const std::string& method, const std::string& argument) {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto rule =
            std::find_if(m_rules.rbegin(), m_rules.rend(), [&](const Rule& candidate) {
                return candidate.method == method &&
                       argument.find(candidate.argument) != std::string::npos;
            });
        if (rule != m_rules.rend()) {
            return rule->reply;
        }
    }
    return DefaultReply(method, argument);
}

BusDouble::Reply BusDouble::DefaultReply(const std::string& method, const std::string& argument) {
    if (method == "Hello") {
        return Reply::Body(g_variant_new("(s)", ":1.1"));
    }
    if (method == "AddMatch" || method == "RemoveMatch") {
        return Reply::Body(nullptr);
    }
    if (method == "RequestName" || method == "ReleaseName") {
        return Reply::Code(1);
    }
    if (method == "Send") {
        return Reply::Body(g_variant_new_parsed("(@ay [],)"));
    }
    if (method == "GetNameOwner") {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (argument.compare(0, 1, ":") == 0 && m_vanished.count(argument) == 0) {
            return Reply::Body(g_variant_new("(s)", argument.c_str()));
        }
        return Reply::Error("org.freedesktop.DBus.Error.NameHasNoOwner", "No owner");
    }
    if (method == "StartServiceByName") {
        return Reply::Error("org.freedesktop.DBus.Error.ServiceUnknown", "No such service");
    }
    return Reply::Error("org.freedesktop.DBus.Error.UnknownMethod", "No method " + method);
}

void BusDouble::Answer(GDBusConnection* connection, GDBusMessage* call, const Reply& reply) {
    if (reply.kind == Reply::Kind::MISSING) {
        return;
    }
    if (reply.kind == Reply::Kind::DISCONNECT) {
        g_dbus_connection_close(connection, nullptr, nullptr, nullptr);
        return;
    }
    if ((g_dbus_message_get_flags(call) & G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED) != 0) {
        return;
    }
    g_autoptr(GDBusMessage) answer = nullptr;
    if (reply.kind == Reply::Kind::ERROR) {
        answer =
            g_dbus_message_new_method_error_literal(call, reply.name.c_str(), reply.text.c_str());
    } else {
        answer = g_dbus_message_new_method_reply(call);
        if (reply.body != nullptr) {
            g_dbus_message_set_body(answer, reply.body.get());
        }
    }
    g_dbus_message_set_sender(answer, g_dbus_message_get_destination(call));
    g_dbus_connection_send_message(connection, answer, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr,
                                   nullptr);
}

void BusDouble::Script(const std::string& method, const std::string& argument, Reply reply) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_rules.push_back({method, argument, std::move(reply)});
}

void BusDouble::Script(const std::string& method, Reply reply) {
    Script(method, "", std::move(reply));
}

void BusDouble::ForgetScripts() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_rules.clear();
}

std::vector<std::string> BusDouble::Calls() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_calls;
}

std::size_t BusDouble::CountCalls(const std::string& call) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<std::size_t>(std::count(m_calls.begin(), m_calls.end(), call));
}

bool BusDouble::WaitForCall(const std::string& call) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::seconds(20), [&] {
        return std::find(m_calls.begin(), m_calls.end(), call) != m_calls.end();
    });
}

void BusDouble::ForgetCalls() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_calls.clear();
}

void BusDouble::OnCall(std::function<void(const std::string& call)> watcher) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_watcher = std::move(watcher);
}

void BusDouble::Emit(const std::string& sender, const std::string& path,
                     const std::string& interface, const std::string& member, GVariant* body) {
    const std::shared_ptr<GVariant> kept(g_variant_ref_sink(body), g_variant_unref);
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const Client& client : m_clients) {
        g_autoptr(GDBusMessage) signal =
            g_dbus_message_new_signal(path.c_str(), interface.c_str(), member.c_str());
        g_dbus_message_set_sender(signal, sender.c_str());
        g_dbus_message_set_body(signal, kept.get());
        g_dbus_connection_send_message(client.connection, signal, G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                       nullptr, nullptr);
    }
}

void BusDouble::EmitNameOwnerChanged(const std::string& name, const std::string& oldOwner,
                                     const std::string& newOwner) {
    Emit(BUS, BUS_PATH, BUS, "NameOwnerChanged",
         g_variant_new("(sss)", name.c_str(), oldOwner.c_str(), newOwner.c_str()));
}

void BusDouble::Vanish(const std::string& name) {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_vanished.insert(name);
    }
    EmitNameOwnerChanged(name, name, "");
}

void BusDouble::ForgetVanished() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_vanished.clear();
}

void BusDouble::Disconnect() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const Client& client : m_clients) {
        g_dbus_connection_close(client.connection, nullptr, nullptr, nullptr);
    }
}
