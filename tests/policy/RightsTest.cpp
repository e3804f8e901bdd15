// The policy, right by right: each of three users attempts each action, with the whole policy and
// without one rule.
#include "PolicyTest.h"

#include <algorithm>
#include <iterator>

#include <gmock/gmock.h>

#include "Rights.h"

using testing::ElementsAre, testing::IsEmpty;

namespace {

const Rights HOST_RIGHTS = {"host owns CLIENT_SYN", "host owns CLIENT_SYN_ACK",
                            "host owns CLIENT_ACK", "host calls", "host signals"};
const Rights PARTNER_RIGHTS = {"partner owns SERVICE_SYN", "partner owns SERVICE_SYN_ACK",
                               "partner owns SERVICE_ACK", "partner calls", "partner signals"};

Rights operator+(Rights left, const Rights& right) {
    left.insert(right.begin(), right.end());
    return left;
}

Rights operator-(const Rights& left, const Rights& right) {
    Rights rest;
    std::set_difference(left.begin(), left.end(), right.begin(), right.end(),
                        std::inserter(rest, rest.end()));
    return rest;
}

class RightsTest : public testing::TestWithParam<Daemon> {
protected:
    void SetUp() override {
        SkipUnlessRoot();
        if (!IsSkipped()) {
            UseDaemon(GetParam());
        }
    }

    static Rights RightsUnder(const std::string& policy) {
        const StockBus bus(policy);
        return RightsOf(bus.Bus(), BusUser(Users::HOST), BusUser(Users::PARTNER),
                        BusUser(Users::OTHER_USER));
    }
};

TEST_P(RightsTest, BelongToTheRolesAlone) {
    EXPECT_EQ(RightsUnder(Policy::Make(SettingsForUsers())), HOST_RIGHTS + PARTNER_RIGHTS);
}

// The reason for the policy: a bus without it refuses the roles, and allows signals of all users.
TEST_P(RightsTest, WithoutThePolicyAllowSignalsOfEachUserAlone) {
    EXPECT_THAT(RightsUnder(""),
                ElementsAre("host signals", "other user signals", "partner signals"));
}

TEST_P(RightsTest, OfThePolicyApplyAfterAReload) {
    StockBus bus("");
    bus.Install(Policy::Make(SettingsForUsers()));
    EXPECT_EQ(RightsOf(bus.Bus(), BusUser(Users::HOST), BusUser(Users::PARTNER),
                       BusUser(Users::OTHER_USER)),
              HOST_RIGHTS + PARTNER_RIGHTS);
}

// The right that depends on each rule, in the order of the file.
TEST_P(RightsTest, ChangeByOneWithEachRuleThatIsRemoved) {
    const std::string policy = Policy::Make(SettingsForUsers());
    const std::vector<Rights> served = {
        {"other user signals"},
        {"host owns CLIENT_SYN"},
        {"host owns CLIENT_SYN_ACK"},
        {"host owns CLIENT_ACK"},
        {"host calls"},
        {"host signals"},
        {"partner owns SERVICE_SYN"},
        {"partner owns SERVICE_SYN_ACK"},
        {"partner owns SERVICE_ACK"},
        {"partner calls"},
        {"partner signals"},
    };
    const std::vector<std::string> rules = Policy::Rules(policy);
    ASSERT_EQ(rules.size(), served.size());
    const Rights whole = RightsUnder(policy);
    for (std::size_t i = 0; i < rules.size(); ++i) {
        const Rights rest = RightsUnder(Policy::Without(policy, i));
        const bool isAllowed = rules[i].compare(0, 6, "<allow") == 0;
        EXPECT_EQ(isAllowed ? whole - rest : rest - whole, served[i]) << rules[i];
        EXPECT_THAT(isAllowed ? rest - whole : whole - rest, IsEmpty()) << rules[i];
    }
}

TEST_P(RightsTest, AreLimitedToTheObjectTheInterfaceAndTheMembers) {
    const StockBus bus(Policy::Make(SettingsForUsers()));
    BusParty host(bus.Bus(), BusUser(Users::HOST));
    BusParty partner(bus.Bus(), BusUser(Users::PARTNER));
    BusParty otherUser(bus.Bus(), BusUser(Users::OTHER_USER));

    const GDBusMessageType call = G_DBUS_MESSAGE_TYPE_METHOD_CALL;
    const GDBusMessageType signal = G_DBUS_MESSAGE_TYPE_SIGNAL;
    const char* const interface = SEND.interface;
    for (const Message& message : {Message{call, "Send", nullptr},
                                   {call, "Send", interface, "/org/morva"},
                                   {call, "Receive"},
                                   {call, "Send", "org.freedesktop.DBus.Properties"},
                                   {signal, "Signal"},
                                   {signal, "SendSignal", interface, "/org/morva"}}) {
        EXPECT_FALSE(host.Reaches(partner, message)) << message.member << " " << message.path;
        EXPECT_FALSE(partner.Reaches(host, message)) << message.member << " " << message.path;
        EXPECT_FALSE(otherUser.Reaches(host, message)) << message.member << " " << message.path;
    }
    for (const char* name :
         {"Applist", "Applist_CLIENT", "Other_CLIENT_SYN", "Other_SERVICE_SYN"}) {
        EXPECT_FALSE(host.Owns(name)) << name;
        EXPECT_FALSE(partner.Owns(name)) << name;
        EXPECT_FALSE(otherUser.Owns(name)) << name;
    }
    EXPECT_FALSE(otherUser.ReachesAsListener(host, SEND_SIGNAL));
}

// The policy does not concern signals of other interfaces.
TEST_P(RightsTest, OfOtherUsersToOtherSignalsStay) {
    const StockBus bus(Policy::Make(SettingsForUsers()));
    BusParty host(bus.Bus(), BusUser(Users::HOST));
    BusParty otherUser(bus.Bus(), BusUser(Users::OTHER_USER));
    EXPECT_TRUE(otherUser.Reaches(host, {G_DBUS_MESSAGE_TYPE_SIGNAL, "SendSignal", "org.other"}));
}

// GLib must ignore forged signals, unless a rule of another policy already denies them.
TEST_P(RightsTest, ToForgeSignalsOfTheBusEndWithARuleAgainstThem) {
    const Message forged = {G_DBUS_MESSAGE_TYPE_SIGNAL, "NameOwnerChanged", "org.freedesktop.DBus",
                            "/org/freedesktop/DBus"};
    StockBus bus(Policy::Make(SettingsForUsers()));
    BusParty host(bus.Bus(), BusUser(Users::HOST));
    BusParty otherUser(bus.Bus(), BusUser(Users::OTHER_USER));
    EXPECT_TRUE(otherUser.Reaches(host, forged));
    bus.Install("<busconfig><policy context='default'><deny send_destination='*' "
                "send_type='signal' send_interface='org.freedesktop.DBus'/></policy></busconfig>");
    EXPECT_FALSE(otherUser.Reaches(host, forged));
    EXPECT_TRUE(host.ReceivesOwnerChanges());
}

TEST_P(RightsTest, OfRootWithoutARoleAllowMonitoringAlone) {
    const StockBus bus(Policy::Make(SettingsForUsers()));
    const BusUser root("root");
    EXPECT_THAT(RightsOf(bus.Bus(), BusUser(Users::HOST), BusUser(Users::PARTNER), root) -
                    HOST_RIGHTS - PARTNER_RIGHTS,
                ElementsAre("other user monitors"));
}

TEST_P(RightsTest, OfAGroupBelongToItsMembersAlone) {
    const StockBus bus(Policy::Make({std::string("APPLIST_BUS_HOST_GROUP=") + Users::GROUP,
                                     std::string("APPLIST_BUS_PARTNER_USER=") + Users::PARTNER}));
    const BusUser partner(Users::PARTNER);
    const BusUser other(Users::HOST);
    EXPECT_EQ(RightsOf(bus.Bus(), BusUser(Users::MEMBER), partner, other),
              HOST_RIGHTS + PARTNER_RIGHTS);
    // These groups are of the process alone.
    const Rights rights = bus.ReadsGroupsOfProcesses() ? HOST_RIGHTS : Rights();
    for (const BusUser& host : {BusUser(Users::HOST, Users::GROUP),
                                BusUser(Users::HOST, "", {Users::OTHER_GROUP, Users::GROUP})}) {
        EXPECT_EQ(RightsOf(bus.Bus(), host, partner, other), rights + PARTNER_RIGHTS);
    }
}

TEST_P(RightsTest, OfOneUserIncludeBothRoles) {
    const std::string policy =
        Policy::Make({std::string("APPLIST_BUS_HOST_USER=") + Users::HOST,
                      std::string("APPLIST_BUS_PARTNER_USER=") + Users::HOST});
    EXPECT_EQ(Policy::Rules(policy).size(), 9U); // none of them twice
    const StockBus bus(policy);
    const BusUser both(Users::HOST);
    const Rights others = {"host owns SERVICE_SYN",       "host owns SERVICE_SYN_ACK",
                           "host owns SERVICE_ACK",       "partner owns CLIENT_SYN",
                           "partner owns CLIENT_SYN_ACK", "partner owns CLIENT_ACK"};
    EXPECT_EQ(RightsOf(bus.Bus(), both, both, BusUser(Users::OTHER_USER)),
              HOST_RIGHTS + PARTNER_RIGHTS + others);
}

TEST_P(RightsTest, ByDefaultBelongToRootAlone) {
    const Rights rights = RightsUnder(Policy::Make({}));
    EXPECT_THAT(rights, IsEmpty());
    const StockBus bus(Policy::Make({}));
    BusParty root(bus.Bus(), BusUser("root"));
    BusParty partner(bus.Bus(), BusUser("root"));
    EXPECT_TRUE(root.Owns("Applist_CLIENT_SYN"));
    EXPECT_TRUE(root.Owns("Applist_SERVICE_SYN"));
    EXPECT_TRUE(root.Reaches(partner, SEND));
    EXPECT_TRUE(root.Reaches(partner, SEND_SIGNAL));
}

// The attempts themselves: on a bus without restrictions, each attempt succeeds.
TEST_P(RightsTest, AreAllDetectedOnABusWithoutRestrictions) {
    const PrivateBus bus([](const std::string& address) {
        const std::string eavesdrop = GetParam() == Daemon::DBUS_DAEMON ? " eavesdrop='true'" : "";
        return "<busconfig><listen>" + address +
               "</listen><auth>EXTERNAL</auth><policy context='default'><allow user='*'/>"
               "<allow own='*'/><allow send_type='method_call'/><allow send_destination='*'" +
               eavesdrop + "/><allow receive_sender='*'" + eavesdrop + "/></policy></busconfig>";
    });
    // dbus-daemon allows eavesdropping to root alone; dbus-broker has no eavesdropping.
    const Rights rights =
        RightsOf(bus, BusUser(Users::HOST), BusUser(Users::PARTNER), BusUser("root"));
    EXPECT_EQ(rights.count("other user monitors"), 1U);
    EXPECT_EQ(rights.count("other user eavesdrops"), GetParam() == Daemon::DBUS_DAEMON ? 1U : 0U);
    // For each the six names, calls and signals.
    EXPECT_EQ(rights.size() - rights.count("other user eavesdrops"), 25U)
        << testing::PrintToString(rights);
}

INSTANTIATE_TEST_SUITE_P(On, RightsTest, testing::ValuesIn(DAEMONS),
                         [](const auto& row) { return NameOf(row.param); });

} // namespace
