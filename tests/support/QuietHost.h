// A host that continues after the loss of its bus. Lines of the library on standard output are
// dropped, and expected warnings of GLib are counted instead of printed.
#pragma once

#include <cstdio>

inline namespace applist_test {

class QuietHost {
public:
    QuietHost();
    ~QuietHost();

    QuietHost(const QuietHost&) = delete;
    QuietHost& operator=(const QuietHost&) = delete;

    /** Warnings of GLib and GIO so far: of missing watches, at the end of endpoints. */
    static unsigned long Warnings();
    /** Other warnings and all criticals, each of which was printed. None is expected. */
    static unsigned long Criticals();

private:
    std::FILE* m_standardOutput;
};

} // namespace applist_test
