// A real bus daemon that stops during an announcement of the endpoint, and continues after the
// time-out. The daemon then handles the calls that have timed out.
#include <csignal>
#include <memory>
#include <optional>
#include <string>
#include <tuple>

#include "BusDaemon.h"
#include "PrivateBus.h"
#include "TestPartner.h"

#include "FaultTest.h"

namespace {

struct UnansweredName {
    const char* testName;
    const char* own;   // the announcement during which the daemon stops
    const char* cause; // the announcement of the partner; null for the endpoint's start
};

class UnansweredNameTest : public testing::TestWithParam<std::tuple<UnansweredName, const char*>> {
protected:
    UnansweredNameTest() { CapturedLog::Clear(); }
    ~UnansweredNameTest() override {
        ContinueTheBus();
        m_held.reset();
        m_endpoint.reset();
        m_partner.reset();
        m_shared.reset();
        SharedBus::WaitUntilReleased();
    }

    static const UnansweredName& Row() { return std::get<0>(GetParam()); }
    static std::string Method() { return std::get<1>(GetParam()); }
    static std::string Name() { return DoubleHost::EndpointName(Row().own); }

    void StopTheBusAtTheCall() { LibraryCalls::StopTheBusAt(Method(), m_daemon); }
    void ContinueTheBus() const { kill(m_daemon, SIGCONT); }

    /** Waits until the daemon has handled all calls of the endpoint. */
    void CatchUp() { BusDaemon::Ping(m_shared->Connection()); }

    void MakePartner(bool answersHandshake) {
        m_partner = std::make_unique<TestPartner>(m_bus, answersHandshake);
    }

    void AnnounceWithoutAnAnswer() {
        if (Row().cause == nullptr) {
            StopTheBusAtTheCall();
            m_endpoint = std::make_unique<RecordingEndpoint>();
            return;
        }
        m_endpoint = std::make_unique<RecordingEndpoint>();
        MakePartner(false);
        m_partner->Announce(Row().cause);
        StopTheBusAtTheCall();
        ASSERT_TRUE(MainLoop::IterateUntil([] {
            return CountDebug("Failed to broadcast: " + Name() + ". Requested resend") == 1;
        }));
    }

    void ReplaceThePartner() {
        if (m_partner != nullptr) {
            m_partner.reset();
            ASSERT_TRUE(MainLoop::IterateUntil([&] { return !m_endpoint->Reports().empty(); }));
        }
        MakePartner(true);
    }

    PrivateBus m_bus;
    std::optional<SharedBus> m_shared{std::in_place};
    const pid_t m_daemon = BusDaemon::Process(m_shared->Connection());
    std::optional<HeldResendThread> m_held{std::in_place};
    std::unique_ptr<TestPartner> m_partner;
    std::unique_ptr<RecordingEndpoint> m_endpoint;
};

TEST_P(UnansweredNameTest, IsReleasedWhenTheBusContinues) {
    AnnounceWithoutAnAnswer();
    ExpectTexts(Errors(), Method() == "RequestName"
                              ? Strings{"Error during request name call [24] *",
                                        "Cannot get response for name request"}
                              : Strings{"Release failed due to empty response."});
    ContinueTheBus();
    CatchUp();

    TestPartner other(m_bus, false);
    EXPECT_EQ(BusDaemon::RequestName(other.Connection(), Name()), 1U);
}

TEST_P(UnansweredNameTest, IsAnnouncedToTheNextPartner) {
    AnnounceWithoutAnAnswer();
    ContinueTheBus();
    CatchUp();

    ReplaceThePartner();
    m_partner->Announce(Row().cause == nullptr ? "_SYN" : Row().cause);
    EXPECT_TRUE(MainLoop::IterateUntil([&] { return m_endpoint->IsConnectionReady(); }));
}

const UnansweredName UNANSWERED_NAMES[] = {
    {"Syn", "_SYN", nullptr}, {"SynAck", "_SYN_ACK", "_SYN"}, {"Ack", "_ACK", "_SYN_ACK"}};

INSTANTIATE_TEST_SUITE_P(
    StoppedBus, UnansweredNameTest,
    testing::Combine(testing::ValuesIn(UNANSWERED_NAMES),
                     testing::Values("RequestName", "ReleaseName")),
    [](const testing::TestParamInfo<std::tuple<UnansweredName, const char*>>& row) {
        return std::get<0>(row.param).testName + std::string(std::get<1>(row.param));
    });

} // namespace
