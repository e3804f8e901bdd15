// "applistctl check": one line for each need of a host, with advice when it is missing.
#include <csignal>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "BusDaemon.h"
#include "BusTest.h"
#include "Bytes.h"
#include "Channel.h"
#include "RawHost.h"
#include "SharedBus.h"
#include "TemporaryFolder.h"
#include "TestPartner.h"
#include "ToolProcess.h"

using testing::ContainsRegex, testing::HasSubstr, testing::Not;

namespace {

using DeviceCheck = BusTest;
using HostCheck = BusTest;
using PartnerCheck = BusTest;
using PartnerTool = BusTest;

// The output of a check with this exit status, without the policy that the machine may have.
std::string CheckOutput(int status, std::vector<std::string> options = {}) {
    const TemporaryFolder policies;
    options.insert(options.begin(), {"check", "--policies=" + policies.Path()});
    const ToolResult check = RunTool(options);
    EXPECT_EQ(check.status, status) << check.output;
    return check.output;
}

std::string CheckHostOutput(int status, const std::string& policies) {
    const ToolResult check = RunTool({"check", "host", "--limit=0.5", "--policies=" + policies});
    EXPECT_EQ(check.status, status) << check.output;
    return check.output;
}

constexpr const char* DENY_RULES = "<deny send_interface='org.freedesktop.DBus.Debug.Stats'/>";
constexpr const char* DENY_SEND =
    "<deny send_interface='org.morva.javamw.DbusCommunication' send_member='Send'/>";
constexpr const char* DENY_INTROSPECTION =
    "<deny send_interface='org.freedesktop.DBus.Introspectable'/>";

// An installed policy that names @p user for the role with these names.
std::string PolicyFor(const std::string& user, const std::string& names) {
    return "<busconfig><policy user='" + user + "'><allow own='org.morva.JavaMW.Applist" + names +
           "_SYN'/></policy></busconfig>";
}

TEST_F(DeviceCheck, PassesWithAPolicyAndAPartner) {
    RunningPartner partner;
    const std::string output = CheckOutput(0);
    for (const char* const step :
         {"bus", "announce", "send", "signal", "partner", "answer", "list"}) {
        EXPECT_THAT(output, HasSubstr("ok       " + std::string(step) + " "));
    }
}

TEST_F(DeviceCheck, LeavesThePartnerFreeForAHost) {
    RunningPartner partner;
    CheckOutput(0);
    ASSERT_TRUE(partner.WaitFor("a partner is free"));
    RawHost host(bus);
    EXPECT_TRUE(host.Connect());
}

TEST_F(DeviceCheck, ReportsAMissingPartner) {
    const std::string output = CheckOutput(4, {"--limit=0.2"});
    EXPECT_THAT(output, HasSubstr("MISSING  partner   no answer to _CLIENT_SYN within 0.2 s: "
                                  "no partner is on the bus"));
    EXPECT_THAT(output, HasSubstr("-> start the partner"));
}

// A check that waits for a partner, with the names of the host.
class WaitingCheck {
public:
    WaitingCheck() { EXPECT_TRUE(m_process.WaitFor("SendSignal is delivered")); }

    std::string Name() {
        const std::string& text = m_process.Output();
        const std::size_t begin = text.find(" as :") + 4;
        return text.substr(begin, text.find(',', begin) - begin);
    }

    void End() { m_process.Kill(SIGTERM); }

private:
    ToolProcess m_process{{"check", "--limit=60"}};
};

TEST_F(DeviceCheck, LeavesTheRoleOfTheHostToAnEarlierCheck) {
    WaitingCheck earlier;
    const std::string output = CheckOutput(4, {"--limit=0.3"});
    EXPECT_THAT(output, ContainsRegex("note     hosts     " + earlier.Name() +
                                      " \\(pid [^\n]*\\) is another check: waiting for its end\n"));
    EXPECT_THAT(output, HasSubstr("MISSING  partner   not checked: the check " + earlier.Name() +
                                  " has the role of the host until its end\n"
                                  "                   -> check again after the end of "));
    EXPECT_THAT(output, Not(HasSubstr("MISSING  names")));
}

TEST_F(DeviceCheck, WaitsForTheEndOfAnEarlierCheck) {
    WaitingCheck earlier;
    ToolProcess later({"check", "--limit=30"});
    ASSERT_TRUE(later.WaitFor("is another check: waiting for its end\n"));
    RunningPartner partner;
    earlier.End();
    EXPECT_EQ(later.WaitForExit(), 0) << later.Output();
}

TEST_F(HostCheck, IsNotMisledByACheckUnderWay) {
    const WaitingCheck other;
    const std::string output = CheckHostOutput(1, TemporaryFolder().Path());
    EXPECT_THAT(output, HasSubstr("WRONG    host      no host is on the bus\n"));
    EXPECT_THAT(output, Not(HasSubstr("is owned by")));
}

TEST_F(HostCheck, NamesTheCheckThatHasTakenThePartner) {
    if (PrivateBus::IsBroker()) {
        GTEST_SKIP() << "dbus-broker does not show bindings";
    }
    RunningPartner partner;
    partner.Send("fault silence");
    partner.Send("list");
    ASSERT_TRUE(partner.WaitFor("list: 0 items"));
    ToolProcess check({"check", "--limit=60"});
    ASSERT_TRUE(check.WaitFor("answer from "));
    StartedTool host({"host", SAMPLE_APPLICATIONS}, "no partner yet");
    const std::string output = CheckHostOutput(4, TemporaryFolder().Path());
    EXPECT_THAT(output, HasSubstr("-> check again after the end of this other check\n"));
    EXPECT_THAT(output, Not(HasSubstr("run one host")));
}

TEST_F(PartnerCheck, NamesACheckUnderWay) {
    WaitingCheck other;
    const ToolResult check = RunTool({"check", "partner", "--limit=0.2", "--wait=0"});
    EXPECT_EQ(check.status, 1) << check.output;
    EXPECT_THAT(check.errors, ContainsRegex("the check " + other.Name() +
                                            " \\(pid [^\n]*\\) is on the bus, and a partner "
                                            "serves one host at a time: end this check, and "));
}

TEST_F(DeviceCheck, ReportsAMissingRightToAnnounce) {
    bus.SetPolicy("<deny own=\"org.morva.JavaMW.Applist_CLIENT_ACK\"/>");
    const std::string output = CheckOutput(4, {"--limit=0.2"});
    EXPECT_THAT(output, HasSubstr("MISSING  announce  the bus refuses "
                                  "org.morva.JavaMW.Applist_CLIENT_ACK"));
    EXPECT_THAT(output, HasSubstr("-> write the file below to /etc/dbus-1/system.d/"));
    EXPECT_THAT(output, HasSubstr("MISSING  partner   not checked: the handshake needs the _CLIENT "
                                  "names"));
}

TEST_F(DeviceCheck, AdvisesTheUserOfThePolicyInsteadOfAWiderPolicy) {
    bus.SetPolicy("<deny own=\"org.morva.JavaMW.Applist_CLIENT_ACK\"/>");
    const TemporaryFolder folder;
    folder.Write("host.conf", PolicyFor("nobody", "_CLIENT"));
    const ToolResult check = RunTool({"check", "--limit=0.2", "--policies", folder.Path()});
    EXPECT_EQ(check.status, 4) << check.output;
    EXPECT_THAT(check.output, HasSubstr("-> run this check as user nobody\n"));
    EXPECT_THAT(check.output, Not(HasSubstr("<busconfig>")));
}

// Neither the superuser nor a missing user fits.
TEST_F(DeviceCheck, AdvisesAWiderPolicyWithoutAUserOfThePolicy) {
    bus.SetPolicy("<deny own=\"org.morva.JavaMW.Applist_CLIENT_ACK\"/>");
    const TemporaryFolder folder;
    folder.Write("host.conf", PolicyFor("no-such-user", "_CLIENT"));
    const ToolResult check = RunTool({"check", "--limit=0.2", "--policies", folder.Path()});
    EXPECT_THAT(check.output, HasSubstr("-> write the file below to /etc/dbus-1/system.d/"));
    EXPECT_THAT(check.output, HasSubstr("<busconfig>"));
    EXPECT_THAT(check.output, Not(HasSubstr("run this check as")));
}

// The names of the host are free, and the partner's own name prevents the handshake.
TEST_F(DeviceCheck, NamesThePartnersNameThatIsNotReleased) {
    const TemporaryFolder folder;
    const StartedTool partner(
        {"partner", "--script", folder.Write("script", "fault keep-names\nwait 600\n")},
        "_SERVICE_SYN");
    const std::string output = CheckOutput(4, {"--limit=0.2"});
    EXPECT_THAT(output, HasSubstr("MISSING  names     org.morva.JavaMW.Applist_SERVICE_SYN is "
                                  "owned by "));
    EXPECT_THAT(output, HasSubstr("ok       announce"));
    EXPECT_THAT(output, HasSubstr("MISSING  partner   not checked: the handshake needs the release "
                                  "of _SERVICE_SYN\n"));
    EXPECT_THAT(output, Not(HasSubstr("needs the _CLIENT names")));
}

// The line of a tool about a second partner, which waits for a host.
void ExpectSecondPartner(const std::string& output, ToolProcess& partner) {
    EXPECT_THAT(output, ContainsRegex("WRONG    partners  2 partners are on the bus: [^\n]* is "
                                      "bound to :1[^\n]* is bound to no host\n"));
    EXPECT_THAT(output, HasSubstr("(pid " + partner.Id() + ", "));
    EXPECT_THAT(output, HasSubstr("-> run one partner\n"));
}

TEST_F(DeviceCheck, ReportsASecondPartner) {
    if (PrivateBus::IsBroker()) {
        GTEST_SKIP() << "dbus-broker does not show match rules";
    }
    RunningPartner partner;
    const SampleHost host(partner);
    RunningPartner free;
    ExpectSecondPartner(CheckOutput(4), free);
}

TEST_F(HostCheck, ReportsASecondPartner) {
    if (PrivateBus::IsBroker()) {
        GTEST_SKIP() << "dbus-broker does not show match rules";
    }
    RunningPartner partner;
    const SampleHost host(partner);
    RunningPartner free;
    ExpectSecondPartner(CheckHostOutput(4, TemporaryFolder().Path()), free);
}

TEST_F(DeviceCheck, ReportsAMissingRightToCall) {
    bus.SetPolicy("<deny send_interface=\"org.morva.javamw.DbusCommunication\" "
                  "send_member=\"Send\"/>");
    const std::string output = CheckOutput(4, {"--limit=0.2"});
    EXPECT_THAT(output, HasSubstr("MISSING  send      Send to itself: the reply is the "
                                  "error org.freedesktop.DBus.Error.AccessDenied"));
    EXPECT_THAT(output, HasSubstr("ok       signal"));
}

TEST_F(DeviceCheck, ReportsAMissingRightToSignal) {
    bus.SetPolicy("<deny send_interface=\"org.morva.javamw.DbusCommunication\" "
                  "send_member=\"SendSignal\"/>");
    const std::string output = CheckOutput(4, {"--limit=0.2"});
    EXPECT_THAT(output, HasSubstr("ok       send"));
    EXPECT_THAT(output, HasSubstr("MISSING  signal    SendSignal to itself"));
}

TEST_F(DeviceCheck, ReportsARequestWithoutAReply) {
    ToolProcess partner({"partner"});
    partner.Send("fault silence");
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN"));
    partner.Send("list");
    ASSERT_TRUE(partner.WaitFor("list: 0 items"));
    const std::string output = CheckOutput(4, {"--limit=0.3"});
    EXPECT_THAT(output, HasSubstr("MISSING  answer    2001 to "));
    EXPECT_THAT(output, HasSubstr("no reply within 0.3 s"));
}

TEST_F(DeviceCheck, ReportsAMissingNotificationOfThePartner) {
    RunningPartner partner;
    partner.Send("fault no-created");
    partner.Send("list");
    ASSERT_TRUE(partner.WaitFor("list: 0 items"));
    EXPECT_THAT(CheckOutput(4, {"--limit=0.3"}),
                HasSubstr("MISSING  list      no notification 4 within 0.3 s"));
}

TEST_F(DeviceCheck, ReportsAStoppedPartner) {
    RunningPartner partner;
    partner.Stop();
    const std::string output = CheckOutput(4, {"--limit=0.3"});
    EXPECT_THAT(
        output,
        ContainsRegex("MISSING  partner   no answer to _CLIENT_SYN within 0.3 s: [^\n]*:1.[0-9]+ "
                      "\\(pid " +
                      partner.Id() + ", user [^\n]*\\)[^\n]* is stopped\n"));
    EXPECT_THAT(output, HasSubstr("-> let it continue: kill -CONT " + partner.Id()));
}

TEST_F(DeviceCheck, ReportsAStoppedHost) {
    RunningPartner partner;
    SampleHost host(partner);
    host.Stop();
    EXPECT_THAT(
        CheckOutput(4, {"--limit=0.3"}),
        ContainsRegex("note     hosts     [^\n]* is a host on the bus[^\n]*; it is stopped: "
                      "let it continue \\(kill -CONT " +
                      host.Id() + "\\)\n"));
}

TEST_F(DeviceCheck, ReportsAFreePartnerThatDoesNotAnswer) {
    RunningPartner partner;
    partner.Send("fault no-syn-ack");
    partner.Send("list");
    ASSERT_TRUE(partner.WaitFor("list: 0 items"));
    const std::string output = CheckOutput(4, {"--limit=1.5"});
    EXPECT_THAT(output, ContainsRegex("s: the partner :1.[0-9]+ \\(pid [^\n]*\\) is bound "
                                      "to no host\n"));
    EXPECT_THAT(output, HasSubstr("the refused process receives the reason"));
}

// A partner on a bus without visible match rules.
TEST_F(DeviceCheck, ReportsAStoppedPartnerWithoutMatchRules) {
    bus.SetPolicy("<deny send_interface='org.freedesktop.DBus.Debug.Stats'/>");
    RunningPartner partner;
    partner.Stop();
    EXPECT_THAT(CheckOutput(4, {"--limit=0.3"}),
                HasSubstr("which may be the partner, is stopped\n"));
}

TEST_F(DeviceCheck, ReportsThatAPartnerMayServeAnotherHostWithoutMatchRules) {
    bus.SetPolicy("<deny send_interface='org.freedesktop.DBus.Debug.Stats'/>");
    RunningPartner partner;
    const SampleHost host(partner);
    const std::string output = CheckOutput(4, {"--limit=0.3"});
    EXPECT_THAT(output, ContainsRegex(":1\\.[0-9]+, which may be the partner, may be bound to "
                                      "another host\n"));
    EXPECT_THAT(output, HasSubstr(geteuid() == 0 ? "or start \"applistctl monitor\" before"
                                                 : "or run this check as root"));
    EXPECT_THAT(output, ContainsRegex("\\(pid " + partner.Id() +
                                      ", [^\n]*\\) is a host or a partner on the bus\n"));
    EXPECT_THAT(output,
                ContainsRegex("\\(pid " + host.Id() + ", [^\n]*\\) is a host on the bus\n"));
}

TEST_F(DeviceCheck, NamesTheProcessesOfUnknownRolesWithoutMatchRules) {
    bus.SetPolicy(DENY_RULES);
    RunningPartner partner;
    RunningPartner other;
    const std::string output = CheckOutput(0);
    EXPECT_THAT(output, HasSubstr(" are hosts or partners on the bus\n"));
    EXPECT_THAT(output, HasSubstr("note     partners  not counted: "));
}

// /proc shows the library in a process of the same user.
TEST_F(DeviceCheck, DoesNotTakeAHostForAPartnerWithoutMatchRules) {
    bus.SetPolicy(DENY_RULES);
    const StartedTool host({"host", SAMPLE_APPLICATIONS}, "no partner yet");
    const std::string output = CheckOutput(4, {"--limit=0.3"});
    EXPECT_THAT(output, HasSubstr("s: no partner is on the bus\n"));
    EXPECT_THAT(output, Not(HasSubstr("may be the partner")));
}

TEST_F(DeviceCheck, DoesNotClaimTheAbsenceOfAPartnerThatThePolicyHides) {
    bus.SetPolicy(std::string(DENY_RULES) + DENY_SEND + DENY_INTROSPECTION);
    const RawHost other(bus);
    const std::string output = CheckOutput(4, {"--limit=0.2"});
    EXPECT_THAT(output, HasSubstr("s: a partner may be on the bus, whose policy refuses user "));
    EXPECT_THAT(output, Not(HasSubstr("no partner is on the bus")));
}

TEST_F(HostCheck, RefersToTheLogOnlyOfARunningHost) {
    EXPECT_THAT(CheckHostOutput(1, TemporaryFolder().Path()),
                HasSubstr("-> start the host; if it runs already, see its log (journalctl -t "
                          "applist)\n"));
}

TEST_F(HostCheck, DoesNotClaimTheAbsenceOfAHostThatThePolicyHides) {
    bus.SetPolicy(std::string(DENY_RULES) + DENY_SEND + DENY_INTROSPECTION);
    const RawHost host(bus);
    const TemporaryFolder folder;
    const std::string file = folder.Write("applist.conf", PolicyFor("nobody", "_SERVICE"));
    const std::string output = CheckHostOutput(4, folder.Path());
    const std::string user = g_get_user_name();
    EXPECT_THAT(output, HasSubstr("WRONG    host      unknown: a host may be on the bus, whose "
                                  "policy refuses user " +
                                  user + " every call to "));
    EXPECT_THAT(output, HasSubstr("; " + file + " names user nobody for the partner, and you are " +
                                  user + "\n"));
    EXPECT_THAT(output, HasSubstr("-> run this check as user nobody\n"));
    EXPECT_THAT(output, Not(HasSubstr("no host is on the bus")));
}

// The bus refuses the names of this host, which this check cannot see.
TEST_F(HostCheck, NamesThePolicyOfAnotherUserForAnUnboundHost) {
    if (PrivateBus::IsBroker()) {
        GTEST_SKIP() << "dbus-broker does not show match rules";
    }
    const TemporaryFolder folder;
    folder.Write("applist.conf", "<busconfig><policy user='games'><allow own='org.morva.JavaMW."
                                 "Applist_CLIENT_SYN'/></policy></busconfig>");
    RunningPartner partner;
    for (const char* const fault : {"fault no-syn", "fault no-host-syn"}) {
        partner.Send(fault);
    }
    partner.Send("list");
    ASSERT_TRUE(partner.WaitFor("list: 0 items"));
    const StartedTool host({"host", SAMPLE_APPLICATIONS}, "no partner yet");
    EXPECT_THAT(CheckHostOutput(4, folder.Path()),
                HasSubstr("-> the installed policy names user games for the host, and not user "));
    EXPECT_THAT(CheckHostOutput(4, TemporaryFolder().Path()),
                HasSubstr("-> restart the partner\n"));
}

TEST_F(HostCheck, DoesNotTakeAPartnerForAHostWithoutMatchRules) {
    bus.SetPolicy(DENY_RULES);
    const RunningPartner partner;
    const std::string output = CheckHostOutput(4, TemporaryFolder().Path());
    EXPECT_THAT(output,
                ContainsRegex("note     host      :1\\.[0-9]+ \\(pid " + partner.Id() +
                              ", [^\n]*\\), a host or a partner: the bus shows no rules\n"));
    EXPECT_THAT(output,
                HasSubstr("WRONG    host      unknown: the bus shows no rules, and no "
                          "process on the bus is known to have libapplist.so in its memory\n"
                          "                   -> start the host; "));
    EXPECT_THAT(output, Not(HasSubstr("ok       host")));
}

TEST_F(HostCheck, FindsAHostOfItsUserThatThePolicyHides) {
    bus.SetPolicy(std::string(DENY_RULES) + DENY_SEND + DENY_INTROSPECTION);
    StartedTool host({"host", SAMPLE_APPLICATIONS}, "no partner yet");
    EXPECT_THAT(CheckHostOutput(4, TemporaryFolder().Path()),
                ContainsRegex("ok       host      :1\\.[0-9]+ \\(pid " + host.Id() + ", "));
}

// The bus answers instead of the host, whose loop is not at fault.
TEST_F(HostCheck, NamesTheMissingPolicyInsteadOfTheLoop) {
    bus.SetPolicy(DENY_SEND);
    StartedTool host({"host", SAMPLE_APPLICATIONS}, "no partner yet");
    const TemporaryFolder folder;
    const std::string output = CheckHostOutput(4, folder.Path());
    EXPECT_THAT(output, HasSubstr("note     loop      not checked: the bus's policy refuses the "
                                  "call\n"));
    EXPECT_THAT(output, HasSubstr("may not call Send, which checks the loop; no policy in " +
                                  folder.Path() + " names a user for the host or the partner\n"));
    EXPECT_THAT(output, HasSubstr("<policy user=\"" + std::string(g_get_user_name()) + "\">"));
    EXPECT_THAT(output, Not(HasSubstr("WRONG    loop")));
    EXPECT_THAT(output, HasSubstr("binding "));
}

// The user of a host may call it, and may read the state of its threads.
TEST_F(HostCheck, AdvisesTheUserOfTheHostBeforeThatOfThePartner) {
    bus.SetPolicy(DENY_SEND);
    const RawHost host(bus);
    const TemporaryFolder folder;
    folder.Write("a.conf", PolicyFor("nobody", "_SERVICE"));
    folder.Write("b.conf", PolicyFor("daemon", "_CLIENT"));
    EXPECT_THAT(CheckHostOutput(4, folder.Path()), HasSubstr("-> run this check as user daemon\n"));
}

TEST_F(DeviceCheck, NamesAMalformedPolicy) {
    bus.SetPolicy("<deny own='org.morva.JavaMW.Applist_CLIENT_SYN'/>");
    const TemporaryFolder folder;
    const std::string file = folder.Write(
        "applist.conf", "<busconfig><policy><allow own='org.morva.JavaMW.Applist_CLIENT_SYN'>");
    folder.Write("other.conf", "<busconfig>");
    const ToolResult check = RunTool({"check", "--limit=0.2", "--policies=" + folder.Path()});
    EXPECT_EQ(check.status, 4);
    EXPECT_THAT(check.output, HasSubstr("; " + file + " is malformed: "));
    EXPECT_THAT(check.output, Not(HasSubstr("other.conf")));
}

// The partner is still bound to a host that has left the bus.
class PartnerOfALostHost : public BusTest {
protected:
    void StartHosts(RunningPartner& partner) {
        { const SampleHost first(partner); }
        m_next = std::make_unique<StartedTool>(
            std::vector<std::string>{"host", SAMPLE_APPLICATIONS}, "no partner yet");
    }

    std::unique_ptr<StartedTool> m_next;
};

TEST_F(PartnerOfALostHost, IsToBeRestarted) {
    if (PrivateBus::IsBroker()) {
        GTEST_SKIP() << "dbus-broker does not show bindings";
    }
    RunningPartner partner;
    partner.Send("fault keep-host");
    StartHosts(partner);
    const std::string host = CheckHostOutput(4, TemporaryFolder().Path());
    EXPECT_THAT(host, ContainsRegex(", which has left the bus\n +-> restart the partner\n"));
    EXPECT_THAT(host, Not(HasSubstr("run one host")));
    const std::string device = CheckOutput(4, {"--limit=0.3"});
    EXPECT_THAT(device, ContainsRegex(", which has left the bus\n +-> restart the partner\n"));
}

TEST_F(PartnerOfALostHost, IsToBeContinuedIfItIsStopped) {
    if (PrivateBus::IsBroker()) {
        GTEST_SKIP() << "dbus-broker does not show bindings";
    }
    RunningPartner partner;
    {
        const SampleHost first(partner);
        partner.Stop();
    }
    StartedTool next({"host", SAMPLE_APPLICATIONS}, "no partner yet");
    const std::string output = CheckHostOutput(4, TemporaryFolder().Path());
    EXPECT_THAT(output, HasSubstr("-> see \"partner\" below\n"));
    EXPECT_THAT(output, HasSubstr("-> let it continue: kill -CONT " + partner.Id()));
}

// A bound partner announces itself until the first request of its host.
TEST_F(DeviceCheck, ClaimsNoFreePartnerWithoutMatchRules) {
    bus.SetPolicy(DENY_RULES);
    StartedTool host({"host", SAMPLE_APPLICATIONS}, "no partner yet");
    ToolProcess partner({"partner"});
    partner.Send("fault no-ack");
    ASSERT_TRUE(partner.WaitFor("this host is bound to a partner"));
    const std::string output = CheckOutput(4, {"--limit=2.5"});
    EXPECT_THAT(output, HasSubstr("may be bound to another host\n"));
    EXPECT_THAT(output, Not(HasSubstr("is bound to no host")));
}

TEST_F(HostCheck, AdvisesOneHostToTwoHostsOfOnePartner) {
    if (PrivateBus::IsBroker()) {
        GTEST_SKIP() << "dbus-broker does not show bindings";
    }
    StartedTool first({"host", SAMPLE_APPLICATIONS}, "no partner yet");
    StartedTool second({"host", SAMPLE_APPLICATIONS}, "no partner yet");
    RunningPartner partner;
    ASSERT_TRUE(partner.WaitFor("is the host of this partner"));
    const std::string output = CheckHostOutput(5, TemporaryFolder().Path());
    EXPECT_THAT(output, HasSubstr("-> run one host\n"));
    EXPECT_THAT(output, Not(HasSubstr("restart the host")));
}

TEST_F(HostCheck, AdvisesAReloadToAUserThatThePolicyNames) {
    bus.SetPolicy(DENY_SEND);
    const RawHost host(bus);
    const TemporaryFolder folder;
    folder.Write("applist.conf", PolicyFor(g_get_user_name(), "_CLIENT"));
    const std::string name = host.UniqueName();
    const ToolResult check = RunTool({"check", "host", name, "--policies=" + folder.Path()});
    EXPECT_EQ(check.status, 4) << check.output;
    EXPECT_THAT(check.output, HasSubstr("-> let the bus reload its configuration"));
}

TEST_F(DeviceCheck, NamesTheProcessOfThePartnerThatAnswers) {
    RunningPartner partner;
    EXPECT_THAT(CheckOutput(0),
                ContainsRegex("answer from :1.[0-9]+ \\(pid " + partner.Id() + ", user "));
}

std::size_t CountOf(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

// The output has several lines about the partner and its host.
TEST_F(DeviceCheck, NamesEachProcessOnce) {
    RunningPartner partner;
    const SampleHost host(partner);
    const std::string text = CheckOutput(4, {"--limit=0.3"});
    const std::size_t start = text.find(" (pid " + partner.Id() + ", user ");
    ASSERT_NE(start, std::string::npos) << text;
    const std::size_t name = text.rfind(' ', start - 1);
    EXPECT_GT(CountOf(text, text.substr(name, start - name)), 1U) << text;
    EXPECT_EQ(CountOf(text, "(pid " + partner.Id() + ","), 1U) << text;
}

// A process chooses its own name.
TEST_F(PartnerTool, ShowsControlCharactersInTheNameOfAProcessAsText) {
    char name[16] = "";
    prctl(PR_GET_NAME, name);
    prctl(PR_SET_NAME, "a\x1b[2Jb");
    RunningPartner partner;
    RawHost host(bus);
    EXPECT_TRUE(host.Connect());
    EXPECT_TRUE(partner.WaitFor(", a\\x1b[2Jb\n"));
    prctl(PR_SET_NAME, name);
}

TEST_F(PartnerTool, NamesTheProcessOfACheckOnce) {
    RunningPartner partner;
    CheckOutput(0);
    ASSERT_TRUE(partner.WaitFor("lost the check :1."));
    EXPECT_THAT(partner.Output(), Not(HasSubstr("lost the host")));
    EXPECT_THAT(partner.Output(), ContainsRegex("the check :1.[0-9]+ is pid [0-9]+, user [^,]+, "
                                                "applistctl\n"));
    EXPECT_EQ(partner.Output().find(" is pid "), partner.Output().rfind(" is pid "));
}

// "check partner" of a good partner that has a host: the partner does not answer the check.
void ExpectNoBlame(const ToolResult& check) {
    EXPECT_EQ(check.status, 1);
    EXPECT_THAT(check.output, Not(HasSubstr("Please start")));
    EXPECT_THAT(check.output, Not(HasSubstr("BROKEN")));
}

TEST_F(PartnerCheck, NamesTheHostThatIsBoundToThePartner) {
    if (PrivateBus::IsBroker()) {
        GTEST_SKIP() << "dbus-broker does not show bindings";
    }
    RunningPartner partner;
    const SampleHost host(partner);
    for (const char* const option : {"--wait=0.2", "--restart=exit 0"}) {
        const ToolResult check = RunTool({"check", "partner", "--limit=0.2", option});
        ExpectNoBlame(check);
        EXPECT_THAT(check.errors,
                    ContainsRegex("the partner :1\\.[0-9]+ \\(pid " + partner.Id() +
                                  ", [^\n]*\\) is bound to the host :1\\.[0-9]+ \\(pid " +
                                  host.Id() + ", [^\n]*\\): end this host, and check again\n"));
    }
}

TEST_F(PartnerCheck, FindsAHostWithoutMatchRules) {
    bus.SetPolicy(DENY_RULES);
    RunningPartner partner;
    const SampleHost host(partner);
    ToolProcess check({"check", "partner", "--limit=0.5", "--wait=0"});
    EXPECT_EQ(check.WaitForExit(), 1) << check.Output();
    EXPECT_THAT(check.Errors(), ContainsRegex("the host :1\\.[0-9]+ \\(pid " + host.Id() +
                                              ", [^\n]*\\) is on the bus"));
}

TEST_F(PartnerCheck, NamesTheHostsAndPartnersWithoutMatchRules) {
    bus.SetPolicy(DENY_RULES);
    RunningPartner partner;
    RunningPartner other;
    for (RunningPartner* const silent : {&partner, &other}) {
        for (const char* const fault : {"fault no-syn", "fault no-host-syn", "fault no-ack"}) {
            silent->Send(fault);
        }
        silent->Send("list");
        ASSERT_TRUE(silent->WaitFor("list: 0 items"));
    }
    const ToolResult check = RunTool({"check", "partner", "--limit=0.2", "--wait=0.2"});
    ExpectNoBlame(check);
    EXPECT_THAT(check.errors, HasSubstr("(pid " + partner.Id() + ", "));
    EXPECT_THAT(check.errors, HasSubstr("(pid " + other.Id() + ", "));
    EXPECT_THAT(check.errors, HasSubstr(" are hosts or partners on the bus, and a partner that is "
                                        "bound to another host does not answer: end "));
}

// The duties after the stop are not at fault.
TEST_F(PartnerCheck, EndsWhenThePartnerIsStopped) {
    const TemporaryFolder folder;
    StartedTool partner(
        {"partner", "--script", folder.Write("script", "fault silence append\nwait 600\n")},
        "_SERVICE_SYN");
    const std::string file = folder.Path() + "/results";
    ToolProcess check(
        {"check", "partner", "--wait=0", "--limit=2", "--only=request-append", "--junit", file});
    ASSERT_TRUE(partner.WaitFor("APPLIST_ADD_ITEM_AT_END_FNC"));
    partner.Stop();
    EXPECT_EQ(check.WaitForExit(), 1);
    EXPECT_THAT(check.Errors(), ContainsRegex("the partner :1\\.[0-9]+ \\(pid " + partner.Id() +
                                              ", [^\n]*\\) is stopped: let it continue \\(kill "
                                              "-CONT " +
                                              partner.Id() + "\\), and check again\n"));
    EXPECT_THAT(check.Output(), Not(HasSubstr("BROKEN")));
    std::stringstream results;
    results << std::ifstream(file).rdbuf();
    EXPECT_THAT(results.str(),
                HasSubstr("<skipped message=\"not seen: the partner was stopped\"/>"));
}

TEST_F(PartnerCheck, ReportsAPartnerThatIsStoppedFromTheStart) {
    if (PrivateBus::IsBroker()) {
        GTEST_SKIP() << "dbus-broker does not show match rules";
    }
    RunningPartner partner;
    partner.Stop();
    const ToolResult check = RunTool({"check", "partner", "--wait=0", "--limit=0.2"});
    EXPECT_EQ(check.status, 1);
    EXPECT_THAT(check.errors, HasSubstr(") is stopped: let it continue (kill -CONT " +
                                        partner.Id() + "), and check again\n"));
}

TEST_F(PartnerCheck, EndsWhenAHostAppearsDuringTheCheck) {
    ToolProcess check({"check", "partner", "--limit=0.2", "--wait=60"});
    ASSERT_TRUE(check.WaitFor("Please start the partner"));
    RawHost host(bus);
    host.Announce("_SYN");
    EXPECT_EQ(check.WaitForExit(), 1);
    EXPECT_THAT(check.Errors(),
                ContainsRegex("the host " + host.UniqueName() +
                              " \\(pid [^\n]*\\) has announced _CLIENT_SYN during the check: end "
                              "this host, and check again\n"));
    EXPECT_THAT(check.Output(), Not(HasSubstr("BROKEN")));
}

// Duties that another process fulfils prove nothing.
void ExpectSeveralPartners(ToolProcess& check, const std::string& firstPid,
                           const std::string& secondPid) {
    EXPECT_EQ(check.WaitForExit(), 1);
    EXPECT_THAT(check.Errors(),
                ContainsRegex("check partner: 2 partners are on the bus: :1\\.[0-9]+ \\(pid (" +
                              firstPid + "|" + secondPid + "), [^\n]*\\), :1\\.[0-9]+ \\(pid (" +
                              firstPid + "|" + secondPid +
                              "), [^\n]*\\): run one partner, and check again\n"));
    EXPECT_EQ(check.Errors().find("run one partner"), check.Errors().rfind("run one partner"));
    EXPECT_THAT(check.Output(), Not(HasSubstr("BROKEN")));
}

TEST_F(PartnerCheck, EndsWithTwoPartners) {
    const RunningPartner first;
    const RunningPartner second;
    ToolProcess check({"check", "partner", "--wait=0", "--only=answers-syn,request-add"});
    ExpectSeveralPartners(check, first.Id(), second.Id());
    EXPECT_THAT(check.Output(), Not(HasSubstr("passed  ")));
}

TEST_F(PartnerCheck, EndsWhenASecondPartnerAnnouncesItself) {
    const RunningPartner first;
    TestPartner second(bus, false);
    ToolProcess check({"check", "partner", "--wait=0.5", "--only=notification-change"});
    ASSERT_TRUE(check.WaitFor("Please select an item"));
    second.Announce("_SYN");
    ExpectSeveralPartners(check, first.Id(), std::to_string(getpid()));
}

TEST_F(PartnerCheck, EndsWhenAnotherProcessSendsANotification) {
    ToolProcess check({"check", "partner", "--limit=0.2", "--wait=60", "--only=request-add"});
    ASSERT_TRUE(check.WaitFor("Please start the partner"));
    TestPartner second(bus, false);
    g_dbus_connection_emit_signal(second.Connection(), nullptr, PATH, INTERFACE, "SendSignal",
                                  ByteBody("abc"), nullptr);
    g_dbus_connection_flush_sync(second.Connection(), nullptr, nullptr);
    const RunningPartner first;
    ExpectSeveralPartners(check, first.Id(), std::to_string(getpid()));
}

constexpr const char* BUS_IS_GONE = ": the bus is gone: the bus daemon has closed the connection\n";

TEST_F(DeviceCheck, EndsWithTheBus) {
    ToolProcess check({"check", "--limit=1"});
    ASSERT_TRUE(check.WaitFor("SendSignal is delivered"));
    bus.Kill();
    EXPECT_EQ(check.WaitForExit(), 3);
    EXPECT_THAT(check.Errors(), HasSubstr("check" + std::string(BUS_IS_GONE)));
    EXPECT_THAT(check.Output(), Not(HasSubstr("MISSING")));
}

// The host waits for the reply of the stopped partner, so that its loop does not reply to the
// check.
TEST_F(HostCheck, EndsWithTheBus) {
    RunningPartner partner;
    SampleHost host(partner);
    partner.Stop();
    host.Send("add radio.desktop Radio");
    ASSERT_TRUE(host.WaitFor("-> AddItemAtEnd"));
    ToolProcess check({"check", "host", "--limit=1"});
    ASSERT_TRUE(check.WaitFor("Peer.Ping answered"));
    bus.Kill();
    EXPECT_EQ(check.WaitForExit(), 3);
    EXPECT_THAT(check.Errors(), HasSubstr("check host" + std::string(BUS_IS_GONE)));
    EXPECT_THAT(check.Output(), Not(HasSubstr("WRONG")));
    partner.Continue();
}

TEST_F(PartnerCheck, ReportsAPartnerThatAnswersTheSecondStepAlone) {
    RunningPartner partner;
    for (const char* const fault : {"fault no-syn", "fault no-syn-ack"}) {
        partner.Send(fault);
    }
    partner.Send("list");
    ASSERT_TRUE(partner.WaitFor("list: 0 items"));
    ToolProcess check({"check", "partner", "--limit=0.7", "--wait=0", "--only=answers-syn"});
    EXPECT_EQ(check.WaitForExit(), 4) << check.Output() << check.Errors();
    EXPECT_THAT(check.Output(), HasSubstr("no _SERVICE_SYN_ACK within 0.7 s"));
}

TEST_F(PartnerCheck, ClaimsNoEndOfAPartnerThatDoesNotAnnounceItselfAgain) {
    RunningPartner partner;
    partner.Send("fault no-repeat-free");
    partner.Send("list");
    ASSERT_TRUE(partner.WaitFor("list: 0 items"));
    ToolProcess check({"check", "partner", "--limit=0.7", "--wait=0", "--only=works-with-library"});
    EXPECT_EQ(check.WaitForExit(), 0) << check.Output() << check.Errors();
    EXPECT_THAT(check.Output(), HasSubstr("the partner had not announced itself again"));
    EXPECT_THAT(check.Output(), Not(HasSubstr("left the bus")));
}

TEST_F(PartnerCheck, EndsWithTheBus) {
    RunningPartner partner;
    ToolProcess check({"check", "partner", "--limit=0.5", "--wait=0"});
    ASSERT_TRUE(check.WaitFor("passed"));
    bus.Kill();
    EXPECT_EQ(check.WaitForExit(), 3);
    EXPECT_THAT(check.Errors(), ContainsRegex("check partner: (the bus is gone|no bus): "));
    EXPECT_THAT(check.Output(), HasSubstr("duties not checked: the bus was gone\n"));
    EXPECT_THAT(check.Output(), Not(HasSubstr("BROKEN")));
}

TEST_F(DeviceCheck, EndsWithABusDaemonThatStops) {
    ToolProcess check({"check", "--limit=1"});
    ASSERT_TRUE(check.WaitFor("SendSignal is delivered"));
    const pid_t daemon = BusDaemon::Process(SharedBus().Connection());
    kill(daemon, SIGSTOP);
    EXPECT_EQ(check.WaitForExit(), 3);
    EXPECT_THAT(
        check.Errors(),
        HasSubstr("check: the bus daemon sends no reply within 10 s: the daemon is stopped"));
    EXPECT_THAT(check.Output(), Not(HasSubstr("MISSING")));
    kill(daemon, SIGCONT);
}

// A partner behind a daemon that stops for some seconds has no fault.
TEST_F(DeviceCheck, BlamesNobodyForABusDaemonThatRepliesLate) {
    RunningPartner partner;
    const SampleHost host(partner);
    ToolProcess check({"check", "--limit=0.5"});
    ASSERT_TRUE(check.WaitFor("SendSignal is delivered"));
    const pid_t daemon = BusDaemon::Process(SharedBus().Connection());
    kill(daemon, SIGSTOP);
    g_usleep(3 * G_USEC_PER_SEC); // the check has no other sign of its next step
    kill(daemon, SIGCONT);
    EXPECT_EQ(check.WaitForExit(), 3) << check.Output();
    EXPECT_THAT(check.Errors(), ContainsRegex("check: the bus daemon sent no reply for [0-9]+ ms, "
                                              "and a finding of this time may be wrong"));
    EXPECT_THAT(check.Output(), Not(HasSubstr("MISSING")));
}

TEST_F(DeviceCheck, ReportsAMissingBus) {
    bus.Kill();
    const std::string output = CheckOutput(3);
    EXPECT_THAT(output, HasSubstr("MISSING  bus"));
    EXPECT_THAT(output, HasSubstr("-> check that the bus daemon runs, and that "
                                  "DBUS_SYSTEM_BUS_ADDRESS is unset or correct\n"));
}

TEST_F(DeviceCheck, NamesTheOptionThatGaveTheAddressOfAMissingBus) {
    const std::string output = CheckOutput(3, {"--bus=unix:path=/nonexistent/bus"});
    EXPECT_THAT(output, HasSubstr("-> check that the bus daemon runs, and that the address after "
                                  "--bus is correct\n"));
    EXPECT_THAT(output, Not(HasSubstr("DBUS_SYSTEM_BUS_ADDRESS")));
}

} // namespace
