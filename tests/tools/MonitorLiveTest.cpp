// "applistctl monitor" on a bus with a host and a partner, and captures of other programs there.
#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "BusDaemon.h"
#include "BusTest.h"
#include "CaptureProcess.h"
#include "NamedRow.h"
#include "RawHost.h"
#include "SharedBus.h"
#include "TemporaryFolder.h"
#include "Terminal.h"
#include "ToolProcess.h"

using testing::ContainsRegex, testing::HasSubstr, testing::Not;

namespace {

using MonitorLive = BusTest;

std::size_t Count(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

TEST_F(MonitorLive, PrintsHandshakeRequestsAndNotifications) {
    RunningMonitor monitor;
    RunningPartner partner;
    ToolProcess host({"host", SAMPLE_APPLICATIONS});
    EXPECT_TRUE(monitor.WaitFor("_SERVICE_SYN: a partner announces itself"));
    EXPECT_TRUE(monitor.WaitFor("_CLIENT_SYN: a host has started"));
    EXPECT_TRUE(monitor.WaitFor("== connected: host "));
    EXPECT_TRUE(monitor.WaitFor("APPLIST_LOCAL_CREATED_EVENT (4)"));
    EXPECT_TRUE(monitor.WaitFor("APPLIST_ADD_ITEMS_FNC (2004): 5 items\n     Calculator"));
    EXPECT_TRUE(monitor.WaitFor("answered after "));
    partner.Send("select 2");
    EXPECT_TRUE(monitor.WaitFor("APPLIST_ITEM_SELECTION_EVENT (2)"));
    EXPECT_TRUE(monitor.WaitFor("answered with Clock (clock.desktop) after "));
    host.CloseInput();
    EXPECT_TRUE(monitor.WaitFor(" has left the bus"));
    EXPECT_EQ(monitor.Interrupt(), 0) << monitor.Output();
    EXPECT_THAT(monitor.Output(), HasSubstr("handshakes: 1 completed, 0 problems"));
    EXPECT_THAT(monitor.Output(), ContainsRegex("APPLIST_GET_SELECTION_FNC \\(2001\\) +1 "));
}

// The bus delivers a broadcast to all processes, and its message names none of them.
TEST_F(MonitorLive, ReportsNoFaultBesideAPartnerThatBroadcasts) {
    RunningMonitor monitor;
    RunningPartner partner;
    partner.Send("fault broadcast");
    ToolProcess host({"host", SAMPLE_APPLICATIONS});
    ASSERT_TRUE(monitor.WaitFor("~> all processes  APPLIST_LOCAL_CREATED_EVENT (4)"));
    ASSERT_TRUE(monitor.WaitFor("#1 answered after "));
    partner.Send("select 2");
    ASSERT_TRUE(monitor.WaitFor("answered with Clock (clock.desktop) after "));
    // Longer than the time limit of a reaction.
    partner.Send("wait 1.5");
    partner.Send("click 1");
    ASSERT_TRUE(monitor.WaitFor("APPLIST_ITEM_CLICKED_EVENT (3)"));
    EXPECT_EQ(monitor.Interrupt(), 0) << monitor.Output();
    EXPECT_EQ(Count(monitor.Output(), "== connected: host :1"), 1U) << monitor.Output();
    for (const char* const untruth : {"!!", "host  ", "sent no list"}) {
        EXPECT_THAT(monitor.Output(), Not(HasSubstr(untruth)));
    }
}

// A partner may broadcast to a check, too.
TEST_F(MonitorLive, FindsNoHostBesideACheckOfAPartnerThatBroadcasts) {
    RunningMonitor monitor;
    RunningPartner partner;
    partner.Send("fault broadcast");
    ToolProcess check({"check"});
    EXPECT_EQ(check.WaitForExit(), 0) << check.Output();
    ASSERT_TRUE(monitor.WaitFor("== the check :"));
    EXPECT_EQ(monitor.Interrupt(), 0) << monitor.Output();
    EXPECT_THAT(monitor.Output(), Not(HasSubstr("== connected")));
    EXPECT_THAT(monitor.Output(), Not(HasSubstr("host  ")));
}

TEST_F(MonitorLive, FindsAPairThatIsAlreadyConnected) {
    RunningPartner partner;
    SampleHost host(partner);
    StartedTool monitor({"monitor", "--count=1"}, "watching the bus at");
    partner.Send("change");
    EXPECT_EQ(monitor.WaitForExit(), 0);
    EXPECT_THAT(monitor.Output(), HasSubstr("their handshake was before the start of the monitor"));
    EXPECT_THAT(monitor.Output(), HasSubstr("APPLIST_ITEM_CHANGE_EVENT (1)"));
}

// This user, as the tools name it.
std::string User() {
    return ", user " + std::string(g_get_user_name()) + ", applistctl\n";
}

TEST_F(MonitorLive, NamesTheProcessOfEachPartyOnce) {
    RunningMonitor monitor;
    RunningPartner partner;
    ToolProcess host({"host", SAMPLE_APPLICATIONS});
    ASSERT_TRUE(monitor.WaitFor("#1 answered"));
    EXPECT_EQ(monitor.Interrupt(), 0);
    const std::string& text = monitor.Output();
    EXPECT_THAT(text, ContainsRegex("== host :1\\.[0-9]+ is pid " + host.Id() + User()));
    EXPECT_THAT(text, ContainsRegex("== partner :1\\.[0-9]+ is pid " + partner.Id() + User()));
    EXPECT_EQ(Count(text, " is pid "), 2U) << text;
}

TEST_F(MonitorLive, NamesTheProcessesToPrograms) {
    StartedTool monitor({"monitor", "--json"}, "watching the bus at");
    ToolProcess partner({"partner"});
    ASSERT_TRUE(monitor.WaitFor("identified"));
    ASSERT_TRUE(monitor.WaitFor("\n"));
    EXPECT_THAT(monitor.Output(),
                HasSubstr("\"side\":\"partner\",\"pid\":" + partner.Id() + ",\"user\":\"" +
                          g_get_user_name() + "\",\"program\":\"applistctl\""));
}

TEST_F(MonitorLive, DoesNotCountACheckAsAHost) {
    RunningMonitor monitor;
    RunningPartner partner;
    ToolProcess check({"check"});
    EXPECT_EQ(check.WaitForExit(), 0) << check.Output();
    ASSERT_TRUE(monitor.WaitFor("== the check :"));
    EXPECT_EQ(monitor.Interrupt(), 0) << monitor.Output();
    EXPECT_THAT(monitor.Output(), ContainsRegex("== check :1\\.[0-9]+ is pid [0-9]+" + User()));
    for (const char* const untruth : {"!!", "connected", "host :1", "talk: "}) {
        EXPECT_THAT(monitor.Output(), Not(HasSubstr(untruth)));
    }
}

TEST_F(MonitorLive, DoesNotCountACheckAsASecondHost) {
    RunningMonitor monitor;
    RunningPartner partner;
    ToolProcess host({"host", SAMPLE_APPLICATIONS});
    ASSERT_TRUE(monitor.WaitFor("#1 answered"));
    ToolProcess check({"check", "--limit=0.3"});
    EXPECT_EQ(check.WaitForExit(), 4);
    ASSERT_TRUE(monitor.WaitFor("== the check :"));
    EXPECT_EQ(monitor.Interrupt(), 0) << monitor.Output();
    EXPECT_EQ(Count(monitor.Output(), "== connected: "), 1U) << monitor.Output();
}

// The mark of this check was sent before the start of the monitor.
TEST_F(MonitorLive, DoesNotCountACheckFromBeforeItsStart) {
    ToolProcess check({"check", "--limit=60"});
    ASSERT_TRUE(check.WaitFor("SendSignal is delivered"));
    const ToolResult monitor = RunTool({"monitor", "--seconds=3"});
    EXPECT_EQ(monitor.status, 0) << monitor.output;
    EXPECT_THAT(monitor.output,
                ContainsRegex("== check :1\\.[0-9]+ is pid " + check.Id() + User()));
    EXPECT_THAT(monitor.output, Not(HasSubstr("host :1")));
    EXPECT_THAT(monitor.output, Not(HasSubstr("!!")));
}

TEST_F(MonitorLive, ClaimsNoConnectionOfABoundPairWithoutMessages) {
    if (PrivateBus::IsBroker()) {
        GTEST_SKIP() << "dbus-broker does not show match rules";
    }
    StartedTool host({"host", SAMPLE_APPLICATIONS}, "no partner yet");
    ToolProcess partner({"partner"});
    partner.Send("fault no-ack");
    ASSERT_TRUE(partner.WaitFor("this host is bound to a partner"));
    RunningMonitor monitor;
    ASSERT_TRUE(monitor.WaitFor("_SERVICE_SYN: a partner announces itself"));
    EXPECT_EQ(monitor.Interrupt(), 0) << monitor.Output();
    EXPECT_THAT(monitor.Output(), Not(HasSubstr("is connected with")));
    EXPECT_THAT(monitor.Output(),
                HasSubstr(" are bound to each other; no message between them was seen, and the "
                          "partner announces itself again: "));
}

TEST_F(MonitorLive, FindsASecondHostFromBeforeItsStart) {
    if (PrivateBus::IsBroker()) {
        GTEST_SKIP() << "dbus-broker does not show match rules";
    }
    RunningPartner partner;
    SampleHost host(partner);
    ToolProcess second({"host", SAMPLE_APPLICATIONS});
    ASSERT_TRUE(partner.WaitFor("is the host of this partner"));
    RunningMonitor monitor;
    EXPECT_TRUE(monitor.WaitFor("are bound to each other: their handshake was before"));
    EXPECT_TRUE(
        monitor.WaitFor(" was on the bus before the start of the monitor, bound to no partner\n"));
    EXPECT_EQ(monitor.Interrupt(), 0) << monitor.Output();
    EXPECT_THAT(monitor.Output(), HasSubstr("is pid " + second.Id() + User()));
    EXPECT_THAT(monitor.Output(), HasSubstr(" is not connected: it waits for a partner\n"));
    EXPECT_THAT(monitor.Output(),
                ContainsRegex("host :1.[0-9]+ and partner :1.[0-9]+ are bound to each other; no "
                              "message between them was seen\n"));
}

TEST_F(MonitorLive, FindsABindingFromBeforeItsStart) {
    if (PrivateBus::IsBroker()) {
        GTEST_SKIP() << "dbus-broker does not show match rules";
    }
    ToolProcess partner({"partner"});
    partner.Send("fault strict-mirror");
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN"));
    partner.Stop();
    { StartedTool gone({"host", SAMPLE_APPLICATIONS}, "no partner yet"); }
    StartedTool host({"host", SAMPLE_APPLICATIONS}, "no partner yet");
    partner.Continue();
    ASSERT_TRUE(partner.WaitFor("lost the host"));
    RunningMonitor monitor;
    EXPECT_TRUE(monitor.WaitFor(" was on the bus before the start of the monitor, bound to :1."));
}

// The steps of this partner do not count, so the partner and its host are no half-open pair.
TEST_F(MonitorLive, FindsANameThatIsOwnedFromBeforeItsStart) {
    if (PrivateBus::IsBroker()) {
        GTEST_SKIP() << "dbus-broker does not show match rules";
    }
    const TemporaryFolder folder;
    ToolProcess partner(
        {"partner", "--script", folder.Write("script", "fault keep-names\nwait 600\n")});
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN"));
    StartedTool host({"host", SAMPLE_APPLICATIONS}, "no partner yet");
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN_ACK"));
    RunningMonitor monitor;
    EXPECT_TRUE(monitor.WaitFor("_SERVICE_SYN_ACK is owned by :1."));
    EXPECT_EQ(monitor.Interrupt(), 4);
    EXPECT_THAT(monitor.Output(), HasSubstr(" owns the name of a step and has not released it\n"));
    EXPECT_THAT(monitor.Output(), Not(HasSubstr("half-open")));
}

TEST_F(MonitorLive, NamesTheObjectPathOfANotificationThatHostsIgnore) {
    RunningMonitor monitor;
    ToolProcess partner({"partner"});
    partner.Send("fault other-path");
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN"));
    StartedTool host({"host", SAMPLE_APPLICATIONS}, "on the bus");
    EXPECT_TRUE(monitor.WaitFor(", which hosts ignore: its object path is /, not /org/morva/"));
    EXPECT_EQ(monitor.Interrupt(), 4) << monitor.Output();
}

TEST_F(MonitorLive, MarksAHostThatIsStuck) {
    RunningMonitor monitor;
    RunningPartner partner;
    SampleHost host(partner);
    host.Stop();
    partner.Send("select 1");
    EXPECT_TRUE(monitor.WaitFor(" is stuck: no query for the selection (2001) within "));
    host.Continue();
    EXPECT_TRUE(monitor.WaitFor("answered with Calculator"));
}

TEST_F(MonitorLive, MarksMalformedTraffic) {
    RunningPartner partner;
    RunningMonitor monitor;
    RawHost host(bus);
    ASSERT_TRUE(host.Connect());
    host.Request("abc");
    EXPECT_TRUE(monitor.WaitFor("malformed: 3 bytes are too short for an id"));
    host.Notify(g_variant_new("(s)", "x"));
    EXPECT_TRUE(monitor.WaitFor("malformed: its type is (s), not (ay)"));
    monitor.Kill(SIGTERM);
    EXPECT_EQ(monitor.WaitForExit(), 4);
}

TEST_F(MonitorLive, PrintsTheErrorOfARequestToAPartnerThatHasLeftTheBus) {
    RunningMonitor monitor;
    RawHost host(bus);
    {
        RunningPartner partner;
        ASSERT_TRUE(host.Connect());
        ASSERT_EQ(partner.EndOfInput(), 0);
    }
    host.Request(std::string("\xd3\x07\0\0", 4));
    EXPECT_TRUE(monitor.WaitFor("failed after "));
    EXPECT_TRUE(monitor.WaitFor("org.freedesktop.DBus.Error.ServiceUnknown"));
}

TEST_F(MonitorLive, NamesTheStepThatAHostWaitsFor) {
    RunningMonitor monitor;
    ToolProcess host({"host", SAMPLE_APPLICATIONS});
    EXPECT_TRUE(monitor.WaitFor("!! _SERVICE_SYN_ACK is missing: no partner has answered"));
}

TEST_F(MonitorLive, ExitsAfterTheGivenNumberOfSeconds) {
    ToolProcess monitor({"monitor", "--seconds=1", "--json"});
    EXPECT_EQ(monitor.WaitForExit(), 0);
    EXPECT_THAT(monitor.Output(), HasSubstr("{\"event\":\"summary\""));
}

// Nothing happens on this bus in the last second.
TEST_F(MonitorLive, CountsItsSummaryFromTheStartOfTheWatching) {
    ToolProcess monitor({"monitor", "--seconds=1"});
    EXPECT_EQ(monitor.WaitForExit(), 0);
    EXPECT_THAT(monitor.Output(),
                ContainsRegex("summary of (9[0-9]{2}\\.[0-9]{2} ms|[1-9]\\.[0-9] s)"));
}

TEST_F(MonitorLive, PrintsTheRemedyWhenTheBusRefusesMonitoring) {
    bus.SetPolicy("<deny send_interface='org.freedesktop.DBus.Monitoring'/>");
    ToolProcess monitor({"monitor"});
    EXPECT_EQ(monitor.WaitForExit(), 1);
    EXPECT_THAT(monitor.Errors(), HasSubstr(" does not let us watch: "));
    EXPECT_THAT(monitor.Errors(), HasSubstr("busctl capture --size=1000000 > FILE"));
    EXPECT_THAT(monitor.Errors(), HasSubstr("applistctl monitor --read FILE"));
}

TEST_F(MonitorLive, NeedsABus) {
    ToolProcess monitor({"monitor", "--bus=unix:path=/nonexistent/bus"});
    EXPECT_EQ(monitor.WaitForExit(), 3);
    EXPECT_THAT(monitor.Errors(), HasSubstr("no bus: "));
}

TEST_F(MonitorLive, ReportsABusDaemonThatSendsNoReply) {
    const pid_t daemon = BusDaemon::Process(SharedBus().Connection());
    kill(daemon, SIGSTOP);
    ToolProcess monitor({"monitor"});
    EXPECT_EQ(monitor.WaitForExit(), 3);
    EXPECT_THAT(monitor.Errors(), HasSubstr("no bus: the bus daemon accepts the connection, but "
                                            "sends no reply within 10 s: the daemon is stopped"));
    kill(daemon, SIGCONT);
}

TEST_F(MonitorLive, ReportsABusDaemonThatStopsLater) {
    const pid_t daemon = BusDaemon::Process(SharedBus().Connection());
    RunningMonitor monitor;
    StartedTool host({"host", SAMPLE_APPLICATIONS}, "no partner yet");
    ASSERT_TRUE(monitor.WaitFor("a host has started"));
    kill(daemon, SIGSTOP);
    EXPECT_TRUE(monitor.WaitForError(
        "monitor: the bus daemon sends no reply within 10 s: the daemon is stopped"));
    EXPECT_EQ(monitor.Interrupt(), 3);
    kill(daemon, SIGCONT);
}

TEST_F(MonitorLive, PrintsTheSummaryWhenTheBusIsLost) {
    RunningMonitor monitor;
    bus.Kill();
    EXPECT_EQ(monitor.WaitForExit(), 3);
    EXPECT_THAT(monitor.Errors(),
                HasSubstr("the bus is gone: the bus daemon has closed the connection\n"));
    EXPECT_THAT(monitor.Output(), HasSubstr("summary of"));
}

TEST_F(MonitorLive, ClaimsNoConnectionAfterTheLossOfTheBus) {
    RunningMonitor monitor;
    RunningPartner partner;
    SampleHost host(partner);
    ASSERT_TRUE(monitor.WaitFor("== connected: host "));
    bus.Kill();
    EXPECT_EQ(monitor.WaitForExit(), 3);
    EXPECT_THAT(monitor.Output(), ContainsRegex("\n  at the loss of the bus: host :1\\.[0-9]+ is "
                                                "connected with partner :1\\.[0-9]+\n"));
}

// --- Captures of other programs ------------------------------------------------------------------

struct CaptureRow : NamedRow {
    std::vector<std::string> command; ///< the bus's address goes behind it
    int status;
    const char* told;
};

const CaptureRow CAPTURES[] = {
    {"Busctl",
     {"busctl", "capture", "--size=1000000", "--address"},
     0,
     "APPLIST_ADD_ITEM_AT_END_FNC (2005): "},
    {"BusctlThatCuts",
     {"busctl", "capture", "--address"},
     0,
     "#2 cut by the capture: the capture lacks its last "},
    {"DbusMonitor",
     {"dbus-monitor", "--pcap", "--address"},
     0,
     "APPLIST_ADD_ITEM_AT_END_FNC (2005): "},
};

class MonitorCapture : public testing::TestWithParam<CaptureRow> {};

TEST_P(MonitorCapture, IsPrinted) {
    const PrivateBus bus;
    const TemporaryFolder folder;
    CaptureProcess capture(bus, GetParam().command, folder.Path() + "/capture");
    ASSERT_TRUE(capture.WaitUntilCapturing());
    {
        RunningPartner partner;
        RawHost host(bus);
        ASSERT_TRUE(host.Connect());
        host.Request(std::string("Clock\nc1\n\xd4\x07\0\0", 13));
        host.Request(std::string(6000, 'a') + std::string("\nb\n\xd5\x07\0\0", 7));
    }
    ASSERT_TRUE(capture.Finish());
    ToolProcess monitor({"monitor", "--read", capture.File()});
    EXPECT_EQ(monitor.WaitForExit(), GetParam().status) << monitor.Errors();
    EXPECT_THAT(monitor.Output(), HasSubstr("== connected: host "));
    EXPECT_THAT(monitor.Output(), HasSubstr("#1 APPLIST_ADD_ITEMS_FNC (2004): 1 item\n     Clock"));
    EXPECT_THAT(monitor.Output(), HasSubstr(GetParam().told));
    EXPECT_THAT(monitor.Output(), HasSubstr("#2 answered after "));
}

INSTANTIATE_TEST_SUITE_P(, MonitorCapture, testing::ValuesIn(CAPTURES), RowName<CaptureRow>);

// --- Colour --------------------------------------------------------------------------------------

class MonitorColour : public testing::Test {
protected:
    void SetUp() override {
        if (!m_terminal.IsThere()) {
            GTEST_SKIP() << "this machine has no terminals: is /dev/pts mounted?";
        }
    }

    std::string ShownOnATerminal(const std::vector<std::string>& environment) {
        const PrivateBus bus;
        ToolProcess monitor({"monitor", "--seconds=1"}, environment, [&] { m_terminal.Use(); });
        monitor.WaitForExit();
        return m_terminal.Text();
    }

private:
    Terminal m_terminal;
};

TEST_F(MonitorColour, IsShownOnATerminal) {
    EXPECT_THAT(ShownOnATerminal({"TERM=xterm"}), HasSubstr("\033[1mwatching"));
}

TEST_F(MonitorColour, IsOmittedWithNoColorAndOnOtherOutputs) {
    const std::string text = ShownOnATerminal({"TERM=xterm", "NO_COLOR=1"});
    EXPECT_THAT(text, HasSubstr("watching"));
    EXPECT_THAT(text, Not(HasSubstr("\033")));
}

} // namespace
