// The reference for start-up and idling: a client of bare GDBus that does the same handshake with
// the same messages, reports its readiness, then idles until the driver kills it. It uses nothing
// of the C++ library, and one of its two builds does not load the C++ library.
#include <gio/gio.h>

#include "Names.h"
#include "Ready.h"

namespace {

struct Client {
    long long begin;
    GDBusConnection* connection;
    GDBusProxy* proxy;
};

#define OWN_NAME(suffix) "org.morva.JavaMW.Applist_CLIENT" suffix
#define PARTNER_NAME(suffix) "org.morva.JavaMW.Applist_SERVICE" suffix

void CallBus(const Client& client, const char* method, GVariant* parameters) {
    GVariant* reply = g_dbus_connection_call_sync(
        client.connection, Names::BUS, Names::BUS_PATH, Names::BUS, method, parameters,
        G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    g_clear_pointer(&reply, g_variant_unref);
}

void Announce(const Client& client, const char* name) {
    CallBus(client, "RequestName", g_variant_new("(su)", name, 4U));
    CallBus(client, "ReleaseName", g_variant_new("(s)", name));
}

void OnCall(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant*,
            GDBusMethodInvocation* invocation, void*) {
    g_dbus_method_invocation_return_value(
        invocation,
        g_variant_new("(@ay)", g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, nullptr, 0, 1)));
}

void OnSignal(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant*,
              void*) {}

void OnVanished(GDBusConnection*, const char*, void*) {}

void OnOtherStep(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant*,
                 void*) {}

// The partner, which runs already, answers the SYN with a SYN_ACK: bind, acknowledge, ready.
void OnPartnerSynAck(GDBusConnection*, const char*, const char*, const char*, const char*,
                     GVariant* parameters, void* userData) {
    auto& client = *static_cast<Client*>(userData);
    const char* name = nullptr;
    const char* partner = nullptr;
    const char* newOwner = nullptr;
    g_variant_get(parameters, "(&s&s&s)", &name, &partner, &newOwner);
    if (*newOwner != '\0' || client.proxy != nullptr) {
        return;
    }
    g_bus_watch_name_on_connection(client.connection, partner, G_BUS_NAME_WATCHER_FLAGS_NONE,
                                   nullptr, OnVanished, nullptr, nullptr);
    client.proxy =
        g_dbus_proxy_new_sync(client.connection, G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES, nullptr,
                              partner, Names::LIST_PATH, Names::INTERFACE, nullptr, nullptr);
    g_dbus_connection_signal_subscribe(client.connection, partner, Names::INTERFACE, nullptr,
                                       Names::LIST_PATH, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                                       OnSignal, nullptr, nullptr);
    Announce(client, OWN_NAME("_ACK"));
    const long long took = Ready::Now() - client.begin;
    Ready::Print(took, g_dbus_connection_get_unique_name(client.connection));
}

void Subscribe(Client& client, const char* name, GDBusSignalCallback callback) {
    g_dbus_connection_signal_subscribe(client.connection, Names::BUS, Names::BUS,
                                       "NameOwnerChanged", Names::BUS_PATH, name,
                                       G_DBUS_SIGNAL_FLAGS_NONE, callback, &client, nullptr);
}

} // namespace

int main() {
    static const GDBusInterfaceVTable vtable = {OnCall, nullptr, nullptr, {nullptr}};
    Client client = {Ready::Now(), nullptr, nullptr};
    GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(Names::XML, nullptr);
    client.connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    if (client.connection == nullptr) {
        return 1;
    }
    g_dbus_connection_register_object(client.connection, Names::LIST_PATH, node->interfaces[0],
                                      &vtable, &client, nullptr, nullptr);
    Subscribe(client, PARTNER_NAME("_SYN"), OnOtherStep);
    Subscribe(client, PARTNER_NAME("_SYN_ACK"), OnPartnerSynAck);
    Subscribe(client, PARTNER_NAME("_ACK"), OnOtherStep);
    Announce(client, OWN_NAME("_SYN"));
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
}
