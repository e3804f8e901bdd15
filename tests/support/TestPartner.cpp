#include "TestPartner.h"

#include <algorithm>

#include "BusDaemon.h"

namespace {

constexpr const char* XML =
    "<node><interface name='org.morva.javamw.DbusCommunication'><method name='Send'>"
    "<arg type='ay' name='data' direction='in'/><arg type='ay' name='response' direction='out'/>"
    "</method></interface></node>";
constexpr const char* INTERFACE = "org.morva.javamw.DbusCommunication";

GVariant* Body(const TestPartner::Bytes& bytes) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("ay"));
    for (const char byte : bytes) {
        g_variant_builder_add(&builder, "y", static_cast<guchar>(byte));
    }
    return g_variant_new("(ay)", &builder);
}

TestPartner::Bytes BytesOf(GVariant* body) {
    g_autoptr(GVariant) array = g_variant_get_child_value(body, 0);
    gsize size = 0;
    const auto* bytes = static_cast<const char*>(g_variant_get_fixed_array(array, &size, 1));
    return {bytes, bytes + size};
}

void AnswerBytes(GDBusMethodInvocation* invocation, const TestPartner::Bytes& bytes) {
    g_dbus_method_invocation_return_value(invocation, Body(bytes));
}

} // namespace

TestPartner::TestPartner(const PrivateBus& bus, bool shakesHands, const std::string& endpointId)
    : m_baseName("org.morva.JavaMW." + endpointId),
      m_objectPath("/org/morva/javamw/CommunicationChannel/" + endpointId),
      m_shakesHands(shakesHands),
      m_connection(bus.Connect()),
      m_uniqueName(g_dbus_connection_get_unique_name(m_connection)),
      m_context(g_main_context_new()),
      m_loop(g_main_loop_new(m_context, FALSE)),
      m_answer(
          [](GDBusMethodInvocation* invocation, const Bytes&) { AnswerBytes(invocation, {}); }) {
    m_thread = std::thread(&TestPartner::Run, this);
    WaitUntil([this] { return m_started; });
}

TestPartner::~TestPartner() {
    g_dbus_connection_close_sync(m_connection, nullptr, nullptr);
    g_main_context_invoke(
        m_context,
        [](void* loop) -> gboolean {
            g_main_loop_quit(static_cast<GMainLoop*>(loop));
            return G_SOURCE_REMOVE;
        },
        m_loop);
    m_thread.join();
    g_main_loop_unref(m_loop);
    g_object_unref(m_connection);
    while (g_main_context_iteration(m_context, FALSE) != FALSE) {
    }
    g_main_context_unref(m_context);
}

void TestPartner::Run() {
    static const GDBusInterfaceVTable vtable = {OnCall, nullptr, nullptr, {nullptr}};
    g_main_context_push_thread_default(m_context);
    g_autoptr(GDBusNodeInfo) node = g_dbus_node_info_new_for_xml(XML, nullptr);
    g_dbus_connection_register_object(m_connection, m_objectPath.c_str(), node->interfaces[0],
                                      &vtable, this, nullptr, nullptr);
    for (const char* suffix : {"_CLIENT_SYN", "_CLIENT_SYN_ACK", "_CLIENT_ACK"}) {
        g_dbus_connection_signal_subscribe(m_connection, "org.freedesktop.DBus",
                                           "org.freedesktop.DBus", "NameOwnerChanged",
                                           "/org/freedesktop/DBus", (m_baseName + suffix).c_str(),
                                           G_DBUS_SIGNAL_FLAGS_NONE, OnAnnouncement, this, nullptr);
    }
    g_dbus_connection_signal_subscribe(m_connection, nullptr, INTERFACE, "SendSignal",
                                       m_objectPath.c_str(), nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                                       OnSignal, this, nullptr);
    // The daemon has all the match rules once it has answered a call made behind them.
    BusDaemon::Ping(m_connection);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_started = true;
    }
    m_changed.notify_all();
    g_main_loop_run(m_loop);
    g_main_context_pop_thread_default(m_context);
}

void TestPartner::Announce(const std::string& suffix) {
    const std::string name = m_baseName + "_SERVICE" + suffix;
    BusDaemon::RequestName(m_connection, name);
    BusDaemon::ReleaseName(m_connection, name);
}

void TestPartner::NotifyBody(const std::string& endpointName, GVariant* body) {
    g_dbus_connection_emit_signal(m_connection, endpointName.c_str(), m_objectPath.c_str(),
                                  INTERFACE, "SendSignal", body, nullptr);
    g_dbus_connection_flush_sync(m_connection, nullptr, nullptr);
}

void TestPartner::Notify(const std::string& endpointName, const Bytes& bytes) {
    NotifyBody(endpointName, Body(bytes));
}

GVariant* TestPartner::Call(const std::string& endpointName, const Bytes& bytes, GError** error) {
    return g_dbus_connection_call_sync(m_connection, endpointName.c_str(), m_objectPath.c_str(),
                                       INTERFACE, "Send", Body(bytes), nullptr,
                                       G_DBUS_CALL_FLAGS_NONE, -1, nullptr, error);
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

void TestPartner::OnAnnouncement(GDBusConnection* /*connection*/, const char* /*sender*/,
                                 const char* /*path*/, const char* /*interface*/,
                                 const char* /*signal*/, GVariant* parameters, void* user_data) {
    auto* const self = static_cast<TestPartner*>(user_data);
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    g_variant_get(parameters, "(&s&s&s)", &name, &oldOwner, &newOwner);
    if (*newOwner != '\0') {
        return;
    }
    const std::string step = std::string(name).substr(self->m_baseName.size());
    {
        const std::lock_guard<std::mutex> lock(self->m_mutex);
        self->m_announcements.push_back(step);
    }
    self->m_changed.notify_all();
    if (self->m_shakesHands && step == "_CLIENT_SYN") {
        self->Announce("_SYN_ACK");
    } else if (self->m_shakesHands && step == "_CLIENT_SYN_ACK") {
        self->Announce("_ACK");
    }
}

void TestPartner::OnSignal(GDBusConnection* /*connection*/, const char* /*sender*/,
                           const char* /*path*/, const char* /*interface*/, const char* /*signal*/,
                           GVariant* parameters, void* user_data) {
    auto* const self = static_cast<TestPartner*>(user_data);
    {
        const std::lock_guard<std::mutex> lock(self->m_mutex);
        self->m_notifications.push_back(BytesOf(parameters));
    }
    self->m_changed.notify_all();
}

void TestPartner::OnCall(GDBusConnection* /*connection*/, const char* /*sender*/,
                         const char* /*path*/, const char* /*interface*/, const char* /*method*/,
                         GVariant* parameters, GDBusMethodInvocation* invocation, void* user_data) {
    auto* const self = static_cast<TestPartner*>(user_data);
    const Bytes request = BytesOf(parameters);
    std::function<void(GDBusMethodInvocation*, const Bytes&)> answer;
    {
        const std::lock_guard<std::mutex> lock(self->m_mutex);
        self->m_requests.push_back(request);
        answer = self->m_answer;
    }
    self->m_changed.notify_all();
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

bool TestPartner::WaitUntil(const std::function<bool()>& happened) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::seconds(20), happened);
}

bool TestPartner::WaitForRequests(std::size_t count) {
    return WaitUntil([&] { return m_requests.size() >= count; });
}

bool TestPartner::WaitForNotifications(std::size_t count) {
    return WaitUntil([&] { return m_notifications.size() >= count; });
}

bool TestPartner::WaitForAnnouncement(const std::string& name) {
    return WaitUntil([&] {
        return std::find(m_announcements.begin(), m_announcements.end(), name) !=
               m_announcements.end();
    });
}
