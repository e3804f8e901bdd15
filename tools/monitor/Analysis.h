// Analyses the messages on a bus: handshakes, requests with their replies, notifications.
#ifndef APPLIST_TOOLS_ANALYSIS_H
#define APPLIST_TOOLS_ANALYSIS_H

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include <gio/gio.h>

#include <monitor/Events.h>
#include <monitor/HandshakeTracker.h>
#include <monitor/Reporter.h>
#include <monitor/SeenMessage.h>
#include <monitor/Summary.h>

namespace applistctl {

class Analysis {
public:
    /** @param reporter receives every event, in order, and outlives the analysis */
    explicit Analysis(Reporter& reporter);

    void Take(const SeenMessage& seen);

    /** A message that could not be read at all. */
    void AddUnreadable(Microseconds time, const std::string& problem);

    /** A message whose header the capture does not contain. */
    void AddIncomplete(Microseconds time, const std::string& text);

    /** Starts the summary, live. A capture starts with its first message. */
    void Begin(Microseconds now) { m_summary.Begin(now); }

    /** Reports overdue steps and replies. Times never go back. */
    void Tick(Microseconds now);

    /** The states of the summary are then those at the loss of the bus. */
    void LoseBus() { m_hasLostBus = true; }

    /** Reports open requests and the summary. */
    void End();
    void End(Microseconds now);

    /** Requests that are done, and notifications. */
    std::size_t ReportedCount() const { return m_reportedCount; }
    void SetFindProcess(HandshakeTracker::FindProcess findProcess) {
        m_handshake.SetFindProcess(std::move(findProcess));
    }

    /** The state of a process, "stopped" or "running"; not for captures. */
    void SetFindState(std::function<const char*(guint32 pid)> findState) {
        m_findState = std::move(findState);
    }
    HandshakeTracker& Handshake() { return m_handshake; }
    const Summary& Result() const { return m_summary; }

private:
    /** A step that needs a reaction: a notification 2 or 4 of a host, or a partner's handshake. */
    struct Notified {
        Microseconds since = 0;
        bool isReported = false;
    };
    using ByName = std::map<std::string, Notified>;
    struct Pending {
        RequestSeen request;
        bool late = false;
    };
    using Call = std::pair<std::string, guint32>; // caller and serial

    void OnSignal(const SeenMessage& seen);
    void OnOwnerChanged(const SeenMessage& seen);
    void OnNotification(const SeenMessage& seen);
    void AwaitNotification(const HandshakeEvent& event);
    void AwaitReaction(const SeenMessage& seen, const std::string& host, std::int32_t id);
    void TickReactions(Microseconds now);
    template <typename Describe>
    void ReportWaiting(ByName& names, Microseconds now, Describe describe);
    static void DescribeStuck(HandshakeEvent& event);
    static void DescribeNoList(HandshakeEvent& event);
    static void DescribeNoRequest(HandshakeEvent& event);
    void OnCall(const SeenMessage& seen);
    void OnNameCall(const SeenMessage& seen);
    void OnSend(const SeenMessage& seen);
    void OnAnswer(const SeenMessage& seen);
    void OnNameAnswer(const SeenMessage& seen);
    void ReportLate(RequestSeen& request, Microseconds waited);
    void Finish(const RequestSeen& request);
    void Malformed(Microseconds time, const std::string& text);
    Peer PeerOf(const std::string& name) const;

    Reporter& m_reporter;
    Summary m_summary;
    HandshakeTracker m_handshake;
    std::function<const char*(guint32)> m_findState;
    std::map<Call, Pending> m_pending;
    ByName m_selections;                        ///< hosts with a notification 2 before their query
    ByName m_lists;                             ///< hosts with a notification 4 before their list
    ByName m_partners;                          ///< connected partners before their notification 4
    std::map<std::string, std::string> m_asked; ///< partners with a notification 4, and its host
    unsigned m_number = 0;
    std::size_t m_reportedCount = 0;
    Microseconds m_lastTick = 0;
    bool m_hasLostBus = false;
    std::string m_path;
};

} // namespace applistctl

#endif
