// Clients that own a name of the handshake, and release it by their end: an announcement.
#include <string>
#include <vector>

#include "ChannelTest.h"
#include "Client.h"
#include "NamedRow.h"

namespace {

using Words = std::vector<std::string>;

struct Announcer : NamedRow {
    Words (*words)(const std::string& bus);
};

constexpr const char* SYN = "org.morva.JavaMW.Applist_SERVICE_SYN";

const Announcer ANNOUNCERS[] = {
    {{"Gdbus"},
     [](const std::string& bus) -> Words {
         return {"gdbus",     "call",
                 "--address", bus,
                 "--dest",    "org.freedesktop.DBus",
                 "-o",        "/org/freedesktop/DBus",
                 "--method",  "org.freedesktop.DBus.RequestName",
                 SYN,         "4"};
     }},
    {{"Busctl"},
     [](const std::string& bus) -> Words {
         return {"busctl",
                 "--address=" + bus,
                 "call",
                 "org.freedesktop.DBus",
                 "/org/freedesktop/DBus",
                 "org.freedesktop.DBus",
                 "RequestName",
                 "su",
                 SYN,
                 "4"};
     }},
    {{"DbusSend"},
     [](const std::string& bus) -> Words {
         return {"dbus-send",
                 "--bus=" + bus,
                 "--dest=org.freedesktop.DBus",
                 "--print-reply",
                 "/org/freedesktop/DBus",
                 "org.freedesktop.DBus.RequestName",
                 std::string("string:") + SYN,
                 "uint32:4"};
     }},
};

class AnnouncementOfAShortLivedClient : public HeldBusTest,
                                        public testing::WithParamInterface<Announcer> {};

// The client has left the bus when its announcement arrives: the endpoint binds, answers, and drops
// it.
TEST_P(AnnouncementOfAShortLivedClient, IsAnsweredAndItsSenderIsReportedLost) {
    RecordingEndpoint endpoint;
    TestPartner witness(bus, false);
    const Words words = GetParam().words(bus.Address());
    APPLIST_NEEDS_CLIENT(words[0]);
    EXPECT_EQ(RunClient(words).exitStatus, 0);
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return endpoint.Readinesses().size() == 1; }));
    EXPECT_FALSE(endpoint.Readinesses()[0].ready);
    EXPECT_TRUE(witness.WaitForAnnouncement("_CLIENT_SYN_ACK"));
    EXPECT_EQ(EndpointInside::State(endpoint), JavaMWDbusRemote::HANDSHAKE_NONE);
}

INSTANTIATE_TEST_SUITE_P(Clients, AnnouncementOfAShortLivedClient, testing::ValuesIn(ANNOUNCERS),
                         RowName<Announcer>);

} // namespace
