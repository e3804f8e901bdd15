// The options that the program and each of its verbs have, read with GOption.
#ifndef APPLIST_TOOLS_COMMANDLINE_H
#define APPLIST_TOOLS_COMMANDLINE_H

#include <optional>
#include <string>
#include <vector>

/** What --help shows. */
struct Usage {
    std::string program;     ///< "applistctl host"
    std::string parameters;  ///< "[DIR...]"
    std::string summary;     ///< above the options
    std::string description; ///< below the options
    bool hasVerbs;           ///< options behind the first argument are the verb's
};

struct CommandLine {
    std::optional<int> exitStatus; ///< set when there is nothing more to do
    std::string bus;               ///< the address given with --bus, or empty
    std::vector<std::string> arguments;
};

/** Reads @p words; answers --help and --version, and complains about what it does not know. */
CommandLine ReadCommandLine(const Usage& usage, const std::vector<std::string>& words);

/** Says on standard error what is wrong with the command line. @return the exit status */
int WrongUsage(const std::string& program, const std::string& problem);

#endif
