// A partner process that is killed at each step of the handshake, and two simultaneous partners.
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <thread>

#include "HostileTest.h"
#include "PartnerProcess.h"

namespace {

class KilledPartner : public HostileTest, public testing::WithParamInterface<const char*> {};
class TwoPartners : public HostileTest {};

std::string NameOf(const testing::TestParamInfo<const char*>& info) {
    std::string name;
    bool capital = true;
    for (const char* at = info.param; *at != '\0'; ++at) {
        if (*at == '-') {
            capital = true;
            continue;
        }
        name += capital ? static_cast<char>(g_ascii_toupper(*at)) : *at;
        capital = false;
    }
    return name;
}

} // namespace

// The host starts first. The partner announces itself, or a new list of the host announces itself.
TEST_P(KilledPartner, IsFollowedByAConnectionToTheNextPartner) {
    const std::string moment = GetParam();
    const bool answersTheHost =
        moment == "syn-seen" || moment == "syn-ack-announced" || moment == "ack-seen";
    std::vector<std::string> options{"--kill-at", moment};
    if (answersTheHost) {
        model.reset(); // it is created again below, after the start of the partner
        options.insert(options.end(), {"--retry-ms", "0"});
    }
    PartnerProcess killed(options);
    if (answersTheHost) {
        killed.Ask("list"); // afterwards the partner watches the names
        WaitForTheBus();    // afterwards its SYN has been delivered
        model = std::make_unique<RemoteAppListModel>();
        model->AddItemChangeListener(&listener);
        model->AddItemAtEnd(&item);
        model->SetSelection(&item);
    }
    ASSERT_TRUE(MainLoop::IterateUntil([&] {
        return moment != "request-seen" || CountDebugStarting("HandleConnectionReady state=1") > 0;
    }));
    if (moment == "request-seen") {
        model->SetClicked(&item);
    }
    // This side continues the handshake while the partner exits.
    std::atomic<bool> hasExited{false};
    std::thread waiting([&] {
        EXPECT_EQ(killed.WaitForExit(), 128 + SIGKILL);
        hasExited = true;
    });
    if (!MainLoop::IterateUntil([&] { return hasExited.load(); }, std::chrono::seconds(60))) {
        ADD_FAILURE() << "it does not get to " << moment;
        std::_Exit(1); // the thread waits for ever
    }
    waiting.join();

    PartnerProcess next({"--keep-requests"});
    WaitUntilReady(next.Name());
    model->SetClicked(&item);
    EXPECT_THAT(next.Requests(),
                testing::ElementsAre(Records::Frame("Clock\nclock.01\n", Records::SET_CLICKED)));
}
INSTANTIATE_TEST_SUITE_P(Moments, KilledPartner,
                         testing::Values("syn-announced", "syn-ack-seen", "ack-announced",
                                         "syn-seen", "syn-ack-announced", "ack-seen",
                                         "request-seen"),
                         NameOf);

TEST_F(TwoPartners, OnlyTheFirstIsBound) {
    Connect();
    TestPartner second(bus);
    second.Announce("_SYN");
    WaitForAllEvents();
    ExpectAllIsWell();
    EXPECT_TRUE(second.Requests().empty());
    EXPECT_TRUE(second.Announcements().empty());
}

TEST_F(TwoPartners, BothAnswerANewHostAndOneOfThemIsBound) {
    model.reset();
    auto first = std::make_unique<PartnerProcess>(
        std::vector<std::string>{"--keep-requests", "--retry-ms", "0"});
    auto second = std::make_unique<PartnerProcess>(
        std::vector<std::string>{"--keep-requests", "--retry-ms", "0"});
    first->Ask("list"); // both watch by now
    second->Ask("list");
    WaitForTheBus();
    CapturedLog::Clear();
    model = std::make_unique<RemoteAppListModel>();
    const auto isBound = [](const PartnerProcess& process) {
        return CountDebug("HandleConnectionReady state=1, partner=" + process.Name()) > 0;
    };
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return isBound(*first) || isBound(*second); }));
    model->SetClicked(&item);
    const bool firstWon = isBound(*first);
    EXPECT_EQ(first->Requests().size(), firstWon ? 1U : 0U);
    EXPECT_EQ(second->Requests().size(), firstWon ? 0U : 1U);

    // After the loss of the bound partner, the announcement of the other one leads to a binding.
    auto& bound = firstWon ? first : second;
    auto& other = firstWon ? second : first;
    bound->Kill();
    WaitUntilLost(bound->Name());
    other->SendCommand("syn");
    WaitUntilReady(other->Name());
    model->SetClicked(&item);
    EXPECT_EQ(other->Requests().size(), 1U);
}
