// A bus with the distribution's configuration of the system bus, whose folders contain only the
// policy of the test.
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

    /**
     * Whether the bus reads the groups of a connection from its process. A dbus-daemon before 1.14
     * reads the groups of the user from the user database.
     */
    bool ReadsGroupsOfProcesses() const;

    /** Replaces the policy file. The new file applies on return. */
    void Install(const std::string& policy);

    /** The folder of the installed policy. */
    const std::string& Folder() const { return m_folder.Path(); }

    /** Adds a file to the folder, which applies on return. */
    void Add(const std::string& file, const std::string& text);

private:
    TemporaryFolder m_folder;
    PrivateBus m_bus;
};

} // namespace applist_test
