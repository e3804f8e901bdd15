// The requests that change one list into another.
#ifndef APPLIST_CLIENT_LISTDIFFERENCE_H
#define APPLIST_CLIENT_LISTDIFFERENCE_H

#include <cstddef>
#include <string>
#include <vector>

#include <client/SharedItem.h>

namespace applist_internal {

/** A step of a difference; each is one request, except that a long append may become several. */
struct ListStep {
    enum class Kind { REMOVE_ALL, REMOVE, MODIFY, APPEND };

    Kind kind;
    std::size_t position; ///< of the item to remove or to replace, after the preceding steps
    SharedItems items;    ///< the replacement, or the appended items
};

/**
 * @return the steps from @p present to @p wanted, in this order: removals, replacements, one
 *         append. Requests can insert only at the end of a list. The steps are the fewest that
 *         leave equal items in place. The difference is REMOVE_ALL and one append instead if there
 *         are more than 1,000 removals and replacements, more than 3 plus a quarter of both lists,
 *         or more than 3 with no item left in place.
 *
 * Neither list contains a unique id twice. During the replacements, the list can contain an id
 * twice, because a cycle of moved items has no other start. Requests find the first item with
 * this id, which is also the next one to be replaced.
 *
 * @param removed the unique id of an item that is removed in any case, and appended or used as a
 *        replacement again if it is wanted; empty for none. The removal of the selected item is the
 *        only request that ends the selection.
 *
 * The time grows with the length of the lists times the number of steps.
 */
std::vector<ListStep> ListDifference(const SharedItems& present, const SharedItems& wanted,
                                     const std::string& removed);

} // namespace applist_internal

#endif
