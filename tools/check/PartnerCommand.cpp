#include <check/PartnerCommand.h>

#include <csignal>
#include <utility>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <shared/Waiting.h>

namespace applistctl {

namespace {
constexpr double END_LIMIT_S = 3;
}

void PartnerCommand::Run() {
    Stop();
    int input[2];
    if (pipe2(input, O_CLOEXEC) != 0) {
        return;
    }
    m_pid = fork();
    if (m_pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        setpgid(0, 0);
        dup2(input[0], STDIN_FILENO);
        // The output of the partner would mix with the lines of the check.
        const int nowhere = open("/dev/null", O_WRONLY);
        dup2(nowhere, STDOUT_FILENO);
        dup2(nowhere, STDERR_FILENO);
        execl("/bin/sh", "sh", "-c", m_command.c_str(), nullptr);
        _exit(127);
    }
    close(input[0]);
    m_input = input[1];
    setpgid(m_pid, m_pid); // here and in the child: either may run first
}

void PartnerCommand::Stop() {
    if (m_pid <= 0) {
        return;
    }
    kill(-m_pid, SIGTERM);
    bool ended = false;
    const auto hasEnded = [&] {
        return ended = ended || waitpid(m_pid, nullptr, WNOHANG) == m_pid;
    };
    for (double waited = 0; !hasEnded() && waited < END_LIMIT_S; waited += 0.01) {
        WaitFor(0.01);
    }
    kill(-m_pid, SIGKILL); // the rest of the group
    if (!ended) {
        waitpid(m_pid, nullptr, 0);
    }
    m_pid = -1;
    close(std::exchange(m_input, -1));
}

} // namespace applistctl
