#include "Options.h"

#include <cstdio>
#include <cstdlib>

namespace {

[[noreturn]] void Refuse(const char* program, const std::string& why, const char* usage) {
    std::fprintf(stderr, "%s: %s\n\n%s", program, why.c_str(), usage);
    std::exit(2);
}

} // namespace

Options::Options(int argc, char** argv, const char* usage, const std::set<std::string>& numbers,
                 const std::set<std::string>& flags) {
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        const std::string name = argument.compare(0, 2, "--") == 0 ? argument.substr(2) : "";
        if (name == "help") {
            std::fputs(usage, stdout);
            std::exit(0);
        }
        if (flags.count(name) != 0) {
            m_flags.insert(name);
            continue;
        }
        if (numbers.count(name) == 0) {
            Refuse(argv[0], "unknown argument '" + argument + "'", usage);
        }
        const char* const text = ++i < argc ? argv[i] : "";
        char* end = nullptr;
        m_numbers[name] = std::strtoul(text, &end, 10);
        if (*text < '0' || *text > '9' || *end != '\0') {
            Refuse(argv[0], argument + " needs a number, not '" + text + "'", usage);
        }
    }
}

unsigned long Options::Number(const std::string& name, unsigned long byDefault) const {
    const auto found = m_numbers.find(name);
    return found == m_numbers.end() ? byDefault : found->second;
}
