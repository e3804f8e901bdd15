// Preloaded into a client to count its blocking bus round trips: the synchronous GDBus calls in
// which the calling thread went to poll() for an answer (also if that had come in by then). Joining
// the bus is one. Only the run that counts has this; the runs that measure time do not.
#include <dlfcn.h>
#include <gio/gio.h>
#include <poll.h>

namespace {

thread_local int syncDepth = 0;
thread_local bool waited = false;
thread_local bool countsOnlyPatience = false;
unsigned roundTrips = 0;

// One synchronous call; nested ones belong to the outermost.
class SyncCall {
public:
    /** @param mayFinishAlone whether the call polls even without a request to the bus. */
    explicit SyncCall(bool mayFinishAlone = false) {
        if (syncDepth++ == 0) {
            waited = false;
            countsOnlyPatience = mayFinishAlone;
        }
    }
    ~SyncCall() {
        if (--syncDepth == 0 && waited) {
            ++roundTrips;
        }
    }
    SyncCall(const SyncCall&) = delete;
    SyncCall& operator=(const SyncCall&) = delete;
};

template <class Function>
Function* Next(Function* /*function*/, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

#define NEXT(function) Next(&(function), #function)

extern "C" {

unsigned applist_bench_round_trips() {
    return roundTrips;
}

int poll(struct pollfd* fds, nfds_t count, int timeout) {
    static auto* const next = NEXT(poll);
    if (syncDepth > 0 && (timeout != 0 || !countsOnlyPatience)) {
        waited = true;
    }
    return next(fds, count, timeout);
}

GDBusConnection* g_bus_get_sync(GBusType type, GCancellable* cancellable, GError** error) {
    static auto* const next = NEXT(g_bus_get_sync);
    const SyncCall call;
    return next(type, cancellable, error);
}

GVariant* g_dbus_connection_call_sync(GDBusConnection* connection, const char* name,
                                      const char* path, const char* interface, const char* method,
                                      GVariant* parameters, const GVariantType* type,
                                      GDBusCallFlags flags, int timeout, GCancellable* cancellable,
                                      GError** error) {
    static auto* const next = NEXT(g_dbus_connection_call_sync);
    const SyncCall call;
    return next(connection, name, path, interface, method, parameters, type, flags, timeout,
                cancellable, error);
}

GDBusMessage* g_dbus_connection_send_message_with_reply_sync(
    GDBusConnection* connection, GDBusMessage* message, GDBusSendMessageFlags flags, int timeout,
    volatile guint32* serial, GCancellable* cancellable, GError** error) {
    static auto* const next = NEXT(g_dbus_connection_send_message_with_reply_sync);
    const SyncCall call;
    return next(connection, message, flags, timeout, serial, cancellable, error);
}

gboolean g_dbus_connection_flush_sync(GDBusConnection* connection, GCancellable* cancellable,
                                      GError** error) {
    static auto* const next = NEXT(g_dbus_connection_flush_sync);
    const SyncCall call;
    return next(connection, cancellable, error);
}

GDBusProxy* g_dbus_proxy_new_sync(GDBusConnection* connection, GDBusProxyFlags flags,
                                  GDBusInterfaceInfo* info, const char* name, const char* path,
                                  const char* interface, GCancellable* cancellable,
                                  GError** error) {
    static auto* const next = NEXT(g_dbus_proxy_new_sync);
    const SyncCall call(true);
    return next(connection, flags, info, name, path, interface, cancellable, error);
}

GVariant* g_dbus_proxy_call_sync(GDBusProxy* proxy, const char* method, GVariant* parameters,
                                 GDBusCallFlags flags, int timeout, GCancellable* cancellable,
                                 GError** error) {
    static auto* const next = NEXT(g_dbus_proxy_call_sync);
    const SyncCall call;
    return next(proxy, method, parameters, flags, timeout, cancellable, error);
}

} // extern "C"
