// Commands by name: finds the one that a line names and runs it.
#ifndef APPLIST_TOOLS_COMMANDRUNNER_H
#define APPLIST_TOOLS_COMMANDRUNNER_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <shared/Output.h>

struct Command {
    std::string name;
    std::string arguments; ///< as help shows them
    std::string help;
    std::size_t minArguments;
    std::size_t maxArguments;
    /** @return whether the command could be carried out */
    std::function<bool(const std::vector<std::string>&)> run;
};

/** Lines of two columns, the first as wide as needed, as --help shows commands. */
std::string InTwoColumns(const std::vector<std::pair<std::string, std::string>>& rows);

/** The commands as a text, one a line, for --help and for the command "help". */
std::string DescribeCommands(const std::vector<Command>& commands);

class CommandRunner {
public:
    CommandRunner(std::vector<Command> commands, Output& output)
        : m_commands(std::move(commands)), m_output(output) {}

    /** Runs a line with the shell's quoting. An empty one and a comment (#) do nothing. */
    bool RunLine(const std::string& line);

    /** @return what is wrong with the line, or nothing; it is not run */
    std::string FindProblem(const std::string& line) const;

    const std::vector<Command>& Commands() const { return m_commands; }

private:
    const Command* Parse(const std::string& line, std::vector<std::string>& arguments,
                         std::string& problem) const;

    std::vector<Command> m_commands;
    Output& m_output;
};

#endif
