#include <partner/ServiceHandshake.h>

#include <algorithm>
#include <utility>

#include <ipc/HandshakeNames.h>
#include <partner/RefusedRole.h>
#include <shared/Endpoint.h>

namespace applistctl {

ServiceHandshake::ServiceHandshake(GDBusConnection* connection, Output& output,
                                   const Faults& faults, Events events)
    : m_connection(connection),
      m_output(output),
      m_faults(faults),
      m_events(std::move(events)),
      m_announcement(connection),
      m_processes(connection) {}

ServiceHandshake::~ServiceHandshake() {
    for (const guint id : m_subscriptionIds) {
        g_dbus_connection_signal_unsubscribe(m_connection, id);
    }
}

const char* ServiceHandshake::SuffixOf(Step step) {
    switch (step) {
    case Step::Syn:
        return "_SYN";
    case Step::SynAck:
        return "_SYN_ACK";
    case Step::Ack:
        break;
    }
    return "_ACK";
}

void ServiceHandshake::Start() {
    for (const Step step : {Step::Syn, Step::SynAck, Step::Ack}) {
        const std::string name = HandshakeNames::EndpointName(ENDPOINT_ID, SuffixOf(step));
        m_subscriptionIds.push_back(g_dbus_connection_signal_subscribe(
            m_connection, "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
            "/org/freedesktop/DBus", name.c_str(), G_DBUS_SIGNAL_FLAGS_NONE, OnNameOwnerChanged,
            this, nullptr));
    }
    // The bus handles messages in order: the watches are in place before the name is owned, and no
    // answer of a host is missed.
    AnnounceSyn("a partner has started");
    StartSynTimer();
}

// The steps of hosts

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
    const char* const announcer = self->m_faults.Has(Fault::OnAcquisition) ? newOwner : oldOwner;
    if (*announcer == '\0') {
        return;
    }
    for (const Step step : {Step::Syn, Step::SynAck, Step::Ack}) {
        if (HandshakeNames::EndpointName(ENDPOINT_ID, SuffixOf(step)) == name) {
            self->OnHostStep(step, announcer);
            self->ShowProcess(announcer);
        }
    }
}

// After the answer, which has no time for a question to the bus.
void ServiceHandshake::ShowProcess(const std::string& host) {
    const std::string text = m_processes.DescribeOnce(host);
    if (text.empty()) {
        return;
    }
    if (m_processes.IsCheck(host)) {
        m_checks.insert(host);
    }
    m_output.State(DescribeRole(host) + " is " + text);
}

std::string ServiceHandshake::DescribeRole(const std::string& host) const {
    return (m_checks.count(host) != 0 ? "the check " : "the host ") + host;
}

void ServiceHandshake::OnHostStep(Step step, const std::string& host) {
    if ((step == Step::Syn && m_faults.Has(Fault::NoHostSyn)) ||
        (step == Step::SynAck && m_faults.Has(Fault::NoHostSynAck))) {
        return;
    }
    if (!m_host.empty() && host != m_host) {
        if (!m_faults.Has(Fault::AnyHost)) {
            OnOtherHostStep(step, host);
            return;
        }
        Unbind();
    }
    switch (step) {
    case Step::Syn:
        OnHostSyn(host);
        break;
    case Step::SynAck:
        OnHostSynAck(host);
        break;
    case Step::Ack:
        OnHostAck(host);
        break;
    }
}

// A host has started. The bound host also announces SYN when its process creates a new list on the
// same connection. Then the handshake starts again.
void ServiceHandshake::OnHostSyn(const std::string& host) {
    if (host == m_host && m_faults.Has(Fault::NoSynAgain)) {
        return;
    }
    const bool isFirst = !m_wasBound;
    m_output.Received("_CLIENT_SYN from " + host + ": a host has started");
    Unbind();
    Bind(host);
    m_isCrossed = isFirst;
    if (!m_faults.Has(Fault::NoSynAck)) {
        Announce(Step::SynAck, "bound to " + host, nullptr);
    }
}

// The host has received _SERVICE_SYN, is bound, and waits for the answer.
void ServiceHandshake::OnHostSynAck(const std::string& host) {
    m_output.Received("_CLIENT_SYN_ACK from " + host + ": this host is bound to a partner");
    const bool isBoundAlready = host == m_host;
    if (!isBoundAlready) {
        Bind(host);
    }
    const bool isRefused = isBoundAlready && (m_faults.Has(Fault::NoCrossedAck) ||
                                              (m_isCrossed && m_faults.Has(Fault::NoCrossedStart)));
    if (!isRefused) {
        AnnounceAck();
    }
}

// The host is bound to a partner that answered its SYN, possibly to another partner that has left
// the bus since. After the host detects this loss, it answers a repeated _SERVICE_SYN.
void ServiceHandshake::OnHostAck(const std::string& host) {
    m_output.Received("_CLIENT_ACK from " + host + ": it is ready");
    if (m_host.empty()) {
        if (m_faults.Has(Fault::NoBindOnAck)) {
            return;
        }
        Bind(host);
    }
    m_announcement.Cancel();
    BecomeReady();
}

void ServiceHandshake::OnHostVanished() {
    if (m_faults.Has(Fault::KeepHost)) {
        return;
    }
    const std::string host = m_host;
    const bool wasReady = m_isReady;
    Unbind();
    m_events.onLost(host, wasReady);
    if (m_otherHosts.empty()) {
        AnnounceSyn("a partner is free");
        StartSynTimer();
    } else {
        const std::string next = m_otherHosts.back().name;
        Bind(next);
        AnnounceAck();
    }
}

// The binding

void ServiceHandshake::Bind(const std::string& host) {
    m_host = host;
    m_wasBound = true;
    m_isCrossed = false;
    m_hostWatch = std::make_unique<VanishWatch>(
        m_connection, host, [this] { OnHostVanished(); },
        m_faults.Has(Fault::NoOwnerCheck) ? VanishWatch::EarlierEnd::Ignore
                                          : VanishWatch::EarlierEnd::Report);
    m_hostHasRequested = false;
    ForgetOtherHost(host);
    StartSynTimer();
    m_events.onBound(host);
}

void ServiceHandshake::Unbind() {
    m_announcement.Cancel();
    m_synTimer.Stop();
    m_hostWatch.reset();
    m_host.clear();
    m_isReady = false;
}

// Each handshake is a new binding on the host's side, also a second one with the same host. The
// requests that the host refused to send before are missing here.
void ServiceHandshake::BecomeReady() {
    m_isReady = true;
    m_hostHasRequested = false;
    StartSynTimer();
    m_events.onReady();
}

void ServiceHandshake::OnHostRequest() {
    m_hostHasRequested = true;
    m_synTimer.Stop();
}

// Other hosts, while one is bound

// A host that announces SYN is not bound, and answers a later _SERVICE_SYN. The other two steps are
// announced by a bound host, which drops _SERVICE_SYN.
void ServiceHandshake::OnOtherHostStep(Step step, const std::string& host) {
    m_output.Problem(std::string("_CLIENT") + SuffixOf(step) + " of " + host +
                     " is not answered: " + m_host + " is the host of this partner");
    ForgetOtherHost(host);
    if (step != Step::Syn && !m_faults.Has(Fault::ForgetOthers)) {
        auto watch = std::make_unique<VanishWatch>(m_connection, host,
                                                   [this, host] { ForgetOtherHost(host); });
        m_otherHosts.push_back({host, std::move(watch)});
    }
}

void ServiceHandshake::ForgetOtherHost(const std::string& host) {
    m_otherHosts.erase(std::remove_if(m_otherHosts.begin(), m_otherHosts.end(),
                                      [&](const OtherHost& other) { return other.name == host; }),
                       m_otherHosts.end());
}

// Repeated announcements

void ServiceHandshake::StartSynTimer() {
    m_synPeriodMs = FIRST_SYN_PERIOD_MS;
    m_synTimer.Start(m_synPeriodMs, [this] { RepeatSyn(); });
}

void ServiceHandshake::RepeatSyn() {
    const bool isBound = !m_host.empty();
    if (m_announcement.IsUnderWay() && !m_faults.Has(Fault::EndRepeat)) {
        // The announcement under way is an answer to the host.
    } else if (isBound && !m_hostHasRequested && !m_faults.Has(Fault::NoRepeatUnasked)) {
        AnnounceSyn("again, " + m_host + " has asked for nothing");
    } else if (!isBound && !m_faults.Has(Fault::NoRepeatFree)) {
        AnnounceSyn("again, no host has answered");
    }
    m_synPeriodMs = std::min(2 * m_synPeriodMs, LONGEST_SYN_PERIOD_MS);
    m_synTimer.Start(m_synPeriodMs, [this] { RepeatSyn(); });
}

void ServiceHandshake::AnnounceAck() {
    if (m_faults.Has(Fault::NoAck)) {
        return;
    }
    if (m_faults.Has(Fault::EarlyCreated)) {
        Announce(Step::Ack, "ready", nullptr);
        BecomeReady();
    } else {
        Announce(Step::Ack, "ready", [this] { BecomeReady(); });
    }
}

void ServiceHandshake::AnnounceSyn(const std::string& meaning) {
    if (!m_faults.Has(Fault::NoSyn)) {
        Announce(Step::Syn, meaning, nullptr);
    }
}

void ServiceHandshake::Announce(Step step, const std::string& meaning,
                                const std::function<void()>& onDone) {
    using Result = NameAnnouncement::Result;
    using WhileOwned = NameAnnouncement::WhileOwned;
    const std::string name = HandshakeNames::PartnerName(ENDPOINT_ID, SuffixOf(step));
    m_announcement.KeepNames(m_faults.Has(Fault::KeepNames) ||
                             (step == Step::SynAck && m_faults.Has(Fault::KeepSynAck)) ||
                             (step == Step::Ack && m_faults.Has(Fault::KeepAck)));
    const std::string text = std::string("_SERVICE") + SuffixOf(step) + ": " + meaning;
    const bool repeats = !m_faults.Has(Fault::NoRepeatRefused);
    m_announcement.Start(name, repeats ? WhileOwned::Repeat : WhileOwned::GiveUp,
                         [this, name, text, onDone](Result result, const std::string& problem) {
                             switch (result) {
                             case Result::Done:
                                 m_output.Sent(text);
                                 if (onDone != nullptr) {
                                     onDone();
                                 }
                                 break;
                             case Result::Refused:
                                 m_output.Failure("the bus policy refuses the name " + name + ": " +
                                                  problem);
                                 RefusedRole::Explain(m_output);
                                 m_events.onRefused();
                                 break;
                             case Result::Owned:
                             case Result::Failed:
                                 m_output.Problem("cannot own the name " + name + ": " + problem);
                                 break;
                             }
                         });
}

} // namespace applistctl
