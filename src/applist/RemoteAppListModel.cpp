// The operations of the host on the list, their requests, and the events of the partner.
#include <applist/RemoteAppListModel.h>

#include <algorithm>
#include <istream>
#include <utility>

#include <applist/ItemChangeListener.h>
#include <applist/ItemClickListener.h>
#include <applist/ItemRecords.h>
#include <applist/ItemSelectionListener.h>
#include <applist/MessageIds.h>
#include <common/Log.h>
#include <common/PTAutoLock.h>
#include <ipc/MessageFraming.h>

RemoteAppListModel::RemoteAppListModel() : m_ipc("Applist") {
    CheckMemberOrder();
    m_ipc.RegisterOnNotification(this, &RemoteAppListModel::OnNotificationReceive);
}

RemoteAppListModel::~RemoteAppListModel() {
    m_ipc.UnregisterOnNotification(this);
    const PTAutoLock lock(m_mutex);
    m_selectedItem = nullptr;
    m_items.clear();
}

// The destructor destroys the members from the last one backwards.
void RemoteAppListModel::CheckMemberOrder() {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
    static_assert(offsetof(RemoteAppListModel, m_ipc) + sizeof(m_ipc) == sizeof(RemoteAppListModel),
                  "m_ipc must be the last member: its callbacks use the other members");
#pragma GCC diagnostic pop
}

// Operations of the host

void RemoteAppListModel::SetSelection(AppListItem* item) {
    APPLIST_LOG_DEBUG("SetSelection: %p", static_cast<void*>(item));
    std::string payload;
    {
        const PTAutoLock lock(m_mutex);
        if (item != nullptr && !item->GetUnigueId().empty()) {
            m_selectedItem = item;
            payload = Serialize(item);
            APPLIST_LOG_DEBUG("Selected item name: %s, uniqueId: %s",
                              m_selectedItem->GetVisibleName().c_str(),
                              m_selectedItem->GetUnigueId().c_str());
        }
    }
    SendMessageToRemote(APPLIST_SET_SELECTION_FNC, std::move(payload));
}

AppListItem* RemoteAppListModel::GetSelection() {
    const PTAutoLock lock(m_mutex);
    return m_selectedItem;
}

std::vector<AppListItem*> RemoteAppListModel::GetAllItems() {
    const PTAutoLock lock(m_mutex);
    return m_items;
}

void RemoteAppListModel::SetClicked(AppListItem* item) {
    APPLIST_LOG_DEBUG("SetClicked: %p", static_cast<void*>(item));
    if (item == nullptr) {
        return;
    }
    SendMessageToRemote(APPLIST_SET_CLICKED_FNC, Serialize(item));
}

void RemoteAppListModel::RemoveAllItems() {
    APPLIST_LOG_DEBUG("RemoveAllItems");
    {
        const PTAutoLock lock(m_mutex);
        m_selectedItem = nullptr;
        m_items.clear();
    }
    RemoveRemoteAllItems();
}

void RemoteAppListModel::AddItems(const std::vector<AppListItem*>& items) {
    APPLIST_LOG_DEBUG("AddItems number of items: %d", static_cast<int>(items.size()));
    std::string payload;
    {
        const PTAutoLock lock(m_mutex);
        for (AppListItem* const item : items) {
            if (item != nullptr && Find(item) == m_items.end()) {
                m_items.push_back(item);
            }
        }
        APPLIST_LOG_DEBUG("Adding remote items. Items count: %d", static_cast<int>(items.size()));
        // Deliberate: the request holds all items of the host, including those that the list
        // already had. The partner decides which of them are new to it.
        payload = Serialize(items);
    }
    SendMessageToRemote(APPLIST_ADD_ITEMS_FNC, std::move(payload));
}

void RemoteAppListModel::AddItemAtEnd(AppListItem* item) {
    APPLIST_LOG_DEBUG("AddItemAtEnd: %p", static_cast<void*>(item));
    std::string payload;
    {
        const PTAutoLock lock(m_mutex);
        if (item != nullptr) {
            // Deliberate: unlike AddItems, without a search for the same item in the list.
            m_items.push_back(item);
            payload = Serialize(item);
        }
    }
    SendMessageToRemote(APPLIST_ADD_ITEM_AT_END_FNC, std::move(payload));
}

void RemoteAppListModel::RemoveItem(AppListItem* item) {
    APPLIST_LOG_DEBUG("RemoveItem: %p", static_cast<void*>(item));
    std::string payload;
    {
        const PTAutoLock lock(m_mutex);
        if (item != nullptr) {
            const auto found = Find(item);
            if (found != m_items.end()) {
                APPLIST_LOG_DEBUG("Removing item name: %s, uniqueId: %s",
                                  (*found)->GetVisibleName().c_str(),
                                  (*found)->GetUnigueId().c_str());
                if (m_selectedItem == *found) {
                    APPLIST_LOG_DEBUG("Removed item were selected. Removed selection");
                    m_selectedItem = nullptr;
                }
                m_items.erase(found);
                payload = Serialize(item);
            }
        }
    }
    SendMessageToRemote(APPLIST_REMOVE_ITEM_FNC, std::move(payload));
}

void RemoteAppListModel::ModifyItem(AppListItem* oldItem, AppListItem* newItem) {
    APPLIST_LOG_DEBUG("ModifyItem oldItem: %p, newItem: %p", static_cast<void*>(oldItem),
                      static_cast<void*>(newItem));
    std::string payload;
    {
        const PTAutoLock lock(m_mutex);
        if (oldItem != nullptr && newItem != nullptr) {
            const auto found = Find(oldItem);
            if (found != m_items.end()) {
                APPLIST_LOG_DEBUG(
                    "Replacing item name: %s, uniqueId: %s with name: %s, uniqueId: %s",
                    (*found)->GetVisibleName().c_str(), (*found)->GetUnigueId().c_str(),
                    newItem->GetVisibleName().c_str(), newItem->GetUnigueId().c_str());
                if (m_selectedItem == *found) {
                    APPLIST_LOG_DEBUG(
                        "Item that is being modified were selected. Modified selection");
                    m_selectedItem = newItem;
                }
                *found = newItem;
                payload = Serialize(oldItem);
                payload += Serialize(newItem);
            }
        }
    }
    SendMessageToRemote(APPLIST_MODIFY_ITEM_FNC, std::move(payload));
}

int RemoteAppListModel::GetItemsCount() {
    const PTAutoLock lock(m_mutex);
    return static_cast<int>(m_items.size());
}

// The first item with the unique id of @p item.
std::vector<AppListItem*>::iterator RemoteAppListModel::Find(AppListItem* item) {
    return std::find_if(m_items.begin(), m_items.end(), ApplistItemComparator(item));
}

// The host's listeners. Deliberate: an addition is logged, a removal is not.

void RemoteAppListModel::AddItemSelectionListener(ItemSelectionListener* listener) {
    APPLIST_LOG_DEBUG("AddItemSelectionListener");
    m_selectionListeners.Add(listener);
}

void RemoteAppListModel::RemoveItemSelectionListener(ItemSelectionListener* listener) {
    m_selectionListeners.Remove(listener);
}

void RemoteAppListModel::AddItemChangeListener(ItemChangeListener* listener) {
    APPLIST_LOG_DEBUG("AddItemChangeListener");
    m_changeListeners.Add(listener);
}

void RemoteAppListModel::RemoveItemChangeListener(ItemChangeListener* listener) {
    m_changeListeners.Remove(listener);
}

void RemoteAppListModel::AddItemClickedListener(ItemClickListener* listener) {
    APPLIST_LOG_DEBUG("AddItemClickedListener");
    m_clickListeners.Add(listener);
}

void RemoteAppListModel::RemoveItemClickedListener(ItemClickListener* listener) {
    m_clickListeners.Remove(listener);
}

// Requests to the partner

void RemoteAppListModel::SendMessageToRemote(int id, const std::string& data) {
    SendMessageToRemote(id, std::string(data));
}

void RemoteAppListModel::SendMessageToRemote(int id, std::string&& data) {
    APPLIST_LOG_DEBUG("SendMessageToRemote data length: %d", static_cast<int>(data.size()));
    if (data.empty()) {
        return;
    }
    std::vector<char> message;
    message.reserve(data.size() + MessageFraming::ID_SIZE);
    message.assign(data.begin(), data.end());
    MessageFraming::AppendId(message, id);
    // Frees a large payload before the wait for the partner.
    std::string().swap(data);
    m_ipc.SendMessage(message);
}

void RemoteAppListModel::RemoveRemoteAllItems() {
    std::vector<char> message;
    MessageFraming::AppendId(message, APPLIST_REMOVE_ALL_ITEMS_FNC);
    m_ipc.SendMessage(message);
}

std::vector<char> RemoteAppListModel::GetRemoteSelectionData() {
    APPLIST_LOG_DEBUG("Get remote selection data");
    std::vector<char> message;
    MessageFraming::AppendId(message, APPLIST_GET_SELECTION_FNC);
    return m_ipc.SendMessage(message);
}

// Events of the partner

void RemoteAppListModel::OnNotificationReceive(int id, const std::vector<char>& /*data*/) {
    switch (static_cast<AppListNotification>(id)) {
    case APPLIST_ITEM_CHANGE_EVENT:
        APPLIST_LOG_DEBUG("ItemChageEvent from local model. Listeners :%d",
                          static_cast<int>(m_changeListeners.Count()));
        m_changeListeners.Call(&ItemChangeListener::OnItemChangeEvent, this);
        return;
    case APPLIST_ITEM_SELECTION_EVENT:
        OnSelectionEvent();
        return;
    case APPLIST_ITEM_CLICKED_EVENT:
        APPLIST_LOG_DEBUG("ItemClickedEvent from local model. Listeners :%d",
                          static_cast<int>(m_clickListeners.Count()));
        m_clickListeners.Call(&ItemClickListener::OnItemClickedEvent, this);
        return;
    case APPLIST_LOCAL_CREATED_EVENT:
        OnLocalCreatedEvent();
        return;
    }
    APPLIST_LOG_DEBUG("Message received with unknown id=%d", id);
}

// The event does not name the selected item: query the partner, then call the listeners.
void RemoteAppListModel::OnSelectionEvent() {
    APPLIST_LOG_DEBUG("Getting remote selection");
    const std::vector<char> data = GetRemoteSelectionData();
    // Decoded before the lock is taken, and one record at a time: only the first one counts, and
    // readers of the list do not wait for a long reply.
    std::optional<RemoteAppListItem> selection;
    Deserialize(data, [&](const RemoteAppListItem& item) {
        if (!selection) {
            selection = item;
        }
    });
    {
        const PTAutoLock lock(m_mutex);
        m_selectedItem = nullptr;
        m_selectedItem = FindRemoteSelection(selection);
    }
    APPLIST_LOG_DEBUG("ItemSelectionEvent from local model. Listeners :%d",
                      static_cast<int>(m_selectionListeners.Count()));
    m_selectionListeners.Call(&ItemSelectionListener::OnItemSelectionEvent, this);
}

// The item of the list whose unique id is that of the partner's reply, or null.
AppListItem* RemoteAppListModel::FindRemoteSelection(std::optional<RemoteAppListItem>& selection) {
    if (!selection) {
        APPLIST_LOG_DEBUG(
            "Received empty data from APPLIST_GET_SELECTION_FNC. Selected item is NULL");
        return nullptr;
    }
    const auto found = Find(&*selection);
    if (found == m_items.end()) {
        return nullptr;
    }
    APPLIST_LOG_DEBUG("Found selected item on list. Name: %s, uniqueId: %s",
                      (*found)->GetVisibleName().c_str(), (*found)->GetUnigueId().c_str());
    return *found;
}

// The partner's list is new: send it the whole list and the selection.
void RemoteAppListModel::OnLocalCreatedEvent() {
    std::string itemsPayload;
    std::string selectionPayload;
    {
        const PTAutoLock lock(m_mutex);
        const int count = static_cast<int>(m_items.size());
        APPLIST_LOG_DEBUG("LocalCreatedEvent from local model. Number of items to add :%d", count);
        if (!m_items.empty()) {
            APPLIST_LOG_DEBUG("Adding remote items. Items count: %d", count);
            itemsPayload = Serialize(m_items);
            APPLIST_LOG_DEBUG("Setting remote selection: %p", static_cast<void*>(m_selectedItem));
            if (m_selectedItem != nullptr && !m_selectedItem->GetUnigueId().empty()) {
                selectionPayload = Serialize(m_selectedItem);
            }
        }
    }
    SendMessageToRemote(APPLIST_ADD_ITEMS_FNC, std::move(itemsPayload));
    SendMessageToRemote(APPLIST_SET_SELECTION_FNC, std::move(selectionPayload));
}

// Items and their serial form

std::string RemoteAppListModel::Serialize(AppListItem* item) {
    APPLIST_LOG_DEBUG("Serialize item: %p", static_cast<void*>(item));
    std::string record;
    ItemRecords::Append(record, RemoteAppListItem(*item));
    return record;
}

std::string RemoteAppListModel::Serialize(const std::vector<AppListItem*>& items) {
    APPLIST_LOG_DEBUG("Number of items to serialize: %d", static_cast<int>(items.size()));
    std::string records;
    for (AppListItem* const item : items) {
        if (item == nullptr) {
            // An error of the caller, which must not crash the host.
            APPLIST_LOG_ERROR(" - AppListItem is NULL, left out");
            continue;
        }
        APPLIST_LOG_DEBUG(" - AppListItem name: %s, uniqueId: %s", item->GetVisibleName().c_str(),
                          item->GetUnigueId().c_str());
        records += Serialize(item);
    }
    return records;
}

std::vector<RemoteAppListItem> RemoteAppListModel::Deserialize(const std::vector<char>& data) {
    std::vector<RemoteAppListItem> items;
    Deserialize(data, [&](const RemoteAppListItem& item) { items.push_back(item); });
    return items;
}

void RemoteAppListModel::Deserialize(
    const std::vector<char>& data,
    const std::function<void(const RemoteAppListItem& item)>& onRecord) {
    APPLIST_LOG_DEBUG("Deserialize data length: %d", static_cast<int>(data.size()));
    ItemRecords::BytesBuffer buffer(data);
    std::istream stream(&buffer);
    RemoteAppListItem item;
    while (ItemRecords::ReadNext(stream, item)) {
        onRecord(item);
        APPLIST_LOG_DEBUG(" - RemoteAppListItem name: %s, uniqueId: %s",
                          item.GetVisibleName().c_str(), item.GetUnigueId().c_str());
    }
}
