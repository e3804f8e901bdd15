// What a script expects of the host: waits for it, and says what came instead.
#ifndef APPLIST_TOOLS_EXPECTATIONS_H
#define APPLIST_TOOLS_EXPECTATIONS_H

#include <functional>
#include <string>
#include <vector>

#include <partner/PartnerSession.h>
#include <shared/Output.h>

class Expectations {
public:
    Expectations(PartnerSession& session, Output& output) : m_session(session), m_output(output) {}

    /** How long what is expected may take. */
    void SetTimeout(double seconds) { m_timeout = seconds; }

    /** @param words those behind "expect" @return whether it came; otherwise it has been told */
    bool Expect(const std::vector<std::string>& words);

    /** What can be expected, for --help. */
    static std::string Describe();

private:
    using Words = std::vector<std::string>;

    bool ExpectState(bool connected);
    bool ExpectRequest(std::int32_t id, const Words& ids);
    bool ExpectNothing(const Words& words);
    bool ExpectList(const Words& ids);
    bool ExpectSelection(const Words& words);
    bool WaitUntilTrue(const std::function<bool()>& happened) const;
    bool Complain(const std::string& problem) const;

    PartnerSession& m_session;
    Output& m_output;
    double m_timeout = 10;
    std::string m_what; ///< the expectation in words
};

#endif
