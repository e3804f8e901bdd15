#include <shared/Output.h>

#include <cstdlib>
#include <iostream>
#include <utility>

#include <unistd.h>

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

} // namespace

Output::Output(std::string program)
    : m_program(std::move(program)), m_stream(std::cout.rdbuf()), m_colour(IsColourTerminal()) {}

void Output::Line(const std::string& text, Tone tone) {
    const char* const colour = m_colour ? ColourOf(tone) : nullptr;
    if (colour != nullptr) {
        m_stream << colour << text << "\033[0m" << std::endl;
    } else {
        m_stream << text << std::endl;
    }
}

void Output::Error(const std::string& text) const {
    std::cerr << m_program << ": " << m_place << text << std::endl;
}
