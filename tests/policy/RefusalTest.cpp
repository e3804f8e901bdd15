// Texts of the log and the tools on a bus without the policy, or with the policy of other users.
#include "PolicyTest.h"

#include <gmock/gmock.h>

#include <applist/AppListProxy.h>

#include "CapturedLog.h"
#include "SharedBus.h"
#include "ToolProcess.h"

using testing::AllOf, testing::Contains, testing::HasSubstr, testing::StartsWith;

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
    EXPECT_EQ(CountError("Cannot get response for name request"), 1U);
}

TEST_P(RefusedRole, IsPrintedByThePartnerToolWhichExits) {
    const StockBus bus("");
    ToolProcess partner({"partner"});
    EXPECT_EQ(partner.WaitForExit(), 1);
    EXPECT_THAT(partner.Errors(),
                HasSubstr("the bus policy refuses the name org.morva.JavaMW.Applist_SERVICE_SYN"));
    EXPECT_THAT(partner.Errors(), HasSubstr(" for the partner"));
    EXPECT_THAT(partner.Errors(), HasSubstr("\"applistctl check\""));
}

// The input ends before the bus has replied.
TEST_P(RefusedRole, IsAFailureOfThePartnerToolAlsoWithoutInput) {
    const StockBus bus("");
    ToolProcess partner({"partner"});
    EXPECT_EQ(partner.EndOfInput(), 1);
    EXPECT_THAT(partner.Errors(),
                HasSubstr("the bus policy refuses the name org.morva.JavaMW.Applist_SERVICE_SYN"));
}

// No line of these scripts needs the bus.
TEST_P(RefusedRole, IsAFailureOfAScriptWithoutCommandsForTheBus) {
    const StockBus bus("");
    const TemporaryFolder folder;
    for (const char* const lines : {"", "quit\n", "forget\n"}) {
        folder.Write("script", lines);
        ToolProcess partner({"partner", "--script", folder.Path() + "/script"});
        EXPECT_EQ(partner.WaitForExit(), 1) << lines;
        EXPECT_THAT(partner.Errors(), HasSubstr("the bus policy refuses the name "
                                                "org.morva.JavaMW.Applist_SERVICE_SYN"))
            << lines;
    }
}

TEST_P(RefusedRole, OfAUserWithTheOtherRoleIsPrinted) {
    const std::string me = std::to_string(geteuid());
    const StockBus bus(Policy::Make({"APPLIST_BUS_HOST_USER=" + me,
                                     std::string("APPLIST_BUS_PARTNER_USER=") + Users::PARTNER}));
    ToolProcess partner({"partner"});
    EXPECT_EQ(partner.WaitForExit(), 1);
    EXPECT_THAT(partner.Errors(), HasSubstr("the bus policy refuses the name"));
}

TEST_P(RefusedRole, IsPrintedByTheHostTool) {
    const StockBus bus("");
    ToolProcess host({"host", SAMPLE_APPLICATIONS});
    EXPECT_TRUE(host.WaitForError("applistctl host: the bus policy refuses the name "
                                  "org.morva.JavaMW.Applist_CLIENT_SYN: "));
    EXPECT_TRUE(host.WaitForError("run \"applistctl check\" as this user"));
    EXPECT_EQ(host.EndOfInput(), 1);
}

TEST_P(RefusedRole, IsExplainedByTheCheckWhenThereIsNoPolicy) {
    const StockBus bus("");
    ToolProcess check({"check", "--limit=0.2", "--policies", bus.Folder()});
    EXPECT_EQ(check.WaitForExit(), 4);
    EXPECT_THAT(check.Output(),
                HasSubstr("; no policy in " + bus.Folder() + " names a user for the host\n"));
}

// The check as a user that the policy does not name, then with the file that the check prints.
TEST_P(RefusedRole, IsRemediedByTheFileThatTheCheckPrints) {
    SkipUnlessRoot();
    const BusUser user(Users::HOST);
    if (!user.MayRun(APPLISTCTL)) {
        GTEST_SKIP() << "this user may not run " << APPLISTCTL;
    }
    StockBus bus(Policy::Make({}));
    const std::vector<std::string> words = {"check", "--limit=0.2", "--policies", bus.Folder()};
    ToolProcess refused(words, {}, [&] { user.Become(); });
    EXPECT_EQ(refused.WaitForExit(), 4);
    const std::string text = refused.Output();
    EXPECT_THAT(text, HasSubstr(bus.Folder() +
                                "/org.morva.JavaMW.conf names user root for the "
                                "host, and you are " +
                                Users::HOST + "\n"));
    EXPECT_THAT(text, HasSubstr(std::string("-> write the file below to /etc/dbus-1/system.d/"
                                            "org.morva.JavaMW-") +
                                Users::HOST + ".conf"));
    const std::size_t start = text.find("<!DOCTYPE");
    const std::string end = "</busconfig>\n";
    ASSERT_NE(start, std::string::npos) << text;
    EXPECT_EQ(text.find(end) + end.size(), text.size()) << text; // behind all rows
    EXPECT_EQ(start, text.rfind("<!DOCTYPE"));                   // once for three refusals
    bus.Add("org.morva.JavaMW-daemon.conf",
            text.substr(start, text.find(end) + end.size() - start));
    ToolProcess allowed(words, {}, [&] { user.Become(); });
    allowed.WaitForExit();
    for (const char* const step : {"announce", "send", "signal"}) {
        EXPECT_THAT(allowed.Output(), HasSubstr("ok       " + std::string(step) + " "));
    }
}

// The folder is of root alone.
TEST_P(RefusedRole, IsNotExplainedFromAnUnreadableFolder) {
    SkipUnlessRoot();
    const BusUser user(Users::HOST);
    if (!user.MayRun(APPLISTCTL)) {
        GTEST_SKIP() << "this user may not run " << APPLISTCTL;
    }
    const TemporaryFolder folder;
    const StockBus bus("");
    for (const char* const verb : {"", "host"}) {
        std::vector<std::string> words = {"check", "--policies", folder.Path()};
        if (*verb != '\0') {
            words.insert(words.begin() + 1, verb);
        }
        ToolProcess check(words, {}, [&] { user.Become(); });
        EXPECT_EQ(check.WaitForExit(), 1);
        EXPECT_THAT(check.Errors(), HasSubstr("cannot read the folder " + folder.Path() +
                                              " of --policies: Permission denied\n"));
    }
}

TEST_P(RefusedRole, IsAMatterOfAReloadWhenThePolicyNamesTheUser) {
    const std::string me = std::to_string(geteuid());
    const TemporaryFolder folder;
    folder.Write("host.conf", Policy::Make({"APPLIST_BUS_HOST_USER=" + me}));
    const StockBus bus("");
    ToolProcess check({"check", "--limit=0.2", "--policies", folder.Path()});
    EXPECT_EQ(check.WaitForExit(), 4);
    EXPECT_THAT(check.Output(), HasSubstr("-> let the bus reload its configuration"));
}

INSTANTIATE_TEST_SUITE_P(On, RefusedRole, testing::ValuesIn(DAEMONS),
                         [](const auto& row) { return NameOf(row.param); });

} // namespace
