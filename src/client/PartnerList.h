// The list as the partner has received it: the library's model, its items, and the requests that
// change both.
#ifndef APPLIST_CLIENT_PARTNERLIST_H
#define APPLIST_CLIENT_PARTNERLIST_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <applist/ItemChangeListener.h>
#include <applist/ItemClickListener.h>
#include <applist/ItemSelectionListener.h>
#include <applist/RemoteAppListModel.h>
#include <client/ListDifference.h>
#include <client/ModelItem.h>
#include <client/RequestQueue.h>
#include <ipc/ChannelObserver.h>

namespace applist_internal {

/** Receives the reports of a PartnerList, most on the thread that iterates its main context. */
class PartnerListObserver {
public:
    /** May also be called on the resend thread. */
    virtual void OnConnection(bool ready) = 0;
    /** @param uniqueId empty without a selection */
    virtual void OnSelection(const std::string& uniqueId) = 0;
    virtual void OnChange() = 0;
    virtual void OnClick() = 0;
    /**
     * A change has been made. Called on the thread that made it, before the next notification.
     * @param selection the unique id of the selection; empty without one
     */
    virtual void OnMade(const std::string& selection) = 0;
    /**
     * A DIFFERENCE begins, before the next notification. Called on the thread that makes it.
     * @param items receives the wanted items
     * @param selection receives the unique id of the wanted selection; empty for none
     */
    virtual void OnDifferenceBegin(SharedItems& items, std::string& selection) = 0;
    /** The partner's list may differ: REFILL must be the next change. */
    virtual void OnRefillNeeded() = 0;
    /** The partner did not report its selection: the host's selection must be sent again. */
    virtual void OnSelectionUnknown() = 0;

protected:
    ~PartnerListObserver() = default;
};

/** The outcome of the requests of one change. */
struct RequestResult {
    AppListClient::Outcome outcome = AppListClient::ANSWERED;
    std::string reason;
};

/**
 * A change and the handling of a notification never overlap. Otherwise a new partner could receive
 * the whole list before a removal and process it after the removal, and a queried selection could
 * be older than a selection of the host.
 */
class PartnerList final : private ChannelObserver,
                          private ItemSelectionListener,
                          private ItemChangeListener,
                          private ItemClickListener {
public:
    explicit PartnerList(PartnerListObserver& observer) : m_observer(observer) {}

    /** Joins the bus and fills the model. Called on the thread that iterates the main context. */
    void Connect();
    /** Leaves the bus; the items stay. Called on the same thread. */
    void Disconnect();

    /** Makes the requests of @p change, each of which waits for its reply. */
    RequestResult Make(const ListChange& change);

    /** The change under way ends after its current request. */
    void Abandon() { m_isAbandoned = true; }

private:
    void OnConnection(bool ready) override { m_observer.OnConnection(ready); }
    void OnRequestEnd(Outcome outcome, const char* reason) override;
    void OnNotificationBegin() override;
    void OnNotificationEnd() override;
    void OnItemSelectionEvent(AppListModel* model) override;
    void OnItemChangeEvent(AppListModel* /*model*/) override { m_observer.OnChange(); }
    void OnItemClickedEvent(AppListModel* /*model*/) override { m_observer.OnClick(); }

    void MakeOne(const ListChange& change);
    void Set(const SharedItems& items);
    void MakeDifference();
    void Refill();
    void SetItems(const SharedItems& items, const std::string& removed);
    void MakeStep(const ListStep& step);
    void Append(const SharedItems& items);
    void AppendTogether(const SharedItems& items);
    void AppendOne(const SharedItem& item);
    void Remove(std::size_t index);
    void Modify(std::size_t index, const SharedItem& item);
    void RemoveAll();
    void Select(const std::string& uniqueId);
    void Click(const SharedItem& item);

    std::unique_lock<std::mutex> Exclusive();
    void RequestWithoutModel();
    std::string Selection();
    std::size_t IndexOf(const std::string& uniqueId) const;

    PartnerListObserver& m_observer;
    // Held while a thread waits for m_exclusive, so that neither side can overtake the other
    // repeatedly.
    std::mutex m_next;
    // Held during a change and during the handling of a notification, also while they wait for the
    // partner. Guards the following fields.
    std::mutex m_exclusive;
    std::unique_ptr<RemoteAppListModel> m_model; // null without a bus
    SharedItems m_items;
    ModelSearch m_search;
    std::vector<std::unique_ptr<ModelItem>> m_modelItems; // of m_items, in the same order
    std::string m_selectionWithoutModel;
    RequestResult m_result;
    std::chrono::steady_clock::time_point m_lastEdit;
    bool m_isEdit = false;
    bool m_isInNotification = false;
    bool m_isPush = false;
    bool m_isSoonAfterEdit = false;
    bool m_hasQueryFailed = false;
    std::atomic<bool> m_isAbandoned{false};
};

} // namespace applist_internal

#endif
