// The findings of a check: each duty of a partner is passed, weak, broken or not seen, with the
// evidence. A finding is reported as soon as no later part of the check can change it.
#ifndef APPLIST_TOOLS_CHECKLIST_H
#define APPLIST_TOOLS_CHECKLIST_H

#include <functional>
#include <map>
#include <string>

#include <check/Duties.h>

namespace applistctl {

/** In the order of their weight. */
enum class Grade { NotSeen, Passed, Weak, Broken };

struct Finding {
    Grade grade = Grade::NotSeen;
    std::string evidence; ///< printable
};

class Checklist {
public:
    /** @param index of the row. Called once for each row. */
    using OnDecided = std::function<void(int index, const Finding& finding)>;

    /**
     * Each of these functions may end the process.
     * @param beforeBreak called before each duty that breaks
     * @param beforePhaseEnd called before the findings of a phase are reported
     */
    Checklist(OnDecided onDecided, std::function<void()> beforeBreak,
              std::function<void()> beforePhaseEnd)
        : m_onDecided(std::move(onDecided)),
          m_beforeBreak(std::move(beforeBreak)),
          m_beforePhaseEnd(std::move(beforePhaseEnd)) {}

    /** A later pass replaces the evidence of an earlier one. A worse grade stays. */
    void Pass(ChecklistRow row, const std::string& evidence);

    /** The duty is fulfilled in a way with a cost, which the evidence names. */
    void Weaken(ChecklistRow row, const std::string& evidence);

    void Break(ChecklistRow row, const std::string& evidence);
    void Record(ChecklistRow row, bool passed, const std::string& evidence,
                const std::string& problem);

    /** Gives the reason for a duty that is not seen. The first reason is kept. */
    void Skip(ChecklistRow row, const std::string& reason);

    bool IsBroken(ChecklistRow row) const;
    bool HasPassed(ChecklistRow row) const;
    bool AnyBroken() const;

    /**
     * Reports the rows that no phase after @p phase decides.
     * @param reason for the duties that are not seen without a reason of their own
     */
    void EndPhase(Phase phase, const std::string& reason);

private:
    Grade GradeOf(const ChecklistRow& row) const;
    void Set(ChecklistRow row, Grade grade, const std::string& evidence);
    void Report(int index, const Finding& finding);

    OnDecided m_onDecided;
    std::function<void()> m_beforeBreak;
    std::function<void()> m_beforePhaseEnd;
    std::map<ChecklistRow, Finding> m_findings;
    std::map<int, bool> m_reported;
};

} // namespace applistctl

#endif
