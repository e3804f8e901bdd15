// A failed announcement of an answer is repeated until it succeeds, the partner changes or the
// endpoint ends.
#include "ChannelTest.h"
#include "NamedRow.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <future>
#include <optional>

#include "BusDaemon.h"
#include "LibraryCalls.h"

namespace {

using testing::AnyOf, testing::ElementsAre, testing::IsEmpty, testing::Pair, testing::StartsWith;

const std::string CLIENT_ACK = "org.morva.JavaMW.Applist_CLIENT_ACK";

std::size_t ThreadCount() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

class Resend : public HeldBusTest {
protected:
    Resend() { LibraryCalls::ForgetThreads(); }
    ~Resend() override { LibraryCalls::RefuseThreads(false); }

    void DenyAnswers() {
        bus.SetPolicy(Deny::Owning("_CLIENT_ACK") + Deny::Owning("_CLIENT_SYN_ACK"));
    }
    void AllowAnswers() { bus.SetPolicy(""); }

    void Announce(TestPartner& announcer, const std::string& suffix) {
        announcer.Announce(suffix);
        IterateThroughTheBus();
    }

    /** The partner announces @p suffix, and the bus refuses the answer. */
    void Refuse(const std::string& suffix) {
        DenyAnswers();
        Announce(partner, suffix);
    }

    static bool WaitForPasses(std::size_t count) {
        return MainLoop::WaitWithoutIterating([=] {
            return CountDebugStarting("Failed to broadcasted: ") +
                       CountDebug("Nothing left to resend, closing timer") >=
                   count;
        });
    }

    static bool WaitForTheThreadsEnd(JavaMWDbusRemote& endpoint) {
        return MainLoop::WaitWithoutIterating([&] {
            const PTAutoLock lock(EndpointInside::m_mutex(endpoint));
            return EndpointInside::m_resendThread(endpoint) == 0;
        });
    }

    /** The bus accepts the answers, until all are announced. */
    bool AnnounceAllAnswers(JavaMWDbusRemote& endpoint) {
        AllowAnswers();
        return WaitForTheThreadsEnd(endpoint);
    }

    static EndpointInside::Names Pending(JavaMWDbusRemote& endpoint) {
        const PTAutoLock lock(EndpointInside::m_mutex(endpoint));
        return EndpointInside::m_resendNames(endpoint);
    }

    // The messages from the first that equals @p first on.
    static std::vector<std::string> MessagesFrom(const std::string& first) {
        const auto all = CapturedLog::Messages();
        return {std::find(all.begin(), all.end(), first), all.end()};
    }

    TestPartner partner{bus, false};
};

struct PendingAnswer : NamedRow {
    const char* partnersStep;
    const char* suffix;
    const char* announced;
    int stateAfter;
};

class FailedAnswer : public Resend, public testing::WithParamInterface<PendingAnswer> {};

TEST_P(FailedAnswer, IsRecordedAndLeavesTheBindingUnchanged) {
    RecordingEndpoint endpoint;
    DenyAnswers();
    CapturedLog::Clear();
    Announce(partner, GetParam().partnersStep);
    const std::string announced = GetParam().announced;
    const auto messages = MessagesFrom("DEBUG Subscribe for signals from " + partner.UniqueName() +
                                       " on object " + PATH + ".");
    EXPECT_THAT(messages,
                ElementsAre(StartsWith("DEBUG Subscribe"),
                            "DEBUG BroadcastName " + announced + " Public unique name " + OwnName(),
                            StartsWith("ERROR Error during request name call [9] "),
                            "ERROR Cannot get response for name request",
                            "DEBUG Failed to broadcast: " + announced + ". Requested resend",
                            "DEBUG Creating timer that will execute OnResendHandshake()",
                            "DEBUG Timer thread create status: 1"));
    EXPECT_EQ(EndpointInside::State(endpoint), 1);
    EXPECT_EQ(EndpointInside::m_partnerId(endpoint), partner.UniqueName());
    EXPECT_NE(EndpointInside::m_partnerWatchId(endpoint), 0u);
    EXPECT_NE(EndpointInside::m_partnerProxy(endpoint), nullptr);
    EXPECT_NE(EndpointInside::m_signalSubscriptionId(endpoint), 0u);
    EXPECT_THAT(Pending(endpoint), ElementsAre(Pair(partner.UniqueName(), GetParam().suffix)));
    EXPECT_THAT(endpoint.Readinesses(), IsEmpty());
}

TEST_P(FailedAnswer, IsAnnouncedAgainUntilTheBusAcceptsIt) {
    RecordingEndpoint endpoint;
    Refuse(GetParam().partnersStep);
    ASSERT_TRUE(WaitForPasses(2));
    EXPECT_EQ(EndpointInside::State(endpoint), 1);
    EXPECT_THAT(Pending(endpoint), ElementsAre(Pair(partner.UniqueName(), GetParam().suffix)));
    ASSERT_TRUE(AnnounceAllAnswers(endpoint));
    EXPECT_EQ(EndpointInside::State(endpoint), GetParam().stateAfter);
    EXPECT_THAT(Pending(endpoint), IsEmpty());
    EXPECT_EQ(LibraryCalls::Threads().requested, 1);
}

TEST_P(FailedAnswer, LogsEachStepOfItsResending) {
    RecordingEndpoint endpoint;
    Refuse(GetParam().partnersStep);
    ASSERT_TRUE(WaitForPasses(1));
    const std::string announced = GetParam().announced;
    const std::string first = "DEBUG Executed OnResendHandshake function";
    auto pass = MessagesFrom(first);
    pass.resize(7);
    const std::string resending = "DEBUG Resending handshake: partner " + partner.UniqueName() +
                                  ", handshakeSuffix " + GetParam().suffix;
    const std::string broadcast =
        "DEBUG BroadcastName " + announced + " Public unique name " + OwnName();
    EXPECT_THAT(pass,
                ElementsAre(first, "DEBUG Number of handshakes to resend: 1", resending, broadcast,
                            StartsWith("ERROR Error during request name call "),
                            "ERROR Cannot get response for name request",
                            "DEBUG Failed to broadcasted: " + announced + ". Will try once again"));

    ASSERT_TRUE(AnnounceAllAnswers(endpoint));
    auto messages = CapturedLog::Messages();
    ASSERT_GE(messages.size(), 8u);
    messages.erase(messages.begin(), messages.end() - 8);
    EXPECT_THAT(messages,
                ElementsAre(first, "DEBUG Number of handshakes to resend: 1", resending, broadcast,
                            "DEBUG Become primary owner for name. Releasing it.",
                            "DEBUG Successfully broadcasted: " + announced,
                            "DEBUG Nothing left to resend, closing timer",
                            "DEBUG Finished timer thread"));
}

INSTANTIATE_TEST_SUITE_P(All, FailedAnswer,
                         testing::Values(PendingAnswer{"SynAck", "_SYN", "_SYN_ACK",
                                                       "org.morva.JavaMW.Applist_CLIENT_SYN_ACK",
                                                       2},
                                         PendingAnswer{"Ack", "_SYN_ACK", "_ACK",
                                                       "org.morva.JavaMW.Applist_CLIENT_ACK", 3}),
                         RowName<PendingAnswer>);

TEST_F(Resend, ReportsReadyOnTheResendThreadForAnAckAlone) {
    RecordingEndpoint endpoint;
    Refuse("_SYN_ACK");
    EXPECT_THAT(endpoint.Readinesses(), IsEmpty());
    ASSERT_TRUE(AnnounceAllAnswers(endpoint));
    EXPECT_THAT(endpoint.Readinesses(), ElementsAre(Readiness{true, partner.UniqueName()}));
    EXPECT_NE(endpoint.ReadinessThreads().front(), std::this_thread::get_id());
    EXPECT_TRUE(partner.WaitForAnnouncement("_CLIENT_ACK"));
}

TEST_F(Resend, ReportsNothingForASynAck) {
    RecordingEndpoint endpoint;
    Refuse("_SYN");
    ASSERT_TRUE(AnnounceAllAnswers(endpoint));
    EXPECT_THAT(endpoint.Readinesses(), IsEmpty());
    EXPECT_TRUE(partner.WaitForAnnouncement("_CLIENT_SYN_ACK"));
}

// Deliberate: an answer that succeeds late has its effect late.
TEST_F(Resend, ResetsTheStateFromThreeToTwo) {
    RecordingEndpoint endpoint;
    Refuse("_SYN");
    Announce(partner, "_ACK");
    EXPECT_EQ(EndpointInside::State(endpoint), 3);
    EXPECT_TRUE(endpoint.IsConnectionReady());
    ASSERT_TRUE(AnnounceAllAnswers(endpoint));
    EXPECT_EQ(EndpointInside::State(endpoint), 2);
    EXPECT_FALSE(endpoint.IsConnectionReady());
    Announce(partner, "_ACK");
    EXPECT_TRUE(endpoint.IsConnectionReady());
}

// A release that failed leaves the name owned, and a name that is owned cannot be requested.
TEST_F(Resend, ContinuesWhileARefusedReleaseLeavesTheNameOwned) {
    RecordingEndpoint endpoint;
    bus.SetPolicy(Deny::Calling("ReleaseName"));
    // Not announced by the partner, which could not release its name either.
    g_autoptr(GVariant) change =
        OwnerChange("org.morva.JavaMW.Applist_SERVICE_SYN_ACK", partner.UniqueName().c_str(), "");
    JavaMWDbusRemote::cb_SynAckNameOwnerChanged(Shared().Connection(), "", "", "", "", change,
                                                &endpoint);
    EXPECT_EQ(CountError("Release failed due to empty response."), 1u);
    EXPECT_EQ(EndpointInside::State(endpoint), 1);
    ASSERT_TRUE(CapturedLog::WaitFor(CapturedLog::ERROR, "Cannot own name due to return code = 4"));
    AllowAnswers();
    EXPECT_TRUE(BusDaemon::ReleaseName(Shared().Connection(), CLIENT_ACK));
    ASSERT_TRUE(WaitForTheThreadsEnd(endpoint));
    EXPECT_EQ(EndpointInside::State(endpoint), 3);
}

// Partners that change

TEST_F(Resend, DropsAPendingAnswerToALostPartner) {
    auto leaving = std::make_unique<TestPartner>(bus, false);
    const std::string name = leaving->UniqueName();
    RecordingEndpoint endpoint;
    DenyAnswers();
    Announce(*leaving, "_SYN_ACK");
    leaving.reset();
    ASSERT_TRUE(IterateUntilLogged(CapturedLog::DEBUG, "Stop watching old partner messages."));
    ASSERT_TRUE(WaitForTheThreadsEnd(endpoint));
    EXPECT_EQ(CountDebug("Partner name:  different then resend partner name: " + name), 1u);
    EXPECT_THAT(Pending(endpoint), IsEmpty());
    EXPECT_EQ(EndpointInside::State(endpoint), 0);
}

TEST_F(Resend, DropsAPendingAnswerToAReplacedPartnerAndKeepsTheOther) {
    auto leaving = std::make_unique<TestPartner>(bus, false);
    const std::string old = leaving->UniqueName();
    RecordingEndpoint endpoint;
    DenyAnswers();
    Announce(*leaving, "_SYN_ACK");
    leaving.reset();
    ASSERT_TRUE(IterateUntilLogged(CapturedLog::DEBUG, "Stop watching old partner messages."));
    Announce(partner, "_SYN");
    // A quick pass may already have removed the first entry.
    ASSERT_TRUE(MainLoop::WaitWithoutIterating([&] { return Pending(endpoint).size() == 1; }));
    EXPECT_THAT(Pending(endpoint), ElementsAre(Pair(partner.UniqueName(), "_SYN_ACK")));
    EXPECT_THAT(CapturedLog::Messages(),
                testing::Contains(
                    AnyOf("DEBUG Partner name: " + partner.UniqueName() +
                              " different then resend partner name: " + old,
                          "DEBUG Partner name:  different then resend partner name: " + old)));
    ASSERT_TRUE(AnnounceAllAnswers(endpoint));
    EXPECT_EQ(EndpointInside::State(endpoint), 2);
}

// The thread

TEST_F(Resend, StartsNoSecondThreadWhileOneIsRunning) {
    auto leaving = std::make_unique<TestPartner>(bus, false);
    RecordingEndpoint endpoint;
    DenyAnswers();
    Announce(*leaving, "_SYN_ACK");
    {
        // The first entry stays, and so does the thread: the loss is not dispatched yet.
        const PTAutoLock lock(EndpointInside::m_mutex(endpoint));
        EXPECT_NE(EndpointInside::m_resendThread(endpoint), 0u);
    }
    g_autoptr(GVariant) change =
        OwnerChange("org.morva.JavaMW.Applist_SERVICE_SYN", partner.UniqueName().c_str(), "");
    JavaMWDbusRemote::cb_PartnerNameVanished(Shared().Connection(), leaving->UniqueName().c_str(),
                                             &endpoint);
    JavaMWDbusRemote::cb_SynNameOwnerChanged(Shared().Connection(), "", "", "", "", change,
                                             &endpoint);
    ASSERT_TRUE(WaitForPasses(1));
    EXPECT_EQ(LibraryCalls::Threads().requested, 1);
    EXPECT_EQ(CountDebug("Creating timer that will execute OnResendHandshake()"), 1u);
    EXPECT_THAT(Pending(endpoint), ElementsAre(Pair(partner.UniqueName(), "_SYN_ACK")));
    EXPECT_EQ(CountDebug("Resending handshake: partner " + partner.UniqueName() +
                         ", handshakeSuffix _SYN_ACK"),
              1u);
}

// Bound, lost and bound again by the same partner before the first pass.
TEST_F(Resend, ReplacesThePendingAnswerToTheSamePartner) {
    RecordingEndpoint endpoint;
    Refuse("_SYN_ACK");
    EXPECT_THAT(Pending(endpoint), ElementsAre(Pair(partner.UniqueName(), "_ACK")));
    JavaMWDbusRemote::cb_PartnerNameVanished(Shared().Connection(), partner.UniqueName().c_str(),
                                             &endpoint);
    Announce(partner, "_SYN");
    EXPECT_THAT(Pending(endpoint), ElementsAre(Pair(partner.UniqueName(), "_SYN_ACK")));
    EXPECT_EQ(LibraryCalls::Threads().requested, 1);
}

TEST_F(Resend, EndsItsThreadAfterOnePassOverAnEmptyTable) {
    RecordingEndpoint endpoint;
    DenyAnswers();
    const auto start = std::chrono::steady_clock::now();
    Announce(partner, "_SYN_ACK");
    {
        const PTAutoLock lock(EndpointInside::m_mutex(endpoint));
        EndpointInside::m_resendNames(endpoint).clear();
    }
    ASSERT_TRUE(WaitForTheThreadsEnd(endpoint));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
    EXPECT_THAT(MessagesFrom("DEBUG Executed OnResendHandshake function"),
                ElementsAre("DEBUG Executed OnResendHandshake function",
                            "DEBUG Number of handshakes to resend: 0",
                            "DEBUG Nothing left to resend, closing timer",
                            "DEBUG Finished timer thread"));
    EXPECT_EQ(EndpointInside::State(endpoint), 1);
}

TEST_F(Resend, StartsAnotherThreadAfterTheFirstHasEnded) {
    std::optional<RecordingEndpoint> endpoint(std::in_place);
    Refuse("_SYN_ACK");
    ASSERT_TRUE(AnnounceAllAnswers(*endpoint));
    DenyAnswers();
    JavaMWDbusRemote::cb_PartnerNameVanished(Shared().Connection(), partner.UniqueName().c_str(),
                                             &*endpoint);
    Announce(partner, "_SYN_ACK");
    EXPECT_EQ(LibraryCalls::Threads().started, 2);
    ASSERT_TRUE(AnnounceAllAnswers(*endpoint));
    EXPECT_EQ(EndpointInside::State(*endpoint), 3);
    endpoint.reset();
    EXPECT_EQ(LibraryCalls::Threads().joined, 2);
}

TEST_F(Resend, JoinsItsThread) {
    const std::size_t before = ThreadCount();
    {
        RecordingEndpoint endpoint;
        Refuse("_SYN_ACK");
        ASSERT_TRUE(WaitForPasses(1));
        EXPECT_EQ(ThreadCount(), before + 1);
    }
    EXPECT_EQ(ThreadCount(), before);
    EXPECT_EQ(LibraryCalls::Threads().joined, 1);
}

TEST_F(Resend, KeepsTheAnswerWhenNoThreadCanBeStarted) {
    RecordingEndpoint endpoint;
    DenyAnswers();
    LibraryCalls::RefuseThreads(true);
    CapturedLog::Clear();
    Announce(partner, "_SYN_ACK");
    EXPECT_EQ(CountDebug("Timer thread create status: 0"), 1u);
    EXPECT_THAT(Pending(endpoint), ElementsAre(Pair(partner.UniqueName(), "_ACK")));
    EXPECT_EQ(LibraryCalls::Threads().requested, 1);

    // The next failure starts one.
    LibraryCalls::RefuseThreads(false);
    JavaMWDbusRemote::cb_PartnerNameVanished(Shared().Connection(), partner.UniqueName().c_str(),
                                             &endpoint);
    Announce(partner, "_SYN_ACK");
    EXPECT_EQ(LibraryCalls::Threads().started, 1);
    ASSERT_TRUE(AnnounceAllAnswers(endpoint));
    EXPECT_EQ(EndpointInside::State(endpoint), 3);
}

TEST_F(Resend, WithoutAStartedThreadIsNotJoined) {
    {
        RecordingEndpoint endpoint;
        DenyAnswers();
        LibraryCalls::RefuseThreads(true);
        Announce(partner, "_SYN_ACK");
    }
    EXPECT_EQ(LibraryCalls::Threads().joined, 0);
}

// The endpoint's end

TEST_F(Resend, EndsSoonWithAnEndpointWhoseAnswerKeepsFailing) {
    std::optional<RecordingEndpoint> endpoint(std::in_place);
    Refuse("_SYN_ACK");
    ASSERT_TRUE(WaitForPasses(1));
    CapturedLog::Clear();
    const auto start = std::chrono::steady_clock::now();
    endpoint.reset();
    // Half a second, a pass, and room for a busy machine.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(LibraryCalls::Threads().joined, 1);
    auto messages = CapturedLog::Messages();
    ASSERT_GE(messages.size(), 2u);
    // Earlier lines depend on the step of the thread in its pass.
    messages.erase(messages.begin(), messages.end() - 2);
    EXPECT_THAT(messages, ElementsAre("DEBUG Nothing left to resend, closing timer",
                                      "DEBUG Finished timer thread"));
}

// Each endpoint ends somewhere else in its thread's period and passes.
TEST_F(Resend, EndsWithItsEndpointAtEachStep) {
    DenyAnswers();
    for (int i = 0; i < 6; ++i) {
        std::optional<RecordingEndpoint> endpoint(std::in_place);
        partner.Announce("_SYN_ACK");
        ASSERT_TRUE(IterateUntilLogged(CapturedLog::DEBUG, "Timer thread create status: 1"));
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(i * 170);
        MainLoop::WaitWithoutIterating([=] { return std::chrono::steady_clock::now() >= end; });
        const auto start = std::chrono::steady_clock::now();
        endpoint.reset();
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
        CapturedLog::Clear();
    }
    EXPECT_EQ(LibraryCalls::Threads().joined, 6);
}

TEST_F(Resend, FinishesItsReportBeforeTheDestructorReturns) {
    std::promise<void> entered;
    std::promise<void> release;
    std::atomic<bool> finished{false};
    RecordingEndpoint::Actions actions;
    actions.onReady = [&](bool, const std::string&) {
        entered.set_value();
        release.get_future().wait();
        finished = true;
    };
    auto endpoint = std::make_unique<RecordingEndpoint>(actions);
    Refuse("_SYN_ACK");
    AllowAnswers();
    entered.get_future().wait();
    std::future<bool> destroyed = std::async(std::launch::async, [&] {
        endpoint.reset();
        return finished.load();
    });
    // Too short a wait could only miss a fault.
    EXPECT_EQ(destroyed.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    release.set_value();
    EXPECT_TRUE(destroyed.get());
    EXPECT_EQ(LibraryCalls::Threads().joined, 1);
}

// One pass, with a table of the test's own

class ResendPass : public Resend {
protected:
    static void SetPending(JavaMWDbusRemote& endpoint, const EndpointInside::Names& names) {
        const PTAutoLock lock(EndpointInside::m_mutex(endpoint));
        EndpointInside::m_resendNames(endpoint) = names;
    }

    int Pass(JavaMWDbusRemote& endpoint) {
        CapturedLog::Clear();
        return JavaMWDbusRemote::OnResendHandshake(&endpoint);
    }
};

TEST_F(ResendPass, EndsTheTimerWhenTheTableIsEmpty) {
    RecordingEndpoint endpoint;
    EXPECT_EQ(Pass(endpoint), 0);
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG Executed OnResendHandshake function",
                            "DEBUG Number of handshakes to resend: 0",
                            "DEBUG Nothing left to resend, closing timer"));
}

TEST_F(ResendPass, DropsAnUnknownSuffixWithoutALogLine) {
    RecordingEndpoint endpoint;
    Announce(partner, "_SYN_ACK");
    for (const char* suffix : {"_SYN", "", "ACK", "_ACK_", "_SYN_ACK "}) {
        SetPending(endpoint, {{partner.UniqueName(), suffix}});
        EXPECT_EQ(Pass(endpoint), 0);
        EXPECT_THAT(CapturedLog::Messages(),
                    ElementsAre("DEBUG Executed OnResendHandshake function",
                                "DEBUG Number of handshakes to resend: 1",
                                "DEBUG Resending handshake: partner " + partner.UniqueName() +
                                    ", handshakeSuffix " + suffix,
                                "DEBUG Nothing left to resend, closing timer"));
        EXPECT_THAT(Pending(endpoint), IsEmpty());
    }
    EXPECT_EQ(EndpointInside::State(endpoint), 3);
}

TEST_F(ResendPass, FollowsTheOrderOfTheKeysAndKeepsFailedAnswers) {
    RecordingEndpoint endpoint;
    Announce(partner, "_SYN_ACK");
    DenyAnswers();
    const std::string name = partner.UniqueName();
    SetPending(endpoint, {{":2.1", "_ACK"}, {name, "_ACK"}, {":1.10", "_SYN_ACK"}, {":0", "_ACK"}});
    EXPECT_EQ(Pass(endpoint), 1);
    std::vector<std::string> order;
    for (const CapturedLog::Line& line : CapturedLog::Lines()) {
        if (line.message.rfind("Resending handshake: partner ", 0) == 0) {
            order.push_back(line.message.substr(29, line.message.find(',') - 29));
        }
    }
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_EQ(order.size(), 4u);
    EXPECT_EQ(CountDebug("Number of handshakes to resend: 4"), 1u);
    EXPECT_EQ(CountDebug("Partner name: " + name + " different then resend partner name: :2.1"),
              1u);
    EXPECT_EQ(CountDebug("Failed to broadcasted: " + CLIENT_ACK + ". Will try once again"), 1u);
    EXPECT_THAT(Pending(endpoint), ElementsAre(Pair(name, "_ACK")));
}

TEST_F(ResendPass, ComparesNamesOfPartnersExactly) {
    RecordingEndpoint endpoint;
    Announce(partner, "_SYN_ACK");
    const std::string name = partner.UniqueName();
    SetPending(endpoint, {{name + "0", "_SYN_ACK"}, {name.substr(0, name.size() - 1), "_SYN_ACK"}});
    EXPECT_EQ(Pass(endpoint), 0);
    EXPECT_EQ(EndpointInside::State(endpoint), 3);
    EXPECT_EQ(CountDebugStarting("Partner name: " + name + " different then resend"), 2u);
}

TEST_F(ResendPass, WaitsForAHandshakeCallbackUnderWay) {
    RecordingEndpoint endpoint;
    std::future<int> pass;
    {
        const PTAutoLock lock(EndpointInside::m_mutex(endpoint));
        pass = std::async(std::launch::async, [&] { return Pass(endpoint); });
        ASSERT_TRUE(
            CapturedLog::WaitFor(CapturedLog::DEBUG, "Executed OnResendHandshake function"));
        EXPECT_EQ(pass.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
        EXPECT_EQ(CountDebugStarting("Number of handshakes"), 0u);
    }
    EXPECT_EQ(pass.get(), 0);
}

TEST_F(ResendPass, DoesNothingForADestroyedEndpoint) {
    std::optional<RecordingEndpoint> endpoint(std::in_place);
    void* const address = &*endpoint;
    endpoint.reset();
    EXPECT_EQ(JavaMWDbusRemote::OnResendHandshake(address), 0);
    EXPECT_EQ(JavaMWDbusRemote::OnResendHandshake(nullptr), 0);
}

} // namespace
