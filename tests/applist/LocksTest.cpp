// The model's lock: held while items are read, never while the partner or a listener is called.
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <stdexcept>
#include <string>

#include "ListTest.h"
#include "LockProbe.h"
#include "NamedRow.h"
#include "TestItem.h"
#include "TestListener.h"

namespace {

class Locks : public ConnectedListTest {
protected:
    Locks() { model->AddItemAtEnd(&inList); }

    TestItem inList{"A", "1"};
    TestItem other{"B", "2"};
    LockProbe probe{*model};
};

// During a request to the partner

struct RequestRow : NamedRow {
    std::function<void(RemoteAppListModel& model, TestItem& inList, TestItem& other)> request;
};

class LocksDuringARequest : public Locks, public testing::WithParamInterface<RequestRow> {};

TEST_P(LocksDuringARequest, AreFree) {
    std::atomic<int> requests{0};
    std::atomic<int> freeOnes{0};
    partner->AnswerWith([&](const TestPartner::Bytes&) {
        ++requests;
        freeOnes += probe.LockIsFree() ? 1 : 0;
        return TestPartner::Bytes();
    });
    GetParam().request(*model, inList, other);
    EXPECT_GT(requests, 0);
    EXPECT_EQ(freeOnes, requests);
}

INSTANTIATE_TEST_SUITE_P(
    Of, LocksDuringARequest,
    testing::Values(
        RequestRow{"SetSelection", [](auto& m, auto& a, auto&) { m.SetSelection(&a); }},
        RequestRow{"SetClicked", [](auto& m, auto& a, auto&) { m.SetClicked(&a); }},
        RequestRow{"RemoveAllItems", [](auto& m, auto&, auto&) { m.RemoveAllItems(); }},
        RequestRow{"AddItems",
                   [](auto& m, auto& a, auto& b) {
                       m.AddItems({&a, &b});
                   }},
        RequestRow{"AddItemAtEnd", [](auto& m, auto&, auto& b) { m.AddItemAtEnd(&b); }},
        RequestRow{"RemoveItem", [](auto& m, auto& a, auto&) { m.RemoveItem(&a); }},
        RequestRow{"ModifyItem", [](auto& m, auto& a, auto& b) { m.ModifyItem(&a, &b); }},
        RequestRow{"SelectionEvent", [](auto& m, auto&, auto&) { m.OnNotificationReceive(2, {}); }},
        RequestRow{"CreatedEvent", [](auto& m, auto&, auto&) { m.OnNotificationReceive(4, {}); }}),
    RowName<RequestRow>);

// While an answer is decoded

TEST_F(Locks, AreFreeDuringTheDecodingOfTheSelection) {
    PartnerSelects("A\n1\nB\n2\n");
    int records = 0;
    int freeOnes = 0;
    CapturedLog::OnLine([&](const CapturedLog::Line& line) {
        if (line.function == "Deserialize") {
            ++records;
            freeOnes += probe.LockIsFree() ? 1 : 0;
        }
    });
    model->OnNotificationReceive(2, {});
    CapturedLog::OnLine(nullptr);
    EXPECT_EQ(records, 3) << "the length, and each record";
    EXPECT_EQ(freeOnes, records);
    EXPECT_EQ(model->GetSelection(), &inList);
}

// While items are read

class LocksDuringARead : public Locks, public testing::WithParamInterface<RequestRow> {};

TEST_P(LocksDuringARead, AreHeld) {
    PartnerSelects("A\n1\n");
    int reads = 0;
    int heldOnes = 0;
    inList.onRead = [&](const std::string&) {
        ++reads;
        heldOnes += probe.LockIsHeld() ? 1 : 0;
    };
    GetParam().request(*model, inList, other);
    inList.onRead = nullptr;
    EXPECT_GT(reads, 0);
    EXPECT_EQ(heldOnes, reads);
}

INSTANTIATE_TEST_SUITE_P(
    Of, LocksDuringARead,
    testing::Values(
        RequestRow{"SetSelection", [](auto& m, auto& a, auto&) { m.SetSelection(&a); }},
        RequestRow{"AddItems",
                   [](auto& m, auto& a, auto& b) {
                       m.AddItems({&a, &b});
                   }},
        RequestRow{"AddItemAtEnd", [](auto& m, auto& a, auto&) { m.AddItemAtEnd(&a); }},
        RequestRow{"RemoveItem", [](auto& m, auto& a, auto&) { m.RemoveItem(&a); }},
        RequestRow{"ModifyItem", [](auto& m, auto& a, auto& b) { m.ModifyItem(&a, &b); }},
        RequestRow{"SelectionEvent", [](auto& m, auto&, auto&) { m.OnNotificationReceive(2, {}); }},
        RequestRow{"CreatedEvent", [](auto& m, auto&, auto&) { m.OnNotificationReceive(4, {}); }}),
    RowName<RequestRow>);

// While arguments are checked

struct NullRow : NamedRow {
    std::function<void(RemoteAppListModel& model, TestItem& item)> call;
    std::string firstLine;
};

class LocksWithANullItem : public Locks, public testing::WithParamInterface<NullRow> {};

// Another thread calls while the lock is held by the reading of an item.
TEST_P(LocksWithANullItem, AreHeldAsWithOtherItems) {
    std::future<void> call;
    bool waited = false;
    inList.onRead = [&](const std::string&) {
        if (call.valid()) {
            return;
        }
        call = std::async(std::launch::async, [&] { GetParam().call(*model, other); });
        CapturedLog::WaitFor(CapturedLog::DEBUG, GetParam().firstLine);
        waited = call.wait_for(std::chrono::milliseconds(50)) == std::future_status::timeout;
    };
    model->SetSelection(&inList);
    inList.onRead = nullptr;
    EXPECT_TRUE(waited);
}

INSTANTIATE_TEST_SUITE_P(
    Of, LocksWithANullItem,
    testing::Values(NullRow{"SetSelection", [](auto& m, auto&) { m.SetSelection(nullptr); },
                            "SetSelection: (nil)"},
                    NullRow{"AddItemAtEnd", [](auto& m, auto&) { m.AddItemAtEnd(nullptr); },
                            "AddItemAtEnd: (nil)"},
                    NullRow{"RemoveItem", [](auto& m, auto&) { m.RemoveItem(nullptr); },
                            "RemoveItem: (nil)"},
                    NullRow{"ModifyItem", [](auto& m, auto&) { m.ModifyItem(nullptr, nullptr); },
                            "ModifyItem oldItem: (nil), newItem: (nil)"}),
    RowName<NullRow>);

TEST_F(Locks, AreFreeDuringAClick) {
    int reads = 0;
    inList.onRead = [&](const std::string&) {
        ++reads;
        EXPECT_TRUE(probe.LockIsFree());
    };
    model->SetClicked(&inList);
    inList.onRead = nullptr;
    EXPECT_GT(reads, 0);
}

TEST_F(Locks, AreReleasedWhenAnItemThrows) {
    inList.onRead = [](const std::string&) { throw std::runtime_error("no name"); };
    EXPECT_THROW(model->SetSelection(&inList), std::runtime_error);
    EXPECT_THROW(model->AddItems({&inList, &other}), std::runtime_error);
    EXPECT_THROW(model->RemoveItem(&inList), std::runtime_error);
    EXPECT_THROW(model->ModifyItem(&inList, &other), std::runtime_error);
    inList.onRead = nullptr;
    EXPECT_TRUE(probe.LockIsFree());
}

// While listeners are called

struct EventRow : NamedRow {
    int id;
};

class LocksDuringAnEvent : public Locks, public testing::WithParamInterface<EventRow> {};

TEST_P(LocksDuringAnEvent, AreFree) {
    int calls = 0;
    TestListener listener([&](AppListModel*) {
        ++calls;
        EXPECT_TRUE(probe.LockIsFree());
    });
    listener.AddTo(*model);
    model->OnNotificationReceive(GetParam().id, {});
    EXPECT_EQ(calls, 1);
}

TEST_P(LocksDuringAnEvent, AllowAListenerEachOperationOfTheModel) {
    TestListener otherKind;
    int calls = 0;
    TestListener listener([&](AppListModel* source) {
        ASSERT_TRUE(probe.LockIsFree());
        ++calls;
        source->AddItems({&other});
        source->AddItemAtEnd(&other);
        source->SetSelection(&other);
        EXPECT_EQ(source->GetSelection(), &other);
        source->SetClicked(&other);
        EXPECT_EQ(source->GetItemsCount(), 3);
        source->ModifyItem(&inList, &other);
        source->RemoveItem(&other);
        EXPECT_EQ(source->GetAllItems().size(), 2U);
        source->RemoveAllItems();
    });
    listener.AddTo(*model);
    model->OnNotificationReceive(GetParam().id, {});
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(model->GetItemsCount(), 0);
}

INSTANTIATE_TEST_SUITE_P(Of, LocksDuringAnEvent,
                         testing::Values(EventRow{"Change", 1}, EventRow{"Selection", 2},
                                         EventRow{"Click", 3}),
                         RowName<EventRow>);

} // namespace
