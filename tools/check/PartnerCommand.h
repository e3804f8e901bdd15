// The command that starts the partner, so that a check can start and restart it by itself.
#ifndef APPLIST_TOOLS_PARTNERCOMMAND_H
#define APPLIST_TOOLS_PARTNERCOMMAND_H

#include <string>
#include <utility>

#include <sys/types.h>

class PartnerCommand {
public:
    /** @param command a shell's; empty for none */
    explicit PartnerCommand(std::string command) : m_command(std::move(command)) {}
    ~PartnerCommand() { Stop(); }

    PartnerCommand(const PartnerCommand&) = delete;
    PartnerCommand& operator=(const PartnerCommand&) = delete;

    bool IsGiven() const { return !m_command.empty(); }

    /** Ends what an earlier run has left running, and runs the command; does not wait for it. */
    void Run();

    /** Ends what a run has left running. */
    void Stop();

private:
    std::string m_command;
    pid_t m_pid = -1; ///< of the shell, which leads a process group of its own
    int m_input = -1; ///< kept open: a partner may take the end of its input for the end
};

#endif
