#include <shared/Folding.h>

#include <algorithm>
#include <sstream>

#include <shared/ItemListing.h>

namespace applistctl {

namespace {

// The start of the last column in the left half of the width.
std::size_t ColumnOf(const std::string& line, std::size_t width, std::size_t indent) {
    std::size_t column = line.find_first_not_of(' ');
    column = column == std::string::npos ? 0 : column;
    std::size_t found = column > 0 ? column : indent;
    for (std::size_t gap = line.find("  ", column); gap != std::string::npos;
         gap = line.find("  ", column)) {
        column = line.find_first_not_of(' ', gap);
        if (column == std::string::npos || column > width / 2) {
            break;
        }
        found = column;
    }
    return std::min(found, width / 2);
}

} // namespace

std::string FoldLine(const std::string& line, std::size_t width, std::size_t plainIndent) {
    if (width == 0 || ItemListing::Width(line) <= width) {
        return line;
    }
    const std::size_t indent = ColumnOf(line, width, plainIndent);
    std::string folded;
    std::size_t used = 0;    // in the last line of the result
    bool isLineEmpty = true; // but for its indent
    for (std::size_t start = 0; start < line.size();) {
        const std::size_t wordStart = std::min(line.find_first_not_of(' ', start), line.size());
        const std::size_t wordEnd = std::min(line.find(' ', wordStart), line.size());
        const std::string word = line.substr(wordStart, wordEnd - wordStart);
        const std::size_t space = wordStart - start;
        if (!isLineEmpty && used + space + ItemListing::Width(word) > width) {
            folded += "\n" + std::string(indent, ' ') + word;
            used = indent;
        } else {
            folded += std::string(space, ' ') + word;
            used += space;
        }
        used += ItemListing::Width(word);
        isLineEmpty = false;
        start = wordEnd;
    }
    return folded;
}

std::string JoinParagraphs(const std::string& text) {
    const auto isProse = [](const std::string& line) { return !line.empty() && line[0] != ' '; };
    std::istringstream lines(text);
    std::string joined;
    std::string before;
    for (std::string line; std::getline(lines, line); before = line) {
        const bool continues = isProse(before) && isProse(line) && before.back() != ':';
        joined += joined.empty() ? "" : continues ? " " : "\n";
        joined += line;
    }
    return joined;
}

} // namespace applistctl
