// The stress program: threads, restarts and short-lived proxies, with a real bus and a partner
// process.
#include <cinttypes>
#include <cstdio>
#include <exception>
#include <random>

#include "EventLog.h"
#include "Options.h"
#include "Phase.h"
#include "QuietHost.h"

namespace {

constexpr const char* SUMMARY =
    "On a bus of its own, with the main loop in a thread of its own:\n"
    "  - restarts the partner N times (gracefully, SIGKILL, SIGSTOP, replaced at once)\n"
    "    while four threads edit the list and the listeners ask back; the lists must be\n"
    "    equal afterwards;\n"
    "  - creates and destroys N proxies at random moments, also during handshake callbacks\n"
    "    and resend passes, with and without another holder of the shared connection (the\n"
    "    resend period is shortened to 2 ms);\n"
    "  - sends 10 N notifications each way, the loop stalling now and then; none may be\n"
    "    lost or come out of order.\n"
    "\n"
    "Exit status: 0 all well, 1 a promise was broken, 2 bad arguments, 134 it hung.";

using Work = void (*)(Phase&);

void PrintRows(const char* title, const Phase& phase, double seconds) {
    std::printf("\n%-40s %8.1f s\n", title, seconds);
    for (const auto& [what, figure] : phase.rows) {
        std::printf("  %-38s %8s\n", what.c_str(), figure.c_str());
    }
    std::fflush(stdout);
}

bool Run(const char* title, Phase& phase, Work work) {
    const auto start = std::chrono::steady_clock::now();
    std::string broken;
    try {
        work(phase);
    } catch (const std::exception& error) {
        broken = error.what();
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    PrintRows(title, phase, took.count());
    if (!broken.empty()) {
        std::fprintf(stderr, "stress: %s: %s\n", title, broken.c_str());
        for (const std::string& line : EventLog::LastErrors()) {
            std::fprintf(stderr, "  last errors: %s", line.c_str());
        }
    }
    return broken.empty();
}

} // namespace

int main(int argc, char** argv) {
    gint64 times = 10000;
    gint64 seconds = 3600;
    gint64 seed = std::random_device()();
    ParseOptions(argc, argv, SUMMARY,
                 {NumberOption("count", times, "N (10000)"),
                  NumberOption("seconds", seconds, "Bound restarts and proxies together (3600)"),
                  NumberOption("seed", seed, "Repeat choices, the moments always differ")});
    const auto count = static_cast<unsigned long>(times);
    const std::chrono::seconds budget(seconds);
    std::printf("seed %" PRId64 "\n", seed);
    std::fflush(stdout);

    const QuietHost quiet;
    const PrivateBus bus;
    Watchdog watchdog(std::chrono::seconds(180));
    std::mt19937_64 numbers(static_cast<std::uint64_t>(seed));
    const auto begin = std::chrono::steady_clock::now();
    Phase restarts{bus, watchdog, numbers, count, begin + budget / 2, {}};
    Phase cycles{bus, watchdog, numbers, count, begin + budget, {}};
    Phase order{bus, watchdog, numbers, 10 * count, begin + budget, {}};
    bool well = Run("restarts under load", restarts, RestartsUnderLoad);
    well = Run("short-lived proxies", cycles, RunProxyCycles) && well;
    well = Run("notifications", order, NotificationOrder) && well;
    std::printf("\nGLib warnings of unknown watches: %lu, other warnings: %lu\n",
                QuietHost::Warnings(), QuietHost::Criticals());
    return well && QuietHost::Criticals() == 0 ? 0 : 1;
}
