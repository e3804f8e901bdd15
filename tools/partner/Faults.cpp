#include <partner/Faults.h>

#include <algorithm>

#include <glib.h>

#include <shared/CommandRunner.h>
#include <shared/Protocol.h>
#include <shared/Waiting.h>

namespace applistctl {

namespace {

constexpr int FIXED_STATUS = 7; ///< of the faults with a fixed status
constexpr guint64 MAX_STATUS = 255;

enum class Takes { Nothing, Request, SecondsAndRequest, StatusAndRequest, Count };

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
    {"no-crossed-start", Fault::NoCrossedStart, Takes::Nothing,
     "leave _CLIENT_SYN_ACK unanswered while bound by the first _CLIENT_SYN"},
    {"no-syn-again", Fault::NoSynAgain, Takes::Nothing, "ignore _CLIENT_SYN of the bound host"},
    {"on-taking", Fault::OnTaking, Takes::Nothing, "answer the first half of an announcement"},
    {"any-host", Fault::AnyHost, Takes::Nothing, "bind to each other host that announces itself"},
    {"keep-host", Fault::KeepHost, Takes::Nothing, "stay bound to a host that has left the bus"},
    {"keep-names", Fault::KeepNames, Takes::Nothing, "own each announced name without a release"},
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
    {"end-repeat", Fault::EndRepeat, Takes::Nothing,
     "end a repeated answer when the timer announces _SERVICE_SYN"},
    {"early-created", Fault::EarlyCreated, Takes::Nothing,
     "send notification 4 without waiting for the reply to _SERVICE_ACK"},
    {"no-owner-check", Fault::NoOwnerCheck, Takes::Nothing,
     "stay bound to a host that left the bus before the watch of its name"},
    {"no-object", Fault::NoObject, Takes::Nothing, "have no communication object"},
    {"no-created", Fault::NoCreated, Takes::Nothing, "do not send notification 4"},
    {"no-change", Fault::NoChange, Takes::Nothing, "do not send notification 1"},
    {"no-selection", Fault::NoSelection, Takes::Nothing, "do not send notification 2"},
    {"no-click", Fault::NoClick, Takes::Nothing, "do not send notification 3"},
    {"broadcast", Fault::Broadcast, Takes::Nothing, "send notifications to everybody"},
    {"wrong-id", Fault::WrongId, Takes::Nothing, "send notifications with the id 0"},
    {"keep-list", Fault::KeepList, Takes::Nothing, "keep list and selection at a handshake"},
    {"append-known", Fault::AppendKnown, Takes::Nothing, "append items of 2004 with a known id"},
    {"lose-selection", Fault::LoseSelection, Takes::Nothing,
     "select nothing after 2008 of the selected item"},
    {"delay", Fault::Delay, Takes::SecondsAndRequest, "reply after SECONDS"},
    {"wrong-type", Fault::WrongType, Takes::Request, "reply with a string instead of bytes"},
    {"error", Fault::Error, Takes::Request, "reply with a D-Bus error"},
    {"silence", Fault::Silence, Takes::Request, "do not reply"},
    {"with-id", Fault::WithId, Takes::Request, "append the request's id to the reply"},
    {"cut", Fault::Cut, Takes::Request, "omit the last byte of the reply"},
    {"ask-back", Fault::AskBack, Takes::Request, "call the host, and reply after its reply"},
    {"ignore", Fault::Ignore, Takes::Request, "reply, but do nothing else"},
    {"exit", Fault::Exit, Takes::StatusAndRequest, "exit with STATUS instead of a reply"},
    {"exit-not-utf8", Fault::ExitNotUtf8, Takes::Nothing,
     "exit with 7 at a name or an id that is not UTF-8"},
    {"exit-unknown", Fault::ExitUnknown, Takes::Nothing, "exit with 7 at an unknown id"},
    {"exit-short", Fault::ExitShort, Takes::Nothing, "exit with 7 at fewer than four bytes"},
    {"vanish", Fault::Vanish, Takes::Count, "leave the bus at the Nth request from now on"},
};

const char* ParameterOf(Takes takes) {
    switch (takes) {
    case Takes::Request:
        return " [REQUEST]";
    case Takes::SecondsAndRequest:
        return " SECONDS [REQUEST]";
    case Takes::StatusAndRequest:
        return " STATUS [REQUEST]";
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
    guint64 status = 0;
    if (kind->takes == Takes::StatusAndRequest &&
        (words.size() == next ||
         g_ascii_string_to_unsigned(words[next++].c_str(), 10, 0, MAX_STATUS, &status, nullptr) ==
             FALSE)) {
        return usage;
    }
    std::set<std::int32_t> requests;
    const bool ofReplies = kind->takes == Takes::Request ||
                           kind->takes == Takes::SecondsAndRequest ||
                           kind->takes == Takes::StatusAndRequest;
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
    if (kind->fault == Fault::Exit) {
        m_exitStatus = static_cast<int>(status);
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
               entry.first != Fault::Exit && Has(entry.first, request);
    });
}

std::optional<int> Faults::ExitStatusAt(const Request& request) const {
    if (Has(Fault::Exit, request.id)) {
        return m_exitStatus;
    }
    const bool hasNoId = request.name.empty() && request.id == 0;
    const bool isUnknown = !hasNoId && Protocol::FindRequest(request.id) == nullptr;
    const bool isOutsideUtf8 =
        std::any_of(request.items.begin(), request.items.end(), [](const ListedItem& item) {
            const std::string text = item.name + item.id;
            const auto size = static_cast<gssize>(text.size());
            return g_utf8_validate(text.data(), size, nullptr) == FALSE;
        });
    if ((hasNoId && Has(Fault::ExitShort)) || (isUnknown && Has(Fault::ExitUnknown)) ||
        (isOutsideUtf8 && Has(Fault::ExitNotUtf8))) {
        return FIXED_STATUS;
    }
    return std::nullopt;
}

bool Faults::VanishesNow() {
    return m_requestsLeft > 0 && --m_requestsLeft == 0;
}

} // namespace applistctl
