// The shared connection of a process: its lifetime, and its end.
#include <csignal>
#include <string>

#include "BusDouble.h"
#include "GDBusTest.h"
#include "SharedBus.h"

namespace {

class GDBusSharedConnection : public BusTest {
protected:
    static void LoseTheBus(PrivateBus& bus, GDBusConnection* connection) {
        g_dbus_connection_set_exit_on_close(connection, FALSE);
        bus.Kill();
        ASSERT_TRUE(MainLoop::WaitWithoutIterating(
            [&] { return g_dbus_connection_is_closed(connection) != FALSE; }));
    }
};

TEST_F(GDBusSharedConnection, IsOneObjectUntilItsLastReference) {
    std::string firstName;
    {
        const SharedBus first;
        const SharedBus second;
        EXPECT_EQ(first.Connection(), second.Connection());
        firstName = first.UniqueName();
    }
    ASSERT_TRUE(SharedBus::WaitUntilReleased());
    EXPECT_NE(SharedBus::CurrentUniqueName(), firstName);
    EXPECT_TRUE(SharedBus::WaitUntilReleased());
}

TEST_F(GDBusSharedConnection, StaysClosedUntilItsLastReference) {
    {
        const SharedBus shared;
        LoseTheBus(bus, shared.Connection());
        const SharedBus again;
        EXPECT_EQ(again.Connection(), shared.Connection());
        EXPECT_TRUE(g_dbus_connection_is_closed(again.Connection()));
    }
    ASSERT_TRUE(SharedBus::WaitUntilReleased());
    bus.Restart();
    EXPECT_FALSE(g_dbus_connection_is_closed(SharedBus().Connection()));
    EXPECT_TRUE(SharedBus::WaitUntilReleased());
}

TEST(GDBusSharedConnectionDeathTest, EndsTheProcessWithSigtermWhenTheBusCloses) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const auto loseTheBus = [] {
        BusDouble bus;
        const SharedBus shared;
        bus.Disconnect();
        MainLoop::IterateUntil([] { return false; });
    };
    EXPECT_EXIT(loseTheBus(), testing::KilledBySignal(SIGTERM), "");
}

TEST_F(GDBusSharedConnection, ClosedByTheProcessEndsNoProcess) {
    {
        const SharedBus shared;
        ASSERT_TRUE(g_dbus_connection_get_exit_on_close(shared.Connection()));
        bool isReported = false;
        g_signal_connect(shared.Connection(), "closed",
                         G_CALLBACK(+[](GDBusConnection*, gboolean, GError*, bool* reported) {
                             *reported = true;
                         }),
                         &isReported);
        EXPECT_TRUE(g_dbus_connection_close_sync(shared.Connection(), nullptr, nullptr));
        EXPECT_TRUE(MainLoop::IterateUntil([&] { return isReported; }));
    }
    EXPECT_TRUE(SharedBus::WaitUntilReleased());
}

// The loop of a client reads the state after each iteration.
TEST_F(GDBusSharedConnection, IsClosedBeforeItsSignalWhichArrivesInTheContextOfItsMaker) {
    GMainContext* const context = g_main_context_new();
    {
        g_main_context_push_thread_default(context);
        const SharedBus shared;
        g_main_context_pop_thread_default(context);
        bool isReported = false;
        g_signal_connect(shared.Connection(), "closed",
                         G_CALLBACK(+[](GDBusConnection*, gboolean, GError*, bool* reported) {
                             *reported = true;
                         }),
                         &isReported);
        LoseTheBus(bus, shared.Connection());
        MainLoop::IterateUntilIdle();
        EXPECT_FALSE(isReported);
        while (!isReported) {
            g_main_context_iteration(context, TRUE);
        }
    }
    while (g_main_context_iteration(context, FALSE) != FALSE) {
    }
    g_main_context_unref(context);
    EXPECT_TRUE(SharedBus::WaitUntilReleased());
}

TEST_F(GDBusSharedConnection, IsNotWaitedForAfterACancellation) {
    g_autoptr(GCancellable) cancellable = g_cancellable_new();
    g_cancellable_cancel(cancellable);
    g_autoptr(GError) error = nullptr;
    g_autoptr(GDBusConnection) connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, cancellable, &error);
    EXPECT_EQ(connection, nullptr);
    EXPECT_TRUE(g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED));
}

} // namespace
