// A terminal for the input and output of a tool.
#pragma once

#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "MainLoop.h"

inline namespace applist_test {

class Terminal {
public:
    Terminal() : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
        if (m_master >= 0 && grantpt(m_master) == 0 && unlockpt(m_master) == 0) {
            m_slave = open(ptsname(m_master), O_RDWR | O_NOCTTY | O_CLOEXEC);
        }
    }
    ~Terminal() {
        close(m_slave);
        close(m_master);
    }

    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /** False on a machine without /dev/pts. */
    bool IsThere() const { return m_slave >= 0; }

    void SetColumns(unsigned short columns) const {
        winsize size{};
        size.ws_row = 24;
        size.ws_col = columns;
        ioctl(m_slave, TIOCSWINSZ, &size);
    }

    /** In the child: standard output, or standard input, of the terminal. */
    void Use() const { dup2(m_slave, STDOUT_FILENO); }
    void UseAsInput() const { dup2(m_slave, STDIN_FILENO); }
    /** In the child: the controlling terminal of a new session, so that its keys send signals. */
    void Control() const {
        setsid();
        ioctl(m_slave, TIOCSCTTY, 0);
        UseAsInput();
        Use();
    }

    void Type(const std::string& keys) const {
        [[maybe_unused]] const ssize_t size = write(m_master, keys.data(), keys.size());
    }

    /** The output so far. */
    const std::string& Text() {
        char buffer[4096];
        ssize_t count = 0;
        while ((count = read(m_master, buffer, sizeof(buffer))) > 0) {
            m_text.append(buffer, static_cast<std::size_t>(count));
        }
        return m_text;
    }

    /** Iterates the main context until @p text is shown behind the last found text. */
    bool WaitFor(const std::string& text) {
        return MainLoop::IterateUntil([&] {
            const std::size_t found = Text().find(text, m_searched);
            m_searched = found != std::string::npos ? found + text.size() : m_searched;
            return found != std::string::npos;
        });
    }

    termios State() const {
        termios state{};
        tcgetattr(m_slave, &state);
        return state;
    }
    /** Whether the terminal is in the state of a shell's programs: it echoes, line by line. */
    bool IsCooked() const {
        const termios state = State();
        return (state.c_lflag & ICANON) != 0 && (state.c_lflag & ECHO) != 0;
    }

private:
    int m_master;
    int m_slave = -1;
    std::string m_text;
    std::size_t m_searched = 0;
};

} // namespace applist_test
