// Refused connections to the system bus, and refused registrations of the object.
#include <cstdlib>
#include <functional>
#include <string>

#include <gmock/gmock.h>

#include "Bytes.h"
#include "NamedRow.h"

#include "FaultTest.h"

namespace {

using Reply = BusDouble::Reply;

struct UnreachableBus : NamedRow {
    /** Sets up the bus of the row; the double listens at the address of the system bus. */
    std::function<void(BusDouble& bus)> prepare;
    const char* error;
};

std::function<void(BusDouble&)> Address(const char* address) {
    return [address](BusDouble&) { setenv("DBUS_SYSTEM_BUS_ADDRESS", address, 1); };
}

std::function<void(BusDouble&)> Hello(const Reply& reply) {
    return [reply](BusDouble& bus) { bus.Script("Hello", reply); };
}

const UnreachableBus UNREACHABLE[] = {
    {"NothingListens", Address("unix:path=/nonexistent/bus"),
     "Error while connecting to system bus [1] Could not connect: No such file or directory"},
    {"MalformedAddress", Address("nonsense"), "Error while connecting to system bus [13] *"},
    {"UnknownTransport", Address("pigeon:tower=1"), "Error while connecting to system bus [13] *"},
    {"HelloRefused", Hello(Reply::Error("org.freedesktop.DBus.Error.LimitsExceeded", "Full: 100%")),
     "Error while connecting to system bus [8] "
     "GDBus.Error:org.freedesktop.DBus.Error.LimitsExceeded: Full: 100%"},
    {"HelloNotAnswered", Hello(Reply::Error("org.freedesktop.DBus.Error.NoReply", "Too late")),
     "Error while connecting to system bus [4] "
     "GDBus.Error:org.freedesktop.DBus.Error.NoReply: Too late"},
    {"HelloReplyOfOtherType", Hello(Reply::Body(g_variant_new("(u)", 1))),
     "Error while connecting to system bus [13] *"},
    {"DisconnectAtHello", Hello(Reply::Disconnect()),
     "Error while connecting to system bus [18] *"},
};

class UnreachableBusTest : public testing::TestWithParam<UnreachableBus> {
protected:
    UnreachableBusTest() {
        GetParam().prepare(m_bus);
        CapturedLog::Clear();
    }
    ~UnreachableBusTest() override {
        // The worker thread of GDBus may still hold the failed connection.
        const BusDouble works;
        EXPECT_TRUE(MainLoop::IterateUntil([] {
            g_autoptr(GDBusConnection) connection =
                g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
            return connection != nullptr;
        }));
        SharedBus::WaitUntilReleased();
    }

private:
    BusDouble m_bus;
};

TEST_P(UnreachableBusTest, IsLoggedAndLeavesTheEndpointUnconnected) {
    RecordingEndpoint endpoint;

    ExpectTexts(Errors(), {GetParam().error});
    EXPECT_EQ(CapturedLog::Messages().back(), "ERROR " + Errors().at(0)) << "nothing else is done";
    EXPECT_FALSE(endpoint.IsConnectionReady());
}

TEST_P(UnreachableBusTest, LeavesAnEndpointThatRefusesEveryOperation) {
    RecordingEndpoint endpoint;
    std::vector<char> data = ByteVector("x");
    std::string name = "org.example.Name";
    CapturedLog::Clear();

    testing::internal::CaptureStdout();
    EXPECT_TRUE(endpoint.SendMessage(data).empty());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Connection not set.\n");
    endpoint.SendNotification(data);
    EXPECT_FALSE(endpoint.BroadcastName(name));
    ExpectTexts(Errors(), {"Connection not set.", "Cannot get response for name request"});
}

INSTANTIATE_TEST_SUITE_P(Bus, UnreachableBusTest, testing::ValuesIn(UNREACHABLE),
                         RowName<UnreachableBus>);

class RegistrationFault : public FaultTest {
protected:
    /** Another object is registered at the path of the endpoint. */
    void OccupyTheObjectPath() {
        static const GDBusInterfaceVTable table = {nullptr, nullptr, nullptr, {nullptr}};
        GDBusNodeInfo* const node =
            g_dbus_node_info_new_for_xml(JavaMWDbusRemote::INTERFACE_XML, nullptr);
        ASSERT_NE(g_dbus_connection_register_object(Host().Connection(), DoubleHost::OBJECT_PATH,
                                                    node->interfaces[0], &table, nullptr, nullptr,
                                                    nullptr),
                  0U);
        g_dbus_node_info_unref(node);
    }
};

TEST_F(RegistrationFault, IsLoggedAndTheHandshakeStillWorks) {
    OccupyTheObjectPath();
    MakeEndpoint();

    ExpectTexts(Errors(), {"Error while registering object [2] An object is already exported for "
                           "the interface org.morva.javamw.DbusCommunication at "
                           "/org/morva/javamw/CommunicationChannel/Applist"});
    EXPECT_EQ(Bus().CountCalls("ReleaseName " + Host().EndpointName("_SYN")), 1U);
    ConnectTo(PARTNER);
}

} // namespace
