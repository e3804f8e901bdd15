#include <partner/ReplySender.h>

#include <cmath>
#include <utility>

#include <applist/MessageIds.h>
#include <ipc/ByteArray.h>
#include <ipc/MessageFraming.h>
#include <ipc/javamw-dbus-remote.h>

namespace applistctl {

/** A delayed reply: after a time, or after the reply of the host. */
struct ReplySender::Later {
    ReplySender* sender;
    GDBusMethodInvocation* invocation;
    std::int32_t request;
    std::vector<char> answer;
    guint timeoutId = 0;
};

namespace {

// g_dbus_method_invocation_return_value would refuse a reply of another type.
void ReplyWithText(GDBusMethodInvocation* invocation) {
    g_autoptr(GDBusMessage) reply =
        g_dbus_message_new_method_reply(g_dbus_method_invocation_get_message(invocation));
    g_dbus_message_set_body(reply, g_variant_new("(s)", "a text"));
    g_dbus_connection_send_message(g_dbus_method_invocation_get_connection(invocation), reply,
                                   G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
    g_object_unref(invocation);
}

} // namespace

ReplySender::~ReplySender() {
    for (Later* const later : m_due) {
        g_object_unref(later->invocation);
        if (later->timeoutId != 0) {
            g_source_remove(later->timeoutId);
            delete later;
        } else {
            later->sender = nullptr; // OnHostReply deletes it, at the latest on an error
        }
    }
}

void ReplySender::Send(GDBusMethodInvocation* invocation, std::int32_t request,
                       std::vector<char> answer) {
    if (m_faults.Has(Fault::Delay, request)) {
        auto* const later = new Later{this, invocation, request, std::move(answer)};
        m_due.insert(later);
        later->timeoutId = g_timeout_add(static_cast<guint>(std::lround(m_faults.Delay() * 1000)),
                                         OnDelayEnd, later);
    } else if (m_faults.Has(Fault::AskBack, request)) {
        auto* const later = new Later{this, invocation, request, std::move(answer)};
        m_due.insert(later);
        AskBack(later);
    } else {
        SendNow(invocation, request, std::move(answer));
    }
}

gboolean ReplySender::OnDelayEnd(void* user_data) {
    const std::unique_ptr<Later> later(static_cast<Later*>(user_data));
    later->sender->m_due.erase(later.get());
    later->sender->SendNow(later->invocation, later->request, std::move(later->answer));
    return G_SOURCE_REMOVE;
}

void ReplySender::AskBack(Later* later) {
    std::vector<char> message;
    MessageFraming::AppendId(message, APPLIST_GET_SELECTION_FNC);
    g_dbus_connection_call(g_dbus_method_invocation_get_connection(later->invocation),
                           g_dbus_method_invocation_get_sender(later->invocation),
                           g_dbus_method_invocation_get_object_path(later->invocation),
                           JavaMWDbusRemote::JAVAMW_DBUS_OBJ_IFACE,
                           JavaMWDbusRemote::JAVAMW_DBUS_OBJ_METHOD, ByteArray::ToVariant(message),
                           nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, OnHostReply, later);
}

void ReplySender::OnHostReply(GObject* connection, GAsyncResult* result, void* user_data) {
    const std::unique_ptr<Later> later(static_cast<Later*>(user_data));
    GVariant* const answer =
        g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, nullptr);
    if (answer != nullptr) {
        g_variant_unref(answer);
    }
    if (later->sender != nullptr) {
        later->sender->m_due.erase(later.get());
        later->sender->SendNow(later->invocation, later->request, std::move(later->answer));
    }
}

void ReplySender::SendNow(GDBusMethodInvocation* invocation, std::int32_t request,
                          std::vector<char> answer) const {
    if (m_faults.Has(Fault::Silence, request)) {
        g_object_unref(invocation);
        return;
    }
    if (m_faults.Has(Fault::WrongType, request)) {
        ReplyWithText(invocation);
        return;
    }
    if (m_faults.Has(Fault::Error, request)) {
        g_dbus_method_invocation_return_dbus_error(invocation, "org.freedesktop.DBus.Error.Failed",
                                                   "an error on purpose");
        return;
    }
    if (m_faults.Has(Fault::WithId, request)) {
        MessageFraming::AppendId(answer, request);
    }
    if (m_faults.Has(Fault::Cut, request) && !answer.empty()) {
        answer.pop_back();
    }
    g_dbus_method_invocation_return_value(invocation, ByteArray::ToVariant(answer));
}

} // namespace applistctl
