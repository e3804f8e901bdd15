// The random run as a program.
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <exception>
#include <memory>
#include <random>
#include <string>

#include "Options.h"
#include "PrivateBus.h"
#include "QuietHost.h"
#include "RandomRun.h"
#include "RandomSteps.h"
#include "SharedBus.h"

namespace {

constexpr const char* SUMMARY =
    "Makes random edits, selections, clicks and partner events on a bus of its own, with\n"
    "random bytes for names and ids; the partner, a process, is killed, stopped and\n"
    "continued, replaced and restarted. After each step this side's list and selection,\n"
    "and the requests that the partner got, are compared with a plain model; after each\n"
    "created event the partner's list and selection too.\n"
    "\n"
    "Exit status: 0 all equal, 1 a difference, 2 bad arguments.";

struct Outcome {
    unsigned long steps = 0;
    std::uint64_t digest = 0;
};

void PrintDone(const RandomRun& run) {
    PrintActions(run.Done());
    std::printf("  %-34s %10zu\n", "longest list", run.LongestList());
}

Outcome Run(std::uint64_t seed, unsigned long steps, gint64 seconds) {
    const auto start = std::chrono::steady_clock::now();
    const auto deadline = start + std::chrono::seconds(seconds);
    Outcome outcome;
    auto run = std::make_unique<RandomRun>(seed);
    try {
        while (outcome.steps < steps && std::chrono::steady_clock::now() < deadline) {
            ++outcome.steps;
            run->Step();
        }
    } catch (const std::exception& difference) {
        PrintDifference(difference, static_cast<gint64>(outcome.steps), static_cast<gint64>(seed));
        std::exit(1);
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    PrintDone(*run);
    outcome.digest = run->Digest();
    std::printf("%lu steps in %.1f s, all equal; digest %016" PRIx64 "\n", outcome.steps,
                took.count(), outcome.digest);
    run.reset();
    SharedBus::WaitUntilReleased();
    return outcome;
}

} // namespace

int main(int argc, char** argv) {
    gint64 most = 100000;
    gint64 seconds = 3600;
    gint64 start = std::random_device()();
    gboolean repeat = FALSE;
    ParseOptions(argc, argv, SUMMARY,
                 {NumberOption("steps", most, "Make so many steps (100000)"),
                  NumberOption("seconds", seconds, "End earlier, after so many seconds (3600)"),
                  NumberOption("seed", start, "Repeat the run of this seed"),
                  FlagOption("repeat", repeat, "Make the run twice and compare the two")});
    const auto seed = static_cast<std::uint64_t>(start);
    const auto steps = static_cast<unsigned long>(most);
    QuietHost quiet;
    const PrivateBus bus;
    std::printf("seed %" PRIu64 "\n", seed);
    std::fflush(stdout);
    const Outcome first = Run(seed, steps, seconds);
    if (repeat != FALSE && Run(seed, first.steps, seconds).digest != first.digest) {
        std::fprintf(stderr, "random: the same seed made another run\n");
        return 1;
    }
    return quiet.Criticals() == 0 ? 0 : 1;
}
