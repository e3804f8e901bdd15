// The output and the exit status of applistctl for each kind of command line.
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "NamedRow.h"
#include "PrivateBus.h"
#include "ToolProcess.h"

using testing::HasSubstr, testing::IsEmpty, testing::StartsWith;

namespace {

constexpr const char* NO_BUS = "--bus=unix:path=/nonexistent/bus";

struct Case : NamedRow {
    std::vector<std::string> arguments;
    int status;
    const char* output;
    const char* errors;
};

const Case CASES[] = {
    {"HelpNamesTheVerbs", {"--help"}, 0, "host [DIR...]", ""},
    {"HelpHasAShortForm", {"-h"}, 0, "applistctl [OPTION...] VERB", ""},
    {"HelpListsTheExitStatuses", {"--help"}, 0, "0 done, 1 failed, 2 wrong usage, 3 no bus", ""},
    {"HostHelpShowsItsCommands", {"host", "--help"}, 0, "modify ID NEW_ID NAME", ""},
    {"HostHelpShowsItsArguments",
     {"host", "--help"},
     0,
     "applistctl host [OPTION...] [DIR...]",
     ""},
    {"PartnerHelpShowsItsCommands", {"partner", "--help"}, 0, "select N|none", ""},
    {"PartnerHelpListsTheFaults", {"partner", "--help"}, 0, "(--help lists the faults)\n", ""},
    {"PartnerHelpShowsTheBusOption", {"partner", "-h"}, 0, "--bus=ADDRESS", ""},
    {"HelpIsAVerb", {"help"}, 0, "applistctl [OPTION...] VERB", ""},
    {"HelpShowsAVerb", {"help", "monitor"}, 0, "applistctl monitor [OPTION...]", ""},
    {"HelpShowsAVerbOfTwoWords", {"help", "check", "host"}, 0, "check host [OPTION...]", ""},
    {"HelpOfAnUnknownVerbIsWrongUsage", {"help", "guest"}, 2, "", "unknown verb \"guest\""},
    {"HelpOfTwoVerbsIsWrongUsage", {"help", "host", "x"}, 2, "", "unknown verb \"x\""},
    {"CheckNamesItsWrongOption",
     {"check", "--limit=soon"},
     2,
     "",
     "--limit takes more than 0 and at most 3600 seconds, not \"soon\""},
    {"CheckHostNamesItsWrongOption",
     {"check", "host", "--limit=0"},
     2,
     "",
     "--limit takes more than 0 and at most 3600 seconds, not \"0\""},
    {"AFlagWithAValueIsWrongUsage",
     {"check", "partner", "--json=1"},
     2,
     "",
     "applistctl check partner: --json takes no value"},
    {"AFlagWithAnEmptyValueIsWrongUsage", {"host", "--help="}, 2, "", "--help takes no value"},
    {"AFlagOfTheProgramWithAValueIsWrongUsage",
     {"--version=2", "host"},
     2,
     "",
     "applistctl: --version takes no value"},
    {"AValueMayLookLikeAFlagWithAValue",
     {"partner", "--script", "--help=1"},
     1,
     "",
     "cannot read --help=1"},
    {"AWordAfterTwoDashesIsNoFlag", {"host", "--", "--help=1"}, 1, "", "--help=1"},
    {"PoliciesThatAreNotThereFail",
     {"check", "--policies=/nonexistent/x"},
     1,
     "",
     "cannot read the folder /nonexistent/x of --policies: No such file or directory\n"},
    {"PoliciesInAFileFail",
     {"check", "host", "--policies=/dev/null"},
     1,
     "",
     "cannot read the folder /dev/null of --policies: Not a directory\n"},
    {"VersionIsShown", {"--version"}, 0, "applistctl 1.", ""},
    {"NoVerbIsWrongUsage", {}, 2, "", "no verb given"},
    {"AnUnknownVerbIsWrongUsage", {"guest"}, 2, "", "unknown verb \"guest\""},
    {"AnUnknownOptionIsWrongUsage", {"--loud"}, 2, "", "Unknown option --loud"},
    {"AnUnknownOptionOfAVerbIsWrongUsage", {"host", "--loud"}, 2, "", "applistctl host: Unknown"},
    {"ABusThatIsNoAddressIsWrongUsage",
     {"host", "--bus", "7"},
     2,
     "",
     "\"7\" is not a D-Bus address"},
    {"AMissingAddressIsWrongUsage", {"partner", "--bus"}, 2, "", "Missing argument for --bus"},
    {"APartnerTakesNoArguments", {"partner", "x"}, 2, "", "it takes no arguments"},
    {"AHostReportsAMissingBus", {"host", NO_BUS, SAMPLE_APPLICATIONS}, 3, "", "no bus: "},
    {"APartnerReportsAMissingBusWithItsAddress",
     {"partner", NO_BUS},
     3,
     "",
     "no bus: the socket of the bus does not exist; the address \"unix:path=/nonexistent/bus\" "
     "comes "
     "from --bus\n"},
    {"TheBusMayBeNamedBeforeTheVerb", {NO_BUS, "partner"}, 3, "", "no bus: "},
    {"AFolderThatIsNotThereFails", {"host", "/nonexistent/x"}, 1, "", "/nonexistent/x"},
    {"AScriptThatIsNotThereFails",
     {"partner", "--script=/nonexistent/x"},
     1,
     "",
     "cannot read /nonexistent/x: No such file or directory\n"},
    {"AScriptThatIsAFolderFails",
     {"partner", "--script=/"},
     1,
     "",
     "cannot read /: Is a directory\n"},
    {"ABaselineThatIsNotThereFails",
     {"check", "partner", "--baseline=/nonexistent/x"},
     1,
     "",
     "cannot read /nonexistent/x: No such file or directory\n"},
    {"ABaselineThatIsAFolderFails",
     {"check", "partner", "--baseline=/"},
     1,
     "",
     "cannot read /: Is a directory\n"},
    {"AnErrorShowsControlCharactersAsText",
     {"partner", "--script=/nonexistent/\x1b[2J"},
     1,
     "",
     "cannot read /nonexistent/\\x1b[2J"},
    {"AUsageErrorShowsControlCharactersAsText", {"\x1b[2J"}, 2, "", "unknown verb \"\\x1b[2J\""},
};

class CommandLine : public testing::TestWithParam<Case> {};

TEST_P(CommandLine, IsAnswered) {
    ToolProcess tool(GetParam().arguments);
    EXPECT_EQ(tool.WaitForExit(), GetParam().status);
    EXPECT_THAT(tool.Output(), HasSubstr(GetParam().output));
    EXPECT_THAT(tool.Errors(), HasSubstr(GetParam().errors));
    if (GetParam().status == 0) {
        EXPECT_THAT(tool.Errors(), IsEmpty());
    } else {
        EXPECT_THAT(tool.Errors(), StartsWith("applistctl"));
    }
}

class HelpOf : public testing::TestWithParam<Case> {};

const Case HELP_ROWS[] = {
    {"NoVerb", {}, 0, "", ""},
    {"Host", {"host"}, 0, "", ""},
    {"Partner", {"partner"}, 0, "", ""},
    {"Monitor", {"monitor"}, 0, "", ""},
    {"Check", {"check"}, 0, "", ""},
    {"CheckHost", {"check", "host"}, 0, "", ""},
    {"CheckPartner", {"check", "partner"}, 0, "", ""},
};

// Without a terminal, the lines are those of the source.
TEST_P(HelpOf, HasAtMostAHundredColumns) {
    std::vector<std::string> arguments = GetParam().arguments;
    arguments.emplace_back("--help");
    ToolProcess tool(arguments);
    EXPECT_EQ(tool.WaitForExit(), 0);
    std::istringstream lines(tool.Output());
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 100U) << line;
    }
}

INSTANTIATE_TEST_SUITE_P(, HelpOf, testing::ValuesIn(HELP_ROWS), RowName<Case>);

INSTANTIATE_TEST_SUITE_P(, CommandLine, testing::ValuesIn(CASES), RowName<Case>);

TEST(BusOption, OverridesTheEnvironment) {
    const PrivateBus bus;
    ToolProcess tool({"partner", "--bus", bus.Address()},
                     {"DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent/bus"});
    EXPECT_TRUE(tool.WaitFor("_SERVICE_SYN"));
    EXPECT_EQ(tool.EndOfInput(), 0);
}

TEST(AMissingBus, IsReportedWithTheAddressOfTheEnvironment) {
    ToolProcess tool({"partner"}, {"DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent/bus"});
    EXPECT_EQ(tool.WaitForExit(), 3);
    EXPECT_THAT(tool.Errors(), HasSubstr("; the address \"unix:path=/nonexistent/bus\" comes from "
                                         "DBUS_SYSTEM_BUS_ADDRESS\n"));
}

TEST(Colour, IsNotWrittenToAPipe) {
    const PrivateBus bus;
    ToolProcess tool({"partner"}, {"TERM=xterm"});
    EXPECT_TRUE(tool.WaitFor("_SERVICE_SYN: a partner has started\n"));
    EXPECT_EQ(tool.Output().find('\033'), std::string::npos);
}

} // namespace
