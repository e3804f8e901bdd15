// The command that starts and restarts the partner.
#ifndef APPLIST_TOOLS_PARTNERCOMMAND_H
#define APPLIST_TOOLS_PARTNERCOMMAND_H

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include <sys/types.h>

namespace applistctl {

class PartnerCommand {
public:
    /**
     * @param command for the shell; empty for none
     * @param onStart called with the process group of each run
     */
    PartnerCommand(std::string command, std::function<void(pid_t)> onStart)
        : m_command(std::move(command)), m_onStart(std::move(onStart)) {}
    ~PartnerCommand() { Stop(); }

    PartnerCommand(const PartnerCommand&) = delete;
    PartnerCommand& operator=(const PartnerCommand&) = delete;

    bool IsGiven() const { return !m_command.empty(); }
    const std::string& Text() const { return m_command; }

    /** Stops the processes of an earlier run, and starts the command without waiting for it. */
    void Run();

    /** Stops the processes of the last run. */
    void Stop();

    /** The partner has announced itself: a command that has ended by now is not the partner. */
    void OnPartnerFound();

    /** ", exit status 7": of a partner that has left the bus. Empty for an unknown status. */
    std::string DescribeEnd();

    /** "failed with the exit status 127": of a command that has ended so. Empty for another one. */
    std::string DescribeFailure();

private:
    bool HasEnded();

    std::string m_command;
    std::function<void(pid_t)> m_onStart;
    pid_t m_pid = -1;            ///< of the shell, the leader of a new process group
    int m_input = -1;            ///< kept open: a partner may exit at the end of its input
    std::optional<int> m_status; ///< of waitpid
    bool m_isPartner = true;     ///< the process of the command is the partner
};

} // namespace applistctl

#endif
