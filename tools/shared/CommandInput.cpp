#include <shared/CommandInput.h>

#include <cerrno>
#include <memory>
#include <sstream>
#include <utility>

#include <glib-unix.h>
#include <unistd.h>

#include <shared/LineEditor.h>

namespace applistctl {

std::vector<Command> WithCommonCommands(std::vector<Command> commands, std::function<bool()> help,
                                        std::function<bool()> quit) {
    commands.push_back({"help", "", "show these commands", 0, 0,
                        [help = std::move(help)](const auto&) { return help(); }});
    commands.push_back({"quit", "", "exit, as at the end of the input", 0, 0,
                        [quit = std::move(quit)](const auto&) { return quit(); }});
    return commands;
}

CommandInput::CommandInput(std::vector<Command> commands, Output& output,
                           std::function<void()> quit)
    : m_runner(WithCommonCommands(
                   std::move(commands),
                   [this, &output] {
                       std::istringstream lines(DescribeCommands(m_runner.Commands()));
                       for (std::string line; std::getline(lines, line);) {
                           output.Line(line);
                       }
                       return true;
                   },
                   [this] {
                       Quit();
                       return true;
                   }),
               output),
      m_quit(std::move(quit)),
      m_isTerminal(isatty(STDIN_FILENO) != 0) {
    if (m_isTerminal) {
        output.Line("Type help for a list of the commands.");
    }
    StartEditing(output);
    StartReading();
}

void CommandInput::StartReading() {
    m_sourceId = g_unix_fd_add(
        STDIN_FILENO, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR), OnReadable, this);
}

CommandInput::~CommandInput() {
    if (m_sourceId != 0) {
        g_source_remove(m_sourceId);
    }
}

#ifdef APPLIST_WITH_LINE_EDITING // absent without libedit
void CommandInput::StartEditing(Output& output) {
    if (!LineEditor::CanEdit(output)) {
        return;
    }
    std::vector<std::string> words;
    for (const Command& command : m_runner.Commands()) {
        words.push_back(command.name);
    }
    m_edit = [editor = std::make_shared<LineEditor>(output, words, [this](const std::string& line) {
                  RunLine(line);
                  return !m_quitting;
              })](const std::string& bytes) { return editor->Type(bytes); };
}
#else
void CommandInput::StartEditing(Output& /*output*/) {}
#endif

gboolean CommandInput::OnReadable(gint fd, GIOCondition /*condition*/, gpointer user_data) {
    auto* const self = static_cast<CommandInput*>(user_data);
    if (!IsInForeground()) {
        self->m_foreground.Start([self] { self->StartReading(); });
    } else if (self->Read(fd)) {
        return G_SOURCE_CONTINUE;
    }
    self->m_sourceId = 0;
    return G_SOURCE_REMOVE;
}

// Reads the available input and runs the complete lines. Returns false at the end.
bool CommandInput::Read(int fd) {
    char buffer[4096];
    const ssize_t count = read(fd, buffer, sizeof(buffer));
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
        return true;
    }
    if (count > 0 && RunLines({buffer, static_cast<std::size_t>(count)})) {
        return true;
    }
    RunLine(std::exchange(m_unfinishedLine, std::string()));
    Quit();
    return false;
}

// Returns false after the last command.
bool CommandInput::RunLines(const std::string& bytes) {
    if (m_edit) {
        return m_edit(bytes);
    }
    m_unfinishedLine += bytes;
    std::size_t start = 0;
    for (auto end = m_unfinishedLine.find('\n'); end != std::string::npos;
         end = m_unfinishedLine.find('\n', start)) {
        RunLine(m_unfinishedLine.substr(start, end - start));
        start = end + 1;
    }
    m_unfinishedLine.erase(0, start);
    return !m_quitting;
}

void CommandInput::RunLine(const std::string& line) {
    if (!m_quitting && !m_runner.RunLine(line)) {
        m_failed = true;
    }
}

void CommandInput::Quit() {
    if (!std::exchange(m_quitting, true)) {
        m_quit();
    }
}

} // namespace applistctl
