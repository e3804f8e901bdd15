#include <qt/RowDifference.h>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <unordered_map>

namespace applist_internal {

namespace {

constexpr int ABSENT = -1;

/** The rows of one list, as their rows in the other one, or ABSENT. */
using RowMap = std::vector<int>;

std::size_t At(int row) {
    return static_cast<std::size_t>(row);
}

RowMap RowsIn(const RowItems& other, const RowItems& items) {
    std::unordered_map<std::string_view, int> rows;
    for (const AppListClient::Item& item : other) {
        rows.emplace(item.uniqueId, static_cast<int>(rows.size()));
    }
    RowMap map;
    map.reserve(items.size());
    for (const AppListClient::Item& item : items) {
        const auto found = rows.find(item.uniqueId);
        map.push_back(found == rows.end() ? ABSENT : found->second);
    }
    return map;
}

/** Adds a step for each run of rows with this property. */
template <class HasProperty>
void AddRuns(std::vector<RowStep>& steps, RowStep::Kind kind, int count, HasProperty hasProperty) {
    for (int row = 0; row < count; ++row) {
        const int first = row;
        while (row < count && hasProperty(row)) {
            ++row;
        }
        if (row > first) {
            steps.push_back({kind, first, row - first});
        }
    }
}

/** @return the values of a longest increasing subsequence, in ascending order */
std::vector<int> LongestIncreasing(const std::vector<int>& values) {
    std::vector<std::size_t> ends; // of the best subsequence of each length: its last index
    std::vector<std::size_t> previous(values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        const auto end =
            std::lower_bound(ends.begin(), ends.end(), values[i],
                             [&](std::size_t index, int value) { return values[index] < value; });
        previous[i] = end == ends.begin() ? i : *std::prev(end);
        if (end == ends.end()) {
            ends.push_back(i);
        } else {
            *end = i;
        }
    }
    std::vector<int> longest(ends.size());
    std::size_t index = ends.empty() ? 0 : ends.back();
    for (auto value = longest.rbegin(); value != longest.rend(); ++value) {
        *value = values[index];
        index = previous[index];
    }
    return longest;
}

/** Each moved row goes behind its predecessor in the wanted order. */
void AddMoves(std::vector<RowStep>& steps, RowMap kept) {
    RowMap wanted = kept;
    std::sort(wanted.begin(), wanted.end());
    const RowMap stable = LongestIncreasing(kept);
    if (kept.size() - stable.size() > MOST_ROW_STEPS) {
        steps.resize(MOST_ROW_STEPS + 1);
        return;
    }
    for (auto next = wanted.begin(); next != wanted.end(); ++next) {
        if (std::binary_search(stable.begin(), stable.end(), *next)) {
            continue;
        }
        const auto from = std::find(kept.begin(), kept.end(), *next);
        const auto to = next == wanted.begin()
                            ? kept.begin()
                            : std::find(kept.begin(), kept.end(), *std::prev(next)) + 1;
        const int first = static_cast<int>(from - kept.begin());
        const int gap = static_cast<int>(to - kept.begin());
        steps.push_back({RowStep::Kind::MOVE, first, 1, gap > first ? gap - 1 : gap});
        if (from < to) {
            std::rotate(from, from + 1, to);
        } else {
            std::rotate(to, from, from + 1);
        }
    }
}

} // namespace

std::vector<RowStep> RowDifference(const RowItems& present, const RowItems& wanted) {
    std::vector<RowStep> refill{{RowStep::Kind::REFILL}};
    const int count = static_cast<int>(wanted.size());
    RowMap kept = RowsIn(wanted, present);
    const RowMap origin = RowsIn(present, wanted);
    std::vector<RowStep> steps;
    AddRuns(steps, RowStep::Kind::REMOVE, static_cast<int>(present.size()),
            [&](int row) { return kept[At(row)] == ABSENT; });
    std::reverse(steps.begin(), steps.end());

    kept.erase(std::remove(kept.begin(), kept.end(), ABSENT), kept.end());
    if (kept.empty() && !present.empty() && !wanted.empty()) {
        return refill;
    }
    AddMoves(steps, std::move(kept));
    AddRuns(steps, RowStep::Kind::INSERT, count,
            [&](int row) { return origin[At(row)] == ABSENT; });
    AddRuns(steps, RowStep::Kind::CHANGE, count, [&](int row) {
        const int before = origin[At(row)];
        return before != ABSENT && present[At(before)].visibleName != wanted[At(row)].visibleName;
    });
    return steps.size() > MOST_ROW_STEPS ? refill : steps;
}

} // namespace applist_internal
