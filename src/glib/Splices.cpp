#include "Splices.h"

#include <algorithm>

namespace applist_internal {

namespace {

// The most items that keep their order: the longest increasing subsequence of the old positions, as
// indexes of the wanted list.
std::vector<std::size_t> KeptItems(const std::vector<Origin>& origins) {
    std::vector<std::size_t> ends; // of the best subsequence of each length
    std::vector<std::size_t> before(origins.size(), NEW_ITEM);
    for (std::size_t i = 0; i < origins.size(); ++i) {
        if (!origins[i].isEqual) {
            continue;
        }
        const auto end = std::lower_bound(ends.begin(), ends.end(), origins[i].position,
                                          [&](std::size_t index, std::size_t position) {
                                              return origins[index].position < position;
                                          });
        if (end != ends.begin()) {
            before[i] = *(end - 1);
        }
        if (end == ends.end()) {
            ends.push_back(i);
        } else {
            *end = i;
        }
    }
    std::vector<std::size_t> kept(ends.size());
    std::size_t index = ends.empty() ? NEW_ITEM : ends.back();
    for (auto next = kept.rbegin(); next != kept.rend(); ++next) {
        *next = index;
        index = before[index];
    }
    return kept;
}

// A range between two kept items, in both lists.
struct Gap {
    std::size_t oldFirst;
    std::size_t oldEnd;
    std::size_t first;
    std::size_t end;
};

std::vector<Gap> GapsBetween(std::size_t oldCount, const std::vector<Origin>& origins) {
    std::vector<Gap> gaps;
    std::size_t oldFirst = 0;
    std::size_t first = 0;
    for (const std::size_t kept : KeptItems(origins)) {
        gaps.push_back({oldFirst, origins[kept].position, first, kept});
        oldFirst = origins[kept].position + 1;
        first = kept + 1;
    }
    gaps.push_back({oldFirst, oldCount, first, origins.size()});
    return gaps;
}

// Marks the old items whose unique id moves to the front: they are removed before all additions.
std::vector<bool> ItemsToTheFront(std::size_t oldCount, const std::vector<Origin>& origins,
                                  const std::vector<Gap>& gaps) {
    std::vector<bool> marks(oldCount);
    for (const Gap& gap : gaps) {
        for (std::size_t i = gap.first; i < gap.end; ++i) {
            if (origins[i].position != NEW_ITEM && origins[i].position >= gap.oldEnd) {
                marks[origins[i].position] = true;
            }
        }
    }
    return marks;
}

// The removals of marked items, from back to front.
std::vector<Splice> RemovalsOf(const std::vector<bool>& marks) {
    std::vector<Splice> splices;
    for (std::size_t i = marks.size(); i-- > 0;) {
        if (!marks[i]) {
            continue;
        }
        if (!splices.empty() && splices.back().position == i + 1) {
            --splices.back().position;
            ++splices.back().removed;
        } else {
            splices.push_back({i, 1, 0});
        }
    }
    return splices;
}

Splice WholeRange(const std::vector<Gap>& gaps) {
    const auto isChanged = [](const Gap& gap) {
        return gap.oldFirst != gap.oldEnd || gap.first != gap.end;
    };
    const Gap& first = *std::find_if(gaps.begin(), gaps.end(), isChanged);
    const Gap& last = *std::find_if(gaps.rbegin(), gaps.rend(), isChanged);
    return {first.first, last.oldEnd - first.oldFirst, last.end - first.first};
}

} // namespace

std::vector<Splice> SplicesBetween(std::size_t oldCount, const std::vector<Origin>& origins) {
    const std::vector<Gap> gaps = GapsBetween(oldCount, origins);
    const std::vector<bool> early = ItemsToTheFront(oldCount, origins, gaps);
    std::vector<Splice> splices = RemovalsOf(early);
    for (const Gap& gap : gaps) {
        const auto first = early.begin() + static_cast<std::ptrdiff_t>(gap.oldFirst);
        const auto last = early.begin() + static_cast<std::ptrdiff_t>(gap.oldEnd);
        const auto removed = static_cast<std::size_t>(std::count(first, last, false));
        if (removed != 0 || gap.first != gap.end) {
            splices.push_back({gap.first, removed, gap.end - gap.first});
        }
    }
    if (splices.size() > MOST_SPLICES) {
        return {WholeRange(gaps)};
    }
    return splices;
}

} // namespace applist_internal
