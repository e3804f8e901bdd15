// Finds the process behind a unique name, with the bus daemon's help.
#ifndef APPLIST_TOOLS_PEERPROCESS_H
#define APPLIST_TOOLS_PEERPROCESS_H

#include <set>
#include <string>

#include <gio/gio.h>

namespace applistctl {

struct PeerProcess {
    guint32 pid = 0; ///< 0 when the bus does not report it
    guint32 user = G_MAXUINT32;
    std::string command; ///< the name of its program; empty when /proc does not show it

    /** The name of the user, or the number of a user without a name; empty when unknown. */
    std::string User() const;

    /** "pid 77, user weston, launcher", or nothing */
    std::string Describe() const;

    /** Whether it is an "applistctl check", which acts as a host for a moment. */
    bool IsCheck() const;
};

/** Queries the bus daemon, which answers every process. Blocks for one round trip. */
PeerProcess FindPeerProcess(GDBusConnection* connection, const std::string& uniqueName);

/** Names each process once: the description of a name follows its first use alone. */
class ProcessNames {
public:
    explicit ProcessNames(GDBusConnection* connection) : m_connection(connection) {}

    /** ":1.7 (pid 77, user weston, launcher)" for the first time, then ":1.7" */
    std::string Once(const std::string& uniqueName);

    /** The description for the first time, and then nothing. */
    std::string DescribeOnce(const std::string& uniqueName);

    bool IsCheck(const std::string& uniqueName) const {
        return FindPeerProcess(m_connection, uniqueName).IsCheck();
    }

private:
    GDBusConnection* m_connection;
    std::set<std::string> m_named;
};

/** @return the name of the program that a process runs, or nothing */
std::string CommandOf(guint32 pid);

/** @return "host", "partner", "monitor" or "check" for an applistctl, or nothing */
std::string VerbOf(guint32 pid);

} // namespace applistctl

#endif
