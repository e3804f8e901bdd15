#include <check/CheckRun.h>

#include <applist/MessageIds.h>

namespace {

const ListedItem FIRST = {"First", "check.first"};
const ListedItem SECOND = {"Second", "check.second"};
const ListedItem THIRD = {"Third", "check.third"};
const ListedItem CHANGED = {"First, changed", "check.changed"};

std::string Quote(const std::vector<char>& bytes) {
    return bytes.empty()
               ? "nothing"
               : "\"" + ItemListing::Printable(std::string(bytes.begin(), bytes.end())) + "\"";
}

std::string RecordOf(const ListedItem& item) {
    return item.name + "\n" + item.id + "\n";
}

// Asks one host's requests one after the other.
class RequestSender {
public:
    RequestSender(CheckRun& run, BareHost& host) : m_run(run), m_host(host) {}

    std::vector<char> Send(AppListRequest id, const std::vector<ListedItem>& items) {
        const SentRequest request = m_host.SendRequest(id, items, m_run.limit);
        m_run.list.Record(ChecklistRow(id), request.problem.empty(),
                          "in " + InMilliseconds(request.seconds), request.problem);
        m_answered = request.problem.empty();
        return request.reply;
    }

    /** The selection is @p item; null for none. @param after what has made it so */
    void ExpectSelection(const ListedItem* item, const char* after) {
        const std::vector<char> answer = Send(APPLIST_GET_SELECTION_FNC, {});
        if (!m_answered) {
            m_run.list.Skip(Duty::RepliesWithTheSelection, "2001 has no good answer");
            return;
        }
        const std::string wanted = item != nullptr ? RecordOf(*item) : "";
        m_run.list.Record(
            Duty::RepliesWithTheSelection, std::string(answer.begin(), answer.end()) == wanted,
            "byte for byte, and with nothing for none",
            Quote(answer) + " after " + after + ", not " + Quote({wanted.begin(), wanted.end()}));
    }

    /** Another one may be selected, or none. */
    void ExpectNotSelected(const ListedItem& gone, const char* after) {
        const std::vector<char> answer = Send(APPLIST_GET_SELECTION_FNC, {});
        if (!m_answered) {
            m_run.list.Skip(Duty::DropsARemovedSelection, "2001 has no good answer");
            return;
        }
        const bool isGone =
            std::string(answer.begin(), answer.end()).find("\n" + gone.id) == std::string::npos;
        m_run.list.Record(Duty::DropsARemovedSelection, isGone, "after 2008 and 2007",
                          Quote(answer) + " after " + after);
    }

private:
    CheckRun& m_run;
    BareHost& m_host;
    bool m_answered = false;
};

} // namespace

void RequestCheck::Check(CheckRun& run, BareHost& host) {
    RequestSender sender(run, host);
    sender.Send(APPLIST_ADD_ITEMS_FNC, {FIRST, SECOND});
    sender.Send(APPLIST_SET_SELECTION_FNC, {FIRST});
    sender.ExpectSelection(&FIRST, "2000 selected it");
    sender.Send(APPLIST_ADD_ITEM_AT_END_FNC, {THIRD});
    sender.Send(APPLIST_SET_CLICKED_FNC, {THIRD});
    sender.Send(APPLIST_SET_SELECTION_FNC, {THIRD});
    sender.ExpectSelection(&THIRD, "2000 selected it");
    sender.Send(APPLIST_REMOVE_ITEM_FNC, {THIRD});
    sender.ExpectNotSelected(THIRD, "2007 removed it");
    sender.Send(APPLIST_SET_SELECTION_FNC, {FIRST});
    sender.Send(APPLIST_MODIFY_ITEM_FNC, {FIRST, CHANGED});
    sender.ExpectNotSelected(FIRST, "2008 replaced it");
    sender.Send(APPLIST_SET_SELECTION_FNC, {SECOND});
    sender.Send(APPLIST_REMOVE_ALL_ITEMS_FNC, {});
    sender.ExpectSelection(nullptr, "2003 emptied the list");
}

void RecordTraffic(CheckRun& run, const Traffic& traffic) {
    if (!traffic.SentRequests().empty()) {
        run.list.Pass(Duty::SendsNoRequestMeanwhile,
                      "no Send to us while one of ours was unanswered");
    }
    for (const ReceivedRequest& request : traffic.ReceivedRequests()) {
        if (!request.during.empty()) {
            run.list.Break(Duty::SendsNoRequestMeanwhile, "a Send to us during " + request.during);
        }
    }
    std::size_t count = 0;
    for (const Notification& notification : traffic.Notifications()) {
        if (!notification.problem.empty()) {
            run.list.Break(Duty::NotifiesItsHostOnly, "one is wrong: " + notification.problem);
        }
        ++count;
    }
    if (count > 0) {
        run.list.Pass(Duty::NotifiesItsHostOnly, "all that came");
    }
}
