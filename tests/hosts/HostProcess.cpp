#include "HostProcess.h"

#include <csignal>
#include <stdexcept>

#include <gio/gio.h>
#include <sys/prctl.h>

HostProcess HostProcess::Run(const std::vector<std::string>& command) {
    g_auto(GStrv) emulator = g_strsplit(APPLIST_TESTS_EMULATOR, "|", -1);
    std::vector<const char*> arguments(emulator, emulator + g_strv_length(emulator));
    for (const std::string& argument : command) {
        arguments.push_back(argument.c_str());
    }
    arguments.push_back(nullptr);
    g_autoptr(GSubprocessLauncher) launcher =
        g_subprocess_launcher_new(G_SUBPROCESS_FLAGS_STDOUT_PIPE);
    g_subprocess_launcher_set_child_setup(
        launcher, [](void* /*data*/) { prctl(PR_SET_PDEATHSIG, SIGKILL); }, nullptr, nullptr);
    g_autoptr(GError) error = nullptr;
    g_autoptr(GSubprocess) process =
        g_subprocess_launcher_spawnv(launcher, arguments.data(), &error);
    g_autofree char* output = nullptr;
    if (process == nullptr || g_subprocess_communicate_utf8(process, nullptr, nullptr, &output,
                                                            nullptr, &error) == FALSE) {
        throw std::runtime_error(error->message);
    }
    const int status = g_subprocess_get_if_exited(process) != FALSE
                           ? g_subprocess_get_exit_status(process)
                           : 128 + g_subprocess_get_term_sig(process);
    return {status, output};
}
