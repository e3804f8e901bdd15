#include <check/CheckRun.h>

#include <iterator>
#include <utility>

#include <applist/MessageIds.h>
#include <ipc/MessageFraming.h>
#include <shared/Protocol.h>

namespace applistctl {

namespace {

constexpr std::int32_t UNKNOWN_ID = 2999;

std::string TextOf(const SentRequest& request) {
    return {request.reply.begin(), request.reply.end()};
}

std::string Quote(const std::string& bytes) {
    return bytes.empty() ? "nothing" : "\"" + bytes + "\"";
}

std::string RecordOf(const ListedItem& item) {
    return item.name + "\n" + item.id + "\n";
}

// Tolerates a reply with a missing end, which another duty reports.
bool Names(const std::string& reply, const std::string& id) {
    return reply.find("\n" + id) != std::string::npos;
}

// Sends the requests of one host after the other. Each step has items of its own, so that a fault
// of one step does not affect the following steps.
class RequestSender {
public:
    RequestSender(CheckRun& run, HostPointer host) : m_run(run), m_host(std::move(host)) {}

    HostPointer TakeHost() { return std::move(m_host); }

    /** Connects a new host after the loss of the partner. @return false without a partner */
    bool IsConnected() {
        if (!m_run.isAway) {
            return true;
        }
        RecordTraffic(m_run, m_host->Seen());
        m_host = FreshHost(m_run, std::move(m_host));
        return Connect(m_run, *m_host);
    }

    /** Sends a request, and records its reply. */
    SentRequest Send(AppListRequest id, const std::vector<ListedItem>& items = {}) {
        SentRequest request;
        if (!m_run.list.IsBroken(ChecklistRow(id))) {
            request = applistctl::Send(m_run, *m_host, id, items);
        } else {
            request.problem = "not sent"; // each missing reply costs the whole limit
        }
        if (request.problem.empty()) {
            m_run.list.Pass(ChecklistRow(id), "in " + InMilliseconds(request.seconds));
        } else if (!m_run.isAway) {
            m_run.list.Break(ChecklistRow(id), request.problem);
        } else {
            m_run.list.Skip(ChecklistRow(id), m_run.absence);
        }
        return request;
    }

    bool Succeeds(AppListRequest id, const std::vector<ListedItem>& items = {}) {
        return Send(id, items).problem.empty();
    }

    /** @return whether the partner selects @p item, as its reply to 2001 */
    bool Selects(const ListedItem& item) {
        return Succeeds(APPLIST_SET_SELECTION_FNC, {item}) &&
               Names(TextOf(Send(APPLIST_GET_SELECTION_FNC)), item.id);
    }

    /** Expects @p item as the selection; null for none. @param after the reason, for the report */
    void ExpectSelection(const ListedItem* item, const char* after) {
        const SentRequest query = Send(APPLIST_GET_SELECTION_FNC);
        if (!query.problem.empty()) {
            m_run.list.Skip(Duty::RepliesWithTheSelection, "no valid reply to 2001");
            return;
        }
        const std::string wanted = item != nullptr ? RecordOf(*item) : "";
        m_run.list.Record(Duty::RepliesWithTheSelection, TextOf(query) == wanted,
                          "byte for byte, and empty without a selection",
                          Quote(TextOf(query)) + " after " + after + ", not " + Quote(wanted));
    }

    /** Sends bytes that no host with the library sends. The reply and the partner are recorded. */
    void CheckBytes(Duty duty, const std::vector<char>& message, const std::string& what) {
        const SentRequest request = m_host->SendBytes(message, m_run.limit);
        if (!request.problem.empty()) {
            Fail(m_run, *m_host, duty, "during " + what, request.problem);
            return;
        }
        const SentRequest next = m_host->SendRequest(APPLIST_GET_SELECTION_FNC, {}, m_run.limit);
        if (!next.problem.empty()) {
            Fail(m_run, *m_host, duty, "after " + what, "2001 after it: " + next.problem);
        } else {
            m_run.list.Record(duty, request.reply.empty(), "and continues",
                              Quote(TextOf(request)) + " is the reply to " + what);
        }
    }

    void CheckSelection();
    void CheckRemoval();
    void CheckModification();
    void CheckKnownItems();
    void CheckAnyBytes();
    void CheckClear();

private:
    bool IsListed(const ListedItem& item) { return applistctl::IsListed(m_run, *m_host, item.id); }

    CheckRun& m_run;
    HostPointer m_host;
    /** Why FindInList() does not find a listed item; empty if it does. */
    std::string m_unreadable = "needs valid replies to 2004 and 2000";
    bool m_hasRemoved = false; ///< at 2007, from the list and from the selection
};

void RequestSender::CheckSelection() {
    const ListedItem first = {"First", "check.first"};
    const ListedItem second = {"Second", "check.second"};
    if (Succeeds(APPLIST_ADD_ITEMS_FNC, {first, second}) &&
        Succeeds(APPLIST_SET_SELECTION_FNC, {second})) {
        ExpectSelection(&second, "2000 selected it");
        m_unreadable = FindInList(m_run, *m_host, second.id);
    }
    m_run.unreadableList = m_unreadable;
    Send(APPLIST_SET_CLICKED_FNC, {first});
}

void RequestSender::CheckRemoval() {
    const ListedItem item = {"Third", "check.third"};
    if (!Succeeds(APPLIST_ADD_ITEM_AT_END_FNC, {item})) {
        m_run.list.Skip(Duty::RemovesItems, "needs a valid reply to 2005");
        return;
    }
    if (!Selects(item)) {
        m_run.list.Skip(Duty::RemovesItems, "the item is not selected before 2007");
        return;
    }
    if (!Succeeds(APPLIST_REMOVE_ITEM_FNC, {item})) {
        return;
    }
    const SentRequest query = Send(APPLIST_GET_SELECTION_FNC);
    if (!query.problem.empty()) {
        return;
    }
    if (Names(TextOf(query), item.id)) {
        m_run.list.Break(Duty::RemovesItems,
                         Quote(TextOf(query)) +
                             " after 2005 added it, 2000 selected it, and 2007 removed it");
    } else if (!m_unreadable.empty()) {
        m_run.list.Skip(Duty::RemovesItems, m_unreadable);
    } else if (IsListed(item)) {
        m_run.list.Break(Duty::RemovesItems, "the item is still in the list after 2007");
    } else {
        m_hasRemoved = true; // 2003 follows
    }
}

void RequestSender::CheckModification() {
    const ListedItem before = {"Fourth", "check.fourth"};
    const ListedItem after = {"Fourth, changed", "check.changed"};
    if (!Succeeds(APPLIST_ADD_ITEMS_FNC, {before})) {
        m_run.list.Skip(Duty::ReplacesItems, "needs a valid reply to 2004");
        return;
    }
    if (!Selects(before)) {
        m_run.list.Skip(Duty::ReplacesItems, "the item is not selected before 2008");
        return;
    }
    if (!Succeeds(APPLIST_MODIFY_ITEM_FNC, {before, after})) {
        return;
    }
    const SentRequest query = Send(APPLIST_GET_SELECTION_FNC);
    if (!query.problem.empty()) {
        return;
    }
    if (!Names(TextOf(query), after.id)) {
        m_run.list.Break(
            Duty::ReplacesItems,
            Quote(TextOf(query)) +
                " after 2004 added the item, 2000 selected it, and 2008 replaced it by " +
                after.id);
    } else if (!m_unreadable.empty()) {
        m_run.list.Skip(Duty::ReplacesItems, m_unreadable);
    } else {
        m_run.list.Record(Duty::ReplacesItems, IsListed(after) && !IsListed(before),
                          "by " + after.id,
                          "the list does not contain " + after.id + " in place of " + before.id);
    }
}

// A second item with the id is still there after 2007 has removed the first one, and the reply to
// 2001 has the name of the second one.
void RequestSender::CheckKnownItems() {
    if (!m_unreadable.empty()) {
        m_run.list.Skip(Duty::SkipsKnownItems, m_unreadable);
        return;
    }
    const ListedItem known = {"Fifth", "check.fifth"};
    const ListedItem again = {"Fifth, again", "check.fifth"};
    const ListedItem probe = {"Probe", "check.fifth"};
    if (!Succeeds(APPLIST_ADD_ITEMS_FNC, {known}) || !Succeeds(APPLIST_ADD_ITEMS_FNC, {again}) ||
        !Succeeds(APPLIST_REMOVE_ITEM_FNC, {known}) ||
        !Succeeds(APPLIST_SET_SELECTION_FNC, {probe})) {
        return;
    }
    const SentRequest query = Send(APPLIST_GET_SELECTION_FNC);
    if (query.problem.empty()) {
        m_run.list.Record(
            Duty::SkipsKnownItems, TextOf(query).find(again.name) == std::string::npos,
            "no second item after 2007", "a second item after 2004 with a known id and 2007");
    }
}

void RequestSender::CheckAnyBytes() {
    const ListedItem item = {"M\xfcnchen \xff", "check.\xfe\xff"};
    const SentRequest request = m_host->SendRequest(APPLIST_ADD_ITEMS_FNC, {item}, m_run.limit);
    if (!request.problem.empty()) {
        Fail(m_run, *m_host, Duty::AcceptsAnyBytes, "during 2004 with a name that is not UTF-8",
             request.problem);
        return;
    }
    const SentRequest selection =
        m_host->SendRequest(APPLIST_SET_SELECTION_FNC, {item}, m_run.limit);
    const SentRequest query = m_host->SendRequest(APPLIST_GET_SELECTION_FNC, {}, m_run.limit);
    if (!selection.problem.empty() || !query.problem.empty()) {
        Fail(m_run, *m_host, Duty::AcceptsAnyBytes, "after 2004 with a name that is not UTF-8",
             selection.problem + query.problem);
    } else if (m_run.list.IsBroken(Duty::RepliesWithTheSelection)) {
        m_run.list.Pass(Duty::AcceptsAnyBytes, "with a reply");
    } else {
        m_run.list.Record(
            Duty::AcceptsAnyBytes, Names(TextOf(query), item.id), "and replies with the same bytes",
            Quote(TextOf(query)) + " is the reply to 2001, not " + Quote(RecordOf(item)));
    }
}

void RequestSender::CheckClear() {
    const ListedItem item = {"Sixth", "check.sixth"};
    if (Succeeds(APPLIST_ADD_ITEMS_FNC, {item}) && Selects(item) &&
        Succeeds(APPLIST_REMOVE_ALL_ITEMS_FNC)) {
        ExpectSelection(nullptr, "2003 emptied the list");
        if (m_hasRemoved && !m_run.list.IsBroken(Duty::RepliesWithTheSelection)) {
            m_run.list.Record(Duty::RemovesItems, !IsListed(item), "at 2003 and at 2007",
                              "the item is still in the list after 2003");
        }
    } else if (!m_run.isAway && !m_run.list.HasPassed(ChecklistRow(APPLIST_REMOVE_ALL_ITEMS_FNC))) {
        Send(APPLIST_REMOVE_ALL_ITEMS_FNC);
    }
}

// The rows of requests that an earlier broken request has prevented.
void SendTheRest(CheckRun& run, RequestSender& sender) {
    const ListedItem item = {"Seventh", "check.seventh"};
    for (const RequestKind& kind : Protocol::REQUESTS) {
        if (!run.list.HasPassed(ChecklistRow(kind.id)) &&
            !run.list.IsBroken(ChecklistRow(kind.id)) && sender.IsConnected()) {
            sender.Send(kind.id, std::vector<ListedItem>(kind.minRecords, item));
        }
    }
}

std::vector<char> UnknownMessage() {
    std::vector<char> message;
    MessageFraming::AppendId(message, UNKNOWN_ID);
    return message;
}

void CheckAll(CheckRun& run, RequestSender& sender) {
    using Step = void (RequestSender::*)();
    for (const Step step : {&RequestSender::CheckSelection, &RequestSender::CheckRemoval,
                            &RequestSender::CheckModification, &RequestSender::CheckKnownItems,
                            &RequestSender::CheckClear}) {
        if (sender.IsConnected()) {
            (sender.*step)();
        }
    }
    SendTheRest(run, sender);
    if (run.list.IsBroken(ChecklistRow(APPLIST_GET_SELECTION_FNC)) ||
        run.list.IsBroken(ChecklistRow(APPLIST_ADD_ITEMS_FNC)) ||
        run.list.IsBroken(ChecklistRow(APPLIST_SET_SELECTION_FNC))) {
        return;
    }
    if (sender.IsConnected()) {
        sender.CheckAnyBytes();
    }
    if (sender.IsConnected()) {
        sender.CheckBytes(Duty::AnswersUnknownIds, UnknownMessage(),
                          "the unknown id " + std::to_string(UNKNOWN_ID));
    }
    if (sender.IsConnected()) {
        sender.CheckBytes(Duty::AnswersShortFrames, {1, 2, 3}, "a frame of 3 bytes");
    }
}

void SkipAll(CheckRun& run, const std::string& reason) {
    for (const RowText& row : Duties::AllRows()) {
        if (row.last == PHASE_REQUESTS && row.row.duty != Duty::SendsNotification) {
            run.list.Skip(row.row, reason);
        }
    }
}

} // namespace

HostPointer RequestCheck::Check(CheckRun& run, HostPointer host) {
    host = FreshHost(run, std::move(host));
    if (!Connect(run, *host)) {
        SkipAll(run, "the partner is not bound to a host");
        return host;
    }
    if (run.list.IsBroken(Duty::ServesAtOnce)) {
        SkipAll(run, "the partner has no communication object");
        return host;
    }
    RequestSender sender(run, std::move(host));
    CheckAll(run, sender);
    host = sender.TakeHost();
    RecordTraffic(run, host->Seen());
    SkipAll(run, "needs a request that is broken");
    return host;
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
    const std::vector<Notification> notifications = traffic.Notifications();
    for (const Notification& notification : notifications) {
        run.onNotifier(
            notification.sender); // before a notification of another process breaks a duty
    }
    for (const Notification& notification : notifications) {
        if (!notification.problem.empty()) {
            run.list.Break(Duty::NotifiesItsHostOnly,
                           "a wrong notification: " + notification.problem);
        } else if (notification.isBroadcast) {
            run.list.Weaken(Duty::NotifiesItsHostOnly,
                            "a broadcast: every process on the bus may receive it, and with it "
                            "the times of the user's actions");
        }
        ++count;
    }
    if (count > 0) {
        run.list.Pass(Duty::NotifiesItsHostOnly, std::to_string(count) + " seen");
    }
}

} // namespace applistctl
