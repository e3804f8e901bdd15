// Senders in several threads while the partner restarts.
#include "ChannelTest.h"

#include <atomic>
#include <optional>
#include <thread>

namespace {

class Senders : public HeldBusTest {
protected:
    void TearDown() override {
        loop.reset();
        HeldBusTest::TearDown();
    }

    std::optional<LoopThread> loop{std::in_place};
};

TEST_F(Senders, ContinueWithAPartnerThatRestartsManyTimes) {
    RecordingEndpoint endpoint;
    std::atomic<bool> stop{false};
    std::atomic<int> answered{0};
    std::atomic<int> strange{0};
    const auto send = [&] {
        while (!stop) {
            Bytes data = ByteVector("request");
            const Bytes reply = endpoint.SendMessage(data);
            answered += reply == ByteVector("reply") ? 1 : 0;
            strange += !reply.empty() && reply != ByteVector("reply") ? 1 : 0;
            endpoint.SendNotification(data);
            endpoint.SendNotification(data, ":1.2");
            // The lines of a busy loop would fill the memory.
            CapturedLog::Clear();
        }
    };
    testing::internal::CaptureStdout();
    std::thread first(send);
    std::thread second(send);
    int restarts = 0;
    for (; restarts < 40; ++restarts) {
        TestPartner partner(bus);
        partner.AnswerWith([](const Bytes&) { return ByteVector("reply"); });
        partner.Announce("_SYN");
        if (!MainLoop::WaitWithoutIterating([&] { return endpoint.IsConnectionReady(); }) ||
            !partner.WaitForRequests(4)) {
            break;
        }
        g_dbus_connection_close_sync(partner.Connection(), nullptr, nullptr);
        if (!MainLoop::WaitWithoutIterating([&] { return !endpoint.IsConnectionReady(); })) {
            break;
        }
    }
    stop = true;
    first.join();
    second.join();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(restarts, 40);
    EXPECT_GT(answered, 40);
    EXPECT_EQ(strange, 0);
    EXPECT_EQ(endpoint.Readinesses().size(), 80u);
}

TEST_F(Senders, ReceiveTheirOwnReplies) {
    TestPartner partner(bus);
    partner.AnswerWith([](const Bytes& request) { return request; });
    RecordingEndpoint endpoint;
    ASSERT_TRUE(MainLoop::WaitWithoutIterating([&] { return endpoint.IsConnectionReady(); }));
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 100; ++i) {
                Bytes data = ByteVector({thread, i});
                wrong += endpoint.SendMessage(data) == ByteVector({thread, i}) ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

} // namespace
