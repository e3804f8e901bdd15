// Finds the process behind a unique name, with the bus daemon's help.
#ifndef APPLIST_TOOLS_PEERPROCESS_H
#define APPLIST_TOOLS_PEERPROCESS_H

#include <string>

#include <gio/gio.h>

namespace applistctl {

struct PeerProcess {
    guint32 pid = 0; ///< 0 when the bus does not report it
    guint32 user = G_MAXUINT32;
    std::string command; ///< its short name in /proc; empty when it cannot be read

    /** "pid 77, launcher", or nothing */
    std::string Describe() const;
};

/** Asks the bus daemon, which answers everybody. Blocks for one round trip. */
PeerProcess FindPeerProcess(GDBusConnection* connection, const std::string& uniqueName);

/** @return the short name of a process, or nothing */
std::string CommandOf(guint32 pid);

} // namespace applistctl

#endif
