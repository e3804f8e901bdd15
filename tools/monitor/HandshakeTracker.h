// Tracks the handshakes on a bus: the announced steps, the binding of each side, missing steps, and
// pairs of which only one side is connected.
#ifndef APPLIST_TOOLS_HANDSHAKETRACKER_H
#define APPLIST_TOOLS_HANDSHAKETRACKER_H

#include <cstddef>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gio/gio.h>

#include <monitor/Events.h>

namespace applistctl {

/**
 * An announcement has no addressee. The tracker therefore models each side by itself: a side takes
 * the announcements of the other side in the bus's order, and each announcement of its own answers
 * the first one that it can answer. Two sides are connected when both models name each other.
 */
class HandshakeTracker {
public:
    using OnEvent = std::function<void(const HandshakeEvent&)>;

    /** Finds the process behind a unique name; its pid is 0 when unknown. */
    using FindProcess = std::function<PeerProcess(const std::string& uniqueName)>;

    explicit HandshakeTracker(OnEvent onEvent);

    void SetFindProcess(FindProcess findProcess) { m_findProcess = std::move(findProcess); }

    /** The signal NameOwnerChanged of the bus daemon. */
    void OwnerChanged(Microseconds time, const std::string& name, const std::string& oldOwner,
                      const std::string& newOwner);

    /** A call of RequestName, and the daemon's reply to it: an error's text, or else a code. */
    void NameRequested(const std::string& caller, guint32 serial, const std::string& name);
    void NameRefused(Microseconds time, const std::string& caller, guint32 serial,
                     const std::string& reason);
    void NameReplied(Microseconds time, const std::string& caller, guint32 serial, guint32 code);

    /** A check announces, calls and notifies as a host or a partner does, and is neither. */
    void FoundCheck(Microseconds time, const std::string& name);

    /**
     * A side that was on the bus before the monitor started.
     * @param peer its host or its partner; empty for none, or for an unknown one
     */
    void FoundHost(Microseconds time, const std::string& name, const std::string& peer);
    void FoundPartner(Microseconds time, const std::string& name, const std::string& peer);

    /** Reports the sides that were found. */
    void ReportFound(Microseconds time);

    /** Whether the host receives the notifications of @p partner, as far as that is known. */
    bool MayReceive(const std::string& host, const std::string& partner) const;

    /** @return the host that is connected with the partner; null for none */
    const std::string* ConnectedHostOf(const std::string& partnerName) const;

    /** @return the host that the partner is bound to; empty for none */
    std::string BoundHostOf(const std::string& partnerName) const;

    /** A request or a notification shows the binding of its sender, also without a handshake. */
    void OnMessage(Microseconds time, const std::string& host, const std::string& partner,
                   Side sender);

    /** Reports overdue steps, half-open pairs, and several partners. */
    void Tick(Microseconds now);

    Side SideOf(const std::string& peer) const;

    /** The process of a side, as FindProcess has reported it; its pid is 0 when unknown. */
    PeerProcess ProcessOf(const std::string& name) const;

    /** The state of each host's handshake, in words. */
    std::vector<std::string> States() const;

    /** Counts the pairs that were reported as half-open and still are. */
    std::size_t HalfOpenPairs() const;

private:
    /** An announcement that a side has received and not answered yet. */
    struct Received {
        std::string step;
        std::string from;
        bool whileBound; ///< a bound side answers no third side; a partner may do so later
    };

    /** One side as far as its own announcements show it. */
    struct Endpoint {
        std::vector<Received> received;
        std::string peer;            ///< its partner or its host; empty for none
        std::string formerPeer;      ///< the last one that has left
        bool isKnown = false;        ///< whether the absence of a peer was observed
        bool isReady = false;        ///< by its own steps or by its requests and notifications
        Microseconds since = 0;      ///< of the present peer, or of its absence
        bool isReported = false;     ///< as half-open, with the present peer
        bool isConnected = false;    ///< reported, with the present peer
        bool isFound = false;        ///< with the present peer, and no message has shown more
        bool announcesAgain = false; ///< announces itself again although it is bound
    };

    /** The next step that a host waits for. */
    struct Progress {
        std::string awaited; ///< the step that comes next; empty for none
        std::string reason;  ///< the step that it answers
        Microseconds waitingSince = 0;
        Microseconds start = 0; ///< when both sides were on the bus
        std::string startStep;
        bool isReported = false; ///< as missing
    };

    struct Host : Endpoint {
        Progress progress;
    };
    struct Partner : Endpoint {};

    struct NameOwner {
        std::string uniqueName;
        Microseconds since;
        bool isReported;
    };
    using Call = std::pair<std::string, guint32>; // caller and serial
    using CallerAndStep = std::pair<std::string, std::string>;

    /** The last reported refusal of a step. */
    struct Refusal {
        std::string reason;
        Microseconds time;
    };

    void SetSide(Microseconds time, const std::string& name, Side side);
    bool IsCheck(const std::string& name) const { return SideOf(name) == Side::Check; }
    void Step(Microseconds time, const std::string& step, const std::string& sender);
    void OnClientSyn(Microseconds time, const std::string& name);
    void OnServiceSyn(Microseconds time, const std::string& name);
    void OnClientSynAck(Microseconds time, const std::string& name);
    void OnServiceSynAck(Microseconds time, const std::string& name);
    void DropAnnouncementsOfReadyHosts(Partner& partner) const;
    std::string OnlyHostAwaiting(const std::string& step) const;
    void OnClientAck(Microseconds time, const std::string& name);
    void OnServiceAck(Microseconds time, const std::string& name);
    void OnLeft(Microseconds time, const std::string& name);
    bool IsNewRefusal(Microseconds time, const CallerAndStep& attempt, const std::string& reason);
    void BindRefused(Microseconds time, const std::string& caller, const std::string& step);

    static void Receive(Endpoint& endpoint, const std::string& step, const std::string& from,
                        bool whileBound);
    std::string PopAnswered(Endpoint& endpoint, const std::string& step) const;
    void Bind(Microseconds time, Endpoint& endpoint, const std::string& peer) const;
    static void Unbind(Microseconds time, Host& host);
    static void Unbind(Microseconds time, Partner& partner);
    static void SetPeer(Microseconds time, Endpoint& endpoint, const std::string& peer);
    void Await(Host& host, const std::string& step, const std::string& reason, Microseconds time);
    void Connect(Microseconds time, const std::string& hostName);
    void ReportShared(Microseconds time, const std::string& hostName);
    static bool AwaitsAck(const Host& host);
    bool IsConnected(const std::string& hostName, const std::string& partnerName) const;

    void TickHosts(Microseconds now);
    void TickHalfOpen(Microseconds now);
    void TickNames(Microseconds now);
    void TickPartners(Microseconds now);
    std::set<std::string> Partners() const;
    bool IsPartnerOfAHost(const std::string& partnerName) const;
    bool IsHalfOpen(const std::string& name, const Endpoint& endpoint) const;
    bool OwnsStep(const std::string& name) const;
    std::string DescribeBinding(const std::string& name) const;
    std::string DescribeHalfOpen(const std::string& name) const;
    std::string DescribeMissing(const std::string& hostName, const Host& host) const;
    std::string DescribeFound(const std::string& hostName, const std::string& partnerName) const;
    std::string DescribeHost(const std::string& name, const Host& host) const;
    std::string Process(const std::string& name) const;
    const Endpoint* Find(const std::string& name) const;
    Partner& PartnerOf(const std::string& name);
    Host& HostOf(const std::string& name);
    bool HasLeft(const std::string& name) const { return m_left.count(name) != 0; }

    HandshakeEvent Event(HandshakeEvent::Kind kind, Microseconds time,
                         const std::string& who) const;
    void Report(HandshakeEvent::Kind kind, Microseconds time, const std::string& who,
                const std::string& step, const std::string& text, Microseconds elapsed = 0);

    OnEvent m_onEvent;
    FindProcess m_findProcess;
    std::map<std::string, Side> m_sides;
    std::map<std::string, Host> m_hosts;
    std::map<std::string, Partner> m_partners;
    std::set<std::string> m_arrived; ///< unique names that joined the bus while it was watched
    std::set<std::string> m_left;    ///< the observed sides that have left; the bus reuses no name
    std::map<std::string, PeerProcess> m_processes;
    std::string m_newestPartner;                   ///< the last one that announced itself
    std::map<std::string, NameOwner> m_nameOwners; ///< by step
    std::map<Call, std::string> m_requested;
    std::map<CallerAndStep, Refusal> m_refusals;
    std::set<std::string> m_presentPartners; ///< at the last tick
    Microseconds m_presentSince = 0;         ///< these partners, without a change
    bool m_areSeveralReported = false;       ///< the present partners
};

} // namespace applistctl

#endif
