// The partner's duties, each of them passed, broken or not seen, with the evidence.
#ifndef APPLIST_TOOLS_CHECKLIST_H
#define APPLIST_TOOLS_CHECKLIST_H

#include <map>
#include <string>

#include <shared/Output.h>

enum class Duty {
    AnnouncesItself,
    AnswersSyn,
    AnswersSynAck,
    AnswersWhenBound,
    StartsTogether,
    IgnoresTaking,
    ServesAtOnce,
    KeepsItsHost,
    LooksForTheNext,
    AsksForTheList,
    AnswersSelect,
    AnswersQuery,
    AnswersClear,
    AnswersAdd,
    AnswersAppend,
    AnswersClick,
    AnswersRemove,
    AnswersModify,
    TellsTheSelection,
    LetsGoOfTheSelection,
    NeverAsksMeanwhile,
    NotifiesRightly,
    WorksWithTheLibrary,
    ComesBack,
    TellsASelection,
    TellsAClick,
    TellsAChange
};

class Checklist {
public:
    /** Evidence of a later pass takes the place of the earlier; a broken duty stays broken. */
    void Pass(Duty duty, const std::string& evidence);
    void Break(Duty duty, const std::string& evidence);
    void Judge(Duty duty, bool passed, const std::string& evidence, const std::string& problem);

    /** Why a duty was not seen; the first reason counts. */
    void Skip(Duty duty, const std::string& reason);

    bool IsBroken(Duty duty) const;
    bool AnyBroken() const;
    void Show(Output& output) const;

private:
    enum class Verdict { NotSeen, Passed, Broken };
    struct Row {
        Verdict verdict = Verdict::NotSeen;
        std::string evidence;
    };

    std::map<Duty, Row> m_rows;
};

#endif
