#include <check/OtherHosts.h>

#include <algorithm>
#include <utility>

#include <check/BusSurvey.h>
#include <ipc/HandshakeNames.h>
#include <shared/CheckMarker.h>
#include <shared/Endpoint.h>
#include <shared/Waiting.h>

namespace applistctl {

namespace {

// The connections of an earlier run may leave the bus at this moment.
constexpr int SURVEYS = 5;
constexpr double BETWEEN_SURVEYS_S = 0.1;

// A check is a host until its end.
std::string KindOf(const PeerProcess& process) {
    return process.IsCheck() ? "check" : "host";
}

std::string EndIt(const PeerProcess& process) {
    return ": end this " + KindOf(process) + ", and check again";
}

std::string DescribePresence(const std::string& name, const PeerProcess& process) {
    return "the " + KindOf(process) + " " + WithProcess(name, process) +
           " is on the bus, and a partner serves one host at a time" + EndIt(process);
}

} // namespace

OtherHosts::OtherHosts() : m_bus([](const std::string&) {}, SystemBus::Kind::Own) {
    if (GDBusConnection* const connection = m_bus.Connection()) {
        CheckMarker::Send(connection);
        m_ownPid = FindPeerProcess(connection, g_dbus_connection_get_unique_name(connection)).pid;
    }
}

OtherHosts::~OtherHosts() {
    for (const guint id : m_subscriptionIds) {
        g_dbus_connection_signal_unsubscribe(m_bus.Connection(), id);
    }
}

std::string OtherHosts::Describe(double limit) const {
    std::string text;
    for (int i = 0; i < SURVEYS; ++i) {
        const BusSurvey survey = SurveyRules(m_bus.Connection());
        const auto host = std::find_if(
            survey.participants.begin(), survey.participants.end(), [this](const Participant& one) {
                return one.role != Participant::Role::Partner && !IsOwn(one.process);
            });
        if (host == survey.participants.end()) {
            return survey.hasRules ? "" : DescribeWithoutRules(limit);
        }
        const Participant* const partner = survey.BoundTo(host->name, Participant::Role::Partner);
        text = partner != nullptr
                   ? "the partner " + partner->Describe() + " is bound to the " +
                         KindOf(host->process) + " " + host->Describe() + EndIt(host->process)
                   : DescribePresence(host->name, host->process);
        WaitFor(BETWEEN_SURVEYS_S);
    }
    return text;
}

// Another process shows its role in /proc alone, as far as this user may read it.
std::string OtherHosts::DescribeWithoutRules(double limit) const {
    for (const Participant& one : SurveyBus(m_bus.Connection(), limit).participants) {
        if (one.role == Participant::Role::Host && !IsOwn(one.process)) {
            return DescribePresence(one.name, one.process);
        }
    }
    return DescribeOwningCheck();
}

// A check that waits for a partner shows itself by the names that it owns.
std::string OtherHosts::DescribeOwningCheck() const {
    for (const auto& [name, owner] : OwnersOfSteps(m_bus.Connection())) {
        const PeerProcess process = FindPeerProcess(m_bus.Connection(), owner);
        if (process.IsCheck() && !IsOwn(process)) {
            return DescribePresence(owner, process);
        }
    }
    return "";
}

void OtherHosts::Watch(std::function<void(const std::string& text)> onHost) {
    m_onHost = std::move(onHost);
    for (const char* const suffix : HANDSHAKE_STEPS) {
        m_subscriptionIds.push_back(g_dbus_connection_signal_subscribe(
            m_bus.Connection(), "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
            "/org/freedesktop/DBus", HandshakeNames::EndpointName(ENDPOINT_ID, suffix).c_str(),
            G_DBUS_SIGNAL_FLAGS_NONE, OnNameOwnerChanged, this, nullptr));
    }
}

void OtherHosts::OnNameOwnerChanged(GDBusConnection* connection, const char* /*sender*/,
                                    const char* /*path*/, const char* /*interface*/,
                                    const char* /*signal*/, GVariant* parameters, void* user_data) {
    auto* const self = static_cast<OtherHosts*>(user_data);
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sss)")) || self->m_ownPid == 0) {
        return;
    }
    g_variant_get(parameters, "(&s&s&s)", &name, &oldOwner, &newOwner);
    const std::string host = *newOwner != '\0' ? newOwner : oldOwner;
    const PeerProcess process = FindPeerProcess(connection, host);
    if (process.pid != 0 && !self->IsOwn(process)) {
        const std::string stem = HandshakeNames::EndpointName(ENDPOINT_ID, "");
        // The function may iterate the main context until it ends the process.
        const auto onHost = std::exchange(self->m_onHost, [](const std::string&) {});
        onHost("the " + KindOf(process) + " " + WithProcess(host, process) +
               " has announced _CLIENT" + (name + stem.size()) + " during " +
               (process.IsCheck() ? "this check" : "the check") + EndIt(process));
    }
}

std::string OtherHosts::DescribeCandidates(GDBusConnection* connection, double limit) {
    const BusSurvey survey = SurveyBus(connection, limit);
    if (survey.hasRules) {
        return "";
    }
    if (const Participant* const check = survey.FirstOf(Participant::Role::Check)) {
        return DescribePresence(check->name, check->process);
    }
    if (survey.participants.size() < 2) {
        return "";
    }
    std::string names;
    for (const Participant& one : survey.participants) {
        names += (names.empty() ? "" : " and ") + one.Describe();
    }
    return names + " are hosts or partners on the bus, and a partner that is bound to another host "
                   "does not answer: end the other host, and check again";
}

} // namespace applistctl
