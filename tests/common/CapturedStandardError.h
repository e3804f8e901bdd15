// Standard error of this process in a pipe, for tests in a child process.
#pragma once

#include <string>
#include <vector>

inline namespace applist_test {

/** Failures inside its lifetime are printed after its end. */
class CapturedStandardError {
public:
    CapturedStandardError();
    ~CapturedStandardError();

    CapturedStandardError(const CapturedStandardError&) = delete;
    CapturedStandardError& operator=(const CapturedStandardError&) = delete;

    /** The lines so far, each with its line feed. */
    std::vector<std::string> Lines() const;

    /** Fills the pipe to its last byte. */
    void Fill() const;

    /** The pipe has no reader from now on. */
    void CloseReader();

private:
    int m_before = -1;
    int m_reader = -1;
};

} // namespace applist_test
