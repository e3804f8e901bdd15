#include "CapturedStandardError.h"

#include <algorithm>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

CapturedStandardError::CapturedStandardError() {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    m_before = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
    m_reader = ends[0];
    fcntl(m_reader, F_SETFL, O_NONBLOCK);
}

CapturedStandardError::~CapturedStandardError() {
    dup2(m_before, STDERR_FILENO);
    close(m_before);
    CloseReader();
}

std::vector<std::string> CapturedStandardError::Lines() const {
    std::string text;
    char part[4096];
    ssize_t size = 0;
    while ((size = read(m_reader, part, sizeof(part))) > 0) {
        text.append(part, static_cast<std::size_t>(size));
    }
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
        lines.push_back(text.substr(0, end));
        text.erase(0, end);
    }
    return lines;
}

void CapturedStandardError::Fill() const {
    const int flags = fcntl(STDERR_FILENO, F_GETFL);
    fcntl(STDERR_FILENO, F_SETFL, flags | O_NONBLOCK);
    const std::string page(4096, 'x');
    while (write(STDERR_FILENO, page.data(), page.size()) > 0) {
    }
    fcntl(STDERR_FILENO, F_SETFL, flags);
}

void CapturedStandardError::CloseReader() {
    if (m_reader >= 0) {
        close(m_reader);
        m_reader = -1;
    }
}
