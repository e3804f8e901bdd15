// Bodies over the bytes of a vector, and the ownership of the bytes when a body outlives the
// request.
#include <ipc/UncopiedBody.h>

#include <csignal>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BusDaemon.h"
#include "ChannelTest.h"
#include "PrintedVariant.h"

namespace {

using Bytes = std::vector<char>;
using testing::ElementsAre, testing::IsEmpty, testing::SizeIs;

TEST(UncopiedBody, IsAStructureOfOneArrayInTheOrderOfTheVector) {
    Bytes data = ByteVector({0x61, 0x00, 0xff, 0x80});
    const UncopiedBody message(data);
    EXPECT_STREQ(g_variant_get_type_string(message.Get()), "(ay)");
    EXPECT_EQ(Printed(message.Get()), "([byte 0x61, 0x00, 0xff, 0x80],)");
}

TEST(UncopiedBody, IsAnEmptyArrayForAnEmptyVector) {
    Bytes data;
    {
        const UncopiedBody message(data);
        EXPECT_EQ(Printed(message.Get()), "(@ay [],)");
    }
    EXPECT_THAT(data, IsEmpty());
}

TEST(UncopiedBody, UsesTheStorageOfTheVector) {
    Bytes data = ByteVector("data");
    const char* const before = data.data();
    {
        const UncopiedBody message(data);
        g_autoptr(GVariant) array = g_variant_get_child_value(message.Get(), 0);
        EXPECT_EQ(g_variant_get_data(array), before);
    }
    EXPECT_EQ(data.data(), before);
    EXPECT_EQ(data, ByteVector("data"));
}

TEST(UncopiedBody, LeavesTheBytesToABodyThatOutlivesIt) {
    Bytes data = ByteVector("data");
    g_autoptr(GVariant) kept = nullptr;
    {
        const UncopiedBody message(data);
        kept = g_variant_ref(message.Get());
    }
    EXPECT_EQ(data, ByteVector("data"));
    data.assign(data.size(), 'x');
    data.shrink_to_fit();
    EXPECT_EQ(Printed(kept), "([byte 0x64, 0x61, 0x74, 0x61],)");
}

// A message filter of the host that keeps outgoing messages.
class KeptMessages {
public:
    explicit KeptMessages(GDBusConnection* connection)
        : m_connection(connection),
          m_filterId(g_dbus_connection_add_filter(connection, cb_Filter, this, nullptr)) {}
    ~KeptMessages() {
        for (GDBusMessage* message : m_messages) {
            g_object_unref(message);
        }
    }

    /** Ends the keeping. @return the bodies, printed */
    std::vector<std::string> End() {
        g_dbus_connection_remove_filter(m_connection, m_filterId);
        const PTAutoLock lock(m_mutex);
        std::vector<std::string> bodies;
        for (GDBusMessage* message : m_messages) {
            bodies.push_back(Printed(g_dbus_message_get_body(message)));
        }
        return bodies;
    }

private:
    static GDBusMessage* cb_Filter(GDBusConnection* /*connection*/, GDBusMessage* message,
                                   gboolean incoming, void* self) {
        if (incoming == FALSE && g_strcmp0(g_dbus_message_get_member(message), "Send") == 0) {
            auto& kept = *static_cast<KeptMessages*>(self);
            const PTAutoLock lock(kept.m_mutex);
            kept.m_messages.push_back(G_DBUS_MESSAGE(g_object_ref(message)));
        }
        return message;
    }

    GDBusConnection* m_connection;
    guint m_filterId;
    PTMutex m_mutex;
    std::vector<GDBusMessage*> m_messages;
};

class LargeMessages : public ConnectedTest {};

TEST_F(LargeMessages, ArriveUnchangedWhenTheVectorIsOverwrittenAfterTheCall) {
    Connect();
    constexpr std::size_t COUNT = 100;
    Bytes data(64 * 1024);
    for (std::size_t i = 0; i < COUNT; ++i) {
        data.assign(data.size(), static_cast<char>(i));
        endpoint->SendMessage(data);
        data.assign(data.size(), 'x');
    }
    const std::vector<Bytes> requests = partner.Requests();
    ASSERT_THAT(requests, SizeIs(COUNT));
    for (std::size_t i = 0; i < COUNT; ++i) {
        EXPECT_TRUE(requests[i] == Bytes(data.size(), static_cast<char>(i)));
    }
}

TEST_F(LargeMessages, StayUnchangedInAMessageFilterThatKeepsThem) {
    Connect();
    const SharedBus shared;
    KeptMessages kept(shared.Connection());
    Bytes data = ByteVector("first");
    endpoint->SendMessage(data);
    EXPECT_EQ(data, ByteVector("first"));
    data.assign(5, 'x');
    endpoint->SendMessage(data);
    data.assign(5, 'y');
    EXPECT_THAT(kept.End(), ElementsAre("([byte 0x66, 0x69, 0x72, 0x73, 0x74],)",
                                        "([byte 0x78, 0x78, 0x78, 0x78, 0x78],)"));
}

// The message is written, and the filter called, long after the time-out of the call.
TEST_F(LargeMessages, StayUnchangedWhenTheBusStallsLongerThanTheCall) {
    Connect();
    const SharedBus shared;
    KeptMessages kept(shared.Connection());
    const pid_t daemon = BusDaemon::Process(shared.Connection());
    ASSERT_GT(daemon, 0);
    ASSERT_EQ(kill(daemon, SIGSTOP), 0);
    Bytes queueFiller(8 * 1024 * 1024);
    endpoint->SendNotification(queueFiller);
    Bytes data = ByteVector("first");
    EXPECT_THAT(endpoint->SendMessage(data), IsEmpty());
    EXPECT_EQ(data, ByteVector("first"));
    data.assign(5, 'x');
    ASSERT_EQ(kill(daemon, SIGCONT), 0);
    EXPECT_TRUE(MainLoop::IterateUntil([&] { return !partner.Requests().empty(); }));
    EXPECT_THAT(partner.Requests(), ElementsAre(ByteVector("first")));
    EXPECT_THAT(kept.End(), ElementsAre("([byte 0x66, 0x69, 0x72, 0x73, 0x74],)"));
}

} // namespace
