// Subscriptions to signals: the context of a delivery, the checked fields, and the messages on the
// bus.
#include <chrono>
#include <string>
#include <vector>

#include "BusDouble.h"
#include "BusMonitor.h"
#include "Bytes.h"
#include "GDBusTest.h"
#include "PrintedVariant.h"
#include "SharedBus.h"

namespace {

using testing::ElementsAre;

class GDBusSignal : public GDBusTest {
protected:
    /** The calls of @p connection so far, each as its member. */
    static std::vector<std::string> CallsOf(BusMonitor& monitor,
                                            const ConnectionOwner& connection) {
        std::vector<std::string> calls;
        for (const BusMonitor::Message& message : monitor.SentBy(NameOf(connection))) {
            if (message.type == G_DBUS_MESSAGE_TYPE_METHOD_CALL && message.member != "GetId" &&
                message.interface != "org.freedesktop.DBus.Peer") {
                calls.push_back(message.member);
            }
        }
        return calls;
    }

    static unsigned SubscribeToOwner(const ConnectionOwner& connection, const char* name,
                                     int& count) {
        return g_dbus_connection_signal_subscribe(
            connection.get(), BUS, BUS, "NameOwnerChanged", "/org/freedesktop/DBus", name,
            G_DBUS_SIGNAL_FLAGS_NONE, CountSignal, &count, nullptr);
    }
};

TEST_F(GDBusSignal, IsDeliveredInTheContextOfTheSubscribingThread) {
    GMainContext* const context = g_main_context_new();
    int count = 0;
    g_main_context_push_thread_default(context);
    const unsigned subscription = Subscribe(own, NameOf(peer), CountSignal, &count);
    g_main_context_pop_thread_default(context);
    BusDaemon::Ping(own.get());
    Emit(peer, own, ByteBody("x"));
    Receive(peer, own);
    MainLoop::IterateUntilIdle();
    EXPECT_EQ(count, 0);
    while (g_main_context_iteration(context, FALSE) != FALSE) {
    }
    EXPECT_EQ(count, 1);
    g_dbus_connection_signal_unsubscribe(own.get(), subscription);
    while (g_main_context_iteration(context, FALSE) != FALSE) {
    }
    g_main_context_unref(context);
}

// The thread iterates the context without making it its default: a host must push it.
TEST_F(GDBusSignal, OfASubscriptionInACallbackFollowsTheDefaultOfTheThread) {
    struct Nested {
        const ConnectionOwner& own;
        std::string peer;
        unsigned subscription = 0;
        int count = 0;
    } nested{own, NameOf(peer)};
    GMainContext* const context = g_main_context_new();
    g_main_context_push_thread_default(context);
    const unsigned outer = Subscribe(
        own, NameOf(peer),
        [](GDBusConnection*, const char*, const char*, const char*, const char*, GVariant*,
           void* userData) {
            auto& data = *static_cast<Nested*>(userData);
            if (data.subscription == 0) {
                data.subscription =
                    Subscribe(data.own, data.peer.c_str(), CountSignal, &data.count);
            }
        },
        &nested);
    g_main_context_pop_thread_default(context);
    BusDaemon::Ping(own.get());
    const auto emitAndIterate = [&] {
        Emit(peer, own, ByteBody("x"));
        Receive(peer, own);
        while (g_main_context_iteration(context, FALSE) != FALSE) {
        }
    };
    emitAndIterate();
    ASSERT_NE(nested.subscription, 0u);
    emitAndIterate();
    EXPECT_EQ(nested.count, 0);
    MainLoop::IterateUntilIdle();
    EXPECT_EQ(nested.count, 1);
    g_dbus_connection_signal_unsubscribe(own.get(), outer);
    g_dbus_connection_signal_unsubscribe(own.get(), nested.subscription);
    while (g_main_context_iteration(context, FALSE) != FALSE) {
    }
    g_main_context_unref(context);
}

TEST_F(GDBusSignal, OfAnotherSenderThanTheSubscribedIsNotDelivered) {
    const ConnectionOwner other(bus.Connect());
    int count = 0;
    const unsigned subscription = Subscribe(own, NameOf(peer), CountSignal, &count);
    BusDaemon::Ping(own.get());
    Emit(other, own, ByteBody("x"));
    Receive(other, own);
    MainLoop::IterateUntilIdle();
    EXPECT_EQ(count, 0);
    Emit(peer, own, ByteBody("x"));
    Receive(peer, own);
    MainLoop::IterateUntilIdle();
    EXPECT_EQ(count, 1);
    g_dbus_connection_signal_unsubscribe(own.get(), subscription);
}

TEST_F(GDBusSignal, OfAnotherSenderThanTheBusIsNoSignalOfTheBus) {
    int count = 0;
    const unsigned subscription = SubscribeToOwner(own, "org.example.Name", count);
    BusDaemon::Ping(own.get());
    g_dbus_connection_emit_signal(
        peer.get(), NameOf(own), "/org/freedesktop/DBus", BUS, "NameOwnerChanged",
        g_variant_new("(sss)", "org.example.Name", NameOf(peer), ""), nullptr);
    Receive(peer, own);
    MainLoop::IterateUntilIdle();
    EXPECT_EQ(count, 0);
    ASSERT_EQ(BusDaemon::RequestName(peer.get(), "org.example.Name"), 1u);
    Receive(peer, own);
    MainLoop::IterateUntilIdle();
    EXPECT_EQ(count, 1);
    g_dbus_connection_signal_unsubscribe(own.get(), subscription);
}

TEST_F(GDBusSignal, IsDeliveredToTheSubscriptionOfItsFirstArgumentAlone) {
    int first = 0;
    int second = 0;
    const unsigned firstId = SubscribeToOwner(own, "org.example.Name", first);
    const unsigned secondId = SubscribeToOwner(own, "org.example.Name2", second);
    BusDaemon::Ping(own.get());
    ASSERT_EQ(BusDaemon::RequestName(peer.get(), "org.example.Name2"), 1u);
    Receive(peer, own);
    MainLoop::IterateUntilIdle();
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
    g_dbus_connection_signal_unsubscribe(own.get(), firstId);
    g_dbus_connection_signal_unsubscribe(own.get(), secondId);
}

// The steps of a handshake arrive through three subscriptions.
TEST_F(GDBusSignal, KeepsItsOrderAmongSubscriptions) {
    std::vector<std::string> names;
    std::vector<unsigned> subscriptions;
    for (const char* name : {"org.example.C", "org.example.A", "org.example.B"}) {
        subscriptions.push_back(g_dbus_connection_signal_subscribe(
            own.get(), BUS, BUS, "NameOwnerChanged", "/org/freedesktop/DBus", name,
            G_DBUS_SIGNAL_FLAGS_NONE,
            [](GDBusConnection*, const char*, const char*, const char*, const char*,
               GVariant* parameters, void* userData) {
                const char* changed = nullptr;
                g_variant_get(parameters, "(&sss)", &changed, nullptr, nullptr);
                static_cast<std::vector<std::string>*>(userData)->emplace_back(changed);
            },
            &names, nullptr));
    }
    BusDaemon::Ping(own.get());
    for (const char* name : {"org.example.A", "org.example.B", "org.example.C"}) {
        ASSERT_EQ(BusDaemon::RequestName(peer.get(), name), 1u);
    }
    Receive(peer, own);
    MainLoop::IterateUntilIdle();
    EXPECT_THAT(names, ElementsAre("org.example.A", "org.example.B", "org.example.C"));
    for (const unsigned subscription : subscriptions) {
        g_dbus_connection_signal_unsubscribe(own.get(), subscription);
    }
}

TEST_F(GDBusSignal, ThatIsQueuedIsDroppedByTheEndOfItsSubscription) {
    int count = 0;
    const unsigned subscription = Subscribe(own, NameOf(peer), CountSignal, &count);
    BusDaemon::Ping(own.get());
    Emit(peer, own, ByteBody("x"));
    Receive(peer, own);
    g_dbus_connection_signal_unsubscribe(own.get(), subscription);
    MainLoop::IterateUntilIdle();
    EXPECT_EQ(count, 0);
}

TEST_F(GDBusSignal, ThatIsQueuedKeepsTheConnection) {
    int count = 0;
    static bool isHeld;
    isHeld = true;
    {
        const SharedBus shared;
        g_object_weak_ref(
            G_OBJECT(shared.Connection()), [](void*, GObject*) { isHeld = false; }, nullptr);
        g_dbus_connection_signal_subscribe(shared.Connection(), NameOf(peer), INTERFACE, nullptr,
                                           PATH, nullptr, G_DBUS_SIGNAL_FLAGS_NONE, CountSignal,
                                           &count, nullptr);
        BusDaemon::Ping(shared.Connection());
        g_dbus_connection_emit_signal(peer.get(), shared.UniqueName().c_str(), PATH, INTERFACE,
                                      "SendSignal", ByteBody("x"), nullptr);
        BusDaemon::Ping(peer.get());
        BusDaemon::Ping(shared.Connection());
    }
    EXPECT_TRUE(isHeld);
    EXPECT_TRUE(MainLoop::IterateUntil([] { return !isHeld; }));
    EXPECT_EQ(count, 1);
}

TEST_F(GDBusSignal, OfAnyTypeIsDelivered) {
    std::string type;
    const unsigned subscription = Subscribe(
        own, NameOf(peer),
        [](GDBusConnection*, const char*, const char*, const char*, const char*,
           GVariant* parameters, void* userData) {
            *static_cast<std::string*>(userData) = g_variant_get_type_string(parameters);
        },
        &type);
    BusDaemon::Ping(own.get());
    Emit(peer, own, g_variant_new("(su)", "text", 7));
    EXPECT_TRUE(MainLoop::IterateUntil([&] { return type == "(su)"; }));
    g_dbus_connection_signal_unsubscribe(own.get(), subscription);
}

// Neither the name of the bus nor a unique name needs a query of the owner.
TEST_F(GDBusSignal, OfTheBusAndOfAUniqueNameCostsOneAddMatch) {
    BusMonitor monitor(bus);
    int count = 0;
    const unsigned busId = SubscribeToOwner(own, "org.example.Name", count);
    const unsigned peerId = Subscribe(own, NameOf(peer), CountSignal, &count);
    EXPECT_THAT(CallsOf(monitor, own), ElementsAre("AddMatch", "AddMatch"));
    g_dbus_connection_signal_unsubscribe(own.get(), busId);
    g_dbus_connection_signal_unsubscribe(own.get(), peerId);
}

TEST_F(GDBusSignal, OfEqualSubscriptionsCostsOneMatchRule) {
    BusMonitor monitor(bus);
    int count = 0;
    const unsigned first = Subscribe(own, NameOf(peer), CountSignal, &count);
    const unsigned second = Subscribe(own, NameOf(peer), CountSignal, &count);
    g_dbus_connection_signal_unsubscribe(own.get(), first);
    EXPECT_THAT(CallsOf(monitor, own), ElementsAre("AddMatch"));
    g_dbus_connection_signal_unsubscribe(own.get(), second);
    EXPECT_THAT(CallsOf(monitor, own), ElementsAre("AddMatch", "RemoveMatch"));
}

TEST(GDBusSubscription, DoesNotWaitForTheBus) {
    BusDouble bus;
    bus.Script("AddMatch", BusDouble::Reply::Missing());
    {
        const SharedBus shared;
        shared.DisableExitOnClose();
        int count = 0;
        const auto start = std::chrono::steady_clock::now();
        const unsigned subscription = g_dbus_connection_signal_subscribe(
            shared.Connection(), ":2.Peer", INTERFACE, nullptr, PATH, nullptr,
            G_DBUS_SIGNAL_FLAGS_NONE,
            [](GDBusConnection*, const char*, const char*, const char*, const char*, GVariant*,
               void*) {},
            &count, nullptr);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
        EXPECT_NE(subscription, 0u);
        g_dbus_connection_signal_unsubscribe(shared.Connection(), subscription);
    }
    EXPECT_TRUE(SharedBus::WaitUntilReleased());
}

} // namespace
