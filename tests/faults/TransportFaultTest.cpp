// Messages and notifications that cannot be sent, have a malformed reply, or arrive at another
// path.
#include <string>

#include "Bytes.h"
#include "NamedRow.h"

#include "FaultTest.h"

namespace {

using Reply = BusDouble::Reply;
using Bytes = std::vector<char>;

struct BadReply : NamedRow {
    Reply reply;
    Strings errors;
};

class ConnectedFault : public FaultTest {
protected:
    ConnectedFault() {
        MakeEndpoint();
        ConnectTo(PARTNER);
        CapturedLog::Clear();
    }
    Bytes Send() {
        Bytes data = ByteVector("question");
        return Endpoint().SendMessage(data);
    }
};

class BadReplyTest : public ConnectedFault, public testing::WithParamInterface<BadReply> {};

TEST_P(BadReplyTest, IsAnEmptyAnswerAndALoggedError) {
    Bus().Script("Send", GetParam().reply);
    EXPECT_EQ(Send(), Bytes{});
    ExpectTexts(Errors(), GetParam().errors);
    EXPECT_EQ(CountDebug("Sending sync message with 8 bytes"), 1U);
    EXPECT_EQ(CountDebugStarting("Reply with"), 0U);
    EXPECT_TRUE(Endpoint().IsConnectionReady()) << "a message's failure is no loss";
}

BadReply ErrorReply(const char* testName, const std::string& name, const std::string& text,
                    int code) {
    return {testName,
            Reply::Error(name, text),
            {"Error while sending message [" + std::to_string(code) + "] GDBus.Error:" + name +
             ": " + text}};
}

const BadReply BAD_REPLIES[] = {
    ErrorReply("NoReply", "org.freedesktop.DBus.Error.NoReply", "Recipient disconnected", 4),
    ErrorReply("Timeout", "org.freedesktop.DBus.Error.Timeout", "Too late", 12),
    ErrorReply("AccessDenied", "org.freedesktop.DBus.Error.AccessDenied", "Rejected: 100 %d%n", 9),
    ErrorReply("UnknownObject", "org.freedesktop.DBus.Error.UnknownObject", "Gone", 41),
    ErrorReply("PartnersOwnError", "org.example.Error", "", 36),
    {"OtherType", Reply::Body(g_variant_new("(s)", "yes")), {"Reply of type (s) dropped"}},
    {"TwoArrays",
     Reply::Body(g_variant_new_parsed("(@ay [1], @ay [2])")),
     {"Reply of type (ayay) dropped"}},
    {"NoBody", Reply::Body(nullptr), {"Reply of type () dropped"}},
};
INSTANTIATE_TEST_SUITE_P(Bus, BadReplyTest, testing::ValuesIn(BAD_REPLIES), RowName<BadReply>);

TEST_F(ConnectedFault, AMissingReplyWithoutAnErrorIsAnEmptyAnswerWithoutALogLine) {
    LibraryCalls::LoseReplies(true);
    EXPECT_EQ(Send(), Bytes{});
    EXPECT_EQ(CapturedLog::Messages(), Strings{"DEBUG Sending sync message with 8 bytes"});
}

TEST_F(ConnectedFault, ANotificationToAnotherPartnerIsRefused) {
    Bytes data = ByteVector("x");
    for (const char* other : {":2.Part", ":2.Partner2", "", ":2.partner"}) {
        CapturedLog::Clear();
        Endpoint().SendNotification(data, other);
        EXPECT_EQ(CapturedLog::Messages(),
                  Strings{"ERROR Attempt to send notification to not connected partner!"})
            << other;
    }
    EXPECT_EQ(Bus().CountCalls("SendSignal"), 0U);
}

TEST_F(ConnectedFault, ThePartnersLossRefusesMessagesAndNotifications) {
    ASSERT_TRUE(Host().Vanish(PARTNER));
    CapturedLog::Clear();
    testing::internal::CaptureStdout();
    EXPECT_EQ(Send(), Bytes{});
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Connection not set.\n");
    Bytes data = ByteVector("x");
    Endpoint().SendNotification(data);
    Endpoint().SendNotification(data, PARTNER);
    ExpectTexts(Errors(),
                {"Connection not set.", "Attempt to send notification to not connected partner!"});
    EXPECT_EQ(Bus().CountCalls("Send"), 0U);
}

class TransportFault : public FaultTest {};

TEST_F(TransportFault, WithoutTheHandshakeNothingIsSent) {
    MakeEndpoint();
    CapturedLog::Clear();
    Bytes data = ByteVector("x");
    testing::internal::CaptureStdout();
    EXPECT_EQ(Endpoint().SendMessage(data), Bytes{});
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Connection not set.\n");
    EXPECT_EQ(CapturedLog::Messages(), Strings{}) << "that is told on standard output alone";
    Endpoint().SendNotification(data);
    EXPECT_EQ(CapturedLog::Messages(), Strings{"ERROR Connection not set."});
}

TEST_F(TransportFault, WithoutTheSubscriptionToThePartnerNoNotificationIsSent) {
    MakeEndpoint();
    LibraryCalls::RefusePartnerSubscriptions(true);
    ASSERT_TRUE(Host().Announce("_SYN_ACK", PARTNER));
    ASSERT_TRUE(Endpoint().IsConnectionReady());
    CapturedLog::Clear();
    Bytes data = ByteVector("x");
    Endpoint().SendNotification(data);
    EXPECT_EQ(CapturedLog::Messages(), Strings{"ERROR SignalSubscription not ready"});
    EXPECT_EQ(Bus().CountCalls("SendSignal"), 0U);
}

// Direct calls of the callbacks, with arguments that GDBus never passes.
class IncomingFault : public FaultTest {
protected:
    IncomingFault() {
        MakeEndpoint();
        CapturedLog::Clear();
    }
    void* UserData() { return static_cast<JavaMWDbusRemote*>(&Endpoint()); }
    static void Signal(GDBusConnection* connection, const char* path, const char* body,
                       void* endpoint) {
        g_autoptr(GVariant) parameters = g_variant_ref_sink(g_variant_new_parsed(body));
        JavaMWDbusRemote::cb_SignalCall(connection, ":2.P", path, INTERFACE, "SendSignal",
                                        parameters, endpoint);
    }
    static void Call(GDBusConnection* connection, const char* path, void* endpoint) {
        g_autoptr(GVariant) parameters = g_variant_ref_sink(g_variant_new_parsed("(@ay [1],)"));
        JavaMWDbusRemote::cb_MethodCall(connection, ":2.P", path, INTERFACE, "Send", parameters,
                                        nullptr, endpoint);
    }
    void ExpectRefused(const std::string& callbackLine) {
        EXPECT_EQ(CapturedLog::Messages(),
                  (Strings{callbackLine, "ERROR Empty user_data or connection not valid."}));
        EXPECT_TRUE(Endpoint().Messages().empty());
        EXPECT_TRUE(Endpoint().Notifications().empty());
    }

    static std::string SignalLine(const std::string& path) {
        return "DEBUG cb_SignalCall sender=:2.P obj_path=" + path +
               " iface_name=org.morva.javamw.DbusCommunication signal_name=SendSignal";
    }
    static std::string CallLine(const std::string& path) {
        return "DEBUG cb_MethodCall sender=:2.P obj_path=" + path +
               " iface_name=org.morva.javamw.DbusCommunication method_name=Send";
    }
};

TEST_F(IncomingFault, ASignalWithoutAConnectionIsRefused) {
    Signal(nullptr, DoubleHost::OBJECT_PATH, "(@ay [1],)", UserData());
    ExpectRefused(SignalLine(DoubleHost::OBJECT_PATH));
}

TEST_F(IncomingFault, ASignalWithoutUserDataIsRefused) {
    Signal(Host().Connection(), DoubleHost::OBJECT_PATH, "(@ay [1],)", nullptr);
    ExpectRefused(SignalLine(DoubleHost::OBJECT_PATH));
}

TEST_F(IncomingFault, ASignalForADestroyedEndpointIsRefused) {
    void* const gone = UserData();
    DestroyEndpoint();
    CapturedLog::Clear();
    Signal(Host().Connection(), DoubleHost::OBJECT_PATH, "(@ay [1],)", gone);
    EXPECT_EQ(CapturedLog::Messages(), (Strings{SignalLine(DoubleHost::OBJECT_PATH),
                                                "ERROR Empty user_data or connection not valid."}));
}

TEST_F(IncomingFault, ASignalOfAnotherPathIsIgnoredWithoutAnError) {
    Signal(Host().Connection(), "/elsewhere", "(@ay [1],)", UserData());
    EXPECT_EQ(CapturedLog::Messages(), Strings{SignalLine("/elsewhere")});
    EXPECT_TRUE(Endpoint().Notifications().empty());
}

TEST_F(IncomingFault, ASignalOfAnotherTypeIsDroppedWithALoggedError) {
    Signal(Host().Connection(), DoubleHost::OBJECT_PATH, "('text',)", UserData());
    EXPECT_EQ(CapturedLog::Messages(), (Strings{SignalLine(DoubleHost::OBJECT_PATH),
                                                "ERROR Notification of type (s) dropped"}));
    EXPECT_TRUE(Endpoint().Notifications().empty());
}

TEST_F(IncomingFault, ACallWithoutAConnectionStaysUnanswered) {
    Call(nullptr, DoubleHost::OBJECT_PATH, UserData());
    ExpectRefused(CallLine(DoubleHost::OBJECT_PATH));
}

TEST_F(IncomingFault, ACallWithoutUserDataStaysUnanswered) {
    Call(Host().Connection(), DoubleHost::OBJECT_PATH, nullptr);
    ExpectRefused(CallLine(DoubleHost::OBJECT_PATH));
}

TEST_F(IncomingFault, ACallOfAnotherPathStaysUnansweredWithoutAnError) {
    Call(Host().Connection(), "/elsewhere", UserData());
    EXPECT_EQ(CapturedLog::Messages(), Strings{CallLine("/elsewhere")});
    EXPECT_TRUE(Endpoint().Messages().empty());
}

} // namespace
