#include <client/RequestQueue.h>

#include <utility>

namespace applist_internal {

std::vector<AppListClient::Completion> RequestQueue::Push(ListChange change) {
    if (change.kind == ListChange::Kind::CLICK) {
        ++m_clicks;
        m_changes.push_back(std::move(change));
        return {};
    }
    if (change.kind == ListChange::Kind::SELECT) {
        ++m_selects;
    }
    if (!m_hasDifference) {
        ++m_edits;
        m_items += change.items.size();
        m_changes.push_back(std::move(change));
        const bool isFull =
            m_edits > AppListClient::QUEUE_LENGTH || (m_edits > 1 && m_items > MOST_ITEMS);
        return isFull ? Merge() : std::vector<AppListClient::Completion>();
    }
    if (change.kind == ListChange::Kind::SELECT) {
        ++m_mergedSelects;
    }
    return {std::move(change.completion)};
}

void RequestQueue::PushRefill() {
    if (!m_changes.empty() && m_changes.front().kind == ListChange::Kind::REFILL) {
        return;
    }
    m_changes.push_front({ListChange::Kind::REFILL, "", {}, {}});
}

// A waiting refill is done before the difference, which starts from the partner's list.
std::vector<AppListClient::Completion> RequestQueue::Merge() {
    std::vector<AppListClient::Completion> completions;
    std::deque<ListChange> merged;
    while (m_changes.front().kind == ListChange::Kind::REFILL) {
        merged.push_back(std::move(m_changes.front()));
        m_changes.pop_front();
    }
    merged.push_back({ListChange::Kind::DIFFERENCE, "", {}, {}});
    for (ListChange& change : m_changes) {
        if (change.kind == ListChange::Kind::CLICK) {
            merged.push_back(std::move(change));
            continue;
        }
        if (change.kind == ListChange::Kind::SELECT) {
            ++m_mergedSelects;
        }
        completions.push_back(std::move(change.completion));
    }
    m_changes = std::move(merged);
    m_hasDifference = true;
    m_edits = 0;
    m_items = 0;
    return completions;
}

ListChange RequestQueue::Pop() {
    ListChange change = std::move(m_changes.front());
    m_changes.pop_front();
    m_poppedSelects = 0;
    if (change.kind == ListChange::Kind::CLICK) {
        --m_clicks;
    } else if (change.kind != ListChange::Kind::DIFFERENCE &&
               change.kind != ListChange::Kind::REFILL) {
        m_poppedSelects = change.kind == ListChange::Kind::SELECT ? 1 : 0;
        m_items -= change.items.size();
        --m_edits;
    }
    return change;
}

void RequestQueue::BeginDifference() {
    m_poppedSelects = std::exchange(m_mergedSelects, 0);
    m_hasDifference = false;
}

} // namespace applist_internal
