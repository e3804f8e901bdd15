// The command lines of the long-running programs: --name N, --flag and --help.
#ifndef APPLIST_TESTS_OPTIONS_H
#define APPLIST_TESTS_OPTIONS_H

#include <map>
#include <set>
#include <string>

inline namespace applist_test {

class Options {
public:
    /** Ends the program after --help, and with status 2 when the arguments are wrong. */
    Options(int argc, char** argv, const char* usage, const std::set<std::string>& numbers,
            const std::set<std::string>& flags);

    unsigned long Number(const std::string& name, unsigned long byDefault) const;
    bool Has(const std::string& flag) const { return m_flags.count(flag) != 0; }

private:
    std::map<std::string, unsigned long> m_numbers;
    std::set<std::string> m_flags;
};

} // namespace applist_test

#endif
