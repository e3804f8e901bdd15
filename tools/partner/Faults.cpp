#include <partner/Faults.h>

#include <algorithm>

#include <glib.h>

#include <shared/CommandRunner.h>
#include <shared/Protocol.h>
#include <shared/Waiting.h>

namespace applistctl {

namespace {

enum class Takes { Nothing, Request, SecondsAndRequest, Count };

struct Kind {
    const char* name;
    Fault fault;
    Takes takes;
    const char* help;
};

constexpr Kind KINDS[] = {
    {"no-syn", Fault::NoSyn, Takes::Nothing, "never announce _SERVICE_SYN"},
    {"no-syn-ack", Fault::NoSynAck, Takes::Nothing, "leave _CLIENT_SYN unanswered"},
    {"no-ack", Fault::NoAck, Takes::Nothing, "leave _CLIENT_SYN_ACK unanswered"},
    {"no-crossed-ack", Fault::NoCrossedAck, Takes::Nothing,
     "leave _CLIENT_SYN_ACK unanswered while bound"},
    {"on-taking", Fault::OnTaking, Takes::Nothing, "answer the first half of an announcement"},
    {"any-host", Fault::AnyHost, Takes::Nothing, "bind to each other host that announces itself"},
    {"keep-host", Fault::KeepHost, Takes::Nothing, "stay bound to a host that has left the bus"},
    {"no-repeat-free", Fault::NoRepeatFree, Takes::Nothing,
     "announce _SERVICE_SYN once while no host answers"},
    {"no-repeat-unasked", Fault::NoRepeatUnasked, Takes::Nothing,
     "announce no _SERVICE_SYN to a bound host without requests"},
    {"no-repeat-refused", Fault::NoRepeatRefused, Takes::Nothing,
     "give up an announcement whose name another process owns"},
    {"forget-others", Fault::ForgetOthers, Takes::Nothing,
     "forget other hosts that announce themselves"},
    {"no-bind-on-ack", Fault::NoBindOnAck, Takes::Nothing, "ignore _CLIENT_ACK without a host"},
    {"strict-mirror", Fault::StrictMirror, Takes::Nothing,
     "the last five faults: only the duties of a host"},
    {"no-object", Fault::NoObject, Takes::Nothing, "have no communication object"},
    {"no-created", Fault::NoCreated, Takes::Nothing, "do not send notification 4"},
    {"broadcast", Fault::Broadcast, Takes::Nothing, "send notifications to everybody"},
    {"wrong-id", Fault::WrongId, Takes::Nothing, "send notifications with the id 0"},
    {"delay", Fault::Delay, Takes::SecondsAndRequest, "reply after SECONDS"},
    {"wrong-type", Fault::WrongType, Takes::Request, "reply with a string instead of bytes"},
    {"error", Fault::Error, Takes::Request, "reply with a D-Bus error"},
    {"silence", Fault::Silence, Takes::Request, "do not reply"},
    {"with-id", Fault::WithId, Takes::Request, "append the request's id to the reply"},
    {"cut", Fault::Cut, Takes::Request, "omit the last byte of the reply"},
    {"ask-back", Fault::AskBack, Takes::Request, "call the host, and reply after its reply"},
    {"ignore", Fault::Ignore, Takes::Request, "reply, but do nothing else"},
    {"vanish", Fault::Vanish, Takes::Count, "leave the bus at the Nth request from now on"},
};

const char* ParameterOf(Takes takes) {
    switch (takes) {
    case Takes::Request:
        return " [REQUEST]";
    case Takes::SecondsAndRequest:
        return " SECONDS [REQUEST]";
    case Takes::Count:
        return " N";
    case Takes::Nothing:
        break;
    }
    return "";
}

} // namespace

std::string Faults::Set(const std::vector<std::string>& words) {
    if (words.size() == 1 && words[0] == "none") {
        *this = Faults();
        return "";
    }
    const auto* const kind = std::find_if(std::begin(KINDS), std::end(KINDS),
                                          [&](const Kind& one) { return words[0] == one.name; });
    if (kind == std::end(KINDS)) {
        return "no fault \"" + words[0] + "\"; --help lists the faults";
    }
    std::string usage = "usage: fault " + std::string(kind->name) + ParameterOf(kind->takes);
    std::size_t next = 1;
    guint64 count = 0;
    if (kind->takes == Takes::SecondsAndRequest &&
        (words.size() == next || !ParseSeconds(words[next++], m_delay))) {
        return usage;
    }
    if (kind->takes == Takes::Count &&
        (words.size() == next ||
         g_ascii_string_to_unsigned(words[next++].c_str(), 10, 1, G_MAXUINT32, &count, nullptr) ==
             FALSE)) {
        return usage;
    }
    std::set<std::int32_t> requests;
    const bool ofReplies = kind->takes == Takes::Request || kind->takes == Takes::SecondsAndRequest;
    if (ofReplies && words.size() > next) {
        const RequestKind* const request = Protocol::FindRequest(words[next]);
        if (request == nullptr) {
            return "no request \"" + words[next] + "\"; " + usage;
        }
        requests.insert(request->id);
        ++next;
    }
    if (words.size() > next) {
        return usage;
    }
    if (kind->fault == Fault::Vanish) {
        m_requestsLeft = count;
    } else if (ofReplies) {
        // A repeated command adds a request. A command without a request selects all requests.
        std::set<std::int32_t>& ids = m_ofReplies[kind->fault];
        requests.empty() ? ids.clear() : ids.insert(requests.begin(), requests.end());
    } else if (kind->fault == Fault::StrictMirror) {
        m_plain.insert({Fault::NoRepeatFree, Fault::NoRepeatUnasked, Fault::NoRepeatRefused,
                        Fault::ForgetOthers, Fault::NoBindOnAck});
    } else {
        m_plain.insert(kind->fault);
    }
    return "";
}

std::string Faults::Describe() {
    std::vector<std::pair<std::string, std::string>> rows;
    for (const Kind& kind : KINDS) {
        rows.emplace_back(std::string(kind.name) + ParameterOf(kind.takes), kind.help);
    }
    rows.emplace_back("none", "no fault from now on");
    return InTwoColumns(rows);
}

bool Faults::Has(Fault fault, std::int32_t request) const {
    const auto found = m_ofReplies.find(fault);
    return found != m_ofReplies.end() &&
           (found->second.empty() || found->second.count(request) != 0);
}

bool Faults::ChangesReply(std::int32_t request) const {
    return std::any_of(m_ofReplies.begin(), m_ofReplies.end(), [&](const auto& entry) {
        return entry.first != Fault::Delay && entry.first != Fault::AskBack &&
               Has(entry.first, request);
    });
}

bool Faults::VanishesNow() {
    return m_requestsLeft > 0 && --m_requestsLeft == 0;
}

} // namespace applistctl
