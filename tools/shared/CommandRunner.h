// Finds and runs the command of a line.
#ifndef APPLIST_TOOLS_COMMANDRUNNER_H
#define APPLIST_TOOLS_COMMANDRUNNER_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <shared/Output.h>

namespace applistctl {

struct Command {
    std::string name;
    std::string arguments; ///< for the help
    std::string help;
    std::size_t minArguments;
    std::size_t maxArguments;
    /** @return false when the command failed */
    std::function<bool(const std::vector<std::string>&)> run;
    /** Checks the arguments before the command runs. @return the problem, or an empty text */
    std::function<std::string(const std::vector<std::string>&)> check = {};
};

/** Lines of two columns for --help. The longest text sets the width of the first column. */
std::string InTwoColumns(const std::vector<std::pair<std::string, std::string>>& rows);

/** The commands, one per line, for --help and for the command "help". */
std::string DescribeCommands(const std::vector<Command>& commands);

class CommandRunner {
public:
    CommandRunner(std::vector<Command> commands, Output& output)
        : m_commands(std::move(commands)), m_output(output) {}

    /** Runs a line with the quoting of the shell. Skips empty lines and comments (#). */
    bool RunLine(const std::string& line);

    /** Checks a line without running it. @return the problem, or an empty text */
    std::string FindProblem(const std::string& line) const;

    const std::vector<Command>& Commands() const { return m_commands; }

private:
    const Command* Parse(const std::string& line, std::vector<std::string>& arguments,
                         std::string& problem) const;

    std::vector<Command> m_commands;
    Output& m_output;
};

} // namespace applistctl

#endif
