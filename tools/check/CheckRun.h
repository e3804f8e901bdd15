// What the parts of a check of the partner share.
#ifndef APPLIST_TOOLS_CHECKRUN_H
#define APPLIST_TOOLS_CHECKRUN_H

#include <string>

#include <check/BareHost.h>
#include <check/Checklist.h>
#include <check/PartnerCommand.h>
#include <shared/Output.h>

struct CheckRun {
    Output& output;
    Checklist& list;
    PartnerCommand& partner; ///< how to start it
    double limit;            ///< seconds for each of the partner's steps
    double wait;             ///< seconds for what the user is asked to do
};

/** "12 ms" */
std::string InMilliseconds(double seconds);

/** What the bodies say: the handshake by hand, in both orders, crossed and at the same time. */
namespace HandshakeCheck {

/**
 * Finds the partner, by asking the user to start it if need be.
 * @return false when there is none
 */
bool FindPartner(CheckRun& run);

/** The partner runs, a host comes, another one comes, the first one goes. */
void CheckTwoHosts(CheckRun& run);

void CheckStartsTogether(CheckRun& run);

} // namespace HandshakeCheck

/** Every request by hand, with what the query for the selection tells of it. */
namespace RequestCheck {
void Check(CheckRun& run, BareHost& host);
}

/** Our notifications so far, and whether the partner asked us something meanwhile. */
void RecordTraffic(CheckRun& run, const Traffic& traffic);

/** The library itself with the partner, its restart, and what its user does. */
namespace LibraryCheck {
void Check(CheckRun& run);
}

#endif
