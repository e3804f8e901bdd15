// The list and the selection as they must be, without the library: a plain vector, and for each
// operation of the host the request that the partner must receive.
#pragma once

#include <string>
#include <vector>

#include "PlainItem.h"

inline namespace applist_test {

/** Each operation returns the request that it causes, or nothing when it causes none. */
struct PlainList {
    using Items = std::vector<PlainItem*>;

    std::string SetSelection(PlainItem* item);
    std::string SetClicked(PlainItem* item) const;
    std::string RemoveAllItems();
    std::string AddItems(const Items& added);
    std::string AddItemAtEnd(PlainItem* item);
    std::string RemoveItem(PlainItem* item);
    std::string ModifyItem(PlainItem* before, PlainItem* after);

    /** The partner has notified a new selection, and replied to the query with @p reply. */
    void MoveSelection(const std::string& reply);

    /** The expected list of a partner with a new list: the records of the list after decoding. */
    std::string PartnersList() const;
    std::string PartnersSelection() const;
    /** The requests that its created event causes. */
    std::vector<std::string> Push() const;

    bool Holds(const PlainItem* item) const;

    Items items;
    PlainItem* selection = nullptr;

private:
    std::size_t Find(const std::string& id) const;
    std::string Stream() const;
};

} // namespace applist_test
