// Receives the lines that the library writes to standard output, so that the host can explain
// them.
#ifndef APPLIST_TOOLS_LIBRARYOUTPUT_H
#define APPLIST_TOOLS_LIBRARYOUTPUT_H

#include <functional>
#include <streambuf>
#include <string>

/** Replaces the buffer of std::cout for its lifetime. Only one thread may write. */
class LibraryOutput : private std::streambuf {
public:
    explicit LibraryOutput(std::function<void(const std::string& line)> onLine);
    ~LibraryOutput() override;

    LibraryOutput(const LibraryOutput&) = delete;
    LibraryOutput& operator=(const LibraryOutput&) = delete;

private:
    int_type overflow(int_type character) override;

    std::function<void(const std::string&)> m_onLine;
    std::string m_line;
    std::streambuf* m_replaced;
};

#endif
