// Receives the lines that this process writes to a descriptor: the lines of the library on standard
// output, which the host explains, and all lines on standard error during line editing.
#ifndef APPLIST_TOOLS_CAPTUREDOUTPUT_H
#define APPLIST_TOOLS_CAPTUREDOUTPUT_H

#include <functional>
#include <string>

namespace applistctl {

/**
 * Redirects a descriptor into a pipe for its lifetime. Any thread may write to the descriptor. The
 * pipe holds some thousand lines; a full pipe loses lines, and does not block.
 */
class CapturedOutput {
public:
    CapturedOutput(int descriptor, std::function<void(const std::string& line)> onLine);
    ~CapturedOutput();

    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    /** Reports the lines written so far. */
    void Drain();

    /** The end of the pipe with the lines, for a main loop; -1 without a pipe. */
    int Pipe() const { return m_pipe; }
    /** The redirected file. */
    int Original() const { return m_original; }

private:
    std::function<void(const std::string&)> m_onLine;
    std::string m_line;
    int m_descriptor;
    int m_original;
    int m_pipe = -1;
};

} // namespace applistctl

#endif
