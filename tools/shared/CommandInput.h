// Commands on standard input, read in the main loop.
#ifndef APPLIST_TOOLS_COMMANDINPUT_H
#define APPLIST_TOOLS_COMMANDINPUT_H

#include <functional>
#include <string>
#include <vector>

#include <glib.h>

#include <shared/CommandRunner.h>
#include <shared/Foreground.h>
#include <shared/Output.h>

namespace applistctl {

/**
 * Runs one command per line, with the quoting of the shell. Adds "help" and "quit". The end of the
 * input is a quit. On a terminal, the lines are edited if the tool is built with libedit. A
 * background process leaves the input to the shell.
 */
class CommandInput {
public:
    CommandInput(std::vector<Command> commands, Output& output, std::function<void()> quit);
    ~CommandInput();

    CommandInput(const CommandInput&) = delete;
    CommandInput& operator=(const CommandInput&) = delete;

    /** Whether a command failed that was not typed on a terminal. */
    bool ScriptFailed() const { return m_failed && !m_isTerminal; }

private:
    static gboolean OnReadable(gint fd, GIOCondition condition, gpointer user_data);
    void StartReading();
    void StartEditing(Output& output);
    bool Read(int fd);
    bool RunLines(const std::string& bytes);
    void RunLine(const std::string& line);
    void Quit();

    CommandRunner m_runner;
    std::function<void()> m_quit;
    bool m_isTerminal;
    bool m_quitting = false;
    bool m_failed = false;
    std::string m_unfinishedLine;
    std::function<bool(const std::string& bytes)> m_edit; // null for plain lines
    ForegroundWatch m_foreground;
    guint m_sourceId = 0;
};

/** Adds the commands of every verb, for --help. */
std::vector<Command> WithCommonCommands(std::vector<Command> commands,
                                        std::function<bool()> help = nullptr,
                                        std::function<bool()> quit = nullptr);

} // namespace applistctl

#endif
