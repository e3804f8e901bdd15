// The data and the parts of "check partner".
#ifndef APPLIST_TOOLS_CHECKRUN_H
#define APPLIST_TOOLS_CHECKRUN_H

#include <memory>
#include <string>

#include <check/BareHost.h>
#include <check/Checklist.h>
#include <check/PartnerCommand.h>
#include <shared/Output.h>

namespace applistctl {

struct CheckRun {
    Output& output;
    Checklist& list;
    PartnerCommand& partner; ///< starts the partner
    double limit;            ///< seconds for each step of the partner
    double wait;             ///< seconds for each action of the user
};

/** "12 ms" */
std::string InMilliseconds(double seconds);

/** "no _SERVICE_SYN within 3 s" */
std::string NotWithin(const std::string& what, const CheckRun& run);

/** Ends @p host. @return the next one, which has waited until the partner looks for a host */
std::unique_ptr<BareHost> FreePartner(CheckRun& run, std::unique_ptr<BareHost> host);

/** The handshake, step by step: in both orders, crossed, and with simultaneous starts. */
namespace HandshakeCheck {

/**
 * Finds the partner. Asks the user to start the partner when none answers.
 * @return false when no partner answers
 */
bool FindPartner(CheckRun& run);

/** A running partner, a first host, a second host, and the loss of the first host. */
void CheckTwoHosts(CheckRun& run);

void CheckStartsTogether(CheckRun& run);

} // namespace HandshakeCheck

/** Half-open pairs, made by hosts that stop reading and are replaced: the partner repairs them. */
namespace ReplacementCheck {
/** @param host its host; it has gone at the end, and the partner is free */
void Check(CheckRun& run, std::unique_ptr<BareHost> host);

/** Why the duties cannot be seen. */
void Skip(CheckRun& run, const std::string& reason);
} // namespace ReplacementCheck

/** Each request, and the reply to the query for the selection after it. */
namespace RequestCheck {
void Check(CheckRun& run, BareHost& host);
}

/** Records the partner's notifications, and its requests while a reply was due. */
void RecordTraffic(CheckRun& run, const Traffic& traffic);

/** The library with the partner, the restart of the partner, and the actions of its user. */
namespace LibraryCheck {
void Check(CheckRun& run);
}

} // namespace applistctl

#endif
