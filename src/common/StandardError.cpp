#include <common/StandardError.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <glib.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <common/CancellationOff.h>
#include <common/Log.h>

namespace {

// A pipe accepts a write of this size as one piece.
constexpr std::size_t CAPACITY = PIPE_BUF;
constexpr char CUT_MARK[] = "...\n";

// Blocks the signals of a failed write for the thread. SIGTTOU of the terminal would stop a
// background process; while SIGTTOU is blocked, the terminal accepts the write.
class WriteSignalsOff {
public:
    WriteSignalsOff() {
        sigemptyset(&m_signals);
        sigaddset(&m_signals, SIGPIPE);
        sigaddset(&m_signals, SIGXFSZ);
        sigaddset(&m_signals, SIGTTOU);
        sigpending(&m_pendingBefore);
        pthread_sigmask(SIG_BLOCK, &m_signals, &m_maskBefore);
    }
    ~WriteSignalsOff() {
        for (const int signal : {SIGPIPE, SIGXFSZ, SIGTTOU}) {
            if (sigismember(&m_pendingBefore, signal) != 0) {
                sigdelset(&m_signals, signal);
            }
        }
        const timespec atOnce = {};
        while (sigtimedwait(&m_signals, nullptr, &atOnce) > 0) {
        }
        pthread_sigmask(SIG_SETMASK, &m_maskBefore, nullptr);
    }

    WriteSignalsOff(const WriteSignalsOff&) = delete;
    WriteSignalsOff& operator=(const WriteSignalsOff&) = delete;

private:
    sigset_t m_signals = {};
    sigset_t m_pendingBefore = {};
    sigset_t m_maskBefore = {};
};

const char* PriorityName(int priority) {
    if (priority >= LOG_PRIORITY_ERROR) {
        return "error";
    }
    return priority == LOG_PRIORITY_INFO ? "info" : "debug";
}

std::size_t WriteHead(char (&text)[CAPACITY], int priority, const char* tag) {
    g_autoptr(GDateTime) now = g_date_time_new_now_utc();
    g_autofree char* time = g_date_time_format(now, "%Y-%m-%dT%H:%M:%S");
    const int size =
        std::snprintf(text, CAPACITY / 2, "%s.%06dZ %s[%d] %s: ", time,
                      g_date_time_get_microsecond(now), tag, getpid(), PriorityName(priority));
    return std::min(static_cast<std::size_t>(std::max(size, 0)), CAPACITY / 2 - 1);
}

// The C0 and C1 control characters and DEL. C1 characters have two bytes in UTF-8.
void RemoveControlCharacters(char* text, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const bool isC1 = byte == 0xC2 && i + 1 < size &&
                          static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
                          static_cast<unsigned char>(text[i + 1]) < 0xA0;
        if (byte < 0x20 || byte == 0x7F || isC1) {
            text[i] = '?';
        }
        if (isC1) {
            text[++i] = '?';
        }
    }
}

// @return the size of the whole line
std::size_t AppendLine(char (&text)[CAPACITY], std::size_t headSize, const char* line) {
    std::size_t lineSize = std::strlen(line);
    while (lineSize > 0 && line[lineSize - 1] == '\n') {
        --lineSize;
    }
    const bool isCut = headSize + lineSize + 1 > CAPACITY;
    const char* const end = isCut ? CUT_MARK : "\n";
    const std::size_t taken = std::min(lineSize, CAPACITY - headSize - std::strlen(end));
    std::memcpy(text + headSize, line, taken);
    RemoveControlCharacters(text + headSize, taken);
    std::memcpy(text + headSize + taken, end, std::strlen(end));
    return headSize + taken + std::strlen(end);
}

// O_NONBLOCK on the descriptor itself would also apply to the host and to the user's shell, which
// share its open file description. The library therefore opens a description of its own.
bool WriteToOwnDescription(const char* text, std::size_t size) {
    const int own = open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (own < 0) {
        return false;
    }
    [[maybe_unused]] const ssize_t written = write(own, text, size);
    close(own);
    return true;
}

// For a process without /proc, or with the pipe of another user as its standard error. A pipe that
// is ready accepts the whole line.
void WriteIfReady(const char* text, std::size_t size) {
    pollfd ready = {STDERR_FILENO, POLLOUT, 0};
    if (poll(&ready, 1, 0) == 1 && ready.revents == POLLOUT) {
        [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text, size);
    }
}

void WriteWithoutBlocking(const char* text, std::size_t size) {
    if (send(STDERR_FILENO, text, size, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0 || errno != ENOTSOCK) {
        return;
    }
    struct stat status = {};
    if (fstat(STDERR_FILENO, &status) != 0) {
        return;
    }
    if (S_ISREG(status.st_mode)) {
        [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text, size);
    } else if (!WriteToOwnDescription(text, size)) {
        WriteIfReady(text, size);
    }
}

} // namespace

void StandardError::WriteLine(int priority, const char* tag, const char* line) {
    const CancellationOff untilWritten;
    char text[CAPACITY];
    const std::size_t headSize = WriteHead(text, priority, tag);
    const std::size_t size = AppendLine(text, headSize, line);
    const WriteSignalsOff untilReturned;
    WriteWithoutBlocking(text, size);
}
