// Messages and notifications, both ways, between an endpoint and its partner.
#include "ChannelTest.h"
#include "WrongBodies.h"

#include <stdexcept>

#include "BusMonitor.h"
#include "GLibLog.h"

namespace {

using testing::ElementsAre, testing::IsEmpty;

std::vector<char> Megabyte() {
    std::vector<char> bytes(1024 * 1024);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(static_cast<unsigned char>(i * 7 + (i >> 10)));
    }
    return bytes;
}

// Tests of a connected endpoint.
class ReadyTest : public ConnectedTest {
protected:
    void SetUp() override { Connect(); }

    Bytes Send(Bytes data) { return endpoint->SendMessage(data); }
    void Notify(Bytes data) { endpoint->SendNotification(data); }
};

class SendingMessages : public ReadyTest {};

TEST_F(SendingMessages, SendsTheBytesAndReturnsTheReply) {
    partner.AnswerWith([](const Bytes&) { return ByteVector({0x00, 0xff, 0x7a}); });
    EXPECT_EQ(Send(ByteVector({0x61, 0x00, 0x80, 0xff})), ByteVector({0x00, 0xff, 0x7a}));
    EXPECT_THAT(partner.Requests(), ElementsAre(ByteVector({0x61, 0x00, 0x80, 0xff})));
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG Sending sync message with 4 bytes", "DEBUG Reply with 3 bytes"));
}

TEST_F(SendingMessages, IsACallOfSendOnThePartnersObject) {
    BusMonitor monitor(bus);
    Send(ByteVector("ab"));
    const auto sent = monitor.SentBy(OwnName());
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].type, G_DBUS_MESSAGE_TYPE_METHOD_CALL);
    EXPECT_EQ(sent[0].destination, partner.UniqueName());
    EXPECT_EQ(sent[0].path, PATH);
    EXPECT_EQ(sent[0].interface, INTERFACE);
    EXPECT_EQ(sent[0].member, "Send");
    EXPECT_EQ(sent[0].body, "([byte 0x61, 0x62],)");
}

TEST_F(SendingMessages, SendsAnEmptyVectorAsAnEmptyArray) {
    partner.AnswerWith([](const Bytes&) { return ByteVector("answer"); });
    BusMonitor monitor(bus);
    Bytes data;
    EXPECT_EQ(endpoint->SendMessage(data), ByteVector("answer"));
    EXPECT_THAT(monitor.BodiesSentBy(OwnName(), G_DBUS_MESSAGE_TYPE_METHOD_CALL, "Send"),
                ElementsAre("(@ay [],)"));
    EXPECT_EQ(CountDebug("Sending sync message with 0 bytes"), 1u);
}

TEST_F(SendingMessages, ReturnsAnEmptyReply) {
    Bytes data = ByteVector("data");
    EXPECT_THAT(endpoint->SendMessage(data), IsEmpty());
    EXPECT_EQ(CountDebug("Reply with 0 bytes"), 1u);
}

TEST_F(SendingMessages, CarriesAMegabyteBothWays) {
    partner.AnswerWith([](const Bytes& request) { return request; });
    Bytes data = Megabyte();
    ASSERT_TRUE(endpoint->SendMessage(data) == Megabyte());
    EXPECT_TRUE(partner.Requests().front() == Megabyte());
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG Sending sync message with 1048576 bytes",
                            "DEBUG Reply with 1048576 bytes"));
}

TEST_F(SendingMessages, LogsAnErrorAnswer) {
    partner.AnswerWithError("org.example.Error.Full", "no room");
    Bytes data = ByteVector("data");
    EXPECT_THAT(endpoint->SendMessage(data), IsEmpty());
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG Sending sync message with 4 bytes",
                            "ERROR Error while sending message [36] "
                            "GDBus.Error:org.example.Error.Full: no room"));
}

TEST_F(SendingMessages, LogsAPercentSignOfThePartnerUnchanged) {
    partner.AnswerWithError("org.example.Error.Full", "100%s %n%d");
    Bytes data = ByteVector("data");
    endpoint->SendMessage(data);
    EXPECT_EQ(CountError("Error while sending message [36] "
                         "GDBus.Error:org.example.Error.Full: "
                         "100%s %n%d"),
              1u);
}

TEST_F(SendingMessages, FailsAtOnceAfterAnUndetectedLossOfThePartner) {
    auto leaving = std::make_unique<TestPartner>(bus, false, "Other");
    RecordingEndpoint other(RecordingEndpoint::Actions{}, "Other");
    leaving->Announce("_SYN_ACK");
    ASSERT_TRUE(IterateUntilReady(other));
    leaving.reset();
    CapturedLog::Clear();
    Bytes data = ByteVector("data");
    EXPECT_THAT(other.SendMessage(data), IsEmpty());
    EXPECT_EQ(CountErrorStarting("Error while sending message [2] "
                                 "GDBus.Error:org.freedesktop.DBus.Error.ServiceUnknown: "),
              1u);
}

class ReplyOfAnotherType : public ReadyTest, public testing::WithParamInterface<WrongBody> {};

TEST_P(ReplyOfAnotherType, IsLoggedAndDropped) {
    partner.AnswerWithBody([] { return GetParam().Make(); });
    const GLibLog glib;
    Bytes data = ByteVector("data");
    EXPECT_THAT(endpoint->SendMessage(data), IsEmpty());
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG Sending sync message with 4 bytes",
                            std::string("ERROR Reply of type ") + GetParam().type + " dropped"));
    EXPECT_THAT(glib.Messages(), IsEmpty());
}

class NotificationOfAnotherType : public ReadyTest,
                                  public testing::WithParamInterface<WrongBody> {};

TEST_P(NotificationOfAnotherType, IsLoggedAndDropped) {
    const GLibLog glib;
    partner.NotifyBody(OwnName(), GetParam().Make());
    EXPECT_TRUE(IterateUntilLogged(CapturedLog::ERROR, std::string("Notification of type ") +
                                                           GetParam().type + " dropped"));
    EXPECT_THAT(endpoint->Notifications(), IsEmpty());
    EXPECT_THAT(glib.Messages(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(All, ReplyOfAnotherType, testing::ValuesIn(WRONG_BODIES),
                         RowName<WrongBody>);
INSTANTIATE_TEST_SUITE_P(All, NotificationOfAnotherType, testing::ValuesIn(WRONG_BODIES),
                         RowName<WrongBody>);

class SendingTooEarly : public HeldBusTest {};

TEST_F(SendingTooEarly, IsReportedOnStandardOutputWithoutAMessage) {
    JavaMWDbusRemote endpoint("Applist");
    BusMonitor monitor(bus);
    CapturedLog::Clear();
    Bytes data = ByteVector("data");
    EXPECT_EQ(Written([&] { EXPECT_THAT(endpoint.SendMessage(data), IsEmpty()); }),
              "Connection not set.\n");
    EXPECT_THAT(CapturedLog::Messages(), IsEmpty());
    EXPECT_THAT(monitor.SentBy(OwnName()), IsEmpty());
}

TEST_F(SendingTooEarly, IsLoggedForANotification) {
    JavaMWDbusRemote endpoint("Applist");
    BusMonitor monitor(bus);
    CapturedLog::Clear();
    Bytes data = ByteVector("data");
    EXPECT_EQ(Written([&] { endpoint.SendNotification(data); }), "");
    EXPECT_THAT(CapturedLog::Messages(), ElementsAre("ERROR Connection not set."));
    EXPECT_THAT(monitor.SentBy(OwnName()), IsEmpty());
}

// The bus policy denies StartServiceByName, so that GDBus cannot create a proxy for the name. GDBus
// calls this method for well-known names alone, and a handshake over the bus has none of these.
class WithoutAProxy : public HeldBusTest {
protected:
    WithoutAProxy() : HeldBusTest(Deny::Calling("StartServiceByName")) {}
};

TEST_F(WithoutAProxy, TheHandshakeContinuesAndMessagesAreRefused) {
    RecordingEndpoint endpoint;
    CapturedLog::Clear();
    g_autoptr(GVariant) change =
        OwnerChange("org.morva.JavaMW.Applist_SERVICE_SYN_ACK", "org.example.Partner", "");
    JavaMWDbusRemote::cb_SynAckNameOwnerChanged(Shared().Connection(), "", "", "", "", change,
                                                &endpoint);
    EXPECT_EQ(CountErrorStarting("Error while registering proxy  "
                                 "Error calling StartServiceByName "
                                 "for org.example.Partner: "),
              1u);
    EXPECT_EQ(CountDebug("Subscribe for signals from org.example.Partner on object "
                         "/org/morva/javamw/CommunicationChannel/Applist."),
              1u);
    EXPECT_EQ(EndpointInside::State(endpoint), 3);
    EXPECT_THAT(endpoint.Readinesses(), ElementsAre(Readiness{true, "org.example.Partner"}));

    CapturedLog::Clear();
    Bytes data = ByteVector("data");
    EXPECT_EQ(Written([&] { EXPECT_THAT(endpoint.SendMessage(data), IsEmpty()); }),
              "Proxy not ready\n");
    EXPECT_THAT(CapturedLog::Messages(), IsEmpty());
}

TEST_F(WithoutAProxy, TheOtherHandshakeAlsoContinues) {
    RecordingEndpoint endpoint;
    CapturedLog::Clear();
    g_autoptr(GVariant) change =
        OwnerChange("org.morva.JavaMW.Applist_SERVICE_SYN", "org.example.Partner", "");
    JavaMWDbusRemote::cb_SynNameOwnerChanged(Shared().Connection(), "", "", "", "", change,
                                             &endpoint);
    EXPECT_EQ(CountErrorStarting("Error while registering proxy  "), 1u);
    EXPECT_EQ(EndpointInside::State(endpoint), 2);
}

class SendingNotifications : public ReadyTest {};

TEST_F(SendingNotifications, ReachesThePartner) {
    Notify(ByteVector({0x61, 0x00, 0xff}));
    ASSERT_TRUE(partner.WaitForNotifications(1));
    EXPECT_THAT(partner.Notifications(), ElementsAre(ByteVector({0x61, 0x00, 0xff})));
    EXPECT_THAT(CapturedLog::Messages(), ElementsAre("DEBUG Sending signal with 3 bytes"));
}

TEST_F(SendingNotifications, IsASignalToThePartnerAlone) {
    BusMonitor monitor(bus);
    TestPartner bystander(bus, false);
    Notify(ByteVector("ab"));
    g_dbus_connection_flush_sync(Shared().Connection(), nullptr, nullptr);
    const auto sent = monitor.SentBy(OwnName());
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].type, G_DBUS_MESSAGE_TYPE_SIGNAL);
    EXPECT_EQ(sent[0].destination, partner.UniqueName());
    EXPECT_EQ(sent[0].path, PATH);
    EXPECT_EQ(sent[0].interface, INTERFACE);
    EXPECT_EQ(sent[0].member, "SendSignal");
    EXPECT_EQ(sent[0].body, "([byte 0x61, 0x62],)");
    EXPECT_THAT(bystander.Notifications(), IsEmpty());
}

TEST_F(SendingNotifications, SendsAnEmptyVectorAsAnEmptyArray) {
    Bytes data;
    endpoint->SendNotification(data);
    ASSERT_TRUE(partner.WaitForNotifications(1));
    EXPECT_THAT(partner.Notifications(), ElementsAre(Bytes()));
}

TEST_F(SendingNotifications, ReachesTheNamedPartner) {
    Bytes data = ByteVector("named");
    endpoint->SendNotification(data, partner.UniqueName());
    ASSERT_TRUE(partner.WaitForNotifications(1));
    EXPECT_THAT(partner.Notifications(), ElementsAre(ByteVector("named")));
}

TEST_F(SendingNotifications, IsRefusedForAnotherProcess) {
    BusMonitor monitor(bus);
    const std::string name = partner.UniqueName();
    const std::vector<std::string> others = {
        name.substr(0, name.size() - 1), name + "0", ":1.999", "", "org.morva.JavaMW.Applist",
        name + std::string(1, '\0')};
    for (const std::string& other : others) {
        CapturedLog::Clear();
        Bytes data = ByteVector("data");
        endpoint->SendNotification(data, other);
        EXPECT_THAT(CapturedLog::Messages(),
                    ElementsAre("ERROR Attempt to send notification to not connected partner!"))
            << other;
    }
    EXPECT_THAT(monitor.SentBy(OwnName()), IsEmpty());
}

// No order of events on the bus leaves a connected endpoint without its subscription.
TEST_F(SendingNotifications, IsRefusedWithoutTheSignalSubscription) {
    const unsigned id = std::exchange(EndpointInside::m_signalSubscriptionId(*endpoint), 0);
    Bytes data = ByteVector("data");
    endpoint->SendNotification(data);
    EndpointInside::m_signalSubscriptionId(*endpoint) = id;
    EXPECT_THAT(CapturedLog::Messages(), ElementsAre("ERROR SignalSubscription not ready"));
    EXPECT_THAT(partner.Notifications(), IsEmpty());
}

class ReceivingNotifications : public ConnectedTest {};

TEST_F(ReceivingNotifications, PassesTheBytesToTheHandler) {
    Connect();
    partner.Notify(OwnName(), ByteVector({0x61, 0x00, 0xff}));
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return !endpoint->Notifications().empty(); }));
    EXPECT_THAT(endpoint->Notifications(), ElementsAre(ByteVector({0x61, 0x00, 0xff})));
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG cb_SignalCall sender=" + partner.UniqueName() +
                            " obj_path=/org/morva/javamw/CommunicationChannel/Applist "
                            "iface_name=org.morva.javamw.DbusCommunication "
                            "signal_name=SendSignal"));
}

TEST_F(ReceivingNotifications, PassesAnEmptyArrayToTheHandler) {
    Connect();
    partner.Notify(OwnName(), {});
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return !endpoint->Notifications().empty(); }));
    EXPECT_THAT(endpoint->Notifications(), ElementsAre(Bytes()));
}

TEST_F(ReceivingNotifications, PassesAMegabyteToTheHandler) {
    Connect();
    partner.Notify(OwnName(), Megabyte());
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return !endpoint->Notifications().empty(); }));
    EXPECT_TRUE(endpoint->Notifications().front() == Megabyte());
}

TEST_F(ReceivingNotifications, KeepsTheirOrder) {
    Connect();
    std::vector<Bytes> sent;
    for (int i = 0; i < 200; ++i) {
        sent.push_back(ByteVector({i}));
        partner.Notify(OwnName(), sent.back());
    }
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return endpoint->Notifications().size() == 200; }));
    EXPECT_EQ(endpoint->Notifications(), sent);
}

TEST_F(ReceivingNotifications, IgnoresOtherProcesses) {
    Connect();
    TestPartner otherProcess(bus, false);
    otherProcess.Notify(OwnName(), ByteVector("other"));
    partner.Notify(OwnName(), ByteVector("partner"));
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return !endpoint->Notifications().empty(); }));
    IterateThroughTheBus();
    EXPECT_THAT(endpoint->Notifications(), ElementsAre(ByteVector("partner")));
}

// The member is not checked: every signal of the interface is accepted.
TEST_F(ReceivingNotifications, AcceptsEachSignalOfTheInterface) {
    Connect();
    g_dbus_connection_emit_signal(partner.Connection(), OwnName().c_str(), PATH, INTERFACE,
                                  "AnotherSignal", g_variant_new_parsed("([byte 0x37],)"), nullptr);
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return !endpoint->Notifications().empty(); }));
    EXPECT_THAT(endpoint->Notifications(), ElementsAre(ByteVector("7")));
}

TEST_F(ReceivingNotifications, ContinuesAfterAHandlerThatThrows) {
    RecordingEndpoint::Actions actions;
    actions.onNotification = [](Bytes& data) {
        if (data.empty()) {
            throw 7;
        }
        throw std::runtime_error("bad %s event");
    };
    Connect(actions);
    partner.Notify(OwnName(), ByteVector("x"));
    EXPECT_TRUE(IterateUntilLogged(CapturedLog::ERROR, "Exception in cb_SignalCall: bad %s event"));
    partner.Notify(OwnName(), {});
    EXPECT_TRUE(IterateUntilLogged(CapturedLog::ERROR, "Exception in cb_SignalCall"));
    EXPECT_TRUE(endpoint->IsConnectionReady());
}

class ReceivingMessages : public ConnectedTest {};

TEST_F(ReceivingMessages, AnswersWithTheResultOfTheHandler) {
    RecordingEndpoint::Actions actions;
    actions.onMessage = [](Bytes&) { return ByteVector({0xfe, 0x00}); };
    Connect(actions);
    const Answer answer = CallFrom(partner, ByteVector({0x01, 0xff}), OwnName());
    EXPECT_EQ(answer.error, "");
    EXPECT_EQ(answer.bytes, ByteVector({0xfe, 0x00}));
    EXPECT_THAT(endpoint->Messages(), ElementsAre(ByteVector({0x01, 0xff})));
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG cb_MethodCall sender=" + partner.UniqueName() +
                            " obj_path=/org/morva/javamw/CommunicationChannel/Applist "
                            "iface_name=org.morva.javamw.DbusCommunication method_name=Send"));
}

TEST_F(ReceivingMessages, AnswersAnEmptyVectorWithAnEmptyArray) {
    Connect();
    const Answer answer = CallFrom(partner, {}, OwnName());
    EXPECT_EQ(answer.error, "");
    EXPECT_THAT(answer.bytes, IsEmpty());
    EXPECT_THAT(endpoint->Messages(), ElementsAre(Bytes()));
}

TEST_F(ReceivingMessages, CarriesAMegabyteBothWays) {
    RecordingEndpoint::Actions actions;
    actions.onMessage = [](Bytes& data) { return data; };
    Connect(actions);
    ASSERT_TRUE(CallFrom(partner, Megabyte(), OwnName()).bytes == Megabyte());
    EXPECT_TRUE(endpoint->Messages().front() == Megabyte());
}

TEST_F(ReceivingMessages, AnswersMessagesBeforeTheHandshakeIsFinished) {
    RecordingEndpoint::Actions actions;
    actions.onMessage = [](Bytes&) { return ByteVector("early"); };
    TestPartner silent(bus, false, "Early");
    RecordingEndpoint early(actions, "Early");
    EXPECT_FALSE(early.IsConnectionReady());
    EXPECT_EQ(CallFrom(silent, ByteVector("x"), OwnName()).bytes, ByteVector("early"));
}

TEST_F(ReceivingMessages, AnswersAHandlersExceptionWithAnError) {
    RecordingEndpoint::Actions actions;
    actions.onMessage = [](Bytes& data) -> Bytes {
        if (data.empty()) {
            throw 7;
        }
        throw std::runtime_error("bad %s request");
    };
    Connect(actions);
    EXPECT_EQ(CallFrom(partner, ByteVector("x"), OwnName()).error,
              "org.freedesktop.DBus.Error.Failed");
    EXPECT_EQ(CallFrom(partner, {}, OwnName()).error, "org.freedesktop.DBus.Error.Failed");
    EXPECT_EQ(CountError("Exception in cb_MethodCall: bad %s request"), 1u);
    EXPECT_EQ(CountError("Exception in cb_MethodCall"), 1u);
}

// GDBus refuses them before they reach the endpoint.
TEST_F(ReceivingMessages, ExcludesOtherMethodsAndTypes) {
    Connect();
    const auto errorOf = [&](const char* method, const char* body) {
        return WhileIterating([&]() -> std::string {
            g_autoptr(GError) error = nullptr;
            g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
                partner.Connection(), OwnName().c_str(), PATH, INTERFACE, method,
                g_variant_new_parsed(body), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
            if (reply != nullptr) {
                return "answered";
            }
            g_autofree char* name = g_dbus_error_get_remote_error(error);
            return name != nullptr ? name : error->message;
        });
    };
    EXPECT_EQ(errorOf("Receive", "([byte 1],)"), "org.freedesktop.DBus.Error.UnknownMethod");
    EXPECT_EQ(errorOf("Send", "('text',)"), "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_EQ(errorOf("Send", "()"), "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_THAT(CapturedLog::Messages(), IsEmpty());
}

// The default handlers

class DefaultHandlers : public HeldBusTest {
protected:
    TestPartner partner{bus, false};
};

TEST_F(DefaultHandlers, EchoAMessageAndAnswerWithTheirName) {
    JavaMWDbusRemote endpoint("Applist");
    Answer answer;
    EXPECT_EQ(Written([&] { answer = CallFrom(partner, ByteVector("hello"), OwnName()); }),
              "hello\n");
    EXPECT_EQ(answer.bytes, ByteVector("Default handler from : " + OwnName()));
    EXPECT_EQ(CountDebug("Default handler - HandleMessage = hello"), 1u);
}

TEST_F(DefaultHandlers, EchoBytesAsTheyAre) {
    JavaMWDbusRemote endpoint("Applist");
    Bytes data = ByteVector({0x61, 0x00, 0xff, 0x0a});
    EXPECT_EQ(Written([&] { endpoint.HandleMessage(data); }), std::string("a\0\xff\n\n", 5));
    EXPECT_EQ(Written([&] { endpoint.HandleNotification(data); }), std::string("a\0\xff\n\n", 5));
    Bytes empty;
    EXPECT_EQ(Written([&] { endpoint.HandleMessage(empty); }), "\n");
}

TEST_F(DefaultHandlers, EchoANotification) {
    JavaMWDbusRemote endpoint("Applist");
    partner.Announce("_SYN_ACK");
    ASSERT_TRUE(IterateUntilReady(endpoint));
    EXPECT_EQ(Written([&] {
                  partner.Notify(OwnName(), ByteVector("event"));
                  EXPECT_TRUE(IterateUntilLogged(CapturedLog::DEBUG,
                                                 "Default handler - HandleNotification = event"));
              }),
              "event\n");
}

TEST_F(DefaultHandlers, OnlyLogReadiness) {
    JavaMWDbusRemote endpoint("Applist");
    CapturedLog::Clear();
    EXPECT_EQ(Written([&] {
                  endpoint.HandleConnectionReady(true, ":1.7");
                  endpoint.HandleConnectionReady(false, ":1.7");
              }),
              "");
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG Default handler - HandleConnectionReady = 1",
                            "DEBUG Default handler - HandleConnectionReady = 0"));
}

class DefaultAnswer : public ChannelTest {};

TEST_F(DefaultAnswer, HasTwentyEightBytesForAUniqueNameOfFiveCharacters) {
    for (int i = 0; i < 20; ++i) {
        g_autoptr(GDBusConnection) passer = bus.Connect();
        if (std::string(g_dbus_connection_get_unique_name(passer)) == ":1.9") {
            break;
        }
    }
    JavaMWDbusRemote endpoint("Applist");
    Bytes data;
    Bytes answer;
    Written([&] { answer = endpoint.HandleMessage(data); });
    EXPECT_EQ(answer, ByteVector("Default handler from : :1.10"));
    EXPECT_EQ(answer.size(), 28u);
}

} // namespace
