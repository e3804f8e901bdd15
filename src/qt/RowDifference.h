// The steps from one list of rows to another, each of which is one signal of a model.
#ifndef APPLIST_QT_ROWDIFFERENCE_H
#define APPLIST_QT_ROWDIFFERENCE_H

#include <vector>

#include <applist/AppListClient.h>

namespace applist_internal {

using RowItems = std::vector<AppListClient::Item>;

/** The rows of a step are those of the list after the previous step. */
struct RowStep {
    enum class Kind {
        REMOVE, ///< `count` rows from `first`
        MOVE,   ///< the row `first`, which is the row `to` afterwards
        INSERT, ///< `count` rows from `first`, which are the same rows of the wanted list
        CHANGE, ///< the names of `count` rows from `first`; rows of the wanted list
        REFILL  ///< the whole list
    };

    Kind kind;
    int first = 0;
    int count = 0;
    int to = 0;
};

/** A longer difference is a refill, because each step costs time for each row. */
constexpr std::size_t MOST_ROW_STEPS = 1000;

/**
 * @return the steps from @p present to @p wanted: removals, the fewest moves, insertions, changes.
 *         Neighbours are one step, except for moves. The difference is a refill if both lists have
 *         items and no unique id stays, or if it has more than MOST_ROW_STEPS steps.
 *
 * Neither list holds a unique id twice.
 */
std::vector<RowStep> RowDifference(const RowItems& present, const RowItems& wanted);

} // namespace applist_internal

#endif
