// The events of the monitor, which the analysis makes of messages.
#ifndef APPLIST_TOOLS_EVENTS_H
#define APPLIST_TOOLS_EVENTS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <monitor/SeenMessage.h>
#include <shared/ItemListing.h>
#include <shared/PeerProcess.h>

namespace applistctl {

enum class Side { Unknown, Host, Partner, Check };

constexpr const char* SideName(Side side) {
    switch (side) {
    case Side::Host:
        return "host";
    case Side::Partner:
        return "partner";
    case Side::Check:
        return "check";
    case Side::Unknown:
        break;
    }
    return "unknown";
}

/** A process on the bus. */
struct Peer {
    std::string name; ///< unique, like ":1.42"
    Side side = Side::Unknown;
};

/** A step of the handshake, or the result of the steps so far. */
struct HandshakeEvent {
    enum class Kind {
        Identified, ///< `process` is the process of `who`
        Checking,   ///< `who` is a check whose process is not known
        Present,    ///< `who` was on the bus before the monitor
        Announced,  ///< `who` has announced `step`
        Ready,      ///< both sides are bound to each other and ready
        Found,      ///< a pair with messages and without an observed handshake
        Missing,    ///< `step` should have come from the other side of `who`
        HalfOpen,   ///< `who` is ready with a side that is not bound to it
        Held,       ///< `who` owns the name of `step` and does not release it
        Refused,    ///< the bus refuses `who` the name of `step`
        Unbound,    ///< `who` sends to a process that is bound to another one
        Shared,     ///< two hosts have the same partner
        Several,    ///< several partners are on the bus, `who` among them
        Stuck,      ///< `who` has not reacted to a notification
        NoList,     ///< `who` has sent no list after the notification that asks for the list
        NoRequest,  ///< `who`, a partner, has not asked for the list after the handshake
        Left        ///< `who` has left the bus
    };
    Kind kind = Kind::Announced;
    Microseconds time = 0;
    Peer who;
    std::string step;         ///< like "_CLIENT_SYN"
    std::string host;         ///< of Ready, Found and HalfOpen
    std::string partner;      ///< of Ready, Found and HalfOpen
    Microseconds elapsed = 0; ///< until Ready; how long Missing, HalfOpen or Held
    Microseconds since = 0;   ///< of HalfOpen
    std::string restart;      ///< of HalfOpen: the unique name of the process to restart
    PeerProcess process;      ///< of Identified
    std::string text;         ///< the same for a reader
};

/** The bytes of a message or a notification, taken apart. */
struct Content {
    std::int32_t id = 0;
    bool hasId = false;
    std::string name; ///< empty for an id that has none
    std::size_t size = 0;
    std::vector<ListedItem> items;
    std::string problem; ///< empty when well formed
    std::string cut;     ///< the bytes that the capture lacks, in words; empty for none
};

struct ReplySeen {
    Microseconds time = 0;
    std::size_t size = 0;
    std::vector<ListedItem> items; ///< of the query for the selection
    std::string problem;           ///< empty when well formed
    std::string cut;               ///< as above
    std::string errorName;         ///< of an error
    std::string errorText;
};

/** A call of "Send" with its reply. */
struct RequestSeen {
    unsigned number = 0; ///< counts from 1
    Microseconds time = 0;
    Peer from;
    Peer to;
    Content content;
    std::optional<ReplySeen> reply;
    PeerProcess receiver;           ///< of a late reply; its pid is 0 when unknown
    const char* receiverState = ""; ///< of a late reply: "stopped", "running", or unknown

    Microseconds Latency() const { return reply ? reply->time - time : 0; }
    /** An empty Send of a check, whose result the check reports itself. */
    bool IsOfCheck() const {
        return from.side == Side::Check && content.size == 0 && content.problem.empty();
    }
    bool Failed() const { return reply && !reply->errorName.empty(); }
};

struct NotificationSeen {
    Microseconds time = 0;
    Peer from;
    Peer to;
    Content content;
};

} // namespace applistctl

#endif
