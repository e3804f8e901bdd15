// Nine faults are planted, and the tools must name each of them; a healthy pair must give no alarm.
// "scripts/long-run faults" repeats this on both buses.
#include <csignal>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <unistd.h>

#include "MainLoop.h"
#include "NamedRow.h"
#include "PrivateBus.h"
#include "ToolProcess.h"

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

namespace {

/** The output and the exit status of a tool. */
struct Result {
    int status;
    std::string text;
};

/** A bus with a monitor on it, and the processes that make the fault. */
class Scene {
public:
    explicit Scene(const std::string& policy = "")
        : m_bus(std::make_unique<PrivateBus>(policy)), m_monitor({"monitor"}) {
        EXPECT_TRUE(m_monitor.WaitFor("watching the bus at"));
    }

    PrivateBus& Bus() { return *m_bus; }
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
        EXPECT_TRUE(m_monitor.WaitFor("_SERVICE_SYN: a partner is there"));
        return partner;
    }

    Process& StartListOfHost() { return Add({APPLISTCTL, "host", SAMPLE_APPLICATIONS}); }

    /** Stops a process, as a busy loop would. */
    static void Stop(Process& process) {
        process.Kill(SIGSTOP);
        MainLoop::IterateUntil([&] { return StateOf(process.Id()) == 'T'; });
    }

    /** Ends a process, and waits for the bus to notice. */
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

    Result EndMonitor() {
        m_monitor.Kill(SIGINT);
        const int status = m_monitor.WaitForExit();
        return {status, m_monitor.Output()};
    }

    static Result Run(const std::vector<std::string>& arguments) {
        ToolProcess tool(arguments);
        const int status = tool.WaitForExit();
        return {status, tool.Output() + tool.Errors()};
    }

private:
    static char StateOf(const std::string& pid) {
        std::ifstream file("/proc/" + pid + "/stat");
        std::string number;
        std::string command;
        char state = 0;
        file >> number >> command >> state;
        return state;
    }

    Process& Add(const std::vector<std::string>& words) {
        m_processes.push_back(std::make_unique<Process>(words));
        return *m_processes.back();
    }

    std::unique_ptr<PrivateBus> m_bus;
    ToolProcess m_monitor;
    std::vector<std::unique_ptr<Process>> m_processes;
};

bool IsBroker() {
    const char* const bus = std::getenv("APPLIST_TEST_BUS");
    return bus != nullptr && std::string(bus) == "dbus-broker";
}

// A user other than root sees that a loop does not answer, and not why.
std::string LoopText(const std::string& text) {
    return geteuid() == 0 ? text : "the loop is stalled, never run, or of another main context";
}

struct FaultRow : NamedRow {
    /** Plants the fault and lets a tool look at it. */
    Result (*look)();
    std::string named;
    int status;
};

// --- Planting ------------------------------------------------------------------------------------

// The host answers a partner that has left, and the next partner takes the answer for its own.
void ReplacePartnerOfABusyHost(Scene& scene) {
    Process& host = scene.StartHost("none");
    Scene::Stop(host);
    scene.End(scene.StartPartner());
    scene.StartPartner("strict-mirror");
    host.Kill(SIGCONT);
    EXPECT_TRUE(scene.Monitor().WaitFor("half-open pair: "));
}

// The partner answers a host that has left, and the next host takes the answer for its own.
void ReplaceHostOfABusyPartner(Scene& scene) {
    Process& partner = scene.StartPartner("strict-mirror");
    Scene::Stop(partner);
    scene.End(scene.StartHost("none"));
    scene.StartHost("none");
    partner.Kill(SIGCONT);
    EXPECT_TRUE(scene.Monitor().WaitFor("half-open pair: "));
}

Result WatchReplacedPartner() {
    Scene scene;
    ReplacePartnerOfABusyHost(scene);
    return scene.EndMonitor();
}

Result WatchReplacedHost() {
    Scene scene;
    ReplaceHostOfABusyPartner(scene);
    return scene.EndMonitor();
}

Result CheckReplacedPartner() {
    Scene scene;
    ReplacePartnerOfABusyHost(scene);
    return Scene::Run({"check", "host"});
}

Result CheckReplacedHost() {
    Scene scene;
    ReplaceHostOfABusyPartner(scene);
    return Scene::Run({"check", "host"});
}

Result CheckOwnedName() {
    Scene scene;
    scene.StartHost("owned-name");
    return Scene::Run({"check", "--limit=0.5"});
}

Result WatchOwnedName() {
    Scene scene;
    scene.StartHost("owned-name");
    EXPECT_TRUE(scene.Monitor().WaitFor("is owned by "));
    return scene.EndMonitor();
}

template <const char* const& fault, const char* const& line>
Result CheckLoop() {
    Scene scene;
    Process& host = scene.StartHost(fault);
    EXPECT_TRUE(line[0] == '\0' || host.WaitFor(line));
    return Scene::Run({"check", "host", "--limit=1"});
}

constexpr const char* STALLED = "stalled";
constexpr const char* NO_LOOP = "no-loop";
constexpr const char* NO_PUSH = "no-push";
constexpr const char* NO_LINE = "";

Result CheckPolicy() {
    const PrivateBus bus("<deny own=\"org.morva.JavaMW.Applist_CLIENT_ACK\"/>");
    return Scene::Run({"check", "--limit=0.5"});
}

Result WatchSilentPartner() {
    Scene scene;
    scene.StartPartner("silence");
    scene.StartListOfHost();
    EXPECT_TRUE(scene.Monitor().WaitFor("has no reply after "));
    return scene.EndMonitor();
}

Result CheckSilentPartner() {
    Scene scene;
    scene.StartPartner("silence");
    return Scene::Run({"check", "--limit=1"});
}

Result CheckLostBus() {
    Scene scene;
    Process& host = scene.StartHost("bus-lost");
    scene.Bus().Restart();
    EXPECT_TRUE(host.WaitFor("the bus is gone"));
    return Scene::Run({"check", "host", "--limit=1"});
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
    {"BusThatWasLost", CheckLostBus, "is not on the bus: it has lost the bus", 4},
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
    const Result result = GetParam().look();
    EXPECT_EQ(result.status, GetParam().status) << result.text;
    EXPECT_THAT(result.text, HasSubstr(GetParam().named));
}

INSTANTIATE_TEST_SUITE_P(, PlantedFault, testing::ValuesIn(FAULTS), RowName<FaultRow>);

class PlantedFaultInMatchRules : public testing::TestWithParam<FaultRow> {};

TEST_P(PlantedFaultInMatchRules, IsReportedByItsName) {
    if (IsBroker()) {
        GTEST_SKIP() << "dbus-broker does not show match rules";
    }
    const Result result = GetParam().look();
    EXPECT_EQ(result.status, GetParam().status) << result.text;
    EXPECT_THAT(result.text, HasSubstr(GetParam().named));
}

INSTANTIATE_TEST_SUITE_P(, PlantedFaultInMatchRules, testing::ValuesIn(SHOWN_BY_RULES),
                         RowName<FaultRow>);

std::string User() {
    return std::string(", user ") + g_get_user_name();
}

// --- What check reports of hosts and partners --------------------------------------------------

TEST(Check, ShowsAConnectedHostAndThePartnerThatIsBoundToTheHost) {
    Scene scene;
    Process& partner = scene.StartPartner();
    Process& host = scene.StartListOfHost();
    ASSERT_TRUE(partner.WaitFor("my list has 5 items now"));
    const Result result = Scene::Run({"check", "--limit=0.3"});
    EXPECT_EQ(result.status, 4) << result.text;
    const std::string hostProcess = "(pid " + host.Id() + User() + ", applistctl)";
    const std::string partnerProcess = "(pid " + partner.Id() + User() + ", applistctl)";
    EXPECT_THAT(result.text, HasSubstr(hostProcess));
    EXPECT_THAT(result.text, HasSubstr(partnerProcess));
    if (IsBroker()) {
        EXPECT_THAT(result.text, HasSubstr(" are hosts or partners on the bus"));
    } else {
        EXPECT_THAT(result.text, ContainsRegex("note     hosts     :1\\.[0-9]+[^\n]* is a host on "
                                               "the bus, bound to :1"));
        EXPECT_THAT(result.text,
                    ContainsRegex("note     hosts     the partner :1\\.[0-9]+[^\n]* is "
                                  "bound to :1"));
        EXPECT_EQ(result.text.find(hostProcess), result.text.rfind(hostProcess)); // once
        EXPECT_EQ(result.text.find(partnerProcess), result.text.rfind(partnerProcess));
        EXPECT_THAT(result.text, ContainsRegex("MISSING  partner   no answer to _CLIENT_SYN within "
                                               "0.3 s: the partner :1\\.[0-9]+ is bound to :1"));
        EXPECT_THAT(result.text, HasSubstr("or check it with \"applistctl check host :"));
    }
    partner.Send("list");
    EXPECT_TRUE(partner.WaitFor("list: 5 items")); // the check has disturbed nothing
}

// --- What check host reports of one host
// -----------------------------------------------------------

TEST(CheckHost, ReportsAMissingHost) {
    Scene scene;
    scene.StartPartner();
    const Result result = Scene::Run({"check", "host", ":1.999"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.text, HasSubstr("WRONG    host      :1.999 is not on the bus"));
}

TEST(CheckHost, ChecksTheNamedHostAlone) {
    Scene scene;
    scene.StartHost("no-loop");
    const std::string silent = scene.NextHost();
    scene.StartHost("none");
    const std::string good = scene.NextHost();
    EXPECT_EQ(Scene::Run({"check", "host", good}).status, 0);
    EXPECT_EQ(Scene::Run({"check", "host", silent, "--limit=0.5"}).status, 4);
}

TEST(CheckHost, ReportsAStoppedProcess) {
    Scene scene;
    Process& host = scene.StartHost("none");
    Scene::Stop(host);
    const Result result = Scene::Run({"check", "host", scene.NextHost(), "--limit=0.5"});
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(result.text, HasSubstr("WRONG    alive     the process is stopped"));
    EXPECT_THAT(result.text, HasSubstr("kill -CONT " + host.Id()));
}

// dbus-broker does not show the queues of its connections to Debug.Stats.
TEST(CheckHost, ReportsTheQueueOfTheBusForAProcessThatDoesNotRead) {
    if (IsBroker()) {
        GTEST_SKIP() << "dbus-broker has no Debug.Stats of this kind";
    }
    Scene scene;
    Process& host = scene.StartHost("none");
    const std::string name = scene.NextHost();
    EXPECT_THAT(Scene::Run({"check", "host", name}).text,
                HasSubstr("ok       queue     the bus keeps nothing for it"));
    Scene::Stop(host);
    g_autoptr(GDBusConnection) connection = scene.Bus().Connect();
    const std::string text(100000, 'x');
    for (int i = 0; i < 100; ++i) { // more than the buffers of the socket hold
        g_dbus_connection_emit_signal(connection, name.c_str(), "/", "a.b", "C",
                                      g_variant_new("(s)", text.c_str()), nullptr);
    }
    g_dbus_connection_flush_sync(connection, nullptr, nullptr);
    const Result result = Scene::Run({"check", "host", name, "--limit=0.5"});
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(result.text, ContainsRegex("WRONG    queue     the bus keeps [0-9]+ bytes for it"));
}

TEST(CheckHost, IsWrongUsageWithAWellKnownName) {
    EXPECT_EQ(Scene::Run({"check", "host", "org.morva.JavaMW"}).status, 2);
}

// --- Healthy runs --------------------------------------------------------------------------------

void ExpectNoAlarm(const Result& result) {
    EXPECT_EQ(result.status, 0) << result.text;
    for (const char* const alarm : {"!!", "WRONG", "MISSING", "half-open"}) {
        EXPECT_THAT(result.text, Not(HasSubstr(alarm)));
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
    Scene scene;
    Process* host = GetParam().isHostFirst ? &scene.StartHost("none") : nullptr;
    Process* const partner = &scene.StartPartner();
    host = host != nullptr ? host : &scene.StartHost("none");
    ASSERT_TRUE(scene.Monitor().WaitFor("== connected: host "));
    if (GetParam().isPartnerRestarted) {
        scene.End(*partner);
        scene.StartPartner();
        ASSERT_TRUE(scene.Monitor().WaitFor("== connected: host "));
    }
    if (GetParam().isHostRestarted) {
        scene.End(*host);
        scene.StartHost("none");
        ASSERT_TRUE(scene.Monitor().WaitFor("== connected: host "));
    }
    ExpectNoAlarm(Scene::Run({"check", "host"}));
    ExpectNoAlarm(scene.EndMonitor());
}

INSTANTIATE_TEST_SUITE_P(, HealthyPair, testing::ValuesIn(HEALTHY), RowName<HealthyRow>);

TEST(HealthyPartner, IsNotReportedByACheck) {
    Scene scene;
    scene.StartPartner();
    ExpectNoAlarm(Scene::Run({"check"}));
}

} // namespace
