// applistctl: runs the verb of the command line.
#include <algorithm>
#include <clocale>
#include <csignal>
#include <string>
#include <vector>

#include <check/CheckHostVerb.h>
#include <check/CheckPartnerVerb.h>
#include <check/CheckVerb.h>
#include <host/HostVerb.h>
#include <monitor/MonitorVerb.h>
#include <partner/PartnerVerb.h>
#include <shared/CommandLine.h>
#include <shared/SystemBus.h>

using namespace applistctl;

namespace {

struct Verb {
    const char* name;
    Usage (*usage)();
    int (*run)(const CommandLine& line);
};

Usage DescribeHelp();
int ShowHelp(const CommandLine& line);

constexpr Verb VERBS[] = {
    {"host", HostVerb::Describe, HostVerb::Run},
    {"partner", PartnerVerb::Describe, PartnerVerb::Run},
    {"check", CheckVerb::Describe, CheckVerb::Run},
    {"check host", CheckHostVerb::Describe, CheckHostVerb::Run},
    {"check partner", CheckPartnerVerb::Describe, CheckPartnerVerb::Run},
#ifdef APPLIST_WITH_MONITOR // absent without libpcap or nlohmann-json
    {"monitor", MonitorVerb::Describe, MonitorVerb::Run},
#endif
    {"help", DescribeHelp, ShowHelp},
};

Usage ProgramUsage() {
    return {"applistctl", "VERB ...",
            "Runs, checks and monitors both sides of an application list over D-Bus.\n"
            "\n"
            "Verbs:\n"
            "  host [DIR...]  Run a host with a list of the desktop entries\n"
            "  partner        Run a partner that keeps the list of the host\n"
            "  check          Check that this user can run a host on this device\n"
            "  check host     Check a running host from outside\n"
            "  check partner  Check a partner against its duties\n"
#ifdef APPLIST_WITH_MONITOR
            "  monitor        Show the traffic of host and partner, live or from a capture\n"
#endif
            "  help [VERB]    Show the help of a verb\n"
            "\n"
            "'applistctl VERB --help' also shows the help of a verb.",
            "Exit status: 0 done, 1 failed, 2 wrong usage, 3 no bus,\n"
            "4 a problem was found, 5 a half-open pair. An unreadable or\n"
            "malformed input file is a failure (1).",
            true};
}

// Finds the verb at the start of the words. A verb of two words comes first.
const Verb* FindVerb(const std::vector<std::string>& words, std::size_t& length) {
    for (length = std::min<std::size_t>(2, words.size()); length > 0; --length) {
        const std::string name = length == 2 ? words[0] + " " + words[1] : words[0];
        for (const Verb& verb : VERBS) {
            if (name == verb.name) {
                return &verb;
            }
        }
    }
    return nullptr;
}

int RunVerb(const Verb& verb, const std::vector<std::string>& words) {
    const CommandLine line = ReadCommandLine(verb.usage(), words);
    if (line.exitStatus) {
        return *line.exitStatus;
    }
    if (!line.bus.empty()) {
        SystemBus::UseAddress(line.bus);
    }
    return verb.run(line);
}

Usage DescribeHelp() {
    return {"applistctl help", "[VERB]", "Shows the help of VERB, or of the program.",
            "Exit status: 0 done, 1 failed, 2 wrong usage.", false};
}

int ShowHelp(const CommandLine& line) {
    std::size_t length = 0;
    const Verb* const verb = FindVerb(line.arguments, length);
    if (length != line.arguments.size()) {
        return WrongUsage("applistctl help", "unknown verb \"" + line.arguments[length] + "\"");
    }
    return *ReadCommandLine(verb != nullptr ? verb->usage() : ProgramUsage(), {"--help"})
                .exitStatus;
}

} // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_ALL, "");
    std::signal(SIGPIPE, SIG_IGN); // the class Output ends the process, with its exit status
    const CommandLine line =
        ReadCommandLine(ProgramUsage(), std::vector<std::string>(argv + 1, argv + argc));
    if (line.exitStatus) {
        return *line.exitStatus;
    }
    if (line.arguments.empty()) {
        return WrongUsage("applistctl", "no verb given");
    }
    if (!line.bus.empty()) {
        SystemBus::UseAddress(line.bus);
    }
    std::size_t length = 0;
    if (const Verb* const verb = FindVerb(line.arguments, length)) {
        return RunVerb(*verb, {line.arguments.begin() + static_cast<std::ptrdiff_t>(length),
                               line.arguments.end()});
    }
    return WrongUsage("applistctl", "unknown verb \"" + line.arguments.front() + "\"");
}
