#include <shared/NameAnnouncement.h>

#include <utility>

namespace {

constexpr guint RETRY_PERIOD_MS = 20;
constexpr int MAX_TRIES = 100;
constexpr guint32 NAME_FLAG_DO_NOT_QUEUE = 4;
constexpr guint32 REPLY_PRIMARY_OWNER = 1;
constexpr guint32 REPLY_HAS_OTHER_OWNER = 3;

} // namespace

void NameAnnouncement::Start(const std::string& name, OnResult onResult) {
    Cancel();
    m_name = name;
    m_onResult = std::move(onResult);
    m_triesLeft = MAX_TRIES;
    Try();
}

void NameAnnouncement::Cancel() {
    if (m_retryId != 0) {
        g_source_remove(std::exchange(m_retryId, 0U));
    }
}

gboolean NameAnnouncement::OnRetry(void* user_data) {
    auto* const self = static_cast<NameAnnouncement*>(user_data);
    self->m_retryId = 0;
    self->Try();
    return G_SOURCE_REMOVE;
}

void NameAnnouncement::Try() {
    guint32 code = 0;
    Result result = Result::Done;
    if (!Call("RequestName", g_variant_new("(su)", m_name.c_str(), NAME_FLAG_DO_NOT_QUEUE), code)) {
        result = m_failure;
    } else if (code == REPLY_HAS_OTHER_OWNER) {
        if (--m_triesLeft > 0) {
            m_retryId = g_timeout_add(RETRY_PERIOD_MS, OnRetry, this);
            return;
        }
        result = Result::Busy;
        m_problem = "another connection owns it";
    } else if (code != REPLY_PRIMARY_OWNER) {
        result = Result::Failed;
        m_problem = "the bus replied " + std::to_string(code);
    } else if (!Call("ReleaseName", g_variant_new("(s)", m_name.c_str()), code)) {
        result = m_failure;
    }
    // The callback may start the next announcement.
    const OnResult onResult = m_onResult;
    onResult(result, m_problem);
}

bool NameAnnouncement::Call(const char* method, GVariant* parameters, guint32& code) {
    m_problem.clear();
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        m_connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        method, parameters, G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    if (reply == nullptr) {
        const bool refused = g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED) != 0;
        m_failure = refused ? Result::Refused : Result::Failed;
        g_dbus_error_strip_remote_error(error);
        m_problem = error->message;
        return false;
    }
    g_variant_get(reply, "(u)", &code);
    return true;
}
