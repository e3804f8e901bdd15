// The commands of "applistctl partner", on standard input and in a script.
#ifndef APPLIST_TOOLS_PARTNERCOMMANDS_H
#define APPLIST_TOOLS_PARTNERCOMMANDS_H

#include <string>
#include <vector>

#include <partner/ExpectCommand.h>
#include <partner/PartnerSession.h>
#include <shared/CommandRunner.h>
#include <shared/Output.h>

namespace applistctl {

class PartnerCommands {
public:
    PartnerCommands(PartnerSession& session, Output& output)
        : m_session(session), m_output(output), m_expect(session, output) {}

    std::vector<Command> All();

    /** The arguments of "fault" and "expect", for --help. */
    static std::string DescribeArguments();

private:
    using Words = std::vector<std::string>;

    Command OnPartner(const char* name, const char* arguments, const char* help,
                      bool (Partner::*run)());
    Command OnPartner(const char* name, const char* arguments, const char* help,
                      bool (Partner::*run)(const std::string&));
    bool Change(const Words& words);
    bool HasPartner();
    bool SetFault(const Words& words);
    bool SetTimeout(const Words& words);
    bool Wait(const Words& words);
    bool Vanish();
    bool Restart(const Words& words);

    PartnerSession& m_session;
    Output& m_output;
    ExpectCommand m_expect;
};

} // namespace applistctl

#endif
