#include <check/PartnerProcesses.h>

#include <check/BusSurvey.h>
#include <check/HostProcess.h>
#include <ipc/HandshakeNames.h>
#include <shared/Endpoint.h>
#include <shared/PeerProcess.h>

namespace applistctl {

PartnerProcesses::PartnerProcesses(GDBusConnection* connection) : m_connection(connection) {
    for (const char* const suffix : HANDSHAKE_STEPS) {
        m_subscriptionIds.push_back(g_dbus_connection_signal_subscribe(
            connection, "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
            "/org/freedesktop/DBus", HandshakeNames::PartnerName(ENDPOINT_ID, suffix).c_str(),
            G_DBUS_SIGNAL_FLAGS_NONE, OnNameOwnerChanged, this, nullptr));
    }
}

PartnerProcesses::~PartnerProcesses() {
    for (const guint id : m_subscriptionIds) {
        g_dbus_connection_signal_unsubscribe(m_connection, id);
    }
}

void PartnerProcesses::OnNameOwnerChanged(GDBusConnection* /*connection*/, const char* /*sender*/,
                                          const char* /*path*/, const char* /*interface*/,
                                          const char* /*signal*/, GVariant* parameters,
                                          void* user_data) {
    const char* newOwner = nullptr;
    if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sss)")) != FALSE) {
        g_variant_get(parameters, "(&s&s&s)", nullptr, nullptr, &newOwner);
        if (*newOwner != '\0') {
            static_cast<PartnerProcesses*>(user_data)->m_names.insert(newOwner);
        }
    }
}

std::string PartnerProcesses::DescribeStopped() {
    std::set<std::string> names = m_names;
    if (names.empty()) {
        for (const Participant& one : SurveyRules(m_connection).AllOf(Participant::Role::Partner)) {
            names.insert(one.name);
        }
    }
    for (const std::string& name : names) {
        const PeerProcess process = FindPeerProcess(m_connection, name);
        if (process.pid == 0) {
            m_names.erase(name); // it has left the bus
        } else if (HostProcess::IsStopped(process.pid)) {
            return "the partner " + WithProcess(name, process) +
                   " is stopped: let it continue (kill -CONT " + std::to_string(process.pid) +
                   "), and check again";
        }
    }
    return "";
}

} // namespace applistctl
