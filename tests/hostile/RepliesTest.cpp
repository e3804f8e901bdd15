// Requests with wrong replies: an error, a late one, one of another process, or none.
#include <chrono>
#include <thread>

#include "HostileTest.h"
#include "PartnerProcess.h"

namespace {

class Unanswered : public HostileTest {
protected:
    static std::size_t Errors() { return CountErrorStarting("Error while sending message"); }
};

} // namespace

TEST_F(Unanswered, AnErrorOfThePartnerEndsTheRequestAlone) {
    Connect();
    partner->AnswerWithError("org.example.Error.No", "I will not");
    model->SetClicked(&item);
    EXPECT_EQ(Errors(), 1U);
    partner->AnswerWith([](const TestPartner::Bytes&) { return TestPartner::Bytes(); });
    ExpectAllIsWell();
}

TEST_F(Unanswered, AnErrorForTheSelectionQueryCountsAsNoSelection) {
    Connect();
    partner->AnswerWithError("org.freedesktop.DBus.Error.Failed", std::string(100000, 'x'));
    partner->NotifyBody(hostName, ByteBody(Records::Frame("", Records::SELECTION_EVENT)));
    WaitForAllEvents();
    EXPECT_EQ(model->GetSelection(), nullptr);
    EXPECT_EQ(listener.selections, 1U);
}

// The process is stopped and does not reply; the reply arrives after the time-out.
TEST_F(Unanswered, ARequestToASilentPartnerTimesOutAndTheLateReplyIsIgnored) {
    PartnerProcess process({"--keep-requests"});
    WaitUntilReady(process.Name());
    process.Stop();
    const auto start = std::chrono::steady_clock::now();
    model->SetClicked(&item);
    const auto blocked = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(Errors(), 1U);
    EXPECT_GE(blocked, std::chrono::seconds(24));
    EXPECT_LE(blocked, std::chrono::seconds(40));

    process.Continue();
    model->SetSelection(&item);
    EXPECT_EQ(Errors(), 1U);
    const std::string record = "Clock\nclock.01\n";
    EXPECT_THAT(process.Requests(),
                testing::ElementsAre(Records::Frame(record, Records::SET_CLICKED),
                                     Records::Frame(record, Records::SET_SELECTION)));
}

TEST_F(Unanswered, APartnerThatCrashesDuringARequestEndsItAtOnce) {
    const PartnerProcess process({"--kill-at", "request-seen"});
    WaitUntilReady(process.Name());
    const auto start = std::chrono::steady_clock::now();
    model->SetClicked(&item);
    EXPECT_LE(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
    EXPECT_EQ(Errors(), 1U);
    WaitUntilLost(process.Name());
    Connect();
    ExpectAllIsWell();
}

// The partner leaves the bus during a request, and replies to its serial number on a new
// connection.
TEST_F(Unanswered, AReplyOfThePartnersEarlierConnectionIsIgnored) {
    Connect();
    const std::string first = partner->UniqueName();
    guint32 number = 0;
    GDBusConnection* const leaving = partner->Connection();
    partner->AnswerWithBody([&]() -> GVariant* {
        g_dbus_connection_close_sync(leaving, nullptr, nullptr);
        return g_variant_new("()");
    });
    const guint filter = g_dbus_connection_add_filter(
        leaving,
        [](GDBusConnection*, GDBusMessage* message, gboolean incoming, void* data) {
            if (incoming != FALSE &&
                g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
                *static_cast<guint32*>(data) = g_dbus_message_get_serial(message);
            }
            return message;
        },
        &number, nullptr);
    model->SetClicked(&item);
    EXPECT_EQ(Errors(), 1U);
    g_dbus_connection_remove_filter(leaving, filter);
    WaitUntilLost(first);
    Connect();
    ASSERT_NE(number, 0U);

    g_autoptr(GDBusMessage) late = g_dbus_message_new();
    g_dbus_message_set_message_type(late, G_DBUS_MESSAGE_TYPE_METHOD_RETURN);
    g_dbus_message_set_destination(late, hostName.c_str());
    g_dbus_message_set_reply_serial(late, number);
    g_dbus_message_set_body(late, ByteBody("Clock\nclock.01\n"));
    g_dbus_connection_send_message(partner->Connection(), late, G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                   nullptr, nullptr);
    ExpectAllIsWell();
    EXPECT_EQ(Errors(), 1U);
}

// The partner waits for the reply of the host before its own reply, and the host is blocked.
TEST_F(Unanswered, APartnerThatCallsTheHostDuringTheSelectionQueryBlocksBothUntilItsTimeOut) {
    Connect();
    std::string askedBack;
    partner->AnswerWith([&](const TestPartner::Bytes&) {
        g_autoptr(GError) error = nullptr;
        g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
            partner->Connection(), hostName.c_str(),
            "/org/morva/javamw/CommunicationChannel/Applist", "org.morva.javamw.DbusCommunication",
            "Send", ByteBody("back"), nullptr, G_DBUS_CALL_FLAGS_NONE, 500, nullptr, &error);
        askedBack = reply == nullptr ? error->message : "an answer";
        const std::string selection = "Clock\nclock.01\n";
        return TestPartner::Bytes(selection.begin(), selection.end());
    });
    partner->NotifyBody(hostName, ByteBody(Records::Frame("", Records::SELECTION_EVENT)));
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return listener.selections == 1; }));
    EXPECT_THAT(askedBack, testing::HasSubstr("Timeout"));
    EXPECT_EQ(model->GetSelection(), &item);
    partner->AnswerWith([](const TestPartner::Bytes&) { return TestPartner::Bytes(); });
    ExpectAllIsWell();
}
