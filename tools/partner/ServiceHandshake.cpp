#include <partner/ServiceHandshake.h>

#include <utility>

#include <ipc/HandshakeNames.h>
#include <shared/Endpoint.h>

namespace {

constexpr const char* SYN = "_SYN";
constexpr const char* SYN_ACK = "_SYN_ACK";
constexpr const char* ACK = "_ACK";
constexpr const char* STEPS[] = {SYN, SYN_ACK, ACK};

} // namespace

ServiceHandshake::ServiceHandshake(GDBusConnection* connection, Output& output,
                                   const Faults& faults, Events events)
    : m_connection(connection),
      m_output(output),
      m_faults(faults),
      m_events(std::move(events)),
      m_announcement(connection) {}

ServiceHandshake::~ServiceHandshake() {
    Unbind();
    for (const guint id : m_subscriptionIds) {
        if (id != 0) {
            g_dbus_connection_signal_unsubscribe(m_connection, id);
        }
    }
}

void ServiceHandshake::Start() {
    for (std::size_t i = 0; i < G_N_ELEMENTS(STEPS); ++i) {
        const std::string name = HandshakeNames::EndpointName(ENDPOINT_ID, STEPS[i]);
        m_subscriptionIds[i] = g_dbus_connection_signal_subscribe(
            m_connection, "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
            "/org/freedesktop/DBus", name.c_str(), G_DBUS_SIGNAL_FLAGS_NONE, OnNameOwnerChanged,
            this, nullptr);
    }
    // The bus takes our messages in order: the watches are in place before the name is owned, and
    // no answer of a host is missed.
    AnnounceSyn("a partner has started");
}

void ServiceHandshake::OnNameOwnerChanged(GDBusConnection* /*connection*/, const char* /*sender*/,
                                          const char* /*path*/, const char* /*interface*/,
                                          const char* /*signal*/, GVariant* parameters,
                                          void* user_data) {
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sss)"))) {
        return;
    }
    auto* const self = static_cast<ServiceHandshake*>(user_data);
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    g_variant_get(parameters, "(&s&s&s)", &name, &oldOwner, &newOwner);
    // The announcement is the release of the name, not its taking.
    const char* const announcer = self->m_faults.Has(Fault::OnTaking) ? newOwner : oldOwner;
    if (*announcer == '\0') {
        return;
    }
    static const std::pair<const char*, Step> steps[] = {
        {SYN, &ServiceHandshake::OnHostSyn},
        {SYN_ACK, &ServiceHandshake::OnHostSynAck},
        {ACK, &ServiceHandshake::OnHostAck},
    };
    for (const auto& [suffix, step] : steps) {
        if (HandshakeNames::EndpointName(ENDPOINT_ID, suffix) == name) {
            (self->*step)(announcer);
        }
    }
}

// A host has started. The one that we are bound to says so too, when it makes a new list on the
// connection that it has: then everything starts anew.
void ServiceHandshake::OnHostSyn(const std::string& host) {
    if (host == m_host) {
        Unbind();
    }
    m_output.Received("_CLIENT_SYN from " + host + ": a host has started");
    if (Bind(host, "_CLIENT_SYN") && !m_faults.Has(Fault::NoSynAck)) {
        Announce(SYN_ACK, "bound to " + host, nullptr);
    }
}

// The host is bound to us and wants to be told that we are ready.
void ServiceHandshake::OnHostSynAck(const std::string& host) {
    m_output.Received("_CLIENT_SYN_ACK from " + host + ": it is bound to us");
    const bool isCrossed = host == m_host;
    if (isCrossed && m_faults.Has(Fault::NoCrossedAck)) {
        return;
    }
    if ((isCrossed || Bind(host, "_CLIENT_SYN_ACK")) && !m_faults.Has(Fault::NoAck)) {
        Announce(ACK, "ready", [this] { BecomeReady(); });
    }
}

// The host has taken our SYN_ACK.
void ServiceHandshake::OnHostAck(const std::string& host) {
    m_output.Received("_CLIENT_ACK from " + host + ": it is ready");
    if (host == m_host) {
        BecomeReady();
    }
}

bool ServiceHandshake::Bind(const std::string& host, const char* step) {
    if (!m_host.empty() && m_faults.Has(Fault::AnyHost)) {
        Unbind();
    }
    if (!m_host.empty()) {
        m_output.Problem(std::string(step) + " of " + host + " is not answered: " + m_host +
                         " is our host, one at a time");
        return false;
    }
    m_host = host;
    m_hostWatchId =
        g_bus_watch_name_on_connection(m_connection, host.c_str(), G_BUS_NAME_WATCHER_FLAGS_NONE,
                                       nullptr, OnHostVanished, this, nullptr);
    m_events.onBound(host);
    return true;
}

void ServiceHandshake::Unbind() {
    m_announcement.Cancel();
    m_host.clear();
    m_ready = false;
    if (m_hostWatchId != 0) {
        g_bus_unwatch_name(std::exchange(m_hostWatchId, 0U));
    }
}

void ServiceHandshake::BecomeReady() {
    // A host may ask for the acknowledgement twice; its list is new to us only once.
    if (!std::exchange(m_ready, true)) {
        m_events.onReady(m_host);
    }
}

void ServiceHandshake::OnHostVanished(GDBusConnection* connection, const char* name,
                                      void* user_data) {
    auto* const self = static_cast<ServiceHandshake*>(user_data);
    if (connection == nullptr || self->m_host != name || self->m_faults.Has(Fault::KeepHost)) {
        return; // the bus itself is gone, or a watch of an earlier host
    }
    const std::string host = name;
    self->Unbind();
    self->m_events.onLost(host);
    // A host that came while the place was taken has not been answered, and does not ask again.
    self->AnnounceSyn("a partner is free");
}

void ServiceHandshake::AnnounceSyn(const std::string& meaning) {
    if (!m_faults.Has(Fault::NoSyn)) {
        Announce(SYN, meaning, nullptr);
    }
}

void ServiceHandshake::Announce(const char* suffix, const std::string& meaning,
                                const std::function<void()>& onDone) {
    const std::string name = HandshakeNames::PartnerName(ENDPOINT_ID, suffix);
    const std::string step = std::string("_SERVICE") + suffix;
    m_announcement.Start(name, [this, name, step, meaning, onDone](NameAnnouncement::Result result,
                                                                   const std::string& problem) {
        switch (result) {
        case NameAnnouncement::Result::Done:
            m_output.Sent(step + ": " + meaning);
            if (onDone != nullptr) {
                onDone();
            }
            break;
        case NameAnnouncement::Result::Refused:
            m_output.Error("the bus policy refuses the name " + name + ": " + problem);
            m_events.onRefused();
            break;
        case NameAnnouncement::Result::Busy:
        case NameAnnouncement::Result::Failed:
            m_output.Problem("cannot own the name " + name + ": " + problem);
            break;
        }
    });
}
