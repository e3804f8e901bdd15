// Memory that an endpoint never frees: the reply to each answered request and the error of each
// failed release of a name, and no other byte. The test records these objects at the calls of GDBus
// that return them, and releases them afterwards. The memory is then as before.
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <vector>

#include <ipc/javamw-dbus-remote.h>

#include <gtest/gtest.h>
#include <unistd.h>

#include "BusDouble.h"
#include "CapturedLog.h"
#include "HeapUse.h"
#include "MainLoop.h"
#include "SharedBus.h"

namespace {

constexpr const char* PARTNER = ":2.Partner";
constexpr int ROUNDS = 2000;

std::vector<GVariant*>* g_replies = nullptr;
std::vector<GError*>* g_errors = nullptr;

// The smallest block of a leak is 16 bytes.
constexpr double NOTHING = 8.0;

// GLib's slices would hide released memory. GLib reads the environment before a test can write it.
__attribute__((constructor)) void MakeGLibUseMalloc(int /*argc*/, char** argv) {
    if (g_getenv("G_SLICE") == nullptr) {
        setenv("G_SLICE", "always-malloc", 1);
        execv("/proc/self/exe", argv);
    }
}

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" {
decltype(g_dbus_proxy_call_sync) __real_g_dbus_proxy_call_sync;
decltype(g_dbus_connection_call_sync) __real_g_dbus_connection_call_sync;

GVariant* __wrap_g_dbus_proxy_call_sync(GDBusProxy* proxy, const char* method, GVariant* parameters,
                                        GDBusCallFlags flags, int timeout,
                                        GCancellable* cancellable, GError** error) {
    GVariant* const reply = __real_g_dbus_proxy_call_sync(proxy, method, parameters, flags, timeout,
                                                          cancellable, error);
    if (reply != nullptr && g_replies != nullptr) {
        g_replies->push_back(reply);
    }
    return reply;
}

GVariant* __wrap_g_dbus_connection_call_sync(GDBusConnection* connection, const char* name,
                                             const char* path, const char* interface,
                                             const char* method, GVariant* parameters,
                                             const GVariantType* type, GDBusCallFlags flags,
                                             int timeout, GCancellable* cancellable,
                                             GError** error) {
    GVariant* const reply =
        __real_g_dbus_connection_call_sync(connection, name, path, interface, method, parameters,
                                           type, flags, timeout, cancellable, error);
    if (error != nullptr && *error != nullptr && g_errors != nullptr &&
        std::strcmp(method, "ReleaseName") == 0) {
        g_errors->push_back(*error);
    }
    return reply;
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

class MemoryGrowth : public testing::Test {
protected:
    MemoryGrowth() {
        shared.DisableExitOnClose();
        kept.reserve(2 * ROUNDS);
        lost.reserve(2 * ROUNDS);
        g_replies = &kept;
        g_errors = &lost;
    }
    ~MemoryGrowth() override {
        g_replies = nullptr;
        g_errors = nullptr;
    }

    /** Growth in bytes per round of a step, before and after the release of its kept blocks. */
    struct PerRound {
        double kept;
        double rest;
    };

    PerRound Measure(const std::function<void()>& step) {
        Repeat(step); // buffers, caches and free lists reach their size
        Release();
        const auto before = static_cast<double>(HeapInUse());
        Repeat(step);
        const auto grown = static_cast<double>(HeapInUse());
        Release();
        const auto after = static_cast<double>(HeapInUse());
        return {(grown - after) / ROUNDS, (after - before) / ROUNDS};
    }

    void Repeat(const std::function<void()>& step) {
        for (int i = 0; i < ROUNDS; ++i) {
            step();
            CapturedLog::Clear();
            bus.ForgetCalls();
        }
        Settle();
    }

    void Release() {
        for (GVariant* const reply : kept) {
            g_variant_unref(reply);
        }
        for (GError* const error : lost) {
            g_error_free(error);
        }
        replies += kept.size();
        errors += lost.size();
        kept.clear();
        lost.clear();
        Settle();
    }

    /** Returns when the double has received all messages. */
    void Settle() {
        [[maybe_unused]] g_autoptr(GVariant) reply = __real_g_dbus_connection_call_sync(
            shared.Connection(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
            "org.freedesktop.DBus", "GetNameOwner", g_variant_new("(s)", PARTNER), nullptr,
            G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
        MainLoop::IterateUntilIdle();
        CapturedLog::Clear();
        bus.ForgetCalls();
    }

    BusDouble bus;
    SharedBus shared;
    JavaMWDbusRemote endpoint{"Applist"};
    std::vector<GVariant*> kept;
    std::vector<GError*> lost;
    std::size_t replies = 0;
    std::size_t errors = 0;
};

void Report(const char* what, double kept, double rest) {
    testing::Test::RecordProperty("kept", static_cast<int>(kept));
    std::printf("%s: %.1f bytes kept on purpose, %.2f bytes besides\n", what, kept, rest);
}

} // namespace

TEST_F(MemoryGrowth, AfterARequestIsTheSizeOfItsReply) {
    bus.EmitNameOwnerChanged("org.morva.JavaMW.Applist_SERVICE_SYN_ACK", PARTNER, "");
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return endpoint.IsConnectionReady(); }));
    std::vector<char> request(100, 'x');
    const PerRound bytes = Measure([&] { endpoint.SendMessage(request); });
    Report("a request", bytes.kept, bytes.rest);
    EXPECT_EQ(replies, 2U * ROUNDS);
    EXPECT_GT(bytes.kept, 50.0);
    EXPECT_LT(bytes.kept, 600.0);
    EXPECT_LT(bytes.rest, NOTHING);
}

TEST_F(MemoryGrowth, AfterAFailedReleaseIsTheSizeOfItsError) {
    bus.Script("ReleaseName", BusDouble::Reply::Error("org.freedesktop.DBus.Error.Failed", "no"));
    std::string name = "org.morva.JavaMW.Growth";
    const PerRound bytes = Measure([&] { EXPECT_FALSE(endpoint.BroadcastName(name)); });
    Report("a failed release", bytes.kept, bytes.rest);
    EXPECT_EQ(errors, 2U * ROUNDS);
    EXPECT_GT(bytes.kept, 16.0);
    EXPECT_LT(bytes.kept, 300.0);
    EXPECT_LT(bytes.rest, NOTHING);
}

TEST_F(MemoryGrowth, AfterARefusedNameIsZero) {
    bus.Script("RequestName", BusDouble::Reply::Error("org.freedesktop.DBus.Error.Failed", "no"));
    std::string name = "org.morva.JavaMW.Growth";
    const PerRound bytes = Measure([&] { EXPECT_FALSE(endpoint.BroadcastName(name)); });
    Report("a refused name", bytes.kept, bytes.rest);
    EXPECT_EQ(errors, 0U);
    EXPECT_LT(bytes.kept, NOTHING);
    EXPECT_LT(bytes.rest, NOTHING);
}

TEST_F(MemoryGrowth, AfterAnAnnouncedNameIsZero) {
    std::string name = "org.morva.JavaMW.Growth";
    const PerRound bytes = Measure([&] { EXPECT_TRUE(endpoint.BroadcastName(name)); });
    Report("an announced name", bytes.kept, bytes.rest);
    EXPECT_LT(bytes.kept, NOTHING);
    EXPECT_LT(bytes.rest, NOTHING);
}

TEST_F(MemoryGrowth, AfterANotificationIsZero) {
    bus.EmitNameOwnerChanged("org.morva.JavaMW.Applist_SERVICE_SYN_ACK", PARTNER, "");
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return endpoint.IsConnectionReady(); }));
    std::vector<char> bytesToSend(100, 'x');
    const PerRound bytes = Measure([&] {
        endpoint.SendNotification(bytesToSend);
        Settle(); // the length of GDBus's queues must not depend on the scheduler
    });
    Report("a notification", bytes.kept, bytes.rest);
    EXPECT_LT(bytes.kept, NOTHING);
    EXPECT_LT(bytes.rest, NOTHING);
}
