#include <check/CheckRun.h>

#include <memory>
#include <utility>

#include <applist/MessageIds.h>
#include <check/OtherHosts.h>
#include <check/Seconds.h>
#include <shared/Waiting.h>

namespace applistctl {

namespace {

constexpr double SILENCE_S = 0.4; ///< the time without an answer that passes a duty
constexpr int STARTS_TOGETHER = 5;
const ListedItem SELECTED = {"Selected", "check.selected"};

bool CheckListRequested(CheckRun& run, BareHost& host, std::size_t count, const char* when) {
    if (!host.WaitForNotification(APPLIST_LOCAL_CREATED_EVENT, count, run.limit)) {
        Fail(run, host, ChecklistRow(APPLIST_LOCAL_CREATED_EVENT), "during the handshake",
             NotWithin("notification 4", run) + " " + when);
        return false;
    }
    run.list.Pass(ChecklistRow(APPLIST_LOCAL_CREATED_EVENT),
                  "each time, last " + std::string(when));
    return true;
}

// Each reply that is missing costs the whole limit.
bool CanQuery(const CheckRun& run) {
    return !run.list.IsBroken(ChecklistRow(APPLIST_GET_SELECTION_FNC)) &&
           !run.list.IsBroken(Duty::ServesAtOnce);
}

// The partner must register its object before its first announcement.
void CheckServesAtOnce(CheckRun& run, BareHost& host) {
    if (!CanQuery(run)) {
        return;
    }
    const SentRequest request = Send(run, host, APPLIST_GET_SELECTION_FNC);
    if (request.problem.empty()) {
        run.list.Pass(Duty::ServesAtOnce, "reply to 2001 after " + InMilliseconds(request.seconds));
    } else if (request.isUnknownObject) {
        run.list.Break(Duty::ServesAtOnce, "2001: " + request.problem);
    } else {
        Fail(run, host, ChecklistRow(APPLIST_GET_SELECTION_FNC), "during 2001", request.problem);
        run.list.Skip(Duty::ServesAtOnce, "no valid reply to 2001");
    }
}

// The partner has announced itself. A host that started earlier answers like this.
bool AnswerPartnersSyn(CheckRun& run, BareHost& host) {
    host.Announce("_SYN_ACK");
    if (!CheckStep(run, Duty::AnswersSynAck, host, "_ACK", "during _CLIENT_SYN_ACK")) {
        return false;
    }
    CheckServesAtOnce(run, host);
    CheckListRequested(run, host, 1, "with the host started first");
    return true;
}

bool StartPartner(CheckRun& run, BareHost& host) {
    double seconds = run.StartLimit();
    if (run.partner.IsGiven()) {
        run.partner.Run();
    } else if (run.wait > 0) {
        run.ask("Please start the partner, within " + InSeconds(run.wait) + ".");
        seconds = run.wait;
    } else {
        return false;
    }
    const auto start = Clock::now();
    if (!host.WaitForStep("_SYN", seconds)) {
        // A partner without this announcement may still run.
        return false;
    }
    run.partner.OnPartnerFound();
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
    const std::size_t before = host.Seen().CountNotifications(APPLIST_LOCAL_CREATED_EVENT);
    host.Announce("_SYN_ACK");
    if (CheckStep(run, Duty::AnswersWhenBound, host, "_ACK", "during a second _CLIENT_SYN_ACK") &&
        !run.list.IsBroken(ChecklistRow(APPLIST_LOCAL_CREATED_EVENT))) {
        CheckListRequested(run, host, before + 1, "after a second _CLIENT_SYN_ACK");
    }
}

bool HasSelection(const SentRequest& query) {
    const std::string reply(query.reply.begin(), query.reply.end());
    return reply.find("\n" + SELECTED.id) != std::string::npos;
}

// @return why the partner may have no selection now; empty with a selection
std::string FillList(CheckRun& run, BareHost& host) {
    constexpr const char* needsQuery = "needs a valid reply to 2001";
    if (!CanQuery(run)) {
        return needsQuery;
    }
    for (const AppListRequest id : {APPLIST_ADD_ITEMS_FNC, APPLIST_SET_SELECTION_FNC}) {
        if (!Send(run, host, id, {SELECTED}).problem.empty()) {
            return "needs a valid reply to " + std::to_string(id);
        }
    }
    const SentRequest query = Send(run, host, APPLIST_GET_SELECTION_FNC);
    if (!query.problem.empty()) {
        return needsQuery;
    }
    if (!HasSelection(query)) {
        return "the reply to 2001 does not contain the item that 2000 selected";
    }
    return FindInList(run, host, SELECTED.id);
}

// @param unfilled why the partner may have had no list and no selection before; empty with both
void CheckEmptied(CheckRun& run, BareHost& host, const std::string& unfilled, const char* when) {
    const bool isHidden = unfilled == HIDDEN_LIST;
    if (!unfilled.empty() && !isHidden) {
        run.list.Skip(Duty::EmptiesItsList, unfilled);
        return;
    }
    const SentRequest query = Send(run, host, APPLIST_GET_SELECTION_FNC);
    if (!query.problem.empty()) {
        return;
    }
    if (HasSelection(query)) {
        run.list.Break(Duty::EmptiesItsList,
                       "the old selection is the reply to 2001 " + std::string(when));
    } else if (isHidden) {
        run.list.Skip(Duty::EmptiesItsList, unfilled);
    } else {
        run.list.Record(Duty::EmptiesItsList, !IsListed(run, host, SELECTED.id),
                        "with the same and with the next host",
                        "the old item is still in the list " + std::string(when));
    }
}

// The host has made a new list on its connection.
void CheckSynAgain(CheckRun& run, BareHost& host) {
    const std::string unfilled = FillList(run, host);
    const std::size_t before = host.Seen().CountNotifications(APPLIST_LOCAL_CREATED_EVENT);
    host.ClearSteps();
    host.Announce("_SYN");
    if (!CheckStep(run, Duty::AnswersSynAgain, host, "_SYN_ACK", "during a second _CLIENT_SYN")) {
        return;
    }
    host.Announce("_ACK");
    if (run.list.IsBroken(ChecklistRow(APPLIST_LOCAL_CREATED_EVENT))) {
        WaitFor(SILENCE_S);
    } else if (!CheckListRequested(run, host, before + 1, "after a second _CLIENT_SYN")) {
        return;
    }
    CheckEmptied(run, host, unfilled, "after a second _CLIENT_SYN");
}

void CheckSecondHost(CheckRun& run, BareHost& first) {
    if (run.isAway) {
        return;
    }
    BareHost second;
    second.Announce("_SYN");
    const bool answered = second.WaitForStep("_SYN_ACK", SILENCE_S);
    run.list.Record(
        Duty::KeepsItsHost, !answered, "no answer to _CLIENT_SYN of " + second.UniqueName(),
        "_SERVICE_SYN_ACK for " + second.UniqueName() + ", beside its host " + first.UniqueName());
}

// @return why the next host may find no selection; empty with a selection
std::string CheckFirstHost(CheckRun& run, BareHost& host) {
    AnnounceSlowly(run, host);
    if (!CheckStep(run, Duty::AnswersSyn, host, "_SYN_ACK", "during _CLIENT_SYN")) {
        return "the partner is not bound to the host";
    }
    run.list.Pass(Duty::WaitsForTheRelease,
                  "no answer for " + InMilliseconds(SILENCE_S) + " while _CLIENT_SYN was owned");
    CheckServesAtOnce(run, host);
    host.Announce("_ACK");
    CheckListRequested(run, host, 1, "with the partner started first");
    CheckCrossed(run, host);
    CheckSynAgain(run, host);
    std::string unfilled = FillList(run, host);
    CheckSecondHost(run, host);
    return unfilled;
}

void CheckNames(CheckRun& run, BareHost& host) {
    for (const char* const suffix : {"_SYN", "_SYN_ACK", "_ACK"}) {
        const std::string owner = FindHolder(host, suffix);
        if (!owner.empty()) {
            run.list.Break(Duty::ReleasesNames,
                           owner + " owns _SERVICE" + suffix + " and does not release it");
        }
    }
}

bool Find(CheckRun& run, BareHost& host) {
    if (run.partner.IsGiven()) {
        if (StartPartner(run, host)) {
            AnswerPartnersSyn(run, host);
            return true;
        }
        EndIfCommandFailed(run);
        FailStep(run, host, Duty::AnnouncesItself, "_SYN", "at its start",
                 NotWithin("_SERVICE_SYN", run.StartLimit()) + " from the command of --restart" +
                     run.partner.DescribeEnd());
    }
    host.Announce("_SYN");
    if (host.WaitForStep("_SYN_ACK", run.limit)) {
        return true;
    }
    const bool mayBeLater = host.HasSeen("_SYN");
    host.Announce("_SYN_ACK");
    if (host.WaitForStep("_ACK", run.limit)) {
        if (!mayBeLater) { // the partner was on the bus at this announcement, and is free
            Fail(run, host, Duty::AnswersSyn, "during _CLIENT_SYN",
                 NotWithin("_SERVICE_SYN_ACK", run));
        }
        return true;
    }
    run.candidates = OtherHosts::DescribeCandidates(host.Connection(), run.limit);
    if (run.candidates.empty() && !run.partner.IsGiven() && StartPartner(run, host)) {
        AnswerPartnersSyn(run, host);
        return true;
    }
    CheckNames(run, host);
    return false;
}

// One start of both sides. @return whether the host is ready
bool StartTogether(CheckRun& run, double hostStart) {
    run.partner.Stop(); // before the new host starts, which it would find
    BareHost host;
    host.FollowHandshake();
    run.partner.Run();
    WaitUntil([&] { return host.HasSeen("_SYN"); }, hostStart);
    host.Announce("_SYN");
    return WaitUntil([&] { return host.IsReady(); }, run.StartLimit());
}

// The two first announcements cross: neither side has received the other's.
bool StartCrossed(CheckRun& run) {
    run.partner.Stop();
    BareHost host;
    run.partner.Run();
    if (!host.WaitForStep("_SYN", run.StartLimit())) {
        return false;
    }
    host.Announce("_SYN");
    if (!host.WaitForStep("_SYN_ACK", run.limit)) {
        return false;
    }
    host.Announce("_SYN_ACK");
    return host.WaitForStep("_ACK", run.limit);
}

} // namespace

HostPointer HandshakeCheck::FindPartner(CheckRun& run) {
    auto host = NewHost(run);
    const bool found = Find(run, *host);
    RecordTraffic(run, host->Seen());
    return found ? std::move(host) : nullptr;
}

HostPointer HandshakeCheck::CheckHosts(CheckRun& run, HostPointer host) {
    host = FreshHost(run, std::move(host));
    if (run.isAway) {
        return host;
    }
    std::string unfilled = CheckFirstHost(run, *host);
    for (const Duty duty : {Duty::AnswersWhenBound, Duty::AnswersSynAgain, Duty::WaitsForTheRelease,
                            Duty::KeepsItsHost}) {
        run.list.Skip(duty, "the partner is not bound to the host");
    }
    RecordTraffic(run, host->Seen());
    host = FreshHost(run, std::move(host));
    if (!run.isAway && AnswerPartnersSyn(run, *host)) {
        if (run.list.IsBroken(Duty::AnnouncesItselfAgain)) {
            unfilled = "the partner was restarted for the next host";
        }
        CheckEmptied(run, *host, unfilled, "of the next host");
    }
    RecordTraffic(run, host->Seen());
    if (!run.isAway) {
        CheckNames(run, *host);
        run.list.Pass(Duty::ReleasesNames, "the three names have no owner");
    }
    return host;
}

// The start of a partner takes some time. Each run starts the host at another moment of it.
HostPointer HandshakeCheck::CheckStartsTogether(CheckRun& run, HostPointer host) {
    for (const Duty duty : {Duty::AnnouncesItself, Duty::ReleasesNames, Duty::AnswersSyn,
                            Duty::AnswersSynAck, Duty::AnswersWhenBound}) {
        if (run.list.IsBroken(duty)) {
            run.list.Skip(Duty::StartsTogether, "needs the answers above");
            return host;
        }
    }
    host.reset();
    double startTime = 0;
    run.partner.Stop();
    run.isAway = true; // the next host starts it
    {
        BareHost observer;
        const auto start = Clock::now();
        run.partner.Run();
        if (!observer.WaitForStep("_SYN", run.StartLimit())) {
            EndIfCommandFailed(run);
            run.list.Skip(Duty::StartsTogether, "the partner does not announce itself");
            run.partner.Stop();
            return nullptr;
        }
        startTime = SecondsSince(start);
    }
    int found = StartCrossed(run) ? 1 : 0;
    for (int i = 1; i < STARTS_TOGETHER; ++i) {
        found += StartTogether(run, startTime * i / (STARTS_TOGETHER - 1)) ? 1 : 0;
    }
    const std::string count =
        std::to_string(found) + " of " + std::to_string(STARTS_TOGETHER) + " starts";
    run.list.Record(Duty::StartsTogether, found == STARTS_TOGETHER, count, count);
    run.partner.Stop();
    return nullptr;
}

} // namespace applistctl
