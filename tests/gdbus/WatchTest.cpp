// Watches of a name, and proxies for a unique name.
#include <string>
#include <vector>

#include "BusMonitor.h"
#include "Bytes.h"
#include "GDBusTest.h"
#include "GLibLog.h"

namespace {

using testing::ElementsAre, testing::IsEmpty;

class GDBusWatch : public GDBusTest {
protected:
    /** Calls of the vanished handler: the name, or "no connection". */
    using Reports = std::vector<std::string>;

    static void RecordVanished(GDBusConnection* connection, const char* name, void* reports) {
        static_cast<Reports*>(reports)->push_back(connection == nullptr ? "no connection" : name);
    }

    static unsigned Watch(const ConnectionOwner& connection, const std::string& name,
                          Reports& reports) {
        return g_bus_watch_name_on_connection(connection.get(), name.c_str(),
                                              G_BUS_NAME_WATCHER_FLAGS_NONE, nullptr,
                                              RecordVanished, &reports, nullptr);
    }

    /** Iterates until the replies to earlier calls, and signals before them, were delivered. */
    void IterateThroughTheBus() {
        bool isDone = false;
        g_dbus_connection_call(
            own.get(), BUS, "/org/freedesktop/DBus", BUS, "GetId", nullptr, nullptr,
            G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
            [](GObject*, GAsyncResult*, void* done) { *static_cast<bool*>(done) = true; }, &isDone);
        EXPECT_TRUE(MainLoop::IterateUntil([&] { return isDone; }));
        MainLoop::IterateUntilIdle();
    }
};

TEST_F(GDBusWatch, HasIdsThatAreCountedApartFromSubscriptions) {
    Reports reports;
    int count = 0;
    const unsigned before = Watch(own, "org.example.A", reports);
    std::vector<unsigned> subscriptions;
    for (int i = 0; i < 5; ++i) {
        subscriptions.push_back(Subscribe(own, NameOf(peer), CountSignal, &count));
    }
    const unsigned after = Watch(own, "org.example.B", reports);
    EXPECT_EQ(after, before + 1);
    IterateThroughTheBus();
    g_bus_unwatch_name(before);
    g_bus_unwatch_name(after);
    for (const unsigned subscription : subscriptions) {
        EXPECT_NE(subscription, 0u);
        g_dbus_connection_signal_unsubscribe(own.get(), subscription);
    }
}

TEST_F(GDBusWatch, EndedWithAnIdOfNoWatchWarnsAndLeavesTheSubscriptionOfThatId) {
    int count = 0;
    unsigned subscription = 0;
    // No watch of this process has such a high number.
    for (int i = 0; i < 100; ++i) {
        if (subscription != 0) {
            g_dbus_connection_signal_unsubscribe(own.get(), subscription);
        }
        subscription = Subscribe(own, NameOf(peer), CountSignal, &count);
    }
    BusDaemon::Ping(own.get());
    {
        const GLibLog glib;
        g_bus_unwatch_name(subscription);
        EXPECT_THAT(glib.Messages(),
                    ElementsAre("GLib-GIO: Invalid id " + std::to_string(subscription) +
                                " passed to g_bus_unwatch_name()"));
    }
    Emit(peer, own, ByteBody("x"));
    EXPECT_TRUE(MainLoop::IterateUntil([&] { return count == 1; }));
    g_dbus_connection_signal_unsubscribe(own.get(), subscription);
}

TEST_F(GDBusWatch, ReportsTheEndOfAUniqueNameOnce) {
    Reports reports;
    const std::string name = NameOf(peer);
    const unsigned watch = Watch(own, name, reports);
    IterateThroughTheBus();
    EXPECT_THAT(reports, IsEmpty());
    peer.reset();
    EXPECT_TRUE(MainLoop::IterateUntil([&] { return !reports.empty(); }));
    IterateThroughTheBus();
    EXPECT_THAT(reports, ElementsAre(name));
    g_bus_unwatch_name(watch);
}

// The partner may leave between its announcement and the watch of its name.
TEST_F(GDBusWatch, ReportsANameThatEndedBeforeTheWatchOnce) {
    Reports reports;
    const std::string name = NameOf(peer);
    peer.reset();
    BusDaemon::Ping(own.get());
    const unsigned watch = Watch(own, name, reports);
    EXPECT_TRUE(MainLoop::IterateUntil([&] { return !reports.empty(); }));
    IterateThroughTheBus();
    EXPECT_THAT(reports, ElementsAre(name));
    g_bus_unwatch_name(watch);
}

TEST_F(GDBusWatch, ReportsTheEndOfTheBusWithoutAConnection) {
    Reports reports;
    const unsigned watch = Watch(own, NameOf(peer), reports);
    IterateThroughTheBus();
    bus.Kill();
    EXPECT_TRUE(MainLoop::IterateUntil([&] { return !reports.empty(); }));
    EXPECT_THAT(reports, ElementsAre("no connection"));
    g_bus_unwatch_name(watch);
}

TEST_F(GDBusWatch, ReportsTheEndOfANameBehindTheEarlierSignalsOfItsOwner) {
    struct Order {
        std::vector<std::string> events;
    } order;
    const unsigned subscription = Subscribe(
        own, NameOf(peer),
        [](GDBusConnection*, const char*, const char*, const char*, const char*, GVariant*,
           void* userData) { static_cast<Order*>(userData)->events.emplace_back("signal"); },
        &order);
    const unsigned watch = g_bus_watch_name_on_connection(
        own.get(), NameOf(peer), G_BUS_NAME_WATCHER_FLAGS_NONE, nullptr,
        [](GDBusConnection*, const char*, void* userData) {
            static_cast<Order*>(userData)->events.emplace_back("end");
        },
        &order, nullptr);
    IterateThroughTheBus();
    for (int i = 0; i < 3; ++i) {
        Emit(peer, own, ByteBody("x"));
    }
    g_dbus_connection_flush_sync(peer.get(), nullptr, nullptr);
    peer.reset();
    EXPECT_TRUE(MainLoop::IterateUntil(
        [&] { return !order.events.empty() && order.events.back() == "end"; }));
    EXPECT_THAT(order.events, ElementsAre("signal", "signal", "signal", "end"));
    g_bus_unwatch_name(watch);
    g_dbus_connection_signal_unsubscribe(own.get(), subscription);
}

TEST_F(GDBusWatch, ReportsNothingAfterItsEnd) {
    Reports reports;
    const unsigned watch = Watch(own, NameOf(peer), reports);
    IterateThroughTheBus();
    const ConnectionOwner other(bus.Connect());
    peer.reset();
    Receive(other, own);
    g_bus_unwatch_name(watch);
    IterateThroughTheBus();
    EXPECT_THAT(reports, IsEmpty());
}

// The messages of a binding: a watch, a proxy and a subscription to the partner's signals.
TEST_F(GDBusWatch, ProxyAndSubscriptionOfAPartnerCostThreeMessages) {
    BusMonitor monitor(bus);
    Reports reports;
    int count = 0;
    const unsigned watch = Watch(own, NameOf(peer), reports);
    GDBusProxy* const proxy =
        g_dbus_proxy_new_sync(own.get(), G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES, nullptr,
                              NameOf(peer), PATH, INTERFACE, nullptr, nullptr);
    const unsigned subscription = Subscribe(own, NameOf(peer), CountSignal, &count);
    std::vector<std::string> sent;
    for (const BusMonitor::Message& message : monitor.SentBy(NameOf(own))) {
        sent.push_back(message.member + " to " + message.destination);
    }
    EXPECT_THAT(sent, ElementsAre("AddMatch to org.freedesktop.DBus",
                                  "GetNameOwner to org.freedesktop.DBus",
                                  "AddMatch to org.freedesktop.DBus"));
    IterateThroughTheBus();
    g_object_unref(proxy);
    g_bus_unwatch_name(watch);
    g_dbus_connection_signal_unsubscribe(own.get(), subscription);
    IterateThroughTheBus();
}

TEST_F(GDBusWatch, IsNotNeededToMakeAProxyOfANameThatHasEnded) {
    const std::string name = NameOf(peer);
    peer.reset();
    BusDaemon::Ping(own.get());
    g_autoptr(GError) error = nullptr;
    GDBusProxy* const proxy =
        g_dbus_proxy_new_sync(own.get(), G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES, nullptr,
                              name.c_str(), PATH, INTERFACE, nullptr, &error);
    EXPECT_EQ(error, nullptr);
    ASSERT_NE(proxy, nullptr);
    g_autoptr(GVariant) reply = g_dbus_proxy_call_sync(proxy, "Send", ByteBody("x"),
                                                       G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    EXPECT_EQ(reply, nullptr);
    EXPECT_TRUE(g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN));
    g_object_unref(proxy);
    IterateThroughTheBus();
}

} // namespace
