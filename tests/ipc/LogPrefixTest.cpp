// Every line of the log starts with its source location, in one form.
#include <ipc/IPCApplist.h>

#include <regex>

#include "ChannelTest.h"

namespace {

class NoModel {};

class LogPrefix : public HeldBusTest {
protected:
    // All phases of an endpoint: both handshakes, traffic, a loss, a resend, refusals.
    void Live() {
        IPCApplist<JavaMWDbusRemote, NoModel> endpoint("Applist");
        auto first = std::make_unique<TestPartner>(bus);
        first->Announce("_SYN");
        ASSERT_TRUE(IterateUntilReady(endpoint));
        Bytes data = ByteVector("data");
        endpoint.SendMessage(data);
        endpoint.SendNotification(data);
        endpoint.SendNotification(data, ":1.999");
        first->Notify(OwnName(), ByteVector({1, 0, 0, 0}));
        first->Notify(OwnName(), ByteVector({1}));
        ASSERT_TRUE(
            IterateUntilLogged(CapturedLog::ERROR, "Data corrupted. Does not contain message id."));
        CallFrom(*first, ByteVector({1, 0, 0, 0}), OwnName());
        first->AnswerWithError("org.example.Error", "refused");
        endpoint.SendMessage(data);
        first.reset();
        ASSERT_TRUE(IterateUntilLogged(CapturedLog::DEBUG, "Stop watching old partner messages."));
        endpoint.SendNotification(data);
        bus.SetPolicy(Deny::Owning("_CLIENT_ACK"));
        TestPartner second(bus, false);
        second.Announce("_SYN_ACK");
        ASSERT_TRUE(IterateUntilLogged(CapturedLog::DEBUG, "Timer thread create status: 1"));
        ASSERT_TRUE(CapturedLog::WaitFor(CapturedLog::DEBUG,
                                         "Failed to broadcasted: "
                                         "org.morva.JavaMW.Applist_CLIENT_ACK. Will try once "
                                         "again"));
        bus.SetPolicy("");
        ASSERT_TRUE(CapturedLog::WaitFor(CapturedLog::DEBUG, "Finished timer thread"));
        JavaMWDbusRemote::cb_SignalCall(nullptr, "s", "o", "i", "n", nullptr, nullptr);
    }
};

TEST_F(LogPrefix, NamesFileFunctionAndLineTwice) {
    Live();
    ASSERT_GT(CapturedLog::Lines().size(), 60u);
    const std::regex form(R"(([\w.-]+): ([\w~]+)\((\d+)\) > \[([\w~]+):(\d+)\] [^\n]+\n{1,2})");
    for (const CapturedLog::Line& line : CapturedLog::Lines()) {
        std::smatch part;
        ASSERT_TRUE(std::regex_match(line.text, part, form)) << line.text;
        EXPECT_EQ(part[2], part[4]) << line.text;
        EXPECT_EQ(part[3], part[5]) << line.text;
        EXPECT_EQ(line.file, part[1]);
        EXPECT_TRUE(line.file == "javamw-dbus-remote.cpp" || line.file == "IPCApplist.h")
            << line.text;
    }
}

TEST_F(LogPrefix, HasTheMainBufferTheTagAndADefinedPriority) {
    Live();
    for (const CapturedLog::Line& line : CapturedLog::Lines()) {
        EXPECT_EQ(line.bufferId, 0) << line.text;
        EXPECT_EQ(line.tag, "applist") << line.text;
        EXPECT_TRUE(line.priority == 3 || line.priority == 4 || line.priority == 6) << line.text;
    }
}

struct Origin {
    const char* start; ///< of the message
    const char* function;
    const char* file;
};

constexpr const char* CHANNEL = "javamw-dbus-remote.cpp";
constexpr const char* ADAPTER = "IPCApplist.h";
const Origin ORIGINS[] = {
    {"Constructor", "JavaMWDbusRemote", CHANNEL},
    {"XML parsed", "JavaMWDbusRemote", CHANNEL},
    {"BroadcastName ", "BroadcastName", CHANNEL},
    {"Become primary owner for name.", "BroadcastName", CHANNEL},
    {"Error during request name call", "BroadcastName", CHANNEL},
    {"Cannot get response for name request", "BroadcastName", CHANNEL},
    {"cb_SynNameOwnerChanged called", "cb_SynNameOwnerChanged", CHANNEL},
    {"cb_SynAckNameOwnerChanged called", "cb_SynAckNameOwnerChanged", CHANNEL},
    {"cb_AckNameOwnerChanged called", "cb_AckNameOwnerChanged", CHANNEL},
    {"cb_PartnerNameVanished name=", "cb_PartnerNameVanished", CHANNEL},
    {"Sending sync message with", "SendMessage", CHANNEL},
    {"Reply with", "SendMessage", CHANNEL},
    {"Error while sending message", "SendMessage", CHANNEL},
    {"Attempt to send notification", "SendNotification", CHANNEL},
    {"cb_MethodCall sender=", "cb_MethodCall", CHANNEL},
    {"cb_SignalCall sender=", "cb_SignalCall", CHANNEL},
    {"Empty user_data or connection not valid.", "RunCallback", CHANNEL},
    {"Executed OnResendHandshake function", "OnResendHandshake", CHANNEL},
    {"Finished timer thread", "TimerThread", CHANNEL},
    {"IPCApplist", "IPCApplist", ADAPTER},
    {"IPC HandleMessage", "HandleMessage", ADAPTER},
    {"IPC HandleNotification", "HandleNotification", ADAPTER},
    {"callbackMessageObject object is NULL", "HandleMessage", ADAPTER},
    {"callbackNotificationObject object is NULL", "HandleNotification", ADAPTER},
    {"Data corrupted.", "HandleNotification", ADAPTER},
    {"HandleConnectionReady state=", "HandleConnectionReady", ADAPTER},
};

TEST_F(LogPrefix, NamesTheOperationOfTheLine) {
    Live();
    const auto lines = CapturedLog::Lines();
    for (const Origin& origin : ORIGINS) {
        const auto line = std::find_if(lines.begin(), lines.end(), [&](const auto& candidate) {
            return candidate.message.rfind(origin.start, 0) == 0;
        });
        ASSERT_NE(line, lines.end()) << origin.start;
        EXPECT_EQ(line->function, origin.function) << origin.start;
        EXPECT_EQ(line->file, origin.file) << origin.start;
    }
}

} // namespace
