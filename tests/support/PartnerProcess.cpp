#include "PartnerProcess.h"

#include <cerrno>
#include <csignal>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Hex.h"

namespace {

constexpr int PATIENCE_MS = 60000;

// The emulator of a cross build comes first, then the program: parts with a '|' between them.
std::vector<std::string> Program() {
    std::vector<std::string> parts;
    std::istringstream stream(APPLIST_TEST_PARTNER);
    for (std::string part; std::getline(stream, part, '|');) {
        if (!part.empty()) {
            parts.push_back(part);
        }
    }
    return parts;
}

std::vector<char*> Arguments(std::vector<std::string>& words) {
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    return arguments;
}

std::string FirstWord(const std::string& line) {
    return line.substr(0, line.find(' '));
}

} // namespace

PartnerProcess::PartnerProcess(const std::vector<std::string>& options) {
    signal(SIGPIPE, SIG_IGN);
    int input[2];
    int output[2];
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    std::vector<std::string> words = Program();
    words.insert(words.end(), options.begin(), options.end());
    const std::vector<char*> arguments = Arguments(words);
    m_pid = fork();
    if (m_pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(input[0], STDIN_FILENO);
        dup2(output[1], STDOUT_FILENO);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    close(input[0]);
    close(output[1]);
    m_input = input[1];
    m_output = output[0];
    m_name = ReadLine().substr(5);
}

PartnerProcess::~PartnerProcess() {
    Kill();
    close(m_output);
}

void PartnerProcess::CloseInput() {
    if (m_input >= 0) {
        close(std::exchange(m_input, -1));
    }
}

std::string PartnerProcess::ReadLine() {
    for (;;) {
        const std::size_t end = m_unread.find('\n');
        if (end != std::string::npos) {
            const std::string line = m_unread.substr(0, end);
            m_unread.erase(0, end + 1);
            return line;
        }
        pollfd ready = {m_output, POLLIN, 0};
        const int count = poll(&ready, 1, PATIENCE_MS);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        char buffer[65536];
        const ssize_t size = count > 0 ? read(m_output, buffer, sizeof(buffer)) : 0;
        if (size <= 0) {
            throw std::runtime_error("the partner process does not answer");
        }
        m_unread.append(buffer, static_cast<std::size_t>(size));
    }
}

void PartnerProcess::Tell(const std::string& line) {
    const std::string text = line + "\n";
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t size = write(m_input, text.data() + written, text.size() - written);
        if (size < 0) {
            throw std::runtime_error("the partner process is gone");
        }
        written += static_cast<std::size_t>(size);
    }
}

std::string PartnerProcess::Ask(const std::string& line) {
    Tell(line);
    const std::string word = FirstWord(line);
    for (;;) {
        const std::string answer = ReadLine();
        if (FirstWord(answer) == word) {
            return answer.substr(word.size());
        }
    }
}

void PartnerProcess::Stop() const {
    kill(m_pid, SIGSTOP);
}

void PartnerProcess::Continue() const {
    kill(m_pid, SIGCONT);
}

void PartnerProcess::Kill() {
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        WaitForExit();
    }
}

int PartnerProcess::Leave() {
    CloseInput();
    return WaitForExit();
}

int PartnerProcess::WaitForExit() {
    int status = 0;
    while (waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    m_pid = -1;
    CloseInput();
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

std::pair<std::string, std::string> PartnerProcess::List() {
    std::istringstream answer(Ask("list"));
    std::string stream;
    std::string selection;
    answer >> stream >> selection;
    return {Hex::Bytes(stream), Hex::Bytes(selection)};
}

std::vector<std::string> PartnerProcess::Requests() {
    std::istringstream answer(Ask("requests"));
    std::vector<std::string> requests;
    for (std::string text; answer >> text;) {
        requests.push_back(Hex::Bytes(text));
    }
    return requests;
}
