// Reports a call or a name that the bus's policy refuses, with the users of the installed policy
// and a file for another user.
#ifndef APPLIST_TOOLS_POLICYREPORT_H
#define APPLIST_TOOLS_POLICYREPORT_H

#include <optional>
#include <string>
#include <vector>

#include <check/BusPolicy.h>
#include <check/Verdicts.h>
#include <shared/CommandLine.h>
#include <shared/Output.h>

namespace applistctl {

class PolicyReport {
public:
    /** The option --policies of a check. */
    static constexpr VerbOption OPTION = {
        "policies", "DIR", "Read the bus policy in DIR (default: the folders of the system bus)"};

    /** @return the exit status of a --policies without a readable folder, which is reported */
    static std::optional<int> FindProblem(const std::string& program, const CommandLine& line);

    /** @param line with the value of --policies, or without */
    PolicyReport(Output& output, Verdicts& verdicts, const CommandLine& line);

    /** The user of this process lacks a right of the host. */
    void HostLacks(const std::string& what, const std::string& text);

    /** The user of this process may not call hosts, which host and partner may do. */
    void MayNotCall(const std::string& what, const std::string& text);

    /**
     * @param user of a host
     * @return the users with the role of the host; empty if @p user is one of them, or without a
     *         policy
     */
    std::string OtherHostUsers(const std::string& user) const;

    /** Prints the policy file that the advice names, after all rows; nothing without such advice.
     */
    void ShowFile();

private:
    void NeedsReload(const std::string& what, const std::string& text, const BusPolicy& policy);

    Output& m_output;
    Verdicts& m_verdicts;
    std::vector<std::string> m_folders;
    const std::string m_user = BusPolicy::CurrentUser();
    std::string m_dropIn;
};

} // namespace applistctl

#endif
