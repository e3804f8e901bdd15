#include "Permutation.h"

#include <algorithm>
#include <ctime>
#include <memory>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

#include <applist/AppListClient.h>
#include <applist/AppListExecutors.h>
#include <poll.h>

#include "ResultFile.h"
#include "Stats.h"

namespace {

constexpr std::size_t LENGTH = 10000;
constexpr std::size_t CHANGES = 100;

double Seconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// The items at CHANGES random places move in a cycle.
void Permute(std::vector<AppListClient::Item>& items, std::mt19937& random) {
    std::vector<std::size_t> places(items.size());
    std::iota(places.begin(), places.end(), 0);
    std::shuffle(places.begin(), places.end(), random);
    for (std::size_t i = 0; i + 1 < CHANGES; ++i) {
        std::swap(items[places[i]], items[places[i + 1]]);
    }
}

class List {
public:
    List() : m_client(m_executor.GetExecutor(), {}) {}

    /** Returns after all work, which ends without a request: no partner is connected. */
    void Set(const std::vector<AppListClient::Item>& items) {
        bool isDone = false;
        m_client.SetItems(items, [&](auto...) { isDone = true; });
        while (!isDone) {
            pollfd descriptor{m_executor.GetDescriptor(), POLLIN, 0};
            poll(&descriptor, 1, -1);
            m_executor.Dispatch();
        }
    }

private:
    DescriptorExecutor m_executor;
    AppListClient m_client;
};

} // namespace

void applist_bench::MeasurePermutation(const std::string& out, bool quick) {
    std::mt19937 random(1);
    std::vector<AppListClient::Item> items;
    for (std::size_t i = 0; i < LENGTH; ++i) {
        items.push_back({"com.example.app." + std::to_string(i), "Application"});
    }
    List list;
    list.Set(items);
    std::vector<double> processor;
    std::vector<double> wall;
    for (int round = 0; round < (quick ? 10 : 50); ++round) {
        Permute(items, random);
        const double begin = Seconds(CLOCK_MONOTONIC);
        const double processorBegin = Seconds(CLOCK_PROCESS_CPUTIME_ID);
        list.Set(items);
        processor.push_back(Seconds(CLOCK_PROCESS_CPUTIME_ID) - processorBegin);
        wall.push_back(Seconds(CLOCK_MONOTONIC) - begin);
    }
    Result("client-permutation")
        .Number("rounds", static_cast<double>(wall.size()))
        .Spread("processor_s", Stats::Of(processor))
        .Spread("wall_s", Stats::Of(wall))
        .Write(out);
}
