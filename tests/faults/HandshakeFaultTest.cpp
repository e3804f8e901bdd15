// Other faults of the handshake and of its resends: callbacks without a connection or an endpoint,
// a proxy or a thread that cannot be created, and partners that start and exit while an answer
// is pending.
#include <string>

#include "Bytes.h"
#include "NamedRow.h"

#include "FaultTest.h"

namespace {

using Reply = BusDouble::Reply;

struct Callback : NamedRow {
    void (*call)(GDBusConnection* connection, void* endpoint);
};

template <GDBusSignalCallback callback>
void CallOwnerChanged(GDBusConnection* connection, void* endpoint) {
    g_autoptr(GVariant) parameters =
        g_variant_ref_sink(g_variant_new("(sss)", "org.example.Name", ":2.P", ""));
    callback(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
             "NameOwnerChanged", parameters, endpoint);
}

const Callback CALLBACKS[] = {
    {"Syn", CallOwnerChanged<JavaMWDbusRemote::cb_SynNameOwnerChanged>},
    {"SynAck", CallOwnerChanged<JavaMWDbusRemote::cb_SynAckNameOwnerChanged>},
    {"Ack", CallOwnerChanged<JavaMWDbusRemote::cb_AckNameOwnerChanged>},
    {"Vanished",
     [](GDBusConnection* connection, void* endpoint) {
         JavaMWDbusRemote::cb_PartnerNameVanished(connection, ":2.Partner", endpoint);
     }},
};

class HandshakeCallback : public FaultTest, public testing::WithParamInterface<Callback> {
protected:
    HandshakeCallback() {
        MakeEndpoint();
        CapturedLog::Clear();
    }
    void* UserData() { return static_cast<JavaMWDbusRemote*>(&Endpoint()); }
    void ExpectRefused() {
        ExpectTexts(Errors(), {"Empty user_data or connection not valid."});
        EXPECT_EQ(CapturedLog::Lines().size(), 2U) << "its name, and the error";
    }
};

TEST_P(HandshakeCallback, WithoutAConnectionIsRefusedAndChangesNothing) {
    ConnectTo(PARTNER);
    CapturedLog::Clear();
    GetParam().call(nullptr, UserData());
    ExpectRefused();
    EXPECT_EQ(Endpoint().Reports(), Strings{"ready :2.Partner"});
    EXPECT_TRUE(Endpoint().IsConnectionReady());
}

TEST_P(HandshakeCallback, WithoutAConnectionBindsNoPartner) {
    GetParam().call(nullptr, UserData());
    ExpectRefused();
    EXPECT_FALSE(IsBound());
}

TEST_P(HandshakeCallback, WithoutUserDataIsRefused) {
    GetParam().call(Host().Connection(), nullptr);
    ExpectRefused();
    EXPECT_FALSE(IsBound());
}

TEST_P(HandshakeCallback, ForADestroyedEndpointIsRefused) {
    void* const gone = UserData();
    DestroyEndpoint();
    CapturedLog::Clear();
    GetParam().call(Host().Connection(), gone);
    ExpectRefused();
}

INSTANTIATE_TEST_SUITE_P(Bus, HandshakeCallback, testing::ValuesIn(CALLBACKS), RowName<Callback>);

class LossFault : public FaultTest {};

// Like a name watch of an earlier partner.
TEST_F(LossFault, OfAnotherNameThanThePartnersChangesNothing) {
    MakeEndpoint();
    ConnectTo(PARTNER);
    for (const char* other : {":2.Partner2", ":2.Part", ":2.Earlier"}) {
        JavaMWDbusRemote::cb_PartnerNameVanished(Host().Connection(), other, &Endpoint());
    }
    EXPECT_EQ(Endpoint().Reports(), Strings{"ready :2.Partner"});
    EXPECT_TRUE(Endpoint().IsConnectionReady());
    std::vector<char> data = ByteVector("x");
    Endpoint().SendNotification(data, PARTNER);
    EXPECT_EQ(Errors(), Strings{});
}

class ProxyFault : public FaultTest {
protected:
    // GDBus queries the owner of well-known names alone, and only this query can fail.
    static constexpr const char* NAMED_PARTNER = "org.example.Partner";

    ProxyFault() {
        Bus().Script("StartServiceByName",
                     Reply::Error("org.freedesktop.DBus.Error.AccessDenied", "No %s for you"));
        Bus().Script("GetNameOwner", NAMED_PARTNER,
                     Reply::Body(g_variant_new("(s)", ":2.Partner")));
        MakeEndpoint();
        CapturedLog::Clear();
    }

    void ExpectLogged() {
        ASSERT_EQ(Errors().size(), 1U);
        const std::string error = Errors()[0];
        EXPECT_EQ(error.find("Error while registering proxy  Error calling StartServiceByName for "
                             "org.example.Partner: "),
                  0U)
            << error;
        EXPECT_NE(error.find("No %s for you"), std::string::npos) << error;
    }

    void ExpectSendingRefused() {
        std::vector<char> data = ByteVector("x");
        testing::internal::CaptureStdout();
        EXPECT_TRUE(Endpoint().SendMessage(data).empty());
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "Proxy not ready\n");
        EXPECT_EQ(Bus().CountCalls("Send"), 0U);
    }
};

TEST_F(ProxyFault, IsLoggedAndANewPartnerStillBecomesReady) {
    ASSERT_TRUE(Host().Announce("_SYN", NAMED_PARTNER));
    ExpectLogged();
    ASSERT_TRUE(Host().Announce("_ACK", NAMED_PARTNER));
    EXPECT_EQ(Endpoint().Reports(), Strings{"ready org.example.Partner"});
    ExpectSendingRefused();
}

TEST_F(ProxyFault, IsLoggedAndAPartnerThatAnsweredStillBecomesReady) {
    ASSERT_TRUE(Host().Announce("_SYN_ACK", NAMED_PARTNER));
    ExpectLogged();
    EXPECT_EQ(Endpoint().Reports(), Strings{"ready org.example.Partner"});
    ExpectSendingRefused();
}

TEST_F(ProxyFault, LeavesTheSignalsOfThePartnerSubscribed) {
    ASSERT_TRUE(Host().Announce("_SYN_ACK", NAMED_PARTNER));
    std::vector<char> data = ByteVector("x");
    CapturedLog::Clear();
    Endpoint().SendNotification(data);
    EXPECT_EQ(Errors(), Strings{});
    EXPECT_TRUE(Bus().WaitForCall("SendSignal"));
}

class ThreadFault : public FaultTest {};

TEST_F(ThreadFault, IsLoggedAndTheNextFailureStartsAThread) {
    MakeEndpoint();
    const HeldResendThread held;
    LibraryCalls::RefuseThreads(true);
    Bus().Script("RequestName", Reply::Code(3));
    ASSERT_TRUE(Host().Announce("_SYN", ":2.P"));
    EXPECT_EQ(CountDebug("Creating timer that will execute OnResendHandshake()"), 1U);
    EXPECT_EQ(CountDebug("Timer thread create status: 0"), 1U);

    LibraryCalls::RefuseThreads(false);
    ASSERT_TRUE(Host().Vanish(":2.P"));
    ASSERT_TRUE(Host().Announce("_SYN", ":2.Q"));
    EXPECT_EQ(CountDebug("Timer thread create status: 1"), 1U);
    LibraryCalls::StepResendThread();
    EXPECT_EQ(CountDebug("Number of handshakes to resend: 2"), 1U) << "the first one has stayed";
}

TEST_F(ThreadFault, KeepsTheAnswerUntilTheNextPass) {
    MakeEndpoint();
    LibraryCalls::RefuseThreads(true);
    Bus().Script("RequestName", Reply::Code(3));
    ASSERT_TRUE(Host().Announce("_SYN_ACK", PARTNER));
    Bus().ForgetScripts();
    EXPECT_EQ(JavaMWDbusRemote::OnResendHandshake(&Endpoint()), 0);
    EXPECT_TRUE(Endpoint().IsConnectionReady());
}

class ResendFault : public FaultTest {
protected:
    /** The answer to @p cause of @p partner is pending, and the bus works again. */
    void LeaveAnAnswerPending(const std::string& cause, const std::string& partner) {
        Bus().Script("RequestName", Reply::Code(3));
        ASSERT_TRUE(Host().Announce(cause, partner));
        Bus().ForgetScripts();
        CapturedLog::Clear();
    }
    void MakeEndpointThatOwes(const std::string& cause) {
        MakeEndpoint();
        m_held.emplace();
        LeaveAnAnswerPending(cause, ":2.P");
    }
    static Strings Pass() {
        CapturedLog::Clear();
        LibraryCalls::StepResendThread();
        return CapturedLog::Messages();
    }

private:
    std::optional<HeldResendThread> m_held;
};

const Strings PASS_ENDS = {"DEBUG Nothing left to resend, closing timer",
                           "DEBUG Finished timer thread"};

Strings Concatenated(Strings first, const Strings& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

TEST_F(ResendFault, OfALostPartnersAnswerDropsIt) {
    MakeEndpointThatOwes("_SYN_ACK");
    ASSERT_TRUE(Host().Vanish(":2.P"));
    EXPECT_EQ(Pass(),
              Concatenated({"DEBUG Executed OnResendHandshake function",
                            "DEBUG Number of handshakes to resend: 1",
                            "DEBUG Resending handshake: partner :2.P, handshakeSuffix _ACK",
                            "DEBUG Partner name:  different then resend partner name: :2.P"},
                           PASS_ENDS));
    EXPECT_FALSE(Endpoint().IsConnectionReady());
    EXPECT_FALSE(LibraryCalls::ResendThreadRuns());
}

TEST_F(ResendFault, OfAReplacedPartnersAnswerDropsIt) {
    MakeEndpointThatOwes("_SYN_ACK");
    ASSERT_TRUE(Host().Vanish(":2.P"));
    ASSERT_TRUE(Host().Announce("_SYN", ":2.Q"));
    EXPECT_EQ(Pass(),
              Concatenated({"DEBUG Executed OnResendHandshake function",
                            "DEBUG Number of handshakes to resend: 1",
                            "DEBUG Resending handshake: partner :2.P, handshakeSuffix _ACK",
                            "DEBUG Partner name: :2.Q different then resend partner name: :2.P"},
                           PASS_ENDS));
    EXPECT_EQ(Endpoint().Reports(), Strings{"lost :2.P"}) << "the new partner is not ready by it";
}

TEST_F(ResendFault, KeepsFailedAnswersAloneAndFollowsTheOrderOfNames) {
    MakeEndpoint();
    const HeldResendThread held;
    LeaveAnAnswerPending("_SYN", ":2.Z");
    ASSERT_TRUE(Host().Vanish(":2.Z"));
    LeaveAnAnswerPending("_SYN", ":2.A");
    Bus().Script("RequestName", Reply::Code(3));
    const Strings messages = Pass();
    ASSERT_GT(messages.size(), 4U);
    EXPECT_EQ(messages[1], "DEBUG Number of handshakes to resend: 2");
    EXPECT_EQ(messages[2], "DEBUG Resending handshake: partner :2.A, handshakeSuffix _SYN_ACK");
    EXPECT_EQ(CountDebug("Resending handshake: partner :2.Z, handshakeSuffix _SYN_ACK"), 1U);
    Pass();
    EXPECT_EQ(CountDebug("Number of handshakes to resend: 1"), 1U);
}

TEST_F(ResendFault, ThatSucceedsLateResetsTheStateUntilThePartnerAcknowledges) {
    MakeEndpointThatOwes("_SYN");
    ASSERT_TRUE(Host().Announce("_ACK", ":2.P"));
    ASSERT_TRUE(Endpoint().IsConnectionReady());
    Pass();
    EXPECT_FALSE(Endpoint().IsConnectionReady());
    EXPECT_TRUE(IsBound());
}

TEST_F(ResendFault, WithAThreadUnderWayStartsNoSecondOne) {
    MakeEndpointThatOwes("_SYN");
    const int threads = LibraryCalls::Threads().started;
    ASSERT_TRUE(Host().Vanish(":2.P"));
    LeaveAnAnswerPending("_SYN_ACK", ":2.Q");
    EXPECT_EQ(LibraryCalls::Threads().started, threads);
    EXPECT_EQ(CountDebug("Creating timer that will execute OnResendHandshake()"), 0U);
    Pass();
    EXPECT_TRUE(Endpoint().IsConnectionReady());
}

TEST_F(ResendFault, AfterAThreadsEndStartsAnother) {
    MakeEndpointThatOwes("_SYN");
    Pass();
    ASSERT_FALSE(LibraryCalls::ResendThreadRuns());
    const int threads = LibraryCalls::Threads().started;
    ASSERT_TRUE(Host().Vanish(":2.P"));
    LeaveAnAnswerPending("_SYN_ACK", ":2.Q");
    EXPECT_EQ(LibraryCalls::Threads().started, threads + 1);
    Pass();
    EXPECT_TRUE(Endpoint().IsConnectionReady());
}

TEST_F(ResendFault, SleepsHalfASecondBeforeEachPass) {
    MakeEndpointThatOwes("_SYN");
    Pass();
    EXPECT_EQ(LibraryCalls::LastSleep(), 500000U);
}

TEST_F(ResendFault, OfAnEmptyTableEndsTheTimer) {
    MakeEndpoint();
    CapturedLog::Clear();
    EXPECT_EQ(JavaMWDbusRemote::OnResendHandshake(&Endpoint()), 0);
    EXPECT_EQ(CapturedLog::Messages(), (Strings{"DEBUG Executed OnResendHandshake function",
                                                "DEBUG Number of handshakes to resend: 0",
                                                "DEBUG Nothing left to resend, closing timer"}));
}

} // namespace
