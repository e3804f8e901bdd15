// A bus with the configuration that the distribution gives its system bus, and nothing else in its
// folders than a policy of the test's.
#pragma once

#include <string>

#include "PrivateBus.h"
#include "TemporaryFolder.h"

inline namespace applist_test {

class StockBus {
public:
    /** @param policy the text of the installed policy file; none is installed if empty */
    explicit StockBus(const std::string& policy);

    const PrivateBus& Bus() const { return m_bus; }

    /** Replaces the policy file. The new file applies on return. */
    void Install(const std::string& policy);

    /** The folder of the installed policy. */
    const std::string& Folder() const { return m_folder.Path(); }

    /** Adds a file to the folder; in force on return. */
    void Add(const std::string& file, const std::string& text);

private:
    TemporaryFolder m_folder;
    PrivateBus m_bus;
};

} // namespace applist_test
