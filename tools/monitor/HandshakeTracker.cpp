#include <monitor/HandshakeTracker.h>

#include <algorithm>
#include <utility>

#include <ipc/HandshakeNames.h>
#include <monitor/TimeText.h>
#include <shared/Endpoint.h>

namespace applistctl {

namespace {

// A host repeats an answer every half second.
constexpr Microseconds PATIENCE = 2 * SECOND;
constexpr const char* BY_CHECK = "announced by a check";
constexpr std::size_t MOST_REQUESTED = 1000; // at once, for calls without a reply
constexpr Microseconds REFUSAL_PERIOD = 60 * SECOND;

const std::string CLIENT_SYN = "_CLIENT_SYN";
const std::string CLIENT_SYN_ACK = "_CLIENT_SYN_ACK";
const std::string CLIENT_ACK = "_CLIENT_ACK";
const std::string SERVICE_SYN = "_SERVICE_SYN";
const std::string SERVICE_SYN_ACK = "_SERVICE_SYN_ACK";
const std::string SERVICE_ACK = "_SERVICE_ACK";

// The step that a bus name announces; empty for another name.
std::string StepOf(const std::string& name) {
    using Remote = JavaMWDbusRemote;
    for (const char* suffix : {Remote::JAVAMW_DBUS_SYN_SUFFIX, Remote::JAVAMW_DBUS_SYNACK_SUFFIX,
                               Remote::JAVAMW_DBUS_ACK_SUFFIX}) {
        for (const std::string& full : {HandshakeNames::EndpointName(ENDPOINT_ID, suffix),
                                        HandshakeNames::PartnerName(ENDPOINT_ID, suffix)}) {
            if (name == full) {
                return full.substr(HandshakeNames::BaseName(ENDPOINT_ID).size());
            }
        }
    }
    return "";
}

template <class Items, class Predicate>
void EraseIf(Items& items, Predicate predicate) {
    items.erase(std::remove_if(items.begin(), items.end(), predicate), items.end());
}

bool IsHostStep(const std::string& step) {
    return step.rfind(JavaMWDbusRemote::BROADCAST_PREFIX, 0) == 0;
}

} // namespace

HandshakeTracker::HandshakeTracker(OnEvent onEvent) : m_onEvent(std::move(onEvent)) {}

Side HandshakeTracker::SideOf(const std::string& peer) const {
    const auto found = m_sides.find(peer);
    return found != m_sides.end() ? found->second : Side::Unknown;
}

PeerProcess HandshakeTracker::ProcessOf(const std::string& name) const {
    const auto found = m_processes.find(name);
    return found != m_processes.end() ? found->second : PeerProcess();
}

// The process behind a name is reported once, before its first step. The arguments of the process
// show a check, whose mark may have been sent before the start of the monitor.
void HandshakeTracker::SetSide(Microseconds time, const std::string& name, Side side) {
    const auto [entry, isNew] = m_sides.try_emplace(name, side);
    if (entry->second != Side::Check) {
        entry->second = side;
    }
    if (!isNew || !m_findProcess) {
        return;
    }
    const PeerProcess process = m_findProcess(name);
    if (process.pid == 0) {
        return;
    }
    if (process.IsCheck()) {
        side = entry->second = Side::Check;
    }
    m_processes[name] = process;
    HandshakeEvent event = Event(HandshakeEvent::Kind::Identified, time, name);
    event.process = process;
    event.text = (side == Side::Unknown ? "" : SideName(side) + std::string(" ")) + name + " is " +
                 process.Describe();
    m_onEvent(event);
}

HandshakeEvent HandshakeTracker::Event(HandshakeEvent::Kind kind, Microseconds time,
                                       const std::string& who) const {
    HandshakeEvent event;
    event.kind = kind;
    event.time = time;
    event.who = {who, SideOf(who)};
    return event;
}

void HandshakeTracker::Report(HandshakeEvent::Kind kind, Microseconds time, const std::string& who,
                              const std::string& step, const std::string& text,
                              Microseconds elapsed) {
    HandshakeEvent event = Event(kind, time, who);
    event.step = step;
    event.text = text;
    event.elapsed = elapsed;
    m_onEvent(event);
}

HandshakeTracker::Host& HandshakeTracker::HostOf(const std::string& name) {
    const auto [entry, isNew] = m_hosts.try_emplace(name);
    if (isNew) {
        entry->second.isKnown = m_arrived.count(name) != 0;
    }
    return entry->second;
}

HandshakeTracker::Partner& HandshakeTracker::PartnerOf(const std::string& name) {
    const auto [entry, isNew] = m_partners.try_emplace(name);
    if (isNew) {
        entry->second.isKnown = m_arrived.count(name) != 0;
    }
    return entry->second;
}

const HandshakeTracker::Endpoint* HandshakeTracker::Find(const std::string& name) const {
    if (const auto host = m_hosts.find(name); host != m_hosts.end()) {
        return &host->second;
    }
    const auto partner = m_partners.find(name);
    return partner != m_partners.end() ? &partner->second : nullptr;
}

// Names come and go

void HandshakeTracker::OwnerChanged(Microseconds time, const std::string& name,
                                    const std::string& oldOwner, const std::string& newOwner) {
    if (name == newOwner && oldOwner.empty()) {
        m_arrived.insert(name);
        return;
    }
    if (name == oldOwner && newOwner.empty()) {
        OnLeft(time, name);
        return;
    }
    const std::string step = StepOf(name);
    if (step.empty()) {
        return;
    }
    m_nameOwners.erase(step);
    if (!newOwner.empty()) {
        m_nameOwners[step] = {newOwner, time, false};
    }
    if (!oldOwner.empty()) {
        SetSide(time, oldOwner, IsHostStep(step) ? Side::Host : Side::Partner);
        Step(time, step, oldOwner);
    }
}

void HandshakeTracker::NameRequested(const std::string& caller, guint32 serial,
                                     const std::string& name) {
    const std::string step = StepOf(name);
    if (!step.empty() && m_requested.size() < MOST_REQUESTED) {
        m_requested[{caller, serial}] = step;
    }
}

void HandshakeTracker::NameRefused(Microseconds time, const std::string& caller, guint32 serial,
                                   const std::string& reason) {
    const auto requested = m_requested.find({caller, serial});
    if (requested != m_requested.end()) {
        const std::string step = requested->second;
        m_requested.erase(requested);
        SetSide(time, caller, IsHostStep(step) ? Side::Host : Side::Partner);
        if (IsNewRefusal(time, {caller, step}, reason)) {
            Report(HandshakeEvent::Kind::Refused, time, caller, step,
                   "cannot own the name: " + reason);
        }
        BindRefused(time, caller, step);
    }
}

// A side repeats a refused step twice in a second, for as long as the policy refuses the step.
bool HandshakeTracker::IsNewRefusal(Microseconds time, const CallerAndStep& attempt,
                                    const std::string& reason) {
    const auto known = m_refusals.find(attempt);
    if (known != m_refusals.end() && known->second.reason == reason &&
        time - known->second.time < REFUSAL_PERIOD) {
        return false;
    }
    m_refusals[attempt] = {reason, time};
    return true;
}

// A host binds before it announces its answer, and repeats a refused answer.
void HandshakeTracker::BindRefused(Microseconds time, const std::string& caller,
                                   const std::string& step) {
    const auto host = m_hosts.find(caller);
    if (host != m_hosts.end() && host->second.peer.empty() && step != CLIENT_SYN) {
        Bind(time, host->second,
             PopAnswered(host->second, step == CLIENT_ACK ? SERVICE_SYN_ACK : SERVICE_SYN));
    }
}

void HandshakeTracker::NameReplied(Microseconds time, const std::string& caller, guint32 serial,
                                   guint32 code) {
    constexpr guint32 PRIMARY_OWNER = 1;
    constexpr guint32 HAS_OTHER_OWNER = 3;
    const auto requested = m_requested.find({caller, serial});
    if (code == HAS_OTHER_OWNER && requested != m_requested.end() &&
        m_nameOwners.count(requested->second) != 0) {
        // The caller tries again. An owner that does not release the name is reported by itself.
        BindRefused(time, caller, requested->second);
    } else if (code != PRIMARY_OWNER) {
        NameRefused(time, caller, serial,
                    code == 2   ? "another owns it, and the caller is in the queue"
                    : code == 3 ? "another owns it"
                    : code == 4 ? "the caller owns it already"
                                : "the reply is " + std::to_string(code));
    }
    m_requested.erase({caller, serial});
}

// The steps

void HandshakeTracker::Step(Microseconds time, const std::string& step, const std::string& sender) {
    static const std::map<std::string, void (HandshakeTracker::*)(Microseconds, const std::string&)>
        steps = {{CLIENT_SYN, &HandshakeTracker::OnClientSyn},
                 {SERVICE_SYN, &HandshakeTracker::OnServiceSyn},
                 {CLIENT_SYN_ACK, &HandshakeTracker::OnClientSynAck},
                 {SERVICE_SYN_ACK, &HandshakeTracker::OnServiceSynAck},
                 {CLIENT_ACK, &HandshakeTracker::OnClientAck},
                 {SERVICE_ACK, &HandshakeTracker::OnServiceAck}};
    (this->*steps.at(step))(time, sender);
}

void HandshakeTracker::OnClientSyn(Microseconds time, const std::string& name) {
    Report(HandshakeEvent::Kind::Announced, time, name, CLIENT_SYN,
           IsCheck(name) ? BY_CHECK : "a host has started");
    Host& host = HostOf(name);
    host = Host();
    host.isKnown = true;
    host.since = time;
    host.progress.start = time;
    host.progress.startStep = CLIENT_SYN;
    Await(host, SERVICE_SYN_ACK, CLIENT_SYN, time);
    for (auto& [partnerName, partner] : m_partners) {
        Receive(partner, CLIENT_SYN, name, !partner.peer.empty() && partner.peer != name);
    }
}

void HandshakeTracker::OnServiceSyn(Microseconds time, const std::string& name) {
    Report(HandshakeEvent::Kind::Announced, time, name, SERVICE_SYN, "a partner announces itself");
    Partner& partner = PartnerOf(name);
    m_newestPartner = name;
    partner.announcesAgain = !partner.peer.empty();
    if (partner.since == 0) {
        partner.since = time;
    }
    for (auto& [hostName, host] : m_hosts) {
        Receive(host, SERVICE_SYN, name, !host.peer.empty());
        if (host.peer.empty()) {
            host.progress.start = time;
            host.progress.startStep = SERVICE_SYN;
            Await(host, CLIENT_SYN_ACK, SERVICE_SYN, time);
        }
    }
}

void HandshakeTracker::OnClientSynAck(Microseconds time, const std::string& name) {
    const bool isNew = m_hosts.count(name) == 0;
    Host& host = HostOf(name);
    if (isNew) { // its own announcement was before the start of the monitor
        const auto newest = m_partners.find(m_newestPartner);
        host.progress.start = newest != m_partners.end() ? newest->second.since : time;
        host.progress.startStep = newest != m_partners.end() ? SERVICE_SYN : CLIENT_SYN_ACK;
    }
    if (host.peer.empty()) {
        const std::string answered = PopAnswered(host, SERVICE_SYN);
        // A host receives announcements before its own first one.
        const bool mayBeEarlier = isNew || host.formerPeer.empty();
        Bind(time, host, answered.empty() && mayBeEarlier ? m_newestPartner : answered);
    }
    Report(HandshakeEvent::Kind::Announced, time, name, CLIENT_SYN_ACK,
           IsCheck(name) ? BY_CHECK : DescribeBinding(name));
    for (auto& [partnerName, partner] : m_partners) {
        Receive(partner, CLIENT_SYN_ACK, name, !partner.peer.empty() && partner.peer != name);
    }
    if (host.peer.empty() && !host.formerPeer.empty()) {
        host.progress = Progress(); // no side remains for an answer
    } else if (!host.isConnected) {
        Await(host, SERVICE_ACK, CLIENT_SYN_ACK, time);
    }
}

// Announcements have no addressee: each waiting host accepts this one.
void HandshakeTracker::OnServiceSynAck(Microseconds time, const std::string& name) {
    const bool isNew = m_partners.count(name) == 0;
    Partner& partner = PartnerOf(name);
    DropAnnouncementsOfReadyHosts(partner);
    std::string answered = PopAnswered(partner, CLIENT_SYN);
    if (answered.empty() && isNew) { // its own announcement was before the start of the monitor
        answered = OnlyHostAwaiting(SERVICE_SYN_ACK);
    }
    if (!answered.empty()) {
        Bind(time, partner, answered);
    } else if (partner.peer.empty()) {
        partner.isKnown = false;
    }
    Report(HandshakeEvent::Kind::Announced, time, name, SERVICE_SYN_ACK, DescribeBinding(name));
    for (auto& [hostName, host] : m_hosts) {
        Receive(host, SERVICE_SYN_ACK, name, !host.peer.empty());
        const std::string& awaited = host.progress.awaited;
        // Both have started at once: the host is bound already, and waits for its own answer.
        if (host.peer.empty() && (awaited == SERVICE_SYN_ACK || awaited == CLIENT_SYN_ACK)) {
            Await(host, CLIENT_ACK, SERVICE_SYN_ACK, time);
        }
    }
    if (!partner.peer.empty()) {
        Connect(time, partner.peer);
    }
}

// A free partner with several announcements answers the one of a host that waits for an answer.
void HandshakeTracker::DropAnnouncementsOfReadyHosts(Partner& partner) const {
    const auto isReady = [this](const Received& one) {
        const auto host = m_hosts.find(one.from);
        return host != m_hosts.end() && host->second.isReady;
    };
    std::vector<Received>& received = partner.received;
    const bool isAwaited = std::any_of(received.begin(), received.end(), [&](const Received& one) {
        return one.step == CLIENT_SYN && m_hosts.count(one.from) != 0 && !isReady(one);
    });
    if (partner.peer.empty() && isAwaited) {
        EraseIf(received, isReady);
    }
}

std::string HandshakeTracker::OnlyHostAwaiting(const std::string& step) const {
    std::string found;
    for (const auto& [name, host] : m_hosts) {
        if (host.progress.awaited == step) {
            if (!found.empty()) {
                return "";
            }
            found = name;
        }
    }
    return found;
}

void HandshakeTracker::OnClientAck(Microseconds time, const std::string& name) {
    Host& host = HostOf(name);
    const bool isAnswer = host.peer.empty();
    if (isAnswer) {
        Bind(time, host, PopAnswered(host, SERVICE_SYN_ACK));
    }
    Report(HandshakeEvent::Kind::Announced, time, name, CLIENT_ACK,
           IsCheck(name) ? BY_CHECK : "ready");
    host.progress.awaited.clear();
    if (host.peer.empty()) {
        return; // the partner has left, or its announcement was before the start of the monitor
    }
    if (!std::exchange(host.isReady, true)) {
        host.since = time;
    }
    host.isFound = false;
    Partner& partner = PartnerOf(host.peer);
    // Without a _SERVICE_SYN_ACK, the step is no proof of a connection.
    if (isAnswer && partner.peer.empty() && !partner.isKnown) {
        Bind(time, partner, name); // bound before the capture began
    }
    Connect(time, name);
    ReportShared(time, name);
}

void HandshakeTracker::OnServiceAck(Microseconds time, const std::string& name) {
    Partner& partner = PartnerOf(name);
    const std::string answered = PopAnswered(partner, CLIENT_SYN_ACK);
    if (!answered.empty()) {
        Bind(time, partner, answered);
    }
    Report(HandshakeEvent::Kind::Announced, time, name, SERVICE_ACK, "ready");
    const auto host = m_hosts.find(partner.peer);
    if (host == m_hosts.end()) {
        return;
    }
    if (!std::exchange(partner.isReady, true)) {
        partner.since = time;
    }
    if (host->second.peer.empty() && !host->second.isKnown) {
        Bind(time, host->second, name);
    }
    if (host->second.peer == name) {
        host->second.progress.awaited.clear();
        host->second.isReady = true;
        host->second.isFound = false;
    }
    Connect(time, host->first);
}

void HandshakeTracker::OnLeft(Microseconds time, const std::string& name) {
    m_arrived.erase(name);
    m_requested.erase(m_requested.lower_bound({name, 0}),
                      m_requested.upper_bound({name, G_MAXUINT32}));
    if (m_sides.count(name) == 0) {
        return;
    }
    if (SideOf(name) != Side::Unknown) {
        Report(HandshakeEvent::Kind::Left, time, name, "",
               "the " + std::string(SideName(SideOf(name))) + " " + name + " has left the bus");
    }
    m_refusals.erase(m_refusals.lower_bound({name, ""}), m_refusals.upper_bound({name, "~"}));
    m_sides.erase(name);
    m_processes.erase(name);
    m_hosts.erase(name);
    m_partners.erase(name);
    m_left.insert(name);
    for (auto& [hostName, host] : m_hosts) {
        const bool isAsked = host.progress.awaited == CLIENT_SYN_ACK && name == m_newestPartner;
        if (host.peer == name || isAsked) {
            host.progress = Progress(); // it waits for the next partner, without a limit
        }
        if (host.peer == name) {
            Unbind(time, host);
        }
    }
    for (auto& [partnerName, partner] : m_partners) {
        if (partner.peer == name) {
            Unbind(time, partner);
        }
    }
    if (m_newestPartner == name) {
        m_newestPartner.clear();
    }
}

// What each side receives and answers

void HandshakeTracker::Receive(Endpoint& endpoint, const std::string& step, const std::string& from,
                               bool whileBound) {
    constexpr std::size_t MOST_RECEIVED = 100; // a stopped process answers none of them
    if (endpoint.received.size() < MOST_RECEIVED) {
        endpoint.received.push_back({step, from, whileBound});
    }
}

// An endpoint answers the first step that it can answer, and has dropped the steps before it.
std::string HandshakeTracker::PopAnswered(Endpoint& endpoint, const std::string& step) const {
    std::vector<Received>& received = endpoint.received;
    const auto found = std::find_if(received.begin(), received.end(), [&](const Received& one) {
        const bool isFromPeer = endpoint.peer.empty() || one.from == endpoint.peer;
        return one.step == step && isFromPeer && !(one.whileBound && HasLeft(one.from));
    });
    if (found == received.end()) {
        return "";
    }
    std::string from = found->from;
    received.erase(received.begin(), found + 1);
    return from;
}

void HandshakeTracker::Bind(Microseconds time, Endpoint& endpoint, const std::string& peer) const {
    if (peer == endpoint.peer) {
        return;
    }
    SetPeer(time, endpoint, HasLeft(peer) ? "" : peer);
    endpoint.formerPeer = HasLeft(peer) ? peer : endpoint.formerPeer;
    // Also a binding to a side that has left lasts for a moment.
    for (Received& received : endpoint.received) {
        received.whileBound = received.from != peer;
    }
}

void HandshakeTracker::Unbind(Microseconds time, Host& host) {
    host.formerPeer = host.peer;
    SetPeer(time, host, "");
    EraseIf(host.received, [](const Received& one) { return one.whileBound; });
}

// A partner may keep the last announcement of another host until its own host has left.
void HandshakeTracker::Unbind(Microseconds time, Partner& partner) {
    partner.formerPeer = partner.peer;
    SetPeer(time, partner, "");
    EraseIf(partner.received, [&](const Received& one) { return one.from == partner.formerPeer; });
    std::vector<Received>& received = partner.received;
    if (received.size() > 1) {
        received.erase(received.begin(), received.end() - 1);
    }
}

void HandshakeTracker::SetPeer(Microseconds time, Endpoint& endpoint, const std::string& peer) {
    endpoint.peer = peer;
    endpoint.since = time;
    endpoint.isKnown = true;
    endpoint.isReady = false;
    endpoint.isReported = false;
    endpoint.isConnected = false;
    endpoint.isFound = false;
    endpoint.announcesAgain = false;
}

void HandshakeTracker::Await(Host& host, const std::string& step, const std::string& reason,
                             Microseconds time) {
    Progress& progress = host.progress;
    // A step that is announced again does not start the wait again.
    if (progress.awaited != step) {
        progress.waitingSince = time;
        progress.isReported = false;
    }
    progress.awaited = step;
    progress.reason = reason;
}

// Connections

// A host becomes ready with this step. A partner may send a notification without it.
bool HandshakeTracker::AwaitsAck(const Host& host) {
    return host.progress.awaited == SERVICE_ACK;
}

bool HandshakeTracker::IsConnected(const std::string& hostName,
                                   const std::string& partnerName) const {
    const auto host = m_hosts.find(hostName);
    const auto partner = m_partners.find(partnerName);
    return host != m_hosts.end() && partner != m_partners.end() &&
           host->second.peer == partnerName && partner->second.peer == hostName &&
           (host->second.isReady || (partner->second.isReady && !AwaitsAck(host->second)));
}

const std::string* HandshakeTracker::ConnectedHostOf(const std::string& partnerName) const {
    const auto partner = m_partners.find(partnerName);
    const bool isConnected =
        partner != m_partners.end() && IsConnected(partner->second.peer, partnerName);
    return isConnected ? &partner->second.peer : nullptr;
}

std::string HandshakeTracker::BoundHostOf(const std::string& partnerName) const {
    const auto partner = m_partners.find(partnerName);
    return partner != m_partners.end() ? partner->second.peer : "";
}

void HandshakeTracker::Connect(Microseconds time, const std::string& hostName) {
    const auto found = m_hosts.find(hostName);
    if (found == m_hosts.end() || !IsConnected(hostName, found->second.peer) ||
        std::exchange(found->second.isConnected, true)) {
        return;
    }
    const Progress progress = std::exchange(found->second.progress, Progress());
    if (IsCheck(hostName)) {
        return; // the partner serves the check for a moment
    }
    const std::string partnerName = found->second.peer;
    found->second.isReported = false;
    m_partners[partnerName].isReported = false;
    HandshakeEvent event = Event(HandshakeEvent::Kind::Ready, time, hostName);
    event.step = progress.startStep;
    event.host = hostName;
    event.partner = partnerName;
    event.text = "connected: host " + hostName + " and partner " + partnerName;
    if (progress.startStep.empty()) {
        event.text += "; the handshake began before the start of the monitor";
    } else {
        event.elapsed = time - progress.start;
        event.text += ", ready " + TimeText::Span(event.elapsed) + " after " + progress.startStep;
    }
    m_onEvent(event);
}

// A host that has accepted the answer to another host.
void HandshakeTracker::ReportShared(Microseconds time, const std::string& hostName) {
    const std::string partnerName = m_hosts[hostName].peer;
    for (const auto& [name, other] : m_hosts) {
        if (name != hostName && !IsCheck(name) && !IsCheck(hostName) && other.isReady &&
            other.peer == partnerName) {
            Report(HandshakeEvent::Kind::Shared, time, hostName, "",
                   std::string("hosts ").append(name).append(" and ").append(hostName) +
                       " both take " + partnerName +
                       " for their partner, which serves one of them: run one host");
        }
    }
}

void HandshakeTracker::OnMessage(Microseconds time, const std::string& hostName,
                                 const std::string& partnerName, Side sender) {
    const bool isRequest = sender == Side::Host;
    if (IsCheck(hostName) || IsCheck(partnerName)) {
        return; // a check sends without a binding, and also to itself
    }
    if (HasLeft(hostName) || HasLeft(partnerName)) {
        return; // sent before the sender received the end of the receiver
    }
    const std::string* const served = ConnectedHostOf(partnerName);
    const auto knownHost = m_hosts.find(hostName);
    const bool isUnbound =
        isRequest ? knownHost == m_hosts.end() && served != nullptr
                  : knownHost != m_hosts.end() && !knownHost->second.peer.empty() &&
                        knownHost->second.peer != partnerName && m_partners.count(partnerName) == 0;
    if (isUnbound) {
        const std::string& unbound = isRequest ? hostName : partnerName;
        if (m_sides.count(unbound) != 0) {
            return; // reported already
        }
        SetSide(time, unbound, Side::Unknown);
        if (!IsCheck(unbound)) {
            Report(HandshakeEvent::Kind::Unbound, time, unbound, "",
                   unbound +
                       (isRequest ? " sends requests to the partner " : " notifies the host ") +
                       (isRequest ? partnerName : hostName) + ", which is connected with another");
        }
        return;
    }
    const bool isNew = knownHost == m_hosts.end();
    SetSide(time, hostName, Side::Host);
    SetSide(time, partnerName, Side::Partner);
    if (IsCheck(hostName) || IsCheck(partnerName)) {
        return; // recognized by its process
    }
    Host& host = HostOf(hostName);
    Partner& partner = PartnerOf(partnerName);
    Endpoint& endpoint = isRequest ? static_cast<Endpoint&>(host) : partner;
    Bind(time, endpoint, isRequest ? partnerName : hostName);
    if (!std::exchange(endpoint.isReady, true)) {
        endpoint.since = time;
    }
    host.isFound = false;
    if (isNew) {
        HandshakeEvent event = Event(HandshakeEvent::Kind::Found, time, hostName);
        event.host = hostName;
        event.partner = partnerName;
        event.text = "host " + hostName + " and partner " + partnerName +
                     " exchange messages: their handshake was before the start of the monitor";
        m_onEvent(event);
        // Both sides of an unseen handshake count once each of them has sent a message.
        host.isConnected = true;
    } else {
        Connect(time, hostName);
    }
}

// Sides that are no host and no partner, or were on the bus before the start of the monitor

void HandshakeTracker::FoundCheck(Microseconds time, const std::string& name) {
    const bool isNew = m_sides.count(name) == 0;
    SetSide(time, name, Side::Check);
    if (isNew && m_processes.count(name) == 0) {
        Report(HandshakeEvent::Kind::Checking, time, name, "", "check " + name + " is on the bus");
    }
}

void HandshakeTracker::FoundHost(Microseconds time, const std::string& name,
                                 const std::string& peer) {
    SetSide(time, name, Side::Host);
    Host& host = HostOf(name);
    SetPeer(time, host, peer);
    host.isReady = host.isFound = !peer.empty();
}

// A partner may bind to a host without a match rule for it: no rule is no proof.
void HandshakeTracker::FoundPartner(Microseconds time, const std::string& name,
                                    const std::string& peer) {
    SetSide(time, name, Side::Partner);
    Partner& partner = PartnerOf(name);
    SetPeer(time, partner, peer);
    partner.isKnown = partner.isReady = !peer.empty();
}

void HandshakeTracker::ReportFound(Microseconds time) {
    for (auto& [name, host] : m_hosts) {
        if (IsConnected(name, host.peer)) {
            host.isConnected = true;
            HandshakeEvent event = Event(HandshakeEvent::Kind::Found, time, name);
            event.host = name;
            event.partner = host.peer;
            event.text =
                "host " + name + " and partner " + host.peer +
                " are bound to each other: their handshake was before the start of the monitor";
            m_onEvent(event);
        } else {
            Report(HandshakeEvent::Kind::Present, time, name, "",
                   "host " + name + " was on the bus before the start of the monitor, bound to " +
                       (host.peer.empty() ? "no partner" : host.peer));
        }
    }
    for (const auto& [name, partner] : m_partners) {
        if (!IsConnected(partner.peer, name)) {
            Report(HandshakeEvent::Kind::Present, time, name, "",
                   "partner " + name + " was on the bus before the start of the monitor" +
                       (partner.peer.empty() ? "" : ", bound to " + partner.peer));
        }
    }
}

bool HandshakeTracker::MayReceive(const std::string& host, const std::string& partner) const {
    const auto found = m_hosts.find(host);
    return !IsCheck(host) && !IsCheck(partner) && !HasLeft(host) &&
           (found == m_hosts.end() ||
            (found->second.peer == partner && !AwaitsAck(found->second)) ||
            (found->second.peer.empty() && !found->second.isKnown));
}

// What is overdue

void HandshakeTracker::Tick(Microseconds now) {
    TickHosts(now);
    TickHalfOpen(now);
    TickNames(now);
    TickPartners(now);
}

void HandshakeTracker::TickHosts(Microseconds now) {
    for (auto& [name, host] : m_hosts) {
        Progress& progress = host.progress;
        const Microseconds waited = now - progress.waitingSince;
        if (!progress.awaited.empty() && !progress.isReported && waited >= PATIENCE &&
            !IsCheck(name)) {
            progress.isReported = true;
            Report(HandshakeEvent::Kind::Missing, now, name, progress.awaited,
                   DescribeMissing(name, host), waited);
        }
    }
}

// A side that is ready, and whose other side is bound to a third one or to none. A step whose name
// is still owned does not count yet, and is a fault of its own.
bool HandshakeTracker::IsHalfOpen(const std::string& name, const Endpoint& endpoint) const {
    const bool isOfCheck = IsCheck(name) || IsCheck(endpoint.peer);
    const Endpoint* const peer = endpoint.isReady && !isOfCheck ? Find(endpoint.peer) : nullptr;
    return peer != nullptr && peer->isKnown && peer->peer != name &&
           ConnectedHostOf(endpoint.peer) == nullptr && !OwnsStep(name) && !OwnsStep(endpoint.peer);
}

bool HandshakeTracker::OwnsStep(const std::string& name) const {
    return std::any_of(m_nameOwners.begin(), m_nameOwners.end(),
                       [&](const auto& entry) { return entry.second.uniqueName == name; });
}

void HandshakeTracker::TickHalfOpen(Microseconds now) {
    const auto tick = [&](auto& endpoints) {
        for (auto& [name, endpoint] : endpoints) {
            if (endpoint.isReported || !IsHalfOpen(name, endpoint) ||
                now - endpoint.since < PATIENCE) {
                continue;
            }
            endpoint.isReported = true;
            HandshakeEvent event = Event(HandshakeEvent::Kind::HalfOpen, now, name);
            const bool isHost = event.who.side == Side::Host;
            event.host = isHost ? name : endpoint.peer;
            event.partner = isHost ? endpoint.peer : name;
            event.since = endpoint.since;
            event.elapsed = now - endpoint.since;
            event.restart = name;
            event.text = DescribeHalfOpen(name);
            m_onEvent(event);
        }
    };
    tick(m_hosts);
    tick(m_partners);
}

void HandshakeTracker::TickNames(Microseconds now) {
    for (auto& [step, owner] : m_nameOwners) {
        const Microseconds owned = now - owner.since;
        if (owner.isReported || owned < PATIENCE) {
            continue;
        }
        owner.isReported = true;
        SetSide(now, owner.uniqueName, IsHostStep(step) ? Side::Host : Side::Partner);
        if (!IsCheck(owner.uniqueName)) {
            Report(HandshakeEvent::Kind::Held, now, owner.uniqueName, step,
                   step + " is owned by " + owner.uniqueName + Process(owner.uniqueName) + " for " +
                       TimeText::Span(owned) + ": the step counts when the name is released",
                   owned);
        }
    }
}

std::set<std::string> HandshakeTracker::Partners() const {
    std::set<std::string> names;
    for (const auto& [name, partner] : m_partners) {
        if (!IsCheck(name)) {
            names.insert(name);
        }
    }
    return names;
}

bool HandshakeTracker::IsPartnerOfAHost(const std::string& partnerName) const {
    return std::any_of(m_hosts.begin(), m_hosts.end(), [&](const auto& host) {
        return !IsCheck(host.first) && host.second.peer == partnerName;
    });
}

// A partner that is being replaced leaves the bus before the end of the patience.
void HandshakeTracker::TickPartners(Microseconds now) {
    std::set<std::string> present = Partners();
    if (present != m_presentPartners) {
        m_presentPartners = std::move(present);
        m_presentSince = now;
        m_areSeveralReported = false;
    }
    if (m_presentPartners.size() < 2 || m_areSeveralReported || now - m_presentSince < PATIENCE) {
        return;
    }
    m_areSeveralReported = true;
    std::string names;
    for (const std::string& name : m_presentPartners) {
        names += (names.empty() ? "" : ", ") + name + Process(name);
    }
    Report(HandshakeEvent::Kind::Several, now, *m_presentPartners.rbegin(), "",
           std::to_string(m_presentPartners.size()) + " partners are on the bus: " + names +
               "; run one partner");
}

// In words

std::string HandshakeTracker::Process(const std::string& name) const {
    const std::string process = ProcessOf(name).Describe();
    return process.empty() ? "" : " (" + process + ")";
}

std::string HandshakeTracker::DescribeBinding(const std::string& name) const {
    const Endpoint& endpoint = *Find(name);
    const bool isHost = SideOf(name) == Side::Host;
    if (!endpoint.peer.empty()) {
        return "bound to " + endpoint.peer;
    }
    if (endpoint.isKnown && !endpoint.formerPeer.empty()) {
        return "bound to " + endpoint.formerPeer + ", which has left the bus";
    }
    return isHost ? "bound to a partner" : "bound to a host that was not seen";
}

std::string HandshakeTracker::DescribeHalfOpen(const std::string& name) const {
    const Endpoint& ready = *Find(name);
    const Endpoint& other = *Find(ready.peer);
    const bool isHost = SideOf(name) == Side::Host;
    const std::string side = isHost ? "host " : "partner ";
    const std::string otherSide = isHost ? "partner " : "host ";
    std::string text = "half-open pair: " + side + name + " is ready with " + otherSide +
                       ready.peer + " since " + TimeText::OfDay(ready.since) + "; " + otherSide +
                       ready.peer;
    if (!other.peer.empty()) {
        text += " is bound to " + other.peer;
    } else {
        text += std::string(" is bound to no ") + (isHost ? "host" : "partner");
    }
    text += " since " + TimeText::OfDay(other.since);
    if (other.peer.empty() && !other.formerPeer.empty()) {
        text += " (its last one, " + other.formerPeer + ", has left the bus)";
    }
    return text + ". Restart the " + side + name + Process(name) + ".";
}

std::string HandshakeTracker::DescribeMissing(const std::string& hostName, const Host& host) const {
    const std::string& awaited = host.progress.awaited;
    const bool isFromHost = IsHostStep(awaited);
    std::string text =
        awaited + " is missing: " +
        (isFromHost          ? "the host " + hostName
         : host.peer.empty() ? "no partner"
                             : "the partner " + host.peer) +
        (isFromHost || !host.peer.empty() ? " has not answered " : " has answered ") +
        host.progress.reason + (isFromHost ? "" : " of " + hostName);
    for (const auto& [partnerName, partner] : m_partners) {
        const std::string* const served = ConnectedHostOf(partnerName);
        if (!isFromHost && served != nullptr) {
            return text + "; it serves one host at a time, now " + *served;
        }
    }
    return text;
}

// A partner announces itself again until the first request of its host.
std::string HandshakeTracker::DescribeFound(const std::string& hostName,
                                            const std::string& partnerName) const {
    const Endpoint* const partner = Find(partnerName);
    return "host " + hostName + " and partner " + partnerName +
           " are bound to each other; no message between them was seen" +
           (partner != nullptr && partner->announcesAgain
                ? ", and the partner announces itself again: the list of the host is empty, or "
                  "the handshake is not complete"
                : "");
}

std::string HandshakeTracker::DescribeHost(const std::string& name, const Host& host) const {
    const std::string start = "host " + name;
    const std::string* const served = ConnectedHostOf(host.peer);
    if (IsConnected(name, host.peer) && host.isFound) {
        return DescribeFound(name, host.peer);
    }
    if (IsConnected(name, host.peer)) {
        return start + " is connected with partner " + host.peer;
    }
    if (host.isReported) {
        return DescribeHalfOpen(name);
    }
    if (host.isReady && served != nullptr) {
        return start + " is not connected: its partner " + host.peer + " serves host " + *served;
    }
    if (host.isReady) {
        return start + " sends requests to partner " + host.peer +
               "; a binding of the partner was not seen";
    }
    if (!host.progress.awaited.empty()) {
        return start + " is not connected: " + DescribeMissing(name, host);
    }
    if (!host.isKnown) {
        return start + " receives notifications; a binding of the host was not seen";
    }
    return start + " is not connected: it waits for a partner";
}

std::vector<std::string> HandshakeTracker::States() const {
    std::vector<std::string> states;
    bool isHostPresent = false;
    for (const auto& [name, host] : m_hosts) {
        if (!IsCheck(name)) {
            isHostPresent = true;
            states.push_back(DescribeHost(name, host));
        }
    }
    for (const auto& [name, partner] : m_partners) {
        if (partner.isReported && IsHalfOpen(name, partner)) {
            states.push_back(DescribeHalfOpen(name));
        } else if (!IsCheck(name) && OwnsStep(name)) {
            states.push_back("partner " + name +
                             " owns the name of a step and has not released it");
        } else if (!IsCheck(name) && (!isHostPresent || !IsPartnerOfAHost(name))) {
            states.push_back("partner " + name + " waits for a host");
        }
    }
    return states;
}

std::size_t HandshakeTracker::HalfOpenPairs() const {
    const auto isHalfOpen = [this](const auto& entry) {
        return entry.second.isReported && IsHalfOpen(entry.first, entry.second);
    };
    return static_cast<std::size_t>(
        std::count_if(m_hosts.begin(), m_hosts.end(), isHalfOpen) +
        std::count_if(m_partners.begin(), m_partners.end(), isHalfOpen));
}

} // namespace applistctl
