// Host and partner as two processes: their final listings must be equal.
#include <csignal>
#include <string>

#include <gmock/gmock.h>

#include "BusTest.h"
#include "ToolProcess.h"

namespace {

using EndToEnd = BusTest;

TEST_F(EndToEnd, BothSidesHaveTheSameListAfterEveryCommand) {
    RunningPartner partner;
    SampleHost host(partner);
    partner.Send(
        "change"); // the host receives its model with the event, and needs the model for "list"
    ASSERT_TRUE(host.WaitFor("OnItemChangeEvent"));

    for (const char* command : {
             "add radio Car Radio",
             "select radio",
             "modify radio radio2 'World  Radio'",
             "add clock.desktop Another Clock",
             "select clock.desktop",
             "remove clock.desktop",
             "select clock.desktop",
             "remove clock.desktop",
             "click radio2",
             "select radio2",
             "modify calculator.desktop radio2 Twin",
             "remove radio2",
         }) {
        host.Send(command);
        // The host's requests have been answered when it shows its list.
        const std::string hostList = host.List();
        EXPECT_THAT(hostList, testing::StartsWith("list: "));
        EXPECT_EQ(hostList, partner.List()) << "after: " << command;
    }
}

TEST_F(EndToEnd, AClearedListIsEmptyOnBothSides) {
    RunningPartner partner;
    SampleHost host(partner);
    partner.Send("select 3");
    ASSERT_TRUE(host.WaitFor("OnItemSelectionEvent: the partner has selected Music Player"));
    host.Send("clear");
    EXPECT_EQ(host.List(), "list: 0 items\nselection: none\n");
    EXPECT_EQ(partner.List(), "list: 0 items\nselection: none\n");
}

TEST_F(EndToEnd, ARestartedPartnerReceivesListAndSelectionAgain) {
    StartedTool host({"host", SAMPLE_APPLICATIONS}, "no partner yet");
    {
        ToolProcess partner({"partner"});
        ASSERT_TRUE(partner.WaitFor("my list has 5 items now"));
        partner.Send("select 4");
        ASSERT_TRUE(host.WaitFor("OnItemSelectionEvent: the partner has selected Navigation"));
        partner.Kill(SIGKILL);
        EXPECT_EQ(partner.WaitForExit(), 128 + SIGKILL);
    }
    host.Send("add camera Camera");
    ToolProcess partner({"partner"});
    ASSERT_TRUE(partner.WaitFor("APPLIST_SET_SELECTION_FNC (2000): Navigation"));
    const std::string list = partner.List();
    EXPECT_THAT(list, testing::HasSubstr("list: 6 items"));
    EXPECT_THAT(list, testing::HasSubstr("Camera"));
    EXPECT_EQ(list, host.List());
}

TEST_F(EndToEnd, APartnerServesTheNextHostAfterTheFirstIsKilled) {
    RunningPartner partner;
    {
        SampleHost host(partner);
        host.Kill(SIGKILL);
        ASSERT_TRUE(partner.WaitFor("lost the host"));
    }
    ToolProcess host({"host", std::string(SAMPLE_APPLICATIONS) + "/media"});
    EXPECT_TRUE(partner.WaitFor("my list has 2 items now"));
}

TEST_F(EndToEnd, APartnerWithANewListReceivesTheListAgain) {
    RunningPartner partner;
    SampleHost host(partner);
    ASSERT_TRUE(host.WaitFor("the partner has a new list: the library sent it all 5 items"));
    partner.Send("recreate");
    EXPECT_TRUE(partner.WaitFor("APPLIST_ADD_ITEMS_FNC (2004): 5 items"));
    EXPECT_TRUE(partner.WaitFor("my list has 5 items now"));
    EXPECT_TRUE(host.WaitFor("the partner has a new list: the library sent it all 5 items"));
}

TEST_F(EndToEnd, ASecondHostConnectsWhenTheFirstExits) {
    RunningPartner partner;
    SampleHost first(partner);
    ToolProcess second({"host", std::string(SAMPLE_APPLICATIONS) + "/media"});
    ASSERT_TRUE(partner.WaitFor("is the host of this partner"));
    EXPECT_EQ(first.EndOfInput(), 0);
    EXPECT_TRUE(partner.WaitFor("my list has 2 items now"));
}

} // namespace
