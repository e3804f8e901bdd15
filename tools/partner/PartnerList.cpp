#include <partner/PartnerList.h>

#include <algorithm>
#include <unordered_set>

namespace applistctl {

void PartnerList::Clear() {
    m_items.clear();
    m_selection.reset();
}

std::size_t PartnerList::AddMissing(const std::vector<ListedItem>& items) {
    std::unordered_set<std::string> ids;
    for (const Item& item : m_items) {
        ids.insert(item->id);
    }
    const std::size_t before = m_items.size();
    for (const ListedItem& item : items) {
        if (ids.insert(item.id).second) {
            AddAtEnd(item);
        }
    }
    return m_items.size() - before;
}

void PartnerList::AddAtEnd(const ListedItem& item) {
    m_items.push_back(std::make_shared<const ListedItem>(item));
}

bool PartnerList::Remove(const std::string& id) {
    const auto found = Find(id);
    if (found == m_items.end()) {
        return false;
    }
    if (m_selection == *found) {
        m_selection.reset();
    }
    m_items.erase(found);
    return true;
}

bool PartnerList::Modify(const std::string& oldId, const ListedItem& newItem) {
    const auto found = Find(oldId);
    if (found == m_items.end()) {
        return false;
    }
    const bool wasSelected = m_selection == *found;
    *found = std::make_shared<const ListedItem>(newItem);
    if (wasSelected) {
        m_selection = *found;
    }
    return true;
}

void PartnerList::Select(const ListedItem& item) {
    const auto found = Find(item.id);
    if (found != m_items.end()) {
        m_selection = *found;
    } else {
        SelectRecord(item);
    }
}

void PartnerList::SelectRecord(const ListedItem& record) {
    m_selection = std::make_shared<const ListedItem>(record);
}

bool PartnerList::IsPartOf(const std::vector<ListedItem>& items) const {
    std::unordered_set<std::string> ids;
    for (const ListedItem& item : items) {
        ids.insert(item.id);
    }
    return std::all_of(m_items.begin(), m_items.end(),
                       [&](const Item& item) { return ids.count(item->id) != 0; });
}

std::vector<ListedItem> PartnerList::Items() const {
    std::vector<ListedItem> items;
    for (const Item& item : m_items) {
        items.push_back(*item);
    }
    return items;
}

std::vector<PartnerList::Item>::iterator PartnerList::Find(const std::string& id) {
    return std::find_if(m_items.begin(), m_items.end(),
                        [&](const Item& item) { return item->id == id; });
}

} // namespace applistctl
