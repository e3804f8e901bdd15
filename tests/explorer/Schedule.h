// The events of an endpoint during the handshake, and schedules: sequences of events. A text form
// repeats a schedule.
#pragma once

#include <string>
#include <vector>

inline namespace applist_test {

struct Event {
    enum Kind {
        REQUEST,       ///< the partner requests a name: the first half of an announcement
        RELEASE,       ///< the partner releases the name: the second half
        VANISH,        ///< the partner's oldest unique name leaves the bus (or leaves it again)
        RESTART,       ///< a new process of the partner, with a new unique name
        OWN_RELEASES,  ///< a release of each of the partner's three names by the endpoint itself
        REQUESTS_FAIL, ///< from now on the bus refuses RequestName
        RELEASES_FAIL, ///< from now on the bus refuses ReleaseName
        BUS_WORKS,     ///< from now on the bus refuses neither
        RESEND         ///< one resend pass
    };
    Kind kind;
    int partner = 0;    ///< of the first four kinds
    std::string suffix; ///< "_SYN", "_SYN_ACK" or "_ACK", of the first two kinds
};

using Schedule = std::vector<Event>;

/** All events with this number of partners. */
std::vector<Event> AllEvents(int partners);

/** All events without requested names and own releases, which must not change the state. */
std::vector<Event> EffectiveEvents(int partners);

/** An event such as "A-SYN"; a schedule is a list of events with commas. */
std::string EventText(const Event& event);
std::string ScheduleText(const Schedule& schedule);

/** @return false for a text that ScheduleText does not write. */
bool ParseSchedule(const std::string& text, Schedule& schedule);

} // namespace applist_test
