#include <host/LibraryOutput.h>

#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace applistctl {

LibraryOutput::LibraryOutput(std::function<void(const std::string& line)> onLine)
    : m_onLine(std::move(onLine)), m_standardOutput(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)) {
    std::fflush(stdout);
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return;
    }
    dup2(ends[1], STDOUT_FILENO);
    close(ends[1]);
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
    m_pipe = ends[0];
}

LibraryOutput::~LibraryOutput() {
    Drain();
    if (m_pipe < 0) {
        return;
    }
    dup2(m_standardOutput, STDOUT_FILENO);
    close(m_standardOutput);
    close(m_pipe);
}

void LibraryOutput::Drain() {
    char bytes[1024];
    ssize_t size = 0;
    while (m_pipe >= 0 && (size = read(m_pipe, bytes, sizeof(bytes))) > 0) {
        for (ssize_t i = 0; i < size; ++i) {
            if (bytes[i] == '\n') {
                m_onLine(std::exchange(m_line, std::string()));
            } else {
                m_line += bytes[i];
            }
        }
    }
}

} // namespace applistctl
