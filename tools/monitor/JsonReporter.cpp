#include <monitor/JsonReporter.h>

#include <nlohmann/json.hpp>

#include <monitor/TimeText.h>

namespace applistctl {

using Json = nlohmann::ordered_json;

namespace {

// What is no UTF-8 in a name or an id is replaced: JSON cannot carry it.
void Write(const Json& object, Output& output) {
    const std::string line = object.dump(-1, ' ', false, Json::error_handler_t::replace);
    output.Verbatim(ItemListing::PrintableJson(line) + "\n");
}

double Milliseconds(Microseconds span) {
    return static_cast<double>(span) / 1e3;
}

Json Event(const char* name, Microseconds time) {
    return {{"event", name}, {"time", TimeText::Iso(time)}};
}

Json ItemsOf(const std::vector<ListedItem>& items) {
    Json array = Json::array();
    for (const ListedItem& item : items) {
        array.push_back({{"name", item.name}, {"id", item.id}});
    }
    return array;
}

void AddPeers(Json& object, const Peer& from, const Peer& to) {
    object["from"] = from.name;
    object["from_side"] = SideName(from.side);
    object["to"] = to.name;
    object["to_side"] = SideName(to.side);
}

void AddContent(Json& object, const Content& content) {
    if (content.hasId) {
        object["id"] = content.id;
    }
    if (!content.name.empty()) {
        object["name"] = content.name;
    }
    object["bytes"] = content.size;
    if (!content.problem.empty()) {
        object["malformed"] = content.problem;
    }
    if (!content.cut.empty()) {
        object["cut"] = content.cut;
    }
}

Json RequestEvent(const char* name, const RequestSeen& request) {
    Json object = Event(name, request.time);
    object["number"] = request.number;
    AddPeers(object, request.from, request.to);
    AddContent(object, request.content);
    object["items"] = ItemsOf(request.content.items);
    return object;
}

Json ReplyOf(const ReplySeen& reply) {
    Json object = {{"bytes", reply.size}, {"items", ItemsOf(reply.items)}};
    if (!reply.problem.empty()) {
        object["malformed"] = reply.problem;
    }
    if (!reply.cut.empty()) {
        object["cut"] = reply.cut;
    }
    return object;
}

const char* KindName(HandshakeEvent::Kind kind) {
    switch (kind) {
    case HandshakeEvent::Kind::Identified:
        return "identified";
    case HandshakeEvent::Kind::Checking:
        return "checking";
    case HandshakeEvent::Kind::Present:
        return "present";
    case HandshakeEvent::Kind::Announced:
        return "announced";
    case HandshakeEvent::Kind::Ready:
        return "ready";
    case HandshakeEvent::Kind::Found:
        return "found";
    case HandshakeEvent::Kind::Missing:
        return "missing";
    case HandshakeEvent::Kind::HalfOpen:
        return "half-open";
    case HandshakeEvent::Kind::Held:
        return "held";
    case HandshakeEvent::Kind::Refused:
        return "refused";
    case HandshakeEvent::Kind::Unbound:
        return "unbound";
    case HandshakeEvent::Kind::Shared:
        return "shared";
    case HandshakeEvent::Kind::Several:
        return "several";
    case HandshakeEvent::Kind::Stuck:
        return "stuck";
    case HandshakeEvent::Kind::NoList:
        return "no-list";
    case HandshakeEvent::Kind::NoRequest:
        return "no-request";
    case HandshakeEvent::Kind::Left:
        break;
    }
    return "left";
}

Json RequestCounts(const Summary& summary) {
    Json all = Json::object();
    for (const auto& [title, requests] : summary.RequestsByTitle()) {
        Json counts = {{"answered", requests.answered},
                       {"failed", requests.failed},
                       {"unanswered", requests.unanswered}};
        if (requests.latencies.Count() > 0) {
            Json& latency = counts["latency_ms"];
            for (const unsigned percent : {50U, 90U, 99U}) {
                latency["p" + std::to_string(percent)] =
                    Milliseconds(requests.latencies.Percentile(percent));
            }
            latency["max"] = Milliseconds(requests.latencies.Percentile(100));
        }
        all[title] = std::move(counts);
    }
    return all;
}

} // namespace

void JsonReporter::Begin(const std::string& source) {
    Write({{"event", "begin"}, {"source", source}}, m_output);
}

void JsonReporter::Handshake(const HandshakeEvent& event) {
    Json object = Event("handshake", event.time);
    object["what"] = KindName(event.kind);
    object["who"] = event.who.name;
    object["side"] = SideName(event.who.side);
    if (!event.step.empty()) {
        object["step"] = event.step;
    }
    if (!event.host.empty()) {
        object["host"] = event.host;
        object["partner"] = event.partner;
    }
    if (event.kind == HandshakeEvent::Kind::HalfOpen) {
        object["since"] = TimeText::Iso(event.since);
        object["restart"] = event.restart;
    }
    if (event.kind == HandshakeEvent::Kind::Identified) {
        object["pid"] = event.process.pid;
        object["user"] = event.process.User();
        object["program"] = event.process.command;
    }
    if (event.elapsed > 0) {
        object["elapsed_ms"] = Milliseconds(event.elapsed);
    }
    object["text"] = event.text;
    Write(object, m_output);
}

void JsonReporter::Late(const RequestSeen& request, Microseconds waited) {
    Json object = RequestEvent("late", request);
    object["waited_ms"] = Milliseconds(waited);
    if (request.receiver.pid != 0) {
        object["to_pid"] = request.receiver.pid;
        object["to_program"] = request.receiver.command;
    }
    if (*request.receiverState != '\0') {
        object["to_state"] = request.receiverState;
    }
    Write(object, m_output);
}

void JsonReporter::Done(const RequestSeen& request) {
    Json object = RequestEvent("request", request);
    if (!request.reply) {
        object["result"] = "unanswered";
    } else {
        object["result"] = request.Failed() ? "failed" : "answered";
        object["latency_ms"] = Milliseconds(request.Latency());
        if (request.Failed()) {
            object["error"] = {{"name", request.reply->errorName},
                               {"text", request.reply->errorText}};
        } else {
            object["reply"] = ReplyOf(*request.reply);
        }
    }
    Write(object, m_output);
}

void JsonReporter::Notified(const NotificationSeen& notification) {
    Json object = Event("notification", notification.time);
    AddPeers(object, notification.from, notification.to);
    AddContent(object, notification.content);
    Write(object, m_output);
}

void JsonReporter::Malformed(Microseconds time, const std::string& text) {
    Json object = Event("malformed", time);
    object["text"] = text;
    Write(object, m_output);
}

void JsonReporter::Cut(Microseconds time, const std::string& text) {
    Json object = Event("cut", time);
    object["text"] = text;
    Write(object, m_output);
}

void JsonReporter::End(const Summary& summary) {
    Json object = {{"event", "summary"},
                   {"duration_ms", Milliseconds(summary.Duration())},
                   {"messages", summary.Messages()},
                   {"handshakes",
                    {{"completed", summary.ReadyCount()},
                     {"problems", summary.HandshakeProblems()},
                     {"half_open", summary.HalfOpenPairs()},
                     {"states", summary.Handshakes()}}},
                   {"requests", RequestCounts(summary)},
                   {"notifications", Json::object()},
                   {"late", summary.LateCount()},
                   {"stuck", summary.StuckCount()},
                   {"malformed", summary.MalformedCount()},
                   {"cut", summary.CutCount()}};
    for (const auto& [title, count] : summary.NotificationsByTitle()) {
        object["notifications"][title] = count;
    }
    Write(object, m_output);
}

} // namespace applistctl
