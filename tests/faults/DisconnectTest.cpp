// Loss of the bus at each step of the start and of the binding, and after both.
#include <csignal>
#include <string>

#include "Bytes.h"
#include "NamedRow.h"

#include "FaultTest.h"

namespace {

using Reply = BusDouble::Reply;

struct Step : NamedRow {
    const char* method;
    const char* argument; // the bus is lost at the call with this text in its first argument
    // GDBus can no longer query the owner of the partner's name. GDBus reports the loss of the
    // partner or of the connection first, depending on the order of two threads.
    bool mayLose = false;
};

const Strings CLOSED_AT_REQUEST = {"Error during request name call [18] *",
                                   "Cannot get response for name request"};
const Strings CLOSED_AT_RELEASE = {"Release failed due to empty response."};

const Strings& ErrorsOf(const Step& step) {
    return std::string(step.method) == "ReleaseName" ? CLOSED_AT_RELEASE : CLOSED_AT_REQUEST;
}

class DisconnectAtStartUp : public FaultTest, public testing::WithParamInterface<Step> {};

TEST_P(DisconnectAtStartUp, LeavesAnEndpointThatIsNotReady) {
    Bus().Script(GetParam().method, GetParam().argument, Reply::Disconnect());
    MakeEndpoint();
    ExpectTexts(Errors(), ErrorsOf(GetParam()));
    EXPECT_FALSE(Endpoint().IsConnectionReady());
    DestroyEndpoint();
    EXPECT_EQ(Errors().size(), ErrorsOf(GetParam()).size()) << "the destructor logs nothing";
}

const Step START_UP[] = {
    {"AtTheSynWatch", "AddMatch", "arg0='org.morva.JavaMW.Applist_SERVICE_SYN'"},
    {"AtTheSynAckWatch", "AddMatch", "arg0='org.morva.JavaMW.Applist_SERVICE_SYN_ACK'"},
    {"AtTheAckWatch", "AddMatch", "arg0='org.morva.JavaMW.Applist_SERVICE_ACK'"},
    {"AtRequestName", "RequestName", "_CLIENT_SYN"},
    {"AtReleaseName", "ReleaseName", "_CLIENT_SYN"},
};
INSTANTIATE_TEST_SUITE_P(Bus, DisconnectAtStartUp, testing::ValuesIn(START_UP), RowName<Step>);

class DisconnectAtBinding : public FaultTest, public testing::WithParamInterface<Step> {
protected:
    /** The answer of the binding fails, and is pending until the partner is lost. */
    void BindAndExpectAFailedAnswer(const std::string& cause) {
        MakeEndpoint();
        CapturedLog::Clear();
        Bus().Script(GetParam().method, GetParam().argument, Reply::Disconnect());
        Host().EmitAnnouncement(cause, PARTNER);
        ASSERT_TRUE(MainLoop::IterateUntil([] {
            return CountDebug("Timer thread create status: 1") == 1 &&
                   CountDebug("cb_PartnerNameVanished name=:2.Partner") > 0;
        }));
        EXPECT_FALSE(Endpoint().IsConnectionReady());
        const bool isLost = CountError(REFUSED) == 0;
        EXPECT_TRUE(!isLost || GetParam().mayLose);
        EXPECT_EQ(Endpoint().Reports(), isLost ? Strings{"lost :2.Partner"} : Strings{});
        EXPECT_EQ(JavaMWDbusRemote::OnResendHandshake(&Endpoint()), isLost ? 0 : 1);
    }

private:
    HeldResendThread m_held;
};

TEST_P(DisconnectAtBinding, ToANewPartnerIsNotReportedReady) {
    BindAndExpectAFailedAnswer("_SYN");
}

TEST_P(DisconnectAtBinding, ToAPartnerThatAnsweredIsNotReportedReady) {
    BindAndExpectAFailedAnswer("_SYN_ACK");
}

const Step BINDING[] = {
    {"AtTheNameWatch", "AddMatch", "arg0=':2.Partner'", true},
    {"AtGetNameOwner", "GetNameOwner", ":2.Partner", true},
    {"AtTheProxysMatch", "AddMatch", "sender=':2.Partner'"},
    {"AtRequestName", "RequestName", "_ACK"},
    {"AtReleaseName", "ReleaseName", "_ACK"},
};
INSTANTIATE_TEST_SUITE_P(Bus, DisconnectAtBinding, testing::ValuesIn(BINDING), RowName<Step>);

class Disconnect : public FaultTest {
protected:
    void LoseTheBusWhileConnected() {
        MakeEndpoint();
        ConnectTo(PARTNER);
        CapturedLog::Clear();
        Bus().Disconnect();
        ASSERT_TRUE(MainLoop::IterateUntil([] { return !Errors().empty(); }));
    }
};

TEST_F(Disconnect, IsRefusedAsACallbackWithoutAConnection) {
    LoseTheBusWhileConnected();
    EXPECT_EQ(CountDebug("cb_PartnerNameVanished name=:2.Partner"), 1U);
    ExpectTexts(Errors(), {REFUSED});
    EXPECT_EQ(Endpoint().Reports(), Strings{"ready :2.Partner"}) << "no loss of the partner";
    EXPECT_TRUE(Endpoint().IsConnectionReady());
}

TEST_F(Disconnect, MakesMessagesAndNotificationsFailWithALoggedError) {
    LoseTheBusWhileConnected();
    CapturedLog::Clear();
    std::vector<char> data = ByteVector("x");
    EXPECT_TRUE(Endpoint().SendMessage(data).empty());
    Endpoint().SendNotification(data);
    ExpectTexts(Errors(), {"Error while sending message [18] The connection is closed",
                           "Error while sending signal [18] The connection is closed"});
}

TEST_F(Disconnect, AllowsTheDestructionOfTheEndpoint) {
    LoseTheBusWhileConnected();
    CapturedLog::Clear();
    DestroyEndpoint();
    EXPECT_EQ(CapturedLog::Messages(), Strings{});
}

TEST_F(Disconnect, WhileAnAnswerIsOutstandingEndsTheMessage) {
    MakeEndpoint();
    ConnectTo(PARTNER);
    CapturedLog::Clear();
    Bus().Script("Send", Reply::Disconnect());
    std::vector<char> data = ByteVector("x");
    EXPECT_TRUE(Endpoint().SendMessage(data).empty());
    ExpectTexts(Errors(), {"Error while sending message [18] *"});
}

// The exit-on-close of GDBus, which the library leaves to the host.
TEST(DisconnectDeathTest, EndsTheProcessUnlessTheHostDisablesExitOnClose) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const auto loseTheBus = [] {
        BusDouble bus;
        const RecordingEndpoint endpoint;
        bus.Disconnect();
        MainLoop::IterateUntil([] { return false; });
    };
    EXPECT_EXIT(loseTheBus(), testing::KilledBySignal(SIGTERM), "");
}

} // namespace
