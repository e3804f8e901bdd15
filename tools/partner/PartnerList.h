// The list that the host's requests describe, with its selection. Items are the same when their
// ids are; every look-up is from the front.
#ifndef APPLIST_TOOLS_PARTNERLIST_H
#define APPLIST_TOOLS_PARTNERLIST_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <shared/ItemListing.h>

class PartnerList {
public:
    /** The list is new: no items, no selection. */
    void Clear();

    /** Appends those whose id is not in the list yet. @return how many these were */
    std::size_t AddMissing(const std::vector<ListedItem>& items);

    /** Appends, also when the id is in the list already. */
    void AddAtEnd(const ListedItem& item);

    /** The selection goes with the item. @return false when there is none */
    bool Remove(const std::string& id);

    /** The selection moves on to the new item. @return false when there is no old one */
    bool Modify(const std::string& oldId, const ListedItem& newItem);

    /** Selects the first item with this id; one that is not in the list is selected all the same.
     */
    void Select(const ListedItem& item);
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

#endif
