#include <check/PartnerProcesses.h>

#include <algorithm>
#include <iterator>

#include <check/BusSurvey.h>
#include <check/HostProcess.h>
#include <ipc/HandshakeNames.h>
#include <shared/Endpoint.h>
#include <shared/PeerProcess.h>
#include <shared/Waiting.h>

namespace applistctl {

namespace {

constexpr int PRESENCE_LOOKS = 10;
constexpr double BETWEEN_PRESENCE_LOOKS_S = 0.1;

} // namespace

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

std::vector<std::string> PartnerProcesses::NamesOnBus() const {
    const guint32 ownPid =
        FindPeerProcess(m_connection, g_dbus_connection_get_unique_name(m_connection)).pid;
    const std::vector<std::string> all = ListUniqueNames(m_connection);
    std::vector<std::string> present;
    std::copy_if(all.begin(), all.end(), std::back_inserter(present), [&](const std::string& name) {
        return m_names.count(name) > 0 && FindPeerProcess(m_connection, name).pid != ownPid;
    });
    return present;
}

std::string PartnerProcesses::DescribeSeveral() {
    std::vector<std::string> names = NamesOnBus();
    for (int look = 1; look < PRESENCE_LOOKS && names.size() > 1; ++look) {
        WaitFor(BETWEEN_PRESENCE_LOOKS_S);
        names = NamesOnBus();
    }
    if (names.size() < 2) {
        return "";
    }
    std::string text = std::to_string(names.size()) + " partners are on the bus: ";
    for (const std::string& name : names) {
        text += (&name != &names.front() ? ", " : "") +
                WithProcess(name, FindPeerProcess(m_connection, name));
    }
    return text;
}

} // namespace applistctl
