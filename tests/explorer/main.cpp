// All schedules of the handshake up to a depth, each compared with the model; or one of them.
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <glib.h>

#include "Explorer.h"
#include "Options.h"
#include "Schedule.h"

namespace {

constexpr int DONE = 0;
constexpr int DIFFERS = 1;
constexpr int WRONG_USAGE = 2;
constexpr int MOST_DIFFERENCES = 5;
constexpr int DEEPEST = 8;

struct Options {
    gint64 depth = 4;
    gint64 partners = 1;
    gint64 every = 1;
    gint64 seconds = 600;
    gboolean throughBus = FALSE;
    gboolean effective = FALSE;
    char* schedule = nullptr;
};

Options ReadOptions(int argc, char** argv) {
    Options options;
    ParseOptions(argc, argv,
                 "Runs every sequence of announcements (both halves), losses, restarts, bus\n"
                 "failures and resends up to a depth on a real endpoint, and compares its effects\n"
                 "with a model. Exit status: 0 all equal, 1 a difference, 2 wrong usage.",
                 {NumberOption("depth", options.depth, "Events in a schedule, 1 to 8 (4)"),
                  NumberOption("partners", options.partners, "1 or 2 partners (1)"),
                  FlagOption("through-bus", options.throughBus,
                             "Emit signals on the bus instead of calling the callbacks"),
                  FlagOption("effective", options.effective,
                             "Omit requested names and own releases, which never change the state"),
                  NumberOption("every", options.every, "Run each Nth schedule (1)"),
                  NumberOption("seconds", options.seconds, "Fail after this time (600)"),
                  TextOption("schedule", options.schedule,
                             "Run this schedule, as printed for a difference")});
    if (options.depth < 1 || options.depth > DEEPEST || options.partners < 1 ||
        options.partners > 2 || options.every < 1 || options.seconds < 1) {
        std::cerr << "handshake_explorer: wrong arguments, see --help\n";
        std::exit(WRONG_USAGE);
    }
    return options;
}

/** Enumerates the schedules of one length, like the digits of a number. */
class Schedules {
public:
    Schedules(std::vector<Event> events, int depth)
        : m_events(std::move(events)), m_digits(static_cast<std::size_t>(depth), 0) {}

    Schedule Current() const {
        Schedule schedule;
        for (const std::size_t digit : m_digits) {
            schedule.push_back(m_events[digit]);
        }
        return schedule;
    }

    /** @return false after the last schedule */
    bool Next() {
        for (auto digit = m_digits.rbegin(); digit != m_digits.rend(); ++digit) {
            if (++*digit < m_events.size()) {
                return true;
            }
            *digit = 0;
        }
        return false;
    }

private:
    std::vector<Event> m_events;
    std::vector<std::size_t> m_digits;
};

void PrintFigures(const Options& options, const Figures& figures, double seconds, int differences) {
    const auto row = [](const char* name, long value) {
        std::printf("%-32s %10ld\n", name, value);
    };
    std::printf("handshake: %" PRId64 " partner(s), depth %" PRId64 ", by %s%s\n", options.partners,
                options.depth, options.throughBus != FALSE ? "signals on the bus" : "callbacks",
                options.effective != FALSE ? ", effective events" : "");
    row("schedules compared", figures.schedules);
    row("schedules no bus can deliver", figures.skipped);
    row("events", figures.events);
    row("announcements of the endpoint", figures.announcements);
    row("reports of readiness", figures.ready);
    row("reports of a loss", figures.lost);
    row("resend threads", figures.threads);
    row("distinct states of the model", static_cast<long>(figures.states.size()));
    row("differences", differences);
    std::printf("%-32s %10.1f\n", "seconds", seconds);
}

int Explore(const Options& options) {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    const auto passed = [&] { return std::chrono::duration<double>(Clock::now() - start).count(); };
    Explorer explorer(options.throughBus != FALSE ? Explorer::Delivery::BUS
                                                  : Explorer::Delivery::CALLBACKS);
    Schedules schedules(options.effective != FALSE
                            ? EffectiveEvents(static_cast<int>(options.partners))
                            : AllEvents(static_cast<int>(options.partners)),
                        static_cast<int>(options.depth));
    int differences = 0;
    bool more = true;
    while (more && differences < MOST_DIFFERENCES &&
           passed() < static_cast<double>(options.seconds)) {
        const std::string difference = explorer.Run(schedules.Current());
        if (!difference.empty()) {
            ++differences;
            std::cerr << difference << "\n  repeat with --schedule "
                      << ScheduleText(schedules.Current())
                      << (options.throughBus != FALSE ? " --through-bus" : "") << "\n";
        }
        for (gint64 step = 0; more && step < options.every; ++step) {
            more = schedules.Next();
        }
    }
    PrintFigures(options, explorer.Totals(), passed(), differences);
    if (more) {
        std::cerr << "handshake_explorer: stopped before the last schedule\n";
    }
    return more || differences > 0 ? DIFFERS : DONE;
}

int RunOne(const Options& options) {
    Schedule schedule;
    if (!ParseSchedule(options.schedule, schedule)) {
        std::cerr << "handshake_explorer: no schedule: " << options.schedule << "\n";
        return WRONG_USAGE;
    }
    Explorer explorer(options.throughBus != FALSE ? Explorer::Delivery::BUS
                                                  : Explorer::Delivery::CALLBACKS);
    const std::string difference = explorer.Run(schedule);
    std::cout << (difference.empty() ? "equal to the model" : difference) << "\n";
    return difference.empty() ? DONE : DIFFERS;
}

} // namespace

int main(int argc, char** argv) {
    const Options options = ReadOptions(argc, argv);
    // GLib warns of three invalid ids at the end of each endpoint.
    g_log_set_handler(
        "GLib-GIO", G_LOG_LEVEL_WARNING,
        [](const char* domain, GLogLevelFlags level, const char* message, void* data) {
            if (g_str_has_suffix(message, "passed to g_bus_unwatch_name()") == FALSE) {
                g_log_default_handler(domain, level, message, data);
            }
        },
        nullptr);
    const int status = options.schedule != nullptr ? RunOne(options) : Explore(options);
    g_free(options.schedule);
    return status;
}
