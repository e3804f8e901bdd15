// Messages as strings, which tests write as literals and compare as a whole.
#pragma once

#include <string>
#include <vector>

namespace ListBytes {

inline std::string String(const std::vector<char>& bytes) {
    return {bytes.begin(), bytes.end()};
}

/** The selection query, the only request with a reply that is not empty. */
const std::string GET_SELECTION("\xD1\x07\0\0", 4);

} // namespace ListBytes
