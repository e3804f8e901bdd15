// The requests that change one list into another: their result and their number.
#include <algorithm>
#include <cstddef>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <client/ListDifference.h>
#include <gmock/gmock.h>

#include "ClientHost.h"

using namespace applist_internal;

namespace {

SharedItems Shared(const std::vector<AppListClient::Item>& items) {
    SharedItems shared;
    for (const AppListClient::Item& item : items) {
        shared.push_back(std::make_shared<const AppListClient::Item>(item));
    }
    return shared;
}

std::size_t Find(const SharedItems& items, const std::string& uniqueId) {
    std::size_t i = 0;
    while (i < items.size() && items[i]->uniqueId != uniqueId) {
        ++i;
    }
    return i;
}

// A request concerns the first item with its unique id, which must be the one at the position.
void ExpectFirst(const SharedItems& items, std::size_t position) {
    ASSERT_LT(position, items.size());
    EXPECT_EQ(Find(items, items[position]->uniqueId), position);
}

void Apply(const ListStep& step, SharedItems& items) {
    switch (step.kind) {
    case ListStep::Kind::REMOVE_ALL:
        items.clear();
        return;
    case ListStep::Kind::REMOVE:
        ExpectFirst(items, step.position);
        items.erase(items.begin() + static_cast<std::ptrdiff_t>(step.position));
        return;
    case ListStep::Kind::MODIFY:
        ExpectFirst(items, step.position);
        items[step.position] = step.items.front();
        return;
    case ListStep::Kind::APPEND:
        for (const SharedItem& item : step.items) {
            ASSERT_EQ(Find(items, item->uniqueId), items.size()) << item->uniqueId;
            items.push_back(item);
        }
        return;
    }
}

std::string Text(const SharedItems& items) {
    std::string text;
    for (const SharedItem& item : items) {
        text += item->uniqueId + "=" + item->visibleName + " ";
    }
    return text;
}

std::vector<ListStep> Check(SharedItems present, const SharedItems& wanted,
                            const std::string& removed = "") {
    std::vector<ListStep> steps = ListDifference(present, wanted, removed);
    for (const ListStep& step : steps) {
        Apply(step, present);
    }
    EXPECT_EQ(Text(present), Text(wanted));
    return steps;
}

std::string Kinds(const std::vector<ListStep>& steps) {
    std::string kinds;
    for (const ListStep& step : steps) {
        kinds += "crma"[static_cast<int>(step.kind)];
    }
    return kinds;
}

struct Difference {
    const char* present;
    const char* wanted;
    const char* kinds; // c: remove all, r: remove, m: modify, a: append
};

class Differences : public testing::TestWithParam<Difference> {};

TEST_P(Differences, AreTheFewestRequests) {
    const Difference& row = GetParam();
    EXPECT_EQ(Kinds(Check(Shared(LetterItems(row.present)), Shared(LetterItems(row.wanted)))),
              row.kinds);
}

INSTANTIATE_TEST_SUITE_P(
    ListDifference, Differences,
    testing::Values(Difference{"", "", ""}, Difference{"abc", "abc", ""},
                    Difference{"", "abc", "a"}, Difference{"abc", "abcdef", "a"},
                    Difference{"abcdef", "acdef", "r"}, Difference{"abcdef", "abxdef", "m"},
                    Difference{"abcdef", "bacdef", "mm"}, Difference{"abcdef", "bcadef", "mmm"},
                    Difference{"abcdef", "bcdefa", "ra"}, Difference{"abcdefgh", "", "c"},
                    Difference{"abcdefgh", "stuvwxyz", "ca"}, Difference{"abcdef", "abcde", "r"},
                    Difference{"a", "b", "m"}));

// Compared with the length of the shortest way, from the textbook's table.
std::size_t ShortestWay(const SharedItems& present, const SharedItems& wanted) {
    const std::size_t n = present.size();
    const std::size_t m = wanted.size();
    std::size_t best = n + m + 1;
    std::vector<std::vector<std::size_t>> cost(n + 1, std::vector<std::size_t>(m + 1, n + m + 1));
    for (std::size_t i = 0; i <= n; ++i) {
        cost[i][0] = i;
        for (std::size_t j = 1; j <= std::min(i, m); ++j) {
            const std::size_t replaced = IsEqual(present[i - 1], wanted[j - 1]) ? 0 : 1;
            cost[i][j] = std::min(cost[i - 1][j - 1] + replaced, cost[i - 1][j] + 1);
        }
    }
    for (std::size_t j = 0; j <= std::min(n, m); ++j) {
        best = std::min(best, cost[n][j] + (j < m ? 1 : 0));
    }
    return best;
}

std::vector<AppListClient::Item> RandomItems(std::mt19937& random) {
    std::string ids = "abcdefghijkl";
    std::shuffle(ids.begin(), ids.end(), random);
    std::vector<AppListClient::Item> items =
        LetterItems(ids.substr(0, std::uniform_int_distribution<std::size_t>(0, 12)(random)));
    for (AppListClient::Item& item : items) {
        if (random() % 5 == 0) {
            item.visibleName += "'";
        }
    }
    return items;
}

TEST(ListDifference, LeadsFromAnyListToAnyOther) {
    std::mt19937 random(1);
    for (int i = 0; i < 20000; ++i) {
        const SharedItems present = Shared(RandomItems(random));
        const SharedItems wanted = Shared(RandomItems(random));
        const std::size_t steps = Check(present, wanted).size();
        EXPECT_LE(steps, std::max<std::size_t>(ShortestWay(present, wanted), 2))
            << Text(present) << "to " << Text(wanted);
        if (HasFailure()) {
            return;
        }
    }
}

TEST(ListDifference, RemovesTheItemThatMustGoEvenIfItIsWanted) {
    std::mt19937 random(2);
    for (int i = 0; i < 5000; ++i) {
        const SharedItems present = Shared(RandomItems(random));
        if (present.empty()) {
            continue;
        }
        const std::string removed = present[random() % present.size()]->uniqueId;
        const std::string kinds = Kinds(Check(present, Shared(RandomItems(random)), removed));
        SharedItems items = present;
        bool isRemoved = false;
        for (const ListStep& step : ListDifference(present, Shared(RandomItems(random)), removed)) {
            isRemoved =
                isRemoved || step.kind == ListStep::Kind::REMOVE_ALL ||
                (step.kind == ListStep::Kind::REMOVE && items[step.position]->uniqueId == removed);
            Apply(step, items);
        }
        ASSERT_TRUE(isRemoved) << Text(present) << "without " << removed << ": " << kinds;
    }
}

TEST(ListDifference, OfAPermutationIsOneRequestForEachMovedItem) {
    std::vector<AppListClient::Item> items;
    for (int i = 0; i < 10000; ++i) {
        items.push_back({"id" + std::to_string(i), "Application " + std::to_string(i)});
    }
    std::vector<AppListClient::Item> permuted = items;
    std::vector<std::size_t> places(items.size());
    std::iota(places.begin(), places.end(), 0);
    std::mt19937 random(3);
    std::shuffle(places.begin(), places.end(), random);
    for (std::size_t i = 0; i < 100; ++i) {
        permuted[places[i]] = items[places[(i + 1) % 100]];
    }
    const std::vector<ListStep> steps = Check(Shared(items), Shared(permuted));
    EXPECT_EQ(steps.size(), 100U);
}

} // namespace
