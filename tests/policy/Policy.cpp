#include "Policy.h"

#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>

#include <gio/gio.h>

#include "TemporaryFolder.h"

namespace {
const std::regex RULE("<(allow|deny)\\b[^>]*/>");
}

std::string Policy::Make(const std::vector<std::string>& settings) {
    const TemporaryFolder folder;
    std::vector<std::string> words = {CMAKE_PROGRAM};
    for (const std::string& setting : settings) {
        words.push_back("-D" + setting);
    }
    words.insert(words.end(), {"-P", BUS_POLICY_SCRIPT});
    std::vector<const char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(word.c_str());
    }
    arguments.push_back(nullptr);
    g_autoptr(GSubprocessLauncher) launcher =
        g_subprocess_launcher_new(G_SUBPROCESS_FLAGS_STDERR_SILENCE);
    g_subprocess_launcher_set_cwd(launcher, folder.Path().c_str());
    g_autoptr(GSubprocess) cmake =
        g_subprocess_launcher_spawnv(launcher, arguments.data(), nullptr);
    if (cmake == nullptr || g_subprocess_wait_check(cmake, nullptr, nullptr) == FALSE) {
        return "";
    }
    std::stringstream text;
    text << std::ifstream(folder.Path() + "/org.morva.JavaMW.conf").rdbuf();
    return text.str();
}

std::vector<std::string> Policy::Rules(const std::string& policy) {
    std::vector<std::string> rules;
    for (std::sregex_iterator rule(policy.begin(), policy.end(), RULE), end; rule != end; ++rule) {
        rules.push_back(std::regex_replace(rule->str(), std::regex("\\s+"), " "));
    }
    return rules;
}

std::string Policy::Without(const std::string& policy, std::size_t index) {
    std::sregex_iterator rule(policy.begin(), policy.end(), RULE);
    std::advance(rule, index);
    return policy.substr(0, static_cast<std::size_t>(rule->position())) + rule->suffix().str();
}
