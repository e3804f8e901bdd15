// "applistctl check partner" against the partner of the tool: each duty passes with a correct
// partner, and each fault of the partner breaks exactly its own duties.
#include <algorithm>
#include <chrono>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <check/Duties.h>
#include <shared/Protocol.h>

#include "NamedRow.h"
#include "PrivateBus.h"
#include "Repetitions.h"
#include "TemporaryFolder.h"
#include "ToolProcess.h"

using namespace applistctl;
using testing::Contains, testing::ContainsRegex, testing::ElementsAre, testing::ElementsAreArray,
    testing::HasSubstr, testing::IsEmpty, testing::Not;

namespace {

// The grade of a duty, "passed", "weak", "BROKEN" or "not seen", and the evidence.
std::string FindingOf(const std::string& key, const std::string& output) {
    const std::string text =
        Duties::AllRows().at(static_cast<std::size_t>(Duties::Find(key))).text + " [";
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t at = line.find(text);
        if (at != std::string::npos) {
            return line.substr(2, line.find("  ", 3) - 2) + line.substr(at + text.size());
        }
    }
    return "no such duty";
}

// The keys of the duties with a grade, in the order of the checklist.
std::vector<std::string> KeysOf(const std::string& grade, const std::string& output) {
    std::vector<std::string> keys;
    for (const RowText& row : Duties::AllRows()) {
        if (FindingOf(row.key, output).rfind(grade, 0) == 0) {
            keys.push_back(row.key);
        }
    }
    return keys;
}

// A check waits for each missing duty of a partner, so it runs longer than other tools.
int ExitStatusOf(ToolProcess& check) {
    int status = -1;
    for (int i = 0; i < 10 && status == -1; ++i) {
        status = check.WaitForExit();
    }
    return status;
}

class CheckPartner : public testing::Test {
protected:
    // The command that starts a partner with the lines of a script.
    std::string PartnerWith(const std::string& script) const {
        return std::string("exec ") + APPLISTCTL + " partner --script " +
               m_folder.Write("script", script);
    }

    // A partner that reads its commands from a pipe, and the options that drive it.
    std::vector<std::string> DrivenPartnerWith(const std::string& command) const {
        const std::string pipe = m_folder.Path() + "/commands";
        mkfifo(pipe.c_str(), 0600);
        return {"--restart",
                "{ echo '" + command + "'; exec cat 0<>" + pipe + "; } | " + APPLISTCTL +
                    " partner",
                "--drive", "echo \"$@\" >" + pipe};
    }

    const PrivateBus m_bus;
    const TemporaryFolder m_folder;
};

std::vector<std::string> Words(std::vector<std::string> options) {
    options.insert(options.begin(), {"check", "partner", "--wait=0"});
    return options;
}

TEST_F(CheckPartner, PassesACorrectPartner) {
    ToolProcess check(Words({"--restart", PartnerWith("wait 600\n")}));
    EXPECT_EQ(ExitStatusOf(check), 0) << check.Output() << check.Errors();
    EXPECT_THAT(check.Output(), HasSubstr(" passed, 0 weak, 0 broken, 3 not seen; "));
}

TEST_F(CheckPartner, DecidesEachDutyOfADrivenPartnerInLessThanAMinute) {
    const auto start = std::chrono::steady_clock::now();
    ToolProcess check(Words(DrivenPartnerWith("fault none")));
    EXPECT_EQ(ExitStatusOf(check), 0) << check.Output() << check.Errors();
    EXPECT_THAT(check.Output(), HasSubstr(" passed, 0 weak, 0 broken, 0 not seen; 45 of "));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::minutes(1));
}

TEST_F(CheckPartner, RecordsTheActionsOfThePartnersUser) {
    ToolProcess check({"check", "partner", "--wait=20", "--restart", PartnerWith(R"(timeout 60
expect list check.clock check.music check.photos
expect selection check.music
# the library's operations empty the list and fill it again
expect list
expect list check.clock check.music check.photos
expect selection check.music
select 3
click 1
change
wait 600
)")});
    EXPECT_EQ(ExitStatusOf(check), 0) << check.Output() << check.Errors();
    EXPECT_THAT(check.Output(), HasSubstr(" passed, 0 weak, 0 broken, 0 not seen"));
    EXPECT_THAT(FindingOf("notification-selection", check.Output()), HasSubstr("Photos"));
}

TEST_F(CheckPartner, AsksForAPartnerAndReportsThatNoneAnswers) {
    ToolProcess check({"check", "partner", "--limit=0.2", "--wait=0.3"});
    EXPECT_EQ(ExitStatusOf(check), 1);
    EXPECT_THAT(check.Output(), HasSubstr("Please start the partner, within 0.3 s."));
    EXPECT_THAT(check.Output(), Not(HasSubstr("not seen")));
    EXPECT_THAT(check.Errors(), HasSubstr("no partner has answered"));
}

TEST_F(CheckPartner, NamesTheObjectPathOfANotificationThatHostsIgnore) {
    ToolProcess check(Words({"--limit=2", "--only=notifies-its-host", "--restart",
                             PartnerWith("fault other-path\nwait 600\n")}));
    EXPECT_EQ(ExitStatusOf(check), 4) << check.Errors();
    EXPECT_THAT(FindingOf("notifies-its-host", check.Output()),
                HasSubstr("a wrong notification: its object path is /, not /org/morva/"));
}

// The broken duty of this partner is not selected.
TEST_F(CheckPartner, NamesTheNameThatAPartnerKeeps) {
    ToolProcess check(Words({"--limit=1", "--only=answers-syn,request-add", "--restart",
                             PartnerWith("fault keep-names\nwait 600\n")}));
    EXPECT_EQ(ExitStatusOf(check), 1);
    EXPECT_THAT(
        check.Errors(),
        ContainsRegex(
            "no partner has answered; org.morva.JavaMW.Applist_SERVICE_[A-Z_]+ is owned by"));
    EXPECT_THAT(check.Output(), ContainsRegex("^  not seen  2 duties not checked: "
                                              "org.morva.JavaMW.Applist_SERVICE_[A-Z_]+ is owned "
                                              "by [^\n]* and not released\n"));
}

TEST_F(CheckPartner, NamesAPartnerThatAnswersNoStep) {
    ToolProcess check(
        Words({"--limit=1", "--only=answers-syn", "--restart",
               PartnerWith("fault no-syn\nfault no-host-syn\nfault no-ack\nwait 600\n")}));
    EXPECT_EQ(ExitStatusOf(check), 1);
    if (!PrivateBus::IsBroker()) {
        EXPECT_THAT(check.Errors(),
                    ContainsRegex("no partner has answered; the partner :1.[0-9]+ .*is on the bus, "
                                  "but answers no step"));
    }
}

TEST_F(CheckPartner, FailsWithoutAPartnerWhenNoSelectedDutyIsBroken) {
    ToolProcess check(Words({"--limit=0.2", "--restart", "exit 0", "--only=answers-syn"}));
    EXPECT_EQ(ExitStatusOf(check), 1);
    EXPECT_THAT(check.Errors(), HasSubstr("no partner has answered"));
}

TEST_F(CheckPartner, ChecksAPartnerThatRunsAlready) {
    RunningPartner partner;
    ToolProcess check(Words({}));
    EXPECT_EQ(ExitStatusOf(check), 0) << check.Output() << check.Errors();
    EXPECT_THAT(FindingOf("announces-itself", check.Output()), HasSubstr("not seen"));
    EXPECT_THAT(FindingOf("works-with-library", check.Output()), HasSubstr("passed"));
}

TEST_F(CheckPartner, EndsWhenNoPartnerIsStartedAgain) {
    StartedTool partner({"partner", "--script",
                         m_folder.Write("script", "fault exit 7 append\n"
                                                  "wait 600\n")},
                        "_SERVICE_SYN");
    ToolProcess check(Words({}));
    EXPECT_EQ(ExitStatusOf(check), 4) << check.Output() << check.Errors();
    EXPECT_THAT(KeysOf("BROKEN", check.Output()), ElementsAre("request-append"));
    EXPECT_THAT(FindingOf("request-append", check.Output()), HasSubstr("left the bus during 2005"));
    EXPECT_THAT(FindingOf("answers-short-frames", check.Output()), HasSubstr("not seen"));
}

TEST_F(CheckPartner, ShowsEachDutyAsSoonAsItIsDecided) {
    // The command of the user ends after the row of the broken duty has arrived.
    const std::string file = m_folder.Path() + "/arrived";
    ToolProcess check(Words({"--restart", PartnerWith("fault no-syn-again\nwait 600\n"), "--drive",
                             "until [ -e " + file + " ]; do sleep 0.1; done; :"}));
    EXPECT_TRUE(check.WaitFor("BROKEN    answers a second _CLIENT_SYN"));
    m_folder.Write("arrived", "");
    EXPECT_EQ(ExitStatusOf(check), 4);
}

using Keys = std::vector<std::string>;

std::string KeyOf(AppListRequest request) {
    return std::string("request-") + Protocol::WordOf(request);
}

struct Row : NamedRow {
    std::string fault;    ///< the lines of a script
    Keys broken;          ///< exactly these duties
    const char* evidence; ///< part of that of the first one
    Keys weak = {};
};

const Row ROWS[] = {
    {{"NoSyn"},
     "no-syn",
     {"announces-itself", "announces-again"},
     "no _SERVICE_SYN within 9 s from the command of --restart"},
    // Not bound by this step, and so not blamed for the end of its sender.
    {{"WithoutARuleForSyn"}, "no-host-syn", {"answers-syn"}, "no _SERVICE_SYN_ACK within"},
    {{"WithoutARuleForSynAck"},
     "no-host-syn-ack",
     {"answers-syn-ack", "answers-when-bound"},
     "no _SERVICE_ACK within"},
    {{"KeepsADeadHost"}, "keep-host", {"announces-again"}, "no _SERVICE_SYN within"},
    {{"KeepsNames"}, "keep-names", {"releases-names"}, "owns _SERVICE_SYN and does not release it"},
    {{"KeepsSynAck"},
     "keep-syn-ack",
     {"releases-names"},
     "owns _SERVICE_SYN_ACK and does not release it"},
    {{"KeepsAck"}, "keep-ack", {"releases-names"}, "owns _SERVICE_ACK and does not release it"},
    {{"NoSynAck"}, "no-syn-ack", {"answers-syn"}, "no _SERVICE_SYN_ACK within"},
    {{"NoAck"}, "no-ack", {"answers-syn-ack", "answers-when-bound"}, "no _SERVICE_ACK within"},
    {{"NoAckWhenBound"}, "no-crossed-ack", {"answers-when-bound"}, "no _SERVICE_ACK within"},
    {{"NotTogether"}, "no-crossed-start", {"starts-together"}, " of 5 starts"},
    {{"NoSynAckWhenBound"}, "no-syn-again", {"answers-syn-again"}, "no _SERVICE_SYN_ACK within"},
    {{"OnAcquisition"}, "on-taking", {"waits-for-release"}, "was still owned"},
    {{"NoObject"}, "no-object", {"serves-at-once"}, "UnknownMethod"},
    {{"TwoHosts"}, "any-host", {"keeps-its-host"}, "beside its host"},
    {{"OldList"}, "keep-list", {"empties-its-list"}, "the old selection is the reply to 2001"},
    {{"OldItems"}, "keep-items", {"empties-its-list"}, "the old item is still in the list"},
    {{"OneSynOnly"}, "no-repeat-free", {"repeats-while-free"}, "no second _SERVICE_SYN within"},
    {{"NoSynToASilentHost"},
     "no-repeat-unasked",
     {"repeats-while-unasked"},
     "no second _SERVICE_SYN within"},
    {{"AckGivenUp"}, "no-repeat-refused", {"repeats-refused"}, "no _SERVICE_ACK within"},
    {{"AckEndedByTheTimer"},
     "end-repeat",
     {"repeats-refused"},
     "after another process had owned its name for 2.5 s"},
    {{"CreatedBeforeTheAck"},
     "early-created",
     {"notifies-after-ack"},
     "while another process owned _SERVICE_ACK"},
    {{"CreatedBeforeAnAckGivenUp"},
     "early-created\nfault no-repeat-refused",
     {"repeats-refused", "notifies-after-ack"},
     "no _SERVICE_ACK within"},
    {{"EndBeforeTheWatchMissed"},
     "no-owner-check",
     {"finds-ended-host"},
     "still bound to the host that left the bus"},
    {{"OtherHostsForgotten"}, "forget-others", {"remembers-others"}, "no notification 4 within"},
    {{"FreeAckIgnored"}, "no-bind-on-ack", {"binds-on-ack"}, "no notification 4 within"},
    // A partner with the duties of a host alone. scripts/long-run repeats the test.
    {{"StrictMirror"},
     "strict-mirror",
     {"repeats-while-free", "repeats-while-unasked", "repeats-refused", "remembers-others",
      "binds-on-ack"},
     "no second _SERVICE_SYN within"},
    {{"SilentOnSelect"}, "silence select", {KeyOf(APPLIST_SET_SELECTION_FNC)}, "no reply within"},
    {{"SilentOnQuery"}, "silence query", {KeyOf(APPLIST_GET_SELECTION_FNC)}, "no reply within"},
    {{"ErrorOnClear"},
     "error clear",
     {KeyOf(APPLIST_REMOVE_ALL_ITEMS_FNC)},
     "org.freedesktop.DBus.Error.Failed"},
    {{"WrongTypeOnAdd"},
     "wrong-type add",
     {KeyOf(APPLIST_ADD_ITEMS_FNC)},
     "the type (s), not (ay)"},
    {{"LateOnAppend"}, "delay 600 append", {KeyOf(APPLIST_ADD_ITEM_AT_END_FNC)}, "no reply within"},
    {{"ExitOnAppend"},
     "exit 7 append",
     {KeyOf(APPLIST_ADD_ITEM_AT_END_FNC)},
     "left the bus during 2005, exit status 7"},
    {{"ExitOnQuery"},
     "exit 3 query",
     {KeyOf(APPLIST_GET_SELECTION_FNC)},
     "left the bus during 2001, exit status 3"},
    {{"SilentOnClick"}, "silence click", {KeyOf(APPLIST_SET_CLICKED_FNC)}, "no reply within"},
    {{"ErrorOnRemove"}, "error remove", {KeyOf(APPLIST_REMOVE_ITEM_FNC)}, "Error.Failed"},
    {{"WrongTypeOnModify"}, "wrong-type modify", {KeyOf(APPLIST_MODIFY_ITEM_FNC)}, "(s), not (ay)"},
    {{"IdBehindTheReply"}, "with-id query", {"replies-with-selection"}, "\\x07"},
    {{"CutReply"}, "cut query", {"replies-with-selection"}, "check.second\" after 2000"},
    {{"SelectIgnored"}, "ignore select", {"replies-with-selection"}, "nothing after 2000"},
    {{"ClearIgnored"}, "ignore clear", {"replies-with-selection"}, "after 2003 emptied the list"},
    {{"AppendIgnored"},
     "ignore append",
     {"drops-removed-selection"},
     "2000 selected it, and 2007 removed it"},
    {{"RemoveIgnored"},
     "ignore remove",
     {"drops-removed-selection"},
     "2000 selected it, and 2007 removed it"},
    {{"RemovedItemsKept"},
     "keep-removed",
     {"drops-removed-selection"},
     "the item is still in the list after 2007"},
    {{"ReplacedItemKept"},
     "keep-replaced",
     {"moves-modified-selection"},
     "the list does not contain check.changed"},
    {{"AddIgnored"},
     "ignore add",
     {"moves-modified-selection"},
     "2000 selected it, and 2008 replaced it"},
    {{"ModifyIgnored"},
     "ignore modify",
     {"moves-modified-selection"},
     "2000 selected it, and 2008 replaced it"},
    {{"SelectionLost"},
     "lose-selection",
     {"moves-modified-selection"},
     "nothing after 2004 added the item, 2000 selected it, and 2008 replaced it by check.changed"},
    {{"KnownItemsAppended"}, "append-known", {"skips-known-items"}, "a second item after 2004"},
    {{"ExitOnBytes"},
     "exit-not-utf8",
     {"accepts-any-bytes"},
     "with a name that is not UTF-8, exit status 7"},
    {{"ExitOnUnknownId"},
     "exit-unknown",
     {"answers-unknown-ids"},
     "left the bus during the unknown id 2999, exit status 7"},
    {{"ExitOnShortFrame"},
     "exit-short",
     {"answers-short-frames"},
     "left the bus during a frame of 3 bytes, exit status 7"},
    {{"CallsTheHost"},
     "ask-back query",
     {"no-calls-meanwhile"},
     "during APPLIST_GET_SELECTION_FNC (2001)"},
    {{"NoCreatedEvent"}, "no-created", {"notification-created"}, "no notification 4 within"},
    {{"NoChangeEvent"}, "no-change", {"notification-change"}, "of \"change check.music\""},
    {{"NoSelectionEvent"},
     "no-selection",
     {"notification-selection"},
     "of \"select check.photos\""},
    {{"NoClickEvent"}, "no-click", {"notification-click"}, "of \"click check.clock\""},
    {{"WrongId"},
     "wrong-id",
     {"notification-created", "notifies-its-host"},
     "no notification 4 within"},
    {{"OtherPath"},
     "other-path",
     {"notification-created", "notifies-its-host"},
     "no notification 4 within"},
    {{"Broadcast"}, "broadcast", {}, "", {"notifies-its-host"}},
};

// The check with the library has no fault of its own: each of its steps is a duty of another row.
bool HasItsOwnFault(const std::string& key) {
    return key != "works-with-library" && key != "reconnects";
}

class FaultyPartner : public CheckPartner, public testing::WithParamInterface<Row> {
protected:
    // Duties of a driven partner need a user.
    std::vector<std::string> Options() const {
        const Keys needUser = {"no-change", "no-selection", "no-click", "cut query"};
        const bool needsUser =
            std::find(needUser.begin(), needUser.end(), GetParam().fault) != needUser.end();
        const std::string line = "fault " + GetParam().fault;
        return needsUser
                   ? DrivenPartnerWith(line)
                   : std::vector<std::string>{"--restart", PartnerWith(line + "\nwait 600\n")};
    }
};

// scripts/long-run repeats the test.
TEST_P(FaultyPartner, BreaksExactlyItsDuties) {
    for (int i = 0; i < Repetitions(1); ++i) {
        ToolProcess check(Words(Options()));
        EXPECT_EQ(ExitStatusOf(check), GetParam().broken.empty() ? 0 : 4) << check.Errors();
        EXPECT_THAT(KeysOf("BROKEN", check.Output()), ElementsAreArray(GetParam().broken))
            << check.Output();
        EXPECT_THAT(KeysOf("weak", check.Output()), ElementsAreArray(GetParam().weak));
        const Keys& graded = GetParam().broken.empty() ? GetParam().weak : GetParam().broken;
        EXPECT_THAT(FindingOf(graded.front(), check.Output()), HasSubstr(GetParam().evidence));
        for (const std::string& key : KeysOf("not seen", check.Output())) {
            EXPECT_THAT(FindingOf(key, check.Output()), ContainsRegex("] +[^ ]")) << key;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, FaultyPartner, testing::ValuesIn(ROWS), RowName<Row>);

TEST(FaultyPartners, OfTheseTestsBreakEachDuty) {
    Keys missing;
    for (const RowText& duty : Duties::AllRows()) {
        const bool isBroken = std::any_of(std::begin(ROWS), std::end(ROWS), [&](const Row& row) {
            return std::find(row.broken.begin(), row.broken.end(), duty.key) != row.broken.end();
        });
        if (!isBroken && HasItsOwnFault(duty.key)) {
            missing.push_back(duty.key);
        }
    }
    EXPECT_THAT(missing, IsEmpty());
}

// The host sends its selection for the second notification 4, and not after the user's action.
TEST_F(CheckPartner, LetsItsHostFillTheListBeforeTheUserActs) {
    ToolProcess check(Words(DrivenPartnerWith("fault created-twice\nfault delay 0.3 add")));
    EXPECT_EQ(ExitStatusOf(check), 0) << check.Output();
    EXPECT_THAT(FindingOf("notification-selection", check.Output()),
                HasSubstr("the library selected Photos"));
}

TEST_F(CheckPartner, NamesTheReplyWithoutWhichItCannotReadTheList) {
    const std::pair<const char*, const char*> rows[] = {
        {"silence query", "needs a valid reply to 2001"},
        {"silence add", "needs valid replies to 2004 and 2000"}};
    for (const auto& [fault, reason] : rows) {
        ToolProcess check(Words({"--limit=1", "--only=skips-known-items", "--restart",
                                 PartnerWith("fault " + std::string(fault) + "\nwait 600\n")}));
        EXPECT_EQ(ExitStatusOf(check), 0) << check.Output();
        EXPECT_THAT(FindingOf("skips-known-items", check.Output()), HasSubstr(reason));
    }
}

// Such a partner replies to each request, and its list stays empty.
TEST_F(CheckPartner, ClaimsNoEqualListsOfAPartnerThatDropsTheList) {
    ToolProcess check(Words({"--limit=1", "--wait=0", "--only=works-with-library,reconnects",
                             "--restart", PartnerWith("fault ignore add\nwait 600\n")}));
    EXPECT_EQ(ExitStatusOf(check), 0) << check.Output();
    EXPECT_THAT(KeysOf("not seen", check.Output()),
                ElementsAre("works-with-library", "reconnects"));
    EXPECT_THAT(FindingOf("works-with-library", check.Output()), HasSubstr("2004 added no item"));
}

// The statements on the list of such a partner are not proven.
TEST_F(CheckPartner, ClaimsNothingOfAListThatItCannotRead) {
    ToolProcess check(Words(
        {"--wait=0", "--restart",
         PartnerWith("fault hide-list\nfault keep-removed\nfault keep-replaced\nwait 600\n")}));
    EXPECT_EQ(ExitStatusOf(check), 0) << check.Errors();
    for (const char* const key :
         {"empties-its-list", "drops-removed-selection", "moves-modified-selection",
          "skips-known-items", "works-with-library", "reconnects"}) {
        EXPECT_THAT(FindingOf(key, check.Output()), HasSubstr("it hides the list")) << key;
        EXPECT_THAT(KeysOf("not seen", check.Output()), Contains(key));
    }
    EXPECT_THAT(check.Output(), HasSubstr("; 34 of 52 statements proven, "));
}

// The check continues to its end after the partner leaves the bus.
TEST_F(CheckPartner, EndsWhenThePartnerLeavesTheBus) {
    ToolProcess check(Words({"--limit=1", "--restart", PartnerWith("fault vanish 4\nwait 600\n")}));
    EXPECT_EQ(ExitStatusOf(check), 4);
    EXPECT_THAT(check.Output(), HasSubstr("left the bus during 2000, its process has not ended"));
    EXPECT_THAT(check.Output(), HasSubstr(" statements proven"));
}

} // namespace
