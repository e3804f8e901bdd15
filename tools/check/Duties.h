// The duties of a partner: the rows of the checklist, each with its key, its text, the statements
// of the documents that it proves, and the phases of the check that decide it.
#ifndef APPLIST_TOOLS_DUTIES_H
#define APPLIST_TOOLS_DUTIES_H

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include <applist/MessageIds.h>

namespace applistctl {

enum class Duty {
    AnnouncesItself,
    ReleasesNames,
    AnswersSyn,
    AnswersSynAck,
    AnswersWhenBound,
    AnswersSynAgain,
    StartsTogether,
    WaitsForTheRelease,
    ServesAtOnce,
    KeepsItsHost,
    EmptiesItsList,
    AnnouncesItselfAgain,
    RepeatsWhileFree,
    RepeatsWhileUnasked,
    RepeatsRefused,
    NotifiesAfterItsAck,
    FindsAnEndedHost,
    RemembersOthers,
    BindsOnAck,
    AnswersRequest, ///< one row for each request
    RepliesWithTheSelection,
    RemovesItems,
    ReplacesItems,
    SkipsKnownItems,
    AcceptsAnyBytes,
    AnswersUnknownIds,
    AnswersShortFrames,
    SendsNoRequestMeanwhile,
    SendsNotification, ///< one row for each notification
    NotifiesItsHostOnly,
    WorksWithTheLibrary,
    ReconnectsAfterARestart,
    Count ///< the number of duties
};

/** The parts of a check, in their order. Several parts may decide a duty; the last one ends it. */
enum Phase : unsigned {
    PHASE_START = 1,
    PHASE_HANDSHAKE = 2,
    PHASE_REPLACEMENT = 4,
    PHASE_TOGETHER = 8,
    PHASE_REQUESTS = 16,
    PHASE_LIBRARY = 32
};

/** A row of the checklist: a duty, for some duties with the id of the message that it is about. */
struct ChecklistRow {
    // Most duties are rows by themselves.
    // NOLINTNEXTLINE(google-explicit-constructor)
    ChecklistRow(Duty itsDuty) : duty(itsDuty) {}
    explicit ChecklistRow(AppListRequest request) : duty(Duty::AnswersRequest), message(request) {}
    explicit ChecklistRow(AppListNotification notification)
        : duty(Duty::SendsNotification), message(notification) {}

    bool operator<(const ChecklistRow& other) const {
        return std::tie(duty, message) < std::tie(other.duty, other.message);
    }

    Duty duty;
    std::int32_t message = 0;
};

struct RowText {
    ChecklistRow row;
    std::string key;             ///< for options and files: "answers-syn"
    const char* group;           ///< "Handshake"
    std::string text;            ///< "answers _CLIENT_SYN with _SERVICE_SYN_ACK"
    std::vector<int> statements; ///< of docs/protocol.md and docs/partner-guide.md
    unsigned phases;             ///< the parts of the check that decide the row
    Phase last;                  ///< no later part changes the row
};

namespace Duties {

/** The highest number of a statement. A test compares it with the documents. */
constexpr int STATEMENTS = 52;

/** All rows, in the order of the checklist. */
const std::vector<RowText>& AllRows();

/** @return the index of the row, or -1 for an unknown key */
int Find(const std::string& key);
int IndexOf(const ChecklistRow& row);

/** The statements that no duty proves. The documents give the reasons. */
std::vector<int> UncheckedStatements();

/** "P4 P5" */
std::string Describe(const std::vector<int>& statements);

} // namespace Duties

} // namespace applistctl

#endif
