// Reads the common options, and the options of one verb, with GOption.
#ifndef APPLIST_TOOLS_COMMANDLINE_H
#define APPLIST_TOOLS_COMMANDLINE_H

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace applistctl {

/** An option of one verb. */
struct VerbOption {
    const char* name;      ///< without the dashes
    const char* parameter; ///< null for an option without a parameter
    const char* help;
};

/** The text of --help. */
struct Usage {
    std::string program;     ///< "applistctl host"
    std::string parameters;  ///< "[DIR...]"
    std::string summary;     ///< above the options
    std::string description; ///< below the options
    bool hasVerbs;           ///< options after the first argument belong to the verb
    std::vector<VerbOption> options = {};
};

struct CommandLine {
    std::optional<int> exitStatus; ///< set when the program is done
    std::string bus;               ///< the address given with --bus, or empty
    std::vector<std::string> arguments;
    std::map<std::string, std::string> options; ///< of the verb; "" without a parameter

    bool Has(const std::string& option) const { return options.count(option) != 0; }
    std::string Value(const std::string& option, const std::string& otherwise) const {
        const auto found = options.find(option);
        return found != options.end() ? found->second : otherwise;
    }
};

/** Reads @p words. Handles --help and --version, and reports unknown options. */
CommandLine ReadCommandLine(const Usage& usage, const std::vector<std::string>& words);

/** Reports a wrong command line on standard error. @return the exit status */
int WrongUsage(const std::string& program, const std::string& problem);

/** The same for the value of an option. @param wanted "a number from 1 to 9" */
int WrongOption(const std::string& program, const CommandLine& line, const std::string& option,
                const std::string& wanted);

} // namespace applistctl

#endif
