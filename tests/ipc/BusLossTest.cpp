// Loss of the bus in a host that has disabled exit-on-close.
#include "ChannelTest.h"

#include "LibraryCalls.h"

namespace {

using testing::ElementsAre, testing::IsEmpty;

class BusLoss : public ConnectedTest {
protected:
    /** Kills the daemon, and waits until GDBus has closed the connection. Dispatches nothing. */
    void LoseTheBus() {
        Shared().DisableExitOnClose();
        bus.Kill();
        ASSERT_TRUE(MainLoop::WaitWithoutIterating(
            [&] { return g_dbus_connection_is_closed(Shared().Connection()) != FALSE; }));
        CapturedLog::Clear();
    }
};

TEST_F(BusLoss, FailsMessagesWithALoggedError) {
    Connect();
    LoseTheBus();
    Bytes data = ByteVector("data");
    EXPECT_EQ(Written([&] { EXPECT_THAT(endpoint->SendMessage(data), IsEmpty()); }), "");
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG Sending sync message with 4 bytes",
                            "ERROR Error while sending message [18] The connection is closed"));
}

TEST_F(BusLoss, FailsNotificationsWithALoggedError) {
    Connect();
    LoseTheBus();
    Bytes data = ByteVector("data");
    endpoint->SendNotification(data);
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG Sending signal with 4 bytes",
                            "ERROR Error while sending signal [18] The connection is closed"));
}

TEST_F(BusLoss, FailsAnnouncementsWithALoggedError) {
    Connect();
    LoseTheBus();
    std::string name = "org.example.Name";
    EXPECT_FALSE(endpoint->BroadcastName(name));
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG BroadcastName org.example.Name Public unique name " + OwnName(),
                            "ERROR Error during request name call [18] The connection is closed",
                            "ERROR Cannot get response for name request"));
}

// GDBus reports the partner's end with a null connection, which is refused.
TEST_F(BusLoss, IsNotReportedAsALossOfThePartner) {
    Connect();
    LoseTheBus();
    ASSERT_TRUE(IterateUntilLogged(CapturedLog::ERROR, "Empty user_data or connection not valid."));
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG cb_PartnerNameVanished name=" + partner.UniqueName(),
                            "ERROR Empty user_data or connection not valid."));
    EXPECT_THAT(endpoint->Readinesses(), ElementsAre(Readiness{true, partner.UniqueName()}));
    EXPECT_EQ(EndpointInside::State(*endpoint), 3);
    Bytes data = ByteVector("data");
    endpoint->SendNotification(data);
    EXPECT_EQ(CountError("Error while sending signal [18] The connection is closed"), 1u);
}

TEST_F(BusLoss, FailsAMessageUnderWay) {
    Connect();
    std::promise<void> asked;
    partner.AnswerWith([&](const Bytes&) {
        asked.set_value();
        return Bytes();
    });
    Shared().DisableExitOnClose();
    auto sending = std::async(std::launch::async, [&] {
        Bytes data = ByteVector("data");
        return endpoint->SendMessage(data);
    });
    asked.get_future().wait();
    bus.Kill();
    EXPECT_THAT(sending.get(), IsEmpty());
}

TEST_F(BusLoss, AllowsTheDestructionOfTheEndpoint) {
    Connect();
    LoseTheBus();
    endpoint.reset();
    MainLoop::IterateUntilIdle();
    EXPECT_EQ(CountDebugStarting("Connection lost"), 0u);
}

TEST_F(BusLoss, AllowsTheDestructionOfTheEndpointAfterItsReport) {
    Connect();
    LoseTheBus();
    ASSERT_TRUE(IterateUntilLogged(CapturedLog::ERROR, "Empty user_data or connection not valid."));
    endpoint.reset();
}

TEST_F(BusLoss, AllowsTheDestructionOfAnEndpointThatResends) {
    LibraryCalls::ForgetThreads();
    bus.SetPolicy(Deny::Owning("_CLIENT_ACK"));
    endpoint = std::make_unique<RecordingEndpoint>();
    ASSERT_TRUE(IterateUntilLogged(CapturedLog::DEBUG, "Timer thread create status: 1"));
    LoseTheBus();
    ASSERT_TRUE(CapturedLog::WaitFor(CapturedLog::DEBUG,
                                     "Failed to broadcasted: org.morva.JavaMW.Applist_CLIENT_ACK. "
                                     "Will try once again"));
    endpoint.reset();
    EXPECT_EQ(LibraryCalls::Threads().joined, 1);
}

// A second endpoint on the closed connection, which GDBus returns until its last reference.
TEST_F(BusLoss, LeavesANewEndpointUnconnected) {
    Connect();
    LoseTheBus();
    RecordingEndpoint late({}, "Late");
    EXPECT_EQ(CountError("Error during request name call [18] The connection is closed"), 1u);
    EXPECT_FALSE(late.IsConnectionReady());
}

} // namespace
