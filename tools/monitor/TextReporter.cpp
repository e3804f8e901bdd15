#include <monitor/TextReporter.h>

#include <cstdio>

#include <applist/MessageIds.h>
#include <monitor/Decoder.h>
#include <monitor/TimeText.h>
#include <shared/Counted.h>
#include <shared/ItemListing.h>

namespace applistctl {

namespace {

constexpr std::size_t MOST_SHOWN = 10; ///< items of one request

std::string Describe(const Peer& peer) {
    const std::string name =
        peer.name.empty() ? "all processes" : ItemListing::Printable(peer.name);
    return peer.side == Side::Unknown ? name : SideName(peer.side) + (" " + name);
}

Output::Tone ToneOf(Side side) {
    return side == Side::Partner ? Output::Tone::Received : Output::Tone::Sent;
}

std::string Bytes(std::size_t size) {
    return Counted(size, "byte");
}

std::string Number(const RequestSeen& request) {
    return "#" + std::to_string(request.number) + " ";
}

// What follows the title of a request that is well formed.
std::string Items(const Content& content) {
    if (content.id == APPLIST_MODIFY_ITEM_FNC && content.items.size() == 2) {
        return ": " + ItemListing::Describe(content.items[0]) + " becomes " +
               ItemListing::Describe(content.items[1]);
    }
    if (content.id == APPLIST_ADD_ITEMS_FNC) {
        return ": " + ItemListing::Count(content.items.size());
    }
    return content.items.empty() ? "" : ": " + ItemListing::Describe(content.items[0]);
}

} // namespace

void TextReporter::Line(Microseconds time, const std::string& text, Output::Tone tone) {
    m_output.Line(TimeText::OfDay(time) + "  " + text, tone);
}

void TextReporter::Problem(Microseconds time, const std::string& text) {
    Line(time, "!! " + ItemListing::Printable(text), Output::Tone::Problem);
}

void TextReporter::Begin(const std::string& source) {
    m_output.State(source);
}

void TextReporter::Handshake(const HandshakeEvent& event) {
    const std::string start = Describe(event.who) + "  " + event.step + ": ";
    switch (event.kind) {
    case HandshakeEvent::Kind::Announced:
        Line(event.time, start + event.text, ToneOf(event.who.side));
        break;
    case HandshakeEvent::Kind::Identified:
    case HandshakeEvent::Kind::Checking:
    case HandshakeEvent::Kind::Present:
    case HandshakeEvent::Kind::Ready:
    case HandshakeEvent::Kind::Found:
    case HandshakeEvent::Kind::NoList:
    case HandshakeEvent::Kind::NoRequest:
    case HandshakeEvent::Kind::Left:
        Line(event.time, "== " + event.text, Output::Tone::State);
        break;
    case HandshakeEvent::Kind::Missing:
    case HandshakeEvent::Kind::HalfOpen:
    case HandshakeEvent::Kind::Held:
    case HandshakeEvent::Kind::Unbound:
    case HandshakeEvent::Kind::Shared:
    case HandshakeEvent::Kind::Several:
    case HandshakeEvent::Kind::Stuck:
        Problem(event.time, event.text);
        break;
    case HandshakeEvent::Kind::Refused:
        Problem(event.time, start + event.text);
        break;
    }
}

// Requests

void TextReporter::Called(const RequestSeen& request) {
    const Content& content = request.content;
    const std::string start = Describe(request.from) + " -> " + Describe(request.to) + "  " +
                              Number(request) + Decoder::Title(content);
    if (!content.problem.empty()) {
        Problem(request.time, start + " is malformed: " + content.problem);
    } else if (!content.cut.empty()) {
        Line(request.time, start + ": " + content.cut, ToneOf(request.from.side));
    } else if (!content.hasId) {
        Line(request.time, start + ": an empty Send, as \"applistctl check host\" calls it",
             ToneOf(request.from.side));
    } else if (content.name.empty()) {
        Line(request.time, start + " with a payload of " + Bytes(content.size - 4),
             ToneOf(request.from.side));
    } else {
        Line(request.time, start + Items(content), ToneOf(request.from.side));
    }
    if (content.id == APPLIST_ADD_ITEMS_FNC) {
        ShowItems(content.items);
    }
}

void TextReporter::ShowItems(const std::vector<ListedItem>& items) {
    if (m_showsAll || items.size() <= MOST_SHOWN) {
        ItemListing::ShowItems(m_output, items);
        return;
    }
    ItemListing::ShowItems(
        m_output, {items.begin(), items.begin() + static_cast<std::ptrdiff_t>(MOST_SHOWN)});
    m_output.Line("     and " + std::to_string(items.size() - MOST_SHOWN) +
                  " more (--all shows them)");
}

void TextReporter::Late(const RequestSeen& request, Microseconds waited) {
    const std::string process = request.receiver.Describe();
    const std::string state = request.receiverState;
    Problem(request.time + waited, Number(request) + Decoder::Title(request.content) +
                                       " has no reply after " + TimeText::Span(waited) + " from " +
                                       Describe(request.to) +
                                       (process.empty() ? "" : " (" + process + ")") +
                                       (state.empty() ? "" : ", which is " + state));
}

void TextReporter::Done(const RequestSeen& request) {
    if (!request.reply) {
        const std::string text = Number(request) + Decoder::Title(request.content) +
                                 " got no reply from " + Describe(request.to);
        request.IsOfCheck() ? m_output.Line(text) : m_output.Problem(text);
    } else {
        Answered(request);
    }
}

void TextReporter::Answered(const RequestSeen& request) {
    const ReplySeen& reply = *request.reply;
    const std::string start = Describe(request.to) + "  " + Number(request);
    const std::string end = " after " + TimeText::Span(request.Latency());
    if (request.Failed()) {
        const std::string text =
            start + "failed" + end + ": " + reply.errorName + ": " + reply.errorText;
        request.IsOfCheck()
            ? Line(reply.time, ItemListing::Printable(text), ToneOf(request.to.side))
            : Problem(reply.time, text);
    } else if (!reply.problem.empty()) {
        Problem(reply.time, start + "answered" + end + ", malformed: " + reply.problem);
    } else {
        std::string with = !reply.cut.empty() ? ", " + reply.cut
                           : reply.size > 0   ? " with " + Bytes(reply.size)
                                              : "";
        if (request.content.id == APPLIST_GET_SELECTION_FNC && reply.cut.empty()) {
            with = reply.items.empty() ? " with nothing"
                                       : " with " + ItemListing::Describe(reply.items[0]);
        }
        Line(reply.time, start + "answered" + with + end, ToneOf(request.to.side));
    }
}

// Notifications and malformed messages

void TextReporter::Notified(const NotificationSeen& notification) {
    const Content& content = notification.content;
    const std::string text = Describe(notification.from) + " ~> " + Describe(notification.to) +
                             "  " + Decoder::Title(content);
    if (!content.problem.empty()) {
        Problem(notification.time, text + " is malformed: " + content.problem);
        return;
    }
    if (!content.cut.empty()) {
        Line(notification.time, text + ": " + content.cut, ToneOf(notification.from.side));
        return;
    }
    const bool hasPayload = content.size > 4;
    Line(notification.time,
         text + (hasPayload ? ", with a payload of " + Bytes(content.size - 4) : ""),
         ToneOf(notification.from.side));
}

void TextReporter::Malformed(Microseconds time, const std::string& text) {
    Problem(time, text);
}

void TextReporter::Cut(Microseconds time, const std::string& text) {
    Line(time, text, Output::Tone::Plain);
}

// The summary

void TextReporter::End(const Summary& summary) {
    m_output.Line("");
    m_output.State("summary of " + TimeText::Span(summary.Duration()) + ", " +
                   Counted(summary.Messages(), "message"));
    ShowHandshakes(summary);
    ShowRequests(summary);
    ShowNotifications(summary);
    if (summary.LateCount() > 0) {
        m_output.Line("without a reply for 1 s: " + Counted(summary.LateCount(), "request"),
                      Output::Tone::Problem);
    }
    if (summary.StuckCount() > 0) {
        m_output.Line("stuck: " + Counted(summary.StuckCount(), "host"), Output::Tone::Problem);
    }
    if (summary.CutCount() > 0) {
        m_output.Line("cut by the capture: " + std::to_string(summary.CutCount()));
    }
    m_output.Line("malformed: " + std::to_string(summary.MalformedCount()),
                  summary.MalformedCount() > 0 ? Output::Tone::Problem : Output::Tone::Plain);
}

void TextReporter::ShowHandshakes(const Summary& summary) {
    m_output.Line("handshakes: " + std::to_string(summary.ReadyCount()) + " completed, " +
                  Counted(summary.HandshakeProblems(), "problem"));
    for (const std::string& state : summary.Handshakes()) {
        m_output.Line("  " + ItemListing::Printable(state));
    }
}

// Two tables, because one would be wider than a terminal of 80 columns.
void TextReporter::ShowRequests(const Summary& summary) {
    char line[200];
    if (summary.RequestsByTitle().empty()) {
        return;
    }
    std::snprintf(line, sizeof(line), "%-37s %9s %9s %9s", "requests", "answered", "failed",
                  "no reply");
    m_output.Line(line);
    for (const auto& [title, requests] : summary.RequestsByTitle()) {
        std::snprintf(line, sizeof(line), "  %-35s %9zu %9zu %9zu", title.c_str(),
                      requests.answered, requests.failed, requests.unanswered);
        m_output.Line(line);
    }
    std::snprintf(line, sizeof(line), "%-37s %9s %9s %9s %9s", "time until the reply in ms", "50%",
                  "90%", "99%", "most");
    m_output.Line(line);
    for (const auto& [title, requests] : summary.RequestsByTitle()) {
        std::snprintf(line, sizeof(line), "  %-35s", title.c_str());
        std::string text = line;
        for (const unsigned percent : {50U, 90U, 99U, 100U}) {
            std::snprintf(line, sizeof(line), " %9.2f",
                          static_cast<double>(requests.latencies.Percentile(percent)) / 1e3);
            text += requests.latencies.Count() > 0 ? line : "         -";
        }
        m_output.Line(text);
    }
}

void TextReporter::ShowNotifications(const Summary& summary) {
    if (!summary.NotificationsByTitle().empty()) {
        m_output.Line("notifications");
    }
    for (const auto& [title, count] : summary.NotificationsByTitle()) {
        char line[200];
        std::snprintf(line, sizeof(line), "  %-35s %9zu", title.c_str(), count);
        m_output.Line(line);
    }
}

} // namespace applistctl
