// "applistctl check partner" against the tool's own partner: every duty passes with a good one, and
// for each duty there is a fault that makes the check report it broken.
#include <algorithm>
#include <iterator>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <shared/Protocol.h>

#include "PrivateBus.h"
#include "TemporaryFolder.h"
#include "ToolProcess.h"

using testing::HasSubstr;
using testing::Not;

namespace {

// The check's last words on a duty: "passed", "BROKEN" or "not seen", and behind it the evidence.
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

TEST_F(CheckPartner, FindsNothingBrokenAtAGoodPartner) {
    ToolProcess check({"check", "partner", "--wait=0", "--restart", PartnerWith("wait 600\n")});
    EXPECT_EQ(check.WaitForExit(), 0) << check.Output() << check.Errors();
    EXPECT_THAT(check.Output(), HasSubstr(" passed, 0 broken, 3 not seen"));
}

TEST_F(CheckPartner, SeesWhatThePartnersUserDoes) {
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
    EXPECT_EQ(check.WaitForExit(), 0) << check.Output() << check.Errors();
    EXPECT_THAT(check.Output(), HasSubstr(" passed, 0 broken, 0 not seen"));
    EXPECT_THAT(VerdictOn("sends 2, selection, when its user selects an item", check.Output()),
                HasSubstr("Photos"));
}

TEST_F(CheckPartner, AsksForAPartnerAndSaysThatThereIsNone) {
    ToolProcess check({"check", "partner", "--limit=0.2", "--wait=0.3"});
    EXPECT_EQ(check.WaitForExit(), 1);
    EXPECT_THAT(check.Output(), HasSubstr("Please start the partner, within 0.3 s."));
    EXPECT_THAT(check.Output(), Not(HasSubstr("not seen")));
    EXPECT_THAT(check.Errors(), HasSubstr("no partner has answered"));
}

TEST_F(CheckPartner, TakesAPartnerThatRunsAlready) {
    ToolProcess partner({"partner"});
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN"));
    ToolProcess check({"check", "partner", "--wait=0"});
    EXPECT_EQ(check.WaitForExit(), 0) << check.Output() << check.Errors();
    EXPECT_THAT(VerdictOn("announces _SERVICE_SYN when it starts", check.Output()),
                HasSubstr("not seen"));
    EXPECT_THAT(VerdictOn("answers every operation", check.Output()), HasSubstr("passed"));
}

struct Row {
    const char* name;
    const char* script;
    const char* duty;     ///< as the list shows it
    const char* evidence; ///< part of it
};

const Row ROWS[] = {
    {"NoSyn", "fault no-syn", "announces _SERVICE_SYN when it starts", "no _SERVICE_SYN within"},
    {"NoSynAfterALoss", "fault no-syn", "announces _SERVICE_SYN when its host has gone",
     "no _SERVICE_SYN within"},
    {"KeepsADeadHost", "fault keep-host", "announces _SERVICE_SYN when its host has gone",
     "no _SERVICE_SYN within"},
    {"NoSynAck", "fault no-syn-ack", "answers _CLIENT_SYN with _SERVICE_SYN_ACK",
     "no _SERVICE_SYN_ACK within"},
    {"NoAck", "fault no-ack", "answers _CLIENT_SYN_ACK with _SERVICE_ACK",
     "no _SERVICE_ACK within"},
    {"NoAckWhenBound", "fault no-crossed-ack", "answers _CLIENT_SYN_ACK also when bound",
     "no _SERVICE_ACK within"},
    {"NotTogether", "fault no-syn-ack\nfault no-ack", "finds a host that starts at the same time",
     "0 of 5 starts"},
    {"OnTaking", "fault on-taking", "waits for the release of a name", "was still owned"},
    {"NoObject", "fault no-object", "takes requests as soon as it has answered", "UnknownMethod"},
    {"TwoHosts", "fault any-host", "keeps its host when another one announces itself",
     "beside its host"},
    {"NoCreatedEvent", "fault no-created", "sends 4, created, after each handshake",
     "no notification 4 within"},
    {"SilentOnSelect", "fault silence select", "answers 2000, select", "no answer within"},
    {"SilentOnQuery", "fault silence query", "answers 2001, query", "no answer within"},
    {"ErrorOnClear", "fault error clear", "answers 2003, clear",
     "org.freedesktop.DBus.Error.Failed"},
    {"WrongTypeOnAdd", "fault wrong-type add", "answers 2004, add", "the type (s), not (ay)"},
    {"LateOnAppend", "fault delay 600 append", "answers 2005, append", "no answer within"},
    {"SilentOnClick", "fault silence click", "answers 2006, click", "no answer within"},
    {"ErrorOnRemove", "fault error remove", "answers 2007, remove", "Error.Failed"},
    {"WrongTypeOnModify", "fault wrong-type modify", "answers 2008, modify", "(s), not (ay)"},
    {"IdBehindTheReply", "fault with-id query", "bare record", "\\x07"},
    {"CutReply", "fault cut query", "bare record", "check.first\" after 2000"},
    {"SelectIgnored", "fault ignore select", "bare record", "nothing after 2000"},
    {"ClearIgnored", "fault ignore clear", "bare record", "after 2003 emptied the list"},
    {"RemoveIgnored", "fault ignore remove", "selects no item that has left the list",
     "after 2007 removed it"},
    {"ModifyIgnored", "fault ignore modify", "selects no item that has left the list",
     "after 2008 replaced it"},
    {"AsksBack", "fault ask-back query", "sends the host no request while it answers",
     "during APPLIST_GET_SELECTION_FNC (2001)"},
    {"Broadcast", "fault broadcast", "to its host only", "everybody on the bus"},
    {"WrongId", "fault wrong-id", "with a known id", "its id is 0"},
};

void PrintTo(const Row& row, std::ostream* os) {
    *os << row.name;
}

class FaultyPartner : public CheckPartner, public testing::WithParamInterface<Row> {};

TEST_P(FaultyPartner, IsReportedBroken) {
    ToolProcess check({"check", "partner", "--wait=0", "--limit=1", "--restart",
                       PartnerWith(GetParam().script + std::string("\nwait 600\n"))});
    EXPECT_EQ(check.WaitForExit(), 4) << check.Output() << check.Errors();
    const std::string verdict = VerdictOn(GetParam().duty, check.Output());
    EXPECT_THAT(verdict, HasSubstr("BROKEN")) << check.Output();
    EXPECT_THAT(verdict, HasSubstr(GetParam().evidence)) << check.Output();
}

TEST(FaultyPartners, OfTheseTestsCoverTheTable) {
    for (const RequestKind& kind : Protocol::REQUESTS) {
        const std::string duty = "answers " + std::to_string(kind.id) + ", " + kind.word;
        EXPECT_TRUE(std::any_of(std::begin(ROWS), std::end(ROWS), [&](const Row& row) {
            return row.duty == duty;
        })) << duty;
    }
}

INSTANTIATE_TEST_SUITE_P(, FaultyPartner, testing::ValuesIn(ROWS),
                         [](const auto& row) { return std::string(row.param.name); });

// With a partner that leaves in the middle the check goes on to its end.
TEST_F(CheckPartner, EndsAlsoWhenThePartnerVanishes) {
    ToolProcess check({"check", "partner", "--wait=0", "--limit=1", "--restart",
                       PartnerWith("fault vanish 4\nwait 600\n")});
    EXPECT_EQ(check.WaitForExit(), 4);
    EXPECT_THAT(check.Output(), HasSubstr("BROKEN"));
    EXPECT_THAT(check.Output(), HasSubstr(" not seen"));
}

} // namespace
