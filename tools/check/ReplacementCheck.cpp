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

bool WaitForList(CheckRun& run, BareHost& host, std::size_t count) {
    return host.WaitForNotification(APPLIST_LOCAL_CREATED_EVENT, count, run.limit);
}

// A partner that has broken its duty is free: bind it, so that the end of this host frees it again.
void BindFreePartner(CheckRun& run, BareHost& host) {
    host.ClearSteps();
    host.Announce("_SYN");
    host.WaitForStep("_SYN_ACK", run.limit);
}

// A host that has not noticed its partner's end drops the first _SERVICE_SYN of the next one.
void CheckRepeatsWhileFree(CheckRun& run, BareHost& host) {
    const auto start = Clock::now();
    host.ClearSteps(); // of the first one
    const bool repeated = host.WaitForStep("_SYN", run.limit);
    run.list.Record(Duty::RepeatsWhileFree, repeated, "after " + Since(start),
                    NotWithin("second _SERVICE_SYN", run));
}

// The host takes this partner for the predecessor and announces _CLIENT_SYN_ACK, as a host does
// that was stopped while the partner was replaced. Then it notices the predecessor's end. Only
// another _SERVICE_SYN finds a host in that state.
void CheckRepeatsWhileUnasked(CheckRun& run, BareHost& host) {
    host.Announce("_SYN_ACK");
    if (!host.WaitForStep("_ACK", run.limit) || !WaitForList(run, host, 1)) {
        run.list.Skip(Duty::RepeatsWhileUnasked, "it has not bound to the host");
        return;
    }
    const auto start = Clock::now();
    host.ClearSteps();
    if (!host.WaitForStep("_SYN", run.limit)) {
        run.list.Break(Duty::RepeatsWhileUnasked, NotWithin("second _SERVICE_SYN", run));
        return;
    }
    const std::string time = Since(start);
    host.Announce("_SYN_ACK");
    const bool connected = host.WaitForStep("_ACK", run.limit) && WaitForList(run, host, 2);
    run.list.Record(Duty::RepeatsWhileUnasked, connected,
                    "after " + time + ", then _SERVICE_ACK and notification 4",
                    NotWithin("_SERVICE_ACK with notification 4", run) + " of the second one");
}

// The host was bound by an answer that was meant for another one, and acknowledges it.
void CheckBindsOnAck(CheckRun& run, BareHost& host) {
    const auto start = Clock::now();
    host.Announce("_ACK");
    const bool taken = WaitForList(run, host, 1);
    run.list.Record(Duty::BindsOnAck, taken, "notification 4 after " + Since(start),
                    NotWithin("notification 4", run));
    if (!taken) {
        BindFreePartner(run, host);
    }
}

// The same while the partner is bound to that other one, which then goes: the host was started in
// its place while the partner was stopped.
std::unique_ptr<BareHost> CheckRemembersOthers(CheckRun& run, std::unique_ptr<BareHost> host) {
    auto next = std::make_unique<BareHost>();
    host->Announce("_SYN");
    if (!host->WaitForStep("_SYN_ACK", run.limit)) {
        run.list.Skip(Duty::RemembersOthers, "it has not bound to the host");
        return host;
    }
    next->Announce("_ACK");
    const auto start = Clock::now();
    host.reset();
    const bool taken = WaitForList(run, *next, 1);
    run.list.Record(Duty::RemembersOthers, taken, "notification 4 after " + Since(start),
                    NotWithin("notification 4", run) +
                        " of the end of the host before, to the one that announced _CLIENT_ACK");
    if (!taken) {
        BindFreePartner(run, *next);
    }
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
    host.SendRequest(APPLIST_GET_SELECTION_FNC, {}, run.limit);
    host.ReleasePartnersName("_ACK");
    const auto start = Clock::now();
    const bool repeated = host.WaitForStep("_ACK", run.limit);
    run.list.Record(Duty::RepeatsRefused, repeated,
                    "_SERVICE_ACK, " + Since(start) + " after its name was free",
                    NotWithin("_SERVICE_ACK", run) + " after its name was free");
}

} // namespace

void ReplacementCheck::Check(CheckRun& run, std::unique_ptr<BareHost> host) {
    host = FreePartner(run, std::move(host));
    CheckRepeatsWhileFree(run, *host);
    CheckRepeatsWhileUnasked(run, *host);
    host = FreePartner(run, std::move(host));
    CheckBindsOnAck(run, *host);
    host = FreePartner(run, std::move(host));
    host = CheckRemembersOthers(run, std::move(host));
    host = FreePartner(run, std::move(host));
    CheckRepeatsRefused(run, *host);
    FreePartner(run, std::move(host));
}

void ReplacementCheck::Skip(CheckRun& run, const std::string& reason) {
    for (const Duty duty : DUTIES) {
        run.list.Skip(duty, reason);
    }
}

} // namespace applistctl
