// One end of a private byte channel to a partner process over the D-Bus system bus.
#ifndef APPLIST_IPC_JAVAMW_DBUS_REMOTE_H
#define APPLIST_IPC_JAVAMW_DBUS_REMOTE_H

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gio/gio.h>
#include <pthread.h>

#include "../common/Export.h"
#include "../common/PTMutex.h"

struct EndpointControl;
class EndpointRegistration;

/**
 * A channel endpoint, which joins the system bus, publishes a communication object, finds its
 * partner through a three-step handshake, and carries byte messages in both directions.
 *
 * **Handshake.** A side announces a step by owning a bus name and releasing it at once. The other
 * side receives the NameOwnerChanged signal of the release, whose old owner is the announcer's
 * unique name. This endpoint announces names with "_CLIENT" and watches names with "_SERVICE".
 *
 * **Bytes.** Every message, reply and notification has the D-Bus type "(ay)". The endpoint does not
 * interpret the bytes. A bus disconnects a sender whose message exceeds its limit (32 MiB on
 * dbus-daemon by default).
 *
 * **Threads.** The library runs no main loop. GDBus delivers every callback through the main
 * context that is the thread-default one of the constructing thread
 * (g_main_context_get_thread_default(); the global default context when there is none). The host
 * must iterate that context: otherwise the endpoint never connects. A thread that iterates a
 * context other than the global default one must also push it with
 * g_main_context_push_thread_default(), because the subscriptions to the partner are made while
 * that thread runs a callback. The handlers run on the thread that iterates the context;
 * HandleConnectionReady may also run on the resend thread, which announces a failed answer again.
 * The send operations may be called from any thread.
 *
 * **Lifetime.** No thread may be inside an operation of the endpoint when its destructor starts. A
 * handler must not destroy its endpoint. The destructor waits for a handshake callback that another
 * thread runs, and later callbacks are refused. The destructor does not wait for a message or
 * notification handler on another thread. A host whose loop runs on another thread therefore
 * destroys the endpoint on that thread, or stops the loop first. A derived class that overrides
 * HandleConnectionReady calls StopHandlers first in its destructor, because the resend thread is
 * always another thread.
 *
 * **Failures** are logged and end the operation. The library's own code throws nothing except
 * std::bad_alloc.
 *
 * **Bus connection.** The endpoint holds one reference to the process's shared connection
 * (g_bus_get_sync()). The host controls the property GDBusConnection:exit-on-close. While
 * exit-on-close is on, the loss of the bus ends the process. While exit-on-close is off, the
 * endpoint does not report the loss: HandleConnectionReady is not called, and IsConnectionReady
 * keeps its value. Each send operation then fails with the logged error "The connection is closed".
 * A new endpoint fails in the same way as long as any part of the process holds the closed
 * connection.
 */
class APPLIST_API JavaMWDbusRemote {
public:
    /** The states of the handshake. */
    enum HandshakeState {
        HANDSHAKE_NONE = 0,         ///< no partner, or the bus could not be reached
        HANDSHAKE_SYN_SENT = 1,     ///< _CLIENT_SYN announced, waiting for a partner
        HANDSHAKE_SYN_ACK_SENT = 2, ///< bound by _SERVICE_SYN, waiting for _SERVICE_ACK
        HANDSHAKE_CONNECTED = 3     ///< complete
    };

    /** The introspection document of the communication object; it does not declare SendSignal. */
    static const char* const INTERFACE_XML;
    static const char* const LISTEN_PREFIX;             ///< in names that the partner announces
    static const char* const BROADCAST_PREFIX;          ///< in names that this side announces
    static const char* const JAVAMW_DBUS_ACK_SUFFIX;    ///< handshake step "ready"
    static const char* const JAVAMW_DBUS_SYNACK_SUFFIX; ///< handshake step "bound"
    static const char* const JAVAMW_DBUS_SYN_SUFFIX;    ///< handshake step "started"
    static const char* const JAVAMW_DBUS_SIG_NAME;      ///< the signal of a notification
    static const char* const JAVAMW_DBUS_OBJ_METHOD;    ///< the method of a message
    static const char* const JAVAMW_DBUS_OBJ_IFACE;     ///< the interface of both
    static const char* const JAVAMW_DBUS_OBJ_NAME;      ///< object path without the endpoint id
    static const char* const JAVAMW_DBUS_PREFIX;        ///< bus names without the endpoint id

    /**
     * Joins the system bus and announces the endpoint. Blocks for calls to the bus daemon, each of
     * which takes less than a millisecond on an idle daemon and at most 25 s on a stalled one. GIO
     * waits without a limit for the authentication of a new connection. Never fails outward: an
     * endpoint that cannot reach the bus logs the error, never becomes ready and refuses to send.
     *
     * @param id part of all bus names and of the object path; both sides use the same id. The id
     *        consists of letters, digits and '_', does not start with a digit, is not empty, and is
     *        short enough for bus names of at most 255 bytes. With another character or an empty
     *        id, GLib prints a warning, and the endpoint has no object. With a leading digit or a
     *        longer id, the bus refuses the names: the announcement fails with a logged error, and
     *        the endpoint never becomes ready.
     */
    explicit JavaMWDbusRemote(std::string id);

    /**
     * Leaves the partner and releases the connection. Waits for the handshake callback or the
     * attempt of the resend thread under way, including the announcement and HandleConnectionReady.
     * After that, waits at most half a second more for the end of the resend thread.
     *
     * The handshake subscriptions and the registered object stay on the bus connection as long as
     * another part of the process holds it. The library refuses their deliveries. The destructor
     * passes the subscription ids to g_bus_unwatch_name(): GLib prints warnings ("Invalid id ...
     * passed to g_bus_unwatch_name()"), or ends a name watch of the host that has the same id. Make
     * the host's own name watches before the endpoint, or keep the endpoint for the life of the
     * process.
     */
    virtual ~JavaMWDbusRemote();

    /**
     * Handles one message of the partner. Called on the thread that iterates the main context; the
     * partner waits for the return.
     *
     * @param data the message's bytes; valid and writable during the call
     * @return the reply's bytes; an empty vector becomes an empty array
     *
     * The default implementation logs the bytes, writes them and a line feed to standard output,
     * and returns "Default handler from : " followed by this connection's unique name. An exception
     * is logged, and the reply is the D-Bus error org.freedesktop.DBus.Error.Failed.
     */
    virtual std::vector<char> HandleMessage(std::vector<char>& data);

    /**
     * Handles one notification of the partner. Called on the thread that iterates the main context.
     *
     * @param data the notification's bytes; valid and writable during the call
     *
     * The default implementation logs the bytes and writes them and a line feed to standard output.
     * An exception is logged.
     */
    virtual void HandleNotification(std::vector<char>& data);

    /**
     * Reports that the partner became ready (true) or was lost (false).
     *
     * Called with the handshake mutex held, on the thread that iterates the main context or on the
     * resend thread. An override may send messages and notifications. An override must not destroy
     * the endpoint or wait for a handshake callback. A loss is reported before the partner's
     * objects are released: IsConnectionReady keeps its value during the report, and notifications
     * are refused. "Ready" may be reported more than once for one partner.
     *
     * @param ready true for ready, false for lost
     * @param partner the partner's unique bus name; valid during the call. For "ready" this name is
     *        that of the connection that announced the last step. Only the bus policy ensures that
     *        this connection is also the partner that receives the requests.
     *
     * The default implementation logs. An exception is logged.
     */
    virtual void HandleConnectionReady(bool ready, const std::string& partner);

    JavaMWDbusRemote(const JavaMWDbusRemote&) = delete;
    JavaMWDbusRemote& operator=(const JavaMWDbusRemote&) = delete;

    /**
     * @return whether the handshake is complete. Takes no lock. The value may be outdated on
     *         return, so that a send operation may still fail.
     */
    bool IsConnectionReady();

    /**
     * Announces @p name: owns it with RequestName (do not queue) and releases it at once. Blocks
     * for two round trips to the bus daemon, each at most GDBus's default time-out of 25 s. Takes
     * no lock; may be called from any thread.
     *
     * @param name a bus name of at most 255 bytes; neither changed nor kept
     * @return true when this connection became the primary owner and ReleaseName had a reply.
     *         Otherwise an error was logged: the error of the call, the reply code (3: another
     *         connection owns the name, 4: this connection owns it already; see RequestName of
     *         org.freedesktop.DBus), or the missing reply. After a RequestName without a reply, the
     *         name is released without waiting, because the bus may grant it later.
     */
    bool BroadcastName(std::string& name);

    /**
     * Sends @p data to the partner as a method call and waits for the reply, at most GDBus's
     * default time-out of 25 s. May be called from any thread. On the thread that iterates the main
     * context, the call delays all callbacks.
     *
     * @param data the request's bytes, which are sent without a further copy: no other thread may
     *        access the vector during the call. The vector holds the same bytes on return. If
     *        GDBus keeps the message longer than the call, the vector receives a copy of the bytes
     *        at another address. Without memory for this copy, the vector is empty on return.
     *
     * @return the reply's bytes; empty also on failure. Without a partner, the line
     *         "Connection not set." or "Proxy not ready" goes to standard output. A failed call and
     *         a reply of a type other than "(ay)" are logged as errors.
     *
     * The GVariant of a reply of type "(ay)" is never released: each such reply costs about 240
     * bytes plus the bytes of the reply.
     */
    std::vector<char> SendMessage(std::vector<char>& data);

    /**
     * Emits @p data as a signal to the partner alone and returns without waiting. May be called
     * from any thread. Failures are logged as errors: "Connection not set." without a partner,
     * "SignalSubscription not ready" while the endpoint releases the objects of a lost partner, or
     * the error of g_dbus_connection_emit_signal(). A signal that the bus policy drops is not
     * reported.
     *
     * GDBus queues signals without bound. Queued signals are lost when the process drops the
     * connection; g_dbus_connection_flush_sync() waits for them.
     *
     * @param data the notification's bytes, copied before the call returns
     */
    void SendNotification(std::vector<char>& data);

    /**
     * Emits @p data if @p partner is the current partner's unique name. Otherwise logs the error
     * "Attempt to send notification to not connected partner!" and sends nothing.
     */
    void SendNotification(std::vector<char>& data, const std::string& partner);

    /**
     * @name GDBus callbacks
     * Only GDBus calls these functions, on the thread that iterates the main context. All arguments
     * are borrowed for the call, except the invocation, which the reply consumes. The user data is
     * the endpoint. Null user data, a null connection and an endpoint that no longer exists are
     * refused with the logged error "Empty user_data or connection not valid.". No exception
     * leaves a callback.
     */
    /** @{ */
    /** A GDBusInterfaceMethodCallFunc: a message of any sender that the bus policy allows. */
    static void cb_MethodCall(GDBusConnection* connection, const char* sender,
                              const char* object_path, const char* interface_name,
                              const char* method_name, GVariant* parameters,
                              GDBusMethodInvocation* invocation, void* user_data);
    /** A GDBusSignalCallback: a signal of the partner. */
    static void cb_SignalCall(GDBusConnection* connection, const char* sender,
                              const char* object_path, const char* interface_name,
                              const char* signal_name, GVariant* parameters, void* user_data);
    /** A GDBusSignalCallback: the owner of the partner's SYN name has changed. */
    static void cb_SynNameOwnerChanged(GDBusConnection* connection, const char* sender,
                                       const char* object_path, const char* interface_name,
                                       const char* signal_name, GVariant* parameters,
                                       void* user_data);
    /** A GDBusSignalCallback: the owner of the partner's SYN_ACK name has changed. */
    static void cb_SynAckNameOwnerChanged(GDBusConnection* connection, const char* sender,
                                          const char* object_path, const char* interface_name,
                                          const char* signal_name, GVariant* parameters,
                                          void* user_data);
    /** A GDBusSignalCallback: the owner of the partner's ACK name has changed. */
    static void cb_AckNameOwnerChanged(GDBusConnection* connection, const char* sender,
                                       const char* object_path, const char* interface_name,
                                       const char* signal_name, GVariant* parameters,
                                       void* user_data);
    /**
     * A GBusNameVanishedCallback: @p name has left the bus. A null connection means that the bus
     * itself has ended. Such a call is refused as above, and is no loss of the partner.
     */
    static void cb_PartnerNameVanished(GDBusConnection* connection, const char* name,
                                       void* user_data);
    /** @} */

    /**
     * The resend thread of the endpoint @p arg: one pass every 500 ms until no answer is pending.
     * @return null
     */
    static void* TimerThread(void* arg);
    /**
     * One resend pass for the endpoint @p arg, with the handshake mutex held. No exception leaves
     * it.
     * @return 1 while answers are pending; otherwise 0, also for an endpoint that no longer exists
     */
    static int OnResendHandshake(void* arg);

protected:
    /** Selects the constructor for a derived class that calls StartHandlers itself. */
    struct HandlersLater {};

    /**
     * For a derived class that is constructed while the loop runs on another thread. Until the end
     * of its constructor calls StartHandlers, callbacks call the default handlers and do not touch
     * the incomplete object.
     *
     * @param id as for the public constructor
     */
    JavaMWDbusRemote(std::string id, HandlersLater);

    /** From now on callbacks call the handlers of the derived class. */
    void StartHandlers();

    /**
     * The first statement of a derived class's destructor. Waits for the handshake callback or
     * resend pass under way; later callbacks and passes do not reach the object. Must not be called
     * from a handler.
     */
    void StopHandlers();

private:
    friend struct EndpointControl; // for the order of the locks

    /** A step that the partner announces: its callback, its name's suffix, and its handler. */
    struct HandshakeStep {
        const char* callback;
        const char* suffix;
        void (JavaMWDbusRemote::*handler)(const std::string& partner);
    };

    enum class CallbackResult { DONE, REFUSED, FAILED };

    APPLIST_LOCAL JavaMWDbusRemote(std::string id, bool handlersReady);

    APPLIST_LOCAL bool Connect();
    APPLIST_LOCAL void RegisterObject();
    APPLIST_LOCAL void StartHandshake();

    template <class Work>
    APPLIST_LOCAL static CallbackResult
    RunCallback(const char* callback, GDBusConnection* connection, void* user_data, Work work);
    template <class Member, class... Arguments>
    APPLIST_LOCAL static bool RunLocked(JavaMWDbusRemote* endpoint, Member member,
                                        Arguments&&... arguments);
    template <class Handler, class DefaultHandler>
    APPLIST_LOCAL auto CallHandler(Handler handler, DefaultHandler defaultHandler)
        -> decltype(handler());

    APPLIST_LOCAL static void DispatchHandshakeStep(GDBusConnection* connection,
                                                    GVariant* parameters, void* user_data,
                                                    const HandshakeStep& step);
    APPLIST_LOCAL void HandleHandshakeStep(GDBusConnection* connection, GVariant* parameters,
                                           const HandshakeStep& step) APPLIST_REQUIRES(m_mutex);
    APPLIST_LOCAL void OnPartnerSyn(const std::string& partner) APPLIST_REQUIRES(m_mutex);
    APPLIST_LOCAL void OnPartnerSynAck(const std::string& partner) APPLIST_REQUIRES(m_mutex);
    APPLIST_LOCAL void OnPartnerAck(const std::string& partner) APPLIST_REQUIRES(m_mutex);
    APPLIST_LOCAL void OnPartnerVanished(const std::string& partner) APPLIST_REQUIRES(m_mutex);

    APPLIST_LOCAL bool Bind(const std::string& partner) APPLIST_REQUIRES(m_mutex);
    APPLIST_LOCAL bool IsBound() APPLIST_REQUIRES(m_mutex);
    APPLIST_LOCAL void Unbind() APPLIST_REQUIRES(m_mutex);
    APPLIST_LOCAL std::string PartnerId();

    APPLIST_LOCAL bool AnnounceAnswer(const std::string& suffix) APPLIST_REQUIRES(m_mutex);
    APPLIST_LOCAL void StartResendThread() APPLIST_REQUIRES(m_mutex);
    APPLIST_LOCAL void ResendPass(int& entriesRemain) APPLIST_REQUIRES(m_mutex);
    APPLIST_LOCAL bool Resend(const std::string& partner, const std::string& suffix)
        APPLIST_REQUIRES(m_mutex);

    APPLIST_LOCAL void EmitNotification(const std::vector<char>& data, const std::string& partner);
    APPLIST_LOCAL bool HasSignalSubscription();

    APPLIST_LOCAL void DispatchMessage(const char* objectPath, GVariant* parameters,
                                       GDBusMethodInvocation* invocation);
    APPLIST_LOCAL void DispatchNotification(const char* objectPath, GVariant* parameters);
    APPLIST_LOCAL void ReportConnectionReady(bool ready, const std::string& partner)
        APPLIST_REQUIRES(m_mutex);

    APPLIST_LOCAL static const GDBusInterfaceVTable m_vtable;

    std::string m_id;
    std::string m_uniqueName;
    std::string m_partnerId APPLIST_GUARDED_BY(m_partnerMutex);
    std::string m_objectPath;
    GDBusNodeInfo* m_nodeInfo = nullptr;
    unsigned int m_ownerId = 0;
    unsigned int m_registrationId = 0;
    unsigned int m_synSubscriptionId = 0;
    unsigned int m_synAckSubscriptionId = 0;
    unsigned int m_ackSubscriptionId = 0;
    unsigned int m_partnerWatchId APPLIST_GUARDED_BY(m_mutex) = 0;
    GDBusProxy* m_partnerProxy APPLIST_GUARDED_BY(m_partnerMutex) = nullptr;
    unsigned int m_signalSubscriptionId APPLIST_GUARDED_BY(m_partnerMutex) = 0;
    std::atomic<int> m_state;
    GDBusConnection* m_connection = nullptr;
    PTMutex m_mutex;
    pthread_t m_resendThread APPLIST_GUARDED_BY(m_mutex) = 0;
    std::map<std::string, std::string> m_resendNames APPLIST_GUARDED_BY(m_mutex);

    // Senders must not wait for m_mutex, which is held across bus calls and handlers. Senders copy
    // the partner's fields under this mutex, which is held for nothing else.
    PTMutex m_partnerMutex APPLIST_ACQUIRED_AFTER(m_mutex);
    // The last resend thread, until it has been joined. m_resendThread is zero as soon as that
    // thread is about to end.
    pthread_t m_threadToJoin APPLIST_GUARDED_BY(m_mutex) = 0;
    // Declared last: it ends before any other member is destroyed.
    std::unique_ptr<EndpointRegistration> m_registration;
};

#endif
