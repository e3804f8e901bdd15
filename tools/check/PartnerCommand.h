// The command that starts and restarts the partner.
#ifndef APPLIST_TOOLS_PARTNERCOMMAND_H
#define APPLIST_TOOLS_PARTNERCOMMAND_H

#include <string>
#include <utility>

#include <sys/types.h>

namespace applistctl {

class PartnerCommand {
public:
    /** @param command for the shell; empty for none */
    explicit PartnerCommand(std::string command) : m_command(std::move(command)) {}
    ~PartnerCommand() { Stop(); }

    PartnerCommand(const PartnerCommand&) = delete;
    PartnerCommand& operator=(const PartnerCommand&) = delete;

    bool IsGiven() const { return !m_command.empty(); }

    /** Stops the processes of an earlier run, and starts the command without waiting for it. */
    void Run();

    /** Stops the processes of the last run. */
    void Stop();

private:
    std::string m_command;
    pid_t m_pid = -1; ///< of the shell, the leader of a new process group
    int m_input = -1; ///< kept open: a partner may exit at the end of its input
};

} // namespace applistctl

#endif
