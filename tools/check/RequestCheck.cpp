#include <check/CheckRun.h>

#include <applist/MessageIds.h>

namespace applistctl {

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

// Sends the requests of one host, and records the replies.
class RequestSender {
public:
    RequestSender(CheckRun& run, BareHost& host) : m_run(run), m_host(host) {}

    std::vector<char> Send(AppListRequest id, const std::vector<ListedItem>& items) {
        const SentRequest request = m_host.SendRequest(id, items, m_run.limit);
        m_run.list.Record(ChecklistRow(id), request.problem.empty(),
                          "in " + InMilliseconds(request.seconds), request.problem);
        m_hasReply = request.problem.empty();
        return request.reply;
    }

    /** Expects @p item as the selection; null for none. @param after the reason, for the report */
    void ExpectSelection(const ListedItem* item, const char* after) {
        const std::vector<char> reply = Send(APPLIST_GET_SELECTION_FNC, {});
        if (!m_hasReply) {
            m_run.list.Skip(Duty::RepliesWithTheSelection, "no valid reply to 2001");
            return;
        }
        const std::string wanted = item != nullptr ? RecordOf(*item) : "";
        m_run.list.Record(
            Duty::RepliesWithTheSelection, std::string(reply.begin(), reply.end()) == wanted,
            "byte for byte, and empty without a selection",
            Quote(reply) + " after " + after + ", not " + Quote({wanted.begin(), wanted.end()}));
    }

    /** Expects another selection, or none. */
    void ExpectNotSelected(const ListedItem& gone, const char* after) {
        const std::vector<char> reply = Send(APPLIST_GET_SELECTION_FNC, {});
        if (!m_hasReply) {
            m_run.list.Skip(Duty::DropsARemovedSelection, "no valid reply to 2001");
            return;
        }
        const bool isGone =
            std::string(reply.begin(), reply.end()).find("\n" + gone.id) == std::string::npos;
        m_run.list.Record(Duty::DropsARemovedSelection, isGone, "after 2008 and 2007",
                          Quote(reply) + " after " + after);
    }

private:
    CheckRun& m_run;
    BareHost& m_host;
    bool m_hasReply = false;
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
        run.list.Pass(Duty::SendsNoRequestMeanwhile, "no Send to the host while a reply was due");
    }
    for (const ReceivedRequest& request : traffic.ReceivedRequests()) {
        if (!request.during.empty()) {
            run.list.Break(Duty::SendsNoRequestMeanwhile,
                           "a Send to the host during " + request.during);
        }
    }
    std::size_t count = 0;
    for (const Notification& notification : traffic.Notifications()) {
        if (!notification.problem.empty()) {
            run.list.Break(Duty::NotifiesItsHostOnly,
                           "a wrong notification: " + notification.problem);
        }
        ++count;
    }
    if (count > 0) {
        run.list.Pass(Duty::NotifiesItsHostOnly, std::to_string(count) + " seen");
    }
}

} // namespace applistctl
