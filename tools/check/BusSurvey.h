// Surveys a bus without disturbing it: the processes with a communication object, the role and the
// binding of each, and handshake names that a process owns and does not release.
#ifndef APPLIST_TOOLS_BUSSURVEY_H
#define APPLIST_TOOLS_BUSSURVEY_H

#include <map>
#include <string>
#include <vector>

#include <gio/gio.h>

#include <shared/PeerProcess.h>

namespace applistctl {

/** A process on the bus that has the communication object. */
struct Participant {
    enum class Role { Unknown, Host, Partner, Check }; ///< Check: "applistctl check"
    std::string name;                                  ///< unique
    PeerProcess process;
    Role role = Role::Unknown; ///< without match rules only that of a host, from /proc
    std::string peer; ///< the other side of the binding; empty without one or without match rules

    /** ":1.7 (pid 77, launcher)" */
    std::string Describe() const;

    bool MayBeHost() const { return role == Role::Host || role == Role::Unknown; }
    bool MayBePartner() const { return role == Role::Partner || role == Role::Unknown; }
};

struct BusSurvey {
    std::vector<Participant> participants;
    bool hasRules = false;            ///< whether all roles and bindings are known
    std::string problem;              ///< why the match rules are not known
    std::vector<std::string> silent;  ///< without match rules: names without any reply
    std::vector<std::string> refused; ///< the same: names that the bus's policy hides
    std::vector<std::string> names;   ///< all unique names

    const Participant* Find(const std::string& name) const;
    const Participant* FirstOf(Participant::Role role) const;

    /** Of a unique name of a binding: "", or ", which has left the bus". */
    std::string DescribeLoss(const std::string& name) const;

    std::vector<Participant> AllOf(Participant::Role role) const;

    /** The participant of @p role that is bound to @p peer. */
    const Participant* BoundTo(const std::string& peer, Participant::Role role) const;
};

/**
 * Reads the match rules of all connections, where the bus shows them, and otherwise introspects
 * each connection. Where the bus's policy refuses that too, calls Send without a message id, for
 * which a host logs an error. Finds the hosts among the other processes in /proc, as far as it
 * shows them to this user. Leaves out the connection itself.
 */
BusSurvey SurveyBus(GDBusConnection* connection, double limit);

/** The same from the match rules alone, which sends nothing to the processes. */
BusSurvey SurveyRules(GDBusConnection* connection);

/** All unique names but that of the connection itself. */
std::vector<std::string> ListUniqueNames(GDBusConnection* connection);

/** A handshake name with the same owner for more than a second. */
struct OwnedName {
    std::string name;
    std::string owner;
    PeerProcess process;

    /** "_CLIENT_SYN_ACK is owned by :1.7 (pid 77, launcher) and not released" */
    std::string Describe() const;

    /** Whether the owner is a check, which owns names until its end. */
    bool IsOfCheck() const { return process.IsCheck(); }
};

/** The owners of the handshake names at this moment, without @p connection: unique names by name.
 */
std::map<std::string, std::string> OwnersOfSteps(GDBusConnection* connection);

/** Takes more than a second when a handshake name is owned, and otherwise no time. */
std::vector<OwnedName> FindOwnedNames(GDBusConnection* connection);

/** ":1.7 (pid 77, launcher)" */
std::string WithProcess(const std::string& name, const PeerProcess& process);

} // namespace applistctl

#endif
