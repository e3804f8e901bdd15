// Simultaneous starts of host and partner: both connect in every order of their announcements.
#include <algorithm>
#include <chrono>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include <applist/AppListProxy.h>
#include <applist/RemoteAppListItem.h>

#include "OwnerChanges.h"
#include "PrivateBus.h"
#include "ToolProcess.h"

namespace {

// Whether each side was bound on the other's first announcement.
bool WasCrossed(const std::string& partnerOutput) {
    return partnerOutput.find("<- _CLIENT_SYN from") != std::string::npos &&
           partnerOutput.find("<- _CLIENT_SYN_ACK from") != std::string::npos;
}

using Clock = std::chrono::steady_clock;

// The time from the start to the announcement of the partner, minus that of the host.
Clock::duration PartnersLag(const PrivateBus& bus) {
    OwnerChanges changes(bus);
    std::vector<Clock::duration> lags;
    for (int i = 0; i < 9; ++i) {
        const auto partnerStart = Clock::now();
        const ToolProcess partner({"partner"});
        EXPECT_NE(changes.WaitForNewcomer("_SERVICE_SYN"), "");
        const auto partnerTime = Clock::now() - partnerStart;
        const auto hostStart = Clock::now();
        const AppListProxy list;
        lags.push_back(partnerTime - (Clock::now() - hostStart));
    }
    std::sort(lags.begin(), lags.end());
    return lags[lags.size() / 2];
}

void WaitUntil(Clock::time_point time) {
    while (Clock::now() < time) {
        std::this_thread::yield();
    }
}

// Both announce themselves at nearly the same time. A shift that differs in each start moves one
// announcement past the other.
TEST(CrossedStart, ConnectsInEachOfAHundredSimultaneousStarts) {
    constexpr int STARTS = 100;
    const PrivateBus bus;
    const Clock::duration lag = PartnersLag(bus);
    std::istringstream record("Clock\nclock\n");
    RemoteAppListItem item;
    record >> item;
    int crossed = 0;
    for (int i = 0; i < STARTS; ++i) {
        const auto shift = std::chrono::microseconds(20 * (i - STARTS / 2));
        const auto start = Clock::now();
        ToolProcess partner({"partner"});
        WaitUntil(start + lag + shift);
        AppListProxy list;
        list.AddItems({&item});
        // The partner receives the item only after a handshake, with the list for its
        // notification 4.
        ASSERT_TRUE(partner.WaitFor("my list has 1 item now")) << "start " << i << "\n"
                                                               << partner.Output();
        crossed += WasCrossed(partner.Output()) ? 1 : 0;
    }
    RecordProperty("crossed", crossed);
    std::cout << crossed << " of " << STARTS << " starts were crossed\n";
}

} // namespace
