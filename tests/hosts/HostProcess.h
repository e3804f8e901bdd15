// A host of its own process, run to its end.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "Process.h"

inline namespace applist_test {

struct HostProcess {
    int status = -1; ///< exit status, 128 + N after signal N
    std::string output;

    /** Runs @p command, behind the words of the emulator of a cross build, and waits for its end.
     */
    static HostProcess Run(const std::vector<std::string>& command) {
        std::vector<std::string> words;
        std::istringstream emulator(APPLIST_TESTS_EMULATOR);
        for (std::string word; std::getline(emulator, word, '|');) {
            words.push_back(word);
        }
        words.insert(words.end(), command.begin(), command.end());
        Process host(words, {{}, {}, true});
        const int status = host.WaitForExitWithoutIterating();
        return {status, host.Output()};
    }
};

} // namespace applist_test
