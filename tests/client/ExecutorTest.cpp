// The executors: each runs tasks once, in order, on the thread of its loop.
#include <string>
#include <thread>
#include <utility>

#include <applist/AppListExecutors.h>
#include <gio/gio.h>
#include <gmock/gmock.h>
#include <poll.h>

#include "CapturedLog.h"
#include "MainLoop.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

bool IsReadable(const DescriptorExecutor& executor) {
    pollfd descriptor{executor.GetDescriptor(), POLLIN, 0};
    return poll(&descriptor, 1, 0) == 1;
}

TEST(DescriptorExecutor, RunsTasksOfOtherThreadsWhenItIsDispatched) {
    DescriptorExecutor executor;
    std::vector<int> order;
    EXPECT_FALSE(IsReadable(executor));
    std::thread([&, run = executor.GetExecutor()] {
        run([&] { order.push_back(1); });
        run([&] { order.push_back(2); });
    }).join();
    EXPECT_TRUE(IsReadable(executor));
    EXPECT_THAT(order, IsEmpty());
    executor.Dispatch();
    EXPECT_THAT(order, ElementsAre(1, 2));
    EXPECT_FALSE(IsReadable(executor));
    executor.Dispatch();
    EXPECT_THAT(order, ElementsAre(1, 2));
}

TEST(DescriptorExecutor, KeepsTheOrderInANestedDispatch) {
    DescriptorExecutor executor;
    const AppListClient::Executor run = executor.GetExecutor();
    std::vector<int> order;
    run([&] {
        order.push_back(1);
        run([&] { order.push_back(3); });
        executor.Dispatch();
    });
    run([&] { order.push_back(2); });
    executor.Dispatch();
    EXPECT_THAT(order, ElementsAre(1, 2, 3));
}

TEST(DescriptorExecutor, DropsTasksAfterItsDestruction) {
    auto executor = std::make_unique<DescriptorExecutor>();
    const AppListClient::Executor run = executor->GetExecutor();
    bool ran = false;
    run([&] { executor.reset(); });
    run([&] { ran = true; });
    executor->Dispatch();
    run([&] { ran = true; });
    EXPECT_FALSE(ran);
}

TEST(MainContextExecutor, RunsTasksInIterationsOfItsContext) {
    g_autoptr(GMainContext) context = g_main_context_new();
    const AppListClient::Executor run = MainContextExecutor(context);
    std::vector<int> order;
    run([&] { order.push_back(1); });
    run([&] { order.push_back(2); });
    EXPECT_THAT(order, IsEmpty());
    while (g_main_context_iteration(context, FALSE) != FALSE) {
    }
    EXPECT_THAT(order, ElementsAre(1, 2));
}

TEST(MainContextExecutor, TakesTheDefaultContextForNull) {
    bool ran = false;
    MainContextExecutor(nullptr)([&] { ran = true; });
    MainLoop::IterateUntilIdle();
    EXPECT_TRUE(ran);
}

} // namespace
