// The options that the program and each of its verbs have, and those of one verb, read with
// GOption.
#ifndef APPLIST_TOOLS_COMMANDLINE_H
#define APPLIST_TOOLS_COMMANDLINE_H

#include <map>
#include <optional>
#include <string>
#include <vector>

/** An option that one verb has. */
struct VerbOption {
    const char* name;      ///< without the dashes
    const char* parameter; ///< null for one that takes none
    const char* help;
};

/** What --help shows. */
struct Usage {
    std::string program;     ///< "applistctl host"
    std::string parameters;  ///< "[DIR...]"
    std::string summary;     ///< above the options
    std::string description; ///< below the options
    bool hasVerbs;           ///< options behind the first argument are the verb's
    std::vector<VerbOption> options = {};
};

struct CommandLine {
    std::optional<int> exitStatus; ///< set when there is nothing more to do
    std::string bus;               ///< the address given with --bus, or empty
    std::vector<std::string> arguments;
    std::map<std::string, std::string> options; ///< the verb's that were given; "" for a plain one

    bool Has(const std::string& option) const { return options.count(option) != 0; }
    std::string Value(const std::string& option, const std::string& otherwise) const {
        const auto found = options.find(option);
        return found != options.end() ? found->second : otherwise;
    }
};

/** Reads @p words; answers --help and --version, and complains about what it does not know. */
CommandLine ReadCommandLine(const Usage& usage, const std::vector<std::string>& words);

/** Says on standard error what is wrong with the command line. @return the exit status */
int WrongUsage(const std::string& program, const std::string& problem);

#endif
