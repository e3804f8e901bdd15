// Texts of the log and the tools on a bus without the policy, or with the policy of other users.
#include "PolicyTest.h"

#include <gmock/gmock.h>

#include <applist/AppListProxy.h>

#include "CapturedLog.h"
#include "SharedBus.h"
#include "ToolProcess.h"

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class RefusedRole : public testing::TestWithParam<Daemon> {
protected:
    void SetUp() override {
        UseDaemon(GetParam());
        CapturedLog::Clear();
    }
};

// Also for root: the rules for all users apply to root.
TEST_P(RefusedRole, OfAHostWithoutThePolicyIsLoggedWithTheErrorOfTheBus) {
    const StockBus bus("");
    { const AppListProxy list; }
    EXPECT_TRUE(SharedBus::WaitUntilReleased());
    EXPECT_THAT(CapturedLog::Messages(),
                Contains(AllOf(StartsWith("ERROR Error during request name call [9] "
                                          "GDBus.Error:org.freedesktop.DBus.Error.AccessDenied: "),
                               HasSubstr("polic"))));
    EXPECT_EQ(CapturedLog::Count(CapturedLog::ERROR, "Cannot get response for name request"), 1U);
}

TEST_P(RefusedRole, IsPrintedByThePartnerToolWhichExits) {
    const StockBus bus("");
    ToolProcess partner({"partner"});
    EXPECT_EQ(partner.WaitForExit(), 1);
    EXPECT_THAT(partner.Errors(),
                HasSubstr("the bus policy refuses the name org.morva.JavaMW.Applist_SERVICE_SYN"));
}

TEST_P(RefusedRole, OfAUserWithTheOtherRoleIsPrinted) {
    const std::string me = std::to_string(geteuid());
    const StockBus bus(Policy::Make({"APPLIST_BUS_HOST_USER=" + me,
                                     std::string("APPLIST_BUS_PARTNER_USER=") + Users::PARTNER}));
    ToolProcess partner({"partner"});
    EXPECT_EQ(partner.WaitForExit(), 1);
    EXPECT_THAT(partner.Errors(), HasSubstr("the bus policy refuses the name"));
}

INSTANTIATE_TEST_SUITE_P(On, RefusedRole, testing::ValuesIn(DAEMONS),
                         [](const auto& row) { return NameOf(row.param); });

} // namespace
