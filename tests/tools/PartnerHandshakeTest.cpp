// The handshake of "applistctl partner", and its binding to one host.
#include <string>

#include <gmock/gmock.h>

#include "BusDaemon.h"
#include "BusTest.h"
#include "RawHost.h"
#include "ToolProcess.h"

using namespace std::string_literals;
using testing::ElementsAre, testing::HasSubstr, testing::IsEmpty;

namespace {

using PartnerHandshake = BusTest;

constexpr const char* PARTNER_SYN = "org.morva.JavaMW.Applist_SERVICE_SYN";

TEST_F(PartnerHandshake, AnnouncesItselfWhenItStarts) {
    RawHost host(bus);
    ToolProcess partner({"partner"});
    EXPECT_TRUE(host.WaitForAnnouncement("_SYN"));
}

TEST_F(PartnerHandshake, AnswersARunningHost) {
    RawHost host(bus);
    ToolProcess partner({"partner"});
    ASSERT_TRUE(host.WaitForAnnouncement("_SYN"));
    host.Announce("_SYN_ACK");
    EXPECT_TRUE(host.WaitForAnnouncement("_ACK"));
    EXPECT_TRUE(host.WaitForNotification("\x04\0\0\0"s));
}

// The partner adds its match rules before its announcement, and so receives an answer that follows
// at once.
TEST_F(PartnerHandshake, MissesNoAnswerToItsFirstAnnouncement) {
    for (int i = 0; i < 20; ++i) {
        const PrivateBus another;
        RawHost host(another);
        ToolProcess partner({"partner"});
        ASSERT_TRUE(host.WaitForAnnouncement("_SYN"));
        host.Announce("_SYN_ACK");
        ASSERT_TRUE(host.WaitForAnnouncement("_ACK")) << "start " << i;
    }
}

TEST_F(PartnerHandshake, IsNotReadyBeforeTheHostAcknowledges) {
    RunningPartner partner;
    RawHost host(bus);
    host.Announce("_SYN");
    ASSERT_TRUE(host.WaitForAnnouncement("_SYN_ACK"));
    partner.Send("change");
    EXPECT_TRUE(partner.WaitForError("no host is ready"));
    EXPECT_THAT(host.Notifications(), IsEmpty());
}

// A crossed start: both sides have announced SYN and are bound, and the host drops SYN_ACK of the
// partner. The partner must answer SYN_ACK of the host although the partner is already bound.
TEST_F(PartnerHandshake, AcknowledgesTheBoundHost) {
    RawHost host(bus);
    ToolProcess partner({"partner"});
    ASSERT_TRUE(host.WaitForAnnouncement("_SYN"));
    host.Announce("_SYN");
    ASSERT_TRUE(host.WaitForAnnouncement("_SYN_ACK"));
    host.Announce("_SYN_ACK");
    EXPECT_TRUE(host.WaitForAnnouncement("_ACK"));
    EXPECT_TRUE(host.WaitForNotification("\x04\0\0\0"s));
}

// A host that announces its SYN_ACK twice has refused requests of its own in between.
TEST_F(PartnerHandshake, RequestsTheListAgainWhenTheHostAnnouncesItsSynAckTwice) {
    RawHost host(bus);
    ToolProcess partner({"partner"});
    ASSERT_TRUE(host.WaitForAnnouncement("_SYN"));
    host.Announce("_SYN_ACK");
    ASSERT_TRUE(partner.WaitFor("APPLIST_LOCAL_CREATED_EVENT"));
    host.Request("A\n1\n\xd5\x07\0\0"s);
    host.Announce("_SYN_ACK");
    ASSERT_TRUE(partner.WaitFor("APPLIST_LOCAL_CREATED_EVENT"));
    EXPECT_EQ(partner.List(), "list: 0 items\nselection: none\n");
}

TEST_F(PartnerHandshake, AnnouncesSynAgainWhileNoHostAnswers) {
    RawHost host(bus);
    ToolProcess partner({"partner"});
    EXPECT_TRUE(host.WaitForAnnouncement("_SYN", 3));
}

TEST_F(PartnerHandshake, AnnouncesSynAgainWhileItsHostMakesNoRequest) {
    RawHost host(bus);
    ToolProcess partner({"partner"});
    ASSERT_TRUE(host.WaitForAnnouncement("_SYN"));
    host.Announce("_SYN_ACK");
    ASSERT_TRUE(partner.WaitFor("connected with"));
    EXPECT_TRUE(partner.WaitFor("_SERVICE_SYN: again, " + host.UniqueName()));
    EXPECT_TRUE(partner.WaitFor("_SERVICE_SYN: again, " + host.UniqueName()));
}

TEST_F(PartnerHandshake, BindsTheHostOfAnAckWhileItIsFree) {
    RawHost host(bus);
    ToolProcess partner({"partner"});
    ASSERT_TRUE(host.WaitForAnnouncement("_SYN"));
    host.Announce("_ACK");
    EXPECT_TRUE(host.WaitForNotification("\x04\0\0\0"s));
}

// The step of another host that the partner is bound to, and the partner's answer when the place is
// free.
struct OtherHostRow {
    const char* name;
    const char* step;
    const char* answer;
};

class OtherHost : public testing::TestWithParam<OtherHostRow> {};

TEST_P(OtherHost, IsAnsweredWhenTheBoundHostVanishes) {
    const PrivateBus bus;
    RunningPartner partner;
    RawHost other(bus);
    {
        RawHost host(bus);
        ASSERT_TRUE(host.Connect());
        ASSERT_TRUE(partner.WaitFor("connected with " + host.UniqueName()));
        other.Announce(GetParam().step);
        ASSERT_TRUE(partner.WaitFor("of " + other.UniqueName() + " is not answered"));
    }
    ASSERT_TRUE(partner.WaitFor("lost the host"));
    EXPECT_TRUE(partner.WaitFor(std::string("-> _SERVICE") + GetParam().answer + ": "));
    if (GetParam().step == std::string("_SYN")) {
        other.Announce("_SYN_ACK");
    }
    EXPECT_TRUE(other.WaitForNotification("\x04\0\0\0"s));
}

INSTANTIATE_TEST_SUITE_P(, OtherHost,
                         testing::Values(OtherHostRow{"AfterSyn", "_SYN", "_SYN"},
                                         OtherHostRow{"AfterSynAck", "_SYN_ACK", "_ACK"},
                                         OtherHostRow{"AfterAck", "_ACK", "_ACK"}),
                         [](const auto& row) { return std::string(row.param.name); });

// Of three hosts the last one is next, and then the remaining one.
TEST_F(PartnerHandshake, AnswersTheRememberedHostsOneByOne) {
    RunningPartner partner;
    RawHost first(bus);
    {
        RawHost second(bus);
        {
            RawHost host(bus);
            ASSERT_TRUE(host.Connect());
            ASSERT_TRUE(partner.WaitFor("connected with " + host.UniqueName()));
            first.Announce("_ACK");
            ASSERT_TRUE(partner.WaitFor("of " + first.UniqueName() + " is not answered"));
            second.Announce("_ACK");
            ASSERT_TRUE(partner.WaitFor("of " + second.UniqueName() + " is not answered"));
        }
        ASSERT_TRUE(partner.WaitFor("connected with " + second.UniqueName()));
    }
    EXPECT_TRUE(partner.WaitFor("connected with " + first.UniqueName()));
}

TEST_F(PartnerHandshake, StartsAgainWithAHostThatStartsAgainOnItsConnection) {
    RunningPartner partner;
    RawHost host(bus);
    ASSERT_TRUE(host.Connect());
    ASSERT_TRUE(partner.WaitFor("connected with"));
    host.Request("A\n1\n\xd5\x07\0\0"s);
    host.Announce("_SYN");
    ASSERT_TRUE(host.WaitForAnnouncement("_SYN_ACK", 2));
    host.Announce("_ACK");
    EXPECT_TRUE(partner.WaitFor("connected with"));
    partner.Send("list");
    EXPECT_TRUE(partner.WaitFor("list: 0 items"));
}

TEST_F(PartnerHandshake, ServesOnlyTheBoundHost) {
    RunningPartner partner;
    RawHost host(bus);
    RawHost other(bus);
    ASSERT_TRUE(host.Connect());
    ASSERT_TRUE(partner.WaitFor("connected with " + host.UniqueName()));
    ASSERT_TRUE(other.WaitForAnnouncement("_SYN_ACK")); // contains the partner's name
    other.Announce("_SYN");
    EXPECT_TRUE(partner.WaitFor("!! _CLIENT_SYN of " + other.UniqueName() + " is not answered"));
    other.Announce("_SYN_ACK");
    EXPECT_TRUE(
        partner.WaitFor("!! _CLIENT_SYN_ACK of " + other.UniqueName() + " is not answered"));
    EXPECT_EQ(other.Request("A\n1\n\xd5\x07\0\0"s), "");
    EXPECT_TRUE(partner.WaitFor("a request of " + other.UniqueName()));
    partner.Send("list");
    EXPECT_TRUE(partner.WaitFor("list: 0 items"));
}

TEST_F(PartnerHandshake, DetectsTheLossOfItsHostAndAnnouncesItselfAgain) {
    RunningPartner partner;
    RawHost other(bus);
    {
        RawHost host(bus);
        ASSERT_TRUE(host.Connect());
        ASSERT_TRUE(partner.WaitFor("connected with"));
    }
    EXPECT_TRUE(partner.WaitFor("lost the host"));
    EXPECT_TRUE(other.WaitForAnnouncement("_SYN"));
}

TEST_F(PartnerHandshake, MarksTheLossOfAHostBeforeItsEnd) {
    RunningPartner partner;
    std::string name;
    {
        RawHost host(bus);
        name = host.UniqueName();
        host.Announce("_SYN");
        ASSERT_TRUE(host.WaitForAnnouncement("_SYN_ACK"));
    }
    EXPECT_TRUE(partner.WaitFor("lost the host " + name + " during the handshake\n"));
    {
        RawHost host(bus);
        name = host.UniqueName();
        ASSERT_TRUE(host.Connect());
        ASSERT_TRUE(partner.WaitFor("connected with " + name));
    }
    EXPECT_TRUE(partner.WaitFor("lost the host " + name + "\n"));
}

TEST_F(PartnerHandshake, RepeatsAnAnnouncementWhileAnotherProcessOwnsTheName) {
    RawHost host(bus);
    ASSERT_EQ(BusDaemon::RequestName(host.Connection(), PARTNER_SYN), 1U);
    ToolProcess partner({"partner"});
    ASSERT_TRUE(partner.WaitFor("!! cannot own the name "s + PARTNER_SYN));
    EXPECT_EQ(partner.Output().find("-> _SERVICE_SYN"), std::string::npos);
    ASSERT_TRUE(BusDaemon::ReleaseName(host.Connection(), PARTNER_SYN));
    EXPECT_TRUE(partner.WaitFor("-> _SERVICE_SYN: a partner has started"));
}

TEST_F(PartnerHandshake, ServesAHostWhileItsOwnNameIsNeverFree) {
    RawHost host(bus);
    ASSERT_EQ(BusDaemon::RequestName(host.Connection(), PARTNER_SYN), 1U);
    ToolProcess partner({"partner"});
    ASSERT_TRUE(partner.WaitFor("!! cannot own the name "s + PARTNER_SYN));
    EXPECT_TRUE(host.Connect());
}

} // namespace
