#include "TestPartner.h"

#include <algorithm>

#include "Bytes.h"

namespace {

void AnswerBytes(GDBusMethodInvocation* invocation, const TestPartner::Bytes& bytes) {
    g_dbus_method_invocation_return_value(invocation, ByteBody(bytes));
}

} // namespace

TestPartner::TestPartner(const PrivateBus& bus, bool answersHandshake,
                         const std::string& endpointId)
    : m_answersHandshake(answersHandshake),
      m_connection(bus.Connect()),
      m_uniqueName(g_dbus_connection_get_unique_name(m_connection)),
      m_context(g_main_context_new()),
      m_answer(
          [](GDBusMethodInvocation* invocation, const Bytes&) { AnswerBytes(invocation, {}); }) {
    BareEndpoint::Handlers handlers;
    handlers.onAnnouncement = [this](const std::string& step, const std::string& /*owner*/) {
        OnAnnouncement(step);
    };
    handlers.onNotification = [this](GVariant* body) {
        Record(m_notifications, BytesOfBody<Bytes>(body));
    };
    handlers.onCall = [this](GVariant* body, GDBusMethodInvocation* invocation) {
        OnCall(BytesOfBody<Bytes>(body), invocation);
    };
    g_main_context_push_thread_default(m_context);
    m_endpoint.emplace(m_connection, BareEndpoint::Role::PARTNER, endpointId, handlers);
    g_main_context_pop_thread_default(m_context);
    m_thread.emplace(m_context);
}

TestPartner::~TestPartner() {
    g_dbus_connection_close_sync(m_connection, nullptr, nullptr);
    m_thread.reset();
    m_endpoint.reset();
    while (g_main_context_iteration(m_context, FALSE) != FALSE) {
    }
    g_main_context_unref(m_context);
}

void TestPartner::NotifyBody(const std::string& endpointName, GVariant* body) {
    m_endpoint->Notify(endpointName, body);
    m_endpoint->Flush();
}

void TestPartner::AnswerWith(Answer answer) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_answer = [answer](GDBusMethodInvocation* invocation, const Bytes& request) {
        AnswerBytes(invocation, answer(request));
    };
}

void TestPartner::AnswerWithBody(std::function<GVariant*()> body) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_answer = [body](GDBusMethodInvocation* invocation, const Bytes&) {
        // Around the invocation, which would check the body against the interface.
        g_autoptr(GDBusMessage) reply =
            g_dbus_message_new_method_reply(g_dbus_method_invocation_get_message(invocation));
        g_dbus_message_set_body(reply, body());
        g_dbus_connection_send_message(g_dbus_method_invocation_get_connection(invocation), reply,
                                       G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
        g_object_unref(invocation);
    };
}

void TestPartner::AnswerWithError(const std::string& name, const std::string& message) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_answer = [name, message](GDBusMethodInvocation* invocation, const Bytes&) {
        g_dbus_method_invocation_return_dbus_error(invocation, name.c_str(), message.c_str());
    };
}

void TestPartner::OnAnnouncement(const std::string& step) {
    Record(m_announcements, "_CLIENT" + step);
    if (m_answersHandshake && step == "_SYN") {
        Announce("_SYN_ACK");
    } else if (m_answersHandshake && step == "_SYN_ACK") {
        Announce("_ACK");
    }
}

void TestPartner::OnCall(const Bytes& request, GDBusMethodInvocation* invocation) {
    // The answer at the time of the record: a test that has waited for the request may change it.
    std::unique_lock<std::mutex> lock(m_mutex);
    m_requests.push_back(request);
    const auto answer = m_answer;
    lock.unlock();
    m_changed.notify_all();
    answer(invocation, request);
}

std::vector<TestPartner::Bytes> TestPartner::Requests() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_requests;
}

std::vector<TestPartner::Bytes> TestPartner::Notifications() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_notifications;
}

std::vector<std::string> TestPartner::Announcements() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_announcements;
}

bool TestPartner::WaitUntil(const std::function<bool()>& happened, std::chrono::seconds limit) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, limit, happened);
}

bool TestPartner::WaitForRequests(std::size_t count) {
    return WaitUntil([&] { return m_requests.size() >= count; });
}

bool TestPartner::WaitForNotifications(std::size_t count) {
    return WaitUntil([&] { return m_notifications.size() >= count; });
}

bool TestPartner::WaitForAnnouncement(const std::string& name, std::chrono::seconds limit) {
    return WaitUntil(
        [&] {
            return std::find(m_announcements.begin(), m_announcements.end(), name) !=
                   m_announcements.end();
        },
        limit);
}
