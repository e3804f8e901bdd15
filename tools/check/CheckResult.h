// The result of one run: the findings, their comparison with the known failures, and the counts.
#ifndef APPLIST_TOOLS_CHECKRESULT_H
#define APPLIST_TOOLS_CHECKRESULT_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include <check/Baseline.h>
#include <check/Checklist.h>

namespace applistctl {

struct CheckCounts {
    std::size_t passed = 0;
    std::size_t weak = 0;
    std::size_t broken = 0;
    std::size_t notSeen = 0;
    std::size_t proven = 0; ///< statements
};

class CheckResult {
public:
    /** @param selected the rows of interest; empty for all */
    CheckResult(std::set<int> selected, Baseline baseline)
        : m_selected(std::move(selected)), m_baseline(std::move(baseline)) {}

    bool IsSelected(int index) const { return m_selected.empty() || m_selected.count(index) != 0; }

    /** The duties that the user has left out. */
    std::size_t CountUnselected() const {
        return m_selected.empty() ? 0 : Duties::AllRows().size() - m_selected.size();
    }

    void Add(int index, const Finding& finding) { m_findings[index] = finding; }

    /** Sets @p reason for each selected row without a finding. */
    void Complete(const std::string& reason);

    const std::map<int, Finding>& Findings() const { return m_findings; }

    /** A broken row that the baseline names. */
    bool IsKnown(int index) const;

    /** A row of the baseline that is not broken any more. */
    bool IsRepaired(int index) const;

    std::vector<std::string> RepairedKeys() const;
    CheckCounts Count() const;

    /** Whether a broken row is not in the baseline, or a row of the baseline is not broken. */
    bool HasFailed() const;

private:
    std::set<int> m_selected;
    Baseline m_baseline;
    std::map<int, Finding> m_findings;
};

/** "passed", "weak", "broken", "not seen" */
const char* WordOf(Grade grade);

} // namespace applistctl

#endif
