// The lines of an input file.
#ifndef APPLIST_TOOLS_LINES_H
#define APPLIST_TOOLS_LINES_H

#include <cerrno>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace applistctl {

/** @return the problem, or an empty text */
inline std::string ReadLines(const std::string& file, std::vector<std::string>& lines) {
    errno = 0;
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    const bool isRead = stream.is_open() && !stream.bad(); // a folder opens, but has no bytes
    return isRead ? ""
                  : "cannot read " + (file.empty() ? "\"\"" : file) + ": " + std::strerror(errno);
}

} // namespace applistctl

#endif
