// A real bus whose policy refuses the ownership of the names.
#include <memory>
#include <string>

#include "NamedRow.h"
#include "PrivateBus.h"
#include "TestPartner.h"

#include "FaultTest.h"

namespace {

struct RefusedName : NamedRow {
    const char* own;   // the announcement that the policy refuses
    const char* cause; // the announcement of the partner; null for the endpoint's start
};

class RefusedNameTest : public testing::TestWithParam<RefusedName> {
protected:
    RefusedNameTest() { CapturedLog::Clear(); }
    ~RefusedNameTest() override {
        m_endpoint.reset();
        m_partner.reset();
        SharedBus::WaitUntilReleased();
    }
    static std::string Name() { return DoubleHost::EndpointName(GetParam().own); }

    PrivateBus m_bus{"<deny own='" + Name() + "'/>"};
    std::unique_ptr<TestPartner> m_partner;
    std::unique_ptr<RecordingEndpoint> m_endpoint;
};

TEST_P(RefusedNameTest, IsLoggedWithTheErrorOfTheBus) {
    m_endpoint = std::make_unique<RecordingEndpoint>();
    if (GetParam().cause != nullptr) {
        m_partner = std::make_unique<TestPartner>(m_bus, false);
        m_partner->Announce(GetParam().cause);
        ASSERT_TRUE(MainLoop::IterateUntil([] {
            return CountDebug("Failed to broadcast: " + Name() + ". Requested resend") == 1;
        }));
    }
    ASSERT_EQ(Errors().size(), 2U);
    const std::string start =
        "Error during request name call [9] GDBus.Error:org.freedesktop.DBus.Error.AccessDenied: ";
    EXPECT_EQ(Errors()[0].substr(0, start.size()), start);
    EXPECT_NE(Errors()[0].find("polic", start.size()), std::string::npos) << Errors()[0];
    EXPECT_EQ(Errors()[1], "Cannot get response for name request");
    EXPECT_FALSE(m_endpoint->IsConnectionReady());
}

const RefusedName REFUSED_NAMES[] = {
    {"Syn", "_SYN", nullptr}, {"SynAck", "_SYN_ACK", "_SYN"}, {"Ack", "_ACK", "_SYN_ACK"}};

INSTANTIATE_TEST_SUITE_P(Policy, RefusedNameTest, testing::ValuesIn(REFUSED_NAMES),
                         RowName<RefusedName>);

} // namespace
