// "applistctl check partner" against the partner of the tool: each duty passes with a correct
// partner, and each duty has a fault that the check reports as broken.
#include <algorithm>
#include <iterator>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <shared/Protocol.h>

#include "PrivateBus.h"
#include "Repetitions.h"
#include "TemporaryFolder.h"
#include "ToolProcess.h"

using namespace applistctl;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

// The verdict on a duty, "passed", "BROKEN" or "not seen", and the evidence.
std::string VerdictOn(const std::string& duty, const std::string& output) {
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        if (line.find(duty) != std::string::npos) {
            return line.substr(2, line.find("  ", 3) - 2) +
                   line.substr(line.find(duty) + duty.size());
        }
    }
    return "no such duty";
}

// A check waits for each duty that a partner leaves out, so it takes longer than other tools.
int ExitStatusOf(ToolProcess& check) {
    int status = -1;
    for (int i = 0; i < 5 && status == -1; ++i) {
        status = check.WaitForExit();
    }
    return status;
}

class CheckPartner : public testing::Test {
protected:
    // The command that starts a partner with the lines of a script.
    std::string PartnerWith(const std::string& script) {
        return std::string("exec ") + APPLISTCTL + " partner --script " +
               m_folder.Write("script", script);
    }

    const PrivateBus m_bus;
    const TemporaryFolder m_folder;
};

TEST_F(CheckPartner, PassesACorrectPartner) {
    ToolProcess check({"check", "partner", "--wait=0", "--restart", PartnerWith("wait 600\n")});
    EXPECT_EQ(ExitStatusOf(check), 0) << check.Output() << check.Errors();
    EXPECT_THAT(check.Output(), HasSubstr(" passed, 0 broken, 3 not seen"));
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
    EXPECT_THAT(check.Output(), HasSubstr(" passed, 0 broken, 0 not seen"));
    EXPECT_THAT(VerdictOn("sends 2, selection, when its user selects an item", check.Output()),
                HasSubstr("Photos"));
}

TEST_F(CheckPartner, ReportsAMissingPartner) {
    ToolProcess check({"check", "partner", "--limit=0.2", "--wait=0.3"});
    EXPECT_EQ(ExitStatusOf(check), 1);
    EXPECT_THAT(check.Output(), HasSubstr("Please start the partner, within 0.3 s."));
    EXPECT_THAT(check.Output(), Not(HasSubstr("not seen")));
    EXPECT_THAT(check.Errors(), HasSubstr("no partner has answered"));
}

TEST_F(CheckPartner, ChecksARunningPartner) {
    ToolProcess partner({"partner"});
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN"));
    ToolProcess check({"check", "partner", "--wait=0"});
    EXPECT_EQ(ExitStatusOf(check), 0) << check.Output() << check.Errors();
    EXPECT_THAT(VerdictOn("announces _SERVICE_SYN when it starts", check.Output()),
                HasSubstr("not seen"));
    EXPECT_THAT(VerdictOn("answers each operation", check.Output()), HasSubstr("passed"));
}

struct Row {
    const char* name;
    const char* script;
    const char* duty;     ///< as the list shows it
    const char* evidence; ///< part of it
};

const Row ROWS[] = {
    {"NoSyn", "fault no-syn", "announces _SERVICE_SYN when it starts", "no _SERVICE_SYN within"},
    {"NoSynAfterALoss", "fault no-syn", "announces _SERVICE_SYN when its host leaves the bus",
     "no _SERVICE_SYN within"},
    {"KeepsALostHost", "fault keep-host", "announces _SERVICE_SYN when its host leaves the bus",
     "no _SERVICE_SYN within"},
    {"NoSynAck", "fault no-syn-ack", "answers _CLIENT_SYN with _SERVICE_SYN_ACK",
     "no _SERVICE_SYN_ACK within"},
    {"NoAck", "fault no-ack", "answers _CLIENT_SYN_ACK with _SERVICE_ACK",
     "no _SERVICE_ACK within"},
    {"NoAckWhenBound", "fault no-crossed-ack", "answers _CLIENT_SYN_ACK while bound",
     "no _SERVICE_ACK within"},
    {"NotTogether", "fault no-syn-ack\nfault no-ack", "finds a host that starts at the same time",
     "0 of 5 starts"},
    {"OnTaking", "fault on-taking", "waits for the release of a name", "was still owned"},
    {"NoObject", "fault no-object", "answers requests right after its announcement",
     "UnknownMethod"},
    {"TwoHosts", "fault any-host", "keeps its host when another host announces itself",
     "beside its host"},
    {"OneSynOnly", "fault no-repeat-free", "repeats _SERVICE_SYN while no host answers",
     "no second _SERVICE_SYN within"},
    {"NoSynToASilentHost", "fault no-repeat-unasked", "while its host requests nothing",
     "no second _SERVICE_SYN within"},
    {"AckNotRepeated", "fault no-repeat-refused", "repeats _SERVICE_ACK that the bus refused",
     "no _SERVICE_ACK within"},
    {"OtherHostsForgotten", "fault forget-others", "remembers a bound host",
     "no notification 4 within"},
    {"FreeAckIgnored", "fault no-bind-on-ack", "takes the host of _CLIENT_ACK",
     "no notification 4 within"},
    {"NoCreatedEvent", "fault no-created", "sends 4, created, after each handshake",
     "no notification 4 within"},
    {"SilentOnSelect", "fault silence select", "answers 2000, select", "no reply within"},
    {"SilentOnQuery", "fault silence query", "answers 2001, query", "no reply within"},
    {"ErrorOnClear", "fault error clear", "answers 2003, clear",
     "org.freedesktop.DBus.Error.Failed"},
    {"WrongTypeOnAdd", "fault wrong-type add", "answers 2004, add", "the type (s), not (ay)"},
    {"LateOnAppend", "fault delay 600 append", "answers 2005, append", "no reply within"},
    {"SilentOnClick", "fault silence click", "answers 2006, click", "no reply within"},
    {"ErrorOnRemove", "fault error remove", "answers 2007, remove", "Error.Failed"},
    {"WrongTypeOnModify", "fault wrong-type modify", "answers 2008, modify", "(s), not (ay)"},
    {"IdAfterTheReply", "fault with-id query", "bare record", "\\x07"},
    {"CutReply", "fault cut query", "bare record", "check.first\" after 2000"},
    {"SelectIgnored", "fault ignore select", "bare record", "nothing after 2000"},
    {"ClearIgnored", "fault ignore clear", "bare record", "after 2003 emptied the list"},
    {"RemoveIgnored", "fault ignore remove", "drops the selection of a removed item",
     "after 2007 removed it"},
    {"ModifyIgnored", "fault ignore modify", "drops the selection of a removed item",
     "after 2008 replaced it"},
    {"AsksBack", "fault ask-back query", "sends no request while a reply is due",
     "during APPLIST_GET_SELECTION_FNC (2001)"},
    {"Broadcast", "fault broadcast", "to its host only", "broadcast"},
    {"WrongId", "fault wrong-id", "with a known id", "its id is 0"},
};

void PrintTo(const Row& row, std::ostream* os) {
    *os << row.name;
}

class FaultyPartner : public CheckPartner, public testing::WithParamInterface<Row> {};

TEST_P(FaultyPartner, IsReportedBroken) {
    ToolProcess check({"check", "partner", "--wait=0", "--limit=1", "--restart",
                       PartnerWith(GetParam().script + std::string("\nwait 600\n"))});
    EXPECT_EQ(ExitStatusOf(check), 4) << check.Output() << check.Errors();
    const std::string verdict = VerdictOn(GetParam().duty, check.Output());
    EXPECT_THAT(verdict, HasSubstr("BROKEN")) << check.Output();
    EXPECT_THAT(verdict, HasSubstr(GetParam().evidence)) << check.Output();
}

TEST(FaultyPartners, CoverTheTableOfFaults) {
    for (const RequestKind& kind : Protocol::REQUESTS) {
        const std::string duty = "answers " + std::to_string(kind.id) + ", " + kind.word;
        EXPECT_TRUE(std::any_of(std::begin(ROWS), std::end(ROWS), [&](const Row& row) {
            return row.duty == duty;
        })) << duty;
    }
}

INSTANTIATE_TEST_SUITE_P(, FaultyPartner, testing::ValuesIn(ROWS),
                         [](const auto& row) { return std::string(row.param.name); });

// The duties with the verdict "BROKEN", as the list shows them.
std::vector<std::string> BrokenDuties(const std::string& output) {
    const std::string verdict = "  BROKEN    ";
    std::vector<std::string> duties;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, verdict.size(), verdict) == 0) {
            const std::string rest = line.substr(verdict.size());
            duties.push_back(rest.substr(0, rest.find("  ")));
        }
    }
    return duties;
}

// A partner with the duties of a host alone. scripts/long-run repeats the test.
TEST_F(CheckPartner, ReportsFiveBrokenDutiesOfAStrictMirrorOfTheHost) {
    const std::string partner = PartnerWith("fault strict-mirror\nwait 600\n");
    for (int i = 0; i < Repetitions(1); ++i) {
        ToolProcess check({"check", "partner", "--wait=0", "--restart", partner});
        EXPECT_EQ(ExitStatusOf(check), 4) << check.Output() << check.Errors();
        EXPECT_THAT(BrokenDuties(check.Output()),
                    ElementsAre("repeats _SERVICE_SYN while no host answers",
                                "repeats _SERVICE_SYN while its host requests nothing",
                                "repeats _SERVICE_ACK that the bus refused",
                                "remembers a bound host for the end of its own",
                                "takes the host of _CLIENT_ACK when it has none"))
            << check.Output();
    }
}

// The check continues to its end after the partner leaves the bus.
TEST_F(CheckPartner, ExitsWhenThePartnerLeavesTheBus) {
    ToolProcess check({"check", "partner", "--wait=0", "--limit=1", "--restart",
                       PartnerWith("fault vanish 4\nwait 600\n")});
    EXPECT_EQ(ExitStatusOf(check), 4);
    EXPECT_THAT(check.Output(), HasSubstr("BROKEN"));
    EXPECT_THAT(check.Output(), HasSubstr(" not seen"));
}

} // namespace
