// Construction and destruction of the model: the log lines, and the objects of the caller, none of
// which is deleted.
#include <memory>
#include <string>
#include <vector>

#include "ListTest.h"
#include "MainLoop.h"
#include "SharedBus.h"
#include "TestItem.h"
#include "TestListener.h"

using namespace std::string_literals;
using LogLines::Adapter;
using testing::Contains, testing::ElementsAre, testing::Not, testing::StartsWith;

namespace {

class Lifetime : public ConnectedListTest {
protected:
    Lifetime() {
        for (TestItem* const item : {a.get(), b.get(), c.get()}) {
            item->onDeleted = [this] { ++deleted; };
        }
        listener->onDeleted = [this] { ++deleted; };
    }

    int deleted = 0;
    std::unique_ptr<TestItem> a = std::make_unique<TestItem>("A", "1");
    std::unique_ptr<TestItem> b = std::make_unique<TestItem>("B", "2");
    std::unique_ptr<TestItem> c = std::make_unique<TestItem>("C", "3");
    std::unique_ptr<TestListener> listener = std::make_unique<TestListener>();
};

} // namespace

TEST_F(ListTest, StartsWithTheLogLineOfTheAdapterAlone) {
    const std::vector<std::string> lines = LogLines::All();
    EXPECT_THAT(lines, Contains(Adapter("IPCApplist", "IPCApplist")));
    EXPECT_THAT(lines, Not(Contains(StartsWith("3 RemoteAppListModel.cpp"))));
}

TEST_F(Lifetime, NoItemIsDeletedByAnyOperation) {
    model->AddItems({a.get(), b.get()});
    model->SetSelection(a.get());
    model->ModifyItem(a.get(), c.get());
    model->RemoveItem(b.get());
    model->AddItemAtEnd(b.get());
    model->SetClicked(b.get());
    model->RemoveAllItems();
    EXPECT_EQ(deleted, 0);
}

TEST_F(Lifetime, NoListenerIsDeletedByItsRemoval) {
    model->AddItemSelectionListener(listener.get());
    model->RemoveItemSelectionListener(listener.get());
    EXPECT_EQ(deleted, 0);
}

TEST_F(Lifetime, NothingIsDeletedOrSentToThePartnerAtTheEnd) {
    model->AddItems({a.get(), b.get()});
    model->SetSelection(a.get());
    listener->AddTo(*model);
    int reads = 0;
    int calls = 0;
    a->onRead = b->onRead = [&](const std::string&) { ++reads; };
    listener->onSelection = listener->onChange =
        listener->onClicked = [&](AppListModel*) { ++calls; };
    const std::size_t requests = Requests().size();
    DestroyModel();
    EXPECT_EQ(deleted, 0);
    EXPECT_EQ(reads, 0);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(Requests().size(), requests);
}

TEST_F(Lifetime, EndsWithTheLinesOfTheUnbindingAlone) {
    DestroyModel();
    const std::vector<std::string> lines = LogLines::All();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), "4 IPCApplist.h UnregisterOnNotification > "
                             "Unregistered callbackNotificationObject");
    EXPECT_THAT(lines, Not(Contains(StartsWith("3 RemoteAppListModel.cpp"))));
}

TEST_F(Lifetime, AnEventAfterTheEndCallsNoListener) {
    int calls = 0;
    listener->onChange = [&](AppListModel*) { ++calls; };
    model->AddItemChangeListener(listener.get());
    CapturedLog::Clear();
    // Another part of the host holds the connection, which therefore still delivers messages.
    {
        const SharedBus held;
        partner->Notify(hostName, ByteVector("\x01\0\0\0"s));
        model.reset();
        MainLoop::IterateUntilIdle();
        // Its reply follows the signal: all earlier messages have arrived.
        [[maybe_unused]] g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
            held.Connection(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
            "org.freedesktop.DBus", "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
            nullptr);
        MainLoop::IterateUntilIdle();
    }
    EXPECT_TRUE(SharedBus::WaitUntilReleased());
    EXPECT_EQ(calls, 0);
    EXPECT_THAT(LogLines::All(), Not(Contains(StartsWith("3 RemoteAppListModel.cpp"))));
}

TEST_F(Lifetime, ALaterModelStartsWithoutTheStateOfAnEarlierOne) {
    model->AddItemAtEnd(a.get());
    model->SetSelection(a.get());
    DestroyModel();
    model = std::make_unique<RemoteAppListModel>();
    EXPECT_EQ(model->GetItemsCount(), 0);
    EXPECT_EQ(model->GetSelection(), nullptr);
}
