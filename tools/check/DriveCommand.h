// The command that acts as the partner's user.
#ifndef APPLIST_TOOLS_DRIVECOMMAND_H
#define APPLIST_TOOLS_DRIVECOMMAND_H

#include <string>
#include <utility>

namespace applistctl {

class DriveCommand {
public:
    /** @param command for the shell; empty for none */
    explicit DriveCommand(std::string command) : m_command(std::move(command)) {}

    bool IsGiven() const { return !m_command.empty(); }

    /**
     * Runs the command with an action, like "select", and the id of an item as its last arguments.
     * Iterates the main context meanwhile.
     * @return the problem; empty for a command that succeeded
     */
    std::string Run(const std::string& action, const std::string& id) const;

private:
    std::string m_command;
};

} // namespace applistctl

#endif
