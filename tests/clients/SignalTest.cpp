// "SendSignal" from and to clients, byte for byte.
#include <string>
#include <vector>

#include <unistd.h>

#include "BusDaemon.h"
#include "ChannelTest.h"
#include "Client.h"
#include "HeldConnection.h"
#include "NamedRow.h"

namespace {

using Words = std::vector<std::string>;

constexpr const char* SIGNAL = "org.morva.javamw.DbusCommunication.SendSignal";

constexpr const char* MARK = "org.example.Mark";

const std::vector<char> BYTES = ByteVector({0x41, 0x00, 0x0a, 0xff, 0x02, 0x00, 0x00, 0x00});

struct Emission : NamedRow {
    Words (*words)(const std::string& bus, const std::string& endpoint);
};

const Emission EMISSIONS[] = {
    {{"Gdbus"},
     [](const std::string& bus, const std::string& endpoint) -> Words {
         return {"gdbus",
                 "emit",
                 "--address",
                 bus,
                 "--dest",
                 endpoint,
                 "-o",
                 PATH,
                 "-s",
                 SIGNAL,
                 "[byte 0x41, 0x00, 0x0a, 0xff, 0x02, 0x00, 0x00, 0x00]"};
     }},
    {{"Busctl"},
     [](const std::string& bus, const std::string& endpoint) -> Words {
         return {"busctl",     "--address=" + bus,
                 "emit",       "--destination=" + endpoint,
                 PATH,         INTERFACE,
                 "SendSignal", "ay",
                 "8",          "65",
                 "0",          "10",
                 "255",        "2",
                 "0",          "0",
                 "0"};
     }},
    {{"DbusSend"},
     [](const std::string& bus, const std::string& endpoint) -> Words {
         return {"dbus-send",
                 "--bus=" + bus,
                 "--type=signal",
                 "--dest=" + endpoint,
                 PATH,
                 SIGNAL,
                 "array:byte:0x41,0x00,0x0a,0xff,0x02,0x00,0x00,0x00"};
     }},
};

/** An endpoint whose partner is a client without a handshake of its own. */
class ClientAsPartner : public HeldBusTest {
protected:
    void Bind(const std::string& uniqueName) {
        g_autoptr(GVariant) change =
            OwnerChange("org.morva.JavaMW.Applist_SERVICE_SYN_ACK", uniqueName.c_str(), "");
        JavaMWDbusRemote::cb_SynAckNameOwnerChanged(Shared().Connection(), "org.freedesktop.DBus",
                                                    "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                                    "NameOwnerChanged", change, endpoint.get());
        ASSERT_TRUE(endpoint->IsConnectionReady());
        IterateThroughTheBus();
    }

    void TearDown() override {
        endpoint.reset();
        HeldBusTest::TearDown();
    }

    std::unique_ptr<RecordingEndpoint> endpoint = std::make_unique<RecordingEndpoint>();
};

class EmittedSignal : public ClientAsPartner, public testing::WithParamInterface<Emission> {};

TEST_P(EmittedSignal, OfThePartnerArrivesUnchanged) {
    HeldConnection way(bus);
    const Words words = GetParam().words(way.Address(), OwnName());
    APPLIST_NEEDS_CLIENT(words[0]);
    Process client(words);
    Bind(way.UniqueName());
    way.Release();
    EXPECT_EQ(client.WaitForExit(), 0);
    EXPECT_TRUE(MainLoop::IterateUntil([&] { return !endpoint->Notifications().empty(); }));
    EXPECT_THAT(endpoint->Notifications(), testing::ElementsAre(BYTES));
}

TEST_P(EmittedSignal, OfAnotherProcessIsIgnored) {
    const Words words = GetParam().words(bus.Address(), OwnName());
    APPLIST_NEEDS_CLIENT(words[0]);
    TestPartner partner(bus);
    Bind(partner.UniqueName());
    EXPECT_EQ(RunClient(words).exitStatus, 0);
    // Arrives after it, when the client has left.
    partner.Notify(OwnName(), ByteVector("second"));
    EXPECT_TRUE(MainLoop::IterateUntil([&] { return !endpoint->Notifications().empty(); }));
    EXPECT_THAT(endpoint->Notifications(), testing::ElementsAre(ByteVector("second")));
}

INSTANTIATE_TEST_SUITE_P(Clients, EmittedSignal, testing::ValuesIn(EMISSIONS), RowName<Emission>);

class Notification : public ClientAsPartner {
protected:
    /** A client that shows one call to the bus also shows the messages behind this call. */
    bool WaitUntilMonitoring(Process& client) {
        return MainLoop::IterateUntil([&] {
            BusDaemon::Call(Shared().Connection(), "NameHasOwner", g_variant_new("(s)", MARK));
            return client.Output().find(MARK) != std::string::npos;
        });
    }
};

TEST_F(Notification, IsReceivedByGdbusInTheRoleOfThePartner) {
    APPLIST_NEEDS_CLIENT("gdbus");
    HeldConnection way(bus);
    Process client({"gdbus", "monitor", "--address", way.Address(), "--dest", OwnName()});
    Bind(way.UniqueName());
    way.Release();
    // The client writes a line when it listens.
    ASSERT_TRUE(client.WaitFor("is owned by"));
    IterateThroughTheBus();
    std::vector<char> bytes = BYTES;
    endpoint->SendNotification(bytes);
    const std::string line = std::string(PATH) + ": " + SIGNAL +
                             " ([byte 0x41, 0x00, 0x0a, 0xff, 0x02, 0x00, 0x00, 0x00],)\n";
    EXPECT_TRUE(client.WaitFor(line)) << client.Output();
}

// busctl promises no order of the members, and newer versions print no line at their start.
TEST_F(Notification, IsShownByBusctl) {
    APPLIST_NEEDS_CLIENT("busctl");
    TestPartner partner(bus);
    Bind(partner.UniqueName());
    Process client({"busctl", "--address=" + bus.Address(), "--json=short", "monitor"});
    ASSERT_TRUE(WaitUntilMonitoring(client)) << client.Errors();
    std::vector<char> bytes = BYTES;
    endpoint->SendNotification(bytes);
    ASSERT_TRUE(client.WaitFor("\"member\":\"SendSignal\"")) << client.Output();
    ASSERT_TRUE(client.WaitFor("\n")) << client.Output();
    const std::string& output = client.Output();
    const std::size_t start = output.rfind('\n', output.find("\"member\":\"SendSignal\"")) + 1;
    const std::string line = output.substr(start, output.find('\n', start) - start);
    EXPECT_THAT(line, testing::HasSubstr("\"destination\":\"" + partner.UniqueName() + "\""));
    EXPECT_THAT(line, testing::HasSubstr(std::string("\"path\":\"") + PATH + "\""));
    EXPECT_THAT(line, testing::HasSubstr(std::string("\"interface\":\"") + INTERFACE + "\""));
    EXPECT_THAT(
        line, testing::HasSubstr("\"payload\":{\"type\":\"ay\",\"data\":[[65,0,10,255,2,0,0,0]]}"));
}

TEST_F(Notification, IsShownByDbusMonitor) {
    APPLIST_NEEDS_CLIENT("dbus-monitor");
    TestPartner partner(bus);
    Bind(partner.UniqueName());
    Process client({"dbus-monitor", "--address", bus.Address()});
    // The first message that a monitor receives.
    ASSERT_TRUE(client.WaitFor("member=NameLost"));
    std::vector<char> bytes = BYTES;
    endpoint->SendNotification(bytes);
    EXPECT_TRUE(client.WaitFor(std::string("path=") + PATH + "; interface=" + INTERFACE +
                               "; member=SendSignal\n   array of bytes [\n"
                               "      41 00 0a ff 02 00 00 00\n   ]\n"))
        << client.Output();
}

} // namespace
