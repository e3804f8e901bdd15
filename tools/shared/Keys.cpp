#include <shared/Keys.h>

#include <algorithm>

namespace applistctl {

namespace {

constexpr char ESCAPE = '\033';

bool IsFinal(char byte) {
    return byte >= '@' && byte <= '~';
}

std::size_t SizeOfCharacter(char first) {
    const auto byte = static_cast<unsigned char>(first);
    if (byte >= 0xF0) {
        return 4;
    }
    if (byte >= 0xE0) {
        return 3;
    }
    return byte >= 0xC0 ? 2 : 1;
}

std::size_t IfComplete(std::size_t size, const std::string& bytes) {
    return size <= bytes.size() ? size : 0;
}

std::size_t FirstCharacter(const std::string& bytes, std::size_t start) {
    return start < bytes.size() ? IfComplete(start + SizeOfCharacter(bytes[start]), bytes) : 0;
}

} // namespace

std::size_t FirstKey(const std::string& bytes) {
    if (bytes.empty() || bytes[0] != ESCAPE || bytes.size() == 1) {
        const bool isPrefix =
            !bytes.empty() && (bytes[0] == ESCAPE || bytes[0] == '\x16' || bytes[0] == '\x18');
        return FirstCharacter(bytes, isPrefix ? 1 : 0);
    }
    if (bytes[1] == 'O') {
        return IfComplete(3, bytes);
    }
    if (bytes[1] != '[') {
        return FirstCharacter(bytes, 1);
    }
    const auto end = std::find_if(bytes.begin() + 2, bytes.end(), IsFinal);
    return end == bytes.end() ? 0 : static_cast<std::size_t>(end - bytes.begin()) + 1;
}

bool IsSequence(const std::string& key) {
    return key.size() > 2 && key[0] == ESCAPE && (key[1] == '[' || key[1] == 'O');
}

} // namespace applistctl
