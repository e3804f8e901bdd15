// Look-up of an item by its unique id. Each comparison reads the id of the key, then of the
// element.
#include <string>
#include <vector>

#include "ListTest.h"
#include "NamedRow.h"
#include "TestItem.h"

namespace {

using namespace std::string_literals;
using testing::ElementsAre;

class Lookup : public ListTest {
protected:
    /** Makes @p item write "LABEL.FIELD" into the trace at each read. */
    void Trace(TestItem& item, const std::string& label) {
        item.onRead = [this, label](const std::string& field) {
            reads.push_back(label + "." + field);
        };
    }

    std::vector<std::string> reads;
};

TEST_F(Lookup, ComparesOnlyTheIdsOfKeyAndElements) {
    TestItem key("K", "1");
    TestItem element("E", "1");
    Trace(key, "key");
    Trace(element, "element");
    const ApplistItemComparator sameItem(&key);
    EXPECT_TRUE(sameItem(&element));
    EXPECT_TRUE(sameItem(&element));
    EXPECT_THAT(reads, ElementsAre("key.id", "element.id", "key.id", "element.id"));
}

TEST_F(Lookup, ReadsTheKeyOncePerElementUntilTheFirstMatch) {
    TestItem first("F", "1");
    TestItem second("S", "2");
    TestItem third("T", "3");
    model->AddItems({&first, &second, &third});
    TestItem key("K", "2");
    Trace(first, "first");
    Trace(second, "second");
    Trace(third, "third");
    Trace(key, "key");
    TestItem replacement("R", "9");
    model->ModifyItem(&key, &replacement);
    reads.resize(4);
    EXPECT_THAT(reads, ElementsAre("key.id", "first.id", "key.id", "second.id"));
}

TEST_F(Lookup, OfAddItemsCoversEarlierItemsOfTheSameCall) {
    TestItem first("F", "1");
    TestItem second("S", "2");
    Trace(first, "first");
    Trace(second, "second");
    model->AddItems({&first, &second});
    ASSERT_GE(reads.size(), 2U);
    reads.resize(2);
    EXPECT_THAT(reads, ElementsAre("second.id", "first.id"));
}

struct IdRow : NamedRow {
    std::string key;
    std::string element;
    bool same;
};

class LookupCompares : public testing::TestWithParam<IdRow> {};

TEST_P(LookupCompares, IdsByteForByte) {
    TestItem key("one name", GetParam().key);
    TestItem element("another name", GetParam().element);
    EXPECT_EQ(ApplistItemComparator(&key)(&element), GetParam().same);
}

INSTANTIATE_TEST_SUITE_P(Of, LookupCompares,
                         testing::Values(IdRow{"EqualBytes", "clock.01", "clock.01", true},
                                         IdRow{"EmptyIds", "", "", true},
                                         IdRow{"OtherCase", "clock", "Clock", false},
                                         IdRow{"ABlankBehind", "clock", "clock ", false},
                                         IdRow{"APrefix", "clock", "clock.01", false},
                                         IdRow{"AZeroByteBehind", "clock", "clock\0"s, false},
                                         IdRow{"BytesBehindAZeroByte", "c\0a"s, "c\0b"s, false},
                                         IdRow{"EqualBytesThatAreNoUtf8", "\xFF", "\xFF", true}),
                         RowName<IdRow>);

} // namespace
