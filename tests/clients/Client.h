// A command-line client of D-Bus: gdbus, busctl, dbus-send or dbus-monitor.
#pragma once

#include <string>
#include <vector>

#include "Process.h"

inline namespace applist_test {

struct ClientResult {
    int exitStatus;
    std::string output;
    std::string errors;
};

/** Runs a client that ends by itself. */
inline ClientResult RunClient(const std::vector<std::string>& words) {
    Process client(words);
    const int exitStatus = client.WaitForExit();
    return {exitStatus, client.Output(), client.Errors()};
}

inline bool IsInstalled(const std::string& program) {
    g_autofree char* path = g_find_program_in_path(program.c_str());
    return path != nullptr;
}

/** Skips the test, with a message, on a machine without the client. */
#define APPLIST_NEEDS_CLIENT(program)                                                              \
    if (!IsInstalled(program)) {                                                                   \
        GTEST_SKIP() << (program) << " is not installed: scripts/install-packages test";           \
    }

} // namespace applist_test
