#include <check/BareHost.h>

#include <algorithm>
#include <optional>

#include <applist/MessageIds.h>
#include <ipc/ByteArray.h>
#include <ipc/HandshakeNames.h>
#include <ipc/MessageFraming.h>
#include <shared/CheckMarker.h>
#include <shared/Endpoint.h>
#include <shared/Request.h>
#include <shared/Waiting.h>

namespace applistctl {

namespace {

constexpr guint32 NAME_FLAG_DO_NOT_QUEUE = 4;
constexpr double BUS_LIMIT_S = 25;

void IgnoreSignal(GDBusConnection* /*connection*/, const char* /*sender*/, const char* /*path*/,
                  const char* /*interface*/, const char* /*signal*/, GVariant* /*parameters*/,
                  void* /*user_data*/) {}

// Traffic records the reply. A call without a callback has the flag "no reply expected".
void IgnoreReply(GObject* connection, GAsyncResult* result, void* /*user_data*/) {
    GVariant* const answer =
        g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, nullptr);
    if (answer != nullptr) {
        g_variant_unref(answer);
    }
}

} // namespace

// A partner may send a request at any time. The reply is empty.
const GDBusInterfaceVTable BareHost::VTABLE = {OnCall, nullptr, nullptr, {nullptr}};

BareHost::BareHost() : m_bus([](const std::string&) {}, SystemBus::Kind::Own) {
    GDBusConnection* const connection = m_bus.Connection();
    m_problem = m_bus.Problem();
    if (connection == nullptr) {
        return;
    }
    CheckMarker::Send(connection);
    m_traffic = std::make_unique<Traffic>(connection);
    const std::string path = HandshakeNames::ObjectPath(ENDPOINT_ID);
    g_autoptr(GDBusNodeInfo) node =
        g_dbus_node_info_new_for_xml(JavaMWDbusRemote::INTERFACE_XML, nullptr);
    m_registrationId = g_dbus_connection_register_object(
        connection, path.c_str(), node->interfaces[0], &VTABLE, nullptr, nullptr, nullptr);
    for (const char* const suffix : HANDSHAKE_STEPS) {
        m_subscriptionIds.push_back(g_dbus_connection_signal_subscribe(
            connection, "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
            "/org/freedesktop/DBus", HandshakeNames::PartnerName(ENDPOINT_ID, suffix).c_str(),
            G_DBUS_SIGNAL_FLAGS_NONE, OnNameOwnerChanged, this, nullptr));
    }
    // Includes signals of other senders and broadcasts, which Traffic reports.
    m_subscriptionIds.push_back(g_dbus_connection_signal_subscribe(
        connection, nullptr, JavaMWDbusRemote::JAVAMW_DBUS_OBJ_IFACE, nullptr, path.c_str(),
        nullptr, G_DBUS_SIGNAL_FLAGS_NONE, IgnoreSignal, nullptr, nullptr));
    m_problem = CallBus("GetId", nullptr); // returns after the match rules are in place
}

BareHost::~BareHost() {
    for (const guint id : m_subscriptionIds) {
        g_dbus_connection_signal_unsubscribe(m_bus.Connection(), id);
    }
    if (m_registrationId != 0) {
        g_dbus_connection_unregister_object(m_bus.Connection(), m_registrationId);
    }
}

std::string BareHost::UniqueName() const {
    return g_dbus_connection_get_unique_name(m_bus.Connection());
}

void BareHost::OnCall(GDBusConnection* /*connection*/, const char* /*sender*/, const char* /*path*/,
                      const char* /*interface*/, const char* /*method*/, GVariant* /*parameters*/,
                      GDBusMethodInvocation* invocation, void* /*user_data*/) {
    g_dbus_method_invocation_return_value(invocation, ByteArray::ToVariant({}));
}

// The handshake

std::string BareHost::Announce(const std::string& suffix) {
    // One of its own for each call: a step that comes meanwhile is answered before this one is
    // done.
    NameAnnouncement announcement(m_bus.Connection());
    std::optional<std::string> outcome;
    announcement.Start(HandshakeNames::EndpointName(ENDPOINT_ID, suffix),
                       NameAnnouncement::WhileOwned::Repeat,
                       [&](NameAnnouncement::Result result, const std::string& problem) {
                           if (result == NameAnnouncement::Result::Done) {
                               outcome = "";
                           } else if (result != NameAnnouncement::Result::Owned) {
                               outcome = problem;
                           }
                       });
    WaitUntil([&] { return outcome.has_value(); }, BUS_LIMIT_S);
    return outcome.value_or("no reply from the bus");
}

std::string BareHost::OwnName(const std::string& suffix) {
    return RequestName(HandshakeNames::EndpointName(ENDPOINT_ID, suffix));
}

void BareHost::ReleaseName(const std::string& suffix) {
    ReleaseFullName(HandshakeNames::EndpointName(ENDPOINT_ID, suffix));
}

std::string BareHost::OwnPartnersName(const std::string& suffix) {
    return RequestName(HandshakeNames::PartnerName(ENDPOINT_ID, suffix));
}

void BareHost::ReleasePartnersName(const std::string& suffix) {
    ReleaseFullName(HandshakeNames::PartnerName(ENDPOINT_ID, suffix));
}

std::string BareHost::RequestName(const std::string& name) {
    return CallBus("RequestName", g_variant_new("(su)", name.c_str(), NAME_FLAG_DO_NOT_QUEUE));
}

void BareHost::ReleaseFullName(const std::string& name) {
    CallBus("ReleaseName", g_variant_new("(s)", name.c_str()));
}

std::string BareHost::CallBus(const char* method, GVariant* parameters) {
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        m_bus.Connection(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        method, parameters, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    if (reply != nullptr) {
        return "";
    }
    g_dbus_error_strip_remote_error(error);
    return error->message;
}

void BareHost::OnNameOwnerChanged(GDBusConnection* /*connection*/, const char* /*sender*/,
                                  const char* /*path*/, const char* /*interface*/,
                                  const char* /*signal*/, GVariant* parameters, void* user_data) {
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    g_variant_get(parameters, "(&s&s&s)", &name, &oldOwner, &newOwner);
    auto* const self = static_cast<BareHost*>(user_data);
    if (*newOwner == '\0' && self->UniqueName() != oldOwner) {
        const std::string stem = HandshakeNames::PartnerName(ENDPOINT_ID, "");
        self->OnStep(name + stem.size(), oldOwner);
    }
}

void BareHost::OnStep(const std::string& suffix, const std::string& partner) {
    if (m_formerPartners.count(partner) > 0) {
        return;
    }
    m_steps.push_back(suffix);
    m_partner = partner;
    m_partners.insert(partner);
    m_wasAnswered = m_wasAnswered || suffix != "_SYN";
    if (!m_follows) {
        return;
    }
    if (suffix == "_ACK") {
        m_isReady = m_isReady || m_isBound;
    } else if (!m_isBound) {
        m_isBound = true;
        const bool isAnswer = suffix == "_SYN_ACK";
        // The partner may acknowledge before the announcement returns.
        if (Announce(isAnswer ? "_ACK" : "_SYN_ACK").empty() && isAnswer) {
            m_isReady = true;
        }
    }
}

bool BareHost::HasSeen(const std::string& suffix) const {
    return std::find(m_steps.begin(), m_steps.end(), suffix) != m_steps.end();
}

void BareHost::ForgetPartners() {
    m_formerPartners.merge(m_partners);
    m_partners.clear();
}

bool BareHost::HasLostPartner() const {
    return std::any_of(m_partners.begin(), m_partners.end(),
                       [this](const std::string& name) { return OwnerOf(name).empty(); });
}

std::string BareHost::OwnerOfPartnersName(const std::string& suffix) const {
    return OwnerOf(HandshakeNames::PartnerName(ENDPOINT_ID, suffix));
}

bool BareHost::IsPartnersNameKept(const std::string& suffix) const {
    const std::string owner = OwnerOfPartnersName(suffix);
    return !owner.empty() && m_formerPartners.count(owner) == 0;
}

std::string BareHost::OwnerOf(const std::string& name) const {
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        m_bus.Connection(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetNameOwner", g_variant_new("(s)", name.c_str()), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
        nullptr, nullptr);
    const char* owner = "";
    if (reply != nullptr) {
        g_variant_get(reply, "(&s)", &owner);
    }
    return owner;
}

bool BareHost::WaitForStep(const std::string& suffix, double seconds) {
    return WaitUntil([&] { return HasSeen(suffix); }, seconds);
}

// Requests and notifications

SentRequest BareHost::SendRequest(std::int32_t id, const std::vector<ListedItem>& items,
                                  double seconds) {
    return SendRequestTo(m_partner, id, items, seconds);
}

SentRequest BareHost::SendRequestTo(const std::string& receiver, std::int32_t id,
                                    const std::vector<ListedItem>& items, double seconds) {
    std::vector<char> message;
    for (const ListedItem& item : items) {
        const std::vector<char> record = WriteRecord(item);
        message.insert(message.end(), record.begin(), record.end());
    }
    MessageFraming::AppendId(message, id);
    return Send(receiver, message, seconds);
}

SentRequest BareHost::SendBytes(const std::vector<char>& message, double seconds) {
    return Send(m_partner, message, seconds);
}

SentRequest BareHost::Send(const std::string& receiver, const std::vector<char>& message,
                           double seconds) {
    const std::size_t index = m_traffic->SentRequests().size();
    g_dbus_connection_call(
        m_bus.Connection(), receiver.c_str(), HandshakeNames::ObjectPath(ENDPOINT_ID).c_str(),
        JavaMWDbusRemote::JAVAMW_DBUS_OBJ_IFACE, JavaMWDbusRemote::JAVAMW_DBUS_OBJ_METHOD,
        ByteArray::ToVariant(message), nullptr, G_DBUS_CALL_FLAGS_NONE, G_MAXINT, nullptr,
        IgnoreReply, nullptr);
    const auto hasReply = [&] {
        const auto sentRequests = m_traffic->SentRequests();
        return sentRequests.size() > index && sentRequests[index].hasReply;
    };
    const bool isInTime = WaitUntil(hasReply, seconds);
    const auto sentRequests = m_traffic->SentRequests();
    SentRequest request = sentRequests.size() > index ? sentRequests[index] : SentRequest();
    if (!isInTime) {
        request.problem = "no reply within " + InSeconds(seconds);
    }
    return request;
}

void BareHost::NotifySelf() {
    std::vector<char> message;
    MessageFraming::AppendId(message, APPLIST_ITEM_CHANGE_EVENT);
    g_dbus_connection_emit_signal(
        m_bus.Connection(), UniqueName().c_str(), HandshakeNames::ObjectPath(ENDPOINT_ID).c_str(),
        JavaMWDbusRemote::JAVAMW_DBUS_OBJ_IFACE, JavaMWDbusRemote::JAVAMW_DBUS_SIG_NAME,
        ByteArray::ToVariant(message), nullptr);
}

bool BareHost::WaitForNotification(std::int32_t id, std::size_t count, double seconds) {
    return WaitUntil([&] { return m_traffic->CountNotifications(id) >= count; }, seconds);
}

} // namespace applistctl
