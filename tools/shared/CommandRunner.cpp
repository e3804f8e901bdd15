#include <shared/CommandRunner.h>

#include <algorithm>

#include <glib.h>

namespace applistctl {

std::string InTwoColumns(const std::vector<std::pair<std::string, std::string>>& rows) {
    std::size_t column = 0;
    for (const auto& [left, right] : rows) {
        column = std::max(column, left.size());
    }
    std::string text;
    for (const auto& [left, right] : rows) {
        text.append("  ").append(left).append(column - left.size() + 2, ' ').append(right) += '\n';
    }
    return text;
}

std::string DescribeCommands(const std::vector<Command>& commands) {
    std::vector<std::pair<std::string, std::string>> rows;
    rows.reserve(commands.size());
    for (const Command& command : commands) {
        rows.emplace_back(command.name + (command.arguments.empty() ? "" : " ") + command.arguments,
                          command.help);
    }
    return InTwoColumns(rows);
}

namespace {

// Another character at the end completes an escape sequence, but no quotation.
// @return the problem of a line that the shell's quoting rules do not allow
std::string DescribeQuoting(const std::string& line) {
    return g_shell_parse_argv((line + "x").c_str(), nullptr, nullptr, nullptr) != FALSE
               ? "no character follows the backslash at the end of the line"
               : "a quotation mark has no counterpart in this line";
}

} // namespace

bool CommandRunner::RunLine(const std::string& line) {
    std::vector<std::string> arguments;
    std::string problem;
    const Command* const command = Parse(line, arguments, problem);
    if (!problem.empty()) {
        m_output.Error(problem);
        return false;
    }
    return command == nullptr || command->run(arguments);
}

std::string CommandRunner::FindProblem(const std::string& line) const {
    std::vector<std::string> arguments;
    std::string problem;
    Parse(line, arguments, problem);
    return problem;
}

const Command* CommandRunner::Parse(const std::string& line, std::vector<std::string>& arguments,
                                    std::string& problem) const {
    const std::size_t start = line.find_first_not_of(" \t\r");
    if (start == std::string::npos || line[start] == '#') {
        return nullptr;
    }
    g_auto(GStrv) words = nullptr;
    int count = 0;
    if (g_shell_parse_argv(line.c_str(), &count, &words, nullptr) == FALSE) {
        problem = DescribeQuoting(line);
        return nullptr;
    }
    const std::string name = words[0];
    const auto command =
        std::find_if(m_commands.begin(), m_commands.end(),
                     [&](const Command& candidate) { return candidate.name == name; });
    if (command == m_commands.end()) {
        problem = "unknown command \"" + name + "\"; type help for a list";
        return nullptr;
    }
    arguments.assign(words + 1, words + count);
    if (arguments.size() < command->minArguments || arguments.size() > command->maxArguments) {
        problem = "usage: " + name + (command->arguments.empty() ? "" : " ") + command->arguments;
    } else if (command->check) {
        problem = command->check(arguments);
    }
    return &*command;
}

} // namespace applistctl
