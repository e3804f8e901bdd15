// The changes and clicks of the host that wait for the partner.
#ifndef APPLIST_CLIENT_REQUESTQUEUE_H
#define APPLIST_CLIENT_REQUESTQUEUE_H

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

#include <client/SharedItem.h>

namespace applist_internal {

/** A change or click of the host. */
struct ListChange {
    enum class Kind {
        SET,
        ADD,
        REMOVE,
        MODIFY,
        REMOVE_ALL,
        SELECT,
        CLICK,
        DIFFERENCE, ///< merged changes: from the partner's list to the host's list
        REFILL      ///< the same list again, for a partner whose list may differ
    };

    Kind kind;
    std::string uniqueId;
    SharedItems items;
    AppListClient::Completion completion;
};

/** Not thread-safe: the client guards it. */
class RequestQueue {
public:
    /** The limit of the items of all waiting changes. A single change may have more items. */
    static constexpr std::size_t MOST_ITEMS = 65536;

    /** @return whether another click fits in. */
    bool AcceptsClick() const { return m_clicks < AppListClient::QUEUE_LENGTH; }

    /**
     * Appends @p change, or merges it into a waiting difference. A full queue becomes one
     * difference and its clicks.
     *
     * @return the completions of the merged changes, in their order
     */
    std::vector<AppListClient::Completion> Push(ListChange change);

    /** Inserts a REFILL before all changes, unless the first change is a REFILL. */
    void PushRefill();

    bool IsEmpty() const { return m_changes.empty(); }

    /**
     * @return the first change, of a queue that is not empty. A popped difference still includes
     *         later changes, until BeginDifference.
     */
    ListChange Pop();

    /** The popped difference begins: later changes wait behind it. */
    void BeginDifference();

    /** Reports that the change from the last Pop has been made. */
    void Done() { m_selects = m_selects - m_poppedSelects; }

    /** @return whether a selection of the host is waiting or being made. */
    bool HoldsSelection() const { return m_selects > 0; }

private:
    std::vector<AppListClient::Completion> Merge();

    std::deque<ListChange> m_changes;
    bool m_hasDifference = false;
    std::size_t m_edits = 0;
    std::size_t m_items = 0;
    std::size_t m_clicks = 0;
    std::size_t m_selects = 0;
    std::size_t m_mergedSelects = 0;
    std::size_t m_poppedSelects = 0;
};

} // namespace applist_internal

#endif
