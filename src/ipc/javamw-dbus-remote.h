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

class EndpointRegistration;

/**
 * A channel endpoint: it joins the system bus, publishes a communication object, finds its partner
 * through a three-step handshake, and then carries byte messages both ways.
 *
 * **The handshake.** Neither side keeps a well-known bus name. To announce a step, a side owns a
 * name for one round trip; the other side sees the NameOwnerChanged signal of its release, whose
 * old owner is the announcer's unique name (D-Bus protocol: the message bus's RequestName,
 * ReleaseName and NameOwnerChanged; a unique name is never given to another connection). This
 * endpoint announces names with "_CLIENT" and watches names with "_SERVICE":
 *
 *     partner runs already: we _CLIENT_SYN, it _SERVICE_SYN_ACK, we _CLIENT_ACK: connected
 *     partner comes later:  it _SERVICE_SYN, we _CLIENT_SYN_ACK, it _SERVICE_ACK: connected
 *
 * **Bytes on the bus.** Every message, reply and notification is the D-Bus type "(ay)", one array
 * element per vector element. The bytes are opaque here. A message above the bus's limit (32 MiB on
 * dbus-daemon by default) makes the bus cut off its sender.
 *
 * **Threads.** The library runs no main loop. GDBus delivers every callback through the main
 * context that is the thread-default one of the constructing thread
 * (g_main_context_get_thread_default(); the global default context when there is none), as
 * g_dbus_connection_signal_subscribe() and g_dbus_connection_register_object() promise. So the host
 * must iterate that context: without it the endpoint never connects. A context other than the
 * global default one must also be the thread-default one of the thread that iterates it
 * (g_main_context_push_thread_default(); g_main_loop_run() alone does not do this): what is set up
 * once the partner is found is delivered to that thread's default context. The handlers run on the
 * thread that iterates; HandleConnectionReady may also run on the endpoint's resend thread. The
 * send operations may be called from any thread.
 *
 * **Lifetime.** No thread may be inside an operation of the endpoint when its destructor starts,
 * and it must not be destroyed from inside its own handlers. The destructor waits for a handshake
 * callback under way in another thread, and no later one enters; it does not wait for an incoming
 * message or notification being handled there. A host whose loop runs in another thread therefore
 * destroys the endpoint on that thread, or stops the loop first. A derived class that overrides
 * HandleConnectionReady calls StopHandlers first in its destructor, wherever the loop runs: the
 * resend thread is always another one.
 *
 * **Failures** are logged and end the operation; the library itself throws nothing apart from
 * std::bad_alloc.
 *
 * **The bus connection** is the process's shared one (g_bus_get_sync()), of which the endpoint
 * holds one reference. It has the property GDBusConnection:exit-on-close, which is the host's to
 * set: as long as it is on, losing the bus ends the process. With it off, the loss is not told:
 * HandleConnectionReady is not called and IsConnectionReady stays as it was, but what is sent fails
 * with the logged error "The connection is closed", and so does a new endpoint's start as long as
 * anybody holds the closed connection.
 */
class APPLIST_API JavaMWDbusRemote {
public:
    /** How far the handshake has come. */
    enum HandshakeState {
        HANDSHAKE_NONE = 0,         ///< no partner, or the bus could not be reached
        HANDSHAKE_SYN_SENT = 1,     ///< announced ourselves, waiting for a partner
        HANDSHAKE_SYN_ACK_SENT = 2, ///< bound to a partner that came later, waiting for its ACK
        HANDSHAKE_CONNECTED = 3     ///< complete
    };

    /** The introspection document of the communication object; SendSignal is not declared in it. */
    static const char* const INTERFACE_XML;
    static const char* const LISTEN_PREFIX;             ///< in the names that the partner announces
    static const char* const BROADCAST_PREFIX;          ///< in the names that this side announces
    static const char* const JAVAMW_DBUS_ACK_SUFFIX;    ///< handshake step "ready"
    static const char* const JAVAMW_DBUS_SYNACK_SUFFIX; ///< handshake step "bound to you"
    static const char* const JAVAMW_DBUS_SYN_SUFFIX;    ///< handshake step "started"
    static const char* const JAVAMW_DBUS_SIG_NAME;      ///< the signal of a notification
    static const char* const JAVAMW_DBUS_OBJ_METHOD;    ///< the method of a message
    static const char* const JAVAMW_DBUS_OBJ_IFACE;     ///< the interface of both
    static const char* const JAVAMW_DBUS_OBJ_NAME;      ///< object path without the endpoint id
    static const char* const JAVAMW_DBUS_PREFIX;        ///< bus names without the endpoint id

    /**
     * Joins the system bus and announces the endpoint, with blocking round trips to the bus daemon:
     * an idle daemon takes less than a millisecond, a stalled one up to 25 s for each. Never fails
     * outward: an endpoint that could not reach the bus logs why, never
     * becomes ready and refuses to send.
     *
     * @param id part of all bus names and of the object path; both sides use the same one. Letters,
     *        digits and '_' only, not empty, no digit first, and short enough for bus names of at
     *        most 255 bytes. Another one leads to GLib warnings and an endpoint without an object.
     */
    explicit JavaMWDbusRemote(std::string id);

    /**
     * Leaves the partner and releases the connection. Waits for the handshake step under way, with
     * its announcement and its HandleConnectionReady, and for the resend thread, if there is one,
     * up to half a second more.
     *
     * The handshake subscriptions and the registered object stay on the bus connection for as long
     * as another part of the process holds it; what they deliver is refused. Releasing the
     * subscriptions prints GLib warnings ("Invalid id ... passed to g_bus_unwatch_name()") and ends
     * a name watch of the host that happens to have the same number: make the host's own name
     * watches before the endpoint, or keep the endpoint for the life of the process.
     */
    virtual ~JavaMWDbusRemote();

    /**
     * Answers one request of the partner. Called on the thread that iterates the main context; the
     * partner waits until it returns.
     *
     * @param data the request's bytes, valid and changeable during the call
     * @return the reply's bytes; an empty vector is answered with an empty array
     *
     * The default logs the bytes, writes them and a line feed to standard output, and returns
     * "Default handler from : " followed by this connection's unique name. An exception is logged
     * and answered with the D-Bus error org.freedesktop.DBus.Error.Failed.
     */
    virtual std::vector<char> HandleMessage(std::vector<char>& data);

    /**
     * Takes one notification of the partner. Called on the thread that iterates the main context.
     *
     * @param data the notification's bytes, valid and changeable during the call
     *
     * The default logs the bytes and writes them and a line feed to standard output. An exception
     * is logged.
     */
    virtual void HandleNotification(std::vector<char>& data);

    /**
     * Told that the partner became ready (true) or was lost (false).
     *
     * Called with the handshake's mutex held, on the thread that iterates the main context or on
     * the resend thread. It may send, but must not wait for anything that needs a handshake
     * callback to run, nor destroy the endpoint. After a loss it runs before the partner's objects
     * are released: IsConnectionReady is still true then, and notifications are refused. "Ready"
     * may be told more than once for one partner.
     *
     * @param ready true for ready, false for lost
     * @param partner the partner's unique bus name, valid during the call. For "ready" it is the
     *        one that announced the last step, which only the bus's policy keeps from being another
     *        than the partner that requests go to.
     *
     * The default logs. An exception is logged.
     */
    virtual void HandleConnectionReady(bool ready, const std::string& partner);

    JavaMWDbusRemote(const JavaMWDbusRemote&) = delete;
    JavaMWDbusRemote& operator=(const JavaMWDbusRemote&) = delete;

    /**
     * @return whether the handshake is complete. Takes no lock; may be outdated on return, so what
     *         is sent afterwards may fail all the same.
     */
    bool IsConnectionReady() const;

    /**
     * Announces @p name: owns it with RequestName (do not queue) and at once releases it. Two
     * blocking round trips to the bus daemon, each at most GDBus's default timeout of 25 s. Takes
     * no lock; may be called from any thread.
     *
     * @param name a bus name of at most 255 bytes; not changed and not kept
     * @return true when this connection became the primary owner and the release was answered.
     *         Otherwise an error was logged: the call's own error, the reply code (3: another
     *         connection owns the name, 4: this one owns it already; see RequestName of
     *         org.freedesktop.DBus), or the missing reply. A request that timed out is followed by
     *         a release that is not waited for, in case the bus grants the name later.
     */
    bool BroadcastName(std::string& name);

    /**
     * Sends @p data to the partner as a method call and waits for the reply, at most GDBus's
     * default timeout of 25 s. Call it from any thread; on the thread that iterates the main
     * context it stops all callbacks meanwhile.
     *
     * @param data the request's bytes, which are sent without another copy of them: no other thread
     *        may touch the vector during the call. It comes back with the same bytes, seldom at
     *        another address (when the message outlived the call, and then empty if there is no
     *        memory for a copy).
     *
     * @return the reply's bytes. Empty on failure too: without a partner the line
     *         "Connection not set." or "Proxy not ready" goes to standard output; a failed call and
     *         a reply of another type than "(ay)" are logged as errors.
     *
     * The reply's GVariant is kept for ever: each answered request costs some 240 bytes plus the
     * reply.
     */
    std::vector<char> SendMessage(std::vector<char>& data);

    /**
     * Emits @p data as a signal to the partner alone and returns without waiting. Failures are
     * logged as errors: "Connection not set." without a partner, "SignalSubscription not ready"
     * before the partner's signals are subscribed, or the error of
     * g_dbus_connection_emit_signal(). GDBus queues without bound, and what is still queued when
     * the process drops the connection is lost (g_dbus_connection_flush_sync() waits for it). A
     * signal that the bus's policy drops is not told. May be called from any thread.
     *
     * @param data the notification's bytes, copied before the call returns
     */
    void SendNotification(std::vector<char>& data);

    /**
     * The same, if @p partner is the current partner's unique name; otherwise logs the error
     * "Attempt to send notification to not connected partner!" and sends nothing.
     */
    void SendNotification(std::vector<char>& data, const std::string& partner);

    /**
     * @name GDBus callbacks
     * Called by GDBus on the thread that iterates the main context, and by nobody else. All that
     * they are given is borrowed for the call, but for the invocation, which the answer consumes.
     * The user data is the endpoint; one that is gone is refused like a null, with the logged error
     * "Empty user_data or connection not valid.". They let no exception out.
     */
    /** @{ */
    /** A GDBusInterfaceMethodCallFunc: a message of the partner, or of anybody the bus lets. */
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
     * A GBusNameVanishedCallback: @p name is on the bus no more. Without a connection it is the bus
     * that has gone, which is logged as above and is no loss of the partner.
     */
    static void cb_PartnerNameVanished(GDBusConnection* connection, const char* name,
                                       void* user_data);
    /** @} */

    /**
     * The resend thread of the endpoint @p arg: a pass every 500 ms until nothing is left.
     * @return null
     */
    static void* TimerThread(void* arg);
    /**
     * One resend pass for the endpoint @p arg, with the handshake's mutex held. Lets no exception
     * out. @return 1 while answers are left, otherwise 0, also for an endpoint that is gone.
     */
    static int OnResendHandshake(void* arg);

protected:
    /** Chosen by a derived class that calls StartHandlers itself. */
    struct HandlersLater {};

    /**
     * For a derived class whose objects are made while the loop runs in another thread: until it
     * calls StartHandlers at the end of its constructor, callbacks reach the default handlers and
     * leave the half-built object alone.
     *
     * @param id as for the public constructor
     */
    JavaMWDbusRemote(std::string id, HandlersLater);

    /** From here on callbacks reach the handlers of the derived class. */
    void StartHandlers();

    /**
     * For the destructor of a derived class, as its first act: waits for the handshake callback
     * or resend pass under way, and no later one reaches the object. Must not be called from
     * inside a handler.
     */
    void StopHandlers();

private:
    /** A step of the partner: who is told of it, its name's suffix, and what is to be done. */
    struct HandshakeStep {
        const char* callbackName;
        const char* suffix;
        void (JavaMWDbusRemote::*take)(const std::string& partner);
    };

    JavaMWDbusRemote(std::string id, bool handlersReady);

    bool Connect();
    void RegisterObject();
    void StartHandshake();
    static void DeliverHandshakeStep(GDBusConnection* connection, GVariant* parameters,
                                     void* user_data, const HandshakeStep& step);
    void TakeHandshakeStep(GVariant* parameters, const HandshakeStep& step);
    void OnPartnerSyn(const std::string& partner) APPLIST_REQUIRES(m_mutex);
    void OnPartnerSynAck(const std::string& partner) APPLIST_REQUIRES(m_mutex);
    void OnPartnerAck(const std::string& partner) APPLIST_REQUIRES(m_mutex);
    void OnPartnerVanished(const std::string& partner);

    bool Bind(const std::string& partner) APPLIST_REQUIRES(m_mutex);
    bool IsBound() APPLIST_REQUIRES(m_mutex);
    void Unbind() APPLIST_REQUIRES(m_mutex);
    std::string PartnerId();
    void ReportConnectionReady(bool ready, const std::string& partner) APPLIST_REQUIRES(m_mutex);

    bool AnnounceAnswer(const std::string& suffix) APPLIST_REQUIRES(m_mutex);
    void StartResendThread() APPLIST_REQUIRES(m_mutex);
    int ResendPass();
    bool Resend(const std::string& partner, const std::string& suffix) APPLIST_REQUIRES(m_mutex);

    void EmitNotification(const std::vector<char>& data, const std::string& partner);
    bool HasSignalSubscription();
    std::vector<char> AnswerMessage(GVariant* parameters);
    void TakeNotification(GVariant* parameters);

    static const GDBusInterfaceVTable m_vtable;

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

    // m_mutex is held across bus calls and handlers, so senders must not wait for it. They take a
    // reference or a copy of the partner's fields under this one, which is held for nothing else.
    PTMutex m_partnerMutex;
    // The last resend thread started, until it has been joined; m_resendThread is zero again when
    // that thread is about to end.
    pthread_t m_threadToJoin APPLIST_GUARDED_BY(m_mutex) = 0;
    // Declared last: it ends before any other member goes.
    std::unique_ptr<EndpointRegistration> m_registration;
};

#endif
