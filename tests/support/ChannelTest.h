// The start of every test of the channel: a private bus and an empty log.
#pragma once

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <common/PTAutoLock.h>

#include "Bytes.h"
#include "CapturedLog.h"
#include "Channel.h"
#include "EndpointInside.h"
#include "MainLoop.h"
#include "PrivateBus.h"
#include "RecordingEndpoint.h"
#include "SharedBus.h"
#include "TestPartner.h"

inline namespace applist_test {

class ChannelTest : public testing::Test {
protected:
    using Bytes = std::vector<char>;

    using Readiness = RecordingEndpoint::Readiness;

    explicit ChannelTest(const std::string& policy = "") : bus(policy) { CapturedLog::Clear(); }

    // The queued deliveries of a test run while its bus still exists.
    void TearDown() override { EXPECT_TRUE(SharedBus::WaitUntilReleased()); }

    static bool IterateUntilReady(JavaMWDbusRemote& endpoint) {
        return MainLoop::IterateUntil([&] { return endpoint.IsConnectionReady(); });
    }

    static bool IterateUntilLogged(int priority, const std::string& message,
                                   std::size_t times = 1) {
        return MainLoop::IterateUntil(
            [&] { return CapturedLog::Count(priority, message) >= times; });
    }

    /** Waits for a reply of the bus daemon: earlier messages of the daemon have been dispatched. */
    static void IterateThroughTheBus() {
        const SharedBus shared;
        bool answered = false;
        g_dbus_connection_call(
            shared.Connection(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
            "org.freedesktop.DBus", "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
            [](GObject* source, GAsyncResult* result, void* done) {
                g_autoptr(GVariant) reply =
                    g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, nullptr);
                EXPECT_NE(reply, nullptr);
                *static_cast<bool*>(done) = true;
            },
            &answered);
        MainLoop::IterateUntil([&] { return answered; });
        MainLoop::IterateUntilIdle();
    }

    /** Runs @p work, which waits for the endpoint, in another thread while this one iterates. */
    template <class Work>
    static auto WhileIterating(Work work) {
        auto result = std::async(std::launch::async, work);
        MainLoop::IterateUntil(
            [&] { return result.wait_for(std::chrono::seconds(0)) == std::future_status::ready; });
        return result.get();
    }

    struct Answer {
        Bytes bytes;
        std::string error; ///< the D-Bus error's name, empty when there is a reply
    };

    /** The partner's call of "Send", while this thread iterates the endpoint's context. */
    static Answer CallFrom(TestPartner& partner, const Bytes& bytes,
                           const std::string& endpointName) {
        return WhileIterating([&] {
            Answer answer;
            g_autoptr(GError) error = nullptr;
            g_autoptr(GVariant) reply = partner.Call(endpointName, bytes, &error);
            if (reply == nullptr) {
                g_autofree char* name = g_dbus_error_get_remote_error(error);
                answer.error = name != nullptr ? name : error->message;
                return answer;
            }
            g_autoptr(GVariant) array = g_variant_get_child_value(reply, 0);
            for (gsize i = 0; i < g_variant_n_children(array); ++i) {
                g_autoptr(GVariant) byte = g_variant_get_child_value(array, i);
                answer.bytes.push_back(static_cast<char>(g_variant_get_byte(byte)));
            }
            return answer;
        });
    }

    /** A NameOwnerChanged body. The caller owns it. */
    static GVariant* OwnerChange(const char* name, const char* oldOwner, const char* newOwner) {
        return g_variant_ref_sink(g_variant_new("(sss)", name, oldOwner, newOwner));
    }

    PrivateBus bus;
};

/** A channel test in which another part of the host also holds the shared connection. */
class HeldBusTest : public ChannelTest {
protected:
    explicit HeldBusTest(const std::string& policy = "") : ChannelTest(policy) {}

    void TearDown() override {
        m_held.reset();
        ChannelTest::TearDown();
    }

    const SharedBus& Shared() const { return *m_held; }
    std::string OwnName() const { return Shared().UniqueName(); }

private:
    std::optional<SharedBus> m_held{std::in_place};
};

/** A channel test with a partner that performs the handshake; Connect connects the endpoint to it.
 */
class ConnectedTest : public HeldBusTest {
protected:
    /** The log is empty afterwards, and the partner has received the last step. */
    void Connect(RecordingEndpoint::Actions actions = {}) {
        endpoint = std::make_unique<RecordingEndpoint>(std::move(actions));
        ASSERT_TRUE(IterateUntilReady(*endpoint));
        ASSERT_TRUE(partner.WaitForAnnouncement("_CLIENT_ACK"));
        MainLoop::IterateUntilIdle();
        CapturedLog::Clear();
    }

    void TearDown() override {
        endpoint.reset();
        HeldBusTest::TearDown();
    }

    TestPartner partner{bus};
    std::unique_ptr<RecordingEndpoint> endpoint;
};

/** @return the text that @p work writes to standard output */
template <class Work>
std::string Written(Work work) {
    testing::internal::CaptureStdout();
    work();
    return testing::internal::GetCapturedStdout();
}

/** Rules for PrivateBus that make announcements fail. */
namespace Deny {
inline std::string Owning(const std::string& suffix) {
    return "<deny own='org.morva.JavaMW.Applist" + suffix + "'/>";
}
inline std::string Calling(const std::string& busMethod) {
    return "<deny send_destination='org.freedesktop.DBus' send_interface='org.freedesktop.DBus' "
           "send_member='" +
           busMethod + "'/>";
}
} // namespace Deny

} // namespace applist_test
