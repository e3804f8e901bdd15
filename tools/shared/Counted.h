// A number with its noun, in the singular or in the plural.
#ifndef APPLIST_TOOLS_COUNTED_H
#define APPLIST_TOOLS_COUNTED_H

#include <cstddef>
#include <string>

namespace applistctl {

/** "1 byte", "2 bytes" */
inline std::string Counted(std::size_t number, const std::string& noun, const std::string& plural) {
    return std::to_string(number) + " " + (number == 1 ? noun : plural);
}

inline std::string Counted(std::size_t number, const std::string& noun) {
    return Counted(number, noun, noun + "s");
}

/** The fault of a frame without an id: "3 bytes are too short for an id" */
inline std::string TooShortForAnId(std::size_t bytes) {
    return Counted(bytes, "byte is", "bytes are") + " too short for an id";
}

} // namespace applistctl

#endif
