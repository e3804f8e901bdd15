#include <check/CheckRun.h>

#include <chrono>
#include <cmath>
#include <memory>
#include <utility>

#include <applist/MessageIds.h>
#include <shared/Waiting.h>

namespace applistctl {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double SILENCE_S = 0.4; ///< the time without an answer that passes a duty
constexpr int STARTS_TOGETHER = 5;

double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Waits for a step of the partner, and records its duration.
bool CheckStep(CheckRun& run, Duty duty, BareHost& host, const char* suffix) {
    const auto start = Clock::now();
    const bool came = host.WaitForStep(suffix, run.limit);
    const std::string step = std::string("_SERVICE") + suffix;
    run.list.Record(duty, came,
                    step + " from " + host.Partner() + " after " +
                        InMilliseconds(SecondsSince(start)),
                    NotWithin(step, run));
    return came;
}

void CheckListRequested(CheckRun& run, BareHost& host, const char* when) {
    const bool came = host.WaitForNotification(APPLIST_LOCAL_CREATED_EVENT, 1, run.limit);
    run.list.Record(ChecklistRow(APPLIST_LOCAL_CREATED_EVENT), came,
                    "each time, last " + std::string(when),
                    NotWithin("notification 4", run) + " " + when);
}

// The partner must register its object before its first announcement.
void CheckServesAtOnce(CheckRun& run, BareHost& host) {
    const SentRequest request = host.SendRequest(APPLIST_GET_SELECTION_FNC, {}, run.limit);
    run.list.Record(Duty::ServesAtOnce, request.problem.empty(),
                    "reply to 2001 after " + InMilliseconds(request.seconds),
                    "2001: " + request.problem);
}

// The partner has announced itself. A host that started earlier answers like this.
bool AnswerPartnersSyn(CheckRun& run, BareHost& host) {
    host.Announce("_SYN_ACK");
    if (!CheckStep(run, Duty::AnswersSynAck, host, "_ACK")) {
        return false;
    }
    CheckServesAtOnce(run, host);
    CheckListRequested(run, host, "with the host started first");
    return true;
}

bool StartPartner(CheckRun& run, BareHost& host) {
    double seconds = run.limit;
    if (run.partner.IsGiven()) {
        run.partner.Run();
    } else if (run.wait > 0) {
        run.output.State("Please start the partner, within " + InSeconds(run.wait) + ".");
        seconds = run.wait;
    } else {
        return false;
    }
    const auto start = Clock::now();
    if (!host.WaitForStep("_SYN", seconds)) {
        // A partner without this announcement may still run.
        return false;
    }
    run.list.Pass(
        Duty::AnnouncesItself,
        "_SERVICE_SYN from " + host.Partner() +
            (run.partner.IsGiven() ? " after " + InMilliseconds(SecondsSince(start)) : ""));
    return true;
}

// Owns the name for some time before its release, which is the announcement.
void AnnounceSlowly(CheckRun& run, BareHost& host) {
    host.ClearSteps();
    host.OwnName("_SYN");
    WaitFor(SILENCE_S);
    const bool answered = host.HasSeen("_SYN_ACK");
    host.ReleaseName("_SYN");
    if (answered) {
        run.list.Break(Duty::WaitsForTheRelease,
                       "_SERVICE_SYN_ACK while _CLIENT_SYN was still owned");
    }
}

// A crossed start: the bound partner must answer this step again.
void CheckCrossed(CheckRun& run, BareHost& host) {
    host.ClearSteps();
    host.Announce("_SYN_ACK");
    CheckStep(run, Duty::AnswersWhenBound, host, "_ACK");
}

void CheckSecondHost(CheckRun& run, BareHost& first) {
    BareHost second;
    second.Announce("_SYN");
    const bool answered = second.WaitForStep("_SYN_ACK", SILENCE_S);
    const SentRequest request = first.SendRequest(APPLIST_GET_SELECTION_FNC, {}, run.limit);
    run.list.Record(
        Duty::KeepsItsHost, !answered, "no answer to _CLIENT_SYN of " + second.UniqueName(),
        "_SERVICE_SYN_ACK for " + second.UniqueName() + ", beside its host " + first.UniqueName());
}

bool Find(CheckRun& run, BareHost& host) {
    if (run.partner.IsGiven()) {
        if (StartPartner(run, host)) {
            AnswerPartnersSyn(run, host);
            return true;
        }
        run.list.Break(Duty::AnnouncesItself,
                       NotWithin("_SERVICE_SYN", run) + " from the command of --restart");
    }
    host.Announce("_SYN");
    if (host.WaitForStep("_SYN_ACK", run.limit)) {
        return true;
    }
    host.Announce("_SYN_ACK");
    if (host.WaitForStep("_ACK", run.limit)) {
        return true;
    }
    if (!run.partner.IsGiven() && StartPartner(run, host)) {
        AnswerPartnersSyn(run, host);
        return true;
    }
    return false;
}

} // namespace

std::string InMilliseconds(double seconds) {
    return std::to_string(std::lround(seconds * 1000)) + " ms";
}

std::string NotWithin(const std::string& what, const CheckRun& run) {
    return "no " + what + " within " + InSeconds(run.limit);
}

std::unique_ptr<BareHost> FreePartner(CheckRun& run, std::unique_ptr<BareHost> host) {
    auto next = std::make_unique<BareHost>();
    host.reset();
    next->WaitForStep("_SYN", run.limit);
    return next;
}

bool HandshakeCheck::FindPartner(CheckRun& run) {
    auto host = std::make_unique<BareHost>();
    const bool found = Find(run, *host);
    if (found) {
        FreePartner(run, std::move(host));
    }
    return found;
}

void HandshakeCheck::CheckTwoHosts(CheckRun& run) {
    auto host = std::make_unique<BareHost>();
    BareHost& second = *host;
    {
        BareHost first;
        AnnounceSlowly(run, first);
        const bool isBound = CheckStep(run, Duty::AnswersSyn, first, "_SYN_ACK");
        if (isBound) {
            run.list.Pass(Duty::WaitsForTheRelease, "no answer for " + InMilliseconds(SILENCE_S) +
                                                        " while _CLIENT_SYN was owned");
            CheckServesAtOnce(run, first);
            first.Announce("_ACK");
            CheckListRequested(run, first, "with the partner started first");
            CheckCrossed(run, first);
            CheckSecondHost(run, first);
            RequestCheck::Check(run, first);
        } else {
            run.list.Skip(Duty::AnswersWhenBound, "the partner is not bound to the host");
        }
        RecordTraffic(run, first.Seen());
        second.ClearSteps();
    }
    if (!CheckStep(run, Duty::AnnouncesItselfAgain, second, "_SYN") ||
        !AnswerPartnersSyn(run, second)) {
        ReplacementCheck::Skip(run, "it does not find the next host");
        return;
    }
    RecordTraffic(run, second.Seen());
    ReplacementCheck::Check(run, std::move(host));
}

// The start of a partner takes some time. Each run starts the host at another moment of it.
void HandshakeCheck::CheckStartsTogether(CheckRun& run) {
    double startTime = 0;
    run.partner.Stop();
    {
        BareHost observer;
        const auto start = Clock::now();
        run.partner.Run();
        if (!observer.WaitForStep("_SYN", run.limit)) {
            run.list.Skip(Duty::StartsTogether, "the partner does not announce itself");
            return;
        }
        startTime = SecondsSince(start);
    }
    int found = 0;
    for (int i = 0; i < STARTS_TOGETHER; ++i) {
        run.partner.Stop(); // before the new host starts, which it would find
        BareHost host;
        host.FollowHandshake();
        run.partner.Run();
        WaitUntil([&] { return host.HasSeen("_SYN"); }, startTime * (i + 1) / STARTS_TOGETHER);
        host.Announce("_SYN");
        WaitUntil([&] { return host.IsReady(); }, run.limit);
        found += host.IsReady() ? 1 : 0;
    }
    const std::string count =
        std::to_string(found) + " of " + std::to_string(STARTS_TOGETHER) + " starts";
    run.list.Record(Duty::StartsTogether, found == STARTS_TOGETHER, count, count);
}

} // namespace applistctl
