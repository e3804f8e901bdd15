// The story of an endpoint, in its order: it joins the bus, shakes hands, resends what failed,
// carries messages and notifications, and leaves.
#include <ipc/javamw-dbus-remote.h>

#include <exception>
#include <iostream>
#include <utility>

#include <unistd.h>

#include <common/Log.h>
#include <common/PTAutoLock.h>
#include <ipc/ByteArray.h>
#include <ipc/HandshakeNames.h>
#include <ipc/LentBytes.h>
#include <ipc/LiveEndpoints.h>

const char* const JavaMWDbusRemote::INTERFACE_XML =
    "<node>"
    "  <interface name='org.morva.javamw.DbusCommunication'>"
    "    <method name='Send'>"
    "      <arg type='ay' name='data' direction='in'/>"
    "      <arg type='ay' name='response' direction='out'/>"
    "    </method>"
    "  </interface>"
    "</node>";
const char* const JavaMWDbusRemote::LISTEN_PREFIX = "_SERVICE";
const char* const JavaMWDbusRemote::BROADCAST_PREFIX = "_CLIENT";
const char* const JavaMWDbusRemote::JAVAMW_DBUS_ACK_SUFFIX = "_ACK";
const char* const JavaMWDbusRemote::JAVAMW_DBUS_SYNACK_SUFFIX = "_SYN_ACK";
const char* const JavaMWDbusRemote::JAVAMW_DBUS_SYN_SUFFIX = "_SYN";
const char* const JavaMWDbusRemote::JAVAMW_DBUS_SIG_NAME = "SendSignal";
const char* const JavaMWDbusRemote::JAVAMW_DBUS_OBJ_METHOD = "Send";
const char* const JavaMWDbusRemote::JAVAMW_DBUS_OBJ_IFACE = "org.morva.javamw.DbusCommunication";
const char* const JavaMWDbusRemote::JAVAMW_DBUS_OBJ_NAME = "/org/morva/javamw/CommunicationChannel";
const char* const JavaMWDbusRemote::JAVAMW_DBUS_PREFIX = "org.morva.JavaMW";

const GDBusInterfaceVTable JavaMWDbusRemote::m_vtable = {
    cb_MethodCall, nullptr, nullptr, {nullptr}};

namespace {

constexpr useconds_t RESEND_PERIOD_US = 500000;
constexpr guint32 NAME_FLAG_DO_NOT_QUEUE = 4;
constexpr guint32 REPLY_PRIMARY_OWNER = 1;
constexpr int DEFAULT_TIMEOUT = -1;

constexpr const char* BUS_NAME = "org.freedesktop.DBus";
constexpr const char* BUS_PATH = "/org/freedesktop/DBus";
constexpr const char* BUS_INTERFACE = "org.freedesktop.DBus";

// Calls a method of the bus daemon that takes a name and answers with a code.
GVariant* CallBus(GDBusConnection* connection, const char* method, GVariant* parameters,
                  GError** error) {
    return g_dbus_connection_call_sync(connection, BUS_NAME, BUS_PATH, BUS_INTERFACE, method,
                                       parameters, G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE,
                                       DEFAULT_TIMEOUT, nullptr, error);
}

// Gives up a name whose RequestName ended with @p error, without an answer to wait for. Only an
// error that the bus returned says that the name is not owned: a bus that was stalled for the whole
// time-out grants the name later. It would then be owned for ever, and each later RequestName be
// answered with 4. The bus handles the two calls in their order.
void ReleaseUnansweredName(GDBusConnection* connection, const char* name, const GError* error) {
    if (error == nullptr || g_dbus_error_is_remote_error(error) == FALSE) {
        g_dbus_connection_call(connection, BUS_NAME, BUS_PATH, BUS_INTERFACE, "ReleaseName",
                               g_variant_new("(s)", name), nullptr, G_DBUS_CALL_FLAGS_NONE,
                               DEFAULT_TIMEOUT, nullptr, nullptr, nullptr);
    }
}

// The one place where an exception, from a handler of the host or for lack of memory, stops: GLib
// and the thread library, which call us, are C. Returns whether the work was done.
template <class Work>
bool KeepExceptions(const char* where, Work work) noexcept {
    try {
        work();
        return true;
    } catch (const std::exception& exception) {
        APPLIST_LOG_ERROR("Exception in %s: %s", where, exception.what());
    } catch (...) {
        APPLIST_LOG_ERROR("Exception in %s", where);
    }
    return false;
}

void WriteLine(const std::vector<char>& data) {
    for (const char byte : data) {
        std::cout << byte;
    }
    std::cout << std::endl;
}

} // namespace

// Joining the bus

JavaMWDbusRemote::JavaMWDbusRemote(std::string id) : JavaMWDbusRemote(std::move(id), true) {}

JavaMWDbusRemote::JavaMWDbusRemote(std::string id, HandlersLater)
    : JavaMWDbusRemote(std::move(id), false) {}

JavaMWDbusRemote::JavaMWDbusRemote(std::string id, bool handlersReady)
    : m_id(std::move(id)),
      m_state(HANDSHAKE_NONE),
      m_registration(std::make_unique<EndpointRegistration>(this, handlersReady)) {
    APPLIST_LOG_DEBUG("Constructor");
    m_nodeInfo = g_dbus_node_info_new_for_xml(INTERFACE_XML, nullptr);
    APPLIST_LOG_DEBUG("XML parsed");
    m_objectPath = HandshakeNames::ObjectPath(m_id);
    const bool connected = Connect();
    // Callbacks may come from here on, in another thread; they see what was set before.
    m_registration->Begin();
    if (connected) {
        // No exception may undo the construction now: a resend thread may be at work on it.
        KeepExceptions(__func__, [this] {
            RegisterObject();
            StartHandshake();
        });
    }
}

bool JavaMWDbusRemote::Connect() {
    APPLIST_LOG_DEBUG("Getting connection to SYSTEM_BUS");
    g_autoptr(GError) error = nullptr;
    m_connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &error);
    if (error != nullptr) {
        APPLIST_LOG_ERROR("Error while connecting to system bus [%d] %s", error->code,
                          error->message);
        return false;
    }
    m_uniqueName = g_dbus_connection_get_unique_name(m_connection);
    APPLIST_LOG_DEBUG("Working with unique name %s", m_uniqueName.c_str());
    return true;
}

void JavaMWDbusRemote::RegisterObject() {
    APPLIST_LOG_DEBUG("Registering Object and Interface on path %s", m_objectPath.c_str());
    g_autoptr(GError) error = nullptr;
    m_registrationId = g_dbus_connection_register_object(m_connection, m_objectPath.c_str(),
                                                         m_nodeInfo->interfaces[0], &m_vtable, this,
                                                         nullptr, &error);
    if (error != nullptr) {
        APPLIST_LOG_ERROR("Error while registering object [%d] %s", error->code, error->message);
    }
}

void JavaMWDbusRemote::StartHandshake() {
    const std::string baseName = HandshakeNames::BaseName(m_id);
    APPLIST_LOG_DEBUG("Monitoring %s name waiting for communication partner", baseName.c_str());
    const auto watch = [this](const char* suffix, GDBusSignalCallback callback) {
        const std::string name = HandshakeNames::PartnerName(m_id, suffix);
        return g_dbus_connection_signal_subscribe(
            m_connection, BUS_NAME, BUS_INTERFACE, "NameOwnerChanged", BUS_PATH, name.c_str(),
            G_DBUS_SIGNAL_FLAGS_NONE, callback, this, nullptr);
    };
    m_synSubscriptionId = watch(JAVAMW_DBUS_SYN_SUFFIX, cb_SynNameOwnerChanged);
    m_synAckSubscriptionId = watch(JAVAMW_DBUS_SYNACK_SUFFIX, cb_SynAckNameOwnerChanged);
    m_ackSubscriptionId = watch(JAVAMW_DBUS_ACK_SUFFIX, cb_AckNameOwnerChanged);

    APPLIST_LOG_DEBUG("Notify others using name %s", baseName.c_str());
    // Only a state that nobody has touched: where the loop runs in another thread, the partner may
    // have been found already.
    int untouched = HANDSHAKE_NONE;
    m_state.compare_exchange_strong(untouched, HANDSHAKE_SYN_SENT);
    std::string synName = HandshakeNames::EndpointName(m_id, JAVAMW_DBUS_SYN_SUFFIX);
    // Made once and never repeated: a partner that misses it announces itself when it starts.
    BroadcastName(synName);
}

bool JavaMWDbusRemote::BroadcastName(std::string& name) {
    APPLIST_LOG_DEBUG("BroadcastName %s Public unique name %s", name.c_str(), m_uniqueName.c_str());
    if (m_connection == nullptr || g_utf8_validate(name.c_str(), -1, nullptr) == FALSE) {
        // What GDBus would refuse with a warning instead of an error.
        APPLIST_LOG_ERROR("Cannot get response for name request");
        return false;
    }
    g_autoptr(GError) requestError = nullptr;
    g_autoptr(GVariant) requestReply =
        CallBus(m_connection, "RequestName",
                g_variant_new("(su)", name.c_str(), NAME_FLAG_DO_NOT_QUEUE), &requestError);
    if (requestError != nullptr) {
        APPLIST_LOG_ERROR("Error during request name call [%d] %s", requestError->code,
                          requestError->message);
    }
    if (requestReply == nullptr) {
        APPLIST_LOG_ERROR("Cannot get response for name request");
        ReleaseUnansweredName(m_connection, name.c_str(), requestError);
        return false;
    }
    guint32 code = 0;
    g_variant_get(requestReply, "(u)", &code);
    if (code != REPLY_PRIMARY_OWNER) {
        APPLIST_LOG_ERROR("Cannot own name due to return code = %d", static_cast<int>(code));
        return false;
    }

    APPLIST_LOG_DEBUG("Become primary owner for name. Releasing it.");
    // Meant: this error is neither read nor freed. The line below is all that the log tells of a
    // failed release, and one GError is lost each time.
    GError* unreadError = nullptr;
    g_autoptr(GVariant) releaseReply =
        CallBus(m_connection, "ReleaseName", g_variant_new("(s)", name.c_str()), &unreadError);
    if (releaseReply == nullptr) {
        APPLIST_LOG_ERROR("Release failed due to empty response.");
        return false;
    }
    return true;
}

bool JavaMWDbusRemote::IsConnectionReady() const {
    return m_state == HANDSHAKE_CONNECTED;
}

// The handshake

void JavaMWDbusRemote::cb_SynNameOwnerChanged(GDBusConnection* connection, const char* /*sender*/,
                                              const char* /*object_path*/,
                                              const char* /*interface_name*/,
                                              const char* /*signal_name*/, GVariant* parameters,
                                              void* user_data) {
    APPLIST_LOG_DEBUG("cb_SynNameOwnerChanged called");
    DeliverHandshakeStep(
        connection, parameters, user_data,
        {"cb_SynNameOwnerChanged", JAVAMW_DBUS_SYN_SUFFIX, &JavaMWDbusRemote::OnPartnerSyn});
}

void JavaMWDbusRemote::cb_SynAckNameOwnerChanged(GDBusConnection* connection,
                                                 const char* /*sender*/,
                                                 const char* /*object_path*/,
                                                 const char* /*interface_name*/,
                                                 const char* /*signal_name*/, GVariant* parameters,
                                                 void* user_data) {
    APPLIST_LOG_DEBUG("cb_SynAckNameOwnerChanged called");
    DeliverHandshakeStep(connection, parameters, user_data,
                         {"cb_SynAckNameOwnerChanged", JAVAMW_DBUS_SYNACK_SUFFIX,
                          &JavaMWDbusRemote::OnPartnerSynAck});
}

void JavaMWDbusRemote::cb_AckNameOwnerChanged(GDBusConnection* connection, const char* /*sender*/,
                                              const char* /*object_path*/,
                                              const char* /*interface_name*/,
                                              const char* /*signal_name*/, GVariant* parameters,
                                              void* user_data) {
    APPLIST_LOG_DEBUG("cb_AckNameOwnerChanged called");
    DeliverHandshakeStep(
        connection, parameters, user_data,
        {"cb_AckNameOwnerChanged", JAVAMW_DBUS_ACK_SUFFIX, &JavaMWDbusRemote::OnPartnerAck});
}

void JavaMWDbusRemote::DeliverHandshakeStep(GDBusConnection* connection, GVariant* parameters,
                                            void* user_data, const HandshakeStep& step) {
    const EndpointTurn turn(user_data);
    auto* const endpoint = turn ? static_cast<JavaMWDbusRemote*>(user_data) : nullptr;
    // A connection other than the endpoint's own delivers for a dead endpoint whose address this
    // one has taken over.
    if (endpoint == nullptr || connection == nullptr || connection != endpoint->m_connection) {
        APPLIST_LOG_ERROR("Empty user_data or connection not valid.");
        return;
    }
    KeepExceptions(step.callbackName, [&] { endpoint->TakeHandshakeStep(parameters, step); });
}

// Finds out from a NameOwnerChanged signal who announced, and takes the step with it.
void JavaMWDbusRemote::TakeHandshakeStep(GVariant* parameters, const HandshakeStep& step) {
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sss)"))) {
        APPLIST_LOG_ERROR("%s with parameters of type %s", step.callbackName,
                          g_variant_get_type_string(parameters));
        return;
    }
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    g_variant_get(parameters, "(&s&s&s)", &name, &oldOwner, &newOwner);

    const PTAutoLock lock(m_mutex);
    APPLIST_LOG_DEBUG("%s %s %s from '%s' => '%s' ", step.callbackName, name, m_uniqueName.c_str(),
                      oldOwner, newOwner);
    // Another name was watched by a dead endpoint whose address this one has taken over.
    const bool isWatched = HandshakeNames::PartnerName(m_id, step.suffix) == name;
    // An announcement is the release of the name; its taking says nothing yet.
    const bool isRelease = *newOwner == '\0';
    if (isWatched && isRelease && m_uniqueName != oldOwner) {
        (this->*step.take)(oldOwner);
    }
}

// The partner has started: bind to it and ask it to acknowledge.
void JavaMWDbusRemote::OnPartnerSyn(const std::string& partner) {
    if (Bind(partner) && AnnounceAnswer(JAVAMW_DBUS_SYNACK_SUFFIX)) {
        m_state = HANDSHAKE_SYN_ACK_SENT;
    }
}

// The partner has bound to us in answer to our SYN: bind to it, and we are ready.
void JavaMWDbusRemote::OnPartnerSynAck(const std::string& partner) {
    if (Bind(partner) && AnnounceAnswer(JAVAMW_DBUS_ACK_SUFFIX)) {
        m_state = HANDSHAKE_CONNECTED;
        ReportConnectionReady(true, partner);
    }
}

// The partner has acknowledged our SYN_ACK. Meant: who released the name is not compared with the
// partner we are bound to, so whoever the bus lets own the name can declare us ready. The bus
// policy is the guard.
void JavaMWDbusRemote::OnPartnerAck(const std::string& partner) {
    if (!IsBound()) {
        return;
    }
    m_state = HANDSHAKE_CONNECTED;
    ReportConnectionReady(true, partner);
}

void JavaMWDbusRemote::cb_PartnerNameVanished(GDBusConnection* connection, const char* name,
                                              void* user_data) {
    APPLIST_LOG_DEBUG("cb_PartnerNameVanished name=%s", name);
    const EndpointTurn turn(user_data);
    if (connection == nullptr || !turn) {
        APPLIST_LOG_ERROR("Empty user_data or connection not valid.");
        return;
    }
    KeepExceptions(__func__,
                   [&] { static_cast<JavaMWDbusRemote*>(user_data)->OnPartnerVanished(name); });
}

void JavaMWDbusRemote::OnPartnerVanished(const std::string& partner) {
    const PTAutoLock lock(m_mutex);
    if (PartnerId() != partner) {
        return;
    }
    APPLIST_LOG_DEBUG("Connection lost with partner id=%s", partner.c_str());
    {
        const PTAutoLock partnerLock(m_partnerMutex);
        m_partnerId.clear();
    }
    ReportConnectionReady(false, partner);
    Unbind();
    m_state = HANDSHAKE_NONE;
}

// Binding to a partner

bool JavaMWDbusRemote::Bind(const std::string& partner) {
    {
        const PTAutoLock lock(m_partnerMutex);
        if (m_partnerWatchId != 0 || m_signalSubscriptionId != 0) {
            // Meant: one partner at a time, and a second SYN or SYN_ACK is dropped without a word,
            // also that of a partner which restarted before the bus told of its end.
            return false;
        }
    }
    if (g_dbus_is_name(partner.c_str()) == FALSE) {
        // No bus daemon says this, and GDBus would only warn.
        APPLIST_LOG_ERROR("'%s' is no bus name of a partner", partner.c_str());
        return false;
    }

    APPLIST_LOG_DEBUG("Monitor unique name %s", partner.c_str());
    m_partnerWatchId =
        g_bus_watch_name_on_connection(m_connection, partner.c_str(), G_BUS_NAME_WATCHER_FLAGS_NONE,
                                       nullptr, cb_PartnerNameVanished, this, nullptr);
    APPLIST_LOG_DEBUG("Partner is available and has unique name %s", partner.c_str());
    {
        const PTAutoLock lock(m_partnerMutex);
        m_partnerId = partner;
    }

    APPLIST_LOG_DEBUG("Create proxy for %s on obj %s", partner.c_str(), m_objectPath.c_str());
    g_autoptr(GError) proxyError = nullptr;
    GDBusProxy* const proxy = g_dbus_proxy_new_sync(
        m_connection, G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES, nullptr, partner.c_str(),
        m_objectPath.c_str(), JAVAMW_DBUS_OBJ_IFACE, nullptr, &proxyError);
    if (proxyError != nullptr) {
        APPLIST_LOG_ERROR("Error while registering proxy  %s", proxyError->message);
    }

    APPLIST_LOG_DEBUG("Subscribe for signals from %s on object %s.", partner.c_str(),
                      m_objectPath.c_str());
    const unsigned int subscriptionId = g_dbus_connection_signal_subscribe(
        m_connection, partner.c_str(), JAVAMW_DBUS_OBJ_IFACE, nullptr, m_objectPath.c_str(),
        nullptr, G_DBUS_SIGNAL_FLAGS_NONE, cb_SignalCall, this, nullptr);
    const PTAutoLock lock(m_partnerMutex);
    m_partnerProxy = proxy;
    m_signalSubscriptionId = subscriptionId;
    return true;
}

bool JavaMWDbusRemote::IsBound() {
    const PTAutoLock lock(m_partnerMutex);
    return m_partnerWatchId != 0 && m_signalSubscriptionId != 0;
}

void JavaMWDbusRemote::Unbind() {
    if (m_partnerWatchId != 0) {
        APPLIST_LOG_DEBUG("Stop watching old partner messages.");
        g_bus_unwatch_name(std::exchange(m_partnerWatchId, 0));
    }
    GDBusProxy* proxy = nullptr;
    unsigned int subscriptionId = 0;
    {
        const PTAutoLock lock(m_partnerMutex);
        proxy = std::exchange(m_partnerProxy, nullptr);
        subscriptionId = std::exchange(m_signalSubscriptionId, 0);
    }
    // A sender that is waiting for the partner's reply holds a reference of its own.
    g_clear_object(&proxy);
    if (subscriptionId != 0) {
        g_dbus_connection_signal_unsubscribe(m_connection, subscriptionId);
    }
}

std::string JavaMWDbusRemote::PartnerId() {
    const PTAutoLock lock(m_partnerMutex);
    return m_partnerId;
}

void JavaMWDbusRemote::ReportConnectionReady(bool ready, const std::string& partner) {
    if (m_registration->HasEnded()) {
        return;
    }
    KeepExceptions("HandleConnectionReady", [&] {
        if (m_registration->HandlersReady()) {
            HandleConnectionReady(ready, partner);
        } else {
            JavaMWDbusRemote::HandleConnectionReady(ready, partner);
        }
    });
}

// Announcing an answer, again and again if need be

bool JavaMWDbusRemote::AnnounceAnswer(const std::string& suffix) {
    std::string name = HandshakeNames::EndpointName(m_id, suffix);
    if (BroadcastName(name)) {
        APPLIST_LOG_DEBUG("Successfully broadcasted: %s", name.c_str());
        return true;
    }
    APPLIST_LOG_DEBUG("Failed to broadcast: %s. Requested resend", name.c_str());
    m_resendNames[PartnerId()] = suffix;
    if (m_resendThread == 0) {
        StartResendThread();
    }
    return false;
}

void JavaMWDbusRemote::StartResendThread() {
    if (m_threadToJoin != 0) {
        // It has given up m_mutex, which we hold, for the last time.
        pthread_join(std::exchange(m_threadToJoin, 0), nullptr);
    }
    APPLIST_LOG_DEBUG("Creating timer that will execute OnResendHandshake()");
    const bool created = pthread_create(&m_resendThread, nullptr, TimerThread, this) == 0;
    if (!created) {
        m_resendThread = 0;
    }
    m_threadToJoin = m_resendThread;
    APPLIST_LOG_DEBUG("Timer thread create status: %d", created ? 1 : 0);
}

void* JavaMWDbusRemote::TimerThread(void* arg) {
    do {
        usleep(RESEND_PERIOD_US);
    } while (OnResendHandshake(arg) == 1);
    APPLIST_LOG_DEBUG("Finished timer thread");

    // Still there, even if it is dying: its destructor joins this thread.
    auto* const endpoint = static_cast<JavaMWDbusRemote*>(arg);
    const PTAutoLock lock(endpoint->m_mutex);
    endpoint->m_resendThread = 0;
    return nullptr;
}

int JavaMWDbusRemote::OnResendHandshake(void* arg) {
    APPLIST_LOG_DEBUG("Executed OnResendHandshake function");
    const EndpointTurn turn(arg);
    if (!turn) {
        // The endpoint is dying, and with it its table.
        APPLIST_LOG_DEBUG("Number of handshakes to resend: %d", 0);
        APPLIST_LOG_DEBUG("Nothing left to resend, closing timer");
        return 0;
    }
    int entriesRemain = 1; // also when the pass broke off: the table is as it was
    KeepExceptions(__func__,
                   [&] { entriesRemain = static_cast<JavaMWDbusRemote*>(arg)->ResendPass(); });
    return entriesRemain;
}

int JavaMWDbusRemote::ResendPass() {
    const PTAutoLock lock(m_mutex);
    APPLIST_LOG_DEBUG("Number of handshakes to resend: %d", static_cast<int>(m_resendNames.size()));
    std::map<std::string, std::string> kept;
    for (const auto& [partner, suffix] : m_resendNames) {
        if (!Resend(partner, suffix)) {
            kept[partner] = suffix;
        }
    }
    if (m_registration->HasEnded()) {
        kept.clear();
    }
    m_resendNames.swap(kept);
    if (!m_resendNames.empty()) {
        return 1;
    }
    APPLIST_LOG_DEBUG("Nothing left to resend, closing timer");
    return 0;
}

// Returns whether the answer owed to @p partner is done with.
bool JavaMWDbusRemote::Resend(const std::string& partner, const std::string& suffix) {
    APPLIST_LOG_DEBUG("Resending handshake: partner %s, handshakeSuffix %s", partner.c_str(),
                      suffix.c_str());
    const std::string currentPartner = PartnerId();
    if (partner != currentPartner) {
        APPLIST_LOG_DEBUG("Partner name: %s different then resend partner name: %s",
                          currentPartner.c_str(), partner.c_str());
        return true;
    }
    const bool isAck = suffix == JAVAMW_DBUS_ACK_SUFFIX;
    if (!isAck && suffix != JAVAMW_DBUS_SYNACK_SUFFIX) {
        return true;
    }
    std::string name = HandshakeNames::EndpointName(m_id, suffix);
    if (!BroadcastName(name)) {
        APPLIST_LOG_DEBUG("Failed to broadcasted: %s. Will try once again", name.c_str());
        return false;
    }
    APPLIST_LOG_DEBUG("Successfully broadcasted: %s", name.c_str());
    if (m_registration->HasEnded()) {
        return true;
    }
    if (isAck) {
        m_state = HANDSHAKE_CONNECTED;
        ReportConnectionReady(true, currentPartner);
    } else {
        // Meant, even when the connection is ready by now: an answer that went through late takes
        // the state back from 3 to 2, and the partner's _SERVICE_ACK to it brings it to 3 again.
        m_state = HANDSHAKE_SYN_ACK_SENT;
    }
    return true;
}

// Messages and notifications

std::vector<char> JavaMWDbusRemote::SendMessage(std::vector<char>& data) {
    if (!IsConnectionReady()) {
        std::cout << "Connection not set.\n" << std::flush;
        return {};
    }
    g_autoptr(GDBusProxy) proxy = nullptr;
    {
        // A reference of our own: the partner may be lost, and its proxy released, at any moment.
        const PTAutoLock lock(m_partnerMutex);
        g_set_object(&proxy, m_partnerProxy);
    }
    if (proxy == nullptr) {
        std::cout << "Proxy not ready\n" << std::flush;
        return {};
    }
    APPLIST_LOG_DEBUG("Sending sync message with %d bytes", static_cast<int>(data.size()));
    g_autoptr(GError) error = nullptr;
    GVariant* reply = nullptr;
    {
        const LentBytes message(data);
        reply = g_dbus_proxy_call_sync(proxy, JAVAMW_DBUS_OBJ_METHOD, message.Body(),
                                       G_DBUS_CALL_FLAGS_NONE, DEFAULT_TIMEOUT, nullptr, &error);
    }
    if (error != nullptr) {
        APPLIST_LOG_ERROR("Error while sending message [%d] %s", error->code, error->message);
        return {};
    }
    if (reply == nullptr) {
        return {};
    }
    std::vector<char> bytes;
    if (!ByteArray::FromVariant(reply, bytes)) {
        APPLIST_LOG_ERROR("Reply of type %s dropped", g_variant_get_type_string(reply));
        g_variant_unref(reply);
        return {};
    }
    APPLIST_LOG_DEBUG("Reply with %d bytes", static_cast<int>(bytes.size()));
    // Meant: the reply is not released. It costs some 240 bytes plus its content a request.
    return bytes;
}

void JavaMWDbusRemote::SendNotification(std::vector<char>& data) {
    EmitNotification(data, PartnerId());
}

void JavaMWDbusRemote::SendNotification(std::vector<char>& data, const std::string& partner) {
    if (partner != PartnerId()) {
        APPLIST_LOG_ERROR("Attempt to send notification to not connected partner!");
        return;
    }
    EmitNotification(data, partner);
}

void JavaMWDbusRemote::EmitNotification(const std::vector<char>& data, const std::string& partner) {
    // The partner's name goes before the state does, when the partner is lost.
    if (!IsConnectionReady() || partner.empty()) {
        APPLIST_LOG_ERROR("Connection not set.");
        return;
    }
    if (!HasSignalSubscription()) {
        APPLIST_LOG_ERROR("SignalSubscription not ready");
        return;
    }
    APPLIST_LOG_DEBUG("Sending signal with %d bytes", static_cast<int>(data.size()));
    g_autoptr(GError) error = nullptr;
    g_dbus_connection_emit_signal(m_connection, partner.c_str(), m_objectPath.c_str(),
                                  JAVAMW_DBUS_OBJ_IFACE, JAVAMW_DBUS_SIG_NAME,
                                  ByteArray::ToVariant(data), &error);
    if (error != nullptr) {
        APPLIST_LOG_ERROR("Error while sending signal [%d] %s", error->code, error->message);
    }
}

bool JavaMWDbusRemote::HasSignalSubscription() {
    const PTAutoLock lock(m_partnerMutex);
    return m_signalSubscriptionId != 0;
}

void JavaMWDbusRemote::cb_MethodCall(GDBusConnection* connection, const char* sender,
                                     const char* object_path, const char* interface_name,
                                     const char* method_name, GVariant* parameters,
                                     GDBusMethodInvocation* invocation, void* user_data) {
    APPLIST_LOG_DEBUG("cb_MethodCall sender=%s obj_path=%s iface_name=%s method_name=%s", sender,
                      object_path, interface_name, method_name);
    const auto life = LiveEndpoints::Find(user_data);
    if (connection == nullptr || life == nullptr) {
        APPLIST_LOG_ERROR("Empty user_data or connection not valid.");
        if (connection != nullptr && user_data != nullptr) {
            // The object outlives its endpoint: the partner must not wait for an answer.
            g_dbus_method_invocation_return_dbus_error(
                invocation, "org.freedesktop.DBus.Error.UnknownObject", "The endpoint is gone");
        }
        return;
    }
    auto* const endpoint = static_cast<JavaMWDbusRemote*>(user_data);
    if (endpoint->m_objectPath != object_path) {
        // Meant: no answer. GDBus delivers only calls to a path that was registered, which may be
        // that of a dead endpoint whose address this one has taken over.
        return;
    }
    std::vector<char> reply;
    if (KeepExceptions(__func__, [&] { reply = endpoint->AnswerMessage(parameters); })) {
        g_dbus_method_invocation_return_value(invocation, ByteArray::ToVariant(reply));
    } else {
        g_dbus_method_invocation_return_dbus_error(invocation, "org.freedesktop.DBus.Error.Failed",
                                                   "The message could not be handled");
    }
}

std::vector<char> JavaMWDbusRemote::AnswerMessage(GVariant* parameters) {
    std::vector<char> data;
    if (!ByteArray::FromVariant(parameters, data)) {
        APPLIST_LOG_ERROR("Message of type %s dropped", g_variant_get_type_string(parameters));
        return {};
    }
    return m_registration->HandlersReady() ? HandleMessage(data)
                                           : JavaMWDbusRemote::HandleMessage(data);
}

void JavaMWDbusRemote::cb_SignalCall(GDBusConnection* connection, const char* sender,
                                     const char* object_path, const char* interface_name,
                                     const char* signal_name, GVariant* parameters,
                                     void* user_data) {
    APPLIST_LOG_DEBUG("cb_SignalCall sender=%s obj_path=%s iface_name=%s signal_name=%s", sender,
                      object_path, interface_name, signal_name);
    const auto life = LiveEndpoints::Find(user_data);
    if (connection == nullptr || life == nullptr) {
        APPLIST_LOG_ERROR("Empty user_data or connection not valid.");
        return;
    }
    auto* const endpoint = static_cast<JavaMWDbusRemote*>(user_data);
    if (endpoint->m_objectPath == object_path) {
        KeepExceptions(__func__, [&] { endpoint->TakeNotification(parameters); });
    }
}

void JavaMWDbusRemote::TakeNotification(GVariant* parameters) {
    std::vector<char> data;
    if (!ByteArray::FromVariant(parameters, data)) {
        APPLIST_LOG_ERROR("Notification of type %s dropped", g_variant_get_type_string(parameters));
        return;
    }
    if (m_registration->HandlersReady()) {
        HandleNotification(data);
    } else {
        JavaMWDbusRemote::HandleNotification(data);
    }
}

// Default handlers

std::vector<char> JavaMWDbusRemote::HandleMessage(std::vector<char>& data) {
    const std::string text(data.begin(), data.end());
    APPLIST_LOG_DEBUG("Default handler - HandleMessage = %s", text.c_str());
    WriteLine(data);
    const std::string reply = "Default handler from : " + m_uniqueName;
    return {reply.begin(), reply.end()};
}

void JavaMWDbusRemote::HandleNotification(std::vector<char>& data) {
    const std::string text(data.begin(), data.end());
    APPLIST_LOG_DEBUG("Default handler - HandleNotification = %s", text.c_str());
    WriteLine(data);
}

void JavaMWDbusRemote::HandleConnectionReady(bool ready, const std::string& /*partner*/) {
    APPLIST_LOG_DEBUG("Default handler - HandleConnectionReady = %d", ready ? 1 : 0);
}

// Leaving

void JavaMWDbusRemote::StartHandlers() {
    m_registration->StartHandlers();
}

void JavaMWDbusRemote::StopHandlers() {
    m_state = HANDSHAKE_NONE;
    m_registration->End();
    m_state = HANDSHAKE_NONE; // whatever the step that was under way has made of it
}

JavaMWDbusRemote::~JavaMWDbusRemote() {
    // After this no callback and no resend pass touches the endpoint, so nothing below needs a
    // lock. The resend thread itself only looks, finds the endpoint dying and ends.
    StopHandlers();
    m_resendNames.clear();
    if (m_threadToJoin != 0) {
        pthread_join(m_threadToJoin, nullptr);
    }
    if (m_ownerId != 0) {
        g_bus_unown_name(std::exchange(m_ownerId, 0));
    }
    // Meant: the three subscription ids go to g_bus_unwatch_name too, which does not know them.
    // GLib warns of an invalid id, or ends a watch of the host that has the same number; the
    // subscriptions stay on the connection, and LiveEndpoints refuses what they deliver.
    for (unsigned int* id :
         {&m_synSubscriptionId, &m_synAckSubscriptionId, &m_ackSubscriptionId, &m_partnerWatchId}) {
        if (*id != 0) {
            g_bus_unwatch_name(std::exchange(*id, 0));
        }
    }
    g_clear_object(&m_partnerProxy);
    if (m_signalSubscriptionId != 0) {
        g_dbus_connection_signal_unsubscribe(m_connection,
                                             std::exchange(m_signalSubscriptionId, 0));
    }
    g_clear_pointer(&m_nodeInfo, g_dbus_node_info_unref);
    // Meant: the object stays registered; a call to it is answered with UnknownObject.
    g_clear_object(&m_connection);
}
