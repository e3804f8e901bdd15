// Host and partner under the users of the policy, with all their messages, on a stock bus.
#include "NamedRow.h"
#include "PolicyTest.h"

#include <functional>

#include <gmock/gmock.h>

#include "ToolProcess.h"

namespace {

struct RoleRow : NamedRow {
    bool needsRoot; // to act for others
    std::vector<std::string> settings;
    std::function<BusUser()> host;
    std::function<BusUser()> partner;
};

std::string Setting(const char* variable, const std::string& value) {
    return std::string("APPLIST_BUS_") + variable + "=" + value;
}

BusUser CurrentUser() {
    return BusUser();
}

BusUser Named(const char* user) {
    return BusUser(user);
}

const std::string MY_UID = std::to_string(geteuid());
const std::string MY_GID = std::to_string(getegid());

const RoleRow ROLE_ROWS[] = {
    {"ThreeUsers", true, SettingsForUsers(), [] { return Named(Users::HOST); },
     [] { return Named(Users::PARTNER); }},
    // The user database has the group for a dbus-daemon before 1.14.
    {"AGroupOfHosts",
     true,
     {Setting("HOST_GROUP", Users::GROUP), Setting("PARTNER_USER", Users::PARTNER)},
     [] { return BusUser(Users::MEMBER, Users::OTHER_GROUP, {Users::GROUP}); },
     [] { return Named(Users::PARTNER); }},
    {"OneUserForBoth",
     true,
     {Setting("HOST_USER", Users::HOST), Setting("PARTNER_USER", Users::HOST)},
     [] { return Named(Users::HOST); },
     [] { return Named(Users::HOST); }},
    {"TheDefaults", true, {}, CurrentUser, CurrentUser},
    {"CurrentUser",
     false,
     {Setting("HOST_USER", MY_UID), Setting("PARTNER_USER", MY_UID)},
     CurrentUser,
     CurrentUser},
    {"MyGroupAndMe",
     false,
     {Setting("HOST_GROUP", MY_GID), Setting("PARTNER_USER", MY_UID)},
     CurrentUser,
     CurrentUser},
};

using Row = std::tuple<Daemon, RoleRow>;

class RolesWithThePolicy : public testing::TestWithParam<Row> {
protected:
    RolesWithThePolicy() : m_roles(std::get<RoleRow>(GetParam())) {}

    void SetUp() override {
        if (m_roles.needsRoot) {
            SkipUnlessRoot();
        }
        if (!IsSkipped()) {
            UseDaemon(std::get<Daemon>(GetParam()));
        }
        if (!IsSkipped() && !m_roles.host().MayRun(APPLISTCTL)) {
            GTEST_SKIP() << "others may not enter the folder of " << APPLISTCTL;
        }
    }

    std::unique_ptr<ToolProcess> StartHost() const {
        return Start(m_roles.host(), {"host", SAMPLE_APPLICATIONS});
    }
    std::unique_ptr<ToolProcess> StartPartner() const {
        return Start(m_roles.partner(), {"partner"});
    }

    // Requests and notifications with their effects, and the selection query.
    static void SendEachKindOfMessage(ToolProcess& host, ToolProcess& partner) {
        ASSERT_TRUE(partner.WaitFor("my list has 5 items now"));
        partner.Send("select 2");
        ASSERT_TRUE(host.WaitFor("OnItemSelectionEvent: the partner has selected Clock"));
        partner.Send("change");
        ASSERT_TRUE(host.WaitFor("OnItemChangeEvent"));
        for (const char* command : {"add radio Radio", "select radio", "modify radio radio2 FM",
                                    "click radio2", "remove clock.desktop"}) {
            host.Send(command);
        }
        const std::string list = host.List();
        EXPECT_THAT(list, testing::HasSubstr("FM"));
        EXPECT_EQ(list, partner.List());
        EXPECT_THAT(partner.Output(), testing::HasSubstr("APPLIST_GET_SELECTION_FNC (2001)"));
    }

    const RoleRow m_roles;

private:
    static std::unique_ptr<ToolProcess> Start(const BusUser& user,
                                              const std::vector<std::string>& arguments) {
        return std::make_unique<ToolProcess>(arguments, std::vector<std::string>(),
                                             [&user] { user.Become(); });
    }
};

TEST_P(RolesWithThePolicy, ExchangeTheListWhenThePartnerStartsFirst) {
    const StockBus bus(Policy::Make(m_roles.settings));
    const auto partner = StartPartner();
    ASSERT_TRUE(partner->WaitFor("_SERVICE_SYN"));
    const auto host = StartHost();
    SendEachKindOfMessage(*host, *partner);
}

TEST_P(RolesWithThePolicy, ExchangeTheListWhenTheHostStartsFirst) {
    const StockBus bus(Policy::Make(m_roles.settings));
    const auto host = StartHost();
    ASSERT_TRUE(host->WaitFor("no partner yet"));
    const auto partner = StartPartner();
    SendEachKindOfMessage(*host, *partner);
}

INSTANTIATE_TEST_SUITE_P(On, RolesWithThePolicy,
                         testing::Combine(testing::ValuesIn(DAEMONS), testing::ValuesIn(ROLE_ROWS)),
                         [](const testing::TestParamInfo<Row>& row) {
                             return NameOf(std::get<Daemon>(row.param)) +
                                    std::get<RoleRow>(row.param).caseName;
                         });

} // namespace
