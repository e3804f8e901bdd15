// Preloaded into a host: its calls to the bus daemon end after half a second instead of 25, and it
// reports each call that does. LD_PRELOAD puts the function in front of GDBus's own.
#include <cstdio>

#include <dlfcn.h>
#include <gio/gio.h>

namespace {
constexpr int SHORT_TIMEOUT_MS = 500;
}

extern "C" GVariant* g_dbus_connection_call_sync(GDBusConnection* connection, const char* bus_name,
                                                 const char* object_path,
                                                 const char* interface_name,
                                                 const char* method_name, GVariant* parameters,
                                                 const GVariantType* reply_type,
                                                 GDBusCallFlags flags, int timeout_msec,
                                                 GCancellable* cancellable, GError** error) {
    static const auto call = reinterpret_cast<decltype(&g_dbus_connection_call_sync)>(
        dlsym(RTLD_NEXT, "g_dbus_connection_call_sync"));
    GError* ownError = nullptr;
    GVariant* const reply =
        call(connection, bus_name, object_path, interface_name, method_name, parameters, reply_type,
             flags, timeout_msec == -1 ? SHORT_TIMEOUT_MS : timeout_msec, cancellable, &ownError);
    if (g_error_matches(ownError, G_IO_ERROR, G_IO_ERROR_TIMED_OUT) != 0) {
        std::fprintf(stderr, "%s timed out\n", method_name);
    }
    if (ownError != nullptr) {
        g_propagate_error(error, ownError);
    }
    return reply;
}
