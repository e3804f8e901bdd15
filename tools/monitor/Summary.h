// Counts of all events, and the latencies of each request.
#ifndef APPLIST_TOOLS_SUMMARY_H
#define APPLIST_TOOLS_SUMMARY_H

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <monitor/Events.h>

namespace applistctl {

/** Keeps every latency: one number for each request. */
class Latencies {
public:
    void Add(Microseconds latency);
    std::size_t Count() const { return m_sorted.size(); }

    /** The least latency that @p percent of all do not exceed; 0 when there is none. */
    Microseconds Percentile(unsigned percent) const;

private:
    mutable std::vector<Microseconds> m_sorted; // at the first query
    mutable bool m_isSorted = true;
};

class Summary {
public:
    struct Requests {
        std::size_t answered = 0;
        std::size_t failed = 0;     ///< with an error
        std::size_t unanswered = 0; ///< until the end
        Latencies latencies;        ///< of those answered
        std::size_t Total() const { return answered + failed + unanswered; }
    };

    void Begin(Microseconds time);
    void SetEnd(Microseconds time);
    void CountMessage(Microseconds time);
    void Add(const HandshakeEvent& event);
    void Add(const RequestSeen& request);
    void Add(const NotificationSeen& notification);
    void AddMalformed() { ++m_malformed; }
    void AddCut() { ++m_cut; }
    void AddLate() { ++m_late; }
    void SetHandshakes(std::vector<std::string> states, std::size_t halfOpenPairs) {
        m_handshakes = std::move(states);
        m_halfOpenPairs = halfOpenPairs;
    }

    Microseconds Duration() const { return m_end - m_start; }
    std::size_t Messages() const { return m_messages; }
    std::size_t ReadyCount() const { return m_ready; }
    std::size_t HandshakeProblems() const { return m_handshakeProblems; }

    /** Counts the hosts that have not reacted to a notification in time, also those with a later
     * reaction. */
    std::size_t StuckCount() const { return m_stuckHosts.size(); }

    /** Counts the half-open pairs that remain at the end. */
    std::size_t HalfOpenPairs() const { return m_halfOpenPairs; }
    std::size_t MalformedCount() const { return m_malformed; }

    /** Counts the requests without a reply for a second, also those with a later reply. */
    std::size_t LateCount() const { return m_late; }

    /** Counts the messages that the capture does not contain completely. */
    std::size_t CutCount() const { return m_cut; }

    /** The state of each host's handshake at the end, in words. */
    const std::vector<std::string>& Handshakes() const { return m_handshakes; }

    /** By title, like "APPLIST_ADD_ITEMS_FNC (2004)". */
    const std::map<std::string, Requests>& RequestsByTitle() const { return m_requests; }
    const std::map<std::string, std::size_t>& NotificationsByTitle() const {
        return m_notifications;
    }

    /** Whether any event is a fault. A cut message is none. */
    bool HasTrouble() const;

private:
    void CountResult(const RequestSeen& request);

    std::size_t m_messages = 0;
    bool m_hasBegun = false;
    Microseconds m_start = 0;
    Microseconds m_end = 0;
    std::size_t m_ready = 0;
    std::size_t m_handshakeProblems = 0;
    std::size_t m_malformed = 0;
    std::size_t m_cut = 0;
    std::size_t m_late = 0;
    std::size_t m_halfOpenPairs = 0;
    std::set<std::string> m_stuckHosts;
    std::vector<std::string> m_handshakes;
    std::map<std::string, Requests> m_requests;
    std::map<std::string, std::size_t> m_notifications;
};

} // namespace applistctl

#endif
