// A host that survives the loss of its bus and whose output is its own: what the library writes to
// standard output is dropped, and GLib's expected warnings are counted instead of printed.
#ifndef APPLIST_TESTS_QUIETHOST_H
#define APPLIST_TESTS_QUIETHOST_H

#include <cstdio>

inline namespace applist_test {

class QuietHost {
public:
    QuietHost();
    ~QuietHost();

    QuietHost(const QuietHost&) = delete;
    QuietHost& operator=(const QuietHost&) = delete;

    /** Warnings of GLib and GIO so far: of watches that are not there, when endpoints go. */
    static unsigned long Warnings();
    /** Everything worse, or another warning; each was printed. None is expected. */
    static unsigned long Criticals();

private:
    std::FILE* m_standardOutput;
};

} // namespace applist_test

#endif
