#include <host/LibraryOutput.h>

#include <iostream>
#include <utility>

LibraryOutput::LibraryOutput(std::function<void(const std::string& line)> onLine)
    : m_onLine(std::move(onLine)), m_replaced(std::cout.rdbuf(this)) {}

LibraryOutput::~LibraryOutput() {
    std::cout.rdbuf(m_replaced);
}

LibraryOutput::int_type LibraryOutput::overflow(int_type character) {
    if (traits_type::eq_int_type(character, traits_type::eof())) {
        return traits_type::not_eof(character);
    }
    if (character == '\n') {
        m_onLine(std::exchange(m_line, std::string()));
    } else {
        m_line += traits_type::to_char_type(character);
    }
    return character;
}
