#include <shared/NameAnnouncement.h>

#include <utility>

namespace applistctl {

namespace {

constexpr guint32 NAME_FLAG_DO_NOT_QUEUE = 4;
constexpr guint32 REPLY_PRIMARY_OWNER = 1;
constexpr guint32 REPLY_HAS_OTHER_OWNER = 3;

void CallBus(GDBusConnection* connection, const char* method, GVariant* parameters,
             GCancellable* cancellable, GAsyncReadyCallback onReply, void* user_data) {
    g_dbus_connection_call(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                           "org.freedesktop.DBus", method, parameters, G_VARIANT_TYPE("(u)"),
                           G_DBUS_CALL_FLAGS_NONE, G_MAXINT, cancellable, onReply, user_data);
}

} // namespace

void NameAnnouncement::Start(const std::string& name, WhileOwned whileOwned, OnResult onResult) {
    Cancel();
    m_name = name;
    m_whileOwned = whileOwned;
    m_onResult = std::move(onResult);
    m_isUnderWay = true;
    m_ownedIsReported = false;
    Try();
}

// The two calls of an attempt have been sent and cannot be withdrawn; only the reply is dropped.
void NameAnnouncement::Cancel() {
    m_repeat.Stop();
    if (m_cancellable != nullptr) {
        g_cancellable_cancel(m_cancellable);
        g_clear_object(&m_cancellable);
    }
    m_isUnderWay = false;
}

void NameAnnouncement::Try() {
    m_cancellable = g_cancellable_new();
    CallBus(m_connection, "RequestName",
            g_variant_new("(su)", m_name.c_str(), NAME_FLAG_DO_NOT_QUEUE), m_cancellable, OnReply,
            this);
    if (!m_keepsNames) {
        CallBus(m_connection, "ReleaseName", g_variant_new("(s)", m_name.c_str()), nullptr, nullptr,
                nullptr);
    }
}

void NameAnnouncement::OnReply(GObject* connection, GAsyncResult* result, void* user_data) {
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply =
        g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &error);
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED) != 0) {
        return; // the announcement may be destroyed
    }
    auto* const self = static_cast<NameAnnouncement*>(user_data);
    g_clear_object(&self->m_cancellable);
    if (reply == nullptr) {
        const bool refused = g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED) != 0;
        g_dbus_error_strip_remote_error(error);
        self->Finish(refused ? Result::Refused : Result::Failed, error->message);
        return;
    }
    guint32 code = 0;
    g_variant_get(reply, "(u)", &code);
    if (code == REPLY_PRIMARY_OWNER) {
        self->Finish(Result::Done, "");
    } else if (code == REPLY_HAS_OTHER_OWNER) {
        self->OnOwned();
    } else {
        self->Finish(Result::Failed, "the bus answered " + std::to_string(code));
    }
}

void NameAnnouncement::OnOwned() {
    const std::string problem = "another process owns it";
    if (m_whileOwned == WhileOwned::GiveUp) {
        Finish(Result::Owned, problem);
        return;
    }
    m_repeat.Start(REPEAT_PERIOD_MS, [this] { Try(); });
    if (!std::exchange(m_ownedIsReported, true)) {
        const OnResult onResult = m_onResult;
        onResult(Result::Owned, problem);
    }
}

void NameAnnouncement::Finish(Result result, const std::string& problem) {
    m_isUnderWay = false;
    // The result may start the next announcement, or delete this one.
    const OnResult onResult = m_onResult;
    onResult(result, problem);
}

} // namespace applistctl
