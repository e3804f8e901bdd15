#include <partner/PartnerSession.h>

#include <utility>

#include <shared/ExitStatus.h>

namespace applistctl {

namespace {

constexpr int LONGEST_REPLY_MS = 5000; // a stopped bus does not keep the process

} // namespace

PartnerSession::PartnerSession(Output& output, std::function<void(int)> onStop)
    : m_output(output), m_onStop(std::move(onStop)) {}

PartnerSession::~PartnerSession() {
    Vanish();
}

bool PartnerSession::StartOnce() {
    if (!m_started) {
        Start();
    }
    return !m_stopped;
}

void PartnerSession::Start() {
    if (m_partner != nullptr || m_stopped) {
        return;
    }
    m_started = true;
    m_bus = std::make_unique<SystemBus>(
        [this](const std::string& reason) {
            m_output.Failure("the bus is gone: " + reason);
            Stop(EXIT_STATUS_NO_BUS);
        },
        SystemBus::Kind::Own);
    if (m_bus->Connection() == nullptr) {
        m_output.Failure("no bus: " + m_bus->Problem());
        Stop(EXIT_STATUS_NO_BUS);
        return;
    }
    m_output.State("on " + SystemBus::Describe() + " as " +
                   g_dbus_connection_get_unique_name(m_bus->Connection()));
    m_partner = std::make_unique<applistctl::Partner>(
        m_bus->Connection(), m_output, m_faults,
        Partner::Events{[this] { Stop(EXIT_STATUS_FAILED); },
                        [this](const Request& request) { Keep(request); },
                        [this] { m_vanishId = g_idle_add(OnVanish, this); }});
    m_partner->Start();
}

// The bus replies in order, and GDBus queues each reply before this call returns.
void PartnerSession::AwaitReplies() {
    if (m_partner == nullptr) {
        return;
    }
    [[maybe_unused]] g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        m_bus->Connection(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
        "org.freedesktop.DBus", "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, LONGEST_REPLY_MS,
        nullptr, nullptr);
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

void PartnerSession::Vanish() {
    if (m_vanishId != 0) {
        g_source_remove(std::exchange(m_vanishId, 0U));
    }
    m_partner.reset();
    m_bus.reset();
}

void PartnerSession::Keep(const Request& request) {
    if (m_keepsRequests) {
        m_requests.push_back(request);
    }
}

gboolean PartnerSession::OnVanish(void* user_data) {
    auto* const self = static_cast<PartnerSession*>(user_data);
    self->m_vanishId = 0;
    self->m_output.State("vanished from the bus");
    self->Vanish();
    return G_SOURCE_REMOVE;
}

void PartnerSession::Stop(int status) {
    if (!std::exchange(m_stopped, true)) {
        m_onStop(status);
    }
}

} // namespace applistctl
