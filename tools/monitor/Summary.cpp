#include <monitor/Summary.h>

#include <algorithm>
#include <utility>

#include <monitor/Decoder.h>

namespace applistctl {

void Latencies::Add(Microseconds latency) {
    m_sorted.push_back(latency);
    m_isSorted = false;
}

Microseconds Latencies::Percentile(unsigned percent) const {
    if (m_sorted.empty()) {
        return 0;
    }
    if (!m_isSorted) {
        std::sort(m_sorted.begin(), m_sorted.end());
        m_isSorted = true;
    }
    const std::size_t rank = (m_sorted.size() * percent + 99) / 100;
    return m_sorted[std::max<std::size_t>(rank, 1) - 1];
}

void Summary::Begin(Microseconds time) {
    if (!std::exchange(m_hasBegun, true)) {
        m_start = time;
    }
    SetEnd(time);
}

void Summary::SetEnd(Microseconds time) {
    m_end = std::max(m_end, time);
}

void Summary::CountMessage(Microseconds time) {
    Begin(time);
    ++m_messages;
}

void Summary::Add(const HandshakeEvent& event) {
    switch (event.kind) {
    case HandshakeEvent::Kind::Ready:
        ++m_ready;
        break;
    case HandshakeEvent::Kind::Missing:
    case HandshakeEvent::Kind::HalfOpen:
    case HandshakeEvent::Kind::Held:
    case HandshakeEvent::Kind::Refused:
    case HandshakeEvent::Kind::Unbound:
    case HandshakeEvent::Kind::Shared:
    case HandshakeEvent::Kind::Several:
        ++m_handshakeProblems;
        break;
    case HandshakeEvent::Kind::Stuck:
        m_stuckHosts.insert(event.who.name);
        break;
    case HandshakeEvent::Kind::Identified:
    case HandshakeEvent::Kind::Checking:
    case HandshakeEvent::Kind::Present:
    case HandshakeEvent::Kind::Announced:
    case HandshakeEvent::Kind::Found:
    case HandshakeEvent::Kind::NoList:
    case HandshakeEvent::Kind::NoRequest:
    case HandshakeEvent::Kind::Left:
        break;
    }
}

void Summary::Add(const RequestSeen& request) {
    if (!request.IsOfCheck()) {
        CountResult(request);
    }
    const bool badReply = request.reply && !request.reply->problem.empty();
    const bool cutReply = request.reply && !request.reply->cut.empty();
    m_cut += (request.content.cut.empty() ? 0U : 1U) + (cutReply ? 1U : 0U);
    m_malformed += (request.content.problem.empty() ? 0U : 1U) + (badReply ? 1U : 0U);
}

void Summary::CountResult(const RequestSeen& request) {
    Requests& requests = m_requests[Decoder::Title(request.content)];
    if (!request.reply) {
        ++requests.unanswered;
    } else if (request.Failed()) {
        ++requests.failed;
    } else {
        ++requests.answered;
        requests.latencies.Add(request.Latency());
    }
}

void Summary::Add(const NotificationSeen& notification) {
    ++m_notifications[Decoder::Title(notification.content)];
    m_malformed += notification.content.problem.empty() ? 0U : 1U;
    m_cut += notification.content.cut.empty() ? 0U : 1U;
}

bool Summary::HasTrouble() const {
    return m_malformed > 0 || m_handshakeProblems > 0 || m_late > 0 || !m_stuckHosts.empty() ||
           std::any_of(m_requests.begin(), m_requests.end(), [](const auto& entry) {
               return entry.second.failed > 0 || entry.second.unanswered > 0;
           });
}

} // namespace applistctl
