// The duties of a partner: each one is passed, broken or not seen, with the evidence.
#ifndef APPLIST_TOOLS_CHECKLIST_H
#define APPLIST_TOOLS_CHECKLIST_H

#include <cstdint>
#include <map>
#include <string>
#include <tuple>

#include <applist/MessageIds.h>
#include <shared/Output.h>

namespace applistctl {

enum class Duty {
    AnnouncesItself,
    AnswersSyn,
    AnswersSynAck,
    AnswersWhenBound,
    StartsTogether,
    WaitsForTheRelease,
    ServesAtOnce,
    KeepsItsHost,
    AnnouncesItselfAgain,
    RepeatsWhileFree,
    RepeatsWhileUnasked,
    RepeatsRefused,
    RemembersOthers,
    BindsOnAck,
    AnswersRequest, ///< one row for each request
    RepliesWithTheSelection,
    DropsARemovedSelection,
    SendsNoRequestMeanwhile,
    SendsNotification, ///< one row for each notification
    NotifiesItsHostOnly,
    WorksWithTheLibrary,
    ReconnectsAfterARestart,
    Count ///< the number of duties
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

class Checklist {
public:
    /** A later pass replaces the evidence of an earlier one. A broken duty stays broken. */
    void Pass(ChecklistRow row, const std::string& evidence);
    void Break(ChecklistRow row, const std::string& evidence);
    void Record(ChecklistRow row, bool passed, const std::string& evidence,
                const std::string& problem);

    /** Gives the reason for a duty that is not seen. The first reason is kept. */
    void Skip(ChecklistRow row, const std::string& reason);

    bool IsBroken(ChecklistRow row) const;
    bool AnyBroken() const;
    void Show(Output& output) const;

private:
    enum class Verdict { NotSeen, Passed, Broken };
    struct Finding {
        Verdict verdict = Verdict::NotSeen;
        std::string evidence;
    };

    std::map<ChecklistRow, Finding> m_findings;
};

} // namespace applistctl

#endif
