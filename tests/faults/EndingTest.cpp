// Destruction of endpoints during a handshake step or a resend pass, at a forced moment.
#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include <ipc/LiveEndpoints.h>

#include "FaultTest.h"
#include "Forced.h"
#include "GLibLog.h"

namespace {

using Reply = BusDouble::Reply;

const std::string ANNOUNCING_ACK = "BroadcastName org.morva.JavaMW.Applist_CLIENT_ACK";
const std::string READY = "ready";

/** An endpoint that records its state in its destructor, before the destructor of its base. */
class EndpointWithLastState : public JavaMWDbusRemote {
public:
    explicit EndpointWithLastState(bool& wasReady)
        : JavaMWDbusRemote("Applist", HandlersLater()), m_wasReady(wasReady) {
        StartHandlers();
    }
    ~EndpointWithLastState() override {
        StopHandlers();
        m_wasReady = IsConnectionReady();
    }

private:
    bool& m_wasReady;
};

class Ending : public FaultTest {
protected:
    /** Runs the callback of the partner's step @p suffix in another thread. */
    std::future<void> RunStep(const std::string& suffix, JavaMWDbusRemote* endpoint) {
        GDBusConnection* const connection = Host().Connection();
        return std::async(std::launch::async, [=] {
            g_autoptr(GVariant) change = g_variant_ref_sink(
                g_variant_new("(sss)", DoubleHost::PartnerName(suffix).c_str(), PARTNER, ""));
            const auto callback = suffix == "_SYN_ACK" ? JavaMWDbusRemote::cb_SynAckNameOwnerChanged
                                                       : JavaMWDbusRemote::cb_AckNameOwnerChanged;
            callback(connection, "", "", "", "", change, endpoint);
        });
    }

    /** Starts the destruction of @p endpoint, which blocks until the held step or pass ends. */
    template <class Endpoint>
    static std::future<void> BeginToDestroy(std::unique_ptr<Endpoint>& endpoint) {
        const void* const address = static_cast<JavaMWDbusRemote*>(endpoint.get());
        std::future<void> end = std::async(std::launch::async, [&] { endpoint.reset(); });
        while (LiveEndpoints::Find(address) != nullptr) {
            std::this_thread::yield();
        }
        return end;
    }

    /** Destroys @p endpoint while its callback of the partner's SYN_ACK announces the answer. */
    template <class Endpoint>
    void DestroyDuringAStep(std::unique_ptr<Endpoint> endpoint,
                            const std::function<void(std::future<void>&)>& meanwhile = {}) {
        HeldLine announcing(ANNOUNCING_ACK);
        std::future<void> step = RunStep("_SYN_ACK", endpoint.get());
        announcing.WaitUntilReached();
        std::future<void> end = BeginToDestroy(endpoint);
        if (meanwhile) {
            meanwhile(end);
        }
        announcing.Release();
        step.get();
        end.get();
    }

    std::unique_ptr<RecordingEndpoint> EndpointThatCountsReports() {
        return std::make_unique<RecordingEndpoint>(RecordingEndpoint::Actions{
            nullptr, nullptr, [this](bool, const std::string&) { ++reports; }});
    }

    std::atomic<int> reports{0};
};

TEST_F(Ending, DuringAStepReportsNothingMore) {
    DestroyDuringAStep(EndpointThatCountsReports());
    EXPECT_EQ(reports, 0);
}

TEST_F(Ending, DuringAStepLeavesTheEndpointUnconnected) {
    bool wasReady = true;
    DestroyDuringAStep(std::make_unique<EndpointWithLastState>(wasReady));
    EXPECT_FALSE(wasReady);
}

// The library refuses the messages of the step under way.
TEST_F(Ending, DuringAReportLeavesTheEndpointUnconnectedAtOnce) {
    std::promise<void> entered;
    std::promise<void> released;
    std::unique_ptr<RecordingEndpoint> endpoint = std::make_unique<RecordingEndpoint>(
        RecordingEndpoint::Actions{nullptr, nullptr, [&](bool, const std::string&) {
                                       entered.set_value();
                                       released.get_future().wait();
                                   }});
    JavaMWDbusRemote* const address = endpoint.get();
    std::future<void> step = RunStep("_SYN_ACK", address);
    entered.get_future().wait();
    EXPECT_TRUE(address->IsConnectionReady());
    std::future<void> end = BeginToDestroy(endpoint);
    EXPECT_FALSE(address->IsConnectionReady());
    released.set_value();
    step.get();
    end.get();
}

// A class of the host whose destructor does not call StopHandlers.
TEST_F(Ending, DuringAStepWaitsForTheStepBeforeItReleasesAnything) {
    const GLibLog warnings;
    auto endpoint = std::make_unique<JavaMWDbusRemote>("Applist");
    JavaMWDbusRemote* const address = endpoint.get();
    HeldLine announcing(ANNOUNCING_ACK);
    std::future<void> step = RunStep("_SYN_ACK", address);
    announcing.WaitUntilReached();
    std::future<void> end = std::async(std::launch::async, [&] { endpoint.reset(); });
    // The release of the handshake's subscriptions prints a warning.
    while (LiveEndpoints::Find(address) != nullptr && warnings.Messages().empty()) {
        std::this_thread::yield();
    }
    EXPECT_EQ(warnings.Messages(), Strings{});
    announcing.Release();
    step.get();
    end.get();
}

TEST_F(Ending, DuringAResendPassReportsNothingMore) {
    std::unique_ptr<RecordingEndpoint> endpoint = EndpointThatCountsReports();
    HeldResendThread held;
    Bus().Script("RequestName", Reply::Code(3));
    ASSERT_TRUE(Host().Announce("_SYN_ACK", PARTNER));
    Bus().ForgetScripts();
    HeldLine announcing(ANNOUNCING_ACK);
    std::future<void> pass =
        std::async(std::launch::async, [] { LibraryCalls::StepResendThread(); });
    announcing.WaitUntilReached();
    std::future<void> end = BeginToDestroy(endpoint);
    announcing.Release();
    pass.get();
    LibraryCalls::ReleaseResendThread();
    end.get();
    EXPECT_EQ(reports, 0);
}

// Waiting for another callback

class StoppedEndpoint : public JavaMWDbusRemote {
public:
    StoppedEndpoint() : JavaMWDbusRemote("Applist") {}
    using JavaMWDbusRemote::StopHandlers;
};

TEST_F(Ending, WhileAResendPassWaitsForAnotherCallbackEmptiesItsTable) {
    StoppedEndpoint endpoint;
    const HeldResendThread held;
    Bus().Script("RequestName", Reply::Code(3));
    ASSERT_TRUE(Host().Announce("_SYN_ACK", PARTNER));
    // The first lock is the registry's; callbacks wait for the second one.
    Forced::AtLine("Executed OnResendHandshake function",
                   [&] { Forced::BeforeLock(2, [&] { endpoint.StopHandlers(); }); });
    EXPECT_EQ(JavaMWDbusRemote::OnResendHandshake(static_cast<JavaMWDbusRemote*>(&endpoint)), 0);
    EXPECT_EQ(CountDebug("Number of handshakes to resend: 1"), 0U);
}

TEST_F(Ending, WaitsForTheStepUnderWay) {
    DestroyDuringAStep(EndpointThatCountsReports(), [](std::future<void>& end) {
        // A wait that is too short can only miss a fault, never report a wrong one.
        EXPECT_EQ(end.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    });
}

} // namespace
