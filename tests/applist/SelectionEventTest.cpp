// The selection event of the partner: the host queries the selection, stores the item of the reply,
// and then calls the listeners.
#include <string>
#include <vector>

#include "ListTest.h"
#include "NamedRow.h"
#include "TestItem.h"
#include "TestListener.h"
#include "WrongBodies.h"

namespace {

using namespace std::string_literals;
using LogLines::Adapter, LogLines::Channel, LogLines::Model;
using testing::Contains, testing::ElementsAre, testing::Not, testing::StartsWith;

/** A list of A (selected) and B, and a listener that reads the selection of the model. */
class SelectionEvent : public ConnectedListTest {
protected:
    SelectionEvent() {
        model->AddItems({&a, &b});
        model->SetSelection(&a);
        listener.onSelection = [this](AppListModel* source) {
            ++calls;
            seen = source->GetSelection();
        };
        model->AddItemSelectionListener(&listener);
        CapturedLog::Clear();
    }

    /** The log from the event's first line in the model on. */
    static std::vector<std::string> LogOfTheEvent() {
        std::vector<std::string> lines = LogLines::All();
        while (!lines.empty() &&
               lines.front().find("Getting remote selection") == std::string::npos) {
            lines.erase(lines.begin());
        }
        return lines;
    }

    /** The event, and the reply of the partner to the query for its selection. */
    void NotifySelection(const std::string& reply) {
        PartnerSelects(reply);
        Notify("\x02\0\0\0"s);
    }

    static std::size_t FoundLines() { return CountDebugStarting("Found selected item on list."); }

    TestItem a{"A", "1"};
    TestItem b{"B", "2"};
    TestListener listener;
    int calls = 0;
    AppListItem* seen = nullptr;
};

TEST_F(SelectionEvent, SelectsTheHostsOwnItemWithTheIdThatThePartnerNames) {
    NotifySelection("another name\n2\n");
    EXPECT_EQ(model->GetSelection(), &b);
    EXPECT_EQ(seen, &b);
    EXPECT_EQ(calls, 1);
}

TEST_F(SelectionEvent, QueriesWithTheIdAlone) {
    Notify("\x02\0\0\0"s);
    EXPECT_EQ(Requests().back(), "\xD1\x07\0\0"s);
    EXPECT_EQ(Requests().size(), 3U);
}

TEST_F(SelectionEvent, LogsEachStep) {
    NotifySelection("X\n2\n");
    EXPECT_THAT(
        LogOfTheEvent(),
        ElementsAre(
            Model("OnSelectionEvent", "Getting remote selection"),
            Model("GetRemoteSelectionData", "Get remote selection data"),
            Channel("SendMessage", "Sending sync message with 4 bytes"),
            Channel("SendMessage", "Reply with 4 bytes"),
            Model("Deserialize", "Deserialize data length: 4"),
            Model("Deserialize", " - RemoteAppListItem name: X, uniqueId: 2"),
            Model("FindRemoteSelection", "Found selected item on list. Name: B, uniqueId: 2"),
            Model("OnSelectionEvent", "ItemSelectionEvent from local model. Listeners :1")));
}

TEST_F(SelectionEvent, LogsAnEmptyAnswer) {
    Notify("\x02\0\0\0"s);
    EXPECT_THAT(
        LogOfTheEvent(),
        ElementsAre(
            Model("OnSelectionEvent", "Getting remote selection"),
            Model("GetRemoteSelectionData", "Get remote selection data"),
            Channel("SendMessage", "Sending sync message with 4 bytes"),
            Channel("SendMessage", "Reply with 0 bytes"),
            Model("Deserialize", "Deserialize data length: 0"),
            Model("FindRemoteSelection",
                  "Received empty data from APPLIST_GET_SELECTION_FNC. Selected item is NULL"),
            Model("OnSelectionEvent", "ItemSelectionEvent from local model. Listeners :1")));
}

TEST_F(SelectionEvent, SelectsTheFirstOfTwoItemsWithThatId) {
    TestItem secondB("B again", "2");
    model->AddItemAtEnd(&secondB);
    NotifySelection("B again\n2\n");
    EXPECT_EQ(model->GetSelection(), &b);
}

TEST_F(SelectionEvent, SelectsAnItemWithoutAnIdWhenThePartnerNamesIt) {
    TestItem noId("N", "");
    model->AddItemAtEnd(&noId);
    NotifySelection("\n\n");
    EXPECT_EQ(model->GetSelection(), &noId);
}

TEST_F(SelectionEvent, FindsIdsOfAnyBytes) {
    TestItem odd("odd", "\0\xFF\r"s);
    model->AddItemAtEnd(&odd);
    NotifySelection("odd\n\0\xFF\r\n"s);
    EXPECT_EQ(model->GetSelection(), &odd);
}

TEST_F(SelectionEvent, CallsTheListenersInTheirOrder) {
    std::vector<std::string> order;
    TestListener first([&](AppListModel*) { order.emplace_back("first"); });
    TestListener second([&](AppListModel*) { order.emplace_back("second"); });
    model->AddItemSelectionListener(&first);
    model->AddItemSelectionListener(&second);
    Notify("\x02\0\0\0"s);
    EXPECT_THAT(order, ElementsAre("first", "second"));
}

TEST_F(SelectionEvent, ReadsTheIdOfTheReplyBeforeTheIdsOfTheElements) {
    std::vector<std::string> reads;
    a.onRead = [&](const std::string& field) { reads.push_back("a." + field); };
    b.onRead = [&](const std::string& field) { reads.push_back("b." + field); };
    NotifySelection("X\n9\n");
    EXPECT_THAT(reads, ElementsAre("a.id", "b.id"));
}

// Answers that select nothing

struct AnswerRow : NamedRow {
    std::string answer;
    bool isEmptyList; ///< no complete record in it
};

class SelectionEventWithAnAnswer : public SelectionEvent,
                                   public testing::WithParamInterface<AnswerRow> {};

TEST_P(SelectionEventWithAnAnswer, SelectsNothingAndCallsTheListeners) {
    PartnerSelects(GetParam().answer);
    seen = &a;
    Notify("\x02\0\0\0"s);
    EXPECT_EQ(model->GetSelection(), nullptr);
    EXPECT_EQ(seen, nullptr);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(FoundLines(), 0U);
    EXPECT_EQ(
        CountDebug("Received empty data from APPLIST_GET_SELECTION_FNC. Selected item is NULL"),
        GetParam().isEmptyList ? 1U : 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Of, SelectionEventWithAnAnswer,
    testing::Values(AnswerRow{"Nothing", "", true}, AnswerRow{"AnUnknownId", "B\n3\n", false},
                    AnswerRow{"NoLastLineFeed", "B\n2", true}, AnswerRow{"ANameAlone", "B\n", true},
                    AnswerRow{"AnUnknownIdBeforeAKnownOne", "C\n3\nB\n2\n", false},
                    AnswerRow{"ACarriageReturnInTheId", "B\r\n2\r\n", false},
                    AnswerRow{"AZeroByteBehindTheId", "B\n2\0\n"s, false},
                    AnswerRow{"ATrailingMessageId", "B\n2\n\xD1\x07\0\0"s.substr(4), true}),
    RowName<AnswerRow>);

TEST_F(SelectionEvent, SelectsTheItemOfTheFirstRecord) {
    NotifySelection("B\n2\nA\n1\n");
    EXPECT_EQ(model->GetSelection(), &b);
}

TEST_F(SelectionEvent, IgnoresAnUnfinishedRecordAfterTheFirst) {
    NotifySelection("B\n2\nA\n1");
    EXPECT_EQ(model->GetSelection(), &b);
}

// Answers that are none

TEST_F(SelectionEvent, SelectsNothingWhenThePartnerAnswersWithAnError) {
    partner->AnswerWithError("org.example.Error", "not now");
    Notify("\x02\0\0\0"s);
    EXPECT_EQ(model->GetSelection(), nullptr);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(CountErrorStarting("Error while sending message ["), 1U);
}

class SelectionEventWithABody : public SelectionEvent,
                                public testing::WithParamInterface<WrongBody> {};

TEST_P(SelectionEventWithABody, OfAnotherTypeSelectsNothing) {
    partner->AnswerWithBody([] { return GetParam().Make(); });
    Notify("\x02\0\0\0"s);
    EXPECT_EQ(model->GetSelection(), nullptr);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(CountErrorStarting(std::string("Reply of type ") + GetParam().type), 1U);
}

INSTANTIATE_TEST_SUITE_P(Of, SelectionEventWithABody, testing::ValuesIn(WRONG_BODIES),
                         RowName<WrongBody>);

} // namespace
