// "applistctl partner --script": the conditions of expect, their failures, and the effect of each
// fault.
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "MainLoop.h"
#include "NamedRow.h"
#include "PrivateBus.h"
#include "RawHost.h"
#include "TemporaryFolder.h"
#include "ToolProcess.h"

using namespace std::string_literals;
using testing::HasSubstr, testing::IsEmpty, testing::Not, testing::StartsWith;

namespace {

class ScriptedPartner : public testing::Test {
protected:
    std::vector<std::string> Script(const std::string& lines) {
        return {"partner", "--script", m_folder.Write("script", lines)};
    }

    // Runs a script beside the tool's host, which has the commands as its input.
    int RunBesideAHost(const std::string& script, const std::vector<std::string>& commands = {}) {
        ToolProcess partner(Script(script));
        EXPECT_TRUE(partner.WaitFor("_SERVICE_SYN")) << partner.Errors();
        ToolProcess host({"host", SAMPLE_APPLICATIONS});
        EXPECT_TRUE(partner.WaitFor("my list has 5 items now"));
        for (const std::string& command : commands) {
            host.Send(command);
        }
        const int status = partner.WaitForExit();
        m_output = partner.Output();
        m_errors = partner.Errors();
        return status;
    }

    const PrivateBus m_bus;
    const TemporaryFolder m_folder;
    std::string m_output;
    std::string m_errors;
};

constexpr const char* ALL_ITEMS =
    "calculator.desktop clock.desktop media-music-player.desktop navigation.desktop "
    "media-photos.desktop";

TEST_F(ScriptedPartner, PassesWhenAllConditionsAreMet) {
    EXPECT_EQ(RunBesideAHost("# a comment\n\ntimeout 20\nexpect connected\nexpect add " +
                                 std::string(ALL_ITEMS) +
                                 "\nexpect append a\nexpect modify a b\nexpect select b\n"
                                 "expect selection b\nexpect clear\nexpect list\n"
                                 "expect selection none\nexpect nothing 0.1\n",
                             {"add a A", "modify a b B", "select b", "clear"}),
              0)
        << m_errors;
    EXPECT_THAT(m_errors, IsEmpty());
}

TEST_F(ScriptedPartner, PrintsAFaultInPlaceOfItsOwnAnswer) {
    EXPECT_EQ(RunBesideAHost("timeout 20\nfault error query\nexpect add\nselect 1\n"
                             "expect query\n"),
              0)
        << m_errors;
    EXPECT_THAT(m_output, HasSubstr("(2001): a fault decides the answer, not Calculator"));
}

TEST_F(ScriptedPartner, FailsOnAnotherRequestForTheSameItem) {
    EXPECT_EQ(RunBesideAHost("timeout 20\nexpect add\nexpect remove b\n", {"add b B"}), 1);
    EXPECT_THAT(m_errors, HasSubstr("script:3: expect remove b: the next request is "
                                    "APPLIST_ADD_ITEM_AT_END_FNC (2005): B (b)"));
}

TEST_F(ScriptedPartner, FailsOnARequestForAnotherItem) {
    EXPECT_EQ(
        RunBesideAHost("timeout 20\nexpect add\nexpect append a\nexpect clear\n", {"add b B"}), 1);
    EXPECT_THAT(m_errors, HasSubstr("script:3: expect append a: the next request is "
                                    "APPLIST_ADD_ITEM_AT_END_FNC (2005): B (b)"));
}

TEST_F(ScriptedPartner, FailsWithoutARequest) {
    EXPECT_EQ(RunBesideAHost("timeout 20\nexpect add\ntimeout 0.1\nexpect clear\n"), 1);
    EXPECT_THAT(m_errors, HasSubstr("script:4: expect clear: no request within 0.1 s"));
}

TEST_F(ScriptedPartner, FailsOnARequestDuringExpectNothing) {
    EXPECT_EQ(RunBesideAHost("timeout 20\nexpect nothing 20\n"), 1);
    EXPECT_THAT(m_errors, HasSubstr("script:2: expect nothing 20: there is APPLIST_ADD_ITEMS_FNC"));
}

TEST_F(ScriptedPartner, FailsOnAnotherList) {
    EXPECT_EQ(RunBesideAHost("timeout 20\nexpect add\ntimeout 0.1\nexpect list x\n"), 1);
    EXPECT_THAT(m_errors, HasSubstr("script:4: expect list x: after 0.1 s the list is " +
                                    std::string(ALL_ITEMS)));
}

TEST_F(ScriptedPartner, FailsOnAnotherSelection) {
    EXPECT_EQ(RunBesideAHost("timeout 20\nexpect add\ntimeout 0.1\nexpect selection x\n"), 1);
    EXPECT_THAT(m_errors, HasSubstr("expect selection x: after 0.1 s the selection is none"));
}

TEST_F(ScriptedPartner, FailsWithoutAHost) {
    ToolProcess partner(Script("timeout 0.1\nexpect connected\n"));
    EXPECT_EQ(partner.WaitForExit(), 1);
    EXPECT_THAT(partner.Errors(), HasSubstr("script:2: expect connected: no host after 0.1 s"));
}

TEST_F(ScriptedPartner, DropsEarlierRequestsOnForget) {
    EXPECT_EQ(RunBesideAHost("timeout 20\nexpect list " + std::string(ALL_ITEMS) +
                                 "\nforget\nexpect append a\n",
                             {"add a A"}),
              0)
        << m_errors;
}

TEST_F(ScriptedPartner, NotifiesTheHostOfTheActionsOfItsUser) {
    EXPECT_EQ(RunBesideAHost("timeout 20\nexpect add\nselect 2\nexpect query\n"
                             "expect selection clock.desktop\nclick 1\nchange\nrecreate\n"
                             "expect add\nexpect select clock.desktop\n"),
              0)
        << m_errors;
}

TEST_F(ScriptedPartner, IsFoundAgainAfterARestart) {
    EXPECT_EQ(RunBesideAHost("timeout 20\nexpect add\nrestart\nexpect connected\nexpect add " +
                             std::string(ALL_ITEMS) + "\n"),
              0)
        << m_errors;
    EXPECT_THAT(m_output, HasSubstr("vanished from the bus"));
}

TEST_F(ScriptedPartner, DetectsTheLossOfTheHost) {
    StartedTool partner(Script("timeout 20\nexpect connected\nexpect lost\n"), "_SERVICE_SYN");
    {
        RawHost host(m_bus);
        ASSERT_TRUE(host.Connect());
        ASSERT_TRUE(partner.WaitFor("connected with"));
    }
    EXPECT_EQ(partner.WaitForExit(), 0) << partner.Errors();
}

TEST_F(ScriptedPartner, StopsAtAWrongLineBeforeItStarts) {
    ToolProcess partner(Script("expect connected\nexpct add\nfault\n"));
    EXPECT_EQ(partner.WaitForExit(), 1);
    EXPECT_THAT(partner.Errors(), HasSubstr("script:2: unknown command \"expct\""));
    EXPECT_THAT(partner.Errors(), HasSubstr("script:3: usage: fault FAULT"));
    EXPECT_THAT(partner.Output(), IsEmpty());
}

struct WrongLine {
    const char* line;
    const char* problem;
};

constexpr WrongLine WRONG_LINES[] = {
    {"restart x", "SECONDS is a number from 0 to 3600"},
    {"restart 3601", "SECONDS is a number from 0 to 3600"},
    {"timeout soon", "SECONDS is a number from 0 to 3600"},
    {"wait -1", "SECONDS is a number from 0 to 3600"},
    {"expect connected now", "usage: expect connected"},
    {"expect lost now", "usage: expect lost"},
    {"expect nothing", "usage: expect nothing SECONDS"},
    {"expect nothing x", "usage: expect nothing SECONDS"},
    {"expect nothing 1 2", "usage: expect nothing SECONDS"},
    {"expect selection", "usage: expect selection ID|none"},
    {"expect selection a b", "usage: expect selection ID|none"},
    {"expect conected", "expect conected: no such condition; --help lists the conditions"},
    {"expect query a", "usage: expect query"},
    {"expect append a b", "usage: expect append [ID]"},
    {"expect modify a", "usage: expect modify [OLD_ID NEW_ID]"},
    {"fault nonsense", "no fault \"nonsense\"; --help lists the faults"},
    {"fault none now", "usage: fault none"},
    {"fault no-syn now", "usage: fault no-syn"},
    {"fault vanish 0", "usage: fault vanish N"},
    {"fault delay 1 qery", "no request \"qery\"; usage: fault delay SECONDS [REQUEST]"},
};

TEST_F(ScriptedPartner, FindsEachWrongArgumentBeforeItStarts) {
    std::string script;
    std::string errors;
    std::size_t number = 0;
    for (const WrongLine& wrong : WRONG_LINES) {
        script.append(wrong.line).append("\n");
        errors += "script:" + std::to_string(++number) + ": " + wrong.problem + "\n";
    }
    ToolProcess partner(Script(script));
    EXPECT_EQ(partner.WaitForExit(), 1);
    std::istringstream expected(errors);
    for (std::string line; std::getline(expected, line);) {
        EXPECT_THAT(partner.Errors(), HasSubstr(line + "\n"));
    }
    EXPECT_THAT(partner.Output(), IsEmpty());
}

TEST_F(ScriptedPartner, KeepsItsPlaceOnTheBusAfterAWrongRestart) {
    ToolProcess partner({"partner"});
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN"));
    partner.Send("restart x");
    ASSERT_TRUE(partner.WaitForError("SECONDS is a number from 0 to 3600"));
    partner.Send("quit");
    EXPECT_EQ(partner.WaitForExit(), 1);
    EXPECT_THAT(partner.Output(), Not(HasSubstr("vanished from the bus")));
}

TEST_F(ScriptedPartner, NamesTheWrongQuotingOfALine) {
    ToolProcess partner(Script("expect selection \"a b\nexpect selection a\\\n"));
    EXPECT_EQ(partner.WaitForExit(), 1);
    EXPECT_THAT(partner.Errors(),
                HasSubstr("script:1: a quotation mark has no counterpart in this line\n"));
    EXPECT_THAT(partner.Errors(), HasSubstr("script:2: no character follows the backslash at the "
                                            "end of the line\n"));
}

TEST_F(ScriptedPartner, FailsOnAnUnknownFault) {
    ToolProcess partner(Script("fault silence now\n"));
    EXPECT_EQ(partner.WaitForExit(), 1);
    EXPECT_THAT(partner.Errors(), HasSubstr("script:1: no request \"now\""));
}

struct FirstCommand : NamedRow {
    const char* command;
};

const FirstCommand FIRST_COMMANDS[] = {
    {"List", "list"},
    {"Change", "change"},
    {"Expect", "expect nothing 0"},
    {"Wait", "wait 0"},
    {"Vanish", "vanish"},
    {"Restart", "restart"},
    {"RestartLater", "restart 0"},
};

class MissingBus : public ScriptedPartner, public testing::WithParamInterface<FirstCommand> {};

TEST_P(MissingBus, IsTheOnlyErrorOfAScript) {
    std::vector<std::string> words = Script("timeout 1\n" + std::string(GetParam().command) + "\n");
    words.emplace_back("--bus=unix:path=/nonexistent/bus");
    ToolProcess partner(words);
    EXPECT_EQ(partner.WaitForExit(), 3);
    EXPECT_THAT(partner.Output(), IsEmpty());
    EXPECT_THAT(partner.Errors(), StartsWith("applistctl partner: no bus: "));
    EXPECT_EQ(partner.Errors().find('\n'), partner.Errors().size() - 1) << partner.Errors();
}

INSTANTIATE_TEST_SUITE_P(, MissingBus, testing::ValuesIn(FIRST_COMMANDS), RowName<FirstCommand>);

TEST_F(ScriptedPartner, NamesTheConditionThatTheEndOfTheBusHasStopped) {
    PrivateBus bus;
    StartedTool partner(Script("timeout 600\nexpect connected\n"), "_SERVICE_SYN");
    bus.Kill();
    EXPECT_EQ(partner.WaitForExit(), 3);
    EXPECT_THAT(partner.Errors(), StartsWith("applistctl partner: the bus is gone: "));
    EXPECT_THAT(partner.Errors(), HasSubstr("script:2: expect connected: the run was stopped\n"));
}

struct ReplyFault : NamedRow {
    const char* fault;
    std::string answer; ///< to the query for the selected item A, 1
};

const ReplyFault REPLY_FAULTS[] = {
    {"None", "fault none", "A\n1\n"},
    {"OfAnotherRequest", "fault error add", "A\n1\n"},
    {"WrongType", "fault wrong-type query", "ERROR: Method “Send” returned type “(s)”"},
    {"Error", "fault error query", "ERROR: GDBus.Error:org.freedesktop.DBus.Error.Failed"},
    {"WithId", "fault with-id query", "A\n1\n\xd1\x07\0\0"s},
    {"Cut", "fault cut query", "A\n1"},
    {"Delay", "fault delay 0.2 query", "A\n1\n"},
};

class FaultyReply : public ScriptedPartner, public testing::WithParamInterface<ReplyFault> {};

TEST_P(FaultyReply, IsSentByThePartnerWithThisFault) {
    ToolProcess partner(
        Script("timeout 20\nexpect select\n" + std::string(GetParam().fault) + "\nwait 600\n"));
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN"));
    RawHost host(m_bus);
    ASSERT_TRUE(host.Connect());
    ASSERT_TRUE(partner.WaitFor("connected with"));
    ASSERT_EQ(host.Request("A\n1\n\xd0\x07\0\0"s), "");
    // The fault's line has been run when the partner serves the next request.
    EXPECT_THAT(host.Request("\xd1\x07\0\0"s), StartsWith(GetParam().answer));
}

INSTANTIATE_TEST_SUITE_P(, FaultyReply, testing::ValuesIn(REPLY_FAULTS), RowName<ReplyFault>);

TEST_F(ScriptedPartner, ExitsAtTheRequestOfTheFault) {
    StartedTool partner(Script("fault exit 9 append\nwait 600\n"), "_SERVICE_SYN");
    RawHost host(m_bus);
    ASSERT_TRUE(host.Connect());
    EXPECT_EQ(host.Request("A\n1\n\xd4\x07\0\0"s), "");
    EXPECT_THAT(host.Request("B\n2\n\xd5\x07\0\0"s), StartsWith("ERROR: "));
    EXPECT_EQ(partner.WaitForExit(), 9);
}

TEST_F(ScriptedPartner, VanishesOnTheGivenRequest) {
    StartedTool partner(Script("fault vanish 2\ntimeout 20\nexpect connected\nexpect lost\n"),
                        "_SERVICE_SYN");
    RawHost host(m_bus);
    ASSERT_TRUE(host.Connect());
    EXPECT_EQ(host.Request("A\n1\n\xd5\x07\0\0"s), "");
    EXPECT_THAT(host.Request("B\n2\n\xd5\x07\0\0"s), StartsWith("ERROR: "));
    EXPECT_EQ(partner.WaitForExit(), 0) << partner.Errors();
}

} // namespace
