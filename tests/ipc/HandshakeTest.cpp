// An endpoint and its partner find each other, in either order, and lose each other.
#include "ChannelTest.h"

#include <stdexcept>

#include "BusDaemon.h"
#include "BusMonitor.h"

namespace {

using testing::ElementsAre, testing::IsEmpty;

const std::string SERVICE_SYN = "org.morva.JavaMW.Applist_SERVICE_SYN";
const std::string SERVICE_SYN_ACK = "org.morva.JavaMW.Applist_SERVICE_SYN_ACK";
const std::string SERVICE_ACK = "org.morva.JavaMW.Applist_SERVICE_ACK";

// The partner's steps are the test's.
class Handshake : public HeldBusTest {
protected:
    void Announce(TestPartner& announcer, const std::string& suffix) {
        announcer.Announce(suffix);
        IterateThroughTheBus();
    }

    // The log lines of a received announcement.
    static std::vector<std::string> Received(const std::string& callback, const std::string& name,
                                             const std::string& own, const std::string& partner) {
        return {"DEBUG " + callback + " called",
                "DEBUG " + callback + " " + name + " " + own + " from '' => '" + partner + "' ",
                "DEBUG " + callback + " called",
                "DEBUG " + callback + " " + name + " " + own + " from '" + partner + "' => '' "};
    }

    static std::vector<std::string> Bound(const std::string& partner) {
        return {"DEBUG Monitor unique name " + partner,
                "DEBUG Partner is available and has unique name " + partner,
                "DEBUG Create proxy for " + partner + " on obj " + PATH,
                "DEBUG Subscribe for signals from " + partner + " on object " + PATH + "."};
    }

    static std::vector<std::string> Answered(const std::string& name, const std::string& own) {
        return {"DEBUG BroadcastName " + name + " Public unique name " + own,
                "DEBUG Become primary owner for name. Releasing it.",
                "DEBUG Successfully broadcasted: " + name};
    }

    static std::vector<std::string> Joined(const std::vector<std::vector<std::string>>& parts) {
        std::vector<std::string> all;
        for (const auto& part : parts) {
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }

    void ExpectUnbound(RecordingEndpoint& unbound) {
        EXPECT_EQ(EndpointInside::m_partnerId(unbound), "");
        EXPECT_EQ(EndpointInside::m_partnerWatchId(unbound), 0u);
        EXPECT_EQ(EndpointInside::m_partnerProxy(unbound), nullptr);
        EXPECT_EQ(EndpointInside::m_signalSubscriptionId(unbound), 0u);
    }

    void ExpectBoundTo(const TestPartner& expected, RecordingEndpoint& bound) {
        EXPECT_EQ(EndpointInside::m_partnerId(bound), expected.UniqueName());
        EXPECT_NE(EndpointInside::m_partnerWatchId(bound), 0u);
        EXPECT_NE(EndpointInside::m_partnerProxy(bound), nullptr);
        EXPECT_NE(EndpointInside::m_signalSubscriptionId(bound), 0u);
    }

    TestPartner partner{bus, false};
};

TEST_F(Handshake, ConnectsToAPartnerThatAnswersOurSyn) {
    RecordingEndpoint endpoint;
    ASSERT_TRUE(partner.WaitForAnnouncement("_CLIENT_SYN"));
    CapturedLog::Clear();
    Announce(partner, "_SYN_ACK");
    const std::string name = partner.UniqueName();
    EXPECT_EQ(CapturedLog::Messages(),
              Joined({Received("cb_SynAckNameOwnerChanged", SERVICE_SYN_ACK, OwnName(), name),
                      Bound(name), Answered("org.morva.JavaMW.Applist_CLIENT_ACK", OwnName())}));
    EXPECT_EQ(EndpointInside::State(endpoint), 3);
    ExpectBoundTo(partner, endpoint);
    EXPECT_THAT(endpoint.Readinesses(), ElementsAre(Readiness{true, name}));
    EXPECT_TRUE(partner.WaitForAnnouncement("_CLIENT_ACK"));
    EXPECT_THAT(partner.Announcements(), ElementsAre("_CLIENT_SYN", "_CLIENT_ACK"));
}

TEST_F(Handshake, ConnectsToAPartnerThatStartsLater) {
    RecordingEndpoint endpoint;
    CapturedLog::Clear();
    Announce(partner, "_SYN");
    const std::string name = partner.UniqueName();
    EXPECT_EQ(CapturedLog::Messages(),
              Joined({Received("cb_SynNameOwnerChanged", SERVICE_SYN, OwnName(), name), Bound(name),
                      Answered("org.morva.JavaMW.Applist_CLIENT_SYN_ACK", OwnName())}));
    EXPECT_EQ(EndpointInside::State(endpoint), 2);
    ExpectBoundTo(partner, endpoint);
    EXPECT_THAT(endpoint.Readinesses(), IsEmpty());
    EXPECT_TRUE(partner.WaitForAnnouncement("_CLIENT_SYN_ACK"));

    CapturedLog::Clear();
    Announce(partner, "_ACK");
    EXPECT_EQ(CapturedLog::Messages(),
              Received("cb_AckNameOwnerChanged", SERVICE_ACK, OwnName(), name));
    EXPECT_EQ(EndpointInside::State(endpoint), 3);
    EXPECT_THAT(endpoint.Readinesses(), ElementsAre(Readiness{true, name}));
}

TEST_F(Handshake, CompletesInBothOrdersOfStart) {
    {
        TestPartner first(bus, true, "First");
        RecordingEndpoint endpoint({}, "First");
        EXPECT_TRUE(IterateUntilReady(endpoint));
        EXPECT_TRUE(first.WaitForAnnouncement("_CLIENT_ACK"));
    }
    RecordingEndpoint endpoint({}, "Second");
    TestPartner second(bus, true, "Second");
    second.Announce("_SYN");
    EXPECT_TRUE(IterateUntilReady(endpoint));
    EXPECT_THAT(second.Announcements(), ElementsAre("_CLIENT_SYN_ACK"));
}

// The partner may send as soon as it receives the answer, so the binding precedes the answer.
TEST_F(Handshake, SubscribesToThePartnerBeforeItAnswers) {
    RecordingEndpoint endpoint;
    BusMonitor monitor(bus);
    Announce(partner, "_SYN");
    const std::string rules[] = {
        "(\"type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
        "member='NameOwnerChanged',path='/org/freedesktop/DBus',arg0='" +
            partner.UniqueName() + "'\",)",
        "(\"type='signal',sender='" + partner.UniqueName() +
            "',interface='org.morva.javamw.DbusCommunication',path='/org/morva/javamw/"
            "CommunicationChannel/Applist'\",)"};
    std::vector<std::string> sent;
    for (const BusMonitor::Message& message : monitor.SentBy(OwnName())) {
        if (message.member != "GetId") {
            sent.push_back(message.member + message.body);
        }
    }
    EXPECT_THAT(sent,
                ElementsAre("AddMatch" + rules[0], "GetNameOwner('" + partner.UniqueName() + "',)",
                            "AddMatch" + rules[1],
                            "RequestName('org.morva.JavaMW.Applist_CLIENT_SYN_ACK', uint32 4)",
                            "ReleaseName('org.morva.JavaMW.Applist_CLIENT_SYN_ACK',)"));
}

TEST_F(Handshake, IgnoresItsOwnAnnouncements) {
    RecordingEndpoint endpoint;
    CapturedLog::Clear();
    for (std::string name : {SERVICE_SYN, SERVICE_SYN_ACK, SERVICE_ACK}) {
        EXPECT_TRUE(endpoint.BroadcastName(name));
    }
    IterateThroughTheBus();
    for (const char* callback :
         {"cb_SynNameOwnerChanged", "cb_SynAckNameOwnerChanged", "cb_AckNameOwnerChanged"}) {
        EXPECT_EQ(CountDebug(std::string(callback) + " called"), 2u);
    }
    EXPECT_EQ(EndpointInside::State(endpoint), 1);
    ExpectUnbound(endpoint);
    EXPECT_THAT(endpoint.Readinesses(), IsEmpty());
}

TEST_F(Handshake, IgnoresTheFirstHalfOfAnAnnouncement) {
    RecordingEndpoint endpoint;
    for (const auto& name : {SERVICE_SYN, SERVICE_SYN_ACK, SERVICE_ACK}) {
        EXPECT_EQ(BusDaemon::RequestName(partner.Connection(), name), 1u);
    }
    IterateThroughTheBus();
    EXPECT_EQ(CountDebug("cb_AckNameOwnerChanged called"), 1u);
    EXPECT_EQ(EndpointInside::State(endpoint), 1);
    ExpectUnbound(endpoint);
    EXPECT_THAT(endpoint.Readinesses(), IsEmpty());
}

TEST_F(Handshake, IgnoresSimilarNames) {
    RecordingEndpoint endpoint;
    CapturedLog::Clear();
    for (const char* suffix : {"", "_SYN_", "_SYN_ACK_ACK", ".SYN", "_SY"}) {
        partner.Announce(suffix);
    }
    IterateThroughTheBus();
    EXPECT_THAT(CapturedLog::Messages(), IsEmpty());
}

struct SecondStep {
    const char* suffix;
    const char* callback;
};

std::ostream& operator<<(std::ostream& os, const SecondStep& row) {
    return os << row.suffix;
}

class SecondPartner : public Handshake, public testing::WithParamInterface<SecondStep> {};

TEST_P(SecondPartner, IsDroppedWithoutALogLineWhileAPartnerIsBound) {
    RecordingEndpoint endpoint;
    Announce(partner, "_SYN_ACK");
    TestPartner second(bus, false);
    CapturedLog::Clear();
    Announce(second, GetParam().suffix);
    EXPECT_EQ(CapturedLog::Messages(),
              Received(GetParam().callback,
                       std::string("org.morva.JavaMW.Applist_SERVICE") + GetParam().suffix,
                       OwnName(), second.UniqueName()));
    EXPECT_EQ(EndpointInside::State(endpoint), 3);
    ExpectBoundTo(partner, endpoint);
    EXPECT_THAT(endpoint.Readinesses(), ElementsAre(Readiness{true, partner.UniqueName()}));
}

TEST_P(SecondPartner, IsDroppedWhileTheFirstHandshakeIsUnderWay) {
    RecordingEndpoint endpoint;
    Announce(partner, "_SYN");
    TestPartner second(bus, false);
    Announce(second, GetParam().suffix);
    EXPECT_EQ(EndpointInside::State(endpoint), 2);
    ExpectBoundTo(partner, endpoint);
    EXPECT_THAT(endpoint.Readinesses(), IsEmpty());
}

// One of the two is enough for the guard.
TEST_P(SecondPartner, IsDroppedUntilTheWholeBindingIsReleased) {
    RecordingEndpoint endpoint;
    Announce(partner, "_SYN_ACK");
    TestPartner second(bus, false);
    for (unsigned* const field : {&EndpointInside::m_partnerWatchId(endpoint),
                                  &EndpointInside::m_signalSubscriptionId(endpoint)}) {
        const unsigned id = std::exchange(*field, 0);
        Announce(second, GetParam().suffix);
        *field = id;
        ExpectBoundTo(partner, endpoint);
    }
}

INSTANTIATE_TEST_SUITE_P(All, SecondPartner,
                         testing::Values(SecondStep{"_SYN", "cb_SynNameOwnerChanged"},
                                         SecondStep{"_SYN_ACK", "cb_SynAckNameOwnerChanged"}));

TEST_F(Handshake, DropsARestartedPartnerUntilTheOldNameVanishes) {
    RecordingEndpoint endpoint;
    Announce(partner, "_SYN_ACK");
    auto second = std::make_unique<TestPartner>(bus, false);
    Announce(*second, "_SYN");
    ExpectBoundTo(partner, endpoint);
    EXPECT_EQ(second->Announcements().size(), 0u);
}

TEST_F(Handshake, IgnoresAnAckWithoutAPartner) {
    RecordingEndpoint endpoint;
    CapturedLog::Clear();
    Announce(partner, "_ACK");
    EXPECT_EQ(CapturedLog::Messages(),
              Received("cb_AckNameOwnerChanged", SERVICE_ACK, OwnName(), partner.UniqueName()));
    EXPECT_EQ(EndpointInside::State(endpoint), 1);
    EXPECT_THAT(endpoint.Readinesses(), IsEmpty());
}

// Deliberate: an acknowledgement of any owner of the name has its effect.
TEST_F(Handshake, AcceptsAnAckOfAnyProcessWhileAPartnerIsBound) {
    RecordingEndpoint endpoint;
    Announce(partner, "_SYN");
    TestPartner otherProcess(bus, false);
    Announce(otherProcess, "_ACK");
    EXPECT_EQ(EndpointInside::State(endpoint), 3);
    ExpectBoundTo(partner, endpoint);
    EXPECT_THAT(endpoint.Readinesses(), ElementsAre(Readiness{true, otherProcess.UniqueName()}));
}

TEST_F(Handshake, ReportsReadyAgainForAnAckInStateThree) {
    RecordingEndpoint endpoint;
    Announce(partner, "_SYN_ACK");
    Announce(partner, "_ACK");
    EXPECT_EQ(EndpointInside::State(endpoint), 3);
    const Readiness ready{true, partner.UniqueName()};
    EXPECT_THAT(endpoint.Readinesses(), ElementsAre(ready, ready));
}

// The loss of the partner

class LossOfThePartner : public Handshake {};

TEST_F(LossOfThePartner, IsReportedOnceAndEndsTheBinding) {
    auto leaving = std::make_unique<TestPartner>(bus, false);
    const std::string name = leaving->UniqueName();
    RecordingEndpoint endpoint;
    Announce(*leaving, "_SYN_ACK");
    CapturedLog::Clear();
    leaving.reset();
    ASSERT_TRUE(IterateUntilLogged(CapturedLog::DEBUG, "Stop watching old partner messages."));
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG cb_PartnerNameVanished name=" + name,
                            "DEBUG Connection lost with partner id=" + name,
                            "DEBUG Stop watching old partner messages."));
    EXPECT_EQ(EndpointInside::State(endpoint), 0);
    ExpectUnbound(endpoint);
    EXPECT_THAT(endpoint.Readinesses(), ElementsAre(Readiness{true, name}, Readiness{false, name}));
}

TEST_F(LossOfThePartner, IsReportedBeforeTheBindingEnds) {
    auto leaving = std::make_unique<TestPartner>(bus, false);
    JavaMWDbusRemote* self = nullptr;
    int reports = 0;
    RecordingEndpoint::Actions actions;
    actions.onReady = [&](bool ready, const std::string&) {
        if (ready) {
            return;
        }
        ++reports;
        EXPECT_EQ(EndpointInside::m_partnerId(*self), "");
        EXPECT_NE(EndpointInside::m_partnerWatchId(*self), 0u);
        EXPECT_NE(EndpointInside::m_partnerProxy(*self), nullptr);
        EXPECT_NE(EndpointInside::m_signalSubscriptionId(*self), 0u);
        EXPECT_EQ(EndpointInside::State(*self), 3);
    };
    RecordingEndpoint endpoint(actions);
    self = &endpoint;
    Announce(*leaving, "_SYN_ACK");
    leaving.reset();
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return reports > 0; }));
    IterateThroughTheBus();
    EXPECT_EQ(reports, 1);
}

TEST_F(LossOfThePartner, RefusesNotificationsAlreadyDuringItsReport) {
    auto leaving = std::make_unique<TestPartner>(bus, false);
    JavaMWDbusRemote* self = nullptr;
    RecordingEndpoint::Actions actions;
    actions.onReady = [&](bool ready, const std::string& name) {
        if (!ready) {
            Bytes data = ByteVector("data");
            self->SendNotification(data);
            self->SendNotification(data, name);
        }
    };
    RecordingEndpoint endpoint(actions);
    self = &endpoint;
    Announce(*leaving, "_SYN_ACK");
    leaving.reset();
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return endpoint.Readinesses().size() == 2; }));
    EXPECT_EQ(CountError("Connection not set."), 1u);
    EXPECT_EQ(CountError("Attempt to send notification to not connected partner!"), 1u);
}

TEST_F(LossOfThePartner, IsNotReportedForAnotherNameThatVanishes) {
    RecordingEndpoint endpoint;
    Announce(partner, "_SYN_ACK");
    for (const std::string& name :
         {std::string(":1.999"), partner.UniqueName() + "0", std::string(":1"), std::string()}) {
        CapturedLog::Clear();
        JavaMWDbusRemote::cb_PartnerNameVanished(Shared().Connection(), name.c_str(), &endpoint);
        EXPECT_THAT(CapturedLog::Messages(),
                    ElementsAre("DEBUG cb_PartnerNameVanished name=" + name));
    }
    EXPECT_EQ(EndpointInside::State(endpoint), 3);
    ExpectBoundTo(partner, endpoint);
    EXPECT_THAT(endpoint.Readinesses(), ElementsAre(Readiness{true, partner.UniqueName()}));
}

TEST_F(LossOfThePartner, ReleasesTheBindingOnTheBus) {
    auto leaving = std::make_unique<TestPartner>(bus, false);
    const std::string name = leaving->UniqueName();
    RecordingEndpoint endpoint;
    Announce(*leaving, "_SYN_ACK");
    BusMonitor monitor(bus);
    leaving.reset();
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return endpoint.Readinesses().size() == 2; }));
    IterateThroughTheBus();
    EXPECT_THAT(monitor.BodiesSentBy(OwnName(), G_DBUS_MESSAGE_TYPE_METHOD_CALL, "RemoveMatch"),
                testing::UnorderedElementsAre(testing::HasSubstr("arg0='" + name + "'"),
                                              testing::HasSubstr("sender='" + name + "'")));
    EXPECT_THAT(monitor.BodiesSentBy(OwnName(), G_DBUS_MESSAGE_TYPE_METHOD_CALL, "RequestName"),
                IsEmpty())
        << "it does not announce itself again";
}

TEST_F(LossOfThePartner, IsAlsoReportedBeforeReadiness) {
    auto leaving = std::make_unique<TestPartner>(bus, false);
    const std::string name = leaving->UniqueName();
    RecordingEndpoint endpoint;
    Announce(*leaving, "_SYN");
    leaving.reset();
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return !endpoint.Readinesses().empty(); }));
    EXPECT_THAT(endpoint.Readinesses(), ElementsAre(Readiness{false, name}));
    EXPECT_EQ(EndpointInside::State(endpoint), 0);
    ExpectUnbound(endpoint);
}

TEST_F(LossOfThePartner, IsFollowedByABindingToTheNextPartner) {
    RecordingEndpoint endpoint;
    std::vector<Readiness> expected;
    for (std::size_t i = 0; i < 5; ++i) {
        TestPartner next(bus);
        const std::string name = next.UniqueName();
        next.Announce("_SYN");
        ASSERT_TRUE(IterateUntilReady(endpoint));
        Bytes data = ByteVector("to the new one");
        next.AnswerWith([](const Bytes&) { return ByteVector("new"); });
        EXPECT_EQ(endpoint.SendMessage(data), ByteVector("new"));
        next.Notify(OwnName(), ByteVector({7}));
        ASSERT_TRUE(
            MainLoop::IterateUntil([&] { return endpoint.Notifications().size() == i + 1; }));
        expected.push_back({true, name});
        expected.push_back({false, name});
        g_dbus_connection_close_sync(next.Connection(), nullptr, nullptr);
        ASSERT_TRUE(MainLoop::IterateUntil([&] { return !endpoint.IsConnectionReady(); }));
    }
    EXPECT_EQ(endpoint.Readinesses(), expected);
}

// The handler of readiness

class ReadinessHandler : public Handshake {};

TEST_F(ReadinessHandler, MaySend) {
    TestPartner answering(bus);
    answering.AnswerWith([](const Bytes&) { return ByteVector("pong"); });
    JavaMWDbusRemote* self = nullptr;
    Bytes reply;
    RecordingEndpoint::Actions actions;
    actions.onReady = [&](bool ready, const std::string& name) {
        if (ready) {
            Bytes message = ByteVector("ping");
            reply = self->SendMessage(message);
            Bytes event = ByteVector("event");
            self->SendNotification(event);
            self->SendNotification(event, name);
        }
    };
    RecordingEndpoint endpoint(actions);
    self = &endpoint;
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return !reply.empty(); }));
    EXPECT_EQ(reply, ByteVector("pong"));
    EXPECT_TRUE(answering.WaitForNotifications(2));
}

TEST_F(ReadinessHandler, RunsWithTheHandshakesMutexHeld) {
    JavaMWDbusRemote* self = nullptr;
    std::vector<bool> taken;
    RecordingEndpoint::Actions actions;
    actions.onReady = [&](bool, const std::string&) {
        std::thread([&] {
            const bool wasFree = EndpointInside::m_mutex(*self).TryLock();
            if (wasFree) {
                EndpointInside::m_mutex(*self).Unlock();
            }
            taken.push_back(!wasFree);
        }).join();
    };
    auto leaving = std::make_unique<TestPartner>(bus, false);
    RecordingEndpoint endpoint(actions);
    self = &endpoint;
    Announce(*leaving, "_SYN_ACK");
    Announce(*leaving, "_ACK");
    leaving.reset();
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return taken.size() == 3; }));
    EXPECT_THAT(taken, ElementsAre(true, true, true));
}

TEST_F(ReadinessHandler, MayThrow) {
    RecordingEndpoint::Actions actions;
    actions.onReady = [](bool ready, const std::string&) {
        if (!ready) {
            throw 7;
        }
        throw std::runtime_error("bad %s partner");
    };
    auto leaving = std::make_unique<TestPartner>(bus, false);
    RecordingEndpoint endpoint(actions);
    Announce(*leaving, "_SYN_ACK");
    EXPECT_EQ(CountError("Exception in HandleConnectionReady: bad %s partner"), 1u);
    EXPECT_EQ(EndpointInside::State(endpoint), 3);
    leaving.reset();
    EXPECT_TRUE(IterateUntilLogged(CapturedLog::ERROR, "Exception in HandleConnectionReady"));
    EXPECT_EQ(EndpointInside::State(endpoint), 0);
    ExpectUnbound(endpoint);
    // The mutex was given back.
    Announce(partner, "_SYN_ACK");
    EXPECT_EQ(EndpointInside::State(endpoint), 3);
}

// A derived class that starts its handlers itself

class LateHandlers : public Handshake {
protected:
    class Late : public JavaMWDbusRemote {
    public:
        Late() : JavaMWDbusRemote("Applist", HandlersLater()) {}
        ~Late() override { StopHandlers(); }
        using JavaMWDbusRemote::StartHandlers;
        Bytes HandleMessage(Bytes&) override { return ByteVector("derived"); }
        void HandleNotification(Bytes&) override { ++calls; }
        void HandleConnectionReady(bool, const std::string&) override { ++calls; }
        int calls = 0;
    };
};

TEST_F(LateHandlers, LeaveMessagesToTheDefaultHandlersUntilTheirStart) {
    Late endpoint;
    Announce(partner, "_SYN_ACK");
    EXPECT_EQ(CountDebug("Default handler - HandleConnectionReady = 1"), 1u);
    Written([&] {
        partner.Notify(OwnName(), ByteVector("early"));
        EXPECT_TRUE(
            IterateUntilLogged(CapturedLog::DEBUG, "Default handler - HandleNotification = early"));
        EXPECT_EQ(CallFrom(partner, {}, OwnName()).bytes,
                  ByteVector("Default handler from : " + OwnName()));
    });
    EXPECT_EQ(endpoint.calls, 0);

    endpoint.StartHandlers();
    EXPECT_EQ(CallFrom(partner, {}, OwnName()).bytes, ByteVector("derived"));
    partner.Notify(OwnName(), ByteVector("now"));
    EXPECT_TRUE(MainLoop::IterateUntil([&] { return endpoint.calls == 1; }));
}

} // namespace
