// What can happen to an endpoint during the handshake, and schedules of it: sequences in which the
// events may come, with a text form to repeat one.
#ifndef APPLIST_TESTS_SCHEDULE_H
#define APPLIST_TESTS_SCHEDULE_H

#include <string>
#include <vector>

inline namespace applist_test {

struct Event {
    enum Kind {
        TAKE,          ///< the partner takes a name: the first half of an announcement
        RELEASE,       ///< and releases it: the second half
        VANISH,        ///< the partner's oldest unique name leaves the bus (or is told gone again)
        RESTART,       ///< a new process of the partner, with a new unique name
        OWN_RELEASES,  ///< the endpoint itself is seen releasing all three of the partner's names
        REQUESTS_FAIL, ///< from now on the bus refuses RequestName,
        RELEASES_FAIL, ///< or ReleaseName,
        BUS_WORKS,     ///< or neither
        RESEND         ///< one pass of resending
    };
    Kind kind;
    int partner = 0;    ///< whose event it is, for the first four
    std::string suffix; ///< "_SYN", "_SYN_ACK" or "_ACK", for the first two
};

using Schedule = std::vector<Event>;

/** Everything that can happen with so many partners. */
std::vector<Event> AllEvents(int partners);

/** The same without the two kinds that must never change anything: takings and own releases. */
std::vector<Event> EffectiveEvents(int partners);

/** Like "A-SYN"; a schedule is such words with commas in between. */
std::string EventText(const Event& event);
std::string ScheduleText(const Schedule& schedule);

/** @return false for a text that ScheduleText does not write. */
bool ParseSchedule(const std::string& text, Schedule& schedule);

} // namespace applist_test

#endif
