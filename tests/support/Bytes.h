// Byte messages written down in tests.
#ifndef APPLIST_TESTS_BYTES_H
#define APPLIST_TESTS_BYTES_H

#include <initializer_list>
#include <string>
#include <vector>

inline namespace applist_test {

/** ByteVector({0x61, 0xff}): the values are 0 to 255. */
inline std::vector<char> ByteVector(std::initializer_list<int> values) {
    std::vector<char> bytes;
    for (const int value : values) {
        bytes.push_back(static_cast<char>(static_cast<unsigned char>(value)));
    }
    return bytes;
}

inline std::vector<char> ByteVector(const std::string& text) {
    return {text.begin(), text.end()};
}

} // namespace applist_test

#endif
