#include "Partner.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <unistd.h>

namespace {

constexpr const char* XML =
    "<node><interface name='org.morva.javamw.DbusCommunication'><method name='Send'>"
    "<arg type='ay' name='data' direction='in'/><arg type='ay' name='response' direction='out'/>"
    "</method></interface></node>";
constexpr const char* INTERFACE = "org.morva.javamw.DbusCommunication";
constexpr const char* BUS = "org.freedesktop.DBus";
constexpr const char* BUS_PATH = "/org/freedesktop/DBus";
constexpr guint32 DO_NOT_QUEUE = 4;
constexpr int NUMBER = 77; ///< the message id behind a number of a burst

GVariant* Body(const std::string& bytes) {
    return g_variant_new(
        "(@ay)", g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes.data(), bytes.size(), 1));
}

std::string BytesOf(GVariant* body) {
    g_autoptr(GVariant) array = g_variant_get_child_value(body, 0);
    gsize size = 0;
    const auto* bytes = static_cast<const char*>(g_variant_get_fixed_array(array, &size, 1));
    return {bytes, size};
}

std::string Number(unsigned number) {
    return Records::Frame("", static_cast<int>(number));
}

} // namespace

void applist_test::Say(const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

Partner::Partner(Options options)
    : m_options(std::move(options)),
      m_baseName("org.morva.JavaMW." + m_options.id),
      m_path("/org/morva/javamw/CommunicationChannel/" + m_options.id) {
    Connect();
    Say("name " + m_name);
    Announce("_SYN");
    DieAt("syn-announced");
    if (m_options.retryMs != 0) {
        g_timeout_add(m_options.retryMs, OnRetry, this);
    }
}

void Partner::Connect() {
    static const GDBusInterfaceVTable vtable = {OnCall, nullptr, nullptr, {nullptr}};
    g_autoptr(GError) error = nullptr;
    m_connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &error);
    if (m_connection == nullptr) {
        std::fprintf(stderr, "partner: no bus: %s\n", error->message);
        std::exit(1);
    }
    m_name = g_dbus_connection_get_unique_name(m_connection);
    g_autoptr(GDBusNodeInfo) node = g_dbus_node_info_new_for_xml(XML, nullptr);
    g_dbus_connection_register_object(m_connection, m_path.c_str(), node->interfaces[0], &vtable,
                                      this, nullptr, nullptr);
    for (const char* step : {"_CLIENT_SYN", "_CLIENT_SYN_ACK", "_CLIENT_ACK"}) {
        g_dbus_connection_signal_subscribe(m_connection, BUS, BUS, "NameOwnerChanged", BUS_PATH,
                                           (m_baseName + step).c_str(), G_DBUS_SIGNAL_FLAGS_NONE,
                                           OnAnnouncement, this, nullptr);
    }
    g_dbus_connection_signal_subscribe(m_connection, nullptr, INTERFACE, "SendSignal",
                                       m_path.c_str(), nullptr, G_DBUS_SIGNAL_FLAGS_NONE, OnSignal,
                                       this, nullptr);
}

Partner::~Partner() {
    g_dbus_connection_close_sync(m_connection, nullptr, nullptr);
    g_object_unref(m_connection);
}

GVariant* Partner::CallBus(const char* method, GVariant* parameters) {
    return g_dbus_connection_call_sync(m_connection, BUS, BUS_PATH, BUS, method, parameters,
                                       nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
}

void Partner::Announce(const std::string& step) {
    const std::string name = m_baseName + "_SERVICE" + step;
    [[maybe_unused]] g_autoptr(GVariant) requested =
        CallBus("RequestName", g_variant_new("(su)", name.c_str(), DO_NOT_QUEUE));
    [[maybe_unused]] g_autoptr(GVariant) released =
        CallBus("ReleaseName", g_variant_new("(s)", name.c_str()));
}

gboolean Partner::OnRetry(void* self) {
    auto* const partner = static_cast<Partner*>(self);
    if (!partner->m_connected) {
        partner->Announce("_SYN");
    }
    return G_SOURCE_CONTINUE;
}

void Partner::OnAnnouncement(GDBusConnection* /*connection*/, const char* /*sender*/,
                             const char* /*path*/, const char* /*interface*/,
                             const char* /*signal*/, GVariant* parameters, void* self) {
    auto* const partner = static_cast<Partner*>(self);
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    g_variant_get(parameters, "(&s&s&s)", &name, &oldOwner, &newOwner);
    if (*newOwner == '\0') {
        partner->TakeStep(std::string(name).substr(partner->m_baseName.size()), oldOwner);
    }
}

// A SYN of the host that it is bound to already comes from a new endpoint in the same process.
void Partner::TakeStep(const std::string& step, const std::string& host) {
    if (step == "_CLIENT_SYN") {
        DieAt("syn-seen");
        Bind(host);
        Announce("_SYN_ACK");
        DieAt("syn-ack-announced");
    } else if (step == "_CLIENT_SYN_ACK") {
        DieAt("syn-ack-seen");
        Bind(host);
        Announce("_ACK");
        DieAt("ack-announced");
        Connected();
    } else if (host == m_host) {
        DieAt("ack-seen");
        Connected();
    }
}

void Partner::Bind(const std::string& host) {
    if (m_hostWatch != 0) {
        g_bus_unwatch_name(m_hostWatch);
    }
    m_connected = false;
    m_host = host;
    m_hostWatch =
        g_bus_watch_name_on_connection(m_connection, host.c_str(), G_BUS_NAME_WATCHER_FLAGS_NONE,
                                       nullptr, OnHostVanished, this, nullptr);
}

void Partner::Connected() {
    m_connected = true;
    Say("connected " + m_host);
    if (m_options.createsList) {
        CreateList();
    }
}

void Partner::OnHostVanished(GDBusConnection* /*connection*/, const char* name, void* self) {
    auto* const partner = static_cast<Partner*>(self);
    if (partner->m_host == name) {
        partner->m_connected = false;
        partner->m_host.clear();
    }
}

void Partner::CreateList() {
    m_mirror.CreateAnew();
    Notify(Records::Frame("", Records::CREATED_EVENT));
}

void Partner::Notify(const std::string& bytes) {
    if (!m_host.empty()) {
        g_dbus_connection_emit_signal(m_connection, m_host.c_str(), m_path.c_str(), INTERFACE,
                                      "SendSignal", Body(bytes), nullptr);
    }
}

void Partner::Burst(unsigned count) {
    constexpr unsigned FLUSH_EVERY = 1000;
    for (unsigned i = 0; i < count; ++i) {
        Notify(Records::Frame(Number(i), NUMBER));
        if (i % FLUSH_EVERY == 0) {
            g_dbus_connection_flush_sync(m_connection, nullptr, nullptr);
        }
    }
    g_dbus_connection_flush_sync(m_connection, nullptr, nullptr);
}

void Partner::MakeNoise(unsigned periodMs) {
    if (m_noise != 0) {
        g_source_remove(std::exchange(m_noise, 0));
        g_dbus_connection_flush_sync(m_connection, nullptr, nullptr);
    }
    if (periodMs != 0) {
        m_noise = g_timeout_add(periodMs, OnNoise, this);
    }
}

gboolean Partner::OnNoise(void* self) {
    auto* const partner = static_cast<Partner*>(self);
    for (const int event : {Records::CHANGE_EVENT, Records::SELECTION_EVENT, Records::CLICKED_EVENT,
                            Records::CREATED_EVENT}) {
        partner->Notify(Records::Frame("noise", event));
    }
    return G_SOURCE_CONTINUE;
}

std::string Partner::Call(const std::string& bytes) {
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        m_connection, m_host.c_str(), m_path.c_str(), INTERFACE, "Send", Body(bytes),
        G_VARIANT_TYPE("(ay)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    return reply == nullptr ? std::string("error ") + error->message : BytesOf(reply);
}

std::vector<std::string> Partner::TakeRequests() {
    return std::exchange(m_requests, {});
}

std::string Partner::Received() const {
    return std::to_string(m_received) + " " + std::to_string(m_inOrder);
}

void Partner::OnSignal(GDBusConnection* /*connection*/, const char* /*sender*/,
                       const char* /*path*/, const char* /*interface*/, const char* /*signal*/,
                       GVariant* parameters, void* self) {
    auto* const partner = static_cast<Partner*>(self);
    const std::string bytes = BytesOf(parameters);
    if (bytes == Number(partner->m_received)) {
        ++partner->m_inOrder;
    }
    ++partner->m_received;
}

void Partner::OnCall(GDBusConnection* /*connection*/, const char* /*sender*/, const char* /*path*/,
                     const char* /*interface*/, const char* /*method*/, GVariant* parameters,
                     GDBusMethodInvocation* invocation, void* self) {
    auto* const partner = static_cast<Partner*>(self);
    const std::string message = BytesOf(parameters);
    partner->DieAt("request-seen");
    if (partner->m_options.keepsRequests) {
        partner->m_requests.push_back(message);
    }
    std::string reply = partner->m_mirror.Take(message);
    if (message.size() < 4 || Records::IdOf(message) != Records::GET_SELECTION) {
        reply.assign(partner->m_options.replySize, 'r');
    }
    g_dbus_method_invocation_return_value(invocation, Body(reply));
}

void Partner::DieAt(const std::string& moment) const {
    if (m_options.dieAt == moment) {
        g_dbus_connection_flush_sync(m_connection, nullptr, nullptr);
        raise(SIGKILL);
    }
}
