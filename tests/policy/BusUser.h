// A user of the machine with the groups of the test, as the user of a bus connection.
#pragma once

#include <string>
#include <vector>

#include <gio/gio.h>
#include <sys/types.h>

#include "PrivateBus.h"

inline namespace applist_test {

class BusUser {
public:
    /** The user of the test process. */
    BusUser();

    /**
     * Only root can act for others.
     * @param group the primary one, the user's own if empty
     * @param more supplementary groups; those that the user has by itself do not count
     */
    explicit BusUser(const std::string& name, const std::string& group = "",
                     const std::vector<std::string>& more = {});

    /** A connection of this user. The caller owns the connection. */
    GDBusConnection* Connect(const PrivateBus& bus) const;

    /** Permanently, in a process that then runs another program. Ends the process on failure. */
    void Become() const;

    bool MayRun(const std::string& program) const;

private:
    class UserSwitch;

    uid_t m_uid;
    gid_t m_gid;
    std::vector<gid_t> m_groups;
};

} // namespace applist_test
