#include "Pairs.h"

#include <ctime>

#include "LaneOrders.h"

namespace {

double Seconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

} // namespace

Pairs::Pairs(const Lanes& lanes, std::size_t warmUp, std::size_t rounds) : m_warmUp(warmUp) {
    for (std::size_t round = 0; round < warmUp + rounds; ++round) {
        lanes.prepare();
        RunRound(lanes, round, round >= warmUp);
        lanes.finish();
    }
}

void Pairs::RunRound(const Lanes& lanes, std::size_t round, bool recorded) {
    const std::function<void()>* const work[] = {&lanes.reference, &lanes.applist, &lanes.control};
    for (const int lane : LANE_ORDERS[round % LANE_ORDERS.size()]) {
        // The clock is read inside, because reading processor time costs more than reading the
        // clock.
        const double process = Seconds(CLOCK_PROCESS_CPUTIME_ID);
        const double thread = Seconds(CLOCK_THREAD_CPUTIME_ID);
        const double begin = Seconds(CLOCK_MONOTONIC);
        (*work[lane])();
        const double end = Seconds(CLOCK_MONOTONIC);
        const double threadEnd = Seconds(CLOCK_THREAD_CPUTIME_ID);
        const double processEnd = Seconds(CLOCK_PROCESS_CPUTIME_ID);
        if (recorded) {
            m_samples[lane].wall.push_back(end - begin);
            m_samples[lane].threadCpu.push_back(threadEnd - thread);
            m_samples[lane].processCpu.push_back(processEnd - process);
        }
    }
}

void Pairs::Report(Result& result) const {
    const Samples& reference = m_samples[REFERENCE];
    const Samples& library = m_samples[LIBRARY];
    const Samples& control = m_samples[CONTROL];
    const auto ratio = [&](const Samples& of, std::vector<double> Samples::*kind) {
        return Stats::Of(Stats::Ratios(of.*kind, reference.*kind));
    };
    result.Number("pairs", static_cast<double>(reference.wall.size()))
        .Number("warm_up_rounds", static_cast<double>(m_warmUp))
        .Spread("ratio", ratio(library, &Samples::wall))
        .Spread("control", ratio(control, &Samples::wall))
        .Spread("reference_s", Stats::Of(reference.wall))
        .Spread("library_s", Stats::Of(library.wall))
        .Spread("cpu_ratio", ratio(library, &Samples::processCpu))
        .Spread("cpu_control", ratio(control, &Samples::processCpu))
        .Spread("reference_cpu_s", Stats::Of(reference.processCpu))
        .Spread("library_cpu_s", Stats::Of(library.processCpu))
        .Spread("reference_thread_cpu_s", Stats::Of(reference.threadCpu))
        .Spread("library_thread_cpu_s", Stats::Of(library.threadCpu));
}
