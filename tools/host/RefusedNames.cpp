#include <host/RefusedNames.h>

namespace applistctl {

RefusedNames& RefusedNames::Watch(GDBusConnection* connection, OnRefused onRefused) {
    auto* const self = new RefusedNames(std::move(onRefused));
    g_dbus_connection_add_filter(connection, OnMessage, self, nullptr);
    return *self;
}

void RefusedNames::Report() {
    std::vector<std::pair<std::string, std::string>> queue;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        queue.swap(m_queue);
    }
    for (const auto& [name, reason] : queue) {
        m_onRefused(name, reason);
    }
}

bool RefusedNames::IsAnyRefused() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return !m_refused.empty();
}

// Runs on the worker thread of GDBus.
GDBusMessage* RefusedNames::OnMessage(GDBusConnection* /*connection*/, GDBusMessage* message,
                                      gboolean incoming, gpointer user_data) {
    auto* const self = static_cast<RefusedNames*>(user_data);
    const std::lock_guard<std::mutex> lock(self->m_mutex);
    if (incoming == FALSE) {
        self->OnCall(message);
    } else {
        self->OnAnswer(message);
    }
    return message;
}

void RefusedNames::OnCall(GDBusMessage* message) {
    if (g_strcmp0(g_dbus_message_get_member(message), "RequestName") == 0) {
        const char* const name = g_dbus_message_get_arg0(message);
        m_requested[g_dbus_message_get_serial(message)] = name != nullptr ? name : "";
    }
}

void RefusedNames::OnAnswer(GDBusMessage* message) {
    const auto requested = m_requested.find(g_dbus_message_get_reply_serial(message));
    if (requested == m_requested.end()) {
        return;
    }
    const std::string name = requested->second;
    m_requested.erase(requested);
    if (g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_ERROR) {
        m_refused.erase(name);
    } else if (g_strcmp0(g_dbus_message_get_error_name(message),
                         "org.freedesktop.DBus.Error.AccessDenied") == 0 &&
               m_refused.insert(name).second) {
        const char* const reason = g_dbus_message_get_arg0(message);
        m_queue.emplace_back(name, reason != nullptr ? reason : "");
        g_idle_add(OnQueued, this);
    }
}

gboolean RefusedNames::OnQueued(gpointer user_data) {
    static_cast<RefusedNames*>(user_data)->Report();
    return G_SOURCE_REMOVE;
}

} // namespace applistctl
