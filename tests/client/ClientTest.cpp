// The client on a bus of its own, with a partner process: events, outcomes and failures.
#include <chrono>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <applist/AppListClient.h>
#include <applist/AppListExecutors.h>
#include <dirent.h>
#include <gmock/gmock.h>

#include "BusDaemon.h"
#include "CapturedLog.h"
#include "ClientHost.h"
#include "Hex.h"
#include "MainLoop.h"
#include "PartnerProcess.h"
#include "PrivateBus.h"
#include "Records.h"
#include "SharedBus.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

using Clock = steady_clock;

double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

class Client : public testing::Test {
protected:
    void StartPartner(const std::vector<std::string>& options = {"--created"}) {
        m_partner = std::make_unique<PartnerProcess>(options);
        ASSERT_TRUE(m_host.WaitForEvent("connected"));
    }

    // Completions come in order, so the last one ends the wait.
    bool WaitForOutcomes(std::size_t count) {
        return m_host.WaitUntil([&] { return m_host.outcomes.size() >= count; });
    }

    bool WaitUntilEqual() {
        return m_host.WaitUntil([&] { return m_partner->List() == m_host.Records(); });
    }

    PrivateBus m_bus;
    ClientHost m_host;
    AppListClient& m_client = m_host.Client();
    std::unique_ptr<PartnerProcess> m_partner;
};

TEST_F(Client, SendsTheWholeListAndTheSelectionToANewPartner) {
    m_client.AddItems(LetterItems("abc"));
    m_client.SetSelection("b");
    StartPartner();
    EXPECT_TRUE(WaitUntilEqual());
    EXPECT_TRUE(m_client.IsConnected());
    EXPECT_EQ(m_client.GetItemsCount(), 3U);
    EXPECT_EQ(m_client.GetSelection()->uniqueId, "b");
}

TEST_F(Client, MakesOneRequestForEachOperationInTheirOrder) {
    StartPartner({"--keep-requests"});
    m_client.AddItems(LetterItems("ab"), m_host.Record());
    m_client.AddItemAtEnd({"c", "c"}, m_host.Record());
    m_client.SetSelection("a", m_host.Record());
    m_client.SetClicked("c", m_host.Record());
    m_client.ModifyItem("a", {"x", "y"}, m_host.Record());
    m_client.RemoveItem("b", m_host.Record());
    ASSERT_TRUE(WaitForOutcomes(6));
    EXPECT_EQ(m_client.GetSelection()->uniqueId, "x") << "a replacement is selected as well";
    EXPECT_TRUE(WaitUntilEqual());
    m_client.RemoveAllItems(m_host.Record());
    ASSERT_TRUE(WaitForOutcomes(7));

    EXPECT_THAT(m_host.outcomes, Each(AppListClient::ANSWERED));
    std::vector<int> ids;
    for (const std::string& request : m_partner->Requests()) {
        ids.push_back(Records::IdOf(request));
    }
    EXPECT_THAT(ids, ElementsAre(2004, 2005, 2000, 2006, 2008, 2007, 2003));
}

TEST_F(Client, RejectsInvalidChangesAndLeavesTheList) {
    m_client.AddItems(LetterItems("ab"));
    m_client.AddItems(LetterItems("ca"), m_host.Record());
    m_client.AddItems(LetterItems("cc"), m_host.Record());
    m_client.SetItems(LetterItems("aa"), m_host.Record());
    m_client.AddItemAtEnd({"a", "other"}, m_host.Record());
    m_client.AddItemAtEnd({"", "name"}, m_host.Record());
    m_client.AddItemAtEnd({"c", "two\nlines"}, m_host.Record());
    m_client.ModifyItem("z", {"c", "c"}, m_host.Record());
    m_client.ModifyItem("a", {"b", "b"}, m_host.Record());
    m_client.ModifyItem("a", {"a", "two\nlines"}, m_host.Record());
    m_client.RemoveItem("z", m_host.Record());
    m_client.SetSelection("z", m_host.Record());
    m_client.SetClicked("z", m_host.Record());
    ASSERT_TRUE(WaitForOutcomes(12));
    EXPECT_THAT(m_host.outcomes, Each(AppListClient::REJECTED));
    EXPECT_THAT(m_host.reasons,
                ElementsAre("the unique id 'a' is in the list", "the unique id 'c' is in the list",
                            "the unique id 'a' is in the list", "the unique id 'a' is in the list",
                            "the unique id is empty", "a text of the item has a line feed",
                            "the list has no item with the unique id 'z'",
                            "the unique id 'b' is in the list",
                            "a text of the item has a line feed",
                            "the list has no item with the unique id 'z'",
                            "the list has no item with the unique id 'z'",
                            "the list has no item with the unique id 'z'"));
    EXPECT_EQ(m_host.Records().first, "a\na\nb\nb\n");
}

TEST_F(Client, ReportsAChangeWithoutAPartner) {
    m_client.AddItems(LetterItems("ab"), m_host.Record());
    ASSERT_TRUE(WaitForOutcomes(1));
    EXPECT_THAT(m_host.outcomes, ElementsAre(AppListClient::NO_PARTNER));
    EXPECT_THAT(m_host.reasons, ElementsAre("no partner is connected"));
}

TEST_F(Client, ReportsARequestThatFails) {
    m_partner =
        std::make_unique<PartnerProcess>(std::vector<std::string>{"--kill-at", "request-seen"});
    ASSERT_TRUE(m_host.WaitForEvent("connected"));
    m_client.AddItemAtEnd({"a", "a"}, m_host.Record());
    ASSERT_TRUE(WaitForOutcomes(1));
    EXPECT_THAT(m_host.outcomes, ElementsAre(AppListClient::FAILED));
    EXPECT_THAT(m_host.reasons, ElementsAre(StartsWith("GDBus.Error")));
    EXPECT_TRUE(m_host.WaitForEvent("lost"));
    EXPECT_FALSE(m_client.IsConnected());
    m_partner->WaitForExit();
}

TEST_F(Client, ReportsTheEventsOfThePartner) {
    m_client.AddItems(LetterItems("abc"));
    StartPartner();
    ASSERT_TRUE(WaitUntilEqual());
    m_partner->Ask("select " + Hex::Of(Records::Write({"c", "c"})));
    for (const int id : {Records::SELECTION_EVENT, Records::CLICKED_EVENT, Records::CHANGE_EVENT}) {
        m_partner->Ask("notify " + Hex::Of(Records::Frame("", id)));
    }
    ASSERT_TRUE(m_host.WaitForEvent("changed"));
    EXPECT_THAT(m_host.events, ElementsAre("connected", "selected c", "clicked c", "changed"));
    EXPECT_EQ(m_client.GetSelection()->uniqueId, "c");

    m_partner->Ask("select -");
    m_partner->Ask("notify " + Hex::Of(Records::Frame("", Records::SELECTION_EVENT)));
    EXPECT_TRUE(m_host.WaitForEvent("selected nothing"));
    EXPECT_FALSE(m_client.GetSelection());
}

// A partner processes requests between the report of its new list and the whole list.
TEST_F(Client, RepairsAListThatChangedBetweenTheReportAndTheWholeList) {
    m_client.AddItems(LetterItems("abc"));
    for (int i = 0; i < 20; ++i) {
        m_host.events.clear();
        StartPartner({});
        m_partner->Stop();
        m_client.AddItemAtEnd({"late " + std::to_string(i), "name"}, m_host.Record());
        m_client.RemoveItem(m_client.GetItems().front().uniqueId, m_host.Record());
        m_partner->SendCommand("created");
        m_partner->Continue();
        ASSERT_TRUE(WaitUntilEqual());
        m_partner->Kill();
        ASSERT_TRUE(m_host.WaitForEvent("lost"));
    }
}

TEST_F(Client, FindsEachNewPartner) {
    m_client.AddItems(LetterItems("abc"));
    StartPartner();
    ASSERT_TRUE(WaitUntilEqual());
    for (int i = 0; i < 5; ++i) {
        m_partner->Kill();
        ASSERT_TRUE(m_host.WaitForEvent("lost"));
        m_client.RemoveItem(m_client.GetItems().front().uniqueId);
        m_client.AddItemAtEnd({"new " + std::to_string(i), "name"});
        m_host.events.clear();
        StartPartner();
        ASSERT_TRUE(WaitUntilEqual());
        m_host.events.clear();
    }
}

TEST_F(Client, SetsItemsWithTheFewestRequestsAndKeepsTheSelection) {
    StartPartner({"--keep-requests"});
    m_client.AddItems(LetterItems("abcdefgh"));
    m_client.SetSelection("c");
    m_client.SetItems(LetterItems("acbdefghi"), m_host.Record());
    ASSERT_TRUE(WaitForOutcomes(1));
    EXPECT_TRUE(WaitUntilEqual());
    EXPECT_EQ(m_client.GetSelection()->uniqueId, "c");
    std::vector<int> ids;
    for (const std::string& request : m_partner->Requests()) {
        ids.push_back(Records::IdOf(request));
    }
    EXPECT_THAT(ids, ElementsAre(2004, 2000, 2008, 2008, 2005, 2000));

    m_client.SetItems(LetterItems("ab"), m_host.Record());
    ASSERT_TRUE(WaitForOutcomes(2));
    EXPECT_TRUE(WaitUntilEqual());
    EXPECT_FALSE(m_client.GetSelection());
}

TEST_F(Client, SendsALongListWithoutComparingAllItems) {
    StartPartner({"--keep-requests"});
    std::vector<AppListClient::Item> items;
    for (int i = 0; i < 5000; ++i) {
        items.push_back({std::to_string(i), "name"});
    }
    m_client.SetItems(items, m_host.Record());
    ASSERT_TRUE(WaitForOutcomes(1));
    EXPECT_TRUE(WaitUntilEqual());
    EXPECT_THAT(m_host.outcomes, ElementsAre(AppListClient::ANSWERED));
    EXPECT_EQ(m_partner->Requests().size(), 1U + 5000U - 2048U);
}

// The first request waits for the partner during the whole test.
TEST_F(Client, MergesChangesWhileThePartnerIsStopped) {
    StartPartner({"--keep-requests"});
    m_partner->Stop();
    const auto start = Clock::now();
    for (int i = 0; i < 3000; ++i) {
        m_client.AddItemAtEnd({std::to_string(i), "name"}, m_host.Record());
        if (i % 3 == 0) {
            m_client.RemoveItem(std::to_string(i));
        }
    }
    m_client.SetSelection("2999");
    EXPECT_LT(SecondsSince(start), 5.0) << "a stopped partner must not delay the host";
    m_partner->Continue();
    ASSERT_TRUE(WaitUntilEqual());
    EXPECT_EQ(m_client.GetItemsCount(), 2000U);
    EXPECT_THAT(m_host.outcomes, Contains(AppListClient::MERGED));
    EXPECT_LT(m_partner->Requests().size(), 2000U);
}

// GDBus ends a request without a reply after 25 s.
TEST_F(Client, ReportsTheFailureOfARequestThatASilentPartnerDoesNotAnswer) {
    StartPartner();
    m_partner->Stop();
    const auto start = Clock::now();
    m_client.AddItems(LetterItems("ab"), m_host.Record());
    m_client.SetSelection("b");
    ASSERT_TRUE(WaitForOutcomes(1));
    EXPECT_GT(SecondsSince(start), 24.0);
    EXPECT_LT(SecondsSince(start), 40.0);
    EXPECT_THAT(m_host.outcomes, ElementsAre(AppListClient::FAILED));
    EXPECT_THAT(m_host.reasons, ElementsAre("Timeout was reached"));
    EXPECT_TRUE(m_client.IsConnected()) << "the partner has not left the bus";
    m_partner->Continue();
    EXPECT_TRUE(WaitUntilEqual());
}

TEST_F(Client, RejectsAClickThatTheQueueCannotHold) {
    StartPartner();
    m_client.AddItemAtEnd({"a", "a"});
    ASSERT_TRUE(WaitUntilEqual());
    m_partner->Stop();
    for (std::size_t i = 0; i < AppListClient::QUEUE_LENGTH + 2; ++i) {
        m_client.SetClicked("a", m_host.Record());
    }
    ASSERT_TRUE(WaitForOutcomes(1));
    EXPECT_EQ(m_host.reasons.front(), "too many clicks wait for the partner");
    m_partner->Continue();
    ASSERT_TRUE(WaitForOutcomes(AppListClient::QUEUE_LENGTH + 2));
}

TEST_F(Client, EndsInBoundedTimeWithAStoppedPartner) {
    StartPartner();
    m_partner->Stop();
    m_client.AddItems(LetterItems("ab"), m_host.Record());
    const auto start = Clock::now();
    m_host.DestroyClient();
    EXPECT_LT(SecondsSince(start), 4.0);
    m_host.DispatchFor(milliseconds(50));
    EXPECT_THAT(m_host.outcomes, IsEmpty());
    m_partner->Continue();
    EXPECT_TRUE(SharedBus::WaitUntilReleased()) << "the threads end once the partner replies";
}

TEST_F(Client, SendsWaitingChangesBeforeItEnds) {
    StartPartner();
    for (int i = 0; i < 50; ++i) { // on a busy machine, 200 requests exceed the limit of the wait
        m_client.AddItemAtEnd({std::to_string(i), "name"});
    }
    const auto records = m_host.Records();
    m_host.DestroyClient();
    EXPECT_EQ(m_partner->List(), records);
}

TEST_F(Client, MayBeDestroyedByAnEventHandler) {
    m_host.onEvent = [this](const std::string&) { m_host.DestroyClient(); };
    m_partner = std::make_unique<PartnerProcess>();
    EXPECT_TRUE(m_host.WaitForEvent("connected"));
    m_partner->Kill();
    m_host.DispatchFor(milliseconds(50));
    EXPECT_THAT(m_host.events, ElementsAre("connected"));
}

TEST_F(Client, LogsTheExceptionOfAnEventHandler) {
    m_host.onEvent = [](const std::string&) { throw std::runtime_error("handler"); };
    StartPartner();
    EXPECT_EQ(CapturedLog::Count(CapturedLog::ERROR, "Exception in an event handler: handler"), 1U);
    m_host.onEvent = nullptr;
}

TEST_F(Client, WaitsForTheBusAndReturnsToItWithListAndSelection) {
    m_client.AddItems(LetterItems("abc"));
    m_client.SetSelection("b");
    StartPartner();
    ASSERT_TRUE(WaitUntilEqual());
    m_bus.Kill();
    EXPECT_TRUE(m_host.WaitForEvent("lost"));
    m_partner->Kill();
    m_client.AddItemAtEnd({"d", "d"}, m_host.Record());
    ASSERT_TRUE(WaitForOutcomes(1));
    EXPECT_THAT(m_host.outcomes, ElementsAre(AppListClient::NO_PARTNER));
    m_host.events.clear();
    m_bus.Restart();
    StartPartner();
    EXPECT_TRUE(WaitUntilEqual());
    EXPECT_EQ(m_client.GetSelection()->uniqueId, "b");
}

// The daemon exists, and does not reply.
TEST_F(Client, ReturnsFromEveryFunctionWhileTheBusIsStopped) {
    StartPartner();
    m_client.AddItems(LetterItems("ab"), m_host.Record());
    ASSERT_TRUE(WaitForOutcomes(1));
    const pid_t daemon = BusDaemon::Process(SharedBus().Connection());
    kill(daemon, SIGSTOP);
    const auto start = Clock::now();
    for (int i = 0; i < 3000; ++i) {
        m_client.ModifyItem("a", {"a", std::to_string(i)});
        m_client.SetClicked("b");
    }
    EXPECT_LT(SecondsSince(start), 5.0);
    kill(daemon, SIGCONT);
    EXPECT_TRUE(WaitUntilEqual());
}

// The shared connection, made on a thread that iterates no main context: its signal "closed" is
// not emitted before the end of this object.
class ConnectionOfAnotherThread {
public:
    ConnectionOfAnotherThread() : m_context(g_main_context_new()) {
        std::thread([this] {
            g_main_context_push_thread_default(m_context);
            m_connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
            g_main_context_pop_thread_default(m_context);
        }).join();
    }
    ~ConnectionOfAnotherThread() {
        g_object_unref(m_connection);
        while (g_main_context_iteration(m_context, FALSE) != FALSE) {
        }
        g_main_context_unref(m_context);
    }

    ConnectionOfAnotherThread(const ConnectionOfAnotherThread&) = delete;
    ConnectionOfAnotherThread& operator=(const ConnectionOfAnotherThread&) = delete;

    /** Waits for the thread of GDBus, which detects the end of the bus. */
    void WaitUntilClosed() const {
        while (g_dbus_connection_is_closed(m_connection) == FALSE) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

private:
    GMainContext* m_context;
    GDBusConnection* m_connection = nullptr;
};

constexpr const char* CLOSED_CONNECTION =
    "Client waits, the process still holds the closed connection";

TEST(ClientWithoutABus, DetectsTheLossOfAConnectionWithoutSignalsAtARequest) {
    PrivateBus bus;
    const ConnectionOfAnotherThread connection;
    ClientHost host;
    PartnerProcess partner;
    ASSERT_TRUE(host.WaitForEvent("connected"));
    bus.Kill();
    host.Client().AddItems(LetterItems("ab"));
    EXPECT_TRUE(host.WaitForEvent("lost"));
    EXPECT_TRUE(CapturedLog::WaitFor(CapturedLog::ERROR, CLOSED_CONNECTION));
    host.DestroyClient();
}

// Without a partner, no request reaches the bus.
TEST(ClientWithoutABus, DetectsTheLossOfAConnectionWithoutSignalsAtAChange) {
    PrivateBus bus;
    const ConnectionOfAnotherThread connection;
    ClientHost host;
    PartnerProcess partner;
    ASSERT_TRUE(host.WaitForEvent("connected"));
    partner.Kill();
    ASSERT_TRUE(host.WaitForEvent("lost"));
    bus.Kill();
    connection.WaitUntilClosed();
    host.Client().AddItems(LetterItems("ab"));
    EXPECT_TRUE(CapturedLog::WaitFor(CapturedLog::ERROR, CLOSED_CONNECTION));
    host.DestroyClient();
}

// The loop of the host emits the signal "closed", and the list's thread waits in its own loop.
TEST(ClientWithoutABus, ReturnsToABusThatWasLostWithoutAPartner) {
    PrivateBus bus;
    auto connection = std::make_unique<SharedBus>();
    ClientHost host;
    auto partner = std::make_unique<PartnerProcess>();
    ASSERT_TRUE(host.WaitForEvent("connected"));
    partner->Kill();
    ASSERT_TRUE(host.WaitForEvent("lost"));
    bus.Restart();
    EXPECT_TRUE(MainLoop::IterateUntil(
        [&] { return g_dbus_connection_is_closed(connection->Connection()) != FALSE; }));
    connection.reset();
    MainLoop::IterateUntilIdle();
    host.events.clear();
    partner = std::make_unique<PartnerProcess>();
    EXPECT_TRUE(host.WaitForEvent("connected"));
}

TEST(ClientWithoutABus, StartsAndEndsInBoundedTimeWhileTheBusIsStopped) {
    const PrivateBus bus;
    const pid_t daemon = BusDaemon::Process(SharedBus().Connection());
    ASSERT_TRUE(SharedBus::WaitUntilReleased());
    kill(daemon, SIGSTOP);
    const auto start = Clock::now();
    {
        ClientHost host;
        EXPECT_LT(SecondsSince(start), 1.0) << "the constructor does not wait for the bus";
        host.Client().AddItems(LetterItems("ab"));
        EXPECT_EQ(host.Client().GetItemsCount(), 2U);
    }
    EXPECT_LT(SecondsSince(start), 1.5) << "the attempt to connect ends with the client";
    kill(daemon, SIGCONT);
    EXPECT_TRUE(SharedBus::WaitUntilReleased());
}

// The closed connection raises SIGTERM on the thread that made it, which is the host's here.
TEST(ClientWithoutABus, KeepsAProcessAliveWhoseHostMadeTheConnection) {
    PrivateBus bus;
    auto connection = std::make_unique<SharedBus>();
    ClientHost host;
    const PartnerProcess partner;
    ASSERT_TRUE(host.WaitForEvent("connected"));
    bus.Kill();
    GDBusConnection* const closed = connection->Connection();
    EXPECT_TRUE(MainLoop::IterateUntil([&] { return g_dbus_connection_is_closed(closed) != 0; }));
    MainLoop::IterateUntilIdle();
}

TEST(ClientWithoutABus, StartsWithoutABusAndConnectsAfterTheStartOfTheBus) {
    CapturedLog::Clear();
    PrivateBus bus;
    bus.Kill();
    ClientHost host;
    host.Client().AddItems(LetterItems("ab"), host.Record());
    ASSERT_TRUE(host.WaitUntil([&] { return host.outcomes.size() == 1; }));
    EXPECT_THAT(host.outcomes, ElementsAre(AppListClient::NO_PARTNER));
    host.DispatchFor(milliseconds(1200)); // more than one attempt
    EXPECT_EQ(CapturedLog::CountStarting(CapturedLog::ERROR, "Client cannot reach the bus"), 1U);
    bus.Restart();
    PartnerProcess partner({"--created"});
    EXPECT_TRUE(host.WaitForEvent("connected"));
    EXPECT_TRUE(host.WaitUntil([&] { return partner.List() == host.Records(); }));
}

// The signals of a process belong to the threads of its host.
// Those of faults stay, for the crash handler of a host.
TEST_F(Client, BlocksTheSignalsOfTheProcessInItsThreads) {
    StartPartner();
    int threads = 0;
    DIR* const folder = opendir("/proc/self/task");
    while (const dirent* const entry = readdir(folder)) {
        const std::string path = std::string("/proc/self/task/") + entry->d_name;
        std::string name;
        std::getline(std::ifstream(path + "/comm") >> std::ws, name);
        if (name.rfind("applist-", 0) != 0) {
            continue;
        }
        ++threads;
        std::ifstream status(path + "/status");
        for (std::string line; std::getline(status, line);) {
            if (line.rfind("SigBlk:", 0) == 0) {
                const std::uint64_t blocked = std::stoull(line.substr(7), nullptr, 16);
                EXPECT_NE(blocked & (1U << (SIGTERM - 1)), 0U);
                EXPECT_EQ(blocked & (1U << (SIGSEGV - 1)), 0U);
            }
        }
    }
    closedir(folder);
    EXPECT_EQ(threads, 2);
}

} // namespace
