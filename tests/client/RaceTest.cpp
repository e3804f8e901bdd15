// Requests of the client while the partner notifies: the partner of these tests delays its replies.
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <future>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <applist/AppListClient.h>
#include <gmock/gmock.h>

#include "ClientHost.h"
#include "PrivateBus.h"
#include "Records.h"
#include "SharedBus.h"
#include "TestPartner.h"

namespace {

using Bytes = TestPartner::Bytes;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

Bytes BytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

int IdOf(const Bytes& request) {
    return Records::IdOf({request.begin(), request.end()});
}

std::vector<int> IdsOf(const std::vector<Bytes>& requests) {
    std::vector<int> ids;
    std::transform(requests.begin(), requests.end(), std::back_inserter(ids), IdOf);
    return ids;
}

/** Released by the test, at the latest at its end. */
class Gate {
public:
    ~Gate() { Open(); }
    void Open() {
        if (!m_isOpen) {
            m_isOpen = true;
            m_opened.set_value();
        }
    }
    std::shared_future<void> Future() const { return m_future; }

private:
    bool m_isOpen = false;
    std::promise<void> m_opened;
    std::shared_future<void> m_future = m_opened.get_future().share();
};

class ClientRace : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_host.WaitForEvent("connected")); }

    void Notify(int id) {
        m_partner.Notify(SharedBus::CurrentUniqueName(), BytesOf(Records::Frame("", id)));
    }

    bool WaitForOutcomes(std::size_t count) {
        return m_host.WaitUntil([&] { return m_host.outcomes.size() >= count; });
    }

    std::vector<int> RequestsFrom(std::size_t first) {
        const std::vector<int> ids = IdsOf(m_partner.Requests());
        return {ids.begin() + static_cast<std::ptrdiff_t>(first), ids.end()};
    }

    PrivateBus m_bus;
    TestPartner m_partner{m_bus};
    ClientHost m_host;
    AppListClient& m_client = m_host.Client();
};

// The host would show the partner's selection for a moment, and then its own again. The partner
// replies with its own selection until it has received that of the host.
TEST_F(ClientRace, IgnoresThePartnersSelectionWhileASelectionOfTheHostWaits) {
    m_client.AddItems(LetterItems("abc"), m_host.Record());
    ASSERT_TRUE(WaitForOutcomes(1));
    for (std::size_t i = 1; i <= 10; ++i) {
        Gate gate;
        const auto selection = std::make_shared<std::string>("c");
        m_partner.AnswerWith([selection, opened = gate.Future()](const Bytes& request) {
            switch (IdOf(request)) {
            case Records::MODIFY_ITEM:
                opened.wait();
                return Bytes();
            case Records::SET_SELECTION:
                *selection = "a";
                return Bytes();
            default:
                return BytesOf(Records::Write({*selection, *selection}));
            }
        });
        const std::size_t requests = m_partner.Requests().size();
        m_client.ModifyItem("b", {"b", std::to_string(i)});
        ASSERT_TRUE(m_partner.WaitForRequests(requests + 1));
        m_client.SetSelection("a", m_host.Record());
        Notify(Records::SELECTION_EVENT);
        gate.Open();
        ASSERT_TRUE(WaitForOutcomes(1 + i));
        ASSERT_TRUE(m_partner.WaitForRequests(requests + 3));
    }
    m_host.DispatchFor(std::chrono::milliseconds(20));
    EXPECT_THAT(m_host.events, Not(Contains("selected c")));
    EXPECT_EQ(m_client.GetSelection()->uniqueId, "a");
}

TEST_F(ClientRace, SendsItsSelectionAgainAfterAQueryThatFailed) {
    m_client.AddItems(LetterItems("abc"));
    m_client.SetSelection("b", m_host.Record());
    ASSERT_TRUE(WaitForOutcomes(1));
    m_partner.AnswerWithError("com.example.Failed", "no selection");
    Notify(Records::SELECTION_EVENT);
    ASSERT_TRUE(m_partner.WaitForRequests(4));
    EXPECT_THAT(RequestsFrom(2), ElementsAre(Records::GET_SELECTION, Records::SET_SELECTION));
    EXPECT_EQ(m_client.GetSelection()->uniqueId, "b");
    m_host.DispatchFor(std::chrono::milliseconds(20));
    EXPECT_THAT(m_host.events, Not(Contains("selected nothing")));
}

// The repair depends on the time between the last change and the report of the new list. A slow
// partner must not make this time longer.
TEST_F(ClientRace, RepairsTheListAfterAPushThatTookLong) {
    m_client.AddItems(LetterItems("abc"), m_host.Record());
    ASSERT_TRUE(WaitForOutcomes(1));
    m_partner.AnswerWith([](const Bytes&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1100));
        return Bytes();
    });
    Notify(Records::CREATED_EVENT);
    ASSERT_TRUE(m_partner.WaitForRequests(2));
    m_partner.AnswerWith([](const Bytes&) { return Bytes(); });
    ASSERT_TRUE(m_partner.WaitForRequests(4));
    EXPECT_THAT(RequestsFrom(1),
                ElementsAre(Records::ADD_ITEMS, Records::REMOVE_ALL_ITEMS, Records::ADD_ITEMS));
}

// A repair removes all items and sends the host's selection again, so that it would replace a
// selection that the partner makes after the push.
TEST(ClientRaceOfASelection, KeepsThePartnersSelectionAfterAReportOfANewList) {
    PrivateBus bus;
    TestPartner partner(bus, false);
    ClientHost host;
    host.Client().AddItems(LetterItems("abc"), host.Record());
    ASSERT_TRUE(host.WaitUntil([&] { return host.outcomes.size() == 1; }));
    ASSERT_TRUE(partner.WaitForAnnouncement("_CLIENT_SYN"));
    partner.Announce("_SYN_ACK");
    ASSERT_TRUE(host.WaitForEvent("connected"));
    partner.AnswerWith([](const Bytes& request) {
        return IdOf(request) == Records::GET_SELECTION ? BytesOf(Records::Write({"b", "b"}))
                                                       : Bytes();
    });
    host.Client().SetSelection("c", host.Record());
    ASSERT_TRUE(host.WaitUntil([&] { return host.outcomes.size() == 2; }));
    for (const int event : {Records::CREATED_EVENT, Records::SELECTION_EVENT}) {
        partner.Notify(SharedBus::CurrentUniqueName(), BytesOf(Records::Frame("", event)));
    }
    ASSERT_TRUE(host.WaitForEvent("selected b"));
    host.Client().SetClicked("a", host.Record()); // after each earlier request
    ASSERT_TRUE(host.WaitUntil([&] { return host.outcomes.size() == 3; }));
    EXPECT_THAT(IdsOf(partner.Requests()),
                ElementsAre(Records::SET_SELECTION, Records::ADD_ITEMS, Records::SET_SELECTION,
                            Records::GET_SELECTION, Records::SET_CLICKED));
    EXPECT_EQ(host.Client().GetSelection()->uniqueId, "b");
}

// The number of requests between the reply to the first change and the handling of a notification
// that arrived during the first change.
std::size_t RequestsBeforeTheNotification(TestPartner& partner) {
    constexpr std::size_t CHANGES = 300;
    std::promise<void> connected;
    std::promise<std::size_t> handled;
    int posts = 0;
    // Posts in their order: the connection, then the notification. The tasks do not run.
    AppListClient::Events events;
    events.connected = [] {};
    events.changed = [] {};
    AppListClient client(
        [&](const AppListClient::Task&) {
            ++posts;
            if (posts == 1) {
                connected.set_value();
            } else if (posts == 2) {
                handled.set_value(partner.Requests().size());
            }
        },
        events);
    connected.get_future().wait();
    const std::size_t before = partner.Requests().size();
    Gate gate;
    partner.AnswerWith([opened = gate.Future()](const Bytes&) {
        opened.wait();
        return Bytes();
    });
    for (std::size_t i = 0; i < CHANGES; ++i) {
        client.AddItemAtEnd({std::to_string(i), "name"});
    }
    EXPECT_TRUE(partner.WaitForRequests(before + 1));
    partner.Notify(SharedBus::CurrentUniqueName(),
                   BytesOf(Records::Frame("", Records::CHANGE_EVENT)));
    // For the list's thread, so that it waits as well. Without this time, more requests pass.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    gate.Open();
    return handled.get_future().get() - before - 1;
}

// Without an order between the two threads, the one that makes the changes locks their mutex again
// and again before the other one wakes up.
TEST(ClientRaceOfManyChanges, HandlesANotificationBetweenTwoOfThem) {
    PrivateBus bus;
    TestPartner partner(bus);
    std::vector<std::size_t> requests;
    for (int i = 0; i < 9; ++i) {
        requests.push_back(RequestsBeforeTheNotification(partner));
        ASSERT_TRUE(SharedBus::WaitUntilReleased());
    }
    std::sort(requests.begin(), requests.end());
    EXPECT_LE(requests[requests.size() / 2], 1U) << testing::PrintToString(requests);
}

} // namespace
