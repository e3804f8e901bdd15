// The random run of replaced processes as a program.
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <random>
#include <string>

#include "Options.h"
#include "PrivateBus.h"
#include "RandomSteps.h"
#include "ReplacementRun.h"

namespace {

constexpr const char* SUMMARY =
    "Runs \"applistctl host\" and \"applistctl partner\" on a bus of its own. The host makes\n"
    "random edits and selections, and the partner sends random events. Either process is\n"
    "stopped, continued, killed and replaced at random moments. After each 10 steps both\n"
    "run, and their lists and selections must become those of a plain model.\n"
    "A seed repeats the choices of a run, but not the scheduling of the processes.\n"
    "\n"
    "Exit status: 0 all equal, 1 a difference, 2 bad arguments.";

} // namespace

int main(int argc, char** argv) {
    gint64 steps = 10000;
    gint64 seed = std::random_device()();
    char* fault = nullptr;
    ParseOptions(argc, argv, SUMMARY,
                 {NumberOption("steps", steps, "Make so many steps (10000)"),
                  NumberOption("seed", seed, "Repeat the choices of this seed"),
                  TextOption("fault", fault, "Give every partner this fault")});
    std::printf("seed %" PRId64 "\n", seed);
    std::fflush(stdout);
    const PrivateBus bus;
    const auto start = std::chrono::steady_clock::now();
    ReplacementRun run(static_cast<std::uint64_t>(seed), fault != nullptr ? fault : "");
    g_free(fault);
    if (!MakeRandomSteps(run, steps, seed, 10)) {
        return 1;
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    std::printf("%" PRId64 " steps in %.1f s, all equal\n", steps, took.count());
    return 0;
}
