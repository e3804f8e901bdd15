// Bytes as text for the lines between a test and its partner process. No bytes at all are "-".
#pragma once

#include <cstddef>
#include <string>

namespace Hex {

inline std::string Of(const std::string& bytes) {
    if (bytes.empty()) {
        return "-";
    }
    constexpr const char* digits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += digits[value >> 4];
        text += digits[value & 15];
    }
    return text;
}

inline std::string Bytes(const std::string& text) {
    const auto value = [](char digit) { return digit <= '9' ? digit - '0' : digit - 'a' + 10; };
    std::string bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        bytes += static_cast<char>(value(text[i]) * 16 + value(text[i + 1]));
    }
    return bytes;
}

} // namespace Hex
