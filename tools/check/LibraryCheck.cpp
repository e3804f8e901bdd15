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

// Waits until the partner has requested the list and answered the list and the selection.
bool WaitUntilFilled(CheckRun& run, const Traffic& traffic, std::size_t fills, double seconds) {
    return WaitUntil(
               [&] { return traffic.CountNotifications(APPLIST_LOCAL_CREATED_EVENT) >= fills; },
               seconds) &&
           WaitUntil([&] { return CountAnswered(traffic, APPLIST_SET_SELECTION_FNC) >= fills; },
                     run.limit);
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
    run.list.Record(Duty::WorksWithTheLibrary, problem.empty(),
                    Counted(count, "operation") + ", the slowest " + InMilliseconds(slowest),
                    problem.empty() ? problem : problem + run.partner.DescribeEnd());
    return problem.empty();
}

void CheckRestart(CheckRun& run, const Traffic& traffic) {
    if (run.list.IsBroken(Duty::AnnouncesItself) || run.list.IsBroken(Duty::AnswersSynAck)) {
        run.list.Skip(Duty::ReconnectsAfterARestart, "needs _SERVICE_SYN and _SERVICE_ACK");
        return;
    }
    const std::size_t fills = CountAnswered(traffic, APPLIST_SET_SELECTION_FNC);
    const std::size_t created = traffic.CountNotifications(APPLIST_LOCAL_CREATED_EVENT);
    double seconds = run.StartLimit();
    if (run.partner.IsGiven()) {
        run.partner.Run();
    } else if (run.wait > 0) {
        run.ask("Please restart the partner, within " + InSeconds(run.wait) + ".");
        seconds = run.wait;
    } else {
        run.list.Skip(Duty::ReconnectsAfterARestart, "no restart requested (--restart, --wait)");
        return;
    }
    const bool asked = WaitUntil(
        [&] { return traffic.CountNotifications(APPLIST_LOCAL_CREATED_EVENT) > created; }, seconds);
    if (!asked) {
        EndIfCommandFailed(run);
    }
    const bool filled =
        asked &&
        WaitUntil([&] { return CountAnswered(traffic, APPLIST_SET_SELECTION_FNC) > fills; },
                  run.limit);
    if (!asked && !run.partner.IsGiven()) {
        run.list.Skip(Duty::ReconnectsAfterARestart, "no restart within " + InSeconds(seconds));
    } else {
        run.list.Record(Duty::ReconnectsAfterARestart, filled, "list and selection sent again",
                        "the list was not requested and answered within " + InSeconds(seconds));
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
bool Drive(CheckRun& run, const Traffic& traffic, const std::string& action,
           const std::string& item, AppListNotification id) {
    const std::size_t before = traffic.CountNotifications(id);
    const std::string problem = run.drive.Run(action, item);
    if (!problem.empty()) {
        run.list.Break(ChecklistRow(id), problem);
        return false;
    }
    const bool hasCome = WaitForNext(run, traffic, id, before);
    run.list.Record(ChecklistRow(id), hasCome, "after \"" + action + " " + item + "\"",
                    NotWithin("notification " + std::to_string(static_cast<int>(id)), run) +
                        " of \"" + action + " " + item + "\"");
    return hasCome;
}

// The command of --drive is the user.
void DriveUserActions(CheckRun& run, LibraryHost& host, const Traffic& traffic) {
    const int before = host.Selections();
    if (Drive(run, traffic, "select", "check.photos", APPLIST_ITEM_SELECTION_EVENT)) {
        WaitUntil([&] { return host.Selections() > before; }, run.limit);
        run.list.Record(ChecklistRow(APPLIST_ITEM_SELECTION_EVENT), host.Selection() == "Photos",
                        "the library selected Photos",
                        "the library selected " + host.Selection() + ", not Photos");
    }
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
    // Never deleted, as in every host. Its output without a partner is discarded.
    static LibraryHost* host = nullptr;
    {
        const CapturedOutput unread(STDOUT_FILENO, [](const std::string&) {});
        host = new LibraryHost();
    }
    if (!WaitUntilFilled(run, traffic, 1, run.limit)) {
        run.list.Break(Duty::WorksWithTheLibrary,
                       "the list was not requested and answered within " + InSeconds(run.limit) +
                           run.partner.DescribeEnd());
        return;
    }
    if (CheckOperations(run, *host, traffic)) {
        run.drive.IsGiven() ? DriveUserActions(run, *host, traffic)
                            : CheckUserActions(run, *host, traffic);
        CheckRestart(run, traffic);
    }
    RecordTraffic(run, traffic);
}

} // namespace applistctl
