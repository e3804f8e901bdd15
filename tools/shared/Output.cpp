#include <shared/Output.h>

#include <cstdlib>
#include <iostream>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace applistctl {

namespace {

bool IsColourTerminal() {
    const char* const terminal = std::getenv("TERM");
    return isatty(STDOUT_FILENO) != 0 && terminal != nullptr && std::string(terminal) != "dumb" &&
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

} // namespace

Output::Output(std::string program)
    : m_program(std::move(program)), m_stream(OwnStandardOutput()), m_colour(IsColourTerminal()) {}

void Output::Line(const std::string& text, Tone tone) {
    const char* const colour = m_colour ? ColourOf(tone) : nullptr;
    const std::string line = colour != nullptr ? colour + text + "\033[0m\n" : text + "\n";
    if (m_stream != nullptr) {
        std::fwrite(line.data(), 1, line.size(), m_stream.get());
        std::fflush(m_stream.get());
    }
}

void Output::Error(const std::string& text) const {
    std::cerr << m_program << ": " << m_place << text << std::endl;
}

} // namespace applistctl
