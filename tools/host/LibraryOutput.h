// Receives the lines that the library writes to standard output, so that the host can explain
// them.
#ifndef APPLIST_TOOLS_LIBRARYOUTPUT_H
#define APPLIST_TOOLS_LIBRARYOUTPUT_H

#include <functional>
#include <string>

namespace applistctl {

/** Redirects standard output into a pipe for its lifetime. Only one thread may use it. */
class LibraryOutput {
public:
    explicit LibraryOutput(std::function<void(const std::string& line)> onLine);
    ~LibraryOutput();

    LibraryOutput(const LibraryOutput&) = delete;
    LibraryOutput& operator=(const LibraryOutput&) = delete;

    /** Reports the lines written so far. The pipe holds some thousand of them. */
    void Drain();

private:
    std::function<void(const std::string&)> m_onLine;
    std::string m_line;
    int m_standardOutput;
    int m_pipe = -1;
};

} // namespace applistctl

#endif
