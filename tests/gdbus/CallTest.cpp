// Calls: when GDBus reads and releases the body of a message, and how a call fails.
#include <atomic>
#include <future>
#include <string>
#include <vector>

#include "Bytes.h"
#include "GDBusTest.h"
#include "PrintedVariant.h"
#include "TestPartner.h"

namespace {

using testing::StartsWith, testing::ElementsAre;

/** A "(ay)" over bytes of the caller, which records its release. */
class LentBody {
public:
    explicit LentBody(std::vector<char>& bytes) {
        GVariant* array = g_variant_new_from_data(
            G_VARIANT_TYPE_BYTESTRING, bytes.data(), bytes.size(), TRUE,
            [](void* released) { *static_cast<std::atomic<bool>*>(released) = true; }, &m_released);
        m_body = g_variant_ref_sink(g_variant_new_tuple(&array, 1));
    }
    ~LentBody() { Release(); }

    LentBody(const LentBody&) = delete;
    LentBody& operator=(const LentBody&) = delete;

    GVariant* Get() const { return m_body; }
    /** Drops the reference of the caller. @return whether no other reference exists */
    bool Release() {
        g_clear_pointer(&m_body, g_variant_unref);
        return m_released;
    }
    bool IsReleased() const { return m_released; }

private:
    std::atomic<bool> m_released{false};
    GVariant* m_body = nullptr;
};

class GDBusCall : public GDBusTest {
protected:
    GVariant* CallPeer(GVariant* body, GError** error, int timeoutMs = -1) {
        return g_dbus_connection_call_sync(own.get(), partner.UniqueName().c_str(), PATH, INTERFACE,
                                           "Send", body, nullptr, G_DBUS_CALL_FLAGS_NONE, timeoutMs,
                                           nullptr, error);
    }

    TestPartner partner{bus, false};
};

// The filter runs on GDBus's worker right before the message is written to the socket.
TEST_F(GDBusCall, IsSerialisedBeforeTheSenderContinues) {
    struct Gate {
        std::promise<void> reached;
        std::promise<void> open;
    } gate;
    const unsigned filter = g_dbus_connection_add_filter(
        own.get(),
        [](GDBusConnection*, GDBusMessage* message, gboolean incoming, void* userData) {
            if (incoming == FALSE && g_strcmp0(g_dbus_message_get_member(message), "Send") == 0) {
                auto& passed = *static_cast<Gate*>(userData);
                passed.reached.set_value();
                passed.open.get_future().wait();
            }
            return message;
        },
        &gate, nullptr);
    std::vector<char> bytes = ByteVector("first");
    LentBody body(bytes);
    g_dbus_connection_call(own.get(), partner.UniqueName().c_str(), PATH, INTERFACE, "Send",
                           body.Get(), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr,
                           nullptr);
    gate.reached.get_future().wait();
    bytes.assign(bytes.size(), 'x');
    gate.open.set_value();
    ASSERT_TRUE(partner.WaitForRequests(1));
    EXPECT_THAT(partner.Requests(), ElementsAre(ByteVector("first")));
    g_dbus_connection_remove_filter(own.get(), filter);
    BusDaemon::Ping(own.get());
}

TEST_F(GDBusCall, HasReleasedItsBodyWhenTheReplyArrives) {
    g_autoptr(GDBusProxy) proxy =
        g_dbus_proxy_new_sync(own.get(), G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES, nullptr,
                              partner.UniqueName().c_str(), PATH, INTERFACE, nullptr, nullptr);
    for (int i = 0; i < 100; ++i) {
        std::vector<char> bytes(static_cast<std::size_t>(i) * 1024, 'x');
        LentBody body(bytes);
        g_autoptr(GVariant) reply = g_dbus_proxy_call_sync(
            proxy, "Send", body.Get(), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
        ASSERT_NE(reply, nullptr);
        EXPECT_FALSE(body.IsReleased()) << "the call has consumed the caller's reference";
        EXPECT_TRUE(body.Release()) << i;
    }
}

TEST_F(GDBusCall, HasItsBodyKeptByAFilterThatKeepsTheMessage) {
    std::atomic<GDBusMessage*> kept{nullptr};
    const unsigned filter = g_dbus_connection_add_filter(
        own.get(),
        [](GDBusConnection*, GDBusMessage* message, gboolean incoming, void* userData) {
            if (incoming == FALSE && g_strcmp0(g_dbus_message_get_member(message), "Send") == 0) {
                *static_cast<std::atomic<GDBusMessage*>*>(userData) =
                    G_DBUS_MESSAGE(g_object_ref(message));
            }
            return message;
        },
        &kept, nullptr);
    std::vector<char> bytes = ByteVector("data");
    LentBody body(bytes);
    g_autoptr(GVariant) reply = CallPeer(body.Get(), nullptr);
    EXPECT_NE(reply, nullptr);
    EXPECT_FALSE(body.Release());
    ASSERT_NE(kept, nullptr);
    g_object_unref(kept);
    EXPECT_TRUE(body.IsReleased());
    g_dbus_connection_remove_filter(own.get(), filter);
    BusDaemon::Ping(own.get());
}

TEST_F(GDBusCall, RunsFiltersOnAnotherThread) {
    std::atomic<GThread*> thread{nullptr};
    const unsigned filter = g_dbus_connection_add_filter(
        own.get(),
        [](GDBusConnection*, GDBusMessage* message, gboolean, void* userData) {
            *static_cast<std::atomic<GThread*>*>(userData) = g_thread_self();
            return message;
        },
        &thread, nullptr);
    BusDaemon::Ping(own.get());
    EXPECT_NE(thread, nullptr);
    EXPECT_NE(thread, g_thread_self());
    g_dbus_connection_remove_filter(own.get(), filter);
    BusDaemon::Ping(own.get());
}

TEST_F(GDBusCall, WithoutACallbackExpectsNoReply) {
    std::atomic<bool> expectsNone{false};
    const unsigned filter = g_dbus_connection_add_filter(
        own.get(),
        [](GDBusConnection*, GDBusMessage* message, gboolean, void* userData) {
            if (g_strcmp0(g_dbus_message_get_member(message), "ReleaseName") == 0) {
                *static_cast<std::atomic<bool>*>(userData) =
                    (g_dbus_message_get_flags(message) & G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED) !=
                    0;
            }
            return message;
        },
        &expectsNone, nullptr);
    g_dbus_connection_call(own.get(), BUS, "/org/freedesktop/DBus", BUS, "ReleaseName",
                           g_variant_new("(s)", "org.example.Name"), nullptr,
                           G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr, nullptr);
    BusDaemon::Ping(own.get());
    EXPECT_TRUE(expectsNone);
    g_dbus_connection_remove_filter(own.get(), filter);
    BusDaemon::Ping(own.get());
}

TEST_F(GDBusCall, HasItsReplyBeforeEarlierSignalsOfTheSamePeer) {
    int signals = 0;
    const unsigned subscription =
        Subscribe(own, partner.UniqueName().c_str(), CountSignal, &signals);
    BusDaemon::Ping(own.get());
    partner.AnswerWith([&](const std::vector<char>&) {
        for (int i = 0; i < 10; ++i) {
            partner.Notify(NameOf(own), ByteVector("signal"));
        }
        return ByteVector("reply");
    });
    g_autoptr(GVariant) reply = CallPeer(ByteBody("request"), nullptr);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(signals, 0);
    EXPECT_TRUE(MainLoop::IterateUntil([&] { return signals == 10; }));
    g_dbus_connection_signal_unsubscribe(own.get(), subscription);
}

TEST_F(GDBusCall, HasARemoteErrorWithItsNameInTheText) {
    partner.AnswerWithError("org.example.Error.Own", "the text");
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = CallPeer(ByteBody("request"), &error);
    EXPECT_EQ(reply, nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->message, "GDBus.Error:org.example.Error.Own: the text");
    EXPECT_TRUE(g_dbus_error_is_remote_error(error));
}

TEST_F(GDBusCall, ThatTheBusDeniesHasTheCodeOfAccessDenied) {
    bus.SetPolicy("<deny own='org.example.Refused'/>");
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        own.get(), BUS, "/org/freedesktop/DBus", BUS, "RequestName",
        g_variant_new("(su)", "org.example.Refused", 4), G_VARIANT_TYPE("(u)"),
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    EXPECT_EQ(reply, nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code, 9);
    EXPECT_THAT(error->message,
                StartsWith("GDBus.Error:org.freedesktop.DBus.Error.AccessDenied: "));
    EXPECT_TRUE(g_dbus_error_is_remote_error(error));
}

// A time-out is no remote error, so the library knows that the bus may still grant a name.
TEST_F(GDBusCall, WithoutAReplyFailsWithALocalErrorAndIgnoresTheLateReply) {
    std::promise<void> release;
    partner.AnswerWith([&](const std::vector<char>&) {
        release.get_future().wait();
        return ByteVector("late");
    });
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = CallPeer(ByteBody("request"), &error, 100);
    EXPECT_EQ(reply, nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_TRUE(g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT));
    EXPECT_EQ(error->code, 24);
    EXPECT_STREQ(error->message, "Timeout was reached");
    EXPECT_FALSE(g_dbus_error_is_remote_error(error));
    release.set_value();
    partner.AnswerWith([](const std::vector<char>&) { return ByteVector("next"); });
    g_autoptr(GVariant) next = CallPeer(ByteBody("request"), nullptr);
    EXPECT_EQ(BytesOfBody<std::string>(next), "next");
}

TEST_F(GDBusCall, OnAClosedConnectionFailsWithClosed) {
    g_dbus_connection_close_sync(own.get(), nullptr, nullptr);
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = CallPeer(ByteBody("request"), &error);
    EXPECT_EQ(reply, nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_TRUE(g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CLOSED));
    EXPECT_EQ(error->code, 18);
    EXPECT_STREQ(error->message, "The connection is closed");
    EXPECT_FALSE(g_dbus_error_is_remote_error(error));
}

// The types of replies are checked by nobody but the caller.
TEST_F(GDBusCall, ThroughAProxyReturnsAReplyOfAnyType) {
    g_autoptr(GDBusProxy) proxy =
        g_dbus_proxy_new_sync(own.get(), G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES, nullptr,
                              NameOf(peer), PATH, INTERFACE, nullptr, nullptr);
    const unsigned filter = g_dbus_connection_add_filter(
        peer.get(),
        [](GDBusConnection* connection, GDBusMessage* message, gboolean incoming, void*) {
            if (incoming == FALSE || g_strcmp0(g_dbus_message_get_member(message), "Send") != 0) {
                return message;
            }
            g_autoptr(GDBusMessage) reply = g_dbus_message_new_method_reply(message);
            g_dbus_message_set_body(reply, g_variant_new("(su)", "text", 7));
            g_dbus_connection_send_message(connection, reply, G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                           nullptr, nullptr);
            g_object_unref(message);
            return static_cast<GDBusMessage*>(nullptr);
        },
        nullptr, nullptr);
    g_autoptr(GVariant) reply = g_dbus_proxy_call_sync(
        proxy, "Send", ByteBody("request"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(Printed(reply), "('text', uint32 7)");
    g_dbus_connection_remove_filter(peer.get(), filter);
    BusDaemon::Ping(peer.get());
}

} // namespace
