// Eleven faults are planted, and the tools must name each of them; a healthy pair must cause no
// report. "scripts/long-run faults" repeats this on both buses.
#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <unistd.h>

#include "NamedRow.h"
#include "PrivateBus.h"
#include "ToolProcess.h"

using testing::ContainsRegex, testing::HasSubstr, testing::Not;

namespace {

/** A bus with a monitor on it, and the processes that make the fault. */
class FaultRun {
public:
    PrivateBus& Bus() { return m_bus; }
    ToolProcess& Monitor() { return m_monitor; }

    Process& StartHost(const std::string& fault) {
        Process& host = Add({PLANTED_HOST, fault});
        EXPECT_TRUE(host.WaitFor("started"));
        return host;
    }

    Process& StartPartner(const std::string& fault = "") {
        Process& partner = Add({APPLISTCTL, "partner"});
        if (!fault.empty()) {
            partner.Send("fault " + fault);
        }
        EXPECT_TRUE(m_monitor.WaitFor("_SERVICE_SYN: a partner announces itself"));
        return partner;
    }

    Process& StartListOfHost() { return Add({APPLISTCTL, "host", SAMPLE_APPLICATIONS}); }

    /** Ends a process, and waits until the bus reports this end. */
    void End(Process& process) {
        process.Kill(SIGKILL);
        EXPECT_TRUE(m_monitor.WaitFor(" has left the bus"));
    }

    /** The unique name of the host whose start the monitor reports next. */
    std::string NextHost() {
        EXPECT_TRUE(m_monitor.WaitFor("_CLIENT_SYN: a host has started"));
        const std::string& text = m_monitor.Output();
        const std::size_t begin = text.rfind("host :", text.rfind("  _CLIENT_SYN: ")) + 5;
        return text.substr(begin, text.find(' ', begin) - begin);
    }

    ToolResult EndMonitor() {
        m_monitor.Kill(SIGINT);
        const int status = m_monitor.WaitForExit();
        return {status, m_monitor.Output(), m_monitor.Errors()};
    }

private:
    Process& Add(const std::vector<std::string>& words) {
        m_processes.push_back(std::make_unique<Process>(words));
        return *m_processes.back();
    }

    PrivateBus m_bus;
    RunningMonitor m_monitor;
    std::vector<std::unique_ptr<Process>> m_processes;
};

// For users other than root, the check reports a loop without replies, and not the reason.
std::string LoopText(const std::string& text) {
    return geteuid() == 0 ? text : "the loop is stalled, never run, of another main context, or ";
}

struct FaultRow : NamedRow {
    /** Plants the fault and runs a tool. */
    ToolResult (*look)();
    std::string named;
    int status;
};

// --- Planting ------------------------------------------------------------------------------------

// The host answers a partner that has left, and the next partner receives this answer.
void ReplacePartnerOfABusyHost(FaultRun& run) {
    Process& host = run.StartHost("none");
    host.Stop(); // as a busy loop would
    run.End(run.StartPartner());
    run.StartPartner("strict-mirror");
    host.Continue();
    EXPECT_TRUE(run.Monitor().WaitFor("half-open pair: "));
}

// The partner answers a host that has left, and the next host receives this answer.
void ReplaceHostOfABusyPartner(FaultRun& run) {
    Process& partner = run.StartPartner("strict-mirror");
    partner.Stop();
    run.End(run.StartHost("none"));
    run.StartHost("none");
    partner.Continue();
    EXPECT_TRUE(run.Monitor().WaitFor("half-open pair: "));
}

ToolResult WatchReplacedPartner() {
    FaultRun run;
    ReplacePartnerOfABusyHost(run);
    return run.EndMonitor();
}

ToolResult WatchReplacedHost() {
    FaultRun run;
    ReplaceHostOfABusyPartner(run);
    return run.EndMonitor();
}

ToolResult CheckReplacedPartner() {
    FaultRun run;
    ReplacePartnerOfABusyHost(run);
    return RunTool({"check", "host"});
}

ToolResult CheckReplacedHost() {
    FaultRun run;
    ReplaceHostOfABusyPartner(run);
    return RunTool({"check", "host"});
}

ToolResult CheckOwnedName() {
    FaultRun run;
    run.StartHost("owned-name");
    return RunTool({"check", "--limit=0.5"});
}

ToolResult WatchOwnedName() {
    FaultRun run;
    run.StartHost("owned-name");
    EXPECT_TRUE(run.Monitor().WaitFor("is owned by "));
    return run.EndMonitor();
}

template <const char* const& fault, const char* const& line>
ToolResult CheckLoop() {
    FaultRun run;
    Process& host = run.StartHost(fault);
    EXPECT_TRUE(line[0] == '\0' || host.WaitFor(line));
    return RunTool({"check", "host", "--limit=1"});
}

constexpr const char* STALLED = "stalled";
constexpr const char* NO_LOOP = "no-loop";
constexpr const char* NO_PUSH = "no-push";
constexpr const char* NO_LINE = "";

ToolResult CheckPolicy() {
    const PrivateBus bus("<deny own=\"org.morva.JavaMW.Applist_CLIENT_ACK\"/>");
    return RunTool({"check", "--limit=0.5"});
}

ToolResult WatchSilentPartner() {
    FaultRun run;
    run.StartPartner("silence");
    run.StartListOfHost();
    EXPECT_TRUE(run.Monitor().WaitFor("has no reply after "));
    return run.EndMonitor();
}

ToolResult CheckSilentPartner() {
    FaultRun run;
    run.StartPartner("silence");
    return RunTool({"check", "--limit=1"});
}

ToolResult CheckLostBus() {
    FaultRun run;
    Process& host = run.StartHost("bus-lost");
    run.Bus().Restart();
    EXPECT_TRUE(host.WaitFor("the bus is gone"));
    return RunTool({"check", "host", "--limit=1"});
}

ToolResult CheckEarlyHost() {
    FaultRun run;
    run.Bus().Kill();
    run.StartHost("none");
    run.Bus().Restart();
    return RunTool({"check", "host", "--limit=1"});
}

ToolResult CheckHostWithoutList() {
    FaultRun run;
    run.StartHost("no-list");
    return RunTool({"check", "host", "--limit=1"});
}

const FaultRow FAULTS[] = {
    {"PartnerReplacedUnderABusyHost", WatchReplacedPartner, "!! half-open pair: partner ", 5},
    {"HostReplacedUnderABusyPartner", WatchReplacedHost, "!! half-open pair: host ", 5},
    {"NameThatIsNotReleased", CheckOwnedName, "_CLIENT_SYN_ACK is owned by :1.", 4},
    {"NameThatIsNotReleasedToTheMonitor", WatchOwnedName, "!! _CLIENT_SYN_ACK is owned by :1.", 4},
    {"LoopThatIsStalled", CheckLoop<STALLED, STALLED>, LoopText("the loop is stalled: "), 4},
    {"LoopThatIsNeverRun", CheckLoop<NO_LOOP, NO_LINE>, LoopText("no thread runs a main loop"), 4},
    {"ContextThatIsNotPushed", CheckLoop<NO_PUSH, NO_LINE>,
     LoopText("a thread runs a loop of another main context"), 4},
    {"PolicyThatRefuses", CheckPolicy, "MISSING  announce  the bus refuses ", 4},
    {"PartnerThatIsSilent", WatchSilentPartner, " has no reply after ", 4},
    {"PartnerThatIsSilentToACheck", CheckSilentPartner, "MISSING  answer ", 4},
    {"BusThatWasLost", CheckLostBus, "or has lost the bus and continues", 4},
    {"HostThatStartedBeforeTheBus", CheckEarlyHost,
     "has no connection to the bus: it has not created a list yet, started before the bus, or ", 4},
    {"HostWithoutList", CheckHostWithoutList, "has the library loaded and no list: ", 1},
};

// The bus must show match rules for these.
const FaultRow SHOWN_BY_RULES[] = {
    {"PartnerReplacedUnderABusyHost", CheckReplacedPartner,
     "half-open: the host is bound to no partner, and the partner ", 5},
    {"HostReplacedUnderABusyPartner", CheckReplacedHost,
     "half-open: the host is bound to the partner ", 5},
};

class PlantedFault : public testing::TestWithParam<FaultRow> {};

TEST_P(PlantedFault, IsReportedByItsName) {
    const ToolResult result = GetParam().look();
    EXPECT_EQ(result.status, GetParam().status) << result.output;
    EXPECT_THAT(result.output, HasSubstr(GetParam().named));
}

INSTANTIATE_TEST_SUITE_P(, PlantedFault, testing::ValuesIn(FAULTS), RowName<FaultRow>);

class PlantedFaultInMatchRules : public testing::TestWithParam<FaultRow> {};

TEST_P(PlantedFaultInMatchRules, IsReportedByItsName) {
    if (PrivateBus::IsBroker()) {
        GTEST_SKIP() << "dbus-broker does not show match rules";
    }
    const ToolResult result = GetParam().look();
    EXPECT_EQ(result.status, GetParam().status) << result.output;
    EXPECT_THAT(result.output, HasSubstr(GetParam().named));
}

INSTANTIATE_TEST_SUITE_P(, PlantedFaultInMatchRules, testing::ValuesIn(SHOWN_BY_RULES),
                         RowName<FaultRow>);

std::string User() {
    return std::string(", user ") + g_get_user_name();
}

// --- What check reports of hosts and partners --------------------------------------------------

TEST(Check, ShowsAConnectedHostAndThePartnerThatIsBoundToTheHost) {
    FaultRun run;
    Process& partner = run.StartPartner();
    Process& host = run.StartListOfHost();
    ASSERT_TRUE(partner.WaitFor("my list has 5 items now"));
    const ToolResult result = RunTool({"check", "--limit=0.3"});
    EXPECT_EQ(result.status, 4) << result.output;
    const std::string hostProcess = "(pid " + host.Id() + User() + ", applistctl)";
    const std::string partnerProcess = "(pid " + partner.Id() + User() + ", applistctl)";
    EXPECT_THAT(result.output, HasSubstr(hostProcess));
    EXPECT_THAT(result.output, HasSubstr(partnerProcess));
    if (PrivateBus::IsBroker()) {
        EXPECT_THAT(result.output, HasSubstr(" is a host on the bus"));
        EXPECT_THAT(result.output, HasSubstr(" is a host or a partner on the bus"));
    } else {
        EXPECT_THAT(result.output,
                    ContainsRegex("note     hosts     :1\\.[0-9]+[^\n]* is a host on "
                                  "the bus, bound to :1"));
        EXPECT_THAT(result.output,
                    ContainsRegex("note     hosts     the partner :1\\.[0-9]+[^\n]* is "
                                  "bound to :1"));
        EXPECT_EQ(result.output.find(hostProcess), result.output.rfind(hostProcess)); // once
        EXPECT_EQ(result.output.find(partnerProcess), result.output.rfind(partnerProcess));
        EXPECT_THAT(result.output,
                    ContainsRegex("MISSING  partner   no answer to _CLIENT_SYN within "
                                  "0.3 s: the partner :1\\.[0-9]+ is bound to :1"));
        EXPECT_THAT(result.output, HasSubstr("or check it with \"applistctl check host :"));
    }
    partner.Send("list");
    EXPECT_TRUE(partner.WaitFor("list: 5 items")); // the check has disturbed nothing
}

// --- What check host reports of one host
// -----------------------------------------------------------

TEST(CheckHost, ReportsAMissingHost) {
    FaultRun run;
    run.StartPartner();
    const ToolResult result = RunTool({"check", "host", ":1.999"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr("WRONG    host      :1.999 is not on the bus"));
}

TEST(CheckHost, ChecksTheNamedHostAlone) {
    FaultRun run;
    run.StartHost("no-loop");
    const std::string silent = run.NextHost();
    run.StartHost("none");
    const std::string good = run.NextHost();
    EXPECT_EQ(RunTool({"check", "host", good}).status, 0);
    EXPECT_EQ(RunTool({"check", "host", silent, "--limit=0.5"}).status, 4);
}

TEST(CheckHost, ReportsAStoppedProcess) {
    FaultRun run;
    Process& host = run.StartHost("none");
    host.Stop();
    const ToolResult result = RunTool({"check", "host", run.NextHost(), "--limit=0.5"});
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(result.output, HasSubstr("WRONG    alive     the process is stopped"));
    EXPECT_THAT(result.output, HasSubstr("kill -CONT " + host.Id()));
}

// dbus-broker does not show the queues of its connections to Debug.Stats.
TEST(CheckHost, ReportsTheQueueOfTheBusForAProcessThatDoesNotRead) {
    if (PrivateBus::IsBroker()) {
        GTEST_SKIP() << "dbus-broker has no Debug.Stats of this kind";
    }
    FaultRun run;
    Process& host = run.StartHost("none");
    const std::string name = run.NextHost();
    EXPECT_THAT(RunTool({"check", "host", name}).output,
                HasSubstr("ok       queue     no message waits on the bus"));
    host.Stop();
    g_autoptr(GDBusConnection) connection = run.Bus().Connect();
    const std::string text(100000, 'x');
    for (int i = 0; i < 100; ++i) { // more than the buffers of the socket hold
        g_dbus_connection_emit_signal(connection, name.c_str(), "/", "a.b", "C",
                                      g_variant_new("(s)", text.c_str()), nullptr);
    }
    g_dbus_connection_flush_sync(connection, nullptr, nullptr);
    const ToolResult result = RunTool({"check", "host", name, "--limit=0.5"});
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(result.output,
                ContainsRegex("WRONG    queue     the bus keeps [0-9]+ bytes for the host"));
}

// A host that waits in a request for a partner with this fault, and the check of the host.
class WaitingHost : public testing::Test {
protected:
    std::string Check(int status) {
        const ToolResult result = RunTool({"check", "host", m_name, "--limit=0.5"});
        EXPECT_EQ(result.status, status) << result.output;
        EXPECT_THAT(result.output,
                    HasSubstr(PrivateBus::IsBroker() ? "binding   unknown: "
                                                     : "binding   bound to the partner :1."));
        return result.output;
    }

    FaultRun m_run;
    std::string m_name;
};

TEST_F(WaitingHost, IsNotAtFaultWhileItsPartnerIsStopped) {
    Process& partner = m_run.StartPartner();
    Process& host = m_run.StartListOfHost();
    m_name = m_run.NextHost();
    ASSERT_TRUE(partner.WaitFor("my list has 5 items now"));
    // The partner has then replied to the requests of the handshake.
    ASSERT_TRUE(host.WaitFor("the partner has a new list: "));
    partner.Stop();
    host.Send("add radio Car Radio");
    ASSERT_TRUE(m_run.Monitor().WaitFor("APPLIST_ADD_ITEM_AT_END_FNC"));
    const std::string text = Check(4);
    EXPECT_THAT(text, HasSubstr("note     loop      no reply to an empty Send within 0.5 s: a host "
                                "in a request replies after its partner"));
    EXPECT_THAT(text, ContainsRegex("WRONG    partner   [^\n]*:1\\.[0-9]+ \\(pid " + partner.Id() +
                                    User() + ", applistctl\\)[^\n]* is stopped\n"));
    EXPECT_THAT(text, HasSubstr("-> let it continue: kill -CONT " + partner.Id()));
    EXPECT_THAT(text, Not(HasSubstr("WRONG    loop")));
    EXPECT_TRUE(m_run.Monitor().WaitFor(" has no reply after "));
    EXPECT_TRUE(m_run.Monitor().WaitFor(" (pid " + partner.Id() + User() +
                                        ", applistctl), which is stopped\n"));
}

TEST_F(WaitingHost, IsNotReportedAsStalledWhileItsPartnerIsSilent) {
    m_run.StartPartner("silence");
    m_run.StartListOfHost();
    m_name = m_run.NextHost();
    ASSERT_TRUE(m_run.Monitor().WaitFor("APPLIST_ADD_ITEMS_FNC"));
    const std::string text = Check(4);
    EXPECT_THAT(text,
                HasSubstr(geteuid() != 0           ? "or in a request for 25 s at most"
                          : PrivateBus::IsBroker() ? "waits for the reply to a synchronous call"
                                                   : " replies to this check, and a thread of "
                                                     "the host waits for a reply"));
    EXPECT_THAT(text, Not(HasSubstr("the loop is stalled: ")));
    EXPECT_TRUE(m_run.Monitor().WaitFor("applistctl), which is running\n"));
    EXPECT_THAT(m_run.EndMonitor().output, HasSubstr("without a reply for 1 s: "));
}

TEST(CheckHost, ReportsAStoppedPartnerOfAnIdleHost) {
    FaultRun run;
    Process& partner = run.StartPartner();
    run.StartListOfHost();
    ASSERT_TRUE(partner.WaitFor("my list has 5 items now"));
    partner.Stop();
    const ToolResult result = RunTool({"check", "host", "--limit=0.5"});
    EXPECT_EQ(result.status, 4) << result.output;
    const std::string process = ":1\\.[0-9]+ \\(pid " + partner.Id() + ", [^\n]*\\)";
    EXPECT_THAT(result.output,
                ContainsRegex("WRONG    partner   " +
                              (PrivateBus::IsBroker() ? process + ", which may be the partner,"
                                                      : "the partner " + process) +
                              " is stopped\n"));
}

TEST(CheckHost, ReportsAProcessWithoutTheBusBesideAHealthyHost) {
    FaultRun run;
    Process& stale = run.StartHost("bus-lost");
    run.Bus().Restart();
    ASSERT_TRUE(stale.WaitFor("the bus is gone"));
    run.StartHost("none");
    const ToolResult result = RunTool({"check", "host", "--limit=1"});
    EXPECT_EQ(result.status, 4) << result.output;
    EXPECT_THAT(result.output, HasSubstr("WRONG    bus       pid " + stale.Id() + ", "));
    EXPECT_THAT(result.output, HasSubstr("ok       loop      "));
}

TEST(CheckHost, IsWrongUsageWithAWellKnownName) {
    EXPECT_EQ(RunTool({"check", "host", "org.morva.JavaMW"}).status, 2);
}

// --- Healthy runs --------------------------------------------------------------------------------

void ExpectNoAlarm(const ToolResult& result) {
    EXPECT_EQ(result.status, 0) << result.output;
    for (const char* const alarm : {"!!", "WRONG", "MISSING", "half-open"}) {
        EXPECT_THAT(result.output + result.errors, Not(HasSubstr(alarm)));
    }
}

struct HealthyRow : NamedRow {
    bool isHostFirst;
    bool isPartnerRestarted;
    bool isHostRestarted;
};

const HealthyRow HEALTHY[] = {
    {"PartnerFirst", false, false, false},
    {"HostFirst", true, false, false},
    {"PartnerRestarted", false, true, false},
    {"HostRestarted", true, false, true},
};

class HealthyPair : public testing::TestWithParam<HealthyRow> {};

TEST_P(HealthyPair, IsNotReportedByTheTools) {
    FaultRun run;
    Process* host = GetParam().isHostFirst ? &run.StartHost("none") : nullptr;
    Process* const partner = &run.StartPartner();
    host = host != nullptr ? host : &run.StartHost("none");
    ASSERT_TRUE(run.Monitor().WaitFor("== connected: host "));
    if (GetParam().isPartnerRestarted) {
        run.End(*partner);
        run.StartPartner();
        ASSERT_TRUE(run.Monitor().WaitFor("== connected: host "));
    }
    if (GetParam().isHostRestarted) {
        run.End(*host);
        run.StartHost("none");
        ASSERT_TRUE(run.Monitor().WaitFor("== connected: host "));
    }
    ExpectNoAlarm(RunTool({"check", "host"}));
    ExpectNoAlarm(run.EndMonitor());
}

INSTANTIATE_TEST_SUITE_P(, HealthyPair, testing::ValuesIn(HEALTHY), RowName<HealthyRow>);

TEST(HealthyHost, IsNotReportedWithAForkedChild) {
    FaultRun run;
    run.StartPartner();
    run.StartHost("child");
    ASSERT_TRUE(run.Monitor().WaitFor("== connected: host "));
    ExpectNoAlarm(RunTool({"check", "host"}));
}

TEST(HealthyPartner, IsNotReportedByACheck) {
    FaultRun run;
    run.StartPartner();
    ExpectNoAlarm(RunTool({"check"}));
}

} // namespace
