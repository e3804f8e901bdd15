// "applistctl check partner" finds no fault of a partner under the users that the policy names.
#include "PolicyTest.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <grp.h>
#include <pwd.h>

#include "ToolProcess.h"

namespace {

class EachDuty : public testing::TestWithParam<Daemon> {
protected:
    void SetUp() override {
        SkipUnlessRoot();
        if (!IsSkipped()) {
            UseDaemon(GetParam());
        }
        if (!IsSkipped() && !BusUser(Users::PARTNER).MayRun(APPLISTCTL)) {
            GTEST_SKIP() << "others may not enter the folder of " << APPLISTCTL;
        }
    }

    // The user of the partner. The check has the group of hosts, too, and so both roles: it must
    // own a name of the partner for a moment. The capabilities are for the start of the partner
    // alone.
    static std::vector<std::string> Check() {
        const std::string both = "+setuid,+setgid";
        return {"setpriv",
                "--reuid=" + Id(getpwnam(Users::PARTNER)->pw_uid),
                "--regid=" + Id(getpwnam(Users::PARTNER)->pw_gid),
                "--groups=" + Id(getgrnam(Users::GROUP)->gr_gid),
                "--inh-caps=" + both,
                "--ambient-caps=" + both,
                APPLISTCTL,
                "check",
                "partner",
                "--wait=0",
                "--limit=20", // a partner may start slowly on a busy machine
                "--restart",
                "exec setpriv --clear-groups --inh-caps=-all --ambient-caps=-all " + Partner()};
    }

private:
    static std::string Id(unsigned int number) { return std::to_string(number); }

    static std::string Partner() {
        const char* const other = std::getenv("APPLIST_TEST_PARTNER_COMMAND");
        return other != nullptr ? other : APPLISTCTL + std::string(" partner");
    }
};

TEST_P(EachDuty, PassesUnderThePolicy) {
    const StockBus bus(Policy::Make({std::string("APPLIST_BUS_HOST_GROUP=") + Users::GROUP,
                                     std::string("APPLIST_BUS_PARTNER_USER=") + Users::PARTNER}));
    Process check(Check());
    int status = -1;
    for (int i = 0; i < 5 && status == -1; ++i) { // a check takes longer than other tools
        status = check.WaitForExit();
    }
    EXPECT_EQ(status, 0) << check.Output() << check.Errors();
    EXPECT_THAT(check.Output(), testing::HasSubstr(" passed, 0 broken, 3 not seen"));
}

INSTANTIATE_TEST_SUITE_P(On, EachDuty, testing::ValuesIn(DAEMONS),
                         [](const testing::TestParamInfo<Daemon>& row) {
                             return NameOf(row.param);
                         });

} // namespace
