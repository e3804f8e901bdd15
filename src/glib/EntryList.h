// The entries of a store, in the order of its GListModel.
#ifndef APPLIST_GLIB_ENTRYLIST_H
#define APPLIST_GLIB_ENTRYLIST_H

#include <cstddef>
#include <functional>
#include <string>

#include "Entry.h"
#include "Splices.h"

namespace applist_internal {

class EntryList {
public:
    /** Called after each changed range, with the list in its new state. */
    using Observer =
        std::function<void(std::size_t position, const Entries& removed, std::size_t added)>;

    explicit EntryList(Observer observer) : m_observer(std::move(observer)) {}

    std::size_t Count() const { return m_entries.size(); }
    /** @return the entry, or null past the end. */
    AppListEntry* At(std::size_t position) const;
    /** @return the position of the entry with this id, or Count(). */
    std::size_t IndexOf(const std::string& id) const;

    /** Replaces a range. */
    void Replace(std::size_t position, std::size_t removed, Entries added);

    /**
     * Makes the list equal to @p wanted by the smallest ranges. Entries of the list replace equal
     * ones of @p wanted.
     */
    void Set(Entries wanted);

    /** @return whether the observer is running, or Set is between two ranges. */
    bool IsChanging() const { return m_isChanging; }

private:
    std::vector<Origin> OriginsOf(Entries& wanted) const;

    const Observer m_observer;
    Entries m_entries;
    bool m_isChanging = false;
};

} // namespace applist_internal

#endif
