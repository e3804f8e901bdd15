// The findings of a check as JSON, one object in each line.
#include <check/CheckReport.h>

#ifdef APPLIST_WITH_JSON

#include <iostream>

#include <nlohmann/json.hpp>

namespace applistctl {

namespace {

using Json = nlohmann::ordered_json;

class JsonCheckReport : public CheckReport {
public:
    explicit JsonCheckReport(Output& output) : m_output(output) {}

    void Begin(int run, int /*count*/) override { m_run = run; }

    // The lines of standard output are for programs.
    void Ask(const std::string& text) override { std::cerr << text << std::endl; }

    void Show(int index, const Finding& finding, bool isKnown) override {
        const RowText& row = Duties::AllRows()[static_cast<std::size_t>(index)];
        Json statements = Json::array();
        for (const int number : row.statements) {
            statements.push_back("P" + std::to_string(number));
        }
        Write({{"event", "duty"},
               {"run", m_run},
               {"duty", row.key},
               {"group", row.group},
               {"text", row.text},
               {"grade", WordOf(finding.grade)},
               {"evidence", finding.evidence},
               {"statements", statements},
               {"in_baseline", isKnown}});
    }

    void ShowRest(const std::vector<int>& indices, const Finding& finding) override {
        for (const int index : indices) {
            Show(index, finding, false);
        }
    }

    void End(const CheckResult& result, double seconds) override {
        const CheckCounts counts = result.Count();
        Write({{"event", "summary"},
               {"run", m_run},
               {"passed", counts.passed},
               {"weak", counts.weak},
               {"broken", counts.broken},
               {"not_seen", counts.notSeen},
               {"statements_proven", counts.proven},
               {"statements", Duties::STATEMENTS},
               {"repaired", result.RepairedKeys()},
               {"failed", result.HasFailed()},
               {"seconds", seconds}});
    }

private:
    void Write(const Json& object) {
        m_output.Verbatim(object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
    }

    Output& m_output;
    int m_run = 1;
};

} // namespace

std::unique_ptr<CheckReport> MakeJsonReport(Output& output) {
    return std::make_unique<JsonCheckReport>(output);
}

} // namespace applistctl

#else

namespace applistctl {

std::unique_ptr<CheckReport> MakeJsonReport(Output& /*output*/) {
    return nullptr;
}

} // namespace applistctl

#endif
