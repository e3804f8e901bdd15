// Messages as strings, which tests write as literals and compare with everything in them.
#pragma once

#include <string>
#include <vector>

namespace ListBytes {

inline std::string String(const std::vector<char>& bytes) {
    return {bytes.begin(), bytes.end()};
}

/** The question for the selection, which partners answer apart from everything else. */
const std::string GET_SELECTION("\xD1\x07\0\0", 4);

} // namespace ListBytes
