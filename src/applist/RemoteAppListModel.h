// The host's side of the application list: the items, the selection and the listeners, the requests
// to the partner and the events of the partner.
#ifndef APPLIST_APPLIST_REMOTEAPPLISTMODEL_H
#define APPLIST_APPLIST_REMOTEAPPLISTMODEL_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <applist/AppListItem.h>
#include <applist/AppListModel.h>
#include <applist/ListenerList.h>
#include <applist/RemoteAppListItem.h>
#include <common/PTMutex.h>
#include <ipc/IPCApplist.h>
#include <ipc/javamw-dbus-remote.h>

/** Whether a list element is the same item as the given one, which means the same unique id. */
class ApplistItemComparator {
public:
    explicit ApplistItemComparator(AppListItem* item) : m_item(item) {}
    bool operator()(AppListItem* element) const {
        const std::string uniqueId = m_item->GetUnigueId(); // read before the element's
        return uniqueId == element->GetUnigueId();
    }

private:
    AppListItem* m_item;
};

/**
 * The only implementation of AppListModel. No call to the partner or to a listener is made with the
 * lock held: each operation serialises its payload under the lock and sends it afterwards. The
 * channel logs a failed request; the model does not handle it.
 */
class RemoteAppListModel : public AppListModel {
public:
    RemoteAppListModel();

    void SetSelection(AppListItem* item) override;
    AppListItem* GetSelection() override;
    std::vector<AppListItem*> GetAllItems() override;
    void SetClicked(AppListItem* item) override;
    void RemoveAllItems() override;
    void AddItems(const std::vector<AppListItem*>& items) override;
    void AddItemAtEnd(AppListItem* item) override;
    void RemoveItem(AppListItem* item) override;
    void ModifyItem(AppListItem* oldItem, AppListItem* newItem) override;
    int GetItemsCount() override;

    void AddItemSelectionListener(ItemSelectionListener* listener) override;
    void RemoveItemSelectionListener(ItemSelectionListener* listener) override;
    void AddItemChangeListener(ItemChangeListener* listener) override;
    void RemoveItemChangeListener(ItemChangeListener* listener) override;
    void AddItemClickedListener(ItemClickListener* listener) override;
    void RemoveItemClickedListener(ItemClickListener* listener) override;

    ~RemoteAppListModel() override;

    RemoteAppListModel(const RemoteAppListModel&) = delete;
    RemoteAppListModel& operator=(const RemoteAppListModel&) = delete;

    /** Sends the request to empty the list of the partner. */
    void RemoveRemoteAllItems();

    /** Sends a request with payload and id; an empty payload sends nothing. */
    void SendMessageToRemote(int id, const std::string& data);

    /** Sends the same request, and frees @p data before the wait for the partner. */
    void SendMessageToRemote(int id, std::string&& data);

    /** Queries the selection of the partner. @return its item stream; empty also on failure. */
    std::vector<char> GetRemoteSelectionData();

    /** @return the endpoint of the list, for an observer of its requests. */
    const JavaMWDbusRemote& Endpoint() const { return m_ipc; }

    /** Handles the notification @p id of the partner. The payload @p data is not read. */
    void OnNotificationReceive(int id, const std::vector<char>& data);

    /**
     * @return the item record of @p item, which must not be null. Takes no lock, because operations
     *         call it with the lock held. An exception of the item's accessors reaches the caller.
     */
    std::string Serialize(AppListItem* item);

    /**
     * @return the item stream of @p items, without null entries, each of which is logged as an
     *         error
     */
    std::string Serialize(const std::vector<AppListItem*>& items);

    /** @return the complete records at the start of @p data. */
    std::vector<RemoteAppListItem> Deserialize(const std::vector<char>& data);

    /** Calls @p onRecord with each of these records, in order, and stores none. */
    void Deserialize(const std::vector<char>& data,
                     const std::function<void(const RemoteAppListItem& item)>& onRecord);

private:
    static void CheckMemberOrder();
    void OnSelectionEvent();
    void OnLocalCreatedEvent();
    AppListItem* FindRemoteSelection(std::optional<RemoteAppListItem>& selection)
        APPLIST_REQUIRES(m_mutex);
    std::vector<AppListItem*>::iterator Find(AppListItem* item) APPLIST_REQUIRES(m_mutex);

    std::vector<AppListItem*> m_items APPLIST_GUARDED_BY(m_mutex);
    AppListItem* m_selectedItem APPLIST_GUARDED_BY(m_mutex) = nullptr;
    PTMutex m_mutex;
    ListenerList<ItemSelectionListener> m_selectionListeners;
    ListenerList<ItemChangeListener> m_changeListeners;
    ListenerList<ItemClickListener> m_clickListeners;
    // Declared last: its callbacks use the other members, so it is constructed after them and
    // destroyed before them.
    IPCApplist<JavaMWDbusRemote, RemoteAppListModel> m_ipc;
};

#endif
