// Encoding and decoding of items and lists: the bytes, the log, and the result for malformed data.
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "ListTest.h"
#include "NamedRow.h"
#include "TestItem.h"

namespace {

using namespace std::string_literals;
using LogLines::Model, LogLines::Pointer;
using testing::ElementsAre, testing::ElementsAreArray, testing::IsEmpty, testing::SizeIs;

using Fields = std::vector<std::pair<std::string, std::string>>;

class SerialForm : public ListTest {
protected:
    SerialForm() { CapturedLog::Clear(); }

    Fields Deserialized(const std::string& bytes) {
        Fields fields;
        for (RemoteAppListItem& item : model->Deserialize(ByteVector(bytes))) {
            fields.emplace_back(item.GetVisibleName(), item.GetUnigueId());
        }
        return fields;
    }
};

std::string RandomField(std::mt19937& random) {
    std::string field;
    const auto length = random() % 12;
    while (field.size() < length) {
        const char byte = static_cast<char>(static_cast<unsigned char>(random() % 256));
        if (byte != '\n') {
            field += byte;
        }
    }
    return field;
}

TEST_F(SerialForm, OfAnItemIsItsRecord) {
    TestItem clock("Clock", "clock.01");
    EXPECT_EQ(model->Serialize(&clock), "Clock\nclock.01\n");
    EXPECT_THAT(LogLines::All(),
                ElementsAre(Model("Serialize", "Serialize item: " + Pointer(&clock))));
}

TEST_F(SerialForm, OfAnItemReadsTheNameOnceAndThenTheIdOnce) {
    std::vector<std::string> reads;
    TestItem clock("Clock", "clock.01");
    clock.onRead = [&](const std::string& field) { reads.push_back(field); };
    model->Serialize(&clock);
    EXPECT_THAT(reads, ElementsAre("name", "id"));
}

TEST_F(SerialForm, OfAListIsTheRecordsInListOrder) {
    TestItem clock("Clock", "clock.01");
    TestItem music("Music Player", "music.02");
    EXPECT_EQ(model->Serialize(std::vector<AppListItem*>{&clock, &music}),
              "\x43\x6C\x6F\x63\x6B\x0A\x63\x6C\x6F\x63\x6B\x2E\x30\x31\x0A"
              "\x4D\x75\x73\x69\x63\x20\x50\x6C\x61\x79\x65\x72\x0A"
              "\x6D\x75\x73\x69\x63\x2E\x30\x32\x0A");
    EXPECT_THAT(
        LogLines::All(),
        ElementsAre(
            Model("Serialize", "Number of items to serialize: 2"),
            Model("Serialize", " - AppListItem name: Clock, uniqueId: clock.01"),
            Model("Serialize", "Serialize item: " + Pointer(static_cast<AppListItem*>(&clock))),
            Model("Serialize", " - AppListItem name: Music Player, uniqueId: music.02"),
            Model("Serialize", "Serialize item: " + Pointer(static_cast<AppListItem*>(&music)))));
}

TEST_F(SerialForm, OfAnEmptyListIsEmpty) {
    EXPECT_EQ(model->Serialize(std::vector<AppListItem*>()), "");
    EXPECT_THAT(LogLines::All(),
                ElementsAre(Model("Serialize", "Number of items to serialize: 0")));
}

TEST_F(SerialForm, OfALineFeedInANameShiftsTheFields) {
    TestItem item("Two\nLines", "x");
    const std::string record = model->Serialize(&item);
    EXPECT_EQ(record, "Two\nLines\nx\n");
    EXPECT_EQ(Deserialized(record), (Fields{{"Two", "Lines"}}));
}

TEST_F(SerialForm, CutsAFieldAtAZeroByteInTheLogOnly) {
    TestItem item("A\0B"s, "1\0002"s);
    EXPECT_EQ(model->Serialize(std::vector<AppListItem*>{&item}), "A\0B\n1\0002\n"s);
    EXPECT_EQ(CountDebug(" - AppListItem name: A, uniqueId: 1"), 1U);
    EXPECT_EQ(Deserialized("A\0B\n1\0002\n"s), (Fields{{"A\0B"s, "1\0002"s}}));
    EXPECT_EQ(CountDebug(" - RemoteAppListItem name: A, uniqueId: 1"), 1U);
}

TEST_F(SerialForm, LogsPercentSignsOfAFieldUnchanged) {
    TestItem item("%s%n%d", "%100000c");
    model->Serialize(std::vector<AppListItem*>{&item});
    EXPECT_EQ(CountDebug(" - AppListItem name: %s%n%d, uniqueId: %100000c"), 1U);
}

TEST_F(SerialForm, LogsTheLengthAndEachCompleteRecordThatItReads) {
    Deserialized("A\n1\nB\n2\nC\n");
    EXPECT_THAT(LogLines::All(),
                ElementsAre(Model("Deserialize", "Deserialize data length: 10"),
                            Model("Deserialize", " - RemoteAppListItem name: A, uniqueId: 1"),
                            Model("Deserialize", " - RemoteAppListItem name: B, uniqueId: 2")));
}

TEST_F(SerialForm, HasNoUpperBoundOnTheNumberOfRecords) {
    std::string bytes;
    for (int i = 0; i < 20000; ++i) {
        bytes += "A\n1\n";
    }
    EXPECT_THAT(Deserialized(bytes), SizeIs(20000));
}

TEST_F(SerialForm, HasNoLengthLimitOfAField) {
    const std::string name(3000000, 'n');
    const std::string id(2000000, 'i');
    EXPECT_EQ(Deserialized(name + "\n" + id + "\n"), (Fields{{name, id}}));
}

TEST_F(SerialForm, KeepsAllFieldsWithoutLineFeeds) {
    std::mt19937 random(20240117);
    for (int round = 0; round < 200; ++round) {
        Fields fields;
        std::vector<std::unique_ptr<TestItem>> owned;
        std::vector<AppListItem*> items;
        for (auto count = random() % 8; count > 0; --count) {
            fields.emplace_back(RandomField(random), RandomField(random));
            owned.push_back(std::make_unique<TestItem>(fields.back().first, fields.back().second));
            items.push_back(owned.back().get());
        }
        ASSERT_EQ(Deserialized(model->Serialize(items)), fields) << "in round " << round;
    }
}

struct DeserializeRow : NamedRow {
    std::string bytes;
    Fields fields;
};

class SerialFormReads : public SerialForm, public testing::WithParamInterface<DeserializeRow> {};

TEST_P(SerialFormReads, TheCompleteRecords) {
    const DeserializeRow& row = GetParam();
    EXPECT_EQ(Deserialized(row.bytes), row.fields);
    ASSERT_THAT(LogLines::All(), SizeIs(1 + row.fields.size()));
    EXPECT_EQ(LogLines::All().front(),
              Model("Deserialize", "Deserialize data length: " + std::to_string(row.bytes.size())));
}

INSTANTIATE_TEST_SUITE_P(
    Of, SerialFormReads,
    testing::Values(
        DeserializeRow{"NoBytes", "", {}}, DeserializeRow{"OneRecord", "A\n1\n", {{"A", "1"}}},
        DeserializeRow{"NoLastLineFeed", "A\n1", {}},
        DeserializeRow{"SecondWithoutLastLineFeed", "A\n1\nB\n2", {{"A", "1"}}},
        DeserializeRow{"SecondWithoutIdLine", "A\n1\nB\n", {{"A", "1"}}},
        DeserializeRow{"BytesBehindTheLastLineFeed", "A\n1\nB", {{"A", "1"}}},
        DeserializeRow{"ANameAlone", "A", {}}, DeserializeRow{"ANameLineAlone", "A\n", {}},
        DeserializeRow{"OneEmptyLine", "\n", {}},
        DeserializeRow{"TwoEmptyLines", "\n\n", {{"", ""}}},
        DeserializeRow{"AnEmptyNameAndAnEmptyId", "\n1\nA\n\n", {{"", "1"}, {"A", ""}}},
        DeserializeRow{"CarriageReturns", "A\r\n1\r\n", {{"A\r", "1\r"}}},
        DeserializeRow{"ZeroBytes", "\0\n\0\0\n"s, {{"\0"s, "\0\0"s}}},
        DeserializeRow{"NotUtf8", "\xFF\xFE\n\xC0\n", {{"\xFF\xFE", "\xC0"}}},
        DeserializeRow{"TheSameRecordTwice", "A\n1\nA\n1\n", {{"A", "1"}, {"A", "1"}}},
        DeserializeRow{
            "RecordsInTheirOrder", "C\n3\nA\n1\nB\n2\n", {{"C", "3"}, {"A", "1"}, {"B", "2"}}}),
    RowName<DeserializeRow>);

} // namespace
