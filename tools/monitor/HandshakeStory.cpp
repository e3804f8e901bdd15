#include <monitor/HandshakeStory.h>

#include <algorithm>

#include <ipc/HandshakeNames.h>
#include <monitor/TimeText.h>
#include <shared/Endpoint.h>

namespace {

// A host repeats an answer every half second.
constexpr Microseconds PATIENCE = 2 * SECOND;
constexpr std::size_t MOST_ASKED = 1000; // at once, for names that are never answered

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

bool IsHostStep(const std::string& step) {
    return step.rfind(JavaMWDbusRemote::BROADCAST_PREFIX, 0) == 0;
}

} // namespace

HandshakeStory::HandshakeStory(OnEvent onEvent) : m_onEvent(std::move(onEvent)) {}

Side HandshakeStory::SideOf(const std::string& peer) const {
    const auto found = m_sides.find(peer);
    return found != m_sides.end() ? found->second : Side::Unknown;
}

void HandshakeStory::Tell(HandshakeEvent::Kind kind, Microseconds time, const std::string& who,
                          const std::string& step, const std::string& text, Microseconds elapsed) {
    m_onEvent({kind, time, {who, SideOf(who)}, step, "", "", elapsed, text});
}

// Names come and go

void HandshakeStory::OwnerChanged(Microseconds time, const std::string& name,
                                  const std::string& oldOwner, const std::string& newOwner) {
    if (name == oldOwner && newOwner.empty()) {
        Left(time, name);
        return;
    }
    const std::string step = StepOf(name);
    if (step.empty()) {
        return;
    }
    m_holders.erase(step);
    if (!newOwner.empty()) {
        m_holders[step] = {newOwner, time, false};
    }
    if (!oldOwner.empty()) {
        m_sides[oldOwner] = IsHostStep(step) ? Side::Host : Side::Partner;
        Step(time, step, oldOwner);
    }
}

void HandshakeStory::NameAsked(const std::string& caller, guint32 serial, const std::string& name) {
    const std::string step = StepOf(name);
    if (!step.empty() && m_asked.size() < MOST_ASKED) {
        m_asked[{caller, serial}] = step;
    }
}

void HandshakeStory::NameRefused(Microseconds time, const std::string& caller, guint32 serial,
                                 const std::string& why) {
    const auto asked = m_asked.find({caller, serial});
    if (asked != m_asked.end()) {
        m_sides.emplace(caller, IsHostStep(asked->second) ? Side::Host : Side::Partner);
        Tell(HandshakeEvent::Kind::Refused, time, caller, asked->second,
             "cannot own the name: " + why);
        m_asked.erase(asked);
    }
}

void HandshakeStory::NameAnswered(Microseconds time, const std::string& caller, guint32 serial,
                                  guint32 code) {
    constexpr guint32 PRIMARY_OWNER = 1;
    if (code != PRIMARY_OWNER) {
        NameRefused(time, caller, serial,
                    code == 2   ? "another owns it, and it waits in the queue"
                    : code == 3 ? "another owns it"
                    : code == 4 ? "it owns it already"
                                : "the answer is " + std::to_string(code));
    }
    m_asked.erase({caller, serial});
}

// The steps

void HandshakeStory::Step(Microseconds time, const std::string& step, const std::string& who) {
    static const std::map<std::string, void (HandshakeStory::*)(Microseconds, const std::string&)>
        steps = {{CLIENT_SYN, &HandshakeStory::OnClientSyn},
                 {SERVICE_SYN, &HandshakeStory::OnServiceSyn},
                 {CLIENT_SYN_ACK, &HandshakeStory::OnClientSynAck},
                 {SERVICE_SYN_ACK, &HandshakeStory::OnServiceSynAck},
                 {CLIENT_ACK, &HandshakeStory::OnClientAck},
                 {SERVICE_ACK, &HandshakeStory::OnServiceAck}};
    (this->*steps.at(step))(time, who);
}

void HandshakeStory::OnClientSyn(Microseconds time, const std::string& host) {
    Tell(HandshakeEvent::Kind::Announced, time, host, CLIENT_SYN, "a host has started");
    HostState& state = m_hosts[host] = {};
    state.start = time;
    state.startStep = CLIENT_SYN;
    state.announced = time;
    Await(state, SERVICE_SYN_ACK, CLIENT_SYN, time);
}

void HandshakeStory::OnServiceSyn(Microseconds time, const std::string& partner) {
    Tell(HandshakeEvent::Kind::Announced, time, partner, SERVICE_SYN, "a partner is there");
    m_newestPartner = partner;
    m_partnerStart = time;
    for (auto& [name, state] : m_hosts) {
        if (state.partner.empty()) {
            state.start = time;
            state.startStep = SERVICE_SYN;
            Await(state, CLIENT_SYN_ACK, SERVICE_SYN, time);
        }
    }
}

void HandshakeStory::OnClientSynAck(Microseconds time, const std::string& host) {
    const auto [entry, isNew] = m_hosts.try_emplace(host);
    HostState& state = entry->second;
    if (isNew) { // its own announcement was before the watching started
        state.start = m_newestPartner.empty() ? time : m_partnerStart;
        state.startStep = m_newestPartner.empty() ? CLIENT_SYN_ACK : SERVICE_SYN;
    }
    if (state.partner.empty()) {
        state.partner = m_newestPartner;
    }
    Tell(HandshakeEvent::Kind::Announced, time, host, CLIENT_SYN_ACK,
         state.partner.empty() ? "bound to a partner" : "bound to " + state.partner);
    if (!state.ready) {
        Await(state, SERVICE_ACK, CLIENT_SYN_ACK, time);
    }
}

// Announcements have no addressee: every host that waits for this one takes it for its own.
void HandshakeStory::OnServiceSynAck(Microseconds time, const std::string& partner) {
    const std::string bound = FirstWaitingHost();
    Tell(HandshakeEvent::Kind::Announced, time, partner, SERVICE_SYN_ACK,
         "bound to " + (bound.empty() ? "a host that was not seen" : bound));
    for (auto& [name, state] : m_hosts) {
        // Both have started at once: the host is bound already, and waits for its own answer.
        if (state.awaited == SERVICE_SYN_ACK || state.awaited == CLIENT_SYN_ACK) {
            state.partner = partner;
            Await(state, CLIENT_ACK, SERVICE_SYN_ACK, time);
        }
    }
}

// The one that a partner binds to: the first that has announced itself since the partner is there,
// else the last before.
std::string HandshakeStory::FirstWaitingHost() const {
    std::string before;
    std::string since;
    for (const auto& [name, state] : m_hosts) {
        if (state.ready || state.announced == 0) {
            continue;
        }
        if (state.announced >= m_partnerStart) {
            since = since.empty() || state.announced < m_hosts.at(since).announced ? name : since;
        } else {
            before =
                before.empty() || state.announced > m_hosts.at(before).announced ? name : before;
        }
    }
    return since.empty() ? before : since;
}

void HandshakeStory::OnClientAck(Microseconds time, const std::string& host) {
    Tell(HandshakeEvent::Kind::Announced, time, host, CLIENT_ACK, "ready");
    const std::string partner = m_hosts[host].partner;
    BecomeReady(time, host, partner.empty() ? m_newestPartner : partner);
}

void HandshakeStory::OnServiceAck(Microseconds time, const std::string& partner) {
    Tell(HandshakeEvent::Kind::Announced, time, partner, SERVICE_ACK, "ready");
    for (auto& [name, state] : m_hosts) {
        if (state.awaited == SERVICE_ACK && (state.partner.empty() || state.partner == partner)) {
            BecomeReady(time, name, partner);
            return;
        }
    }
}

void HandshakeStory::Await(HostState& host, const std::string& step, const std::string& reason,
                           Microseconds time) {
    // A step that is announced again does not start the wait again.
    if (host.awaited != step) {
        host.waitingSince = time;
        host.told = false;
    }
    host.awaited = step;
    host.reason = reason;
}

void HandshakeStory::BecomeReady(Microseconds time, const std::string& host,
                                 const std::string& partner) {
    HostState& state = m_hosts[host];
    state.partner = partner;
    state.awaited.clear();
    if (state.ready) {
        return;
    }
    state.ready = true;
    HandshakeEvent event{HandshakeEvent::Kind::Ready,
                         time,
                         {host, Side::Host},
                         state.startStep,
                         host,
                         partner,
                         0,
                         ""};
    const std::string start =
        "connected: host " + host + " and partner " + (partner.empty() ? "(not seen)" : partner);
    if (state.startStep.empty()) {
        event.text = start + "; the start was before the watching";
    } else {
        event.elapsed = time - state.start;
        event.text =
            start + ", ready " + TimeText::Span(event.elapsed) + " after " + state.startStep;
    }
    m_onEvent(event);
    for (const auto& [name, other] : m_hosts) {
        if (name != host && other.ready && other.partner == partner) {
            Tell(HandshakeEvent::Kind::Shared, time, host, "",
                 std::string("hosts ").append(name).append(" and ").append(host) + " both take " +
                     partner + " for their partner, which serves one of them: run one host");
        }
    }
}

void HandshakeStory::Talked(Microseconds time, const std::string& host, const std::string& partner,
                            Side sender) {
    if (sender == Side::Host ? IsTaken(partner, host) : IsBoundToAnother(host, partner)) {
        const std::string& stranger = sender == Side::Host ? host : partner;
        if (m_sides.emplace(stranger, Side::Unknown).second) { // told once
            Tell(HandshakeEvent::Kind::Stranger, time, stranger, "",
                 stranger + " talks to the " + (sender == Side::Host ? "partner " : "host ") +
                     (sender == Side::Host ? partner : host) + ", which is connected with another");
        }
        return;
    }
    m_sides.emplace(host, Side::Host);
    m_sides.emplace(partner, Side::Partner);
    if (m_hosts.count(host) != 0) {
        return;
    }
    HostState& state = m_hosts[host];
    state.partner = partner;
    state.ready = true;
    m_onEvent({HandshakeEvent::Kind::Found,
               time,
               {host, Side::Host},
               "",
               host,
               partner,
               0,
               "host " + host + " and partner " + partner +
                   " talk: their handshake was before the watching"});
}

// Whether a host that nobody knows talks to the partner of another.
bool HandshakeStory::IsTaken(const std::string& partner, const std::string& host) const {
    return m_hosts.count(host) == 0 &&
           std::any_of(m_hosts.begin(), m_hosts.end(), [&](const auto& entry) {
               return entry.second.ready && entry.second.partner == partner;
           });
}

bool HandshakeStory::IsBoundToAnother(const std::string& host, const std::string& partner) const {
    const auto state = m_hosts.find(host);
    return state != m_hosts.end() && !state->second.partner.empty() &&
           state->second.partner != partner;
}

void HandshakeStory::Left(Microseconds time, const std::string& peer) {
    if (m_sides.count(peer) == 0) {
        return;
    }
    if (SideOf(peer) != Side::Unknown) {
        Tell(HandshakeEvent::Kind::Left, time, peer, "",
             "the " + std::string(SideName(SideOf(peer))) + " " + peer + " has left the bus");
    }
    m_sides.erase(peer);
    m_hosts.erase(peer);
    for (auto& [name, state] : m_hosts) {
        const bool isAsked = state.awaited == CLIENT_SYN_ACK && peer == m_newestPartner;
        if (state.partner == peer || isAsked) {
            state = HostState(); // it waits for the next partner, for as long as it takes
        }
    }
    if (m_newestPartner == peer) {
        m_newestPartner.clear();
    }
    m_asked.erase(m_asked.lower_bound({peer, 0}), m_asked.upper_bound({peer, G_MAXUINT32}));
}

// What is missing

void HandshakeStory::Tick(Microseconds now) {
    for (auto& [name, state] : m_hosts) {
        const Microseconds waited = now - state.waitingSince;
        if (!state.awaited.empty() && !state.told && waited >= PATIENCE) {
            state.told = true;
            Tell(HandshakeEvent::Kind::Missing, now, name, state.awaited, Missing(name, state),
                 waited);
        }
    }
    for (auto& [step, holder] : m_holders) {
        const Microseconds held = now - holder.since;
        if (!holder.told && held >= PATIENCE) {
            holder.told = true;
            m_sides.try_emplace(holder.owner, IsHostStep(step) ? Side::Host : Side::Partner);
            Tell(HandshakeEvent::Kind::Held, now, holder.owner, step,
                 step + " is owned by " + holder.owner + " for " + TimeText::Span(held) +
                     ": the step counts when the name is released",
                 held);
        }
    }
}

std::string HandshakeStory::Missing(const std::string& host, const HostState& state) const {
    const bool fromHost = IsHostStep(state.awaited);
    std::string start =
        state.awaited + " is missing: " +
        (fromHost                ? "the host " + host
         : state.partner.empty() ? "no partner"
                                 : "the partner " + state.partner) +
        (fromHost || !state.partner.empty() ? " has not answered " : " has answered ") +
        state.reason + (fromHost ? "" : " of " + host);
    const auto other = std::find_if(m_hosts.begin(), m_hosts.end(),
                                    [](const auto& entry) { return entry.second.ready; });
    if (!fromHost && other != m_hosts.end()) {
        return start + "; it serves one host at a time, now " + other->first;
    }
    return start;
}

std::vector<std::string> HandshakeStory::States() const {
    std::vector<std::string> states;
    for (const auto& [name, state] : m_hosts) {
        if (state.ready) {
            states.push_back("host " + name + " is connected with partner " +
                             (state.partner.empty() ? "(not seen)" : state.partner));
        } else if (!state.awaited.empty()) {
            states.push_back("host " + name + " is not connected: " + Missing(name, state));
        } else {
            states.push_back("host " + name + " is not connected: it waits for a partner");
        }
    }
    if (m_hosts.empty() && !m_newestPartner.empty()) {
        states.push_back("partner " + m_newestPartner + " waits for a host");
    }
    return states;
}
