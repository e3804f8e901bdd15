#include <shared/CommandInput.h>

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <utility>

#include <glib-unix.h>
#include <unistd.h>

std::string DescribeCommands(const std::vector<Command>& commands) {
    const auto synopsis = [](const Command& command) {
        return command.name + (command.arguments.empty() ? "" : " ") + command.arguments;
    };
    std::size_t column = 0;
    for (const Command& command : commands) {
        column = std::max(column, synopsis(command).size());
    }
    std::string text;
    for (const Command& command : commands) {
        const std::string start = synopsis(command);
        text += "  " + start + std::string(column - start.size() + 2, ' ') + command.help + "\n";
    }
    return text;
}

std::vector<Command> WithCommonCommands(std::vector<Command> commands, std::function<bool()> help,
                                        std::function<bool()> quit) {
    commands.push_back({"help", "", "show these commands", 0, 0,
                        [help = std::move(help)](const auto&) { return help(); }});
    commands.push_back({"quit", "", "leave (the end of the input does the same)", 0, 0,
                        [quit = std::move(quit)](const auto&) { return quit(); }});
    return commands;
}

CommandInput::CommandInput(std::vector<Command> commands, Output& output,
                           std::function<void()> quit)
    : m_output(output), m_quit(std::move(quit)), m_isTerminal(isatty(STDIN_FILENO) != 0) {
    m_commands = WithCommonCommands(
        std::move(commands),
        [this] {
            std::istringstream lines(DescribeCommands(m_commands));
            for (std::string line; std::getline(lines, line);) {
                m_output.Line(line);
            }
            return true;
        },
        [this] {
            Quit();
            return true;
        });
    if (m_isTerminal) {
        m_output.Line("Type help for the commands.");
    }
    m_sourceId = g_unix_fd_add(
        STDIN_FILENO, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR), OnReadable, this);
}

CommandInput::~CommandInput() {
    if (m_sourceId != 0) {
        g_source_remove(m_sourceId);
    }
}

gboolean CommandInput::OnReadable(gint fd, GIOCondition /*condition*/, gpointer user_data) {
    auto* const self = static_cast<CommandInput*>(user_data);
    if (self->Read(fd)) {
        return G_SOURCE_CONTINUE;
    }
    self->m_sourceId = 0;
    return G_SOURCE_REMOVE;
}

// Takes what is there and runs the lines that are complete. Returns false at the end.
bool CommandInput::Read(int fd) {
    char buffer[4096];
    const ssize_t count = read(fd, buffer, sizeof(buffer));
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
        return true;
    }
    if (count <= 0) {
        RunLine(std::exchange(m_unfinishedLine, std::string()));
        Quit();
        return false;
    }
    m_unfinishedLine.append(buffer, static_cast<std::size_t>(count));
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
    if (m_quitting || line.find_first_not_of(" \t\r") == std::string::npos) {
        return;
    }
    g_autoptr(GError) error = nullptr;
    g_auto(GStrv) words = nullptr;
    int count = 0;
    if (g_shell_parse_argv(line.c_str(), &count, &words, &error) == FALSE) {
        m_output.Error(error->message);
        m_failed = true;
        return;
    }
    if (!Run(std::vector<std::string>(words, words + count))) {
        m_failed = true;
    }
}

bool CommandInput::Run(const std::vector<std::string>& words) {
    const auto command =
        std::find_if(m_commands.begin(), m_commands.end(),
                     [&](const Command& candidate) { return candidate.name == words.front(); });
    if (command == m_commands.end()) {
        m_output.Error("no command \"" + words.front() + "\"; type help for those there are");
        return false;
    }
    const std::vector<std::string> arguments(words.begin() + 1, words.end());
    if (arguments.size() < command->leastArguments || arguments.size() > command->mostArguments) {
        m_output.Error("usage: " + command->name + (command->arguments.empty() ? "" : " ") +
                       command->arguments);
        return false;
    }
    return command->run(arguments);
}

void CommandInput::Quit() {
    if (!std::exchange(m_quitting, true)) {
        m_quit();
    }
}
