#include <check/CheckRun.h>

#include <chrono>
#include <utility>

#include <applist/MessageIds.h>
#include <shared/Waiting.h>

namespace applistctl {

namespace {

using Clock = std::chrono::steady_clock;

constexpr Duty DUTIES[] = {Duty::RepeatsWhileFree, Duty::RepeatsWhileUnasked, Duty::RepeatsRefused,
                           Duty::RemembersOthers, Duty::BindsOnAck};

std::string Since(Clock::time_point start) {
    return InMilliseconds(std::chrono::duration<double>(Clock::now() - start).count());
}

bool WaitForList(CheckRun& run, BareHost& host) {
    return host.WaitForNotification(APPLIST_LOCAL_CREATED_EVENT, 1, run.limit);
}

// A partner that has broken its duty is free: bind it, so that the end of this host frees it again.
void BindFreePartner(CheckRun& run, BareHost& host) {
    if (run.isAway) {
        return;
    }
    host.ClearSteps();
    host.Announce("_SYN");
    host.WaitForStep("_SYN_ACK", run.limit);
}

// A host that has not noticed its partner's end drops the first _SERVICE_SYN of the next one.
void CheckRepeatsWhileFree(CheckRun& run, BareHost& host) {
    const auto start = Clock::now();
    host.ClearSteps(); // of the first one
    const bool repeated = host.WaitForStep("_SYN", run.limit);
    if (repeated) {
        run.list.Pass(Duty::RepeatsWhileFree, "after " + Since(start));
    } else {
        FailStep(run, host, Duty::RepeatsWhileFree, "_SYN", "without a host",
                 NotWithin("second _SERVICE_SYN", run));
    }
}

// The host takes this partner for the predecessor and announces _CLIENT_SYN_ACK, as a host does
// that was stopped while the partner was replaced. Then it notices the predecessor's end. Only
// another _SERVICE_SYN finds a host in that state.
void CheckRepeatsWhileUnasked(CheckRun& run, BareHost& host) {
    host.Announce("_SYN_ACK");
    if (!host.WaitForStep("_ACK", run.limit)) {
        run.list.Skip(Duty::RepeatsWhileUnasked, "it has not bound to the host");
        return;
    }
    const auto start = Clock::now();
    host.ClearSteps();
    if (!host.WaitForStep("_SYN", run.limit)) {
        FailStep(run, host, Duty::RepeatsWhileUnasked, "_SYN", "while its host requests nothing",
                 NotWithin("second _SERVICE_SYN", run));
        return;
    }
    run.list.Pass(Duty::RepeatsWhileUnasked, "after " + Since(start));
    if (!run.list.IsBroken(Duty::AnswersWhenBound)) {
        host.Announce("_SYN_ACK");
        CheckStep(run, Duty::AnswersWhenBound, host, "_ACK", "during _CLIENT_SYN_ACK");
    }
}

// The host was bound by an answer that was meant for another one, and acknowledges it.
void CheckBindsOnAck(CheckRun& run, BareHost& host) {
    const auto start = Clock::now();
    host.Announce("_ACK");
    if (WaitForList(run, host)) {
        run.list.Pass(Duty::BindsOnAck, "notification 4 after " + Since(start));
        return;
    }
    Fail(run, host, Duty::BindsOnAck, "during _CLIENT_ACK", NotWithin("notification 4", run));
    BindFreePartner(run, host);
}

// The same while the partner is bound to that other one, which then goes: the host was started in
// its place while the partner was stopped.
HostPointer CheckRemembersOthers(CheckRun& run, HostPointer host) {
    auto next = std::make_unique<BareHost>();
    next->Remember(host->Partner());
    host->Announce("_SYN");
    if (!host->WaitForStep("_SYN_ACK", run.limit)) {
        run.list.Skip(Duty::RemembersOthers, "it has not bound to the host");
        return host;
    }
    next->Announce("_ACK");
    const auto start = Clock::now();
    host.reset();
    if (WaitForList(run, *next)) {
        run.list.Pass(Duty::RemembersOthers, "notification 4 after " + Since(start));
        return next;
    }
    Fail(run, *next, Duty::RemembersOthers, "at the end of its host",
         NotWithin("notification 4", run) +
             " of the end of the previous host, to the sender of _CLIENT_ACK");
    BindFreePartner(run, *next);
    return next;
}

// Another process owns the name of the answer. A request that the partner serves meanwhile shows
// that it has tried to own that name.
void CheckRepeatsRefused(CheckRun& run, BareHost& host) {
    const std::string problem = host.OwnPartnersName("_ACK");
    if (!problem.empty()) {
        run.list.Skip(Duty::RepeatsRefused, "run as root to see it: " + problem);
        return;
    }
    host.Announce("_SYN_ACK");
    Send(run, host, APPLIST_GET_SELECTION_FNC);
    host.ReleasePartnersName("_ACK");
    const auto start = Clock::now();
    if (host.WaitForStep("_ACK", run.limit)) {
        run.list.Pass(Duty::RepeatsRefused,
                      "_SERVICE_ACK, " + Since(start) + " after its name was free");
    } else {
        Fail(run, host, Duty::RepeatsRefused, "during _CLIENT_SYN_ACK",
             NotWithin("_SERVICE_ACK", run) + " after its name was free");
    }
}

HostPointer CheckAcks(CheckRun& run, HostPointer host) {
    host = FreshHost(run, std::move(host));
    if (!run.isAway) {
        CheckBindsOnAck(run, *host);
    }
    if (run.list.IsBroken(Duty::AnnouncesItselfAgain)) {
        run.list.Skip(Duty::RemembersOthers, "the partner does not notice the end of its host");
        return host;
    }
    host = FreshHost(run, std::move(host));
    return run.isAway ? std::move(host) : CheckRemembersOthers(run, std::move(host));
}

void Skip(CheckRun& run, const std::string& reason) {
    for (const Duty duty : DUTIES) {
        run.list.Skip(duty, reason);
    }
}

} // namespace

HostPointer ReplacementCheck::Check(CheckRun& run, HostPointer host) {
    for (const Duty duty : {Duty::AnnouncesItself, Duty::ReleasesNames, Duty::AnswersSynAck}) {
        if (run.list.IsBroken(duty)) {
            Skip(run, "needs _SERVICE_SYN and _SERVICE_ACK");
            return host;
        }
    }
    host = FreshHost(run, std::move(host));
    if (!run.isAway) {
        CheckRepeatsWhileFree(run, *host);
        CheckRepeatsWhileUnasked(run, *host);
    }
    if (run.list.IsBroken(ChecklistRow(APPLIST_LOCAL_CREATED_EVENT))) {
        run.list.Skip(Duty::BindsOnAck, "needs notification 4");
        run.list.Skip(Duty::RemembersOthers, "needs notification 4");
    } else {
        host = CheckAcks(run, std::move(host));
    }
    host = FreshHost(run, std::move(host));
    if (!run.isAway) {
        CheckRepeatsRefused(run, *host);
    }
    Skip(run, "no partner");
    return host;
}

} // namespace applistctl
