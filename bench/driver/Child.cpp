#include "Child.h"

#include <csignal>
#include <cstdlib>

#include <climits>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

std::string ProgramFolder() {
    char path[PATH_MAX];
    const ssize_t size = readlink("/proc/self/exe", path, sizeof(path));
    const std::string program(path, size > 0 ? static_cast<std::size_t>(size) : 0);
    return program.substr(0, program.rfind('/'));
}

Child::Child(const std::vector<std::string>& arguments, const std::string& preload)
    : m_name(arguments.front()) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        std::perror("pipe");
        std::exit(1);
    }
    const std::string program = ProgramFolder() + "/" + m_name;
    std::vector<char*> argv;
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    m_pid = fork();
    if (m_pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(ends[1], STDOUT_FILENO);
        if (!preload.empty()) {
            setenv("LD_PRELOAD", (ProgramFolder() + "/" + preload).c_str(), 1);
        }
        execv(program.c_str(), argv.data());
        std::perror(program.c_str());
        _exit(127);
    }
    close(ends[1]);
    m_output = fdopen(ends[0], "r");
}

Child::~Child() {
    Kill();
    std::fclose(m_output);
}

std::string Child::ReadLine() {
    char line[4096];
    if (std::fgets(line, sizeof(line), m_output) == nullptr) {
        std::fprintf(stderr, "driver: %s said nothing\n", m_name.c_str());
        std::exit(1);
    }
    return line;
}

bool Child::Succeeded() {
    int status = 1;
    waitpid(m_pid, &status, 0);
    m_pid = -1;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void Child::Kill() {
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
        m_pid = -1;
    }
}
