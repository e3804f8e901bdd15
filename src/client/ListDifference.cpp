#include <client/ListDifference.h>

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace applist_internal {

namespace {

// To empty the list, to fill it, and to select.
constexpr std::size_t REFILL_REQUESTS = 3;
// The search needs memory for the square of this number.
constexpr std::size_t MOST_STEPS = 1000;

using Positions = std::unordered_map<std::string_view, std::size_t>;

Positions PositionsOf(const SharedItems& items) {
    Positions positions;
    positions.reserve(items.size());
    for (std::size_t i = 0; i < items.size(); ++i) {
        positions.emplace(items[i]->uniqueId, i);
    }
    return positions;
}

/** The removals of a shortest difference, found along the diagonals of the edit graph. */
class Alignment {
public:
    Alignment(const SharedItems& present, const SharedItems& wanted, const std::string& removedId)
        : m_present(present), m_wanted(wanted), m_removedId(removedId) {}

    /** @return whether at most @p limit removals and replacements make the difference. */
    bool Find(std::size_t limit);

    /** @return the positions in the present list whose items are removed, in ascending order. */
    std::vector<std::size_t> Removals() const;

private:
    // A point of the graph is a position in the present list. Its diagonal is the number of removed
    // items before this position. Both numbers give the position in the wanted list.
    static constexpr std::size_t UNREACHED = static_cast<std::size_t>(-1);

    std::size_t Slide(std::size_t at, std::size_t removed) const;
    bool MayStay(std::size_t at, std::size_t removed) const;
    std::size_t Furthest(std::size_t cost, std::size_t removed) const;

    const SharedItems& m_present;
    const SharedItems& m_wanted;
    const std::string& m_removedId;
    std::vector<std::vector<std::size_t>> m_furthest; // for each cost, for each diagonal
    std::size_t m_removed = 0;
};

bool Alignment::Find(std::size_t limit) {
    for (std::size_t cost = 0; cost <= limit; ++cost) {
        m_furthest.emplace_back(cost + 1, UNREACHED);
        // The fewest removals leave the shortest append, so the search starts with them.
        for (std::size_t removed = 0; removed <= cost && removed <= m_present.size(); ++removed) {
            const std::size_t at = Furthest(cost, removed);
            m_furthest[cost][removed] = at;
            if (at == m_present.size()) {
                m_removed = removed;
                return true;
            }
        }
    }
    return false;
}

std::size_t Alignment::Furthest(std::size_t cost, std::size_t removed) const {
    if (cost == 0) {
        return Slide(0, 0);
    }
    const std::vector<std::size_t>& before = m_furthest[cost - 1];
    std::size_t best = UNREACHED;
    if (removed < before.size() && before[removed] != UNREACHED &&
        MayStay(before[removed], removed)) {
        best = before[removed] + 1;
    }
    if (removed > 0 && before[removed - 1] != UNREACHED && before[removed - 1] < m_present.size()) {
        const std::size_t after = before[removed - 1] + 1;
        best = best == UNREACHED ? after : std::max(best, after);
    }
    return best == UNREACHED ? UNREACHED : Slide(best, removed);
}

std::size_t Alignment::Slide(std::size_t at, std::size_t removed) const {
    while (MayStay(at, removed) && IsEqual(m_present[at], m_wanted[at - removed])) {
        ++at;
    }
    return at;
}

// As itself or as its replacement.
bool Alignment::MayStay(std::size_t at, std::size_t removed) const {
    return at < m_present.size() && at - removed < m_wanted.size() &&
           (m_removedId.empty() || m_present[at]->uniqueId != m_removedId);
}

std::vector<std::size_t> Alignment::Removals() const {
    std::vector<std::size_t> removals;
    std::size_t removed = m_removed;
    for (std::size_t cost = m_furthest.size() - 1; cost > 0; --cost) {
        const std::vector<std::size_t>& before = m_furthest[cost - 1];
        std::size_t replaced = UNREACHED;
        if (removed < before.size() && before[removed] != UNREACHED &&
            MayStay(before[removed], removed)) {
            replaced = before[removed] + 1;
        }
        const bool byRemoval = removed > 0 && before[removed - 1] != UNREACHED &&
                               (replaced == UNREACHED || before[removed - 1] + 1 > replaced);
        if (byRemoval) {
            --removed;
            removals.push_back(before[removed]);
        }
    }
    std::reverse(removals.begin(), removals.end());
    return removals;
}

/**
 * The replacements at the positions where both lists differ, in an order in which each request
 * finds the right item.
 */
class Replacements {
public:
    Replacements(const SharedItems& present, const SharedItems& wanted)
        : m_present(present),
          m_wanted(wanted),
          m_holders(PositionsOf(present)),
          m_done(present.size(), false) {}

    std::vector<ListStep> Ordered();

private:
    static constexpr std::size_t NOWHERE = static_cast<std::size_t>(-1);

    std::size_t Holder(std::size_t position) const;
    void Replace(std::size_t position);
    void ReplaceChain(std::size_t start);
    void ReplaceCycle(const std::vector<std::size_t>& cycle);

    const SharedItems& m_present;
    const SharedItems& m_wanted;
    const Positions m_holders;
    std::vector<bool> m_done;
    std::vector<ListStep> m_steps;
};

std::vector<ListStep> Replacements::Ordered() {
    for (std::size_t i = 0; i < m_present.size(); ++i) {
        m_done[i] = IsEqual(m_present[i], m_wanted[i]);
    }
    for (std::size_t i = 0; i < m_present.size(); ++i) {
        if (!m_done[i]) {
            ReplaceChain(i);
        }
    }
    return std::move(m_steps);
}

// The position that must be replaced first, because its item has the wanted id.
std::size_t Replacements::Holder(std::size_t position) const {
    const auto found = m_holders.find(m_wanted[position]->uniqueId);
    const bool none =
        found == m_holders.end() || found->second == position || m_done[found->second];
    return none ? NOWHERE : found->second;
}

void Replacements::Replace(std::size_t position) {
    m_steps.push_back({ListStep::Kind::MODIFY, position, {m_wanted[position]}});
    m_done[position] = true;
}

void Replacements::ReplaceChain(std::size_t start) {
    std::vector<std::size_t> chain{start};
    for (std::size_t next = Holder(start); next != NOWHERE; next = Holder(chain.back())) {
        if (next == start) {
            ReplaceCycle(chain);
            return;
        }
        chain.push_back(next);
    }
    for (std::size_t i = chain.size(); i > 0; --i) {
        Replace(chain[i - 1]);
    }
}

// A cycle starts at a position whose wanted id is at an earlier position. The list then contains
// this id twice, until the earlier position, which requests find first, is replaced at the end.
void Replacements::ReplaceCycle(const std::vector<std::size_t>& cycle) {
    const std::size_t length = cycle.size();
    std::size_t first = 0;
    while (cycle[(first + 1) % length] > cycle[first]) {
        ++first;
    }
    for (std::size_t i = 0; i < length; ++i) {
        Replace(cycle[(first + length - i) % length]);
    }
}

void AddAppend(std::vector<ListStep>& steps, const SharedItems& wanted, std::size_t from) {
    if (from < wanted.size()) {
        steps.push_back({ListStep::Kind::APPEND,
                         from,
                         {wanted.begin() + static_cast<std::ptrdiff_t>(from), wanted.end()}});
    }
}

std::vector<ListStep> Refill(const SharedItems& present, const SharedItems& wanted) {
    std::vector<ListStep> steps;
    if (!present.empty()) {
        steps.push_back({ListStep::Kind::REMOVE_ALL, 0, {}});
    }
    AddAppend(steps, wanted, 0);
    return steps;
}

} // namespace

std::vector<ListStep> ListDifference(const SharedItems& present, const SharedItems& wanted,
                                     const std::string& removed) {
    Alignment alignment(present, wanted, removed);
    const std::size_t quarter = (present.size() + wanted.size()) / 4 + REFILL_REQUESTS;
    if (!alignment.Find(std::min(quarter, MOST_STEPS))) {
        return Refill(present, wanted);
    }

    std::vector<ListStep> steps;
    SharedItems kept;
    const std::vector<std::size_t> removals = alignment.Removals();
    auto removal = removals.begin();
    for (std::size_t i = 0; i < present.size(); ++i) {
        if (removal != removals.end() && *removal == i) {
            steps.push_back({ListStep::Kind::REMOVE, kept.size(), {}});
            ++removal;
        } else {
            kept.push_back(present[i]);
        }
    }
    std::vector<ListStep> replacements = Replacements(kept, wanted).Ordered();
    const bool nothingStays = replacements.size() == kept.size();
    if (nothingStays && steps.size() + replacements.size() > REFILL_REQUESTS) {
        return Refill(present, wanted);
    }
    std::move(replacements.begin(), replacements.end(), std::back_inserter(steps));
    AddAppend(steps, wanted, kept.size());
    return steps;
}

} // namespace applist_internal
