// A running applistctl, or another partner in the place of "applistctl partner".
#pragma once

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Process.h"

inline namespace applist_test {

class ToolProcess : public Process {
public:
    /**
     * With APPLIST_TEST_PARTNER_COMMAND in the environment, this program runs instead of
     * "applistctl partner". It accepts the same commands, and prints the same lines.
     *
     * @param environment "NAME=VALUE", besides the test's own variables
     * @param prepare called in the child before the tool starts
     */
    explicit ToolProcess(std::vector<std::string> arguments,
                         const std::vector<std::string>& environment = {},
                         const std::function<void()>& prepare = {})
        : Process(Words(std::move(arguments)), {environment, prepare, false}) {}

    /** Sends "list". @return the answer, from the line "list: ..." to "selection: ..." */
    std::string List() {
        Send("list");
        if (!WaitFor("\nlist: ")) {
            return "no list";
        }
        const std::size_t start = m_output.searched - std::string("list: ").size();
        if (!WaitFor("\nselection: ") || !WaitFor("\n")) {
            return "half a list";
        }
        const std::size_t end = m_output.searched--; // the next "list" may follow this line feed
        return m_output.text.substr(start, end - start);
    }

    /** The same answer, with one space in the place of several: some partners have no columns. */
    std::string ListWithoutColumns() {
        std::string list = List();
        const auto isRepeated = [](char one, char next) { return one == ' ' && next == ' '; };
        list.erase(std::unique(list.begin(), list.end(), isRepeated), list.end());
        return list;
    }

private:
    static std::vector<std::string> Words(std::vector<std::string> arguments) {
        const char* const partner = std::getenv("APPLIST_TEST_PARTNER_COMMAND");
        if (partner != nullptr && arguments.front() == "partner") {
            arguments.front() = partner;
        } else {
            arguments.insert(arguments.begin(), APPLISTCTL);
        }
        return arguments;
    }
};

/** A tool that has printed @p text when the constructor returns; throws when it does not. */
class StartedTool : public ToolProcess {
public:
    StartedTool(std::vector<std::string> arguments, const std::string& text)
        : ToolProcess(std::move(arguments)) {
        if (!WaitFor(text)) {
            throw std::runtime_error("no \"" + text + "\" in:\n" + Output() + Errors());
        }
    }
};

/** "applistctl partner", which has announced itself. */
struct RunningPartner : StartedTool {
    RunningPartner() : StartedTool({"partner"}, "_SERVICE_SYN") {}
};

/** "applistctl host" with the sample applications, which @p partner has received. */
struct SampleHost : ToolProcess {
    explicit SampleHost(ToolProcess& partner) : ToolProcess({"host", SAMPLE_APPLICATIONS}) {
        if (!partner.WaitFor("my list has 5 items now")) {
            throw std::runtime_error("no list of the host in:\n" + partner.Output());
        }
    }
};

/** "applistctl monitor", which prints each further message. */
struct RunningMonitor : StartedTool {
    RunningMonitor() : StartedTool({"monitor"}, "watching the bus at") {}
};

struct ToolResult {
    int status;
    std::string output;
    std::string errors;
};

/** Runs a tool to its end. */
inline ToolResult RunTool(const std::vector<std::string>& arguments) {
    ToolProcess tool(arguments);
    const int status = tool.WaitForExit();
    return {status, tool.Output(), tool.Errors()};
}

} // namespace applist_test
