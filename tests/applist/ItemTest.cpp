// The library's value item: copies of other items, and its record on a stream.
#include <applist/RemoteAppListItem.h>

#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "NamedRow.h"
#include "TestItem.h"

namespace {

using namespace std::string_literals;
using testing::ElementsAre;

static_assert(std::is_abstract<AppListItem>::value, "hosts bring their own items");
static_assert(std::has_virtual_destructor<AppListItem>::value, "hosts delete through the base");
static_assert(
    std::is_same<decltype(&AppListItem::GetVisibleName), std::string (AppListItem::*)()>::value,
    "by value and not const");
static_assert(
    std::is_same<decltype(&AppListItem::GetUnigueId), std::string (AppListItem::*)()>::value,
    "by value and not const");
static_assert(std::is_convertible<AppListItem&, RemoteAppListItem>::value, "a conversion");

RemoteAppListItem Value(const std::string& name, const std::string& id) {
    TestItem item(name, id);
    return RemoteAppListItem(item);
}

std::string Written(const RemoteAppListItem& item) {
    std::ostringstream stream;
    stream << item;
    return stream.str();
}

/** Records the written text at each flush. */
class FlushRecorder : public std::stringbuf {
public:
    std::vector<std::string> flushes;

protected:
    int sync() override {
        flushes.push_back(str());
        return 0;
    }
};

TEST(ValueItem, IsEmptyAfterDefaultConstruction) {
    RemoteAppListItem item;
    EXPECT_EQ(item.GetVisibleName(), "");
    EXPECT_EQ(item.GetUnigueId(), "");
}

TEST(ValueItem, SnapshotReadsTheNameOnceAndThenTheIdOnce) {
    std::vector<std::string> reads;
    TestItem source("Clock", "clock.01");
    source.onRead = [&](const std::string& field) { reads.push_back(field); };
    RemoteAppListItem item(source);
    EXPECT_THAT(reads, ElementsAre("name", "id"));
    EXPECT_EQ(item.GetVisibleName(), "Clock");
    EXPECT_EQ(item.GetUnigueId(), "clock.01");
}

TEST(ValueItem, AssignmentReadsTheNameOnceAndThenTheIdOnce) {
    std::vector<std::string> reads;
    TestItem source("Clock", "clock.01");
    source.onRead = [&](const std::string& field) { reads.push_back(field); };
    RemoteAppListItem item = Value("Old", "old");
    AppListItem& other = source;
    EXPECT_EQ(&(item = other), &item);
    EXPECT_THAT(reads, ElementsAre("name", "id"));
    EXPECT_EQ(item.GetVisibleName(), "Clock");
    EXPECT_EQ(item.GetUnigueId(), "clock.01");
}

TEST(ValueItem, IsNotChangedByLaterChangesOfItsSource) {
    RemoteAppListItem source = Value("Clock", "clock.01");
    AppListItem& other = source;
    RemoteAppListItem snapshot(other);
    source = Value("Music", "music.02");
    EXPECT_EQ(Written(snapshot), "Clock\nclock.01\n");
}

TEST(ValueItem, IsCopiedMemberByMember) {
    std::vector<RemoteAppListItem> items(1, Value("Clock", "clock.01"));
    const RemoteAppListItem copy = items.front();
    items.front() = Value("Music", "music.02");
    EXPECT_EQ(Written(copy), "Clock\nclock.01\n");
    items.front() = copy;
    EXPECT_EQ(Written(items.front()), "Clock\nclock.01\n");
}

TEST(ValueItem, FlushesAfterEachOfItsTwoLines) {
    FlushRecorder buffer;
    std::ostream stream(&buffer);
    stream << Value("Clock", "clock.01");
    EXPECT_THAT(buffer.flushes, ElementsAre("Clock\n", "Clock\nclock.01\n"));
}

TEST(ValueItem, StreamOperatorsReturnTheirStream) {
    std::stringstream stream;
    RemoteAppListItem item;
    EXPECT_EQ(&(static_cast<std::ostream&>(stream) << item), &stream);
    EXPECT_EQ(&(static_cast<std::istream&>(stream) >> item), &stream);
}

// Written records

struct WriteRow : NamedRow {
    std::string name;
    std::string id;
    std::string record;
};

class ValueItemWrites : public testing::TestWithParam<WriteRow> {};

TEST_P(ValueItemWrites, TheRecord) {
    const WriteRow& row = GetParam();
    EXPECT_EQ(Written(Value(row.name, row.id)), row.record);
}

INSTANTIATE_TEST_SUITE_P(
    Fields, ValueItemWrites,
    testing::Values(WriteRow{"Ordinary", "Clock", "clock.01", "Clock\nclock.01\n"},
                    WriteRow{"Empty", "", "", "\n\n"},
                    WriteRow{"ZeroBytes", "A\0B"s, "\0"s, "A\0B\n\0\n"s},
                    WriteRow{"CarriageReturns", "A\r", "1\r", "A\r\n1\r\n"},
                    WriteRow{"NotUtf8", "\xFF\xC3", "\x80", "\xFF\xC3\n\x80\n"},
                    WriteRow{"Blanks", " A ", "\t1 ", " A \n\t1 \n"},
                    WriteRow{"LineFeedInside", "Two\nLines", "x", "Two\nLines\nx\n"}),
    RowName<WriteRow>);

// Reads into an item with "old name" and "old id"

struct ReadRow : NamedRow {
    std::string bytes;
    std::string name;
    std::string id;
    std::ios::iostate state;
};

class ValueItemReads : public testing::TestWithParam<ReadRow> {};

TEST_P(ValueItemReads, FieldsAndStreamState) {
    const ReadRow& row = GetParam();
    std::istringstream stream(row.bytes);
    RemoteAppListItem item = Value("old name", "old id");
    stream >> item;
    EXPECT_EQ(item.GetVisibleName(), row.name);
    EXPECT_EQ(item.GetUnigueId(), row.id);
    EXPECT_EQ(stream.rdstate(), row.state);
}

INSTANTIATE_TEST_SUITE_P(
    Bytes, ValueItemReads,
    testing::Values(ReadRow{"ACompleteRecord", "A\n1\n", "A", "1", std::ios::goodbit},
                    ReadRow{"OneOfTwoRecords", "A\n1\nB\n2\n", "A", "1", std::ios::goodbit},
                    ReadRow{"EmptyLines", "\n\n", "", "", std::ios::goodbit},
                    ReadRow{"NoLastLineFeed", "A\n1", "A", "1", std::ios::eofbit},
                    ReadRow{"NoIdLine", "A\n", "A", "", std::ios::eofbit | std::ios::failbit},
                    ReadRow{"NameAtTheEndKeepsTheOldId", "A", "A", "old id", std::ios::eofbit},
                    ReadRow{"NothingKeepsTheOldId", "", "", "old id",
                            std::ios::eofbit | std::ios::failbit},
                    ReadRow{"ZeroBytes", "A\0B\n\0\n"s, "A\0B"s, "\0"s, std::ios::goodbit},
                    ReadRow{"CarriageReturns", "A\r\n1\r\n", "A\r", "1\r", std::ios::goodbit},
                    ReadRow{"NotUtf8", "\xFF\n\x80\n", "\xFF", "\x80", std::ios::goodbit},
                    ReadRow{"BlanksAreKept", " A \n\t1 \n", " A ", "\t1 ", std::ios::goodbit}),
    RowName<ReadRow>);

struct StateRow : NamedRow {
    std::ios::iostate state;
};

class ValueItemRefusesToRead : public testing::TestWithParam<StateRow> {};

TEST_P(ValueItemRefusesToRead, AndLeavesItemAndStreamAlone) {
    std::istringstream stream("A\n1\n");
    stream.setstate(GetParam().state);
    RemoteAppListItem item = Value("old name", "old id");
    stream >> item;
    EXPECT_EQ(Written(item), "old name\nold id\n");
    EXPECT_EQ(stream.rdstate(), GetParam().state);
    stream.clear();
    EXPECT_EQ(stream.tellg(), 0);
}

INSTANTIATE_TEST_SUITE_P(StreamWith, ValueItemRefusesToRead,
                         testing::Values(StateRow{"Badbit", std::ios::badbit},
                                         StateRow{"Eofbit", std::ios::eofbit},
                                         StateRow{"Failbit", std::ios::failbit}),
                         RowName<StateRow>);

} // namespace
