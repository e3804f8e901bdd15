#include <check/PartnerCommand.h>

#include <csignal>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <shared/Waiting.h>

namespace applistctl {

namespace {
constexpr double END_LIMIT_S = 3;
constexpr double STATUS_LIMIT_S =
    0.5; ///< from the loss of the connection to the end of the process
} // namespace

void PartnerCommand::Run() {
    Stop();
    int input[2];
    if (pipe2(input, O_CLOEXEC) != 0) {
        return;
    }
    m_isPartner = true;
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
    m_onStart(m_pid);
}

bool PartnerCommand::HasEnded() {
    int status = 0;
    if (!m_status && m_pid > 0 && waitpid(m_pid, &status, WNOHANG) == m_pid) {
        m_status = status;
    }
    return m_status.has_value();
}

void PartnerCommand::Stop() {
    if (m_pid <= 0) {
        return;
    }
    kill(-m_pid, SIGTERM);
    for (double waited = 0; !HasEnded() && waited < END_LIMIT_S; waited += 0.01) {
        WaitFor(0.01);
    }
    kill(-m_pid, SIGKILL); // the rest of the group
    if (!HasEnded()) {
        waitpid(m_pid, nullptr, 0);
    }
    m_pid = -1;
    m_status.reset();
    close(std::exchange(m_input, -1));
}

void PartnerCommand::OnPartnerFound() {
    m_isPartner = !HasEnded();
}

std::string PartnerCommand::DescribeEnd() {
    if (m_pid <= 0 || !m_isPartner) {
        return "";
    }
    for (double waited = 0; !HasEnded() && waited < STATUS_LIMIT_S; waited += 0.01) {
        WaitFor(0.01);
    }
    if (!m_status) {
        return ", its process has not ended";
    }
    if (WIFSIGNALED(*m_status)) {
        const int number = WTERMSIG(*m_status);
        return ", signal " + std::to_string(number) + " (" + strsignal(number) + ")";
    }
    return ", exit status " + std::to_string(WEXITSTATUS(*m_status));
}

std::string PartnerCommand::DescribeFailure() {
    if (!HasEnded() || *m_status == 0) {
        return "";
    }
    if (WIFSIGNALED(*m_status)) {
        const int number = WTERMSIG(*m_status);
        return "was ended by signal " + std::to_string(number) + " (" + strsignal(number) + ")";
    }
    return "failed with the exit status " + std::to_string(WEXITSTATUS(*m_status));
}

} // namespace applistctl
