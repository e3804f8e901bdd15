// Actions of a host on its own process beside the library: cancelled threads, forks, a closed bus
// connection, and a reached limit of threads.
#include <cerrno>
#include <csignal>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Bytes.h"
#include "CancelledThread.h"
#include "CapturedLog.h"
#include "HostProcess.h"
#include "MainLoop.h"
#include "PrivateBus.h"
#include "RecordingEndpoint.h"
#include "SharedBus.h"
#include "TestPartner.h"

namespace {

using Bytes = std::vector<char>;

class ConnectedHost : public testing::Test {
protected:
    ConnectedHost() {
        EXPECT_TRUE(MainLoop::IterateUntil([&] { return endpoint->IsConnectionReady(); }));
        EXPECT_TRUE(partner.WaitForAnnouncement("_CLIENT_ACK"));
        MainLoop::IterateUntilIdle();
        CapturedLog::Clear();
    }
    ~ConnectedHost() override {
        endpoint.reset();
        shared.reset();
        EXPECT_TRUE(SharedBus::WaitUntilReleased());
    }

    /** Whether a request is answered. */
    bool Works() {
        partner.AnswerWith([](const Bytes&) { return ByteVector("reply"); });
        Bytes request = ByteVector("request");
        return endpoint->SendMessage(request) == ByteVector("reply");
    }

    PrivateBus bus;
    std::optional<SharedBus> shared{std::in_place};
    TestPartner partner{bus};
    std::function<void()> onReport;
    std::unique_ptr<RecordingEndpoint> endpoint = std::make_unique<RecordingEndpoint>(
        RecordingEndpoint::Actions{nullptr, nullptr, [this](bool, const std::string&) {
                                       if (onReport) {
                                           onReport();
                                       }
                                   }});
};

using Cancellation = ConnectedHost;

TEST_F(Cancellation, OfAThreadInsideARequestTakesEffectAfterTheReply) {
    std::promise<void> asked;
    std::promise<void> released;
    partner.AnswerWith([&](const Bytes&) {
        asked.set_value();
        released.get_future().wait();
        return ByteVector("reply");
    });
    Bytes reply;
    CancelledThread thread([&] {
        Bytes request = ByteVector("request");
        reply = endpoint->SendMessage(request);
    });
    asked.get_future().wait();
    thread.Cancel();
    released.set_value();
    EXPECT_TRUE(thread.FinishedFirst());
    EXPECT_EQ(reply, ByteVector("reply"));
    EXPECT_TRUE(Works());
}

TEST_F(Cancellation, ThatIsPendingTakesEffectAfterANotification) {
    Bytes event = ByteVector("event");
    EXPECT_TRUE(FinishesBeforeItsCancellation([&] { endpoint->SendNotification(event); }));
    EXPECT_TRUE(partner.WaitForNotifications(1));
    EXPECT_TRUE(Works());
}

TEST_F(Cancellation, ThatIsPendingTakesEffectAfterAnAnnouncement) {
    bool isAnnounced = false;
    EXPECT_TRUE(FinishesBeforeItsCancellation([&] {
        std::string name = "org.example.Name";
        isAnnounced = endpoint->BroadcastName(name);
    }));
    EXPECT_TRUE(isAnnounced);
}

TEST_F(Cancellation, ThatIsPendingTakesEffectAfterTheDestructorOfAnEndpoint) {
    EXPECT_TRUE(FinishesBeforeItsCancellation([&] { endpoint.reset(); }));
}

// The loop's thread, which is inside a handler.
TEST_F(Cancellation, ThatIsPendingTakesEffectAfterAHandlerOfTheHost) {
    bool isHandlerFinished = false;
    onReport = [&] {
        pthread_testcancel();
        isHandlerFinished = true;
    };
    g_autoptr(GVariant) change = g_variant_ref_sink(g_variant_new(
        "(sss)", "org.morva.JavaMW.Applist_SERVICE_ACK", partner.UniqueName().c_str(), ""));
    EXPECT_TRUE(FinishesBeforeItsCancellation([&] {
        JavaMWDbusRemote::cb_AckNameOwnerChanged(shared->Connection(), "", "", "", "", change,
                                                 static_cast<JavaMWDbusRemote*>(endpoint.get()));
    }));
    EXPECT_TRUE(isHandlerFinished);
    onReport = nullptr;
}

// No other part of the process holds the connection, so the endpoint makes it.
TEST(CancellationOfAnEndpointsStart, ThatIsPendingTakesEffectAfterTheConnection) {
    const PrivateBus bus;
    std::unique_ptr<JavaMWDbusRemote> endpoint;
    EXPECT_TRUE(FinishesBeforeItsCancellation(
        [&] { endpoint = std::make_unique<JavaMWDbusRemote>("Applist"); }));
    EXPECT_NE(endpoint, nullptr);
    endpoint.reset();
    EXPECT_TRUE(SharedBus::WaitUntilReleased());
}

using ForkedChild = ConnectedHost;

TEST_F(ForkedChild, WithoutACallOfTheLibraryLeavesTheConnectionOfItsParentIntact) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        _exit(7);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 7);
    EXPECT_TRUE(Works());
}

bool IsOwned(GDBusConnection* connection, const std::string& name) {
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "NameHasOwner", g_variant_new("(s)", name.c_str()), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
        nullptr, nullptr);
    gboolean isOwned = FALSE;
    g_variant_get(reply, "(b)", &isOwned);
    return isOwned != FALSE;
}

TEST(ForkedChildOfAHostThatExits, KeepsTheHostsConnectionOpenUntilTheChildExits) {
    const PrivateBus bus;
    g_autoptr(GDBusConnection) connection = bus.Connect();
    const HostProcess host = HostProcess::Run({APPLIST_TESTS_FORKING_HOST});
    ASSERT_EQ(host.status, 0);
    const std::size_t blank = host.output.find(' ');
    const pid_t child = std::stoi(host.output);
    const std::string name = host.output.substr(blank + 1, host.output.find('\n') - blank - 1);
    EXPECT_TRUE(IsOwned(connection, name));
    kill(child, SIGKILL);
    EXPECT_TRUE(MainLoop::WaitWithoutIterating([&] { return !IsOwned(connection, name); }));
    g_dbus_connection_close_sync(connection, nullptr, nullptr);
}

using ClosedConnection = ConnectedHost;

// Exit-on-close is on; it applies to a lost bus, not to a connection that the host closes.
TEST_F(ClosedConnection, MakesEachRequestFailWithALoggedErrorWithoutEndingTheProcess) {
    ASSERT_NE(g_dbus_connection_get_exit_on_close(shared->Connection()), FALSE);
    ASSERT_NE(g_dbus_connection_close_sync(shared->Connection(), nullptr, nullptr), FALSE);
    MainLoop::IterateUntilIdle();
    CapturedLog::Clear();
    Bytes data = ByteVector("data");
    EXPECT_EQ(endpoint->SendMessage(data), Bytes());
    endpoint->SendNotification(data);
    EXPECT_EQ(CountError("Error while sending message [18] The connection is closed"), 1U);
    EXPECT_EQ(CountError("Error while sending signal [18] The connection is closed"), 1U);
    endpoint.reset();
}

/** Refuses new threads until its destructor: RLIMIT_NPROC, which does not apply to root. */
class ThreadLimit {
public:
    ThreadLimit() {
        if (geteuid() == 0) {
            EXPECT_EQ(setresuid(NOBODY, NOBODY, 0), 0);
        }
        getrlimit(RLIMIT_NPROC, &m_before);
        const rlimit limit = {1, m_before.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NPROC, &limit), 0);
    }
    ~ThreadLimit() {
        setrlimit(RLIMIT_NPROC, &m_before);
        if (geteuid() == NOBODY) {
            EXPECT_EQ(setresuid(0, 0, 0), 0);
        }
    }

private:
    static constexpr uid_t NOBODY = 65534;
    rlimit m_before = {};
};

TEST(LimitOfThreads, KeepsAFailedAnswerUntilTheNextFailure) {
    PrivateBus bus;
    std::optional<SharedBus> shared(std::in_place);
    TestPartner partner(bus, false);
    std::optional<RecordingEndpoint> endpoint(std::in_place);
    bus.SetPolicy("<deny own='org.morva.JavaMW.Applist_CLIENT_SYN_ACK'/>");
    {
        const ThreadLimit limit;
        partner.Announce("_SYN");
        EXPECT_TRUE(MainLoop::IterateUntil(
            [] { return CountDebug("Timer thread create status: 0") == 1; }));
        partner.Announce("_ACK");
        EXPECT_TRUE(MainLoop::IterateUntil([&] { return endpoint->IsConnectionReady(); }));
    }
    endpoint.reset();
    shared.reset();
    EXPECT_TRUE(SharedBus::WaitUntilReleased());
}

} // namespace
