#include <host/HostList.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace applistctl {

HostItem* HostList::Find(const std::string& id) const {
    const auto found = std::find_if(m_listed.begin(), m_listed.end(),
                                    [&](const auto& item) { return item->Listed().id == id; });
    return found != m_listed.end() ? found->get() : nullptr;
}

HostList::Items::iterator HostList::FindOwner(const HostItem* item) {
    return std::find_if(m_listed.begin(), m_listed.end(),
                        [&](const auto& owner) { return owner.get() == item; });
}

void HostList::AddAll(const std::vector<ListedItem>& items) {
    std::vector<AppListItem*> added;
    for (const ListedItem& item : items) {
        if (Find(item.id) == nullptr) {
            m_listed.push_back(std::make_unique<HostItem>(item, m_onRead));
            added.push_back(m_listed.back().get());
        }
    }
    m_proxy.AddItems(added);
}

void HostList::Append(const ListedItem& item) {
    m_listed.push_back(std::make_unique<HostItem>(item, m_onRead));
    m_proxy.AddItemAtEnd(m_listed.back().get());
}

void HostList::Remove(HostItem* item) {
    m_proxy.RemoveItem(item);
    const auto owner = FindOwner(item);
    m_removed.push_back(std::move(*owner));
    m_listed.erase(owner);
    DropUnused();
}

void HostList::Replace(HostItem* item, const ListedItem& replacement) {
    auto newItem = std::make_unique<HostItem>(replacement, m_onRead);
    m_proxy.ModifyItem(item, newItem.get());
    const auto owner = FindOwner(item);
    m_removed.push_back(std::exchange(*owner, std::move(newItem)));
    DropUnused();
}

void HostList::Clear() {
    m_proxy.RemoveAllItems();
    std::move(m_listed.begin(), m_listed.end(), std::back_inserter(m_removed));
    m_listed.clear();
    DropUnused();
}

void HostList::DropUnused() {
    const AppListItem* const selected = m_proxy.GetSelection();
    m_removed.erase(std::remove_if(m_removed.begin(), m_removed.end(),
                                   [&](const auto& item) { return item.get() != selected; }),
                    m_removed.end());
}

} // namespace applistctl
