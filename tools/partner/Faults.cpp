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

enum class FaultArguments { Nothing, Request, SecondsAndRequest, StatusAndRequest, Count };

struct Kind {
    const char* name;
    Fault fault;
    FaultArguments arguments;
    const char* help;
};

constexpr Kind KINDS[] = {
    {"no-syn", Fault::NoSyn, FaultArguments::Nothing, "never announce _SERVICE_SYN"},
    {"no-syn-ack", Fault::NoSynAck, FaultArguments::Nothing, "leave _CLIENT_SYN unanswered"},
    {"no-host-syn", Fault::NoHostSyn, FaultArguments::Nothing,
     "behave as without a match rule for _CLIENT_SYN"},
    {"no-host-syn-ack", Fault::NoHostSynAck, FaultArguments::Nothing,
     "behave as without a match rule for _CLIENT_SYN_ACK"},
    {"no-ack", Fault::NoAck, FaultArguments::Nothing, "leave _CLIENT_SYN_ACK unanswered"},
    {"no-crossed-ack", Fault::NoCrossedAck, FaultArguments::Nothing,
     "leave _CLIENT_SYN_ACK unanswered while bound"},
    {"no-crossed-start", Fault::NoCrossedStart, FaultArguments::Nothing,
     "ignore _CLIENT_SYN_ACK of the first bound host, if bound by _CLIENT_SYN"},
    {"no-syn-again", Fault::NoSynAgain, FaultArguments::Nothing,
     "ignore _CLIENT_SYN of the bound host"},
    {"on-taking", Fault::OnAcquisition, FaultArguments::Nothing,
     "answer an announcement before the release of its name"},
    {"any-host", Fault::AnyHost, FaultArguments::Nothing,
     "bind to the next host that announces itself, even when bound"},
    {"keep-host", Fault::KeepHost, FaultArguments::Nothing,
     "stay bound to a host that has left the bus"},
    {"keep-names", Fault::KeepNames, FaultArguments::Nothing,
     "own each announced name without a release"},
    {"keep-syn-ack", Fault::KeepSynAck, FaultArguments::Nothing,
     "own _SERVICE_SYN_ACK without a release"},
    {"keep-ack", Fault::KeepAck, FaultArguments::Nothing, "own _SERVICE_ACK without a release"},
    {"no-repeat-free", Fault::NoRepeatFree, FaultArguments::Nothing,
     "announce _SERVICE_SYN once while no host answers"},
    {"no-repeat-unasked", Fault::NoRepeatUnasked, FaultArguments::Nothing,
     "announce no _SERVICE_SYN to a bound host without requests"},
    {"no-repeat-refused", Fault::NoRepeatRefused, FaultArguments::Nothing,
     "give up an announcement whose name another process owns"},
    {"forget-others", Fault::ForgetOthers, FaultArguments::Nothing,
     "forget other hosts that announce themselves"},
    {"no-bind-on-ack", Fault::NoBindOnAck, FaultArguments::Nothing,
     "ignore _CLIENT_ACK without a host"},
    {"strict-mirror", Fault::StrictMirror, FaultArguments::Nothing,
     "the five faults above: the partner only mirrors the handshake of a host"},
    {"end-repeat", Fault::EndRepeat, FaultArguments::Nothing,
     "give up a repeated answer when the next _SERVICE_SYN is due"},
    {"early-created", Fault::EarlyCreated, FaultArguments::Nothing,
     "send notification 4 without waiting for the reply to _SERVICE_ACK"},
    {"no-owner-check", Fault::NoOwnerCheck, FaultArguments::Nothing,
     "stay bound to a host that left before the partner watched its name"},
    {"no-object", Fault::NoObject, FaultArguments::Nothing, "have no communication object"},
    {"no-created", Fault::NoCreated, FaultArguments::Nothing, "do not send notification 4"},
    {"created-twice", Fault::CreatedTwice, FaultArguments::Nothing,
     "send notification 4 twice after a handshake"},
    {"no-change", Fault::NoChange, FaultArguments::Nothing, "do not send notification 1"},
    {"no-selection", Fault::NoSelection, FaultArguments::Nothing, "do not send notification 2"},
    {"no-click", Fault::NoClick, FaultArguments::Nothing, "do not send notification 3"},
    {"broadcast", Fault::Broadcast, FaultArguments::Nothing, "send notifications to every process"},
    {"wrong-id", Fault::WrongId, FaultArguments::Nothing, "send notifications with the id 0"},
    {"other-path", Fault::OtherPath, FaultArguments::Nothing,
     "send notifications from the object path /"},
    {"keep-list", Fault::KeepList, FaultArguments::Nothing,
     "keep list and selection at a handshake"},
    {"keep-items", Fault::KeepItems, FaultArguments::Nothing, "keep the list at a handshake"},
    {"keep-removed", Fault::KeepRemoved, FaultArguments::Nothing,
     "drop the selection alone at 2003 and 2007"},
    {"keep-replaced", Fault::KeepReplaced, FaultArguments::Nothing,
     "change the selection alone at 2008"},
    {"append-known", Fault::AppendKnown, FaultArguments::Nothing,
     "append items of 2004 with a known id"},
    {"hide-list", Fault::HideList, FaultArguments::Nothing,
     "select the record of 2000 instead of the listed item"},
    {"lose-selection", Fault::LoseSelection, FaultArguments::Nothing,
     "select nothing after 2008 of the selected item"},
    {"delay", Fault::Delay, FaultArguments::SecondsAndRequest, "reply after SECONDS"},
    {"wrong-type", Fault::WrongType, FaultArguments::Request,
     "reply with a string instead of bytes"},
    {"error", Fault::Error, FaultArguments::Request, "reply with a D-Bus error"},
    {"silence", Fault::Silence, FaultArguments::Request, "do not reply"},
    {"with-id", Fault::WithId, FaultArguments::Request, "append the request's id to the reply"},
    {"cut", Fault::Cut, FaultArguments::Request, "omit the last byte of the reply"},
    {"ask-back", Fault::AskBack, FaultArguments::Request,
     "call the host, and reply after its reply"},
    {"ignore", Fault::Ignore, FaultArguments::Request, "reply, but do nothing else"},
    {"exit", Fault::Exit, FaultArguments::StatusAndRequest, "exit with STATUS instead of a reply"},
    {"exit-not-utf8", Fault::ExitNotUtf8, FaultArguments::Nothing,
     "exit with 7 at a name or an id that is not UTF-8"},
    {"exit-unknown", Fault::ExitUnknown, FaultArguments::Nothing, "exit with 7 at an unknown id"},
    {"exit-short", Fault::ExitShort, FaultArguments::Nothing,
     "exit with 7 at fewer than four bytes"},
    {"vanish", Fault::Vanish, FaultArguments::Count,
     "leave the bus at the Nth request from now on"},
};

const char* ParameterOf(FaultArguments arguments) {
    switch (arguments) {
    case FaultArguments::Request:
        return " [REQUEST]";
    case FaultArguments::SecondsAndRequest:
        return " SECONDS [REQUEST]";
    case FaultArguments::StatusAndRequest:
        return " STATUS [REQUEST]";
    case FaultArguments::Count:
        return " N";
    case FaultArguments::Nothing:
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
    if (words[0] == "none") {
        return "usage: fault none";
    }
    const auto* const kind = std::find_if(std::begin(KINDS), std::end(KINDS),
                                          [&](const Kind& one) { return words[0] == one.name; });
    if (kind == std::end(KINDS)) {
        return "no fault \"" + words[0] + "\"; --help lists the faults";
    }
    std::string usage = "usage: fault " + std::string(kind->name) + ParameterOf(kind->arguments);
    std::size_t next = 1;
    guint64 count = 0;
    if (kind->arguments == FaultArguments::SecondsAndRequest &&
        (words.size() == next || !ParseSeconds(words[next++], m_delay))) {
        return usage;
    }
    if (kind->arguments == FaultArguments::Count &&
        (words.size() == next ||
         g_ascii_string_to_unsigned(words[next++].c_str(), 10, 1, G_MAXUINT32, &count, nullptr) ==
             FALSE)) {
        return usage;
    }
    guint64 status = 0;
    if (kind->arguments == FaultArguments::StatusAndRequest &&
        (words.size() == next ||
         g_ascii_string_to_unsigned(words[next++].c_str(), 10, 0, MAX_STATUS, &status, nullptr) ==
             FALSE)) {
        return usage;
    }
    std::set<std::int32_t> requests;
    const bool ofReplies = kind->arguments == FaultArguments::Request ||
                           kind->arguments == FaultArguments::SecondsAndRequest ||
                           kind->arguments == FaultArguments::StatusAndRequest;
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
        rows.emplace_back(std::string(kind.name) + ParameterOf(kind.arguments), kind.help);
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
