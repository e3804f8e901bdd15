// The partner's copy of the host's list, with the selection. Items with equal ids are the same
// item. Each look-up starts at the front.
#ifndef APPLIST_TOOLS_PARTNERLIST_H
#define APPLIST_TOOLS_PARTNERLIST_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <shared/ItemListing.h>

namespace applistctl {

class PartnerList {
public:
    /** Removes the items and the selection. */
    void Clear();

    /** Appends each item whose id is not in the list yet. @return the number of appended items */
    std::size_t AddMissing(const std::vector<ListedItem>& items);

    /** Appends the item, also when its id is in the list already. */
    void AddAtEnd(const ListedItem& item);

    /** Removes the item and its selection. @return false without such an item */
    bool Remove(const std::string& id);

    /** Replaces the item; its selection stays. @return false without such an item */
    bool Modify(const std::string& oldId, const ListedItem& newItem);

    /** Selects the first item with the id of @p item; without one in the list, @p item itself. */
    void Select(const ListedItem& item);
    /** Selects @p record, which then is no item of the list. */
    void SelectRecord(const ListedItem& record);
    void SelectAt(std::size_t index) { m_selection = m_items.at(index); }
    void SelectNone() { m_selection.reset(); }

    /** Whether each id of the list is one of @p items. */
    bool IsPartOf(const std::vector<ListedItem>& items) const;

    std::size_t Size() const { return m_items.size(); }
    std::vector<ListedItem> Items() const;
    const ListedItem& At(std::size_t index) const { return *m_items.at(index); }
    const ListedItem* Selection() const { return m_selection.get(); }

private:
    using Item = std::shared_ptr<const ListedItem>;

    std::vector<Item>::iterator Find(const std::string& id);

    std::vector<Item> m_items;
    Item m_selection;
};

} // namespace applistctl

#endif
