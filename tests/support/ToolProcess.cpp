#include "ToolProcess.h"

#include <cerrno>
#include <csignal>
#include <stdexcept>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "MainLoop.h"

extern char** environ;

namespace {

struct Pipe {
    int reader = -1;
    int writer = -1;
    Pipe() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        reader = ends[0];
        writer = ends[1];
    }
};

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> Environment(const std::vector<std::string>& additions) {
    // The first setting of a name counts.
    std::vector<std::string> environment = additions;
    environment.insert(environment.end(), {"LC_ALL=C", "LANGUAGE="});
    for (char** variable = environ; *variable != nullptr; ++variable) {
        environment.emplace_back(*variable);
    }
    return environment;
}

} // namespace

ToolProcess::ToolProcess(const std::vector<std::string>& arguments,
                         const std::vector<std::string>& environment,
                         const std::function<void()>& prepare) {
    std::vector<std::string> words = {APPLISTCTL};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables = Environment(environment);
    const std::vector<char*> argv = Pointers(words);
    const std::vector<char*> envp = Pointers(variables);

    const Pipe input;
    const Pipe output;
    const Pipe errors;
    m_pid = fork();
    if (m_pid == 0) {
        dup2(input.reader, STDIN_FILENO);
        dup2(output.writer, STDOUT_FILENO);
        dup2(errors.writer, STDERR_FILENO);
        if (prepare) {
            prepare();
        }
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    close(input.reader);
    close(output.writer);
    close(errors.writer);
    m_input = input.writer;
    m_output.fd = output.reader;
    m_errors.fd = errors.reader;
    fcntl(m_output.fd, F_SETFL, O_NONBLOCK);
    fcntl(m_errors.fd, F_SETFL, O_NONBLOCK);
    // A tool that has ended must not end the test that talks to it.
    std::signal(SIGPIPE, SIG_IGN);
}

ToolProcess::~ToolProcess() {
    if (m_pid > 0) {
        Kill(SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    CloseInput();
    close(m_output.fd);
    close(m_errors.fd);
}

void ToolProcess::SendBytes(const std::string& bytes) {
    if (write(m_input, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        throw std::runtime_error("the tool takes no input");
    }
}

void ToolProcess::CloseInput() {
    if (m_input >= 0) {
        close(m_input);
        m_input = -1;
    }
}

void ToolProcess::Kill(int signal) {
    kill(m_pid, signal);
}

// Returns whether there may be more.
bool ToolProcess::Stream::Drain() {
    char buffer[4096];
    ssize_t count = 0;
    while ((count = read(fd, buffer, sizeof(buffer))) > 0) {
        text.append(buffer, static_cast<std::size_t>(count));
    }
    return count < 0 && errno == EAGAIN;
}

bool ToolProcess::Stream::WaitFor(const std::string& wanted) {
    std::size_t found = std::string::npos;
    bool open = true;
    MainLoop::IterateUntil([&] {
        open = Drain();
        found = text.find(wanted, searched);
        return found != std::string::npos || !open;
    });
    if (found == std::string::npos) {
        return false;
    }
    searched = found + wanted.size();
    return true;
}

const std::string& ToolProcess::Output() {
    m_output.Drain();
    return m_output.text;
}

const std::string& ToolProcess::Errors() {
    m_errors.Drain();
    return m_errors.text;
}

bool ToolProcess::WaitFor(const std::string& text) {
    return m_output.WaitFor(text);
}

bool ToolProcess::WaitForError(const std::string& text) {
    return m_errors.WaitFor(text);
}

std::string ToolProcess::List() {
    Send("list");
    if (!WaitFor("\nlist: ")) {
        return "no list";
    }
    const std::size_t start = m_output.searched - std::string("list: ").size();
    if (!WaitFor("\nselection: ") || !WaitFor("\n")) {
        return "half a list";
    }
    return m_output.text.substr(start, m_output.searched - start);
}

int ToolProcess::WaitForExit() {
    int status = 0;
    const bool ended = MainLoop::IterateUntil([&] {
        // Whoever fills a pipe that nobody reads never ends.
        m_output.Drain();
        m_errors.Drain();
        return waitpid(m_pid, &status, WNOHANG) == m_pid;
    });
    if (!ended) {
        return -1;
    }
    m_pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
