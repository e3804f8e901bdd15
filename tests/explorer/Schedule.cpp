#include "Schedule.h"

#include <algorithm>
#include <sstream>

namespace {

constexpr int MOST_PARTNERS = 2;

std::string PartnerLetter(const Event& event) {
    return std::string(1, static_cast<char>('A' + event.partner));
}

} // namespace

std::vector<Event> applist_test::AllEvents(int partners) {
    std::vector<Event> events;
    for (int partner = 0; partner < partners; ++partner) {
        for (const char* suffix : {"_SYN", "_SYN_ACK", "_ACK"}) {
            events.push_back({Event::REQUEST, partner, suffix});
            events.push_back({Event::RELEASE, partner, suffix});
        }
        events.push_back({Event::VANISH, partner, ""});
        events.push_back({Event::RESTART, partner, ""});
    }
    for (const Event::Kind kind : {Event::OWN_RELEASES, Event::REQUESTS_FAIL, Event::RELEASES_FAIL,
                                   Event::BUS_WORKS, Event::RESEND}) {
        events.push_back({kind, 0, ""});
    }
    return events;
}

std::vector<Event> applist_test::EffectiveEvents(int partners) {
    std::vector<Event> events = AllEvents(partners);
    const auto isIdle = [](const Event& event) {
        return event.kind == Event::REQUEST || event.kind == Event::OWN_RELEASES;
    };
    events.erase(std::remove_if(events.begin(), events.end(), isIdle), events.end());
    return events;
}

std::string applist_test::EventText(const Event& event) {
    switch (event.kind) {
    case Event::REQUEST:
        return PartnerLetter(event) + "+" + event.suffix.substr(1);
    case Event::RELEASE:
        return PartnerLetter(event) + "-" + event.suffix.substr(1);
    case Event::VANISH:
        return PartnerLetter(event) + ":vanish";
    case Event::RESTART:
        return PartnerLetter(event) + ":restart";
    case Event::OWN_RELEASES:
        return "own-releases";
    case Event::REQUESTS_FAIL:
        return "requests-fail";
    case Event::RELEASES_FAIL:
        return "releases-fail";
    case Event::BUS_WORKS:
        return "bus-works";
    case Event::RESEND:
        break;
    }
    return "resend";
}

std::string applist_test::ScheduleText(const Schedule& schedule) {
    std::string text;
    for (const Event& event : schedule) {
        text += (text.empty() ? "" : ",") + EventText(event);
    }
    return text;
}

bool applist_test::ParseSchedule(const std::string& text, Schedule& schedule) {
    const std::vector<Event> events = AllEvents(MOST_PARTNERS);
    std::istringstream words(text);
    std::string word;
    while (std::getline(words, word, ',')) {
        const auto event = std::find_if(events.begin(), events.end(), [&](const Event& candidate) {
            return EventText(candidate) == word;
        });
        if (event == events.end()) {
            return false;
        }
        schedule.push_back(*event);
    }
    return !schedule.empty();
}
