// What the monitor has to tell: the events that the story makes of messages.
#ifndef APPLIST_TOOLS_EVENTS_H
#define APPLIST_TOOLS_EVENTS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <monitor/SeenMessage.h>
#include <shared/ItemListing.h>

enum class Side { Unknown, Host, Partner };

constexpr const char* SideName(Side side) {
    return side == Side::Host ? "host" : side == Side::Partner ? "partner" : "unknown";
}

/** Somebody on the bus. */
struct Peer {
    std::string name; ///< unique, like ":1.42"
    Side side = Side::Unknown;
};

/** A step of the handshake, or what the steps so far amount to. */
struct HandshakeEvent {
    enum class Kind {
        Announced, ///< `who` has taken `step`
        Ready,     ///< all steps are done
        Found,     ///< two that talk without a handshake that was seen
        Missing,   ///< `step` should have come from the other side of `who`
        Held,      ///< `who` owns the name of `step` and does not release it
        Refused,   ///< the bus does not let `who` own the name of `step`
        Stranger,  ///< `who` talks to somebody who is connected with another
        Shared,    ///< two hosts have the same partner
        Left       ///< `who` is gone from the bus
    };
    Kind kind;
    Microseconds time;
    Peer who;
    std::string step;         ///< like "_CLIENT_SYN"
    std::string host;         ///< of Ready and Found
    std::string partner;      ///< of Ready and Found
    Microseconds elapsed = 0; ///< until Ready; how long Missing or Held
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
};

struct ReplySeen {
    Microseconds time = 0;
    std::size_t size = 0;
    std::vector<ListedItem> items; ///< of the query for the selection
    std::string problem;           ///< empty when well formed
    std::string errorName;         ///< of an error
    std::string errorText;
};

/** A call of "Send", and what became of it. */
struct Exchange {
    unsigned number = 0; ///< counts from 1
    Microseconds time = 0;
    Peer from;
    Peer to;
    Content content;
    std::optional<ReplySeen> reply;

    Microseconds Latency() const { return reply ? reply->time - time : 0; }
    bool Failed() const { return reply && !reply->errorName.empty(); }
};

struct NotificationSeen {
    Microseconds time = 0;
    Peer from;
    Peer to;
    Content content;
};

#endif
