#include <check/Duties.h>

#include <algorithm>
#include <set>

#include <shared/Protocol.h>

namespace applistctl {

namespace {

constexpr const char* HANDSHAKE = "Handshake";
constexpr const char* REQUESTS = "Requests";
constexpr const char* NOTIFICATIONS = "Notifications";
constexpr const char* LIBRARY = "With the library";

constexpr unsigned CONNECTED = PHASE_START | PHASE_HANDSHAKE;
constexpr unsigned ALL = CONNECTED | PHASE_REQUESTS | PHASE_LIBRARY;

struct DutyText {
    Duty duty;
    const char* group;
    const char* key;
    const char* text; ///< null for a duty with a row for each message
    std::vector<int> statements;
    unsigned phases;
};

// In the order of the enumeration.
const std::vector<DutyText>& Texts() {
    static const std::vector<DutyText> texts = {
        {Duty::AnnouncesItself,
         HANDSHAKE,
         "announces-itself",
         "announces _SERVICE_SYN when it starts",
         {8},
         PHASE_START | PHASE_LIBRARY},
        {Duty::ReleasesNames,
         HANDSHAKE,
         "releases-names",
         "releases each name that it owns",
         {3},
         CONNECTED},
        {Duty::AnswersSyn,
         HANDSHAKE,
         "answers-syn",
         "answers _CLIENT_SYN with _SERVICE_SYN_ACK",
         {9},
         PHASE_HANDSHAKE},
        {Duty::AnswersSynAck,
         HANDSHAKE,
         "answers-syn-ack",
         "answers _CLIENT_SYN_ACK with _SERVICE_ACK",
         {10},
         CONNECTED},
        {Duty::AnswersWhenBound,
         HANDSHAKE,
         "answers-when-bound",
         "answers _CLIENT_SYN_ACK while bound to that host",
         {11},
         PHASE_HANDSHAKE},
        {Duty::AnswersSynAgain,
         HANDSHAKE,
         "answers-syn-again",
         "answers a second _CLIENT_SYN of its host",
         {36},
         PHASE_HANDSHAKE},
        {Duty::StartsTogether,
         HANDSHAKE,
         "starts-together",
         "finds a host that starts at the same time",
         {7, 11},
         CONNECTED | PHASE_TOGETHER},
        {Duty::WaitsForTheRelease,
         HANDSHAKE,
         "waits-for-release",
         "waits for the release of a name",
         {4},
         PHASE_HANDSHAKE},
        {Duty::ServesAtOnce,
         HANDSHAKE,
         "serves-at-once",
         "answers requests right after its announcement",
         {1, 5, 7},
         CONNECTED},
        {Duty::KeepsItsHost,
         HANDSHAKE,
         "keeps-its-host",
         "keeps its host when another host announces itself",
         {6},
         PHASE_HANDSHAKE},
        {Duty::EmptiesItsList,
         HANDSHAKE,
         "empties-its-list",
         "empties list and selection at a new handshake",
         {37},
         PHASE_HANDSHAKE},
        {Duty::AnnouncesItselfAgain,
         HANDSHAKE,
         "announces-again",
         "announces _SERVICE_SYN when its host leaves the bus",
         {13},
         CONNECTED | PHASE_REPLACEMENT},
        {Duty::RepeatsWhileFree,
         HANDSHAKE,
         "repeats-while-free",
         "repeats _SERVICE_SYN while no host answers",
         {14, 39},
         PHASE_REPLACEMENT},
        {Duty::RepeatsWhileUnasked,
         HANDSHAKE,
         "repeats-while-unasked",
         "repeats _SERVICE_SYN while its host requests nothing",
         {14, 40},
         PHASE_REPLACEMENT},
        {Duty::RepeatsRefused,
         HANDSHAKE,
         "repeats-refused",
         "repeats _SERVICE_ACK that the bus refused",
         {41, 50},
         PHASE_REPLACEMENT},
        {Duty::NotifiesAfterItsAck,
         HANDSHAKE,
         "notifies-after-ack",
         "sends notification 4 after _SERVICE_ACK, not before",
         {51},
         PHASE_REPLACEMENT},
        {Duty::FindsAnEndedHost,
         HANDSHAKE,
         "finds-ended-host",
         "drops a host that left the bus before its watch",
         {52},
         PHASE_REPLACEMENT},
        {Duty::RemembersOthers,
         HANDSHAKE,
         "remembers-others",
         "remembers a bound host for the end of its own",
         {42},
         PHASE_REPLACEMENT},
        {Duty::BindsOnAck,
         HANDSHAKE,
         "binds-on-ack",
         "binds to the sender of _CLIENT_ACK without a host",
         {43},
         PHASE_REPLACEMENT},
        {Duty::AnswersRequest, REQUESTS, "request", nullptr, {29, 44}, PHASE_REQUESTS},
        {Duty::RepliesWithTheSelection,
         REQUESTS,
         "replies-with-selection",
         "replies to 2001 with the selected item's bare record",
         {16, 18, 21, 22},
         PHASE_REQUESTS},
        {Duty::RemovesItems,
         REQUESTS,
         "drops-removed-selection",
         "removes items, and their selection with them",
         {23, 25, 27},
         PHASE_REQUESTS},
        {Duty::ReplacesItems,
         REQUESTS,
         "moves-modified-selection",
         "replaces an item, and selects the new one",
         {24, 28},
         PHASE_REQUESTS},
        {Duty::SkipsKnownItems,
         REQUESTS,
         "skips-known-items",
         "appends no item of 2004 with a known id",
         {24},
         PHASE_REQUESTS},
        {Duty::AcceptsAnyBytes,
         REQUESTS,
         "accepts-any-bytes",
         "accepts names and ids that are not UTF-8",
         {19},
         PHASE_REQUESTS},
        {Duty::AnswersUnknownIds,
         REQUESTS,
         "answers-unknown-ids",
         "answers an unknown id with an empty array",
         {30},
         PHASE_REQUESTS},
        {Duty::AnswersShortFrames,
         REQUESTS,
         "answers-short-frames",
         "answers fewer than four bytes with an empty array",
         {17},
         PHASE_REQUESTS},
        {Duty::SendsNoRequestMeanwhile,
         REQUESTS,
         "no-calls-meanwhile",
         "sends no request while a reply is due",
         {15},
         PHASE_HANDSHAKE | PHASE_REQUESTS | PHASE_LIBRARY},
        {Duty::SendsNotification, NOTIFICATIONS, "notification", nullptr, {}, ALL},
        {Duty::NotifiesItsHostOnly,
         NOTIFICATIONS,
         "notifies-its-host",
         "sends (ay) with a known id, to its host only",
         {2, 16},
         ALL},
        {Duty::WorksWithTheLibrary,
         LIBRARY,
         "works-with-library",
         "connects, receives the list, answers each operation",
         {48},
         ALL},
        {Duty::ReconnectsAfterARestart,
         LIBRARY,
         "reconnects",
         "connects and receives the list again after a restart",
         {48},
         ALL},
    };
    return texts;
}

std::vector<int> StatementsOf(AppListNotification id) {
    switch (id) {
    case APPLIST_ITEM_CHANGE_EVENT:
        return {31};
    case APPLIST_ITEM_SELECTION_EVENT:
        return {32, 46};
    case APPLIST_ITEM_CLICKED_EVENT:
        return {33};
    case APPLIST_LOCAL_CREATED_EVENT:
        break;
    }
    return {34, 38};
}

// Each part with a new host may break these duties.
bool IsOfEachHost(Duty duty) {
    return duty == Duty::ReleasesNames || duty == Duty::AnswersSynAck ||
           duty == Duty::AnswersWhenBound || duty == Duty::AnnouncesItselfAgain ||
           duty == Duty::SendsNotification;
}

Phase LastOf(Duty duty, unsigned phases) {
    unsigned last = PHASE_LIBRARY;
    while ((phases & last) == 0) {
        last >>= 1U;
    }
    const unsigned withHosts = PHASE_REQUESTS;
    return static_cast<Phase>(IsOfEachHost(duty) ? std::max(last, withHosts) : last);
}

// Most duties have one row, some have one for each message.
void AppendRows(const DutyText& duty, std::vector<RowText>& rows) {
    const std::string key = duty.key;
    const Phase last = LastOf(duty.duty, duty.phases);
    if (duty.duty == Duty::AnswersRequest) {
        for (const RequestKind& kind : Protocol::REQUESTS) {
            rows.push_back({ChecklistRow(kind.id), key + "-" + kind.word, duty.group,
                            "answers " + std::to_string(kind.id) + ", " + kind.word,
                            duty.statements, duty.phases, last});
        }
    } else if (duty.duty == Duty::SendsNotification) {
        for (const NotificationKind& kind : Protocol::NOTIFICATIONS) {
            rows.push_back(
                {ChecklistRow(kind.id), key + "-" + kind.word, duty.group,
                 "sends " + std::to_string(kind.id) + ", " + kind.word + ", " + kind.occasion,
                 StatementsOf(kind.id),
                 kind.id == APPLIST_LOCAL_CREATED_EVENT ? CONNECTED : duty.phases,
                 kind.id == APPLIST_LOCAL_CREATED_EVENT ? PHASE_REQUESTS : last});
        }
    } else {
        rows.push_back({duty.duty, key, duty.group, duty.text, duty.statements, duty.phases, last});
    }
}

template <class Predicate>
int IndexIf(const Predicate& predicate) {
    const std::vector<RowText>& rows = Duties::AllRows();
    const auto found = std::find_if(rows.begin(), rows.end(), predicate);
    return found != rows.end() ? static_cast<int>(found - rows.begin()) : -1;
}

} // namespace

const std::vector<RowText>& Duties::AllRows() {
    static const std::vector<RowText> rows = [] {
        std::vector<RowText> all;
        for (const DutyText& duty : Texts()) {
            AppendRows(duty, all);
        }
        return all;
    }();
    return rows;
}

int Duties::Find(const std::string& key) {
    return IndexIf([&](const RowText& row) { return row.key == key; });
}

int Duties::IndexOf(const ChecklistRow& row) {
    return IndexIf([&](const RowText& one) { return !(one.row < row) && !(row < one.row); });
}

std::vector<int> Duties::UncheckedStatements() {
    std::set<int> checked;
    for (const RowText& row : AllRows()) {
        checked.insert(row.statements.begin(), row.statements.end());
    }
    std::vector<int> unchecked;
    for (int number = 1; number <= STATEMENTS; ++number) {
        if (checked.count(number) == 0) {
            unchecked.push_back(number);
        }
    }
    return unchecked;
}

std::string Duties::Describe(const std::vector<int>& statements) {
    std::string text;
    for (const int number : statements) {
        text += (text.empty() ? "P" : " P") + std::to_string(number);
    }
    return text;
}

} // namespace applistctl
