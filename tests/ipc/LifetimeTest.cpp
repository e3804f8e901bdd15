// Callbacks and the end of endpoints: no callback reaches a destroyed endpoint, and a destructor
// waits for the handshake callback under way.
#include "ChannelTest.h"

#include <atomic>
#include <future>
#include <memory>
#include <new>
#include <optional>

#include "BusDaemon.h"

namespace {

using testing::ElementsAre, testing::IsEmpty;

const std::string UNKNOWN_OBJECT = "org.freedesktop.DBus.Error.UnknownObject";

class DestroyedEndpoint : public HeldBusTest {
protected:
    static void ConstructAndDestroy() { const RecordingEndpoint endpoint; }

    TestPartner partner{bus, false};
};

struct Step {
    const char* suffix;
    const char* callback;
};

std::ostream& operator<<(std::ostream& os, const Step& row) {
    return os << row.suffix;
}

class StepForADestroyedEndpoint : public DestroyedEndpoint,
                                  public testing::WithParamInterface<Step> {};

TEST_P(StepForADestroyedEndpoint, IsRefusedWhileTheHostHoldsTheConnection) {
    ConstructAndDestroy();
    CapturedLog::Clear();
    partner.Announce(GetParam().suffix);
    IterateThroughTheBus();
    const std::string called = std::string("DEBUG ") + GetParam().callback + " called";
    EXPECT_THAT(CapturedLog::Messages(), ElementsAre(called, std::string("ERROR ") + REFUSED,
                                                     called, std::string("ERROR ") + REFUSED));
}

INSTANTIATE_TEST_SUITE_P(All, StepForADestroyedEndpoint,
                         testing::Values(Step{"_SYN", "cb_SynNameOwnerChanged"},
                                         Step{"_SYN_ACK", "cb_SynAckNameOwnerChanged"},
                                         Step{"_ACK", "cb_AckNameOwnerChanged"}));

TEST_F(DestroyedEndpoint, HasItsMessagesAnsweredWithAnErrorAtOnce) {
    ConstructAndDestroy();
    CapturedLog::Clear();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(CallFrom(partner, ByteVector("data"), OwnName()).error, UNKNOWN_OBJECT);
    // The partner would wait for 25 s otherwise.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
    EXPECT_EQ(CountError(REFUSED), 1u);
}

TEST_F(DestroyedEndpoint, ReceivesNoLossAndNoSignalsOfItsPartner) {
    auto lost = std::make_unique<TestPartner>(bus);
    {
        RecordingEndpoint endpoint;
        ASSERT_TRUE(IterateUntilReady(endpoint));
    }
    CapturedLog::Clear();
    lost->Notify(OwnName(), ByteVector("late"));
    lost.reset();
    IterateThroughTheBus();
    EXPECT_THAT(CapturedLog::Messages(), IsEmpty());
}

// Messages under way at the end of the endpoint, on a connection without another owner.
class QueuedDelivery : public ChannelTest {
protected:
    /** On return, all earlier messages to the shared connection have arrived, without dispatch. */
    static void ReceiveQueuedMessages() {
        const SharedBus shared;
        BusDaemon::Ping(shared.Connection());
    }

    TestPartner partner{bus, false};
};

TEST_F(QueuedDelivery, OfAHandshakeStepIsRefused) {
    auto endpoint = std::make_unique<RecordingEndpoint>();
    partner.Announce("_SYN");
    partner.Announce("_SYN_ACK");
    partner.Announce("_ACK");
    ReceiveQueuedMessages();
    endpoint.reset();
    CapturedLog::Clear();
    MainLoop::IterateUntilIdle();
    EXPECT_EQ(CountError(REFUSED), 6u);
    EXPECT_EQ(CountDebugStarting("Monitor unique name"), 0u);
}

TEST_F(QueuedDelivery, OfAMessageIsAnsweredWithAnError) {
    auto endpoint = std::make_unique<RecordingEndpoint>();
    const std::string own = SharedBus::CurrentUniqueName();
    std::string error;
    g_dbus_connection_call(
        partner.Connection(), own.c_str(), PATH, INTERFACE, "Send",
        g_variant_new_parsed("([byte 1],)"), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
        [](GObject* source, GAsyncResult* result, void* user_data) {
            g_autoptr(GError) answer = nullptr;
            g_autoptr(GVariant) reply =
                g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &answer);
            g_autofree char* name =
                reply != nullptr ? g_strdup("answered") : g_dbus_error_get_remote_error(answer);
            *static_cast<std::string*>(user_data) = name != nullptr ? name : answer->message;
        },
        &error);
    // After the reply to a later call, the daemon has forwarded the earlier call.
    BusDaemon::Ping(partner.Connection());
    ReceiveQueuedMessages();
    endpoint.reset();
    CapturedLog::Clear();
    EXPECT_TRUE(MainLoop::IterateUntil([&] { return !error.empty(); }));
    EXPECT_EQ(CountError(REFUSED), 1u);
    // The answer is lost with the last reference to the connection; the daemon then reports at once
    // that there is no reply.
    EXPECT_THAT(error, testing::AnyOf(UNKNOWN_OBJECT, "org.freedesktop.DBus.Error.NoReply"));
}

TEST_F(QueuedDelivery, OfANotificationIsDroppedAfterTheDestructor) {
    auto endpoint = std::make_unique<RecordingEndpoint>();
    const std::string own = SharedBus::CurrentUniqueName();
    partner.Announce("_SYN_ACK");
    ASSERT_TRUE(IterateUntilReady(*endpoint));
    partner.Notify(own, ByteVector("late"));
    ReceiveQueuedMessages();
    endpoint.reset();
    CapturedLog::Clear();
    MainLoop::IterateUntilIdle();
    EXPECT_EQ(CountDebugStarting("cb_SignalCall"), 0u);
}

TEST_F(QueuedDelivery, OfTheLossOfThePartnerIsDroppedAfterTheDestructor) {
    auto leaving = std::make_unique<TestPartner>(bus, false);
    auto endpoint = std::make_unique<RecordingEndpoint>();
    leaving->Announce("_SYN_ACK");
    ASSERT_TRUE(IterateUntilReady(*endpoint));
    leaving.reset();
    ReceiveQueuedMessages();
    endpoint.reset();
    CapturedLog::Clear();
    MainLoop::IterateUntilIdle();
    EXPECT_EQ(CountDebugStarting("Connection lost"), 0u);
}

// Several endpoints in one process

class SecondEndpoint : public ChannelTest {};

TEST_F(SecondEndpoint, HasNoObjectBesideTheFirst) {
    TestPartner partner(bus, false);
    RecordingEndpoint first;
    partner.Announce("_SYN_ACK");
    ASSERT_TRUE(IterateUntilReady(first));
    RecordingEndpoint second;
    EXPECT_EQ(CountErrorStarting("Error while registering object [2] "), 1u);
    // The partner, which is bound, does not answer the second one's SYN.
    IterateThroughTheBus();
    EXPECT_FALSE(second.IsConnectionReady());
    EXPECT_EQ(EndpointInside::State(second), 1);
    CallFrom(partner, ByteVector("x"), SharedBus::CurrentUniqueName());
    EXPECT_EQ(first.Messages().size(), 1u);
    EXPECT_THAT(second.Messages(), IsEmpty());
}

TEST_F(SecondEndpoint, BecomesReadyWithTheFirstWhoseObjectServesBoth) {
    RecordingEndpoint first;
    RecordingEndpoint second;
    TestPartner partner(bus);
    partner.Announce("_SYN");
    EXPECT_TRUE(IterateUntilReady(first));
    EXPECT_TRUE(IterateUntilReady(second));
    CallFrom(partner, ByteVector("x"), SharedBus::CurrentUniqueName());
    EXPECT_EQ(first.Messages().size(), 1u);
    EXPECT_THAT(second.Messages(), IsEmpty());
    partner.Notify(SharedBus::CurrentUniqueName(), ByteVector("event"));
    EXPECT_TRUE(MainLoop::IterateUntil(
        [&] { return first.Notifications().size() == 1 && second.Notifications().size() == 1; }));
}

TEST_F(SecondEndpoint, WorksAfterTheEndOfTheFirstAndItsConnection) {
    std::optional<RecordingEndpoint> first(std::in_place);
    first.reset();
    ASSERT_TRUE(SharedBus::WaitUntilReleased());
    RecordingEndpoint second;
    TestPartner partner(bus);
    partner.Announce("_SYN");
    ASSERT_TRUE(IterateUntilReady(second));
    CallFrom(partner, ByteVector("x"), SharedBus::CurrentUniqueName());
    EXPECT_EQ(second.Messages().size(), 1u);
}

TEST_F(SecondEndpoint, HasItsMessagesRefusedWhileTheHostHoldsTheFirstConnection) {
    const SharedBus shared;
    std::optional<RecordingEndpoint> first(std::in_place);
    // At another address than the first one.
    RecordingEndpoint other({}, "Other");
    first.reset();
    RecordingEndpoint second;
    EXPECT_EQ(CountErrorStarting("Error while registering object [2] "), 1u);
    TestPartner partner(bus);
    partner.Announce("_SYN");
    EXPECT_TRUE(IterateUntilReady(second));
    EXPECT_EQ(CallFrom(partner, ByteVector("x"), shared.UniqueName()).error, UNKNOWN_OBJECT);
    EXPECT_THAT(second.Messages(), IsEmpty());
}

// A callback for the destroyed endpoint also reaches the new one, and does not change the new one.
TEST_F(SecondEndpoint, AlsoConnectsAtTheAddressOfTheFirst) {
    const SharedBus shared;
    alignas(RecordingEndpoint) unsigned char memory[sizeof(RecordingEndpoint)];
    auto* const first = new (memory) RecordingEndpoint();
    first->~RecordingEndpoint();
    auto* const second = new (memory) RecordingEndpoint();
    TestPartner partner(bus);
    partner.Announce("_SYN");
    EXPECT_TRUE(IterateUntilReady(*second));
    IterateThroughTheBus();
    EXPECT_THAT(partner.Announcements(), ElementsAre("_CLIENT_SYN_ACK"));
    for (const Readiness& readiness : second->Readinesses()) {
        EXPECT_EQ(readiness, (Readiness{true, partner.UniqueName()}));
    }
    CallFrom(partner, ByteVector("x"), shared.UniqueName());
    EXPECT_EQ(second->Messages().size(), 1u);
    second->~RecordingEndpoint();
}

TEST_F(SecondEndpoint, IsNotBoundToThePartnerOfTheFirstAtItsAddress) {
    const SharedBus shared;
    alignas(RecordingEndpoint) unsigned char memory[sizeof(RecordingEndpoint)];
    auto* const first = new (memory) RecordingEndpoint();
    first->~RecordingEndpoint();
    auto* const second = new (memory) RecordingEndpoint({}, "Other");
    TestPartner partner(bus, false);
    for (const char* suffix : {"_SYN", "_SYN_ACK", "_ACK"}) {
        partner.Announce(suffix);
    }
    IterateThroughTheBus();
    EXPECT_EQ(EndpointInside::State(*second), 1);
    EXPECT_EQ(EndpointInside::m_partnerId(*second), "");
    EXPECT_THAT(second->Readinesses(), IsEmpty());
    second->~RecordingEndpoint();
}

// The host's loop in another thread

class LoopInAnotherThread : public ChannelTest {
protected:
    // The loop's thread ends before the test's last deliveries are made here.
    std::optional<LoopThread> loop{std::in_place};

    void TearDown() override {
        loop.reset();
        ChannelTest::TearDown();
    }

    static bool WaitUntilReady(JavaMWDbusRemote& endpoint) {
        return MainLoop::WaitWithoutIterating([&] { return endpoint.IsConnectionReady(); });
    }
};

TEST_F(LoopInAnotherThread, RunsTheCallbacks) {
    RecordingEndpoint endpoint;
    TestPartner partner(bus); // comes when the handlers have been started
    partner.Announce("_SYN");
    ASSERT_TRUE(WaitUntilReady(endpoint));
    ASSERT_TRUE(
        MainLoop::WaitWithoutIterating([&] { return !endpoint.ReadinessThreads().empty(); }));
    EXPECT_EQ(endpoint.ReadinessThreads().front(), loop->Id());
    partner.AnswerWith([](const Bytes&) { return ByteVector("reply"); });
    Bytes data = ByteVector("data");
    EXPECT_EQ(endpoint.SendMessage(data), ByteVector("reply"));
}

TEST_F(LoopInAnotherThread, FinishesAReadinessHandlerBeforeTheDestructorReturns) {
    TestPartner partner(bus);
    std::promise<void> entered;
    std::promise<void> release;
    std::atomic<bool> finished{false};
    RecordingEndpoint::Actions actions;
    actions.onReady = [&](bool, const std::string&) {
        entered.set_value();
        release.get_future().wait();
        finished = true;
    };
    auto endpoint = std::make_unique<RecordingEndpoint>(actions);
    // A late start of the handlers would leave the report to the default one.
    if (!MainLoop::WaitWithoutIterating([&] { return endpoint->IsConnectionReady(); }) ||
        CountDebug("Default handler - HandleConnectionReady = 1") > 0) {
        partner.Announce("_ACK");
    }
    entered.get_future().wait();
    std::future<bool> destroyed = std::async(std::launch::async, [&] {
        endpoint.reset();
        return finished.load();
    });
    // Too short a wait could only miss a fault.
    EXPECT_EQ(destroyed.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    release.set_value();
    EXPECT_TRUE(destroyed.get());
}

TEST_F(LoopInAnotherThread, AllowsTheDestructionOfEndpointsAtAnyMomentOfTheHandshake) {
    std::atomic<bool> stop{false};
    TestPartner partner(bus);
    std::thread announcer([&] {
        while (!stop) {
            partner.Announce("_SYN");
            partner.Announce("_ACK");
        }
    });
    for (int i = 0; i < 40; ++i) {
        auto endpoint = std::make_unique<RecordingEndpoint>();
        const std::size_t lines = CapturedLog::Lines().size() + static_cast<std::size_t>(i % 8) * 3;
        MainLoop::WaitWithoutIterating([=] { return CapturedLog::Lines().size() >= lines; });
        endpoint.reset();
        CapturedLog::Clear();
    }
    stop = true;
    announcer.join();
    SUCCEED() << "the sanitizers report errors";
}

TEST_F(LoopInAnotherThread, AllowsTheDestructionOfEndpointsDuringTheStartOfPartners) {
    for (int i = 0; i < 20; ++i) {
        auto partner = std::make_unique<TestPartner>(bus);
        auto endpoint = std::make_unique<RecordingEndpoint>();
        if (i % 2 == 0) {
            ASSERT_TRUE(partner->WaitForAnnouncement("_CLIENT_SYN"));
        }
        std::thread leaving([&] { partner.reset(); });
        endpoint.reset();
        leaving.join();
    }
}

} // namespace
