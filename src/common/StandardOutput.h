// Lines of the library on standard output.
#ifndef APPLIST_COMMON_STANDARDOUTPUT_H
#define APPLIST_COMMON_STANDARDOUTPUT_H

#include <string>

namespace StandardOutput {

/**
 * Writes @p line and a line feed to standard output, flushed, with no output of another thread in
 * between. May be called from any thread and before main(): std::cout is not used, because it may
 * not be constructed yet, and because a host that has called std::ios::sync_with_stdio(false) may
 * not share it between threads. The buffered text of std::cout of such a host appears later.
 */
void WriteLine(std::string line);

} // namespace StandardOutput

#endif
