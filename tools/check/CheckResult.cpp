#include <check/CheckResult.h>

#include <algorithm>

namespace applistctl {

const char* WordOf(Grade grade) {
    switch (grade) {
    case Grade::Passed:
        return "passed";
    case Grade::Weak:
        return "weak";
    case Grade::Broken:
        return "broken";
    case Grade::NotSeen:
        break;
    }
    return "not seen";
}

void CheckResult::Complete(const std::string& reason) {
    const int count = static_cast<int>(Duties::AllRows().size());
    for (int i = 0; i < count; ++i) {
        if (IsSelected(i) && m_findings.count(i) == 0) {
            m_findings[i] = {Grade::NotSeen, reason};
        }
    }
}

bool CheckResult::IsKnown(int index) const {
    const auto found = m_findings.find(index);
    return m_baseline.Has(index) && found != m_findings.end() &&
           found->second.grade == Grade::Broken;
}

bool CheckResult::IsRepaired(int index) const {
    const auto found = m_findings.find(index);
    return m_baseline.Has(index) && found != m_findings.end() &&
           (found->second.grade == Grade::Passed || found->second.grade == Grade::Weak);
}

std::vector<std::string> CheckResult::RepairedKeys() const {
    std::vector<std::string> keys;
    for (const auto& finding : m_findings) {
        if (IsRepaired(finding.first)) {
            keys.push_back(Duties::AllRows()[static_cast<std::size_t>(finding.first)].key);
        }
    }
    return keys;
}

CheckCounts CheckResult::Count() const {
    CheckCounts counts;
    std::set<int> proven;
    std::set<int> unproven;
    for (const auto& finding : m_findings) {
        const RowText& row = Duties::AllRows()[static_cast<std::size_t>(finding.first)];
        const Grade grade = finding.second.grade;
        counts.passed += grade == Grade::Passed ? 1 : 0;
        counts.weak += grade == Grade::Weak ? 1 : 0;
        counts.broken += grade == Grade::Broken ? 1 : 0;
        counts.notSeen += grade == Grade::NotSeen ? 1 : 0;
        std::set<int>& statements = grade == Grade::Passed ? proven : unproven;
        statements.insert(row.statements.begin(), row.statements.end());
    }
    // Each of the rows that name a statement proves one part of it.
    counts.proven =
        static_cast<std::size_t>(std::count_if(proven.begin(), proven.end(), [&](int statement) {
            return unproven.count(statement) == 0;
        }));
    return counts;
}

bool CheckResult::HasFailed() const {
    return std::any_of(m_findings.begin(), m_findings.end(), [this](const auto& finding) {
        return (finding.second.grade == Grade::Broken && !IsKnown(finding.first)) ||
               IsRepaired(finding.first);
    });
}

} // namespace applistctl
