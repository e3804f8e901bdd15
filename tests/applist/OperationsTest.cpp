// The host's operations with a partner: their effect on the copy, the whole log of each, and the
// requests as bytes.
#include <string>
#include <vector>

#include "ListTest.h"
#include "TestItem.h"

using namespace std::string_literals;
using LogLines::Channel, LogLines::Concat, LogLines::Model, LogLines::Pointer, LogLines::Sent;
using testing::ElementsAre, testing::ElementsAreArray, testing::IsEmpty;

namespace {

/** The list's operations, with items A, B, another A of its own, and one without an id. */
class Operations : public ConnectedListTest {
protected:
    /** Adds items to the list, and clears the recorded requests and log lines. */
    void Fill(const std::vector<AppListItem*>& items) {
        for (AppListItem* const item : items) {
            model->AddItemAtEnd(item);
        }
        sentBefore = partner->Requests().size();
        CapturedLog::Clear();
    }

    /** The requests since the list was filled. */
    std::vector<std::string> Sent() {
        std::vector<std::string> requests = Requests();
        requests.erase(requests.begin(),
                       requests.begin() + static_cast<std::ptrdiff_t>(sentBefore));
        return requests;
    }

    static std::string Serialized(AppListItem& item) {
        return Model("Serialize", "Serialize item: " + Pointer(&item));
    }

    static std::string NothingSent() {
        return Model("SendMessageToRemote", "SendMessageToRemote data length: 0");
    }

    std::vector<AppListItem*> Items() { return model->GetAllItems(); }

    TestItem a{"A", "1"};
    TestItem b{"B", "2"};
    TestItem otherA{"A'", "1"};
    TestItem noId{"N", ""};
    std::size_t sentBefore = 0;
};

} // namespace

// AddItemAtEnd

TEST_F(Operations, AddItemAtEndAppendsAndSendsTheItem) {
    Fill({&b});
    model->AddItemAtEnd(&a);
    EXPECT_THAT(Items(), ElementsAre(&b, &a));
    EXPECT_THAT(Sent(), ElementsAre("A\n1\n\xD5\x07\0\0"s));
    EXPECT_EQ(LogLines::All(),
              Concat({Model("AddItemAtEnd", "AddItemAtEnd: " + Pointer(&a)), Serialized(a)},
                     LogLines::Sent(4)));
}

TEST_F(Operations, AddItemAtEndAddsAndSendsTheSameItemTwice) {
    model->AddItemAtEnd(&a);
    model->AddItemAtEnd(&a);
    EXPECT_THAT(Items(), ElementsAre(&a, &a));
    EXPECT_EQ(model->GetItemsCount(), 2);
    EXPECT_THAT(Requests(), ElementsAre("A\n1\n\xD5\x07\0\0"s, "A\n1\n\xD5\x07\0\0"s));
}

TEST_F(Operations, AddItemAtEndIgnoresNull) {
    model->AddItemAtEnd(nullptr);
    EXPECT_EQ(model->GetItemsCount(), 0);
    EXPECT_THAT(Requests(), IsEmpty());
    EXPECT_THAT(LogLines::All(),
                ElementsAre(Model("AddItemAtEnd", "AddItemAtEnd: (nil)"), NothingSent()));
}

TEST_F(Operations, AddItemAtEndAcceptsAnItemWithoutAnId) {
    model->AddItemAtEnd(&noId);
    EXPECT_THAT(Items(), ElementsAre(&noId));
    EXPECT_THAT(Requests(), ElementsAre("N\n\n\xD5\x07\0\0"s));
}

// AddItems

TEST_F(Operations, AddItemsSendsTheWorkedExampleAsFortyOneBytes) {
    TestItem clock("Clock", "clock.01");
    TestItem music("Music Player", "music.02");
    model->AddItems({&clock, &music});
    const std::string message = "\x43\x6C\x6F\x63\x6B\x0A\x63\x6C\x6F\x63\x6B\x2E\x30\x31\x0A"
                                "\x4D\x75\x73\x69\x63\x20\x50\x6C\x61\x79\x65\x72\x0A"
                                "\x6D\x75\x73\x69\x63\x2E\x30\x32\x0A\xD4\x07\x00\x00"s;
    ASSERT_EQ(message.size(), 41U);
    EXPECT_THAT(Requests(), ElementsAre(message));
}

TEST_F(Operations, AddItemsLogsEachStep) {
    Fill({&a});
    model->AddItems({&otherA, &b});
    EXPECT_EQ(
        LogLines::All(),
        Concat({Model("AddItems", "AddItems number of items: 2"),
                Model("AddItems", "Adding remote items. Items count: 2"),
                Model("Serialize", "Number of items to serialize: 2"),
                Model("Serialize", " - AppListItem name: A', uniqueId: 1"), Serialized(otherA),
                Model("Serialize", " - AppListItem name: B, uniqueId: 2"), Serialized(b)},
               LogLines::Sent(9)));
}

TEST_F(Operations, AddItemsAddsARepeatedIdOnceAndSendsItTwice) {
    model->AddItems({&a, &b, &otherA});
    EXPECT_THAT(Items(), ElementsAre(&a, &b));
    EXPECT_THAT(Requests(), ElementsAre("A\n1\nB\n2\nA'\n1\n\xD4\x07\0\0"s));
    EXPECT_EQ(CountDebug("Adding remote items. Items count: 3"), 1U);
}

TEST_F(Operations, AddItemsKeepsTheElementThatIsInTheListAndSendsBoth) {
    Fill({&a});
    model->AddItems({&otherA, &b});
    EXPECT_THAT(Items(), ElementsAre(&a, &b));
    EXPECT_THAT(Sent(), ElementsAre("A'\n1\nB\n2\n\xD4\x07\0\0"s));
}

TEST_F(Operations, AddItemsSendsItemsThatAreAllInTheListAlready) {
    Fill({&a});
    model->AddItems({&a});
    EXPECT_THAT(Items(), ElementsAre(&a));
    EXPECT_THAT(Sent(), ElementsAre("A\n1\n\xD4\x07\0\0"s));
}

TEST_F(Operations, AddItemsTreatsAllItemsWithoutAnIdAsTheSameItem) {
    TestItem other("O", "");
    model->AddItems({&noId, &other});
    EXPECT_THAT(Items(), ElementsAre(&noId));
    EXPECT_THAT(Requests(), ElementsAre("N\n\nO\n\n\xD4\x07\0\0"s));
}

TEST_F(Operations, AddItemsComparesIdsByteForByte) {
    TestItem lower("x", "id");
    TestItem upper("x", "ID");
    TestItem blank("x", "id ");
    TestItem zero("x", "id\0"s);
    model->AddItems({&lower, &upper, &blank, &zero});
    EXPECT_THAT(Items(), ElementsAre(&lower, &upper, &blank, &zero));
}

TEST_F(Operations, AddItemsOfNothingSendsNothing) {
    model->AddItems({});
    EXPECT_THAT(Requests(), IsEmpty());
    EXPECT_THAT(LogLines::All(),
                ElementsAre(Model("AddItems", "AddItems number of items: 0"),
                            Model("AddItems", "Adding remote items. Items count: 0"),
                            Model("Serialize", "Number of items to serialize: 0"), NothingSent()));
}

TEST_F(Operations, AddItemsSkipsNullEntriesAndLogsThemAsErrors) {
    model->AddItems({&a, nullptr, &b, nullptr});
    EXPECT_THAT(Items(), ElementsAre(&a, &b));
    EXPECT_THAT(Requests(), ElementsAre("A\n1\nB\n2\n\xD4\x07\0\0"s));
    EXPECT_EQ(CountError(" - AppListItem is NULL, left out"), 2U);
    EXPECT_EQ(CountDebug("Adding remote items. Items count: 4"), 1U);
}

TEST_F(Operations, AddItemsOfNullEntriesAloneSendsNothing) {
    model->AddItems({nullptr});
    EXPECT_EQ(model->GetItemsCount(), 0);
    EXPECT_THAT(Requests(), IsEmpty());
}

// RemoveItem

TEST_F(Operations, RemoveItemErasesAndSendsTheItem) {
    Fill({&a, &b});
    model->RemoveItem(&a);
    EXPECT_THAT(Items(), ElementsAre(&b));
    EXPECT_THAT(Sent(), ElementsAre("A\n1\n\xD7\x07\0\0"s));
    EXPECT_EQ(LogLines::All(),
              Concat({Model("RemoveItem", "RemoveItem: " + Pointer(&a)),
                      Model("RemoveItem", "Removing item name: A, uniqueId: 1"), Serialized(a)},
                     LogLines::Sent(4)));
}

TEST_F(Operations, RemoveItemFindsByIdLogsTheElementAndSendsTheArgument) {
    Fill({&a});
    model->RemoveItem(&otherA);
    EXPECT_THAT(Items(), IsEmpty());
    EXPECT_THAT(Sent(), ElementsAre("A'\n1\n\xD7\x07\0\0"s));
    EXPECT_EQ(CountDebug("Removing item name: A, uniqueId: 1"), 1U);
}

TEST_F(Operations, RemoveItemRemovesTheFirstOfTwoAndThenTheSecond) {
    Fill({&a, &b, &otherA});
    model->RemoveItem(&a);
    EXPECT_THAT(Items(), ElementsAre(&b, &otherA));
    model->RemoveItem(&a);
    EXPECT_THAT(Items(), ElementsAre(&b));
    EXPECT_THAT(Sent(), ElementsAre("A\n1\n\xD7\x07\0\0"s, "A\n1\n\xD7\x07\0\0"s));
}

TEST_F(Operations, RemoveItemClearsTheSelectionOfTheElement) {
    Fill({&a});
    model->SetSelection(&a);
    CapturedLog::Clear();
    model->RemoveItem(&otherA);
    EXPECT_EQ(model->GetSelection(), nullptr);
    EXPECT_EQ(LogLines::All(),
              Concat({Model("RemoveItem", "RemoveItem: " + Pointer(&otherA)),
                      Model("RemoveItem", "Removing item name: A, uniqueId: 1"),
                      Model("RemoveItem", "Removed item were selected. Removed selection"),
                      Serialized(otherA)},
                     LogLines::Sent(5)));
}

TEST_F(Operations, RemoveItemKeepsASelectionThatIsAnotherObjectWithTheSameId) {
    Fill({&a});
    model->SetSelection(&otherA);
    model->RemoveItem(&otherA);
    EXPECT_THAT(Items(), IsEmpty());
    EXPECT_EQ(model->GetSelection(), &otherA);
    EXPECT_EQ(CountDebugStarting("Removed item were selected"), 0U);
}

TEST_F(Operations, RemoveItemIgnoresAnItemThatIsNotInTheList) {
    Fill({&a});
    model->RemoveItem(&b);
    EXPECT_THAT(Items(), ElementsAre(&a));
    EXPECT_THAT(Sent(), IsEmpty());
    EXPECT_THAT(LogLines::All(),
                ElementsAre(Model("RemoveItem", "RemoveItem: " + Pointer(&b)), NothingSent()));
}

TEST_F(Operations, RemoveItemIgnoresNull) {
    Fill({&a});
    model->RemoveItem(nullptr);
    EXPECT_THAT(Items(), ElementsAre(&a));
    EXPECT_THAT(Sent(), IsEmpty());
    EXPECT_THAT(LogLines::All(),
                ElementsAre(Model("RemoveItem", "RemoveItem: (nil)"), NothingSent()));
}

TEST_F(Operations, RemoveItemAcceptsAnItemWithoutAnId) {
    Fill({&noId});
    model->RemoveItem(&noId);
    EXPECT_THAT(Items(), IsEmpty());
    EXPECT_THAT(Sent(), ElementsAre("N\n\n\xD7\x07\0\0"s));
}

// ModifyItem

TEST_F(Operations, ModifyItemReplacesInPlaceAndSendsOldThenNew) {
    TestItem c("C", "3");
    Fill({&c, &a, &noId});
    model->ModifyItem(&a, &b);
    EXPECT_THAT(Items(), ElementsAre(&c, &b, &noId));
    EXPECT_THAT(Sent(), ElementsAre("A\n1\nB\n2\n\xD8\x07\0\0"s));
    EXPECT_EQ(LogLines::All(),
              Concat({Model("ModifyItem",
                            "ModifyItem oldItem: " + Pointer(&a) + ", newItem: " + Pointer(&b)),
                      Model("ModifyItem",
                            "Replacing item name: A, uniqueId: 1 with name: B, uniqueId: 2"),
                      Serialized(a), Serialized(b)},
                     LogLines::Sent(8)));
}

TEST_F(Operations, ModifyItemFindsByIdLogsTheElementAndSendsTheArguments) {
    Fill({&a});
    model->ModifyItem(&otherA, &b);
    EXPECT_THAT(Items(), ElementsAre(&b));
    EXPECT_THAT(Sent(), ElementsAre("A'\n1\nB\n2\n\xD8\x07\0\0"s));
    EXPECT_EQ(CountDebug("Replacing item name: A, uniqueId: 1 with name: B, uniqueId: 2"), 1U);
}

TEST_F(Operations, ModifyItemMovesTheSelectionOfTheElement) {
    Fill({&a});
    model->SetSelection(&a);
    CapturedLog::Clear();
    model->ModifyItem(&a, &b);
    EXPECT_EQ(model->GetSelection(), &b);
    EXPECT_EQ(
        LogLines::All(),
        Concat(
            {Model("ModifyItem",
                   "ModifyItem oldItem: " + Pointer(&a) + ", newItem: " + Pointer(&b)),
             Model("ModifyItem", "Replacing item name: A, uniqueId: 1 with name: B, uniqueId: 2"),
             Model("ModifyItem", "Item that is being modified were selected. Modified selection"),
             Serialized(a), Serialized(b)},
            LogLines::Sent(8)));
}

TEST_F(Operations, ModifyItemKeepsASelectionThatIsAnotherObjectWithTheSameId) {
    Fill({&a});
    model->SetSelection(&otherA);
    model->ModifyItem(&otherA, &b);
    EXPECT_EQ(model->GetSelection(), &otherA);
    EXPECT_EQ(CountDebugStarting("Item that is being modified"), 0U);
}

TEST_F(Operations, ModifyItemReplacesTheFirstOfTwoAndAllowsAnIdOfTheList) {
    Fill({&a, &b, &a});
    model->ModifyItem(&a, &b);
    EXPECT_THAT(Items(), ElementsAre(&b, &b, &a));
}

TEST_F(Operations, ModifyItemOfAnItemIntoItselfSendsItTwice) {
    Fill({&a});
    model->ModifyItem(&a, &a);
    EXPECT_THAT(Items(), ElementsAre(&a));
    EXPECT_THAT(Sent(), ElementsAre("A\n1\nA\n1\n\xD8\x07\0\0"s));
}

TEST_F(Operations, ModifyItemIgnoresAnItemThatIsNotInTheList) {
    Fill({&a});
    model->ModifyItem(&b, &otherA);
    EXPECT_THAT(Items(), ElementsAre(&a));
    EXPECT_THAT(Sent(), IsEmpty());
    EXPECT_THAT(LogLines::All(),
                ElementsAre(Model("ModifyItem", "ModifyItem oldItem: " + Pointer(&b) +
                                                    ", newItem: " + Pointer(&otherA)),
                            NothingSent()));
}

TEST_F(Operations, ModifyItemIgnoresANullOldItem) {
    Fill({&a});
    model->ModifyItem(nullptr, &b);
    EXPECT_THAT(Items(), ElementsAre(&a));
    EXPECT_THAT(Sent(), IsEmpty());
    EXPECT_THAT(
        LogLines::All(),
        ElementsAre(Model("ModifyItem", "ModifyItem oldItem: (nil), newItem: " + Pointer(&b)),
                    NothingSent()));
}

TEST_F(Operations, ModifyItemIgnoresANullNewItem) {
    Fill({&a});
    model->SetSelection(&a);
    sentBefore = partner->Requests().size();
    CapturedLog::Clear();
    model->ModifyItem(&a, nullptr);
    EXPECT_THAT(Items(), ElementsAre(&a));
    EXPECT_EQ(model->GetSelection(), &a);
    EXPECT_THAT(Sent(), IsEmpty());
    EXPECT_THAT(
        LogLines::All(),
        ElementsAre(Model("ModifyItem", "ModifyItem oldItem: " + Pointer(&a) + ", newItem: (nil)"),
                    NothingSent()));
}

// RemoveAllItems

TEST_F(Operations, RemoveAllItemsEmptiesListAndSelectionAndSendsTheIdAlone) {
    Fill({&a, &b});
    model->SetSelection(&a);
    sentBefore = partner->Requests().size();
    CapturedLog::Clear();
    model->RemoveAllItems();
    EXPECT_THAT(Items(), IsEmpty());
    EXPECT_EQ(model->GetSelection(), nullptr);
    EXPECT_THAT(Sent(), ElementsAre("\xD3\x07\0\0"s));
    EXPECT_THAT(LogLines::All(),
                ElementsAre(Model("RemoveAllItems", "RemoveAllItems"),
                            Channel("SendMessage", "Sending sync message with 4 bytes"),
                            Channel("SendMessage", "Reply with 0 bytes")));
}

TEST_F(Operations, RemoveAllItemsAlsoSendsTheRequestForAnEmptyList) {
    model->RemoveAllItems();
    EXPECT_THAT(Requests(), ElementsAre("\xD3\x07\0\0"s));
}

TEST_F(Operations, RemoveRemoteAllItemsLeavesTheCopyUnchangedAndHasNoLogLine) {
    Fill({&a});
    model->SetSelection(&a);
    sentBefore = partner->Requests().size();
    CapturedLog::Clear();
    model->RemoveRemoteAllItems();
    EXPECT_THAT(Items(), ElementsAre(&a));
    EXPECT_EQ(model->GetSelection(), &a);
    EXPECT_THAT(Sent(), ElementsAre("\xD3\x07\0\0"s));
    EXPECT_THAT(LogLines::All(),
                ElementsAre(Channel("SendMessage", "Sending sync message with 4 bytes"),
                            Channel("SendMessage", "Reply with 0 bytes")));
}

// SetSelection

TEST_F(Operations, SetSelectionStoresAndSendsTheItem) {
    Fill({&a});
    model->SetSelection(&a);
    EXPECT_EQ(model->GetSelection(), &a);
    EXPECT_THAT(Sent(), ElementsAre("A\n1\n\xD0\x07\0\0"s));
    EXPECT_EQ(LogLines::All(),
              Concat({Model("SetSelection", "SetSelection: " + Pointer(&a)), Serialized(a),
                      Model("SetSelection", "Selected item name: A, uniqueId: 1")},
                     LogLines::Sent(4)));
}

TEST_F(Operations, SetSelectionAcceptsAnItemThatIsNotInTheList) {
    model->SetSelection(&a);
    EXPECT_EQ(model->GetSelection(), &a);
    EXPECT_EQ(model->GetItemsCount(), 0);
    EXPECT_THAT(Requests(), ElementsAre("A\n1\n\xD0\x07\0\0"s));
}

TEST_F(Operations, SetSelectionOfNullKeepsTheSelection) {
    model->SetSelection(&a);
    CapturedLog::Clear();
    model->SetSelection(nullptr);
    EXPECT_EQ(model->GetSelection(), &a);
    EXPECT_EQ(Requests().size(), 1U);
    EXPECT_THAT(LogLines::All(),
                ElementsAre(Model("SetSelection", "SetSelection: (nil)"), NothingSent()));
}

TEST_F(Operations, SetSelectionOfAnItemWithoutAnIdKeepsTheSelection) {
    model->SetSelection(&a);
    CapturedLog::Clear();
    model->SetSelection(&noId);
    EXPECT_EQ(model->GetSelection(), &a);
    EXPECT_EQ(Requests().size(), 1U);
    EXPECT_THAT(
        LogLines::All(),
        ElementsAre(Model("SetSelection", "SetSelection: " + Pointer(&noId)), NothingSent()));
}

// SetClicked

TEST_F(Operations, SetClickedSendsTheItemAndChangesNothing) {
    model->SetClicked(&a);
    EXPECT_THAT(Requests(), ElementsAre("A\n1\n\xD6\x07\0\0"s));
    EXPECT_EQ(model->GetItemsCount(), 0);
    EXPECT_EQ(model->GetSelection(), nullptr);
    EXPECT_EQ(LogLines::All(),
              Concat({Model("SetClicked", "SetClicked: " + Pointer(&a)), Serialized(a)},
                     LogLines::Sent(4)));
}

TEST_F(Operations, SetClickedSendsAnItemWithoutAnId) {
    model->SetClicked(&noId);
    EXPECT_THAT(Requests(), ElementsAre("N\n\n\xD6\x07\0\0"s));
}

TEST_F(Operations, SetClickedIgnoresNullAndSendsNothing) {
    model->SetClicked(nullptr);
    EXPECT_THAT(Requests(), IsEmpty());
    EXPECT_THAT(LogLines::All(), ElementsAre(Model("SetClicked", "SetClicked: (nil)")));
}

// Reading

TEST_F(Operations, ReadingLogsAndSendsNothing) {
    Fill({&a});
    model->GetAllItems();
    model->GetItemsCount();
    model->GetSelection();
    EXPECT_THAT(LogLines::All(), IsEmpty());
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(Operations, GetAllItemsIsACopy) {
    Fill({&a, &b});
    std::vector<AppListItem*> items = model->GetAllItems();
    items.erase(items.begin());
    EXPECT_EQ(model->GetItemsCount(), 2);
    model->RemoveAllItems();
    EXPECT_THAT(items, ElementsAre(&b));
}

// The sending primitive

TEST_F(Operations, SendMessageToRemoteAppendsTheIdLeastSignificantByteFirst) {
    const std::string payload = "ab";
    model->SendMessageToRemote(0x01020304, payload);
    EXPECT_EQ(payload, "ab");
    model->SendMessageToRemote(-1, "\0"s);
    EXPECT_THAT(Requests(), ElementsAre("ab\x04\x03\x02\x01"s, "\0\xFF\xFF\xFF\xFF"s));
}

TEST_F(Operations, SendMessageToRemoteSendsNothingWithoutAPayload) {
    model->SendMessageToRemote(2004, "");
    EXPECT_THAT(Requests(), IsEmpty());
    EXPECT_THAT(LogLines::All(), ElementsAre(NothingSent()));
}

TEST_F(Operations, GetRemoteSelectionDataSendsTheIdAloneAndReturnsTheReplyUnchanged) {
    PartnerSelects("\0\n\xFFraw"s);
    EXPECT_EQ(ListBytes::String(model->GetRemoteSelectionData()), "\0\n\xFFraw"s);
    EXPECT_THAT(Requests(), ElementsAre("\xD1\x07\0\0"s));
    EXPECT_THAT(LogLines::All(),
                ElementsAre(Model("GetRemoteSelectionData", "Get remote selection data"),
                            Channel("SendMessage", "Sending sync message with 4 bytes"),
                            Channel("SendMessage", "Reply with 6 bytes")));
}

TEST_F(Operations, DiscardTheRepliesOfThePartner) {
    partner->AnswerWith([](const TestPartner::Bytes&) { return ByteVector("B\n2\n"); });
    model->AddItemAtEnd(&a);
    model->SetSelection(&a);
    model->SetClicked(&a);
    EXPECT_THAT(Items(), ElementsAre(&a));
    EXPECT_EQ(model->GetSelection(), &a);
    EXPECT_EQ(CountDebugStarting("Deserialize"), 0U);
}

TEST_F(Operations, KeepTheirEffectWhenThePartnerAnswersWithAnError) {
    partner->AnswerWithError("org.example.Failed", "no");
    model->AddItemAtEnd(&a);
    model->SetSelection(&a);
    EXPECT_THAT(Items(), ElementsAre(&a));
    EXPECT_EQ(model->GetSelection(), &a);
    EXPECT_EQ(CountErrorStarting("Error while sending message ["), 2U);
}

TEST_F(Operations, SendTheirRequestsInTheOrderOfTheCalls) {
    model->AddItems({&a});
    model->AddItemAtEnd(&b);
    model->SetSelection(&b);
    model->SetClicked(&a);
    model->ModifyItem(&a, &otherA);
    model->RemoveItem(&b);
    model->RemoveAllItems();
    EXPECT_THAT(Requests(),
                ElementsAre("A\n1\n\xD4\x07\0\0"s, "B\n2\n\xD5\x07\0\0"s, "B\n2\n\xD0\x07\0\0"s,
                            "A\n1\n\xD6\x07\0\0"s, "A\n1\nA'\n1\n\xD8\x07\0\0"s,
                            "B\n2\n\xD7\x07\0\0"s, "\xD3\x07\0\0"s));
}

TEST_F(Operations, SendZeroBytesAndBytesThatAreNotUtf8) {
    TestItem item("\0\xFF\r"s, "\xC3\0"s);
    model->AddItemAtEnd(&item);
    EXPECT_THAT(Requests(), ElementsAre("\0\xFF\r\n\xC3\0\n\xD5\x07\0\0"s));
}
