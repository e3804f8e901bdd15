// The warnings and criticals of GLib and GIO in this process, caught until the destructor.
#pragma once

#include <string>
#include <vector>

#include <glib.h>

inline namespace applist_test {

class GLibLog {
public:
    GLibLog();
    ~GLibLog();

    GLibLog(const GLibLog&) = delete;
    GLibLog& operator=(const GLibLog&) = delete;

    /** Each as "domain: message". */
    std::vector<std::string> Messages() const;

private:
    GLogFunc m_before;
};

} // namespace applist_test
