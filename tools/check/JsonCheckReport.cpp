// The findings of a check as JSON, one object in each line.
#include <check/CheckReport.h>

#ifdef APPLIST_WITH_JSON

#include <cmath>
#include <iostream>

#include <nlohmann/json.hpp>

namespace applistctl {

namespace {

using Json = nlohmann::ordered_json;

Json StatementsOf(const RowText& row) {
    Json statements = Json::array();
    for (const int number : row.statements) {
        statements.push_back("P" + std::to_string(number));
    }
    return statements;
}

void WriteObject(Output& output, const Json& object) {
    output.Verbatim(object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
}

class JsonCheckReport : public CheckReport {
public:
    explicit JsonCheckReport(Output& output) : m_output(output) {}

    bool IsForPrograms() const override { return true; }

    void Begin(int run, int /*count*/) override { m_run = run; }

    // The lines of standard output are for programs.
    void Ask(const std::string& text) override { std::cerr << text << std::endl; }

    void Show(int index, const Finding& finding, bool isKnown) override {
        const RowText& row = Duties::AllRows()[static_cast<std::size_t>(index)];
        WriteObject(m_output, {{"event", "duty"},
                               {"run", m_run},
                               {"duty", row.key},
                               {"group", row.group},
                               {"text", row.text},
                               {"grade", WordOf(finding.grade)},
                               {"evidence", finding.evidence},
                               {"statements", StatementsOf(row)},
                               {"in_baseline", isKnown}});
    }

    void ShowRest(const std::vector<int>& indices, const Finding& finding) override {
        for (const int index : indices) {
            Show(index, finding, false);
        }
    }

    void End(const CheckResult& result, double seconds) override {
        const CheckCounts counts = result.Count();
        WriteObject(m_output, {{"event", "summary"},
                               {"run", m_run},
                               {"passed", counts.passed},
                               {"weak", counts.weak},
                               {"broken", counts.broken},
                               {"not_seen", counts.notSeen},
                               {"not_selected", result.CountUnselected()},
                               {"statements_proven", counts.proven},
                               {"statements", Duties::STATEMENTS},
                               {"repaired", result.RepairedKeys()},
                               {"failed", result.HasFailed()},
                               {"seconds", std::round(seconds * 1e3) / 1e3}});
    }

private:
    Output& m_output;
    int m_run = 1;
};

} // namespace

bool ListAsJson(Output& output) {
    for (const RowText& row : Duties::AllRows()) {
        WriteObject(output, {{"event", "listed"},
                             {"duty", row.key},
                             {"group", row.group},
                             {"text", row.text},
                             {"statements", StatementsOf(row)}});
    }
    return true;
}

std::unique_ptr<CheckReport> MakeJsonReport(Output& output) {
    return std::make_unique<JsonCheckReport>(output);
}

} // namespace applistctl

#else

namespace applistctl {

bool ListAsJson(Output& /*output*/) {
    return false;
}

std::unique_ptr<CheckReport> MakeJsonReport(Output& /*output*/) {
    return nullptr;
}

} // namespace applistctl

#endif
