#include <shared/Output.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sstream>
#include <utility>

#include <fcntl.h>
#include <glib-unix.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <shared/ExitStatus.h>
#include <shared/Folding.h>
#include <shared/ItemListing.h>

namespace applistctl {

namespace {

bool AllowsColour() {
    const char* const terminal = std::getenv("TERM");
    return terminal != nullptr && std::string(terminal) != "dumb" &&
           std::getenv("NO_COLOR") == nullptr;
}

const char* ColourOf(Output::Tone tone) {
    switch (tone) {
    case Output::Tone::Received:
        return "\033[36m";
    case Output::Tone::Sent:
        return "\033[32m";
    case Output::Tone::State:
        return "\033[1m";
    case Output::Tone::Problem:
        return "\033[31m";
    case Output::Tone::Plain:
        break;
    }
    return nullptr;
}

constexpr int CLOSED = POLLERR | POLLHUP | POLLNVAL;

std::shared_ptr<std::FILE> OwnStandardOutput() {
    constexpr int FIRST_OTHER_DESCRIPTOR = 3;
    std::FILE* const stream =
        fdopen(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, FIRST_OTHER_DESCRIPTOR), "w");
    return {stream, [](std::FILE* opened) {
                if (opened != nullptr) {
                    std::fclose(opened);
                }
            }};
}

// The width of the terminal; 0 for no limit.
std::size_t WidthOf(int descriptor) {
    winsize size{};
    return ioctl(descriptor, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

} // namespace

// A pipe without a reader is noticed also between two lines, which may be hours apart.
Output::Output(std::string program)
    : m_program(std::move(program)),
      m_stream(OwnStandardOutput()),
      m_isTerminal(isatty(STDOUT_FILENO) != 0),
      m_colour(m_isTerminal && AllowsColour()) {
    if (m_stream != nullptr) {
        m_closedId = g_unix_fd_add(fileno(m_stream.get()), G_IO_ERR, OnClosed, this);
    }
}

Output::~Output() {
    if (m_closedId != 0) {
        g_source_remove(m_closedId);
    }
}

gboolean Output::OnClosed(gint /*fd*/, GIOCondition /*condition*/, gpointer user_data) {
    static_cast<const Output*>(user_data)->End(EPIPE);
}

void Output::EndWithoutReader() const {
    pollfd reader = {m_stream != nullptr ? fileno(m_stream.get()) : -1, 0, 0};
    if (poll(&reader, 1, 0) == 1 && (reader.revents & CLOSED) != 0) {
        End(EPIPE);
    }
}

void Output::End(int error) const {
    if (error != EPIPE) {
        Error("cannot write to standard output: " + std::string(std::strerror(error)));
    }
    std::exit(EXIT_STATUS_FAILED);
}

// The text may contain names that another process has chosen.
void Output::Line(const std::string& text, Tone tone) {
    const char* const colour = m_colour ? ColourOf(tone) : nullptr;
    std::string line = ItemListing::Printable(text);
    if (m_isTerminal) {
        line = FoldLine(line, WidthOf(fileno(m_stream.get())));
    }
    Write(colour != nullptr ? colour + line + "\033[0m\n" : line + "\n");
}

void Output::Help(const std::string& text) {
    const std::size_t width = m_isTerminal ? WidthOf(fileno(m_stream.get())) : 0;
    std::istringstream lines(width != 0 ? JoinParagraphs(text) : text);
    for (std::string line; std::getline(lines, line);) {
        Write(FoldLine(line, width, 0) + "\n");
    }
}

void Output::Write(const std::string& text) {
    if (m_stream == nullptr) {
        End(EBADF);
    }
    if (m_before != nullptr) {
        m_before();
    }
    if (std::fwrite(text.data(), 1, text.size(), m_stream.get()) != text.size() ||
        std::fflush(m_stream.get()) != 0) {
        End(errno);
    }
    if (m_after != nullptr) {
        m_after();
    }
}

void Output::WriteError(const std::string& text) const {
    if (m_before != nullptr) {
        m_before();
    }
    std::cerr << m_program << ": " << ItemListing::Printable(text) << std::endl;
    if (m_after != nullptr) {
        m_after();
    }
}

} // namespace applistctl
