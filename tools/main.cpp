// applistctl: runs the verb that the command line names.
#include <algorithm>
#include <clocale>
#include <string>
#include <vector>

#include <check/CheckPartnerVerb.h>
#include <check/CheckVerb.h>
#include <host/HostVerb.h>
#include <monitor/MonitorVerb.h>
#include <partner/PartnerVerb.h>
#include <shared/CommandLine.h>
#include <shared/SystemBus.h>

namespace {

struct Verb {
    const char* name;
    Usage (*usage)();
    int (*run)(const CommandLine& line);
};

constexpr Verb VERBS[] = {
    {"host", HostVerb::Describe, HostVerb::Run},
    {"partner", PartnerVerb::Describe, PartnerVerb::Run},
    {"check", CheckVerb::Describe, CheckVerb::Run},
    {"check partner", CheckPartnerVerb::Describe, CheckPartnerVerb::Run},
    {"monitor", MonitorVerb::Describe, MonitorVerb::Run},
};

Usage ProgramUsage() {
    return {"applistctl", "VERB ...",
            "Keeps an application list in step over D-Bus: both sides of it, and what shows what\n"
            "is wrong between them.\n"
            "\n"
            "Verbs:\n"
            "  host [DIR...]  Own a list of the desktop entries, and keep a partner in step\n"
            "  partner        Stand in for the partner: keep the list that the host describes\n"
            "  check          Say whether this user may be a host here, and what is missing\n"
            "  check partner  List which of a partner's duties it fulfils\n"
            "  monitor        Tell what the two say to each other, live or from a capture\n"
            "\n"
            "'applistctl VERB --help' tells about one of them.",
            "Exit status: 0 done, 1 failed, 2 wrong usage, 3 no bus,\n"
            "4 something is not as it should be.",
            true};
}

// The verb that the words begin with, two words before one.
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

} // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_ALL, "");
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
    return WrongUsage("applistctl", "no verb \"" + line.arguments.front() + "\"");
}
