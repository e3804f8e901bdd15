// The library's side of the application list: the host's items, the selection and the listeners,
// and the conversation with the partner about them.
#ifndef APPLIST_APPLIST_REMOTEAPPLISTMODEL_H
#define APPLIST_APPLIST_REMOTEAPPLISTMODEL_H

#include <string>
#include <vector>

#include <applist/AppListItem.h>
#include <applist/AppListModel.h>
#include <applist/ListenerList.h>
#include <applist/RemoteAppListItem.h>
#include <common/PTMutex.h>
#include <ipc/IPCApplist.h>
#include <ipc/javamw-dbus-remote.h>

/** Tells whether a list element is the same item as the one looked for: same unique id. */
class ApplistItemComparator {
public:
    explicit ApplistItemComparator(AppListItem* item) : m_item(item) {}
    bool operator()(AppListItem* element) const {
        const std::string uniqueId = m_item->GetUnigueId(); // before the element's
        return uniqueId == element->GetUnigueId();
    }

private:
    AppListItem* m_item;
};

/**
 * The only implementation of AppListModel. The lock is never held across a call to the partner or
 * to a listener: each operation writes its payload under the lock and sends it afterwards. A
 * request that fails is logged by the channel and not noticed here.
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

    /** Tells the partner to empty its list. */
    void RemoveRemoteAllItems();

    /** Sends a request with payload and id; an empty payload sends nothing. */
    void SendMessageToRemote(int id, const std::string& data);

    /** The same, and frees @p data before it waits for the partner. */
    void SendMessageToRemote(int id, std::string&& data);

    /** Asks the partner for its selection. @return its item stream; empty on failure too. */
    std::vector<char> GetRemoteSelectionData();

    /** Takes a notification of the partner; its payload is not read. */
    void OnNotificationReceive(int id, const std::vector<char>& data);

    /**
     * @return the item record of @p item, which must not be null. Takes no lock: operations call it
     *         with the lock held. What the item's accessors throw goes to the caller.
     */
    std::string Serialize(AppListItem* item);

    /** @return the item stream of @p items; a null among them is left out and logged as an error.
     */
    std::string Serialize(const std::vector<AppListItem*>& items);

    /** @return the complete records at the start of @p data. */
    std::vector<RemoteAppListItem> Deserialize(const std::vector<char>& data);

private:
    void OnSelectionEvent();
    void OnLocalCreatedEvent();
    AppListItem* FindRemoteSelection(const std::vector<char>& data) APPLIST_REQUIRES(m_mutex);
    std::vector<AppListItem*>::iterator Find(AppListItem* item) APPLIST_REQUIRES(m_mutex);

    std::vector<AppListItem*> m_items APPLIST_GUARDED_BY(m_mutex);
    AppListItem* m_selectedItem APPLIST_GUARDED_BY(m_mutex) = nullptr;
    PTMutex m_mutex;
    ListenerList<ItemSelectionListener> m_selectionListeners;
    ListenerList<ItemChangeListener> m_changeListeners;
    ListenerList<ItemClickListener> m_clickListeners;
    IPCApplist<JavaMWDbusRemote, RemoteAppListModel> m_ipc;
};

#endif
