// The text of a check: the rows below the headings of their groups, and the counts.
#include <check/CheckReport.h>

#include <algorithm>

#include <shared/Counted.h>

namespace applistctl {

namespace {

std::string LabelOf(const RowText& row) {
    return row.text + " [" + Duties::Describe(row.statements) + "]";
}

std::size_t LabelColumn() {
    std::size_t column = 0;
    for (const RowText& row : Duties::AllRows()) {
        column = std::max(column, LabelOf(row).size());
    }
    return column;
}

// ", 40 duties not selected"
std::string DescribeUnselected(const CheckResult& result) {
    const std::size_t count = result.CountUnselected();
    return count == 0 ? "" : ", " + Counted(count, "duty", "duties") + " not selected";
}

class TextCheckReport : public CheckReport {
public:
    explicit TextCheckReport(Output& output) : m_output(output) {}

    void Begin(int run, int count) override {
        m_group.clear();
        if (count > 1) {
            m_output.State("Run " + std::to_string(run) + " of " + std::to_string(count));
        }
    }

    void Ask(const std::string& text) override { m_output.State(text); }

    void Show(int index, const Finding& finding, bool isKnown) override {
        const RowText& row = Duties::AllRows()[static_cast<std::size_t>(index)];
        if (row.group != m_group) {
            m_group = row.group;
            m_output.State(m_group);
        }
        const std::string label = LabelOf(row);
        const std::string rest = label + std::string(m_column + 2 - label.size(), ' ') +
                                 finding.evidence + (isKnown ? " (in the baseline)" : "");
        switch (finding.grade) {
        case Grade::NotSeen:
            m_output.Line("  not seen  " + rest);
            break;
        case Grade::Passed:
            m_output.Line("  passed    " + rest, Output::Tone::Sent);
            break;
        case Grade::Weak:
            m_output.Line("  weak      " + rest, Output::Tone::Problem);
            break;
        case Grade::Broken:
            m_output.Line("  BROKEN    " + rest, Output::Tone::Problem);
            break;
        }
    }

    // One line for all: the reason would hide the findings above it.
    void ShowRest(const std::vector<int>& indices, const Finding& finding) override {
        if (indices.size() == 1) {
            Show(indices.front(), finding, false);
        } else if (!indices.empty()) {
            m_output.Line("  not seen  " + Counted(indices.size(), "duty", "duties") +
                          " not checked: " + finding.evidence);
        }
    }

    void End(const CheckResult& result, double /*seconds*/) override {
        for (const std::string& key : result.RepairedKeys()) {
            m_output.Problem(key + " is in the baseline, and is not broken: remove it from there");
        }
        const CheckCounts counts = result.Count();
        m_output.State(
            std::to_string(counts.passed) + " passed, " + std::to_string(counts.weak) + " weak, " +
            std::to_string(counts.broken) + " broken, " + std::to_string(counts.notSeen) +
            " not seen" + DescribeUnselected(result) + "; " + std::to_string(counts.proven) +
            " of " + std::to_string(Duties::STATEMENTS) +
            " statements proven, not checked: " + Duties::Describe(Duties::UncheckedStatements()));
    }

private:
    Output& m_output;
    std::size_t m_column = LabelColumn();
    std::string m_group;
};

} // namespace

std::unique_ptr<CheckReport> MakeTextReport(Output& output) {
    return std::make_unique<TextCheckReport>(output);
}

} // namespace applistctl
