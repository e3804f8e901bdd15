#include "EntryList.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace applist_internal {

AppListEntry* EntryList::At(std::size_t position) const {
    return position < m_entries.size() ? m_entries[position].get() : nullptr;
}

std::size_t EntryList::IndexOf(const std::string& id) const {
    const auto found = std::find_if(m_entries.begin(), m_entries.end(), [&](const EntryPtr& entry) {
        return ItemOf(entry.get())->uniqueId == id;
    });
    return static_cast<std::size_t>(found - m_entries.begin());
}

void EntryList::Replace(std::size_t position, std::size_t removed, Entries added) {
    if (removed == 0 && added.empty()) {
        return;
    }
    const auto first = m_entries.begin() + static_cast<std::ptrdiff_t>(position);
    const auto last = first + static_cast<std::ptrdiff_t>(removed);
    const Entries old(std::make_move_iterator(first), std::make_move_iterator(last));
    m_entries.insert(m_entries.erase(first, last), std::make_move_iterator(added.begin()),
                     std::make_move_iterator(added.end()));
    const bool wasChanging = std::exchange(m_isChanging, true);
    m_observer(position, old, added.size());
    m_isChanging = wasChanging;
}

void EntryList::Set(Entries wanted) {
    const std::vector<Origin> origins = OriginsOf(wanted);
    m_isChanging = true; // also for weak references to removed entries, between two ranges
    for (const Splice& splice : SplicesBetween(m_entries.size(), origins)) {
        Entries added;
        for (std::size_t i = 0; i < splice.added; ++i) {
            added.push_back(std::move(wanted[splice.position + i]));
        }
        Replace(splice.position, splice.removed, std::move(added));
    }
    m_isChanging = false;
}

std::vector<Origin> EntryList::OriginsOf(Entries& wanted) const {
    std::unordered_map<std::string_view, std::size_t> positions;
    positions.reserve(m_entries.size());
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
        positions.emplace(ItemOf(m_entries[i].get())->uniqueId, i);
    }
    std::vector<Origin> origins;
    origins.reserve(wanted.size());
    for (EntryPtr& entry : wanted) {
        const auto found = positions.find(ItemOf(entry.get())->uniqueId);
        if (found == positions.end()) {
            origins.push_back({NEW_ITEM, false});
            continue;
        }
        AppListEntry* const old = m_entries[found->second].get();
        const bool isEqual = IsEqual(ItemOf(old), ItemOf(entry.get()));
        origins.push_back({found->second, isEqual});
        if (isEqual) {
            entry = RefEntry(old);
        }
    }
    return origins;
}

} // namespace applist_internal
