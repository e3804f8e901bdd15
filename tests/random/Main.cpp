// The random run as a program.
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <exception>
#include <memory>
#include <random>
#include <string>

#include "Options.h"
#include "QuietHost.h"
#include "MainLoop.h"
#include "PrivateBus.h"
#include "RandomRun.h"
#include "SharedBus.h"

namespace {

constexpr const char* USAGE =
    "Usage: applist_random [--steps N] [--seconds N] [--seed N] [--repeat]\n"
    "\n"
    "Makes random edits, selections, clicks and partner events on a bus of its own, with\n"
    "random bytes for names and ids; the partner, a process, is killed, stopped and\n"
    "continued, replaced and restarted. After each step this side's list and selection,\n"
    "and the requests that the partner got, are compared with a plain model; after each\n"
    "created event the partner's list and selection too.\n"
    "\n"
    "  --steps N    how many steps (default 100000)\n"
    "  --seconds N  end earlier, after so many seconds (default 3600)\n"
    "  --seed N     repeat the run of this seed (default: another one each time)\n"
    "  --repeat     make the run twice and compare the two\n"
    "\n"
    "Exit status: 0 all equal, 1 a difference, 2 bad arguments.\n";

struct Outcome {
    unsigned long steps = 0;
    std::uint64_t digest = 0;
};

void PrintDone(const RandomRun& run) {
    for (const auto& [what, count] : run.Done()) {
        std::printf("  %-32s %10lu\n", what.c_str(), count);
    }
    std::printf("  %-32s %10zu\n", "longest list", run.LongestList());
}

Outcome Run(std::uint64_t seed, unsigned long steps, unsigned long seconds) {
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
        std::fprintf(stderr,
                     "random: step %lu: %s\nrandom: repeat with --seed %" PRIu64 " --steps %lu\n",
                     outcome.steps, difference.what(), seed, outcome.steps);
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
    const Options options(argc, argv, USAGE, {"steps", "seconds", "seed"}, {"repeat"});
    const std::uint64_t seed = options.Number("seed", std::random_device()());
    const unsigned long steps = options.Number("steps", 100000);
    const unsigned long seconds = options.Number("seconds", 3600);
    QuietHost quiet;
    const PrivateBus bus;
    std::printf("seed %" PRIu64 "\n", seed);
    std::fflush(stdout);
    const Outcome first = Run(seed, steps, seconds);
    if (options.Has("repeat") && Run(seed, first.steps, seconds).digest != first.digest) {
        std::fprintf(stderr, "random: the same seed made another run\n");
        return 1;
    }
    return quiet.Criticals() == 0 ? 0 : 1;
}
