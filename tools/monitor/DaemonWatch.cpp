#include <monitor/DaemonWatch.h>

#include <utility>

#include <shared/SystemBus.h>

namespace applistctl {

namespace {

constexpr guint PERIOD_S = 2;

} // namespace

DaemonWatch::DaemonWatch(GDBusConnection* connection, OnSilent onSilent)
    : m_connection(connection), m_onSilent(std::move(onSilent)) {
    Call();
}

DaemonWatch::~DaemonWatch() {
    g_cancellable_cancel(m_cancellable);
    g_object_unref(m_cancellable);
    if (m_timerId != 0) {
        g_source_remove(m_timerId);
    }
}

gboolean DaemonWatch::OnTimer(void* user_data) {
    auto* const self = static_cast<DaemonWatch*>(user_data);
    self->m_timerId = 0;
    self->Call();
    return G_SOURCE_REMOVE;
}

void DaemonWatch::Call() {
    g_dbus_connection_call(m_connection, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                           "org.freedesktop.DBus", "GetId", nullptr, nullptr,
                           G_DBUS_CALL_FLAGS_NONE, SystemBus::REPLY_LIMIT_MS, m_cancellable,
                           OnReply, this);
}

// A cancelled call outlives the watch.
void DaemonWatch::OnReply(GObject* connection, GAsyncResult* result, void* user_data) {
    g_autoptr(GError) error = nullptr;
    [[maybe_unused]] g_autoptr(GVariant) reply =
        g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &error);
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED) == FALSE) {
        static_cast<DaemonWatch*>(user_data)->HandleReply(error);
    }
}

void DaemonWatch::HandleReply(const GError* error) {
    const bool isSilent = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT) != FALSE;
    if (isSilent && !m_isSilent) {
        m_onSilent(SystemBus::DescribeSilence());
    }
    m_isSilent = isSilent;
    m_timerId = g_timeout_add_seconds(PERIOD_S, OnTimer, this);
}

} // namespace applistctl
