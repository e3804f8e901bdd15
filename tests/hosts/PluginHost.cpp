// plugin-host PLUGIN held|released drained|queued: loads a plugin that creates and destroys a
// proxy, and unloads the plugin, with a queued handshake step of a partner.
//
// held:   the host holds the bus connection beyond the plugin
// queued: the queued messages for the proxy are dispatched after the unloading
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <gio/gio.h>

#include "BusDaemon.h"

namespace {

void Announce(GDBusConnection* partner) {
    const char* const name = "org.morva.JavaMW.Applist_SERVICE_SYN";
    if (BusDaemon::RequestName(partner, name) != 1 || !BusDaemon::ReleaseName(partner, name)) {
        std::fputs("plugin-host: the partner cannot announce itself\n", stderr);
        std::exit(2);
    }
}

void IterateUntilIdle() {
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

template <class Function>
Function* Symbol(void* plugin, const char* name) {
    void* const symbol = dlsym(plugin, name);
    if (symbol == nullptr) {
        std::fprintf(stderr, "plugin-host: no %s\n", name);
        std::exit(2);
    }
    return reinterpret_cast<Function*>(symbol);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("Usage: plugin-host PLUGIN held|released drained|queued\n", stderr);
        return 2;
    }
    const bool isHeld = std::strcmp(argv[2], "held") == 0;
    const bool isDrained = std::strcmp(argv[3], "drained") == 0;

    void* const plugin = dlopen(argv[1], RTLD_NOW);
    if (plugin == nullptr) {
        std::fprintf(stderr, "plugin-host: %s\n", dlerror());
        return 2;
    }
    void* const proxy = Symbol<void*()>(plugin, "MakeProxy")();

    g_autoptr(GDBusConnection) partner = g_dbus_connection_new_for_address_sync(
        g_getenv("DBUS_SYSTEM_BUS_ADDRESS"),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
    Announce(partner);
    g_autoptr(GDBusConnection) shared = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    BusDaemon::Ping(shared);
    if (!isHeld) {
        g_clear_object(&shared);
    }
    Symbol<void(void*)>(plugin, "DestroyProxy")(proxy);
    if (isDrained) {
        IterateUntilIdle();
    }
    dlclose(plugin);

    Announce(partner);
    if (isHeld) {
        BusDaemon::Ping(shared);
    }
    IterateUntilIdle();
    std::puts("plugin-host: unloaded");
    return 0;
}
