// Hosts without a main loop of GLib: one with poll(2), one without any loop. Nothing here iterates
// a main context.
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <applist/AppListClient.h>
#include <applist/AppListExecutors.h>
#include <glib.h>
#include <gmock/gmock.h>
#include <poll.h>

#include "ClientHost.h"
#include "MainLoop.h"
#include "PartnerProcess.h"
#include "PrivateBus.h"
#include "Records.h"

namespace {

using testing::ElementsAre;

gboolean cb_SetFlag(void* user_data) {
    *static_cast<bool*>(user_data) = true;
    return G_SOURCE_REMOVE;
}

/** Fails if any thread has iterated the default main context of the process. */
class HostWithoutGLib : public testing::Test {
protected:
    HostWithoutGLib() : m_source(g_idle_add(cb_SetFlag, &m_hasIterated)) {}
    ~HostWithoutGLib() override {
        if (!m_hasIterated) {
            g_source_remove(m_source);
        }
    }
    void TearDown() override { EXPECT_FALSE(m_hasIterated); }

    const PrivateBus m_bus;

private:
    bool m_hasIterated = false;
    guint m_source;
};

const std::string A_AND_B = Records::Write({"a", "a"}) + Records::Write({"b", "b"});

TEST_F(HostWithoutGLib, ReceivesEventsAndOutcomesInAPollLoop) {
    DescriptorExecutor executor;
    std::vector<std::string> reports;
    AppListClient::Events events;
    events.connected = [&] { reports.push_back("connected"); };
    events.selectionChanged = [&](const auto& item) { reports.push_back(item->uniqueId); };
    AppListClient client(executor.GetExecutor(), events);
    PartnerProcess partner;
    const auto dispatchUntil = [&](std::size_t count) {
        pollfd descriptor{executor.GetDescriptor(), POLLIN, 0};
        while (reports.size() < count && poll(&descriptor, 1, 20000) == 1) {
            executor.Dispatch();
        }
    };
    dispatchUntil(1);
    client.AddItems(LetterItems("ab"), [&](AppListClient::Outcome outcome, const std::string&) {
        reports.push_back(outcome == AppListClient::ANSWERED ? "answered" : "failed");
    });
    dispatchUntil(2);
    EXPECT_EQ(partner.List().first, A_AND_B);
    partner.Ask("choose 1");
    dispatchUntil(3);
    EXPECT_THAT(reports, ElementsAre("connected", "answered", "b"));
}

TEST_F(HostWithoutGLib, HasEqualListsWithoutALoopAndRunsTheTasksItself) {
    std::mutex mutex;
    std::vector<AppListClient::Task> tasks;
    std::vector<AppListClient::Outcome> outcomes;
    AppListClient client(
        [&](AppListClient::Task task) {
            const std::lock_guard<std::mutex> lock(mutex);
            tasks.push_back(std::move(task));
        },
        AppListClient::Events());
    PartnerProcess partner;
    ASSERT_TRUE(MainLoop::WaitWithoutIterating([&] { return client.IsConnected(); }));
    client.AddItems(LetterItems("ab"), [&](auto outcome, auto&) { outcomes.push_back(outcome); });
    EXPECT_TRUE(MainLoop::WaitWithoutIterating([&] { return partner.List().first == A_AND_B; }));
    partner.Ask("choose 1");
    ASSERT_TRUE(MainLoop::WaitWithoutIterating([&] { return client.GetSelection().has_value(); }));
    EXPECT_EQ(client.GetSelection()->uniqueId, "b");

    const auto run = [&] {
        const std::lock_guard<std::mutex> lock(mutex);
        for (const AppListClient::Task& task : tasks) {
            task();
        }
        tasks.clear();
    };
    EXPECT_TRUE(MainLoop::WaitWithoutIterating([&] {
        run();
        return !outcomes.empty();
    }));
    EXPECT_THAT(outcomes, ElementsAre(AppListClient::ANSWERED));
}

} // namespace
