#include <check/CheckRun.h>

#include <cmath>
#include <utility>

#include <applist/MessageIds.h>
#include <check/Seconds.h>
#include <shared/Waiting.h>

namespace applistctl {

namespace {

constexpr int HOLDER_LOOKS = 5;
constexpr double BETWEEN_HOLDER_LOOKS_S = 0.08;
constexpr double SHORT_S = 0.3; ///< for a partner that has broken the duty before

// A partner without _SERVICE_SYN has no other sign of its start than its answer.
void FindSilentPartner(CheckRun& run, BareHost& host) {
    const auto start = Clock::now();
    while (SecondsSince(start) < run.StartLimit() && !host.HasSeen("_SYN_ACK")) {
        host.Announce("_SYN");
        if (!host.WaitForStep("_SYN_ACK", SHORT_S) && host.IsPartnersNameKept("_SYN_ACK")) {
            return;
        }
    }
}

// Starts the partner for a host that waits already.
void Restart(CheckRun& run, BareHost& host) {
    run.lastRequest.reset();
    const bool hasLeft = host.HasLostPartner();
    host.ForgetPartners();
    host.ClearSteps();
    if (run.partner.IsGiven()) {
        run.partner.Run();
        run.isAway = false;
        if (run.list.IsBroken(Duty::AnnouncesItself) || run.list.IsBroken(Duty::ReleasesNames)) {
            FindSilentPartner(run, host);
            if (!host.HasSeen("_SYN_ACK")) {
                EndIfCommandFailed(run);
            }
        } else if (!host.WaitForStep("_SYN", run.StartLimit())) {
            EndIfCommandFailed(run);
            FailStep(run, host, Duty::AnnouncesItself, "_SYN", "at its start",
                     NotWithin("_SERVICE_SYN", run.StartLimit()) + " after a restart");
        }
        run.partner.OnPartnerFound();
    } else if (run.wait > 0) {
        run.ask("Please restart the partner, within " + InSeconds(run.wait) + ": " +
                (hasLeft ? "it has left the bus." : "it has not announced itself again."));
        run.isAway = !host.WaitForStep("_SYN", run.wait);
    } else {
        run.isAway = true;
    }
    if (run.isAway && !hasLeft) {
        run.absence = "the partner had not announced itself again";
    }
}

} // namespace

std::string InMilliseconds(double seconds) {
    return std::to_string(std::lround(seconds * 1000)) + " ms";
}

std::string NotWithin(const std::string& what, const CheckRun& run) {
    return NotWithin(what, run.limit);
}

std::string NotWithin(const std::string& what, double seconds) {
    return "no " + what + " within " + InSeconds(seconds);
}

void Fail(CheckRun& run, BareHost& host, ChecklistRow row, const std::string& when,
          const std::string& problem) {
    if (run.isAway) {
        run.list.Skip(row, run.absence);
        return;
    }
    if (!host.HasLostPartner()) {
        run.list.Break(row, problem);
        return;
    }
    run.isAway = true;
    const std::string cause = "left the bus " + when;
    if (run.losses.insert(cause).second) {
        run.list.Break(row, cause + run.partner.DescribeEnd());
    } else {
        run.list.Skip(row, cause + ", as above");
    }
}

// An announcement owns its name for a moment.
std::string FindHolder(BareHost& host, const char* suffix) {
    std::string owner = host.OwnerOfPartnersName(suffix);
    for (int i = 0; i < HOLDER_LOOKS && !owner.empty(); ++i) {
        WaitFor(BETWEEN_HOLDER_LOOKS_S);
        owner = host.OwnerOfPartnersName(suffix);
    }
    return owner;
}

void FailStep(CheckRun& run, BareHost& host, ChecklistRow row, const char* suffix,
              const std::string& when, const std::string& problem) {
    const std::string owner = FindHolder(host, suffix);
    if (!owner.empty()) {
        const std::string name = std::string("_SERVICE") + suffix;
        run.list.Break(Duty::ReleasesNames, owner + " owns " + name + " and does not release it");
        run.list.Skip(row, name + " is not released");
        return;
    }
    Fail(run, host, row, when, problem);
}

bool CheckStep(CheckRun& run, ChecklistRow row, BareHost& host, const char* suffix,
               const std::string& when) {
    if (run.isAway) {
        run.list.Skip(row, run.absence);
        return false;
    }
    const auto start = Clock::now();
    const std::string step = std::string("_SERVICE") + suffix;
    if (!host.WaitForStep(suffix, run.limit)) {
        FailStep(run, host, row, suffix, when, NotWithin(step, run));
        return false;
    }
    run.list.Pass(row, step + " from " + host.Partner() + " after " +
                           InMilliseconds(SecondsSince(start)));
    return true;
}

SentRequest Send(CheckRun& run, BareHost& host, AppListRequest id,
                 const std::vector<ListedItem>& items) {
    SentRequest request;
    if (run.isAway) {
        request.problem = run.absence;
        return request;
    }
    request = host.SendRequest(id, items, run.limit);
    if (request.problem.empty()) {
        run.lastRequest = id;
    } else if (host.HasLostPartner()) {
        // A partner may end after its reply.
        const bool isAfter = request.isUnknownService && run.lastRequest;
        const AppListRequest last = isAfter ? *run.lastRequest : id;
        Fail(run, host, ChecklistRow(last), (isAfter ? "after " : "during ") + std::to_string(last),
             request.problem);
    }
    return request;
}

std::string FindInList(CheckRun& run, BareHost& host, const std::string& id) {
    const std::string otherName = "Probe";
    for (const AppListRequest request : {APPLIST_SET_SELECTION_FNC, APPLIST_GET_SELECTION_FNC}) {
        if (run.list.IsBroken(ChecklistRow(request))) { // each missing reply costs the whole limit
            return "needs a valid reply to " + std::to_string(request);
        }
    }
    if (!Send(run, host, APPLIST_SET_SELECTION_FNC, {{otherName, id}}).problem.empty()) {
        return "needs a valid reply to 2000";
    }
    const SentRequest query = Send(run, host, APPLIST_GET_SELECTION_FNC);
    if (!query.problem.empty()) {
        return "needs a valid reply to 2001";
    }
    const std::string reply(query.reply.begin(), query.reply.end());
    if (reply.empty()) {
        return "needs the item that 2000 selected in the reply to 2001";
    }
    return reply.rfind(otherName + "\n", 0) == 0 ? HIDDEN_LIST : "";
}

bool IsListed(CheckRun& run, BareHost& host, const std::string& id) {
    return FindInList(run, host, id).empty();
}

void EndIfCommandFailed(CheckRun& run) {
    const std::string failure = run.partner.DescribeFailure();
    if (!failure.empty()) {
        run.end("the command of --restart failed",
                "the command of --restart " + failure +
                    ", and no partner has announced itself: " + run.partner.Text());
    }
}

HostPointer NewHost(const CheckRun& run) {
    auto host = std::make_unique<BareHost>();
    if (host->Connection() == nullptr) {
        run.endWithoutBus("no bus: " + host->Problem());
    }
    return host;
}

HostPointer FreshHost(CheckRun& run, HostPointer host) {
    auto next = NewHost(run);
    // A partner that has not answered is not bound, and does not wait for the end of this host.
    const bool isBound = host == nullptr || host->WasAnswered();
    if (host != nullptr) {
        next->Remember(host->Partner());
        host.reset();
    }
    const bool mayBeFree = !run.isAway && !run.list.IsBroken(Duty::AnnouncesItselfAgain) &&
                           !run.list.IsBroken(Duty::ReleasesNames);
    const bool isFree = mayBeFree && (isBound ? CheckStep(run, Duty::AnnouncesItselfAgain, *next,
                                                          "_SYN", "at the end of its host")
                                              : next->WaitForStep("_SYN", run.limit));
    if (isFree) {
        return next;
    }
    Restart(run, *next);
    return next;
}

bool Connect(CheckRun& run, BareHost& host) {
    if (run.isAway) {
        return false;
    }
    if (host.HasSeen("_SYN") && !run.list.IsBroken(Duty::AnswersSynAck)) {
        host.Announce("_SYN_ACK");
        if (!CheckStep(run, Duty::AnswersSynAck, host, "_ACK", "during _CLIENT_SYN_ACK")) {
            return false;
        }
    } else {
        host.Announce("_SYN");
        if (!CheckStep(run, Duty::AnswersSyn, host, "_SYN_ACK", "during _CLIENT_SYN")) {
            return false;
        }
        host.Announce("_ACK");
    }
    // The list of the partner is empty from this notification on.
    if (run.list.IsBroken(ChecklistRow(APPLIST_LOCAL_CREATED_EVENT))) {
        WaitFor(SHORT_S);
    } else if (!host.WaitForNotification(APPLIST_LOCAL_CREATED_EVENT, 1, run.limit)) {
        Fail(run, host, ChecklistRow(APPLIST_LOCAL_CREATED_EVENT), "during the handshake",
             NotWithin("notification 4", run) + " of the handshake");
        return !run.isAway;
    }
    return true;
}

} // namespace applistctl
