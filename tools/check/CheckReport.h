// Shows the findings of a check as they come, and the summary: as text, or as JSON.
#ifndef APPLIST_TOOLS_CHECKREPORT_H
#define APPLIST_TOOLS_CHECKREPORT_H

#include <memory>
#include <string>
#include <vector>

#include <check/CheckResult.h>
#include <shared/Output.h>

namespace applistctl {

class CheckReport {
public:
    virtual ~CheckReport() = default;

    /** Programs read the duties and the summary of each run, also of a run without a partner. */
    virtual bool IsForPrograms() const { return false; }

    /** @param run the number of the run, from 1 @param count the number of all runs */
    virtual void Begin(int run, int count) = 0;

    /** Asks the user for an action. */
    virtual void Ask(const std::string& text) = 0;

    virtual void Show(int index, const Finding& finding, bool isKnown) = 0;

    /** The rows that the check did not reach, all for one reason. */
    virtual void ShowRest(const std::vector<int>& indices, const Finding& finding) = 0;

    virtual void End(const CheckResult& result, double seconds) = 0;
};

std::unique_ptr<CheckReport> MakeTextReport(Output& output);

/** One object in each line. @return null in a build without nlohmann-json */
std::unique_ptr<CheckReport> MakeJsonReport(Output& output);

/** Prints the duties, one object in each line. @return false in a build without nlohmann-json */
bool ListAsJson(Output& output);

} // namespace applistctl

#endif
