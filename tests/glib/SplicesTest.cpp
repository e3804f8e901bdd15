// The ranges between two lists, compared with the longest common part and replayed one by one.
#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <Splices.h>
#include <gmock/gmock.h>

#include "NamedRow.h"

using namespace applist_internal;

namespace {

using testing::ElementsAre;

/** Lists of one-letter ids; an upper-case letter is the same id with another name. */
using LetterList = std::string;

char IdOf(char letter) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
}

std::vector<Splice> Between(const LetterList& before, const LetterList& after) {
    std::vector<Origin> origins;
    for (const char letter : after) {
        const auto same = std::find_if(before.begin(), before.end(),
                                       [&](char old) { return IdOf(old) == IdOf(letter); });
        if (same == before.end()) {
            origins.push_back({NEW_ITEM, false});
        } else {
            origins.push_back({static_cast<std::size_t>(same - before.begin()), *same == letter});
        }
    }
    return SplicesBetween(before.size(), origins);
}

std::size_t LongestCommonPart(const LetterList& left, const LetterList& right) {
    std::vector<std::vector<std::size_t>> lengths(left.size() + 1,
                                                  std::vector<std::size_t>(right.size() + 1));
    for (std::size_t i = 1; i <= left.size(); ++i) {
        for (std::size_t j = 1; j <= right.size(); ++j) {
            lengths[i][j] = left[i - 1] == right[j - 1]
                                ? lengths[i - 1][j - 1] + 1
                                : std::max(lengths[i - 1][j], lengths[i][j - 1]);
        }
    }
    return lengths.back().back();
}

bool HasAnIdTwice(const LetterList& list) {
    std::set<char> ids;
    return std::any_of(list.begin(), list.end(),
                       [&](char letter) { return !ids.insert(IdOf(letter)).second; });
}

LetterList AnyList(std::mt19937& random) {
    LetterList letters = "abcdefghijkl";
    std::shuffle(letters.begin(), letters.end(), random);
    letters.resize(random() % (letters.size() + 1));
    for (char& letter : letters) {
        if (random() % 4 == 0) {
            letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
        }
    }
    if (random() % 2 == 0) { // few moves
        std::sort(letters.begin(), letters.end(),
                  [](char left, char right) { return IdOf(left) < IdOf(right); });
    }
    return letters;
}

TEST(Splices, ChangeAsFewItemsAsPossibleAndNeverHoldAnIdTwice) {
    std::mt19937 random; // the same lists in each run
    for (int i = 0; i < 20000; ++i) {
        const LetterList before = AnyList(random);
        const LetterList after = AnyList(random);
        LetterList list = before;
        std::size_t changed = 0;
        for (const Splice& splice : Between(before, after)) {
            ASSERT_TRUE(splice.removed + splice.added > 0);
            ASSERT_LE(splice.position + splice.removed, list.size());
            const LetterList added =
                splice.added == 0 ? "" : after.substr(splice.position, splice.added);
            ASSERT_EQ(added.size(), splice.added);
            list.replace(splice.position, splice.removed, added);
            ASSERT_FALSE(HasAnIdTwice(list)) << before << " to " << after << " over " << list;
            changed += splice.removed + splice.added;
        }
        ASSERT_EQ(list, after) << "from " << before;
        ASSERT_EQ(changed, before.size() + after.size() - 2 * LongestCommonPart(before, after))
            << before << " to " << after;
    }
}

TEST(Splices, ReplaceARenamedItemInItsPlace) {
    EXPECT_THAT(Between("abcd", "abCd"), ElementsAre(Splice{2, 1, 1}));
}

TEST(Splices, RemoveAnItemThatMovesToTheFrontBeforeItsReturn) {
    EXPECT_THAT(Between("abcd", "dabc"), ElementsAre(Splice{3, 1, 0}, Splice{0, 0, 1}));
    EXPECT_THAT(Between("abcd", "bcda"), ElementsAre(Splice{0, 1, 0}, Splice{3, 0, 1}));
}

TEST(Splices, AreEmptyBetweenEqualLists) {
    EXPECT_THAT(Between("abc", "abc"), ElementsAre());
    EXPECT_THAT(Between("", ""), ElementsAre());
}

// Every second item is new: a range for each would cost the users of the list more than one refill.
TEST(Splices, BecomeOneRangeAboveTheLimit) {
    const auto everySecond = [](std::size_t changes) {
        std::vector<Origin> origins{{0, true}};
        for (std::size_t i = 0; i < changes; ++i) {
            origins.push_back({NEW_ITEM, false});
            origins.push_back({i + 1, true});
        }
        return SplicesBetween(changes + 1, origins);
    };
    EXPECT_EQ(everySecond(MOST_SPLICES).size(), MOST_SPLICES);
    EXPECT_THAT(everySecond(MOST_SPLICES + 1),
                ElementsAre(Splice{1, MOST_SPLICES, 2 * MOST_SPLICES + 1}));
}

} // namespace
