// Calls of one method on several connections of a bus, with a common limit.
#ifndef APPLIST_TOOLS_PEERCALL_H
#define APPLIST_TOOLS_PEERCALL_H

#include <memory>
#include <string>
#include <vector>

#include <gio/gio.h>

namespace applistctl {

struct PeerReply {
    bool isDone = false;
    std::string error; ///< the D-Bus name of an error; empty for a reply
    std::string text;  ///< of an error
    double seconds = 0;
    std::shared_ptr<GVariant> value; ///< null for an error

    bool IsReply() const { return value != nullptr; }
    /** Neither a reply nor an error within the limit. */
    bool IsMissing() const { return !isDone; }
    bool IsRefused() const { return error == "org.freedesktop.DBus.Error.AccessDenied"; }
};

struct PeerMethod {
    const char* path;
    const char* interface;
    const char* method;
};

/**
 * Iterates the main context until each name has answered or @p limit seconds are over.
 * @param parameters a new one for each name, or nothing
 * @return one for each name, in the same order
 */
std::vector<PeerReply> CallPeers(GDBusConnection* connection, const std::vector<std::string>& names,
                                 const PeerMethod& method, GVariant* (*parameters)(), double limit);

/** Peer.Ping on the communication object: GDBus answers it in a thread of its own. */
std::vector<PeerReply> PingPeers(GDBusConnection* connection, const std::vector<std::string>& names,
                                 double limit);

/** Send without a message id: only an iterated main context answers it. */
std::vector<PeerReply> SendNothing(GDBusConnection* connection,
                                   const std::vector<std::string>& names, double limit);

/** Calls the bus daemon. @return null, and the reason in @p problem, without a reply */
std::shared_ptr<GVariant> CallDaemon(GDBusConnection* connection, const char* interface,
                                     const char* method, GVariant* parameters,
                                     std::string& problem);

} // namespace applistctl

#endif
