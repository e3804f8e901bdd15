// Runs schedules on a real endpoint at the bus double and on the model, and compares both.
#pragma once

#include <memory>
#include <set>
#include <string>

#include "Schedule.h"

inline namespace applist_test {

class ScheduleRun;

/** The totals of an exploration. */
struct Figures {
    long schedules = 0;
    long skipped = 0; ///< schedules that a bus cannot deliver: a vanished name announces
    long events = 0;
    long announcements = 0;
    long ready = 0;
    long lost = 0;
    long threads = 0;
    std::set<std::string> states; ///< the distinct states of the model
};

class Explorer {
public:
    enum class Delivery {
        CALLBACKS, ///< the test calls the callbacks of the endpoint
        BUS        ///< the double emits signals, which GDBus delivers
    };

    explicit Explorer(Delivery delivery);
    ~Explorer();

    /**
     * Runs @p schedule. Repairs the bus, removes the bound partner, and requires that a new
     * partner connects. The endpoint is then free for the next schedule.
     * @return the difference from the model, or an empty text
     */
    std::string Run(const Schedule& schedule);

    const Figures& Totals() const { return m_figures; }

private:
    Delivery m_delivery;
    Figures m_figures;
    std::unique_ptr<ScheduleRun> m_run;
    long m_runsSinceStart = 0;
};

} // namespace applist_test
