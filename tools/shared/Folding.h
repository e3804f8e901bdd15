// Folds a line of output at the width of a terminal.
#ifndef APPLIST_TOOLS_FOLDING_H
#define APPLIST_TOOLS_FOLDING_H

#include <cstddef>
#include <string>

namespace applistctl {

/**
 * Breaks @p line at spaces. The continuation lines start below the last column of the line, which
 * two spaces precede. A word longer than the width is not broken.
 *
 * @param width in characters; 0 for no limit
 * @param plainIndent of the continuation lines of a line without columns
 */
std::string FoldLine(const std::string& line, std::size_t width, std::size_t plainIndent = 4);

/** Joins the lines of each paragraph, so that a fold breaks it at other places. */
std::string JoinParagraphs(const std::string& text);

} // namespace applistctl

#endif
