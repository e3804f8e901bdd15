// Missing replies in real time: each costs the 25 s of GDBus. The cases run in parallel threads.
#include <chrono>
#include <string>
#include <thread>

#include "Bytes.h"

#include "FaultTest.h"

namespace {

using Reply = BusDouble::Reply;
using Clock = std::chrono::steady_clock;

double SecondsOf(const std::function<void()>& work) {
    const auto start = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void ExpectTheTimeOut(double seconds) {
    EXPECT_GT(seconds, 24.0);
    EXPECT_LT(seconds, 40.0);
}

class MissingReply : public FaultTest {};

std::string RequestedName() {
    return "org.morva.JavaMW.MissesItsRequest_CLIENT_SYN";
}

std::string ReleasedName() {
    return "org.morva.JavaMW.MissesItsRelease_CLIENT_SYN";
}

TEST_F(MissingReply, EndsRequestNameReleaseNameAndSendAfter25Seconds) {
    MakeEndpoint();
    ConnectTo(PARTNER);
    CapturedLog::Clear();
    Bus().Script("RequestName", RequestedName(), Reply::Missing());
    Bus().Script("ReleaseName", ReleasedName(), Reply::Missing());
    Bus().Script("Send", Reply::Missing());

    double request = 0;
    double release = 0;
    double send = 0;
    std::thread requester(
        [&] { request = SecondsOf([] { const RecordingEndpoint e({}, "MissesItsRequest"); }); });
    std::thread releaser(
        [&] { release = SecondsOf([] { const RecordingEndpoint e({}, "MissesItsRelease"); }); });
    std::thread sender([&] {
        std::vector<char> data = ByteVector("x");
        send = SecondsOf([&] { EXPECT_TRUE(Endpoint().SendMessage(data).empty()); });
    });
    requester.join();
    releaser.join();
    sender.join();

    ExpectTheTimeOut(request);
    ExpectTheTimeOut(release);
    ExpectTheTimeOut(send);
    EXPECT_EQ(CountError("Error during request name call [24] Timeout was reached"), 1U);
    EXPECT_EQ(CountError("Cannot get response for name request"), 1U);
    EXPECT_EQ(CountError("Release failed due to empty response."), 1U);
    EXPECT_EQ(CountError("Error while sending message [24] Timeout was reached"), 1U);
    EXPECT_EQ(Errors().size(), 4U);
    // The name of the unanswered request is released once.
    EXPECT_TRUE(Bus().WaitForCall("ReleaseName " + RequestedName()));
    EXPECT_EQ(Bus().CountCalls("ReleaseName " + ReleasedName()), 1U);
    EXPECT_TRUE(Endpoint().IsConnectionReady());
}

TEST_F(MissingReply, OfGetNameOwnerDelaysNothing) {
    Bus().Script("GetNameOwner", Reply::Missing());
    MakeEndpoint();
    ConnectTo(PARTNER);
    EXPECT_EQ(Errors(), Strings{});
}

} // namespace
