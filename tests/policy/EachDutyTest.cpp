// "applistctl check partner" finds no fault of a partner under the users that the policy names.
#include "PolicyTest.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>

#include "TemporaryFolder.h"
#include "ToolProcess.h"

namespace {

class EachDuty : public testing::TestWithParam<Daemon> {
protected:
    void SetUp() override {
        SkipUnlessRoot();
        if (!IsSkipped()) {
            UseDaemon(GetParam());
        }
        if (!IsSkipped() && !BusUser(Users::MEMBER).MayRun(APPLISTCTL)) {
            GTEST_SKIP() << "others may not enter the folder of " << APPLISTCTL;
        }
    }

    // The user of the partner. The check has the group of hosts, too, and so both roles: it must
    // own a name of the partner for a moment. The capabilities are for the start of the partner
    // alone. Only the check has the group, but a dbus-daemon before 1.14 reads the groups of the
    // user from the user database, and then the partner has both roles, too.
    std::vector<std::string> Check() const {
        const std::string commands = m_folder.Path() + "/commands";
        mkfifo(commands.c_str(), 0);
        chmod(commands.c_str(), S_IRUSR | S_IWUSR | S_IROTH | S_IWOTH);
        chmod(m_folder.Path().c_str(), S_IRWXU | S_IXOTH);
        const std::string both = "+setuid,+setgid";
        return {"setpriv",
                "--reuid=" + Id(getpwnam(Users::MEMBER)->pw_uid),
                "--regid=" + Id(getgrnam(Users::OTHER_GROUP)->gr_gid),
                "--groups=" + Id(getgrnam(Users::GROUP)->gr_gid),
                "--inh-caps=" + both,
                "--ambient-caps=" + both,
                APPLISTCTL,
                "check",
                "partner",
                "--wait=0",
                "--limit=20", // a partner may start slowly on a busy machine
                "--restart",
                "exec setpriv --clear-groups --inh-caps=-all --ambient-caps=-all " + Partner() +
                    " 0<>" + commands,
                "--drive",
                "echo \"$@\" >" + commands};
    }

private:
    static std::string Id(unsigned int number) { return std::to_string(number); }

    static std::string Partner() {
        const char* const other = std::getenv("APPLIST_TEST_PARTNER_COMMAND");
        return other != nullptr ? other : APPLISTCTL + std::string(" partner");
    }

    const TemporaryFolder m_folder;
};

TEST_P(EachDuty, PassesUnderThePolicy) {
    const StockBus bus(Policy::Make({std::string("APPLIST_BUS_HOST_GROUP=") + Users::GROUP,
                                     std::string("APPLIST_BUS_PARTNER_USER=") + Users::MEMBER}));
    Process check(Check());
    int status = -1;
    for (int i = 0; i < 10 && status == -1; ++i) { // a check runs longer than other tools
        status = check.WaitForExit();
    }
    EXPECT_EQ(status, 0) << check.Output() << check.Errors();
    EXPECT_THAT(check.Output(), testing::HasSubstr(" passed, 0 weak, 0 broken, 0 not seen"));
}

INSTANTIATE_TEST_SUITE_P(On, EachDuty, testing::ValuesIn(DAEMONS),
                         [](const testing::TestParamInfo<Daemon>& row) {
                             return NameOf(row.param);
                         });

} // namespace
