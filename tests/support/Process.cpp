#include "Process.h"

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <string>

#include <gio/gunixinputstream.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include "MainLoop.h"

namespace {

constexpr int PATIENCE_MS = 60000;

void PrepareChild(void* setup) {
    const auto& prepare = static_cast<const Process::Setup*>(setup)->prepare;
    if (prepare) {
        prepare();
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL); // a change of the user resets it
}

} // namespace

Process::Process(const std::vector<std::string>& words, const Setup& setup) {
    // A process that has ended must not end the test that writes to it.
    std::signal(SIGPIPE, SIG_IGN);
    const auto flags = static_cast<GSubprocessFlags>(
        G_SUBPROCESS_FLAGS_STDIN_PIPE | G_SUBPROCESS_FLAGS_STDOUT_PIPE |
        (setup.sharesErrors ? G_SUBPROCESS_FLAGS_NONE : G_SUBPROCESS_FLAGS_STDERR_PIPE));
    g_autoptr(GSubprocessLauncher) launcher = g_subprocess_launcher_new(flags);
    g_subprocess_launcher_setenv(launcher, "LC_ALL", "C.UTF-8", TRUE);
    g_subprocess_launcher_unsetenv(launcher, "LANGUAGE");
    for (const std::string& variable : setup.environment) {
        const std::size_t nameEnd = variable.find('=');
        g_subprocess_launcher_setenv(launcher, variable.substr(0, nameEnd).c_str(),
                                     variable.c_str() + nameEnd + 1, TRUE);
    }
    g_subprocess_launcher_set_child_setup(launcher, PrepareChild, const_cast<Setup*>(&setup),
                                          nullptr);
    std::vector<const char*> arguments;
    for (const std::string& word : words) {
        arguments.push_back(word.c_str());
    }
    arguments.push_back(nullptr);
    g_autoptr(GError) error = nullptr;
    m_process.reset(g_subprocess_launcher_spawnv(launcher, arguments.data(), &error));
    if (m_process == nullptr) {
        throw std::runtime_error(error->message);
    }
    m_output.pipe = g_subprocess_get_stdout_pipe(m_process.get());
    if (!setup.sharesErrors) { // older versions of GLib log a critical message without a pipe
        m_errors.pipe = g_subprocess_get_stderr_pipe(m_process.get());
    }
}

Process::~Process() {
    g_subprocess_force_exit(m_process.get());
    WaitForExitWithoutIterating();
}

std::string Process::Id() const {
    const char* const id = g_subprocess_get_identifier(m_process.get());
    return id != nullptr ? id : "";
}

void Process::SendBytes(const std::string& bytes) {
    g_autoptr(GError) error = nullptr;
    if (g_output_stream_write_all(g_subprocess_get_stdin_pipe(m_process.get()), bytes.data(),
                                  bytes.size(), nullptr, nullptr, &error) == FALSE) {
        throw std::runtime_error(error->message);
    }
}

void Process::CloseInput() {
    g_output_stream_close(g_subprocess_get_stdin_pipe(m_process.get()), nullptr, nullptr);
}

void Process::Kill(int signal) {
    g_subprocess_send_signal(m_process.get(), signal);
}

void Process::Stop() {
    Kill(SIGSTOP);
    WaitForStop();
}

void Process::WaitForStop() const {
    const auto id = static_cast<id_t>(std::stoi(Id()));
    siginfo_t ignored;
    waitid(P_PID, id, &ignored, WSTOPPED | WEXITED | WNOWAIT); // GSubprocess collects the status
}

// @return whether more bytes may follow
bool Process::Stream::Drain() {
    while (pipe != nullptr) {
        char buffer[65536];
        g_autoptr(GError) error = nullptr;
        const gssize size = g_pollable_input_stream_read_nonblocking(
            G_POLLABLE_INPUT_STREAM(pipe), buffer, sizeof(buffer), nullptr, &error);
        if (size <= 0) {
            return g_error_matches(error, G_IO_ERROR, G_IO_ERROR_WOULD_BLOCK) != FALSE;
        }
        text.append(buffer, static_cast<std::size_t>(size));
    }
    return false;
}

bool Process::Stream::Find(const std::string& wanted) {
    const std::size_t found = text.find(wanted, searched);
    if (found != std::string::npos) {
        searched = found + wanted.size();
    }
    return found != std::string::npos;
}

bool Process::Stream::WaitFor(const std::string& wanted) {
    bool found = false;
    MainLoop::IterateUntil([&] {
        const bool isOpen = Drain();
        found = Find(wanted);
        return found || !isOpen;
    });
    return found;
}

const std::string& Process::Output() {
    m_output.Drain();
    return m_output.text;
}

const std::string& Process::Errors() {
    m_errors.Drain();
    return m_errors.text;
}

std::string Process::ReadLine() {
    const std::size_t start = m_output.searched;
    pollfd ready = {g_unix_input_stream_get_fd(G_UNIX_INPUT_STREAM(m_output.pipe)), POLLIN, 0};
    bool isOpen = true;
    while (!m_output.Find("\n")) {
        const int count = isOpen ? poll(&ready, 1, PATIENCE_MS) : 0;
        if (count == 0) {
            throw std::runtime_error("the process writes no line");
        }
        isOpen = (count < 0 && errno == EINTR) || m_output.Drain();
    }
    const std::string line = m_output.text.substr(start, m_output.searched - 1 - start);
    // A process that writes for hours is read line by line.
    m_output.text.erase(0, m_output.searched);
    m_output.searched = 0;
    return line;
}

int Process::WaitForExit(std::chrono::seconds limit) {
    // A process with a full pipe that is not read does not end.
    const auto hasEnded = [this] {
        Output();
        Errors();
        return Id().empty();
    };
    return MainLoop::IterateUntil(hasEnded, limit) ? WaitForExitWithoutIterating() : -1;
}

int Process::Interrupt() {
    Kill(SIGINT);
    return WaitForExit();
}

int Process::EndOfInput() {
    CloseInput();
    return WaitForExit();
}

int Process::WaitForExitWithoutIterating() {
    g_subprocess_wait(m_process.get(), nullptr, nullptr);
    return g_subprocess_get_if_exited(m_process.get()) != FALSE
               ? g_subprocess_get_exit_status(m_process.get())
               : 128 + g_subprocess_get_term_sig(m_process.get());
}
