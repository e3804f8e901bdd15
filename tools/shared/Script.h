// Commands in a file, one a line, the first failing one of which fails the run.
#ifndef APPLIST_TOOLS_SCRIPT_H
#define APPLIST_TOOLS_SCRIPT_H

#include <functional>
#include <string>
#include <vector>

#include <shared/CommandRunner.h>
#include <shared/Output.h>

class Script {
public:
    Script(CommandRunner& runner, Output& output) : m_runner(runner), m_output(output) {}

    /** Takes the lines of a file, or says why not: it cannot be read, or a line makes no sense. */
    bool Read(const std::string& file);

    /** Runs one line after the other until @p stopped. @return whether all that ran went well */
    bool Run(const std::function<bool()>& stopped);

private:
    void SetPlace(std::size_t line);

    CommandRunner& m_runner;
    Output& m_output;
    std::string m_file;
    std::vector<std::string> m_lines;
};

#endif
