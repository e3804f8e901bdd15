// The bytes of version 1.0.0: the library still sends and reads exactly these.
#include <algorithm>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <applist/RemoteAppListModel.h>

#include "BusDaemon.h"
#include "Bytes.h"
#include "CapturedLog.h"
#include "DoubleHost.h"
#include "Hex.h"
#include "MainLoop.h"
#include "PrivateBus.h"
#include "SharedBus.h"
#include "TestItem.h"
#include "TestListener.h"
#include "TestPartner.h"

namespace {

using testing::ElementsAre, testing::ElementsAreArray;
using Lines = std::vector<std::string>;

std::size_t Readies() {
    return CountDebugStarting("HandleConnectionReady state=1");
}

std::size_t Losses() {
    return CountDebugStarting("Connection lost with partner id=");
}

/** The lines of a file of this folder, without comments. */
Lines LinesOf(const std::string& name) {
    std::ifstream file(APPLIST_TESTS_GOLDEN + ("/" + name));
    Lines lines;
    for (std::string line; std::getline(file, line);) {
        if (line.front() != '#') {
            lines.push_back(line);
        }
    }
    return lines;
}

/** The body of a message, as the bus carries it on a little-endian machine. */
std::string BodyOf(GDBusMessage* message) {
    g_autoptr(GDBusMessage) copy = g_dbus_message_copy(message, nullptr);
    g_dbus_message_set_byte_order(copy, G_DBUS_MESSAGE_BYTE_ORDER_LITTLE_ENDIAN);
    gsize size = 0;
    g_autofree guchar* blob =
        g_dbus_message_to_blob(copy, &size, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr);
    const auto number = [&](std::size_t at) {
        std::uint32_t value = 0;
        for (std::size_t i = 4; i > 0; --i) {
            value = value << 8 | blob[at + i - 1];
        }
        return value;
    };
    const std::uint32_t bodySize = number(4);
    const unsigned char* const end = blob + size;
    return std::string(end - bodySize, end);
}

/** Records the announcements and requests of this process, each as its member and its body. */
class SentMessages {
public:
    explicit SentMessages(GDBusConnection* connection)
        : m_connection(connection),
          m_filter(g_dbus_connection_add_filter(connection, cb_Filter, this, nullptr)) {}

    Lines End() {
        g_dbus_connection_remove_filter(m_connection, m_filter);
        BusDaemon::Ping(m_connection); // the filter is not running any more
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_lines;
    }

private:
    static GDBusMessage* cb_Filter(GDBusConnection* /*connection*/, GDBusMessage* message,
                                   gboolean incoming, void* self) {
        const char* const member = g_dbus_message_get_member(message);
        const bool isRecorded =
            incoming == FALSE && member != nullptr &&
            g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_METHOD_CALL &&
            (g_str_has_suffix(member, "Name") != FALSE || g_str_equal(member, "Send") != FALSE) &&
            !g_str_equal(member, "GetNameOwner");
        if (isRecorded) {
            auto& sent = *static_cast<SentMessages*>(self);
            const std::lock_guard<std::mutex> lock(sent.m_mutex);
            sent.m_lines.push_back(std::string(member) + " " + Hex::Of(BodyOf(message)));
        }
        return message;
    }

    GDBusConnection* m_connection;
    unsigned m_filter;
    std::mutex m_mutex;
    Lines m_lines;
};

class GoldenBytesOfTheHost : public testing::Test {
protected:
    /** Notifies the host, and waits for the requests of its reaction. */
    void Notify(TestPartner& partner, int id, std::size_t requests) {
        const std::size_t before = partner.Requests().size();
        std::vector<char> bytes = ByteVector({id, 0, 0, 0});
        partner.Notify(shared->UniqueName(), bytes);
        EXPECT_TRUE(
            MainLoop::IterateUntil([&] { return partner.Requests().size() == before + requests; }));
        MainLoop::IterateUntilIdle();
    }

    /** Every request of the library, in a fixed order. */
    void EditTheList(RemoteAppListModel& model, TestPartner& partner) {
        TestItem clock("Clock", "clock.01");
        TestItem music("Music Player", "music.02");
        TestItem photos("Photos", "photos.03");
        TestItem album("Photo Album \xC3\xA4", "album.04");
        model.AddItems({&clock, &music});
        model.AddItemAtEnd(&photos);
        model.SetSelection(&music);
        model.SetClicked(&clock);
        model.ModifyItem(&photos, &album);
        model.RemoveItem(&clock);
        Notify(partner, 4, 2);
        Notify(partner, 2, 1);
        model.RemoveAllItems();
    }

    PrivateBus bus;
    std::optional<SharedBus> shared{std::in_place};
};

TEST_F(GoldenBytesOfTheHost, AreTheBytesOfItsFirstVersion) {
    CapturedLog::Clear();
    SentMessages sent(shared->Connection());
    {
        auto partner = std::make_unique<TestPartner>(bus);
        RemoteAppListModel model;
        ASSERT_TRUE(MainLoop::IterateUntil([] { return Readies() == 1; }));
        EditTheList(model, *partner);
        partner.reset();
        ASSERT_TRUE(MainLoop::IterateUntil([] { return Losses() == 1; }));
        TestPartner next(bus);
        next.Announce("_SYN");
        ASSERT_TRUE(MainLoop::IterateUntil([] { return Readies() == 2; }));
    }
    EXPECT_THAT(sent.End(), ElementsAreArray(LinesOf("host-messages.txt")));
    shared.reset();
    EXPECT_TRUE(SharedBus::WaitUntilReleased());
}

/** The messages of the file, by name. */
std::map<std::string, std::string> PartnerMessages() {
    std::map<std::string, std::string> messages;
    for (const std::string& line : LinesOf("partner-messages.txt")) {
        std::istringstream words(line);
        std::string name;
        std::string digits;
        words >> name >> digits;
        messages[name] = Hex::Bytes(digits);
    }
    return messages;
}

class GoldenBytesOfThePartner : public testing::Test {
protected:
    GoldenBytesOfThePartner() {
        CapturedLog::Clear();
        listener.AddTo(model);
        model.AddItems({&clock, &music});
    }

    /** Delivers a message of the file to the host. */
    void Deliver(const std::string& name) {
        std::string bytes = messages.at(name);
        g_autoptr(GError) error = nullptr;
        g_autoptr(GDBusMessage) message =
            g_dbus_message_new_from_blob(reinterpret_cast<guchar*>(bytes.data()), bytes.size(),
                                         G_DBUS_CAPABILITY_FLAGS_NONE, &error);
        ASSERT_NE(message, nullptr) << error->message;
        host.Bus().Emit(g_dbus_message_get_sender(message), g_dbus_message_get_path(message),
                        g_dbus_message_get_interface(message), g_dbus_message_get_member(message),
                        g_dbus_message_get_body(message));
        ASSERT_TRUE(host.Deliver());
    }

    const std::map<std::string, std::string> messages = PartnerMessages();
    DoubleHost host;
    std::vector<std::string> events;
    TestListener listener{events};
    TestItem clock{"Clock", "clock.01"};
    TestItem music{"Music Player", "music.02"};
    RemoteAppListModel model;
};

TEST_F(GoldenBytesOfThePartner, ConnectAndDisconnectTheHost) {
    Deliver("_SYN_ACK");
    EXPECT_EQ(Readies(), 1u);
    Deliver("vanished");
    EXPECT_EQ(Losses(), 1u);
    Deliver("_SYN");
    EXPECT_EQ(Readies(), 1u);
    Deliver("_ACK");
    EXPECT_EQ(Readies(), 2u);
}

TEST_F(GoldenBytesOfThePartner, AreReadAsItsEvents) {
    Deliver("_SYN_ACK");
    ASSERT_EQ(Readies(), 1u);
    host.Bus().Script("Send", BusDouble::Reply::Body(ByteBody("Music Player\nmusic.02\n")));
    for (const char* event : {"change", "selection", "click"}) {
        Deliver(event);
    }
    EXPECT_THAT(events, ElementsAre("change", "selection", "click"));
    EXPECT_EQ(model.GetSelection(), &music);
    host.Bus().ForgetCalls();
    Deliver("created");
    EXPECT_EQ(host.Bus().CountCalls("Send"), 2u); // the list and the selection
}

} // namespace
