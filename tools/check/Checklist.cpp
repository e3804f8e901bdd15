#include <check/Checklist.h>

#include <algorithm>
#include <utility>

#include <shared/ItemListing.h>

namespace applistctl {

Grade Checklist::GradeOf(const ChecklistRow& row) const {
    const auto found = m_findings.find(row);
    return found != m_findings.end() ? found->second.grade : Grade::NotSeen;
}

void Checklist::Set(ChecklistRow row, Grade grade, const std::string& evidence) {
    m_findings[row] = {grade, ItemListing::Printable(evidence)};
}

void Checklist::Pass(ChecklistRow row, const std::string& evidence) {
    if (GradeOf(row) <= Grade::Passed) {
        Set(row, Grade::Passed, evidence);
    }
}

void Checklist::Weaken(ChecklistRow row, const std::string& evidence) {
    if (GradeOf(row) < Grade::Weak) {
        Set(row, Grade::Weak, evidence);
    }
}

void Checklist::Break(ChecklistRow row, const std::string& evidence) {
    m_beforeBreak();
    if (!IsBroken(row)) {
        Set(row, Grade::Broken, evidence);
        Report(Duties::IndexOf(row), m_findings[row]);
    }
}

void Checklist::Record(ChecklistRow row, bool passed, const std::string& evidence,
                       const std::string& problem) {
    passed ? Pass(row, evidence) : Break(row, problem);
}

void Checklist::Skip(ChecklistRow row, const std::string& reason) {
    const auto found = m_findings.find(row);
    if (found == m_findings.end()) {
        Set(row, Grade::NotSeen, reason);
    }
}

bool Checklist::IsBroken(ChecklistRow row) const {
    return GradeOf(row) == Grade::Broken;
}

bool Checklist::HasPassed(ChecklistRow row) const {
    return GradeOf(row) == Grade::Passed;
}

bool Checklist::AnyBroken() const {
    return std::any_of(m_findings.begin(), m_findings.end(),
                       [](const auto& finding) { return finding.second.grade == Grade::Broken; });
}

void Checklist::EndPhase(Phase phase, const std::string& reason) {
    m_beforePhaseEnd();
    const std::vector<RowText>& rows = Duties::AllRows();
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (rows[i].last <= phase) {
            Skip(rows[i].row, reason);
            Report(static_cast<int>(i), m_findings[rows[i].row]);
        }
    }
}

void Checklist::Report(int index, const Finding& finding) {
    if (!std::exchange(m_reported[index], true)) {
        m_onDecided(index, finding);
    }
}

} // namespace applistctl
