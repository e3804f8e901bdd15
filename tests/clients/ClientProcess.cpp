#include "ClientProcess.h"

#include <csignal>
#include <stdexcept>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "MainLoop.h"

namespace {

void ReadInto(int descriptor, std::string& text) {
    char buffer[4096];
    ssize_t count = 0;
    while ((count = read(descriptor, buffer, sizeof(buffer))) > 0) {
        text.append(buffer, static_cast<std::size_t>(count));
    }
}

} // namespace

ClientProcess::ClientProcess(std::vector<std::string> words) {
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    g_auto(GStrv) environment = g_environ_setenv(g_get_environ(), "LC_ALL", "C.UTF-8", TRUE);
    g_autoptr(GError) error = nullptr;
    g_spawn_async_with_pipes(
        nullptr, argv.data(), environment,
        static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_DO_NOT_REAP_CHILD),
        [](void* /*data*/) { prctl(PR_SET_PDEATHSIG, SIGKILL); }, nullptr, &m_pid, nullptr,
        &m_outputFd, &m_errorsFd, &error);
    if (error != nullptr) {
        throw std::runtime_error(error->message);
    }
    fcntl(m_outputFd, F_SETFL, O_NONBLOCK);
    fcntl(m_errorsFd, F_SETFL, O_NONBLOCK);
}

ClientProcess::~ClientProcess() {
    Stop();
    close(m_outputFd);
    close(m_errorsFd);
}

bool ClientProcess::IsInstalled(const std::string& program) {
    g_autofree char* path = g_find_program_in_path(program.c_str());
    return path != nullptr;
}

void ClientProcess::Drain() {
    ReadInto(m_outputFd, m_output);
    ReadInto(m_errorsFd, m_errors);
}

bool ClientProcess::WaitFor(const std::string& text) {
    return MainLoop::IterateUntil([&] {
        Drain();
        return m_output.find(text) != std::string::npos;
    });
}

bool ClientProcess::WaitForError(const std::string& text) {
    return MainLoop::IterateUntil([&] {
        Drain();
        return m_errors.find(text) != std::string::npos;
    });
}

std::string ClientProcess::Stop() {
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
        WaitForExit();
    }
    return m_output;
}

ClientProcess::Result ClientProcess::WaitForExit() {
    int status = 0;
    const bool ended = MainLoop::IterateUntil([&] {
        Drain();
        return waitpid(m_pid, &status, WNOHANG) == m_pid;
    });
    if (!ended) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    m_pid = 0;
    Drain();
    const int ending = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return {ended ? ending : -1, m_output, m_errors};
}
