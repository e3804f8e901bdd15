#include <shared/CapturedOutput.h>

#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace applistctl {

CapturedOutput::CapturedOutput(int descriptor, std::function<void(const std::string& line)> onLine)
    : m_onLine(std::move(onLine)),
      m_descriptor(descriptor),
      m_original(fcntl(descriptor, F_DUPFD_CLOEXEC, 3)) {
    std::fflush(stdout);
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        return;
    }
    dup2(ends[1], m_descriptor);
    close(ends[1]);
    m_pipe = ends[0];
}

CapturedOutput::~CapturedOutput() {
    Drain();
    if (!m_line.empty()) {
        m_onLine(m_line);
    }
    if (m_pipe >= 0) {
        dup2(m_original, m_descriptor);
        close(m_pipe);
    }
    close(m_original);
}

void CapturedOutput::Drain() {
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
