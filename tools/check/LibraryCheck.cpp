#include <check/CheckRun.h>

#include <algorithm>
#include <functional>
#include <iterator>

#include <applist/AppListModel.h>
#include <applist/AppListProxy.h>
#include <applist/ItemSelectionListener.h>
#include <applist/MessageIds.h>
#include <host/HostItem.h>
#include <shared/CapturedOutput.h>
#include <shared/Counted.h>
#include <shared/Protocol.h>
#include <shared/Waiting.h>
#include <unistd.h>

namespace applistctl {

namespace {

// A host on the library, with a list of three items and a count of its selection events.
class LibraryHost : private ItemSelectionListener {
public:
    LibraryHost() {
        m_proxy.AddItemSelectionListener(this);
        m_proxy.AddItems({&m_clock, &m_music, &m_photos});
        m_proxy.SetSelection(&m_music);
    }

    LibraryHost(const LibraryHost&) = delete;
    LibraryHost& operator=(const LibraryHost&) = delete;

    /**
     * Leaves the list as it was. Each operation without a reply lasts 25 s.
     * @param continues called after each operation; returns false to omit the following ones
     * @return the number of all requests
     */
    std::size_t SendEachOperation(const std::function<bool()>& continues) {
        const std::function<void()> operations[] = {
            [this] { m_proxy.SetSelection(&m_clock); },
            [this] { m_proxy.AddItemAtEnd(&m_extra); },
            [this] { m_proxy.ModifyItem(&m_extra, &m_other); },
            [this] { m_proxy.RemoveItem(&m_other); },
            [this] { m_proxy.RemoveAllItems(); },
            [this] {
                m_proxy.AddItems({&m_clock, &m_music, &m_photos});
            },
            [this] { m_proxy.SetSelection(&m_music); },
        };
        for (const std::function<void()>& operation : operations) {
            operation();
            if (!continues()) {
                break;
            }
        }
        return std::size(operations);
    }

    bool HasSelection() { return m_proxy.GetSelection() != nullptr; }

    /** @return the name of the selected item, or "none" */
    std::string Selection() {
        AppListItem* const item = m_proxy.GetSelection();
        return item != nullptr ? item->GetVisibleName() : "none";
    }

    int Selections() const { return m_selections; }

private:
    void OnItemSelectionEvent(AppListModel* /*model*/) override { ++m_selections; }

    std::function<void()> m_onRead = [] {};
    HostItem m_clock{{"Clock", "check.clock"}, m_onRead};
    HostItem m_music{{"Music", "check.music"}, m_onRead};
    HostItem m_photos{{"Photos", "check.photos"}, m_onRead};
    HostItem m_extra{{"Extra", "check.extra"}, m_onRead};
    HostItem m_other{{"Other", "check.other"}, m_onRead};
    int m_selections = 0;
    AppListProxy m_proxy;
};

std::size_t CountAnswered(const Traffic& traffic, std::int32_t id) {
    const std::vector<SentRequest> all = traffic.SentRequests();
    return static_cast<std::size_t>(
        std::count_if(all.begin(), all.end(), [id](const SentRequest& one) {
            return one.id == id && one.hasReply && one.problem.empty();
        }));
}

// The steps of the partner that give it a list: its notification 4 and its replies.
class ListTransfer {
public:
    /** Counts the steps from now on. */
    explicit ListTransfer(const Traffic& traffic)
        : m_traffic(traffic),
          m_created(traffic.CountNotifications(APPLIST_LOCAL_CREATED_EVENT)),
          m_lists(CountAnswered(traffic, APPLIST_ADD_ITEMS_FNC)),
          m_selections(CountAnswered(traffic, APPLIST_SET_SELECTION_FNC)) {}

    /** Waits until the partner has requested the list. */
    bool WaitForCreated(double seconds) const {
        return WaitUntil(
            [&] { return m_traffic.CountNotifications(APPLIST_LOCAL_CREATED_EVENT) > m_created; },
            seconds);
    }

    /**
     * Waits until the partner has answered the list, and the selection if the host has one.
     * @return the missing reply; empty for none
     */
    std::string WaitForReplies(const CheckRun& run, bool hasSelection) const {
        std::string missing = WaitForReply(run, APPLIST_ADD_ITEMS_FNC, m_lists);
        if (missing.empty() && hasSelection) {
            missing = WaitForReply(run, APPLIST_SET_SELECTION_FNC, m_selections);
        }
        return missing;
    }

private:
    std::string WaitForReply(const CheckRun& run, AppListRequest id, std::size_t before) const {
        return WaitUntil([&] { return CountAnswered(m_traffic, id) > before; }, run.limit)
                   ? ""
                   : NotWithin("valid reply to " + std::to_string(id), run) +
                         " after notification 4";
    }

    const Traffic& m_traffic;
    const std::size_t m_created;
    const std::size_t m_lists;
    const std::size_t m_selections;
};

// A partner may reply to each request and drop the list.
void RecordTransfer(CheckRun& run, Duty duty, const std::string& evidence,
                    const std::string& problem) {
    if (problem.empty() && !run.unreadableList.empty()) {
        run.list.Skip(duty, run.unreadableList);
    } else {
        run.list.Record(duty, problem.empty(), evidence, problem);
    }
}

bool CheckOperations(CheckRun& run, LibraryHost& host, const Traffic& traffic) {
    const std::size_t before = traffic.SentRequests().size();
    const std::size_t count = host.SendEachOperation([&] {
        const std::vector<SentRequest> sent = traffic.SentRequests();
        return sent.empty() || sent.back().hasReply;
    });
    const std::vector<SentRequest> all = traffic.SentRequests();
    double slowest = 0;
    std::string problem;
    for (std::size_t i = before; i < all.size(); ++i) {
        slowest = std::max(slowest, all[i].seconds);
        problem = !all[i].hasReply         ? "no reply to " + std::to_string(all[i].id)
                  : all[i].problem.empty() ? problem
                                           : all[i].problem;
    }
    if (problem.empty() && all.size() - before != count) {
        problem = std::to_string(all.size() - before) + " of " + Counted(count, "operation") +
                  " reached the partner";
    }
    RecordTransfer(run, Duty::WorksWithTheLibrary,
                   Counted(count, "operation") + ", the slowest " + InMilliseconds(slowest),
                   problem.empty() ? problem : problem + run.partner.DescribeEnd());
    return problem.empty();
}

void CheckRestart(CheckRun& run, LibraryHost& host, const Traffic& traffic) {
    if (run.list.IsBroken(Duty::AnnouncesItself) || run.list.IsBroken(Duty::AnswersSynAck)) {
        run.list.Skip(Duty::ReconnectsAfterARestart, "needs _SERVICE_SYN and _SERVICE_ACK");
        return;
    }
    const ListTransfer transfer(traffic);
    const bool hasSelection = host.HasSelection();
    double seconds = run.StartLimit();
    if (run.partner.IsGiven()) {
        run.partner.Run();
    } else if (run.wait > 0) {
        run.ask("Please restart the partner, within " + InSeconds(run.wait) +
                ": the library must find it again.");
        seconds = run.wait;
    } else {
        run.list.Skip(Duty::ReconnectsAfterARestart, "no restart requested (--restart, --wait)");
        return;
    }
    const bool asked = transfer.WaitForCreated(seconds);
    if (!asked) {
        EndIfCommandFailed(run);
    }
    if (!asked && !run.partner.IsGiven()) {
        run.list.Skip(Duty::ReconnectsAfterARestart, "no restart within " + InSeconds(seconds));
    } else {
        const std::string problem = asked ? transfer.WaitForReplies(run, hasSelection)
                                          : NotWithin("notification 4", seconds);
        RecordTransfer(run, Duty::ReconnectsAfterARestart,
                       hasSelection ? "list and selection sent again"
                                    : "list sent again, by a host without a selection",
                       problem.empty() ? problem : problem + ", after a restart");
        run.list.Pass(Duty::AnnouncesItself, "seen by the library after the restart");
    }
}

// The partner sends notification 4 without its user, and the others for an action of its user.
bool NeedsTheUser(const NotificationKind& kind) {
    return kind.id != APPLIST_LOCAL_CREATED_EVENT;
}

bool HasSentAll(const LibraryHost& host, const Traffic& traffic) {
    return host.Selections() > 0 &&
           std::all_of(std::begin(Protocol::NOTIFICATIONS), std::end(Protocol::NOTIFICATIONS),
                       [&traffic](const NotificationKind& kind) {
                           return traffic.CountNotifications(kind.id) > 0;
                       });
}

void CheckUserActions(CheckRun& run, LibraryHost& host, const Traffic& traffic) {
    if (run.wait > 0) {
        run.ask("Please select an item in the partner, click an item, and change the list, "
                "within " +
                InSeconds(run.wait) + ".");
        WaitUntil([&] { return HasSentAll(host, traffic); }, run.wait);
    }
    const std::string reason =
        run.wait > 0 ? "none within " + InSeconds(run.wait) : "no action requested (--wait)";
    for (const NotificationKind& kind : Protocol::NOTIFICATIONS) {
        const std::size_t count = traffic.CountNotifications(kind.id);
        if (count == 0) {
            run.list.Skip(ChecklistRow(kind.id), reason);
        } else if (NeedsTheUser(kind)) {
            run.list.Pass(ChecklistRow(kind.id), std::to_string(count) + " seen");
        }
    }
    if (host.Selections() > 0) {
        run.list.Record(ChecklistRow(APPLIST_ITEM_SELECTION_EVENT),
                        CountAnswered(traffic, APPLIST_GET_SELECTION_FNC) > 0,
                        "the library selected " + host.Selection(),
                        "no valid reply to 2001 of the library");
    }
}

bool WaitForNext(CheckRun& run, const Traffic& traffic, std::int32_t id, std::size_t before) {
    return WaitUntil([&] { return traffic.CountNotifications(id) > before; }, run.limit);
}

// One action of the partner's user, and the notification that must follow.
// @return whether it has come; otherwise the row is broken
bool Act(CheckRun& run, const Traffic& traffic, const std::string& action, const std::string& item,
         AppListNotification id) {
    const std::size_t before = traffic.CountNotifications(id);
    const std::string problem = run.drive.Run(action, item);
    if (!problem.empty()) {
        run.list.Break(ChecklistRow(id), problem);
        return false;
    }
    const bool hasCome = WaitForNext(run, traffic, id, before);
    if (!hasCome) {
        run.list.Break(ChecklistRow(id),
                       NotWithin("notification " + std::to_string(static_cast<int>(id)), run) +
                           " of \"" + action + " " + item + "\"");
    }
    return hasCome;
}

void Drive(CheckRun& run, const Traffic& traffic, const std::string& action,
           const std::string& item, AppListNotification id) {
    if (Act(run, traffic, action, item, id)) {
        run.list.Pass(ChecklistRow(id), "after \"" + action + " " + item + "\"");
    }
}

// The last reply to 2001.
std::string SelectionIn(const Traffic& traffic) {
    std::string reply;
    for (const SentRequest& request : traffic.SentRequests()) {
        if (request.id == APPLIST_GET_SELECTION_FNC && request.hasReply) {
            reply.assign(request.reply.begin(), request.reply.end());
        }
    }
    return reply;
}

// Until the host has sent its list for each notification 4 that has arrived.
void HandleNotifications() {
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

// After a notification 4, the host sends its own selection in place of the user's.
bool ActUndisturbed(CheckRun& run, const Traffic& traffic, const std::string& action,
                    const std::string& item, AppListNotification id) {
    constexpr int ATTEMPTS = 3;
    bool isUndisturbed = false;
    for (int i = 0; i < ATTEMPTS && !isUndisturbed; ++i) {
        HandleNotifications();
        const std::size_t before = traffic.CountNotifications(APPLIST_LOCAL_CREATED_EVENT);
        if (!Act(run, traffic, action, item, id)) {
            return false;
        }
        isUndisturbed = traffic.CountNotifications(APPLIST_LOCAL_CREATED_EVENT) == before;
    }
    return true;
}

// A wrong reply to 2001, which breaks a duty of its own, may hide the selection from the library.
void DriveSelection(CheckRun& run, LibraryHost& host, const Traffic& traffic) {
    const ChecklistRow row(APPLIST_ITEM_SELECTION_EVENT);
    const std::size_t notifiedBefore = traffic.CountNotifications(APPLIST_ITEM_SELECTION_EVENT);
    const auto selectedBefore = static_cast<std::size_t>(host.Selections());
    if (!ActUndisturbed(run, traffic, "select", "check.photos", APPLIST_ITEM_SELECTION_EVENT)) {
        return;
    }
    const std::size_t notified =
        traffic.CountNotifications(APPLIST_ITEM_SELECTION_EVENT) - notifiedBefore;
    WaitUntil(
        [&] { return static_cast<std::size_t>(host.Selections()) >= selectedBefore + notified; },
        run.limit);
    const std::string reply = SelectionIn(traffic);
    if (host.Selection() == "Photos") {
        run.list.Pass(row, "the library selected Photos");
    } else if (!run.list.IsBroken(Duty::RepliesWithTheSelection)) {
        run.list.Break(row, "the library selected " + host.Selection() + ", not Photos, for \"" +
                                reply + "\" as the reply to 2001");
    } else if (reply.find("\ncheck.photos") != std::string::npos) {
        run.list.Pass(row, "the reply to 2001, whose end is wrong, contains check.photos");
    } else {
        run.list.Skip(row, "needs the selected item's bare record as the reply to 2001");
    }
}

// The command of --drive is the user.
void DriveUserActions(CheckRun& run, LibraryHost& host, const Traffic& traffic) {
    DriveSelection(run, host, traffic);
    Drive(run, traffic, "click", "check.clock", APPLIST_ITEM_CLICKED_EVENT);
    Drive(run, traffic, "change", "check.music", APPLIST_ITEM_CHANGE_EVENT);
    Drive(run, traffic, "remove", "check.clock", APPLIST_ITEM_CHANGE_EVENT);
}

} // namespace

void LibraryCheck::Check(CheckRun& run) {
    SystemBus bus([](const std::string&) {});
    if (bus.Connection() == nullptr) {
        run.list.Skip(Duty::WorksWithTheLibrary, "no bus: " + bus.Problem());
        return;
    }
    const Traffic traffic(bus.Connection());
    const ListTransfer transfer(traffic);
    // Never deleted, as in every host. Its output without a partner is discarded.
    static LibraryHost* host = nullptr;
    {
        const CapturedOutput unread(STDOUT_FILENO, [](const std::string&) {});
        host = new LibraryHost();
    }
    const std::string problem = transfer.WaitForCreated(run.limit)
                                    ? transfer.WaitForReplies(run, true)
                                    : NotWithin("notification 4", run);
    if (!problem.empty()) {
        run.list.Break(Duty::WorksWithTheLibrary, problem + run.partner.DescribeEnd());
        return;
    }
    if (CheckOperations(run, *host, traffic)) {
        run.drive.IsGiven() ? DriveUserActions(run, *host, traffic)
                            : CheckUserActions(run, *host, traffic);
        CheckRestart(run, *host, traffic);
    }
    RecordTraffic(run, traffic);
}

} // namespace applistctl
