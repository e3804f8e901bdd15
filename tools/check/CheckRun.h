// The data and the parts of "check partner".
#ifndef APPLIST_TOOLS_CHECKRUN_H
#define APPLIST_TOOLS_CHECKRUN_H

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include <check/BareHost.h>
#include <check/Checklist.h>
#include <check/DriveCommand.h>
#include <check/PartnerCommand.h>

namespace applistctl {

struct CheckRun {
    std::function<void(const std::string&)> ask; ///< asks the user for an action
    Checklist& list;
    PartnerCommand& partner; ///< starts the partner
    DriveCommand& drive;     ///< acts as the user of the partner
    double limit;            ///< seconds for each step of the partner
    double wait;             ///< seconds for each action of the user
    bool isAway = false;     ///< no partner answers: it has left, is stopped or is silent
    std::string absence = "the partner had left the bus"; ///< the reason of isAway
    std::string unreadableList = {};   ///< why the check cannot read the partner's list
    std::set<std::string> losses = {}; ///< the causes that are reported
    std::optional<AppListRequest> lastRequest = std::nullopt; ///< with a reply
    std::string candidates = {}; ///< why no partner may answer, for a bus without match rules
    /// ends the check: the reason for the remaining duties, and the error
    std::function<void(const std::string& reason, const std::string& text)> end = {};
    /// ends the check without a bus: the error
    std::function<void(const std::string& text)> endWithoutBus = {};
    /// receives the unique name of each process that sends a notification
    std::function<void(const std::string& uniqueName)> onNotifier = {};

    /** Seconds for the start of the partner, which loads its program first. */
    double StartLimit() const { return 3 * limit; }
};

using HostPointer = std::unique_ptr<BareHost>;

/** "12 ms" */
std::string InMilliseconds(double seconds);

/** "no _SERVICE_SYN within 3 s" */
std::string NotWithin(const std::string& what, const CheckRun& run);
std::string NotWithin(const std::string& what, double seconds);

/**
 * Breaks @p row with @p problem. When the partner has left the bus, this is the problem: reported
 * once for each cause, and later rows are not seen.
 * @param when the step of the host, like "during 2005"
 */
void Fail(CheckRun& run, BareHost& host, ChecklistRow row, const std::string& when,
          const std::string& problem);

/** Waits for a step of the partner and records @p row. A name without a release is the problem. */
bool CheckStep(CheckRun& run, ChecklistRow row, BareHost& host, const char* suffix,
               const std::string& when);

/** @return the owner of a name of the partner that is not released; empty for none */
std::string FindHolder(BareHost& host, const char* suffix);

/** Records only the failure of a step, in the same way. */
void FailStep(CheckRun& run, BareHost& host, ChecklistRow row, const char* suffix,
              const std::string& when, const std::string& problem);

/** Sends a request. The loss of the partner breaks the row of the request. */
SentRequest Send(CheckRun& run, BareHost& host, AppListRequest id,
                 const std::vector<ListedItem>& items = {});

/** The answer of FindInList() for a partner whose reply to 2001 has the name from 2000. */
constexpr const char* HIDDEN_LIST =
    "the reply to 2001 repeats the record of 2000: it hides the list, or 2004 added no item";

/**
 * Reads the partner's list, item by item. 2000 contains the id with another name, so the reply to
 * 2001 contains the name of the listed item, or else this other name.
 * @return empty if the item is in the list, else the reason why the check has not found it
 */
std::string FindInList(CheckRun& run, BareHost& host, const std::string& id);
bool IsListed(CheckRun& run, BareHost& host, const std::string& id);

/** Ends the check when the command of --restart has failed, and no partner has announced itself. */
void EndIfCommandFailed(CheckRun& run);

/** A new host. The check ends without a bus. */
HostPointer NewHost(const CheckRun& run);

/**
 * Ends @p host and waits until the partner searches for the next one. Starts a partner that has
 * left or does not search for a host.
 * @return the next host; run.isAway without a partner
 */
HostPointer FreshHost(CheckRun& run, HostPointer host);

/** Connects @p host with the partner, in either order. @return false with the reason recorded */
bool Connect(CheckRun& run, BareHost& host);

/** The handshake, step by step: in both orders, crossed, and with simultaneous starts. */
namespace HandshakeCheck {

/**
 * Finds the partner. Asks the user to start the partner when none answers.
 * @return the host that the partner is bound to; null when no partner answers
 */
HostPointer FindPartner(CheckRun& run);

/** A first host, a second host beside it, and the loss of the first host. */
HostPointer CheckHosts(CheckRun& run, HostPointer host);

/**
 * Ends @p host, and starts hosts and partners at the same time, repeatedly.
 * @return null, with the partner stopped; @p host if a broken duty prevents the starts
 */
HostPointer CheckStartsTogether(CheckRun& run, HostPointer host);

} // namespace HandshakeCheck

/** Half-open pairs, made by hosts that stop reading and are replaced: the partner repairs them. */
namespace ReplacementCheck {
HostPointer Check(CheckRun& run, HostPointer host);
} // namespace ReplacementCheck

/** Each request, the reply to the query for the selection after it, and malformed requests. */
namespace RequestCheck {
HostPointer Check(CheckRun& run, HostPointer host);
}

/** Records the partner's notifications, and its requests while a reply was due. */
void RecordTraffic(CheckRun& run, const Traffic& traffic);

/** The library with the partner, the restart of the partner, and the actions of its user. */
namespace LibraryCheck {
void Check(CheckRun& run);
}

} // namespace applistctl

#endif
