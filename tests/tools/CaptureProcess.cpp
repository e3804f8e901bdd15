#include "CaptureProcess.h"

#include <csignal>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "BusDaemon.h"
#include "MainLoop.h"

namespace {

std::string Contents(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

} // namespace

CaptureProcess::CaptureProcess(const PrivateBus& bus, const std::vector<std::string>& command,
                               const std::string& file)
    : m_file(file), m_connection(bus.Connect()) {
    std::vector<std::string> words = command;
    words.push_back(bus.Address());
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    const int output = open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    m_pid = fork();
    if (m_pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(output, STDOUT_FILENO);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    close(output);
}

CaptureProcess::~CaptureProcess() {
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    g_dbus_connection_close_sync(m_connection, nullptr, nullptr);
    g_object_unref(m_connection);
}

// The bus handles messages in order: what was sent before the mark is in the file before it.
bool CaptureProcess::WaitForAMark(const std::string& mark) const {
    return MainLoop::IterateUntil([&] {
        BusDaemon::Call(m_connection, "NameHasOwner", g_variant_new("(s)", mark.c_str()));
        return Contents(m_file).find(mark) != std::string::npos;
    });
}

bool CaptureProcess::Finish() {
    const bool complete = WaitForAMark("org.example.End");
    kill(m_pid, SIGINT);
    waitpid(m_pid, nullptr, 0);
    m_pid = -1;
    return complete;
}
