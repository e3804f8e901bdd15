// An endpoint in the order of its life: it joins the bus, performs the handshake, resends failed
// answers, carries messages and notifications, and leaves. All its log lines name this file.
#include <ipc/javamw-dbus-remote.h>

#include <exception>
#include <utility>

#include <unistd.h>

#include <common/CancellationOff.h>
#include <common/Log.h>
#include <common/PTAutoLock.h>
#include <common/StandardOutput.h>
#include <ipc/ByteArray.h>
#include <ipc/HandshakeNames.h>
#include <ipc/LiveEndpoints.h>
#include <ipc/UncopiedBody.h>

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

// Calls a method of the bus daemon whose argument is a name and whose reply is a code.
GVariant* CallBus(GDBusConnection* connection, const char* method, GVariant* parameters,
                  GError** error) {
    return g_dbus_connection_call_sync(connection, BUS_NAME, BUS_PATH, BUS_INTERFACE, method,
                                       parameters, G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE,
                                       DEFAULT_TIMEOUT, nullptr, error);
}

// Releases @p name after a RequestName that ended with @p error, without waiting. Only an error
// that the bus returned means that the name is not owned. After a time-out the bus may grant the
// name later; this connection would then own the name for ever, and the reply to each later
// RequestName would be 4. The bus handles the two calls in their order, so the release comes after
// the grant.
void ReleaseUnansweredName(GDBusConnection* connection, const char* name, const GError* error) {
    if (error == nullptr || g_dbus_error_is_remote_error(error) == FALSE) {
        g_dbus_connection_call(connection, BUS_NAME, BUS_PATH, BUS_INTERFACE, "ReleaseName",
                               g_variant_new("(s)", name), nullptr, G_DBUS_CALL_FLAGS_NONE,
                               DEFAULT_TIMEOUT, nullptr, nullptr, nullptr);
    }
}

// Catches the exceptions of a handler, and those for lack of memory: the callers, GLib and the
// thread library, are C. @return whether @p work ended without one
template <class Work>
bool CatchExceptions(const char* function, Work work) noexcept {
    const CancellationOff untilReturned;
    try {
        work();
        return true;
    } catch (const std::exception& exception) {
        APPLIST_LOG_ERROR("Exception in %s: %s", function, exception.what());
    } catch (...) {
        APPLIST_LOG_ERROR("Exception in %s", function);
    }
    return false;
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
    const CancellationOff untilStarted;
    APPLIST_LOG_DEBUG("Constructor");
    m_nodeInfo = g_dbus_node_info_new_for_xml(INTERFACE_XML, nullptr);
    APPLIST_LOG_DEBUG("XML parsed");
    m_objectPath = HandshakeNames::ObjectPath(m_id);
    const bool connected = Connect();
    // From now on callbacks may run on another thread; they see all fields that were set before.
    m_registration->Begin();
    if (connected) {
        // No exception may undo the construction now: the resend thread may use the endpoint.
        CatchExceptions(__func__, [this] {
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
    // Only from the initial state: where the loop runs on another thread, a callback may already
    // have changed it.
    int initialState = HANDSHAKE_NONE;
    m_state.compare_exchange_strong(initialState, HANDSHAKE_SYN_SENT);
    std::string synName = HandshakeNames::EndpointName(m_id, JAVAMW_DBUS_SYN_SUFFIX);
    // Announced once and never repeated: a partner that misses it announces itself at its start.
    BroadcastName(synName);
}

bool JavaMWDbusRemote::BroadcastName(std::string& name) {
    const CancellationOff untilAnswered;
    APPLIST_LOG_DEBUG("BroadcastName %s Public unique name %s", name.c_str(), m_uniqueName.c_str());
    if (m_connection == nullptr || g_utf8_validate(name.c_str(), -1, nullptr) == FALSE) {
        // GDBus would refuse these with a warning instead of an error.
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
    // Deliberate: this error is neither read nor freed. The line below is the only trace of a
    // failed release, and each failure leaks one GError.
    GError* unreadError = nullptr;
    g_autoptr(GVariant) releaseReply =
        CallBus(m_connection, "ReleaseName", g_variant_new("(s)", name.c_str()), &unreadError);
    if (releaseReply == nullptr) {
        APPLIST_LOG_ERROR("Release failed due to empty response.");
        return false;
    }
    return true;
}

bool JavaMWDbusRemote::IsConnectionReady() {
    return m_state == HANDSHAKE_CONNECTED;
}

// From a callback to its endpoint

// Every callback of GDBus comes through here. Refuses a null connection and an endpoint that is not
// alive, calls @p work with the endpoint and catches its exceptions. @p work returns false to
// refuse the call as well.
template <class Work>
JavaMWDbusRemote::CallbackResult JavaMWDbusRemote::RunCallback(const char* callback,
                                                               GDBusConnection* connection,
                                                               void* user_data, Work work) {
    bool accepted = connection != nullptr && LiveEndpoints::Contains(user_data);
    if (accepted && !CatchExceptions(callback, [&] {
            accepted = work(static_cast<JavaMWDbusRemote*>(user_data));
        })) {
        return CallbackResult::FAILED;
    }
    if (!accepted) {
        APPLIST_LOG_ERROR("Empty user_data or connection not valid.");
        return CallbackResult::REFUSED;
    }
    return CallbackResult::DONE;
}

// Calls @p member with the locks of the handshake, after the callback or pass under way. The
// endpoint stays alive meanwhile. @return false when it is not alive
template <class Member, class... Arguments>
bool JavaMWDbusRemote::RunLocked(JavaMWDbusRemote* endpoint, Member member,
                                 Arguments&&... arguments) {
    const std::shared_ptr<EndpointControl> control = LiveEndpoints::Find(endpoint);
    if (control == nullptr) {
        return false;
    }
    const PTAutoLock callbackLock(control->callbackMutex);
    if (control->ended) {
        return false;
    }
    const PTAutoLock lock(endpoint->m_mutex);
    (endpoint->*member)(std::forward<Arguments>(arguments)...);
    return true;
}

// The handlers of the host, or the default ones while a derived class is under construction.
template <class Handler, class DefaultHandler>
auto JavaMWDbusRemote::CallHandler(Handler handler, DefaultHandler defaultHandler)
    -> decltype(handler()) {
    return m_registration->HandlersReady() ? handler() : defaultHandler();
}

// The handshake

void JavaMWDbusRemote::cb_SynNameOwnerChanged(GDBusConnection* connection, const char* /*sender*/,
                                              const char* /*object_path*/,
                                              const char* /*interface_name*/,
                                              const char* /*signal_name*/, GVariant* parameters,
                                              void* user_data) {
    APPLIST_LOG_DEBUG("cb_SynNameOwnerChanged called");
    DispatchHandshakeStep(
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
    DispatchHandshakeStep(connection, parameters, user_data,
                          {"cb_SynAckNameOwnerChanged", JAVAMW_DBUS_SYNACK_SUFFIX,
                           &JavaMWDbusRemote::OnPartnerSynAck});
}

void JavaMWDbusRemote::cb_AckNameOwnerChanged(GDBusConnection* connection, const char* /*sender*/,
                                              const char* /*object_path*/,
                                              const char* /*interface_name*/,
                                              const char* /*signal_name*/, GVariant* parameters,
                                              void* user_data) {
    APPLIST_LOG_DEBUG("cb_AckNameOwnerChanged called");
    DispatchHandshakeStep(
        connection, parameters, user_data,
        {"cb_AckNameOwnerChanged", JAVAMW_DBUS_ACK_SUFFIX, &JavaMWDbusRemote::OnPartnerAck});
}

void JavaMWDbusRemote::DispatchHandshakeStep(GDBusConnection* connection, GVariant* parameters,
                                             void* user_data, const HandshakeStep& step) {
    RunCallback(step.callback, connection, user_data, [&](JavaMWDbusRemote* endpoint) {
        return RunLocked(endpoint, &JavaMWDbusRemote::HandleHandshakeStep, connection, parameters,
                         step);
    });
}

// Reads the announcer from a NameOwnerChanged signal and passes it to the handler of the step.
void JavaMWDbusRemote::HandleHandshakeStep(GDBusConnection* connection, GVariant* parameters,
                                           const HandshakeStep& step) {
    if (connection != m_connection) {
        // Subscribed by a destroyed endpoint that had the same address.
        APPLIST_LOG_ERROR("Empty user_data or connection not valid.");
        return;
    }
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sss)"))) {
        APPLIST_LOG_ERROR("%s with parameters of type %s", step.callback,
                          g_variant_get_type_string(parameters));
        return;
    }
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    g_variant_get(parameters, "(&s&s&s)", &name, &oldOwner, &newOwner);
    APPLIST_LOG_DEBUG("%s %s %s from '%s' => '%s' ", step.callback, name, m_uniqueName.c_str(),
                      oldOwner, newOwner);
    // A destroyed endpoint that had the same address may have subscribed to another name.
    const bool isWatched = HandshakeNames::PartnerName(m_id, step.suffix) == name;
    // The release of the name is the announcement; the acquisition has no meaning.
    const bool isRelease = *newOwner == '\0';
    if (isWatched && isRelease && m_uniqueName != oldOwner) {
        (this->*step.handler)(oldOwner);
    }
}

// The partner has started: bind to it and request its acknowledgement.
void JavaMWDbusRemote::OnPartnerSyn(const std::string& partner) {
    if (Bind(partner) && AnnounceAnswer(JAVAMW_DBUS_SYNACK_SUFFIX)) {
        m_state = HANDSHAKE_SYN_ACK_SENT;
    }
}

// The partner has bound to this endpoint in answer to _CLIENT_SYN: bind to it and become ready.
void JavaMWDbusRemote::OnPartnerSynAck(const std::string& partner) {
    if (Bind(partner) && AnnounceAnswer(JAVAMW_DBUS_ACK_SUFFIX)) {
        m_state = HANDSHAKE_CONNECTED;
        ReportConnectionReady(true, partner);
    }
}

// The partner has acknowledged _CLIENT_SYN_ACK. Deliberate: the announcer is not compared with the
// bound partner, so any connection that may own the name can make the endpoint ready. The bus
// policy prevents it.
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
    RunCallback(__func__, connection, user_data, [&](JavaMWDbusRemote* endpoint) {
        return RunLocked(endpoint, &JavaMWDbusRemote::OnPartnerVanished, name);
    });
}

void JavaMWDbusRemote::OnPartnerVanished(const std::string& partner) {
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
            // Deliberate: one partner at a time. A second SYN or SYN_ACK is dropped without a log
            // line, even that of a restarted partner whose old name has not vanished yet.
            return false;
        }
    }
    if (g_dbus_is_name(partner.c_str()) == FALSE) {
        // No bus daemon sends such a name, and GDBus would only warn.
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
    // A sender that waits for the partner's reply holds its own reference.
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
        return; // the destructor waits for this callback or pass
    }
    CatchExceptions("HandleConnectionReady", [&] {
        CallHandler([&] { HandleConnectionReady(ready, partner); },
                    [&] { JavaMWDbusRemote::HandleConnectionReady(ready, partner); });
    });
    if (ChannelObserver* const observer = m_registration->Observer()) {
        observer->OnConnection(ready);
    }
}

// Announcing an answer until the bus accepts it

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
        // That thread has released m_mutex for the last time, so it ends soon.
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

    // The endpoint still exists: its destructor joins this thread.
    auto* const endpoint = static_cast<JavaMWDbusRemote*>(arg);
    const PTAutoLock lock(endpoint->m_mutex);
    endpoint->m_resendThread = 0;
    return nullptr;
}

int JavaMWDbusRemote::OnResendHandshake(void* arg) {
    APPLIST_LOG_DEBUG("Executed OnResendHandshake function");
    auto* const endpoint = static_cast<JavaMWDbusRemote*>(arg);
    int entriesRemain = 1; // the table is unchanged when an exception ends the pass
    bool isAlive = true;
    CatchExceptions(__func__, [&] {
        isAlive = RunLocked(endpoint, &JavaMWDbusRemote::ResendPass, entriesRemain);
    });
    if (isAlive) {
        return entriesRemain;
    }
    // The destructor discards the table.
    APPLIST_LOG_DEBUG("Number of handshakes to resend: %d", 0);
    APPLIST_LOG_DEBUG("Nothing left to resend, closing timer");
    return 0;
}

void JavaMWDbusRemote::ResendPass(int& entriesRemain) {
    APPLIST_LOG_DEBUG("Number of handshakes to resend: %d", static_cast<int>(m_resendNames.size()));
    std::map<std::string, std::string> kept;
    for (const auto& [partner, suffix] : m_resendNames) {
        if (!Resend(partner, suffix)) {
            kept[partner] = suffix;
        }
    }
    m_resendNames.swap(kept);
    entriesRemain = m_resendNames.empty() ? 0 : 1;
    if (entriesRemain == 0) {
        APPLIST_LOG_DEBUG("Nothing left to resend, closing timer");
    }
}

// @return whether the answer to @p partner is no longer pending
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
    if (isAck) {
        m_state = HANDSHAKE_CONNECTED;
        ReportConnectionReady(true, currentPartner);
    } else {
        // Deliberate, also when the connection is ready: a late answer changes the state from 3 to
        // 2, and the partner's _SERVICE_ACK changes it to 3 again.
        m_state = HANDSHAKE_SYN_ACK_SENT;
    }
    return true;
}

// Messages and notifications

std::vector<char> JavaMWDbusRemote::SendMessage(std::vector<char>& data) {
    const CancellationOff untilAnswered;
    g_autoptr(GError) error = nullptr;
    ObservedRequest request(m_registration->Observer());
    if (!IsConnectionReady()) {
        StandardOutput::WriteLine("Connection not set.");
        return {};
    }
    g_autoptr(GDBusProxy) proxy = nullptr;
    {
        // An own reference: the loss of the partner may release its proxy at any moment.
        const PTAutoLock lock(m_partnerMutex);
        g_set_object(&proxy, m_partnerProxy);
    }
    if (proxy == nullptr) {
        StandardOutput::WriteLine("Proxy not ready");
        return {};
    }
    APPLIST_LOG_DEBUG("Sending sync message with %d bytes", static_cast<int>(data.size()));
    GVariant* reply = nullptr;
    {
        const UncopiedBody message(data);
        reply = g_dbus_proxy_call_sync(proxy, JAVAMW_DBUS_OBJ_METHOD, message.Get(),
                                       G_DBUS_CALL_FLAGS_NONE, DEFAULT_TIMEOUT, nullptr, &error);
    }
    if (error != nullptr) {
        APPLIST_LOG_ERROR("Error while sending message [%d] %s", error->code, error->message);
        request.Fail(error->message);
        return {};
    }
    request.Answer();
    if (reply == nullptr) {
        return {};
    }
    std::vector<char> bytes;
    if (!ByteArray::FromVariant(reply, bytes)) {
        APPLIST_LOG_ERROR("Reply of type %s dropped", g_variant_get_type_string(reply));
        g_variant_unref(reply);
        request.Fail("the reply has another type than \"(ay)\"");
        return {};
    }
    APPLIST_LOG_DEBUG("Reply with %d bytes", static_cast<int>(bytes.size()));
    // Deliberate: the reply is not released, and costs some 240 bytes plus its content per request.
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
    const CancellationOff untilEmitted;
    // When the partner is lost, its name is cleared before the state changes.
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
    const CallbackResult result =
        RunCallback(__func__, connection, user_data, [&](JavaMWDbusRemote* endpoint) {
            endpoint->DispatchMessage(object_path, parameters, invocation);
            return true;
        });
    if (result == CallbackResult::FAILED) {
        g_dbus_method_invocation_return_dbus_error(invocation, "org.freedesktop.DBus.Error.Failed",
                                                   "The message could not be handled");
    } else if (result == CallbackResult::REFUSED && connection != nullptr && user_data != nullptr) {
        // The object outlives its endpoint, and the partner must not wait for a reply.
        g_dbus_method_invocation_return_dbus_error(
            invocation, "org.freedesktop.DBus.Error.UnknownObject", "The endpoint is gone");
    }
}

void JavaMWDbusRemote::DispatchMessage(const char* objectPath, GVariant* parameters,
                                       GDBusMethodInvocation* invocation) {
    if (m_objectPath != objectPath) {
        // Deliberate: no reply. GDBus delivers calls of a registered path only. Another path was
        // registered by a destroyed endpoint that had the same address.
        return;
    }
    std::vector<char> data;
    std::vector<char> reply;
    if (ByteArray::FromVariant(parameters, data)) {
        reply = CallHandler([&] { return HandleMessage(data); },
                            [&] { return JavaMWDbusRemote::HandleMessage(data); });
    } else {
        APPLIST_LOG_ERROR("Message of type %s dropped", g_variant_get_type_string(parameters));
    }
    g_dbus_method_invocation_return_value(invocation, ByteArray::ToVariant(reply));
}

void JavaMWDbusRemote::cb_SignalCall(GDBusConnection* connection, const char* sender,
                                     const char* object_path, const char* interface_name,
                                     const char* signal_name, GVariant* parameters,
                                     void* user_data) {
    APPLIST_LOG_DEBUG("cb_SignalCall sender=%s obj_path=%s iface_name=%s signal_name=%s", sender,
                      object_path, interface_name, signal_name);
    RunCallback(__func__, connection, user_data, [&](JavaMWDbusRemote* endpoint) {
        endpoint->DispatchNotification(object_path, parameters);
        return true;
    });
}

void JavaMWDbusRemote::DispatchNotification(const char* objectPath, GVariant* parameters) {
    if (m_objectPath != objectPath) {
        return;
    }
    std::vector<char> data;
    if (!ByteArray::FromVariant(parameters, data)) {
        APPLIST_LOG_ERROR("Notification of type %s dropped", g_variant_get_type_string(parameters));
        return;
    }
    const ObservedNotification observed(m_registration->Observer());
    CallHandler([&] { HandleNotification(data); },
                [&] { JavaMWDbusRemote::HandleNotification(data); });
}

// Default handlers

std::vector<char> JavaMWDbusRemote::HandleMessage(std::vector<char>& data) {
    const std::string text(data.begin(), data.end());
    APPLIST_LOG_DEBUG("Default handler - HandleMessage = %s", text.c_str());
    StandardOutput::WriteLine(text);
    const std::string reply = "Default handler from : " + m_uniqueName;
    return {reply.begin(), reply.end()};
}

void JavaMWDbusRemote::HandleNotification(std::vector<char>& data) {
    const std::string text(data.begin(), data.end());
    APPLIST_LOG_DEBUG("Default handler - HandleNotification = %s", text.c_str());
    StandardOutput::WriteLine(text);
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
    m_state = HANDSHAKE_NONE; // the callback that was under way may have changed it
}

JavaMWDbusRemote::~JavaMWDbusRemote() {
    const CancellationOff untilReleased;
    // From now on no callback and no resend pass uses the endpoint, so that the code below needs no
    // lock. The resend thread finds that the endpoint is not alive, and ends.
    StopHandlers();
    m_resendNames.clear();
    if (m_threadToJoin != 0) {
        pthread_join(m_threadToJoin, nullptr);
    }
    if (m_ownerId != 0) {
        g_bus_unown_name(std::exchange(m_ownerId, 0));
    }
    // Deliberate: the three subscription ids also go to g_bus_unwatch_name, although they are
    // not ids of watches. GLib warns of an invalid id, or ends a watch of the host that has the
    // same id. The subscriptions stay on the connection, and LiveEndpoints refuses their
    // deliveries.
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
    // Deliberate: the object stays registered, and the reply to its calls is UnknownObject.
    g_clear_object(&m_connection);
}
