// "applistctl check": one line for each need of a host, with advice when it is missing.
#include <string>

#include <gmock/gmock.h>

#include "PrivateBus.h"
#include "RawHost.h"
#include "ToolProcess.h"

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
    EXPECT_THAT(check.Output(), HasSubstr("MISSING  partner   no answer to _CLIENT_SYN"));
    EXPECT_THAT(check.Output(), HasSubstr("-> check that the partner runs"));
}

TEST(DeviceCheck, ReportsAMissingRightToAnnounce) {
    const PrivateBus bus("<deny own=\"org.morva.JavaMW.Applist_CLIENT_ACK\"/>");
    ToolProcess check({"check", "--limit=0.2"});
    EXPECT_EQ(check.WaitForExit(), 4);
    EXPECT_THAT(check.Output(), HasSubstr("MISSING  announce  the bus refuses "
                                          "org.morva.JavaMW.Applist_CLIENT_ACK"));
    EXPECT_THAT(check.Output(), HasSubstr("-> install share/dbus-1/system.d/"));
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

TEST(DeviceCheck, ReportsAMissingBus) {
    ToolProcess check({"check", "--bus=unix:path=/nonexistent/bus"});
    EXPECT_EQ(check.WaitForExit(), 3);
    EXPECT_THAT(check.Output(), HasSubstr("MISSING  bus"));
    EXPECT_THAT(check.Output(), HasSubstr("DBUS_SYSTEM_BUS_ADDRESS"));
}

} // namespace
