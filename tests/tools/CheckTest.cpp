// "applistctl check": one line for each need of a host, with advice when it is missing.
#include <string>

#include <gmock/gmock.h>

#include "PrivateBus.h"
#include "RawHost.h"
#include "ToolProcess.h"

using testing::ContainsRegex;
using testing::HasSubstr;

namespace {

TEST(DeviceCheck, PassesWithAPolicyAndAPartner) {
    const PrivateBus bus;
    ToolProcess partner({"partner"});
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN"));
    ToolProcess check({"check"});
    EXPECT_EQ(check.WaitForExit(), 0) << check.Output();
    for (const char* const step :
         {"bus", "announce", "send", "signal", "partner", "answer", "list"}) {
        EXPECT_THAT(check.Output(), HasSubstr("ok       " + std::string(step) + " "));
    }
}

TEST(DeviceCheck, LeavesThePartnerFreeForAHost) {
    const PrivateBus bus;
    ToolProcess partner({"partner"});
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN"));
    ToolProcess check({"check"});
    ASSERT_EQ(check.WaitForExit(), 0) << check.Output();
    ASSERT_TRUE(partner.WaitFor("a partner is free"));
    RawHost host(bus);
    EXPECT_TRUE(host.Connect());
}

TEST(DeviceCheck, ReportsAMissingPartner) {
    const PrivateBus bus;
    ToolProcess check({"check", "--limit=0.2"});
    EXPECT_EQ(check.WaitForExit(), 4);
    EXPECT_THAT(check.Output(),
                HasSubstr("MISSING  partner   no answer to _CLIENT_SYN within 0.2 s: "
                          "no partner is on the bus"));
    EXPECT_THAT(check.Output(), HasSubstr("-> start the partner"));
}

TEST(DeviceCheck, ReportsAMissingRightToAnnounce) {
    const PrivateBus bus("<deny own=\"org.morva.JavaMW.Applist_CLIENT_ACK\"/>");
    ToolProcess check({"check", "--limit=0.2"});
    EXPECT_EQ(check.WaitForExit(), 4);
    EXPECT_THAT(check.Output(), HasSubstr("MISSING  announce  the bus refuses "
                                          "org.morva.JavaMW.Applist_CLIENT_ACK"));
    EXPECT_THAT(check.Output(), HasSubstr("-> write this file to /etc/dbus-1/system.d/"));
    EXPECT_THAT(check.Output(), HasSubstr("MISSING  partner   not checked"));
}

TEST(DeviceCheck, ReportsAMissingRightToCall) {
    const PrivateBus bus("<deny send_interface=\"org.morva.javamw.DbusCommunication\" "
                         "send_member=\"Send\"/>");
    ToolProcess check({"check", "--limit=0.2"});
    EXPECT_EQ(check.WaitForExit(), 4);
    EXPECT_THAT(check.Output(), HasSubstr("MISSING  send      Send to itself: the reply is the "
                                          "error org.freedesktop.DBus.Error.AccessDenied"));
    EXPECT_THAT(check.Output(), HasSubstr("ok       signal"));
}

TEST(DeviceCheck, ReportsAMissingRightToSignal) {
    const PrivateBus bus("<deny send_interface=\"org.morva.javamw.DbusCommunication\" "
                         "send_member=\"SendSignal\"/>");
    ToolProcess check({"check", "--limit=0.2"});
    EXPECT_EQ(check.WaitForExit(), 4);
    EXPECT_THAT(check.Output(), HasSubstr("ok       send"));
    EXPECT_THAT(check.Output(), HasSubstr("MISSING  signal    SendSignal to itself"));
}

TEST(DeviceCheck, ReportsARequestWithoutAReply) {
    const PrivateBus bus;
    ToolProcess partner({"partner"});
    partner.Send("fault silence");
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN"));
    partner.Send("list");
    ASSERT_TRUE(partner.WaitFor("list: 0 items"));
    ToolProcess check({"check", "--limit=0.3"});
    EXPECT_EQ(check.WaitForExit(), 4);
    EXPECT_THAT(check.Output(), HasSubstr("MISSING  answer    2001 to "));
    EXPECT_THAT(check.Output(), HasSubstr("no reply within 0.3 s"));
}

TEST(DeviceCheck, ReportsAMissingNotificationOfThePartner) {
    const PrivateBus bus;
    ToolProcess partner({"partner"});
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN"));
    partner.Send("fault no-created");
    partner.Send("list");
    ASSERT_TRUE(partner.WaitFor("list: 0 items"));
    ToolProcess check({"check", "--limit=0.3"});
    EXPECT_EQ(check.WaitForExit(), 4);
    EXPECT_THAT(check.Output(), HasSubstr("MISSING  list      no notification 4 within 0.3 s"));
}

TEST(DeviceCheck, ReportsAStoppedPartner) {
    const PrivateBus bus;
    ToolProcess partner({"partner"});
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN"));
    partner.Stop();
    ToolProcess check({"check", "--limit=0.3"});
    EXPECT_EQ(check.WaitForExit(), 4);
    EXPECT_THAT(
        check.Output(),
        ContainsRegex("MISSING  partner   no answer to _CLIENT_SYN within 0.3 s: [^\n]*:1.[0-9]+ "
                      "\\(pid " +
                      partner.Id() + ", user [^\n]*\\)[^\n]* is stopped\n"));
    EXPECT_THAT(check.Output(), HasSubstr("-> let it continue: kill -CONT " + partner.Id()));
}

TEST(DeviceCheck, ReportsAFreePartnerThatDoesNotAnswer) {
    const PrivateBus bus;
    ToolProcess partner({"partner"});
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN"));
    partner.Send("fault no-syn-ack");
    partner.Send("list");
    ASSERT_TRUE(partner.WaitFor("list: 0 items"));
    ToolProcess check({"check", "--limit=1.5"});
    EXPECT_EQ(check.WaitForExit(), 4);
    EXPECT_THAT(check.Output(), ContainsRegex("s: the partner :1.[0-9]+ \\(pid [^\n]*\\) is bound "
                                              "to no host\n"));
    EXPECT_THAT(check.Output(), HasSubstr("the refused process receives the reason"));
}

// A partner on a bus without visible match rules.
TEST(DeviceCheck, ReportsAStoppedPartnerWithoutMatchRules) {
    const PrivateBus bus("<deny send_interface='org.freedesktop.DBus.Debug.Stats'/>");
    ToolProcess partner({"partner"});
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN"));
    partner.Stop();
    ToolProcess check({"check", "--limit=0.3"});
    EXPECT_EQ(check.WaitForExit(), 4);
    EXPECT_THAT(check.Output(), HasSubstr("which may be the partner, is stopped\n"));
}

TEST(DeviceCheck, ReportsThatAPartnerMayServeAnotherHostWithoutMatchRules) {
    const PrivateBus bus("<deny send_interface='org.freedesktop.DBus.Debug.Stats'/>");
    ToolProcess partner({"partner"});
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN"));
    ToolProcess host({"host", SAMPLE_APPLICATIONS});
    ASSERT_TRUE(partner.WaitFor("my list has 5 items now"));
    ToolProcess check({"check", "--limit=0.3"});
    EXPECT_EQ(check.WaitForExit(), 4);
    EXPECT_THAT(check.Output(), HasSubstr("may be bound to another host\n"));
    EXPECT_THAT(check.Output(), HasSubstr(" are hosts or partners on the bus\n"));
}

TEST(DeviceCheck, NamesTheProcessOfThePartnerOnce) {
    const PrivateBus bus;
    ToolProcess partner({"partner"});
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN"));
    ToolProcess check({"check"});
    EXPECT_EQ(check.WaitForExit(), 0) << check.Output();
    const std::string process = "(pid " + partner.Id() + ", user ";
    EXPECT_THAT(check.Output(), HasSubstr("answer from :1."));
    EXPECT_NE(check.Output().find(process), std::string::npos);
    EXPECT_EQ(check.Output().find(process), check.Output().rfind(process));
}

TEST(PartnerTool, NamesTheProcessOfItsHostOnce) {
    const PrivateBus bus;
    ToolProcess partner({"partner"});
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN"));
    ToolProcess check({"check"});
    EXPECT_EQ(check.WaitForExit(), 0) << check.Output();
    ASSERT_TRUE(partner.WaitFor("a partner is free"));
    EXPECT_THAT(partner.Output(), ContainsRegex("the host :1.[0-9]+ is pid [0-9]+, user [^,]+, "
                                                "applistctl\n"));
    EXPECT_EQ(partner.Output().find(" is pid "), partner.Output().rfind(" is pid "));
}

TEST(DeviceCheck, ReportsAMissingBus) {
    ToolProcess check({"check", "--bus=unix:path=/nonexistent/bus"});
    EXPECT_EQ(check.WaitForExit(), 3);
    EXPECT_THAT(check.Output(), HasSubstr("MISSING  bus"));
    EXPECT_THAT(check.Output(), HasSubstr("DBUS_SYSTEM_BUS_ADDRESS"));
}

} // namespace
