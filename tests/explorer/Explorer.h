// Runs schedules against a real endpoint on the bus double and against the model, side by side.
#ifndef APPLIST_TESTS_EXPLORER_H
#define APPLIST_TESTS_EXPLORER_H

#include <memory>
#include <set>
#include <string>

#include "Schedule.h"

inline namespace applist_test {

class ScheduleRun;

/** What an exploration has been through. */
struct Figures {
    long schedules = 0;
    long skipped = 0; ///< that a bus cannot deliver: an announcement by a name that is gone
    long events = 0;
    long announcements = 0;
    long ready = 0;
    long lost = 0;
    long threads = 0;
    std::set<std::string> states; ///< of the model, as they were passed through
};

class Explorer {
public:
    enum class Delivery {
        CALLBACKS, ///< the test calls the endpoint's callbacks itself
        BUS        ///< the double emits signals, which GDBus delivers
    };

    explicit Explorer(Delivery delivery);
    ~Explorer();

    Explorer(const Explorer&) = delete;
    Explorer& operator=(const Explorer&) = delete;

    /**
     * Takes the endpoint through @p schedule, and then through a bus that works, the loss of
     * whoever is bound and a new partner, which must connect: this also makes it free for the next
     * one. @return what differed from the model, told in full; empty if nothing did.
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

#endif
