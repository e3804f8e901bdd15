// The life of a client: construction, destruction at any moment, and the host's objects in it.
#include <chrono>
#include <climits>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <applist/AppListClient.h>
#include <applist/AppListExecutors.h>
#include <gmock/gmock.h>
#include <pthread.h>

#include "CancelledThread.h"
#include "CapturedLog.h"
#include "ClientHost.h"
#include "Hex.h"
#include "MainLoop.h"
#include "PartnerProcess.h"
#include "PrivateBus.h"
#include "Records.h"
#include "SharedBus.h"
#include "TestPartner.h"

namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

TEST(ClientLife, MayEndAtAnyMoment) {
    const PrivateBus bus;
    const PartnerProcess partner({"--created"});
    for (int i = 0; i < 30; ++i) {
        ClientHost host;
        host.Client().AddItems(LetterItems("ab"));
        host.DispatchFor(milliseconds(i));
    }
    EXPECT_TRUE(SharedBus::WaitUntilReleased());
}

TEST(ClientLife, EndsWithoutLaterEvents) {
    const PrivateBus bus;
    std::vector<AppListClient::Task> tasks;
    std::mutex mutex;
    int events = 0;
    {
        AppListClient::Events handlers;
        handlers.connected = [&] { ++events; };
        AppListClient client(
            [&](AppListClient::Task task) {
                const std::lock_guard<std::mutex> lock(mutex);
                tasks.push_back(std::move(task));
            },
            handlers);
        const PartnerProcess partner;
        while (!client.IsConnected()) {
            std::this_thread::yield();
        }
        client.AddItemAtEnd({"a", "a"}, [&](auto...) { ++events; });
        client.RemoveItem("z", [&](auto...) { ++events; });
    }
    ASSERT_THAT(tasks, Not(IsEmpty()));
    for (const AppListClient::Task& task : tasks) {
        task();
    }
    EXPECT_EQ(events, 0);
}

// A host with an older header has a structure without the last members.
TEST(ClientLife, IgnoresEventsBehindTheSizeOfTheStructure) {
    const PrivateBus bus;
    DescriptorExecutor executor;
    int changes = 0;
    int clicks = 0;
    AppListClient::Events events;
    events.changed = [&] { ++changes; };
    events.clicked = [&](const auto&) { ++clicks; };
    events.structSize = sizeof(events) - sizeof(events.clicked);
    const AppListClient client(executor.GetExecutor(), events);
    PartnerProcess partner;
    ASSERT_TRUE(MainLoop::WaitWithoutIterating([&] { return client.IsConnected(); }));
    for (const int id : {Records::CLICKED_EVENT, Records::CHANGE_EVENT}) {
        partner.Ask("notify " + Hex::Of(Records::Frame("", id)));
    }
    EXPECT_TRUE(MainLoop::WaitWithoutIterating([&] {
        executor.Dispatch();
        return changes == 1;
    }));
    EXPECT_EQ(clicks, 0);
}

// The threads of a destroyed client wait for the stopped partner, and their list is still on the
// bus.
TEST(ClientLife, ConnectsAfterTheThreadsOfTheLastClientHaveEnded) {
    const PrivateBus bus;
    PartnerProcess partner({"--created"});
    auto last = std::make_unique<ClientHost>();
    ASSERT_TRUE(last->WaitForEvent("connected"));
    partner.Stop();
    last->Client().AddItems(LetterItems("x"));
    last.reset();
    ClientHost host;
    host.Client().AddItems(LetterItems("ab"));
    host.DispatchFor(milliseconds(700)); // more than one attempt to connect
    EXPECT_THAT(host.events, IsEmpty());
    partner.Continue();
    EXPECT_TRUE(host.WaitUntil([&] { return partner.List() == host.Records(); }));
    EXPECT_EQ(CapturedLog::CountStarting(CapturedLog::ERROR, "Error while registering object"), 0U);
}

// More requests than a client may send in its last two seconds.
TEST(ClientLife, EndsALongChangeAfterItsCurrentRequest) {
    constexpr std::size_t ITEMS = 10000;
    const PrivateBus bus;
    TestPartner partner(bus);
    partner.AnswerWith([](const TestPartner::Bytes&) {
        std::this_thread::sleep_for(milliseconds(1));
        return TestPartner::Bytes();
    });
    {
        ClientHost host;
        ASSERT_TRUE(host.WaitForEvent("connected"));
        std::vector<AppListClient::Item> items;
        for (std::size_t i = 0; i < ITEMS; ++i) {
            items.push_back({std::to_string(i), "name"});
        }
        host.Client().SetItems(items);
        ASSERT_TRUE(partner.WaitForRequests(10));
    }
    EXPECT_TRUE(SharedBus::WaitUntilReleased());
    EXPECT_LT(partner.Requests().size(), ITEMS / 2);
}

TEST(ClientLife, ReleasesTheObjectsInEventsAndCompletions) {
    const PrivateBus bus;
    const auto object = std::make_shared<int>(0);
    {
        DescriptorExecutor executor;
        AppListClient::Events events;
        events.connected = [object] {};
        AppListClient client(executor.GetExecutor(), events);
        client.AddItems(LetterItems("ab"), [object](auto...) {});
        client.SetClicked("a", [object](auto...) {});
    }
    EXPECT_EQ(object.use_count(), 1);
    EXPECT_TRUE(SharedBus::WaitUntilReleased());
}

// No address space is large enough for the stack of such a thread.
TEST(ClientLife, ReportsNoPartnerIfItsThreadsCannotStart) {
    CapturedLog::Clear();
    DescriptorExecutor executor;
    pthread_attr_t before;
    pthread_getattr_default_np(&before);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, std::size_t{1} << 60), 0);
    ASSERT_EQ(pthread_setattr_default_np(&attributes), 0);
    AppListClient client(executor.GetExecutor(), AppListClient::Events());
    pthread_setattr_default_np(&before);
    std::vector<std::string> reasons;
    client.AddItems(LetterItems("ab"), [&](auto outcome, const std::string& reason) {
        EXPECT_EQ(outcome, AppListClient::NO_PARTNER);
        reasons.push_back(reason);
    });
    executor.Dispatch();
    EXPECT_THAT(reasons, ElementsAre("the client has no threads"));
    EXPECT_EQ(CapturedLog::CountStarting(CapturedLog::ERROR, "Client cannot start its thread"), 1U);
    EXPECT_EQ(client.GetItemsCount(), 2U);
}

// A cancellation inside a handler would otherwise end the process: its exception must not be
// caught.
TEST(ClientLife, DelaysTheCancellationOfAThreadToTheEndOfAnEventHandler) {
    const PrivateBus bus;
    DescriptorExecutor executor;
    bool hasReturned = false;
    AppListClient client(executor.GetExecutor(), AppListClient::Events());
    client.RemoveItem("unknown", [&](auto...) {
        pthread_cancel(pthread_self());
        pthread_testcancel();
        hasReturned = true;
    });
    CancelledThread thread([&] { executor.Dispatch(); });
    EXPECT_TRUE(thread.FinishedFirst());
    EXPECT_TRUE(hasReturned);
}

} // namespace
