// The partner's list is new: the host sends the whole list and then the selection.
#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "ListTest.h"
#include "TestItem.h"

using namespace std::string_literals;
using LogLines::Channel, LogLines::Concat, LogLines::Model, LogLines::Pointer;
using testing::ElementsAre, testing::ElementsAreArray, testing::IsEmpty;

namespace {

class CreatedEvent : public ConnectedListTest {
protected:
    /** Emits the event. @return the requests of the host after it. */
    std::vector<std::string> RequestsOfTheEvent() {
        const auto before = static_cast<std::ptrdiff_t>(partner->Requests().size());
        CapturedLog::Clear();
        Notify("\x04\0\0\0"s);
        std::vector<std::string> requests = Requests();
        requests.erase(requests.begin(), requests.begin() + before);
        return requests;
    }

    /** The log after the lines of the channel and the adapter about the event. */
    static std::vector<std::string> LogOfTheEvent() {
        std::vector<std::string> lines = LogLines::All();
        lines.erase(lines.begin(),
                    lines.begin() +
                        std::min<std::ptrdiff_t>(2, static_cast<std::ptrdiff_t>(lines.size())));
        return lines;
    }

    static std::string Created(const std::string& message) {
        return Model("OnLocalCreatedEvent", message);
    }

    static std::string NothingSent() {
        return Model("SendMessageToRemote", "SendMessageToRemote data length: 0");
    }

    std::vector<std::string> LinesOfTheItems(const std::string& selection) {
        return {Created("LocalCreatedEvent from local model. Number of items to add :2"),
                Created("Adding remote items. Items count: 2"),
                Model("Serialize", "Number of items to serialize: 2"),
                Model("Serialize", " - AppListItem name: A, uniqueId: 1"),
                Model("Serialize", "Serialize item: " + Pointer(&a)),
                Model("Serialize", " - AppListItem name: B, uniqueId: 2"),
                Model("Serialize", "Serialize item: " + Pointer(&b)),
                Created("Setting remote selection: " + selection)};
    }

    TestItem a{"A", "1"};
    TestItem b{"B", "2"};
};

} // namespace

TEST_F(CreatedEvent, WithItemsAndASelectionSendsTheListBeforeTheSelection) {
    model->AddItems({&a, &b});
    model->SetSelection(&b);
    EXPECT_THAT(RequestsOfTheEvent(),
                ElementsAre("A\n1\nB\n2\n\xD4\x07\0\0"s, "B\n2\n\xD0\x07\0\0"s));
    EXPECT_EQ(LogOfTheEvent(),
              Concat(Concat(LinesOfTheItems(Pointer(&b)),
                            {Model("Serialize", "Serialize item: " + Pointer(&b))}),
                     Concat(LogLines::Sent(8), LogLines::Sent(4))));
}

TEST_F(CreatedEvent, WithItemsAndNoSelectionSendsTheListAlone) {
    model->AddItems({&a, &b});
    EXPECT_THAT(RequestsOfTheEvent(), ElementsAre("A\n1\nB\n2\n\xD4\x07\0\0"s));
    EXPECT_EQ(LogOfTheEvent(),
              Concat(Concat(LinesOfTheItems("(nil)"), LogLines::Sent(8)), {NothingSent()}));
}

TEST_F(CreatedEvent, WithAnEmptyListSendsNothing) {
    EXPECT_THAT(RequestsOfTheEvent(), IsEmpty());
    EXPECT_THAT(
        LogOfTheEvent(),
        ElementsAre(Created("LocalCreatedEvent from local model. Number of items to add :0"),
                    NothingSent(), NothingSent()));
}

TEST_F(CreatedEvent, WithAnEmptyListDoesNotSendTheSelection) {
    model->SetSelection(&a);
    int reads = 0;
    a.onRead = [&](const std::string&) { ++reads; };
    EXPECT_THAT(RequestsOfTheEvent(), IsEmpty());
    EXPECT_EQ(reads, 0);
    EXPECT_EQ(model->GetSelection(), &a);
}

TEST_F(CreatedEvent, SendsASelectionThatIsNotInTheList) {
    model->AddItemAtEnd(&a);
    model->SetSelection(&b);
    EXPECT_THAT(RequestsOfTheEvent(), ElementsAre("A\n1\n\xD4\x07\0\0"s, "B\n2\n\xD0\x07\0\0"s));
}

TEST_F(CreatedEvent, DoesNotSendASelectionWithoutAnId) {
    // Such an item can only be selected by the partner.
    TestItem noId("N", "");
    model->AddItemAtEnd(&noId);
    PartnerSelects("\n\n");
    Notify("\x02\0\0\0"s);
    ASSERT_EQ(model->GetSelection(), &noId);
    EXPECT_THAT(RequestsOfTheEvent(), ElementsAre("N\n\n\xD4\x07\0\0"s));
}

TEST_F(CreatedEvent, SendsItemsThatAreInTheListTwiceTwice) {
    model->AddItemAtEnd(&a);
    model->AddItemAtEnd(&a);
    EXPECT_THAT(RequestsOfTheEvent(), ElementsAre("A\n1\nA\n1\n\xD4\x07\0\0"s));
}

TEST_F(CreatedEvent, LeavesTheHostsListUnchangedAndCallsNoListener) {
    model->AddItems({&a, &b});
    model->SetSelection(&b);
    RequestsOfTheEvent();
    EXPECT_THAT(model->GetAllItems(), ElementsAre(&a, &b));
    EXPECT_EQ(model->GetSelection(), &b);
    EXPECT_EQ(CountDebugStarting("Item"), 0U);
}

TEST_F(CreatedEvent, SendsItemsThatWereAddedWithoutAPartner) {
    // The partner has refused all earlier requests, which are lost.
    partner->AnswerWithError("org.example.Error", "not yet");
    model->AddItemAtEnd(&a);
    model->SetSelection(&a);
    partner->AnswerWith([](const TestPartner::Bytes&) { return TestPartner::Bytes(); });
    EXPECT_THAT(RequestsOfTheEvent(), ElementsAre("A\n1\n\xD4\x07\0\0"s, "A\n1\n\xD0\x07\0\0"s));
}

TEST_F(CreatedEvent, SendsTheWholeListEachTime) {
    model->AddItemAtEnd(&a);
    EXPECT_THAT(RequestsOfTheEvent(), ElementsAre("A\n1\n\xD4\x07\0\0"s));
    EXPECT_THAT(RequestsOfTheEvent(), ElementsAre("A\n1\n\xD4\x07\0\0"s));
}

TEST_F(CreatedEvent, CarriesALargeList) {
    std::vector<std::unique_ptr<TestItem>> owned;
    std::vector<AppListItem*> items;
    std::string expected;
    for (int i = 0; i < 2000; ++i) {
        const std::string id = std::to_string(i);
        owned.push_back(std::make_unique<TestItem>("Application " + id, id));
        items.push_back(owned.back().get());
        expected += "Application " + id + "\n" + id + "\n";
    }
    model->AddItems(items);
    EXPECT_THAT(RequestsOfTheEvent(), ElementsAre(expected + "\xD4\x07\0\0"s));
}
