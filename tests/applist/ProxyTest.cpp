// The proxy: every member reaches the operation of the same name, and copying copies nothing.
#include <applist/AppListProxy.h>

#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Bytes.h"
#include "CapturedLog.h"
#include "ListTest.h"
#include "MainLoop.h"
#include "PrivateBus.h"
#include "SharedBus.h"
#include "TestItem.h"
#include "TestListener.h"
#include "TestPartner.h"

using namespace std::string_literals;
using testing::Contains, testing::ElementsAre, testing::HasSubstr, testing::IsEmpty, testing::Not;

namespace {

static_assert(!std::has_virtual_destructor<AppListProxy>::value, "no virtual destructor");
static_assert(!std::is_polymorphic<AppListProxy>::value, "no virtual operation");
static_assert(sizeof(AppListProxy) == sizeof(AppListModel*), "the model's pointer and no more");
static_assert(
    std::is_same<decltype(std::declval<AppListProxy&>() = std::declval<const AppListProxy&>()),
                 AppListProxy&>::value,
    "assignment returns its target");

class Proxy : public testing::Test {
protected:
    Proxy() {
        CapturedLog::Clear();
        proxy = std::make_unique<AppListProxy>();
        MainLoop::IterateUntilIdle();
    }
    ~Proxy() override {
        proxy.reset();
        EXPECT_TRUE(SharedBus::WaitUntilReleased());
    }

    /** The model that listeners receive. */
    static AppListModel* ModelOf(const AppListProxy& of) {
        AppListModel* model = nullptr;
        std::memcpy(&model, static_cast<const void*>(&of), sizeof(model));
        return model;
    }

    PrivateBus bus;
    std::unique_ptr<AppListProxy> proxy;
    TestItem a{"A", "1"};
    TestItem b{"B", "2"};
};

class ConnectedProxy : public Proxy {
protected:
    ConnectedProxy() {
        EXPECT_TRUE(ConnectPartner(partner));
        CapturedLog::Clear();
    }
    ~ConnectedProxy() override { proxy.reset(); }

    std::vector<std::string> Requests() {
        std::vector<std::string> requests;
        for (const TestPartner::Bytes& request : partner.Requests()) {
            requests.push_back(ListBytes::String(request));
        }
        return requests;
    }

    /** Emits each event that a listener receives once. */
    void NotifyAll() {
        for (const char id : {'\1', '\2', '\3'}) {
            partner.Notify(hostName, {id, 0, 0, 0});
        }
        handled += 3;
        EXPECT_TRUE(MainLoop::IterateUntil(
            [&] { return CountDebug("IPC HandleNotification") == handled; }));
    }

    std::string hostName = SharedBus::CurrentUniqueName();
    TestPartner partner{bus};
    std::size_t handled = 0;
};

} // namespace

TEST_F(Proxy, StartsWithoutASelectionAndWithoutALogLine) {
    EXPECT_EQ(proxy->GetSelection(), nullptr);
    EXPECT_EQ(ModelOf(*proxy)->GetItemsCount(), 0);
    for (const CapturedLog::Line& line : CapturedLog::Lines()) {
        EXPECT_NE(line.file, "AppListProxy.cpp");
    }
}

TEST_F(Proxy, DoesNotWaitForAPartner) {
    proxy->AddItemAtEnd(&a);
    proxy->SetSelection(&a);
    EXPECT_EQ(proxy->GetSelection(), &a);
    EXPECT_EQ(ModelOf(*proxy)->GetItemsCount(), 1);
}

TEST_F(ConnectedProxy, ForwardsEachOperationWithItsArguments) {
    proxy->AddItems({&a});
    proxy->AddItemAtEnd(&b);
    proxy->SetSelection(&b);
    EXPECT_EQ(proxy->GetSelection(), &b);
    TestItem c("C", "3");
    proxy->ModifyItem(&a, &c);
    proxy->RemoveItem(&b);
    proxy->RemoveAllItems();
    EXPECT_THAT(Requests(),
                ElementsAre("A\n1\n\xD4\x07\0\0"s, "B\n2\n\xD5\x07\0\0"s, "B\n2\n\xD0\x07\0\0"s,
                            "A\n1\nC\n3\n\xD8\x07\0\0"s, "B\n2\n\xD7\x07\0\0"s, "\xD3\x07\0\0"s));
}

TEST_F(ConnectedProxy, ForwardsNullToTheModelWhichRefusesIt) {
    proxy->SetSelection(nullptr);
    proxy->AddItemAtEnd(nullptr);
    proxy->RemoveItem(nullptr);
    proxy->ModifyItem(nullptr, nullptr);
    EXPECT_THAT(Requests(), IsEmpty());
    for (const char* line : {"SetSelection: (nil)", "AddItemAtEnd: (nil)", "RemoveItem: (nil)",
                             "ModifyItem oldItem: (nil), newItem: (nil)"}) {
        EXPECT_EQ(CountDebug(line), 1U) << line;
    }
}

TEST_F(ConnectedProxy, RegistersAndRemovesEachKindOfListener) {
    std::vector<std::string> calls;
    TestListener listener(calls);
    proxy->AddItemSelectionListener(&listener);
    NotifyAll();
    EXPECT_THAT(calls, ElementsAre("selection"));
    proxy->AddItemChangeListener(&listener);
    proxy->AddItemClickedListener(&listener);
    proxy->RemoveItemSelectionListener(&listener);
    calls.clear();
    NotifyAll();
    EXPECT_THAT(calls, ElementsAre("change", "click"));
    proxy->RemoveItemChangeListener(&listener);
    calls.clear();
    NotifyAll();
    EXPECT_THAT(calls, ElementsAre("click"));
    proxy->RemoveItemClickedListener(&listener);
    calls.clear();
    NotifyAll();
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(ConnectedProxy, OffersTheOtherOperationsThroughTheModelOfAnEvent) {
    AppListModel* source = nullptr;
    TestListener listener([&](AppListModel* model) { source = model; });
    proxy->AddItemChangeListener(&listener);
    proxy->AddItemAtEnd(&a);
    NotifyAll();
    ASSERT_NE(source, nullptr);
    EXPECT_THAT(source->GetAllItems(), ElementsAre(&a));
    EXPECT_EQ(source->GetItemsCount(), 1);
    source->SetClicked(&a);
    EXPECT_EQ(Requests().back(), "A\n1\n\xD6\x07\0\0"s);
}

TEST_F(Proxy, DeletesItsModelAndNoItemOrListener) {
    int deleted = 0;
    TestListener listener;
    listener.onDeleted = a.onDeleted = [&] { ++deleted; };
    proxy->AddItemAtEnd(&a);
    proxy->AddItemChangeListener(&listener);
    proxy.reset();
    EXPECT_EQ(deleted, 0);
    EXPECT_EQ(CountInfo("Unregistered callbackNotificationObject"), 1U);
    a.onDeleted = nullptr;
}

TEST_F(Proxy, CopiedHasNoModelAndIsDestroyedWithoutHarm) {
    proxy->AddItemAtEnd(&a);
    CapturedLog::Clear();
    {
        const AppListProxy copy(*proxy);
        EXPECT_EQ(ModelOf(copy), nullptr);
    }
    EXPECT_THAT(CapturedLog::Lines(), IsEmpty());
    EXPECT_THAT(ModelOf(*proxy)->GetAllItems(), ElementsAre(&a));
}

TEST_F(Proxy, AssignedLeavesBothListsAndSelectionsUnchanged) {
    AppListProxy other;
    proxy->AddItemAtEnd(&a);
    proxy->SetSelection(&a);
    other.AddItemAtEnd(&b);
    other.SetSelection(&b);
    const AppListModel* const model = ModelOf(*proxy);
    const AppListModel* const otherModel = ModelOf(other);
    CapturedLog::Clear();
    EXPECT_EQ(&(other = *proxy), &other);
    EXPECT_THAT(CapturedLog::Lines(), IsEmpty());
    EXPECT_EQ(ModelOf(*proxy), model);
    EXPECT_EQ(ModelOf(other), otherModel);
    EXPECT_EQ(proxy->GetSelection(), &a);
    EXPECT_EQ(other.GetSelection(), &b);
    EXPECT_THAT(ModelOf(*proxy)->GetAllItems(), ElementsAre(&a));
    EXPECT_THAT(ModelOf(other)->GetAllItems(), ElementsAre(&b));
}

TEST_F(Proxy, AssignedToItselfStaysUnchanged) {
    proxy->AddItemAtEnd(&a);
    const AppListProxy& same = *proxy;
    *proxy = same;
    EXPECT_THAT(ModelOf(*proxy)->GetAllItems(), ElementsAre(&a));
}

TEST_F(Proxy, AssignedToACopyLeavesTheCopyWithoutAModel) {
    AppListProxy copy(*proxy);
    copy = *proxy;
    EXPECT_EQ(ModelOf(copy), nullptr);
}

TEST(ProxyWithoutABus, KeepsItsList) {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    CapturedLog::Clear();
    TestItem item("A", "1");
    AppListProxy proxy;
    proxy.AddItemAtEnd(&item);
    proxy.SetSelection(&item);
    EXPECT_EQ(proxy.GetSelection(), &item);
    EXPECT_EQ(CountErrorStarting("Error while connecting to system bus ["), 1U);
}
