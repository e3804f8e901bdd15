// All schedules of the handshake up to a depth, each compared with the model; or one of them.
#include <chrono>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <glib.h>

#include "Explorer.h"
#include "Schedule.h"

namespace {

constexpr int DONE = 0;
constexpr int DIFFERS = 1;
constexpr int WRONG_USAGE = 2;
constexpr int MOST_DIFFERENCES = 5;
constexpr int DEEPEST = 8;

struct Options {
    int depth = 4;
    int partners = 1;
    int seconds = 600;
    gboolean throughBus = FALSE;
    gboolean effective = FALSE;
    char* schedule = nullptr;
};

bool ParseOptions(int argc, char** argv, Options& options) {
    const GOptionEntry entries[] = {
        {"depth", 'd', 0, G_OPTION_ARG_INT, &options.depth, "Events in a schedule, 1 to 8 (4)",
         "N"},
        {"partners", 'p', 0, G_OPTION_ARG_INT, &options.partners, "1 or 2 partners (1)", "N"},
        {"through-bus", 'b', 0, G_OPTION_ARG_NONE, &options.throughBus,
         "Emit signals on the bus instead of calling the callbacks", nullptr},
        {"effective", 'e', 0, G_OPTION_ARG_NONE, &options.effective,
         "Leave out takings and own releases, which never change anything", nullptr},
        {"seconds", 's', 0, G_OPTION_ARG_INT, &options.seconds,
         "Give up, as a failure, after so long (600)", "N"},
        {"schedule", 0, 0, G_OPTION_ARG_STRING, &options.schedule,
         "Run this one only, as printed for a difference", "TEXT"},
        {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};
    g_autoptr(GOptionContext) context = g_option_context_new("- the handshake, exhaustively");
    g_option_context_set_summary(
        context, "Takes a real endpoint through every sequence of announcements (both halves),\n"
                 "losses, restarts, bus failures and resends up to a depth, and compares what it\n"
                 "does with a model. Exit status: 0 all equal, 1 a difference, 2 wrong usage.");
    g_option_context_add_main_entries(context, entries, nullptr);
    g_autoptr(GError) error = nullptr;
    if (g_option_context_parse(context, &argc, &argv, &error) == FALSE) {
        std::cerr << "handshake_explorer: " << error->message << "\n";
        return false;
    }
    if (argc > 1 || options.depth < 1 || options.depth > DEEPEST || options.partners < 1 ||
        options.partners > 2 || options.seconds < 1) {
        std::cerr << "handshake_explorer: wrong arguments, see --help\n";
        return false;
    }
    return true;
}

/** The schedules of one length, counted through like the digits of a number. */
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

    /** @return false when all have been there. */
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
    std::printf("handshake: %d partner(s), depth %d, by %s%s\n", options.partners, options.depth,
                options.throughBus != FALSE ? "signals on the bus" : "callbacks",
                options.effective != FALSE ? ", effective events" : "");
    row("schedules compared", figures.schedules);
    row("schedules no bus can deliver", figures.skipped);
    row("events", figures.events);
    row("announcements of the endpoint", figures.announcements);
    row("told ready", figures.ready);
    row("told lost", figures.lost);
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
    Schedules schedules(options.effective != FALSE ? EffectiveEvents(options.partners)
                                                   : AllEvents(options.partners),
                        options.depth);
    int differences = 0;
    bool more = true;
    while (more && differences < MOST_DIFFERENCES && passed() < options.seconds) {
        const std::string difference = explorer.Run(schedules.Current());
        if (!difference.empty()) {
            ++differences;
            std::cerr << difference << "\n  repeat with --schedule "
                      << ScheduleText(schedules.Current())
                      << (options.throughBus != FALSE ? " --through-bus" : "") << "\n";
        }
        more = schedules.Next();
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
    std::cout << (difference.empty() ? "as the model has it" : difference) << "\n";
    return difference.empty() ? DONE : DIFFERS;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    if (!ParseOptions(argc, argv, options)) {
        return WRONG_USAGE;
    }
    // Each endpoint that ends makes GLib warn of three invalid ids.
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
