// Bytes as tests write them: string literals with everything that they hold, zero bytes included.
#ifndef APPLIST_TESTS_LISTBYTES_H
#define APPLIST_TESTS_LISTBYTES_H

#include <string>
#include <vector>

namespace ListBytes {

inline std::vector<char> Vector(const std::string& bytes) {
    return {bytes.begin(), bytes.end()};
}

inline std::string String(const std::vector<char>& bytes) {
    return {bytes.begin(), bytes.end()};
}

// The ids behind a payload, as bytes.
using namespace std::string_literals;
const std::string SET_SELECTION = "\xD0\x07\0\0"s;
const std::string GET_SELECTION = "\xD1\x07\0\0"s;
const std::string REMOVE_ALL = "\xD3\x07\0\0"s;
const std::string ADD_ITEMS = "\xD4\x07\0\0"s;
const std::string ADD_AT_END = "\xD5\x07\0\0"s;
const std::string SET_CLICKED = "\xD6\x07\0\0"s;
const std::string REMOVE = "\xD7\x07\0\0"s;
const std::string MODIFY = "\xD8\x07\0\0"s;

const std::string CHANGE_EVENT = "\x01\0\0\0"s;
const std::string SELECTION_EVENT = "\x02\0\0\0"s;
const std::string CLICKED_EVENT = "\x03\0\0\0"s;
const std::string CREATED_EVENT = "\x04\0\0\0"s;

} // namespace ListBytes

#endif
