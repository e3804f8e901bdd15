// The smallest ranges that change one list of unique items into another one.
#ifndef APPLIST_GLIB_SPLICES_H
#define APPLIST_GLIB_SPLICES_H

#include <cstddef>
#include <vector>

namespace applist_internal {

/** A range of a list, which is replaced by items of the wanted list. */
struct Splice {
    std::size_t position; ///< with added items: also their position in the wanted list
    std::size_t removed;
    std::size_t added;

    bool operator==(const Splice& other) const {
        return position == other.position && removed == other.removed && added == other.added;
    }
};

/** The item of the old list with the unique id of a wanted item. */
struct Origin {
    std::size_t position; ///< in the old list, or NEW_ITEM
    bool isEqual;         ///< the item may stay
};

constexpr std::size_t NEW_ITEM = static_cast<std::size_t>(-1);

/** With more ranges than this, one splice covers all of them. */
constexpr std::size_t MOST_SPLICES = 1000;

/**
 * @param oldCount the number of items of the old list
 * @param origins of the wanted items, in list order; no position occurs twice
 * @return the splices in the order in which they are made. As few items as possible are removed and
 *         added, and no state in between has a unique id twice.
 */
std::vector<Splice> SplicesBetween(std::size_t oldCount, const std::vector<Origin>& origins);

} // namespace applist_internal

#endif
