#include <check/DriveCommand.h>

#include <array>

#include <gio/gio.h>

#include <shared/Waiting.h>

namespace applistctl {

namespace {

constexpr double LIMIT_S = 30;

// "$@" in the command is replaced by the arguments; a command without it has them at its end.
std::string WithArguments(const std::string& command) {
    return command.find("$@") != std::string::npos ? command : command + " \"$@\"";
}

void OnExit(GObject* process, GAsyncResult* result, void* user_data) {
    g_subprocess_wait_finish(G_SUBPROCESS(process), result, nullptr);
    *static_cast<bool*>(user_data) = true;
}

} // namespace

std::string DriveCommand::Run(const std::string& action, const std::string& id) const {
    const std::string text = WithArguments(m_command);
    const std::array<const char*, 7> words = {"/bin/sh",      "-c",       text.c_str(), "drive",
                                              action.c_str(), id.c_str(), nullptr};
    g_autoptr(GError) error = nullptr;
    g_autoptr(GSubprocess) process =
        g_subprocess_newv(words.data(), G_SUBPROCESS_FLAGS_STDOUT_SILENCE, &error);
    if (process == nullptr) {
        return std::string("the command of --drive does not start: ") + error->message;
    }
    bool hasExited = false;
    g_subprocess_wait_async(process, nullptr, OnExit, &hasExited);
    if (!WaitUntil([&] { return hasExited; }, LIMIT_S)) {
        g_subprocess_force_exit(process);
        WaitUntil([&] { return hasExited; }, LIMIT_S);
        return "the command of --drive runs longer than " + InSeconds(LIMIT_S);
    }
    if (g_subprocess_get_if_exited(process) == FALSE) {
        return "the command of --drive ended with signal " +
               std::to_string(g_subprocess_get_term_sig(process));
    }
    const int status = g_subprocess_get_exit_status(process);
    return status == 0
               ? ""
               : "the command of --drive failed with the exit status " + std::to_string(status);
}

} // namespace applistctl
