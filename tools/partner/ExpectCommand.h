// The command "expect": waits for a condition on the host, and reports the state at the time-out.
#ifndef APPLIST_TOOLS_EXPECTCOMMAND_H
#define APPLIST_TOOLS_EXPECTCOMMAND_H

#include <functional>
#include <string>
#include <vector>

#include <partner/PartnerSession.h>
#include <shared/Output.h>

namespace applistctl {

class ExpectCommand {
public:
    ExpectCommand(PartnerSession& session, Output& output) : m_session(session), m_output(output) {}

    /** The longest wait for a condition. */
    void SetTimeout(double seconds) { m_timeout = seconds; }

    /** @param words of the condition @return the problem of these words, or an empty text */
    static std::string FindProblem(const std::vector<std::string>& words);

    /** @param words without a problem @return false after a report of the failure */
    bool Run(const std::vector<std::string>& words);

    /** The conditions, for --help. */
    static std::string Describe();

private:
    using Words = std::vector<std::string>;

    bool ExpectState(bool connected);
    bool ExpectRequest(std::int32_t id, const Words& ids);
    bool ExpectNothing(const Words& words);
    bool ExpectList(const Words& ids);
    bool ExpectSelection(const Words& words);
    bool WaitUntilTrue(const std::function<bool()>& happened) const;
    bool Fail(const std::string& problem) const;

    PartnerSession& m_session;
    Output& m_output;
    double m_timeout = 10;
    std::string m_condition; ///< for reports
};

} // namespace applistctl

#endif
