#include <check/CheckRun.h>

#include <utility>

#include <applist/MessageIds.h>
#include <check/Seconds.h>
#include <shared/Waiting.h>

namespace applistctl {

namespace {

constexpr Duty DUTIES[] = {Duty::RepeatsWhileFree, Duty::RepeatsWhileUnasked,
                           Duty::RepeatsRefused,   Duty::NotifiesAfterItsAck,
                           Duty::FindsAnEndedHost, Duty::RemembersOthers,
                           Duty::BindsOnAck};

/** Longer than the first period of _SERVICE_SYN, which must not end the repeated _SERVICE_ACK. */
constexpr double OWNED_S = 2.5;

constexpr double POLL_S = 0.005;

std::string Since(Clock::time_point start) {
    return InMilliseconds(SecondsSince(start));
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

// The host acts as one that was stopped while the partner was replaced: it announces
// _CLIENT_SYN_ACK to the earlier partner, and then detects the end of the earlier partner. Only
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
    auto next = NewHost(run);
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

// The host drops requests for its list until the answer: notification 4 in this time is lost.
void CheckNotifiesAfterItsAck(CheckRun& run, BareHost& host, std::size_t before, bool wasEarly) {
    if (run.list.IsBroken(ChecklistRow(APPLIST_LOCAL_CREATED_EVENT))) {
        run.list.Skip(Duty::NotifiesAfterItsAck, "needs notification 4");
    } else if (wasEarly) {
        run.list.Break(Duty::NotifiesAfterItsAck,
                       "notification 4 while another process owned _SERVICE_ACK");
    } else if (host.WaitForNotification(APPLIST_LOCAL_CREATED_EVENT, before + 1, run.limit)) {
        run.list.Pass(Duty::NotifiesAfterItsAck,
                      "none in the " + InSeconds(OWNED_S) + " before _SERVICE_ACK");
    } else {
        Fail(run, host, Duty::NotifiesAfterItsAck, "after _SERVICE_ACK",
             NotWithin("notification 4", run) + " of the repeated _SERVICE_ACK");
    }
}

// Another process owns the name of the answer. A request would end the repeated _SERVICE_SYN, so it
// follows at the end: its reply shows that the partner has tried to own that name, and arrives
// after all earlier notifications.
void CheckRepeatsRefused(CheckRun& run, BareHost& host) {
    const std::string problem = host.OwnPartnersName("_ACK");
    if (!problem.empty()) {
        run.list.Skip(Duty::RepeatsRefused, "run as root to see it: " + problem);
        run.list.Skip(Duty::NotifiesAfterItsAck, "run as root to see it: " + problem);
        return;
    }
    const std::size_t before = host.Seen().CountNotifications(APPLIST_LOCAL_CREATED_EVENT);
    host.Announce("_SYN_ACK");
    WaitFor(OWNED_S);
    Send(run, host, APPLIST_GET_SELECTION_FNC);
    const bool wasEarly = host.Seen().CountNotifications(APPLIST_LOCAL_CREATED_EVENT) != before;
    host.ReleasePartnersName("_ACK");
    const auto start = Clock::now();
    if (host.WaitForStep("_ACK", run.limit)) {
        run.list.Pass(Duty::RepeatsRefused, "_SERVICE_ACK, " + Since(start) +
                                                " after another process had owned its name for " +
                                                InSeconds(OWNED_S));
    } else {
        Fail(run, host, Duty::RepeatsRefused, "during _CLIENT_SYN_ACK",
             NotWithin("_SERVICE_ACK", run) + " after another process had owned its name for " +
                 InSeconds(OWNED_S));
        if (!wasEarly) {
            run.list.Skip(Duty::NotifiesAfterItsAck, "needs the repeated _SERVICE_ACK");
            return;
        }
    }
    CheckNotifiesAfterItsAck(run, host, before, wasEarly);
}

// Answers each _SERVICE_SYN. The first one may be older than the binding of the partner to another
// host, and the partner then ignores its answer.
bool BindsTo(BareHost& host, double limit) {
    const auto start = Clock::now();
    const auto remaining = [&] { return limit - SecondsSince(start); };
    host.ClearSteps();
    const auto hasStep = [&] { return host.HasSeen("_SYN") || host.HasSeen("_ACK"); };
    while (!host.HasSeen("_ACK") && remaining() > 0 && WaitUntil(hasStep, remaining())) {
        if (!host.HasSeen("_ACK")) {
            host.ClearSteps();
            host.Announce("_SYN_ACK");
        }
    }
    return host.HasSeen("_ACK");
}

// A connection that ends as the owner of a name releases the name. The bus removes both names
// before it handles the next message of the partner: the partner cannot add its match rule in time,
// and only the question for the owner reports the end. A partner that misses this end is bound to
// no process for ever, and must be restarted.
void CheckFindsAnEndedHost(CheckRun& run, BareHost& host) {
    const auto start = Clock::now();
    std::string name;
    {
        BareHost ended;
        name = ended.UniqueName();
        ended.OwnName("_SYN");
    }
    // Before, an answer to a free partner could overtake the end.
    while (host.IsOnBus(name) && SecondsSince(start) < run.limit) {
        WaitFor(POLL_S);
    }
    if (BindsTo(host, run.limit)) {
        run.list.Pass(Duty::FindsAnEndedHost, "bound to the next host after " + Since(start));
        return;
    }
    Fail(run, host, Duty::FindsAnEndedHost, "at the end of a host that owned _CLIENT_SYN",
         NotWithin("_SERVICE_ACK", run) +
             " for the next host: still bound to the host that left the bus");
    run.isAway = true;
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
    if (run.list.IsBroken(Duty::AnnouncesItselfAgain)) {
        run.list.Skip(Duty::FindsAnEndedHost, "the partner does not notice the end of its host");
    } else {
        host = FreshHost(run, std::move(host));
        if (!run.isAway) {
            CheckFindsAnEndedHost(run, *host);
        }
    }
    Skip(run, "no partner");
    return host;
}

} // namespace applistctl
