#include <check/Traffic.h>

#include <algorithm>
#include <utility>

#include <ipc/ByteArray.h>
#include <ipc/HandshakeNames.h>
#include <ipc/MessageFraming.h>
#include <shared/Counted.h>
#include <shared/Endpoint.h>
#include <shared/Protocol.h>
#include <shared/SignalAddress.h>

namespace applistctl {

struct Traffic::Record {
    std::mutex mutex;
    std::vector<SentRequest> sentRequests;
    std::vector<Notification> notifications;
    std::vector<ReceivedRequest> received;
    std::shared_ptr<Record> self; ///< until the filter has run for the last time

    void AddSentRequest(GDBusMessage* message);
    void AddReply(GDBusMessage* message);
    void AddNotification(GDBusMessage* message);
    void AddReceivedRequest();
};

namespace {

bool IsOurs(GDBusMessage* message, const char* member) {
    return g_strcmp0(g_dbus_message_get_interface(message),
                     JavaMWDbusRemote::JAVAMW_DBUS_OBJ_IFACE) == 0 &&
           g_strcmp0(g_dbus_message_get_member(message), member) == 0 &&
           HandshakeNames::ObjectPath(ENDPOINT_ID) == g_dbus_message_get_path(message);
}

std::string TypeOf(GDBusMessage* message) {
    const std::string signature = g_dbus_message_get_signature(message);
    return "(" + signature + ")";
}

} // namespace

Traffic::Traffic(GDBusConnection* connection)
    : m_connection(connection), m_record(std::make_shared<Record>()) {
    {
        const std::lock_guard<std::mutex> lock(m_record->mutex);
        m_record->self = m_record;
    }
    m_filterId = g_dbus_connection_add_filter(connection, OnMessage, m_record.get(), OnFilterEnd);
}

Traffic::~Traffic() {
    g_dbus_connection_remove_filter(m_connection, m_filterId);
}

std::vector<SentRequest> Traffic::SentRequests() const {
    const std::lock_guard<std::mutex> lock(m_record->mutex);
    return m_record->sentRequests;
}

std::vector<Notification> Traffic::Notifications() const {
    const std::lock_guard<std::mutex> lock(m_record->mutex);
    return m_record->notifications;
}

std::vector<ReceivedRequest> Traffic::ReceivedRequests() const {
    const std::lock_guard<std::mutex> lock(m_record->mutex);
    return m_record->received;
}

std::size_t Traffic::CountNotifications(std::int32_t id) const {
    const std::vector<Notification> all = Notifications();
    return static_cast<std::size_t>(std::count_if(
        all.begin(), all.end(), [id](const Notification& one) { return one.id == id; }));
}

// Runs on the worker thread of GDBus, before the main context receives the message.
GDBusMessage* Traffic::OnMessage(GDBusConnection* /*connection*/, GDBusMessage* message,
                                 gboolean incoming, gpointer user_data) {
    Record& record = *static_cast<Record*>(user_data);
    {
        const std::lock_guard<std::mutex> lock(record.mutex);
        switch (g_dbus_message_get_message_type(message)) {
        case G_DBUS_MESSAGE_TYPE_METHOD_CALL:
            if (IsOurs(message, JavaMWDbusRemote::JAVAMW_DBUS_OBJ_METHOD)) {
                incoming != FALSE ? record.AddReceivedRequest() : record.AddSentRequest(message);
            }
            break;
        case G_DBUS_MESSAGE_TYPE_SIGNAL:
            if (incoming != FALSE && g_strcmp0(g_dbus_message_get_member(message),
                                               JavaMWDbusRemote::JAVAMW_DBUS_SIG_NAME) == 0) {
                record.AddNotification(message);
            }
            break;
        case G_DBUS_MESSAGE_TYPE_METHOD_RETURN:
        case G_DBUS_MESSAGE_TYPE_ERROR:
            if (incoming != FALSE) {
                record.AddReply(message);
            }
            break;
        case G_DBUS_MESSAGE_TYPE_INVALID:
            break;
        }
    }
    g_main_context_wakeup(nullptr);
    return message;
}

void Traffic::OnFilterEnd(gpointer user_data) {
    std::shared_ptr<Record> last;
    auto* const record = static_cast<Record*>(user_data);
    // ThreadSanitizer does not detect GDBus's count of the filter's runs. The lock orders these
    // runs.
    const std::lock_guard<std::mutex> lock(record->mutex);
    last = std::move(record->self);
}

void Traffic::Record::AddSentRequest(GDBusMessage* message) {
    SentRequest request;
    std::vector<char> bytes;
    ByteArray::FromVariant(g_dbus_message_get_body(message), bytes);
    MessageFraming::RemoveId(bytes, request.id);
    request.serial = g_dbus_message_get_serial(message);
    request.sent = std::chrono::steady_clock::now();
    sentRequests.push_back(request);
}

void Traffic::Record::AddReply(GDBusMessage* message) {
    const std::uint32_t serial = g_dbus_message_get_reply_serial(message);
    const auto request =
        std::find_if(sentRequests.begin(), sentRequests.end(), [serial](const SentRequest& one) {
            return one.serial == serial && !one.hasReply;
        });
    if (request == sentRequests.end()) {
        return;
    }
    request->hasReply = true;
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - request->sent;
    request->seconds = time.count();
    if (g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_ERROR) {
        const std::string name = g_dbus_message_get_error_name(message);
        request->problem = "the reply is the error " + name;
        request->isUnknownService = name == "org.freedesktop.DBus.Error.ServiceUnknown";
        request->isUnknownObject = name.rfind("org.freedesktop.DBus.Error.Unknown", 0) == 0;
    } else if (!ByteArray::FromVariant(g_dbus_message_get_body(message), request->reply)) {
        request->problem = "the reply has the type " + TypeOf(message) + ", not (ay)";
    }
}

void Traffic::Record::AddNotification(GDBusMessage* message) {
    Notification notification;
    const char* const sender = g_dbus_message_get_sender(message);
    notification.sender = sender != nullptr ? sender : "";
    std::vector<char> bytes;
    if (!IsOurs(message, JavaMWDbusRemote::JAVAMW_DBUS_SIG_NAME)) {
        // A host ignores this signal: the id stays 0.
        notification.problem =
            AddressProblem(g_dbus_message_get_path(message), g_dbus_message_get_interface(message));
    } else if (!ByteArray::FromVariant(g_dbus_message_get_body(message), bytes)) {
        notification.problem = "its type is " + TypeOf(message) + ", not (ay)";
    } else if (!MessageFraming::RemoveId(bytes, notification.id)) {
        notification.problem = "its " + TooShortForAnId(bytes.size());
    } else if (Protocol::FindNotification(notification.id) == nullptr) {
        notification.problem = "its id is " + std::to_string(notification.id);
    }
    notification.isBroadcast = g_dbus_message_get_destination(message) == nullptr;
    notifications.push_back(notification);
}

void Traffic::Record::AddReceivedRequest() {
    ReceivedRequest request;
    for (const SentRequest& sent : sentRequests) {
        if (!sent.hasReply) {
            request.during = Protocol::RequestTitle(sent.id);
        }
    }
    received.push_back(request);
}

} // namespace applistctl
