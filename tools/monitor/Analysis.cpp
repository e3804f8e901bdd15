#include <monitor/Analysis.h>

#include <algorithm>
#include <iterator>
#include <vector>

#include <applist/MessageIds.h>
#include <ipc/HandshakeNames.h>
#include <monitor/Decoder.h>
#include <monitor/TimeText.h>
#include <shared/CheckMarker.h>
#include <shared/Endpoint.h>
#include <shared/SignalAddress.h>

namespace applistctl {

namespace {

constexpr const char* DAEMON = "org.freedesktop.DBus";
constexpr Microseconds LATE = 1 * SECOND;
constexpr Microseconds TICK = SECOND / 10;
constexpr Microseconds GIVEN_UP = 60 * SECOND; // a host has done so after 25 s

std::string Text(const char* text) {
    return text != nullptr ? text : "";
}

std::string Sender(const SeenMessage& seen) {
    return Text(g_dbus_message_get_sender(seen.message.get()));
}

std::string Destination(const SeenMessage& seen) {
    return Text(g_dbus_message_get_destination(seen.message.get()));
}

std::string Path(const SeenMessage& seen) {
    return Text(g_dbus_message_get_path(seen.message.get()));
}

std::string Interface(const SeenMessage& seen) {
    return Text(g_dbus_message_get_interface(seen.message.get()));
}

std::string Member(const SeenMessage& seen) {
    return Text(g_dbus_message_get_member(seen.message.get()));
}

GVariant* Body(const SeenMessage& seen) {
    return g_dbus_message_get_body(seen.message.get());
}

bool BodyIs(const SeenMessage& seen, const char* type) {
    GVariant* const body = Body(seen);
    return body != nullptr && g_variant_is_of_type(body, G_VARIANT_TYPE(type));
}

} // namespace

Analysis::Analysis(Reporter& reporter)
    : m_reporter(reporter),
      m_handshake([this](const HandshakeEvent& event) {
          m_summary.Add(event);
          m_reporter.Handshake(event);
          if (event.kind == HandshakeEvent::Kind::Ready) {
              AwaitNotification(event);
          }
      }),
      m_path(HandshakeNames::ObjectPath(ENDPOINT_ID)) {}

void Analysis::Take(const SeenMessage& seen) {
    Tick(seen.time);
    m_summary.CountMessage(seen.time);
    switch (g_dbus_message_get_message_type(seen.message.get())) {
    case G_DBUS_MESSAGE_TYPE_SIGNAL:
        OnSignal(seen);
        break;
    case G_DBUS_MESSAGE_TYPE_METHOD_CALL:
        OnCall(seen);
        break;
    case G_DBUS_MESSAGE_TYPE_METHOD_RETURN:
    case G_DBUS_MESSAGE_TYPE_ERROR:
        if (Sender(seen) == DAEMON) {
            OnNameAnswer(seen);
        }
        OnAnswer(seen);
        break;
    case G_DBUS_MESSAGE_TYPE_INVALID:
        break;
    }
}

void Analysis::AddUnreadable(Microseconds time, const std::string& problem) {
    Tick(time);
    m_summary.CountMessage(time);
    Malformed(time, problem);
}

void Analysis::AddIncomplete(Microseconds time, const std::string& text) {
    Tick(time);
    m_summary.CountMessage(time);
    m_summary.AddCut();
    m_reporter.Cut(time, text);
}

void Analysis::Malformed(Microseconds time, const std::string& text) {
    m_summary.AddMalformed();
    m_reporter.Malformed(time, text);
}

Peer Analysis::PeerOf(const std::string& name) const {
    return {name, m_handshake.SideOf(name)};
}

// Signals

void Analysis::OnSignal(const SeenMessage& seen) {
    if (Interface(seen) == CheckMarker::INTERFACE) {
        m_handshake.FoundCheck(seen.time, Sender(seen));
    } else if (Path(seen) == m_path || Interface(seen) == JavaMWDbusRemote::JAVAMW_DBUS_OBJ_IFACE) {
        OnNotification(seen);
    } else if (Sender(seen) == DAEMON && Member(seen) == "NameOwnerChanged") {
        OnOwnerChanged(seen);
    }
}

void Analysis::OnOwnerChanged(const SeenMessage& seen) {
    if (!BodyIs(seen, "(sss)")) {
        Malformed(seen.time, "a NameOwnerChanged of another type than (sss)");
        return;
    }
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    const char* newOwner = nullptr;
    g_variant_get(Body(seen), "(&s&s&s)", &name, &oldOwner, &newOwner);
    m_handshake.OwnerChanged(seen.time, name, oldOwner, newOwner);
    if (*newOwner == '\0') {
        m_selections.erase(name);
        m_lists.erase(name);
        m_asked.erase(name);
    }
}

void Analysis::OnNotification(const SeenMessage& seen) {
    if (Member(seen) != JavaMWDbusRemote::JAVAMW_DBUS_SIG_NAME) {
        Malformed(seen.time,
                  "a signal " + Member(seen) + " of " + Sender(seen) + ", which is unknown");
        return;
    }
    const std::string problem = AddressProblem(Path(seen), Interface(seen));
    if (!problem.empty()) {
        Malformed(seen.time,
                  "a SendSignal of " + Sender(seen) + ", which hosts ignore: " + problem);
        return;
    }
    NotificationSeen notification;
    notification.time = seen.time;
    notification.content =
        Decoder::ReadNotification(Body(seen), seen.cutBytes, m_handshake.SideOf(Sender(seen)));
    // A broadcast reaches all processes, and the host of its sender alone reacts.
    const std::string host =
        Destination(seen).empty() ? m_handshake.BoundHostOf(Sender(seen)) : Destination(seen);
    if (!notification.content.name.empty() && !host.empty()) {
        if (notification.content.id == APPLIST_LOCAL_CREATED_EVENT) {
            m_asked[Sender(seen)] = host;
        }
        m_handshake.OnMessage(seen.time, host, Sender(seen), Side::Partner);
        if (m_handshake.MayReceive(host, Sender(seen))) {
            AwaitReaction(seen, host, notification.content.id);
        }
    }
    notification.from = PeerOf(Sender(seen));
    notification.to = PeerOf(Destination(seen));
    ++m_reportedCount;
    m_summary.Add(notification);
    m_reporter.Notified(notification);
}

// A partner asks for the list as soon as it is ready, which may be before its host is.
void Analysis::AwaitNotification(const HandshakeEvent& event) {
    const auto asked = m_asked.find(event.partner);
    if (asked == m_asked.end() || asked->second != event.host) {
        m_partners[event.partner] = {event.time, false};
    }
    if (asked != m_asked.end()) {
        m_asked.erase(asked);
    }
}

void Analysis::AwaitReaction(const SeenMessage& seen, const std::string& host, std::int32_t id) {
    const Notified notified = {seen.time, false};
    if (id == APPLIST_ITEM_SELECTION_EVENT) {
        m_selections.try_emplace(host, notified);
    } else if (id == APPLIST_LOCAL_CREATED_EVENT) {
        m_lists.insert_or_assign(host, notified);
        m_partners.erase(Sender(seen));
    }
}

// Calls

void Analysis::OnCall(const SeenMessage& seen) {
    const std::string interface = Interface(seen);
    if (Destination(seen) == DAEMON) {
        OnNameCall(seen);
    } else if (Path(seen) != m_path ||
               (!interface.empty() && interface != JavaMWDbusRemote::JAVAMW_DBUS_OBJ_IFACE)) {
        return; // introspection and the like
    } else if (Member(seen) == JavaMWDbusRemote::JAVAMW_DBUS_OBJ_METHOD) {
        OnSend(seen);
    } else {
        Malformed(seen.time,
                  "a call of " + Member(seen) + " by " + Sender(seen) + ", which is no method");
    }
}

void Analysis::OnNameCall(const SeenMessage& seen) {
    if (Member(seen) == "RequestName" && BodyIs(seen, "(su)")) {
        const char* name = nullptr;
        g_variant_get(Body(seen), "(&su)", &name, nullptr);
        m_handshake.NameRequested(Sender(seen), g_dbus_message_get_serial(seen.message.get()),
                                  name);
    }
}

void Analysis::OnSend(const SeenMessage& seen) {
    RequestSeen request;
    request.number = ++m_number;
    request.time = seen.time;
    request.content =
        Decoder::ReadMessage(Body(seen), seen.cutBytes, m_handshake.SideOf(Sender(seen)));
    if (!request.content.name.empty()) {
        m_handshake.OnMessage(seen.time, Sender(seen), Destination(seen), Side::Host);
    }
    if (request.content.id == APPLIST_GET_SELECTION_FNC) {
        m_selections.erase(Sender(seen));
    } else if (request.content.id == APPLIST_ADD_ITEMS_FNC) {
        m_lists.erase(Sender(seen));
    }
    request.from = PeerOf(Sender(seen));
    request.to = PeerOf(Destination(seen));
    m_reporter.Called(request);
    const Call call(Sender(seen), g_dbus_message_get_serial(seen.message.get()));
    m_pending[call] = {request, false};
}

// Replies and errors

void Analysis::OnAnswer(const SeenMessage& seen) {
    GDBusMessage* const message = seen.message.get();
    const auto found =
        m_pending.find({Destination(seen), g_dbus_message_get_reply_serial(message)});
    if (found == m_pending.end()) {
        return;
    }
    RequestSeen request = std::move(found->second.request);
    m_pending.erase(found);
    ReplySeen reply;
    reply.time = seen.time;
    if (g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_ERROR) {
        reply.errorName = Text(g_dbus_message_get_error_name(message));
        reply.errorText = Text(g_dbus_message_get_arg0(message));
    } else {
        Decoder::ReadReply(Body(seen), seen.cutBytes, request.content, reply);
    }
    request.reply = std::move(reply);
    Finish(request);
}

void Analysis::OnNameAnswer(const SeenMessage& seen) {
    GDBusMessage* const message = seen.message.get();
    const guint32 serial = g_dbus_message_get_reply_serial(message);
    if (g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_ERROR) {
        m_handshake.NameRefused(seen.time, Destination(seen), serial,
                                Text(g_dbus_message_get_arg0(message)));
    } else if (BodyIs(seen, "(u)")) {
        guint32 code = 0;
        g_variant_get(Body(seen), "(u)", &code);
        m_handshake.NameReplied(seen.time, Destination(seen), serial, code);
    }
}

void Analysis::ReportLate(RequestSeen& request, Microseconds waited) {
    request.receiver = m_handshake.ProcessOf(request.to.name);
    if (m_findState && request.receiver.pid != 0) {
        request.receiverState = m_findState(request.receiver.pid);
    }
    m_summary.AddLate();
    m_reporter.Late(request, waited);
}

void Analysis::Finish(const RequestSeen& request) {
    ++m_reportedCount;
    m_summary.Add(request);
    m_reporter.Done(request);
}

// Time passes

void Analysis::Tick(Microseconds now) {
    if (now - m_lastTick < TICK) {
        return;
    }
    m_lastTick = now;
    m_handshake.Tick(now);
    TickReactions(now);
    for (auto entry = m_pending.begin(); entry != m_pending.end();) {
        Pending& pending = entry->second;
        const Microseconds waited = now - pending.request.time;
        if (!pending.late && waited >= LATE && !pending.request.IsOfCheck()) {
            pending.late = true;
            ReportLate(pending.request, waited);
        }
        if (waited >= GIVEN_UP) {
            Finish(pending.request);
            entry = m_pending.erase(entry);
        } else {
            ++entry;
        }
    }
}

// A host with a request under way waits for its partner, and cannot react meanwhile.
void Analysis::TickReactions(Microseconds now) {
    for (ByName* const hosts : {&m_selections, &m_lists}) {
        for (const auto& [call, pending] : m_pending) {
            const auto waiting = hosts->find(call.first);
            if (waiting != hosts->end()) {
                waiting->second.since = now;
            }
        }
    }
    ReportWaiting(m_selections, now, DescribeStuck);
    ReportWaiting(m_lists, now, DescribeNoList);
    for (auto partner = m_partners.begin(); partner != m_partners.end();) {
        const bool isConnected = m_handshake.ConnectedHostOf(partner->first) != nullptr;
        partner = isConnected ? std::next(partner) : m_partners.erase(partner);
    }
    ReportWaiting(m_partners, now, DescribeNoRequest);
}

template <typename Describe>
void Analysis::ReportWaiting(ByName& names, Microseconds now, Describe describe) {
    for (auto& [name, notified] : names) {
        const Microseconds waited = now - notified.since;
        if (!notified.isReported && waited >= LATE) {
            notified.isReported = true;
            HandshakeEvent event;
            event.time = now;
            event.who = PeerOf(name);
            event.elapsed = waited;
            describe(event);
            m_summary.Add(event);
            m_reporter.Handshake(event);
        }
    }
}

void Analysis::DescribeStuck(HandshakeEvent& event) {
    const std::string& host = event.who.name;
    event.kind = HandshakeEvent::Kind::Stuck;
    event.text = "host " + host + " is stuck: no query for the selection (2001) within " +
                 TimeText::Span(event.elapsed) + " after notification 2; ";
    event.text.append("run \"applistctl check host ").append(host).append("\"");
}

// A host with an empty list sends nothing, so that the missing list is no problem by itself.
void Analysis::DescribeNoList(HandshakeEvent& event) {
    event.kind = HandshakeEvent::Kind::NoList;
    event.text =
        "host " + event.who.name + " sent no list (2004) within " + TimeText::Span(event.elapsed) +
        " after notification 4: the list was empty, or the host does not receive notifications";
}

// The monitor may have missed the notification, so that this line is no problem by itself.
void Analysis::DescribeNoRequest(HandshakeEvent& event) {
    event.kind = HandshakeEvent::Kind::NoRequest;
    event.text = "partner " + event.who.name +
                 " has not asked for the list (notification 4) within " +
                 TimeText::Span(event.elapsed) + " after the handshake: its list stays empty";
}

void Analysis::End(Microseconds now) {
    m_summary.SetEnd(now);
    End();
}

void Analysis::End() {
    std::vector<RequestSeen> open;
    for (auto& [call, pending] : m_pending) {
        open.push_back(std::move(pending.request));
    }
    m_pending.clear();
    std::sort(open.begin(), open.end(), [](const RequestSeen& one, const RequestSeen& two) {
        return one.number < two.number;
    });
    for (const RequestSeen& request : open) {
        Finish(request);
    }
    std::vector<std::string> states = m_handshake.States();
    for (std::string& state : states) {
        state.insert(0, m_hasLostBus ? "at the loss of the bus: " : "");
    }
    m_summary.SetHandshakes(std::move(states), m_handshake.HalfOpenPairs());
    m_reporter.End(m_summary);
}

} // namespace applistctl
