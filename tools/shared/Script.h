// Commands in a file, one per line. The first failed command ends the run.
#ifndef APPLIST_TOOLS_SCRIPT_H
#define APPLIST_TOOLS_SCRIPT_H

#include <functional>
#include <string>
#include <vector>

#include <shared/CommandRunner.h>
#include <shared/Output.h>

namespace applistctl {

class Script {
public:
    Script(CommandRunner& runner, Output& output) : m_runner(runner), m_output(output) {}

    /** Reads a file. Reports an unreadable file and each malformed line. @return false then */
    bool Read(const std::string& file);

    /** Runs the lines in order until @p stopped. @return false when a command failed */
    bool Run(const std::function<bool()>& stopped);

private:
    void SetPlace(std::size_t line);

    CommandRunner& m_runner;
    Output& m_output;
    std::string m_file;
    std::vector<std::string> m_lines;
};

} // namespace applistctl

#endif
