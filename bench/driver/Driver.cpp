// Runs the measurements with several processes: starts a private bus daemon and the partner, pins
// all processes to one core, and runs the clients one after the other. The caller chooses the
// system log (bench/with-log).
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "BusMonitor.h"
#include "Cores.h"
#include "PrivateBus.h"
#include "Programs.h"
#include "ResultFile.h"
#include "Selection.h"
#include "Stats.h"

namespace {

const char* const HOST = "applist_bench_host";
const char* const BARE = "applist_bench_bare";
const char* const BARE_CXX = "applist_bench_bare_cxx";

const std::vector<std::string> CLIENT_ROWS = {
    "sendmessage", "setselection", "setclicked",     "additems",   "additematend",
    "removeitem",  "modifyitem",   "removeallitems", "notify-out", "notify-in"};

struct Options {
    std::string out;
    std::string log;
    std::string only;
    int core = 0;
    bool quick = false;
};

// The line that a client writes when it is ready.
struct ReadyLine {
    double seconds = 0;
    std::string uniqueName;
    int roundTrips = -1;
};

ReadyLine ReadReady(Process& child) {
    std::istringstream line(child.ReadLine());
    ReadyLine ready;
    double nanoseconds = 0;
    line >> nanoseconds >> ready.uniqueName >> ready.roundTrips;
    ready.seconds = nanoseconds * 1e-9;
    return ready;
}

double TimeToReady(const char* program) {
    Process child = StartProgram({program});
    return ReadReady(child).seconds;
}

// Fresh processes, one after the other. Each measures its own time from the start of main().
void MeasureStartUp(const Options& options) {
    std::vector<double> reference;
    std::vector<double> library;
    std::vector<double> control;
    const int rounds = options.quick ? 15 : 60;
    for (int round = 0; round < rounds; ++round) {
        const bool forwards = round % 2 == 0;
        (forwards ? reference : control).push_back(TimeToReady(BARE));
        library.push_back(TimeToReady(HOST));
        (forwards ? control : reference).push_back(TimeToReady(BARE));
    }
    Result("startup")
        .Text("log", options.log)
        .Number("pairs", rounds)
        .Spread("ratio", Stats::Of(Stats::Ratios(library, reference)))
        .Spread("control", Stats::Of(Stats::Ratios(control, reference)))
        .Spread("reference_s", Stats::Of(reference))
        .Spread("library_s", Stats::Of(library))
        .Write(options.out);
}

void CountStartUp(const Options& options, const PrivateBus& bus) {
    BusMonitor monitor(bus);
    Result result("startup-traffic");
    result.Text("log", options.log);
    for (const char* program : {HOST, BARE}) {
        Process child =
            StartProgram({program}, {"LD_PRELOAD=" + PathBeside("libapplist_bench_waits.so")});
        const ReadyLine ready = ReadReady(child);
        const std::string who = program == HOST ? "library" : "reference";
        const std::size_t messages = monitor.SentBy(ready.uniqueName).size();
        result.Number(who + "_messages", static_cast<double>(messages))
            .Number(who + "_round_trips", ready.roundTrips);
    }
    result.Write(options.out);
}

struct Idle {
    double privateDirtyKib = 0;
    double threads = 0;
};

double ReadKey(const std::string& path, const std::string& key) {
    std::ifstream file(path);
    std::string word;
    while (file >> word) {
        if (word == key) {
            double value = 0;
            file >> value;
            return value;
        }
    }
    std::cerr << "driver: no " << key << " in " << path << "\n";
    std::exit(1);
}

// Waits until the child is idle: no thread of it has run between two samples.
void WaitUntilIdle(const std::string& process) {
    const std::string path = "/proc/" + process + "/schedstat";
    std::string last;
    for (std::string now; last.empty() || now != last;) {
        last = now;
        // A round trip through the scheduler on the core that both share lets the child run first.
        for (int turn = 0; turn < 100; ++turn) {
            sched_yield();
        }
        std::ifstream file(path);
        std::getline(file, now);
    }
}

Idle MeasureIdle(const char* program) {
    Process child = StartProgram({program});
    ReadReady(child);
    WaitUntilIdle(child.Id());
    const std::string folder = "/proc/" + child.Id();
    return {ReadKey(folder + "/smaps_rollup", "Private_Dirty:"),
            ReadKey(folder + "/status", "Threads:")};
}

void MeasureIdleProcesses(const Options& options) {
    const int rounds = options.quick ? 5 : 15;
    std::vector<double> library;
    std::vector<double> reference;
    std::vector<double> withCxx;
    std::vector<double> control;
    Idle host;
    Idle bare;
    for (int round = 0; round < rounds; ++round) {
        reference.push_back((bare = MeasureIdle(BARE)).privateDirtyKib);
        library.push_back((host = MeasureIdle(HOST)).privateDirtyKib);
        withCxx.push_back(MeasureIdle(BARE_CXX).privateDirtyKib);
        control.push_back(MeasureIdle(BARE).privateDirtyKib);
    }
    Result("idle")
        .Text("log", options.log)
        .Number("pairs", rounds)
        .Spread("ratio", Stats::Of(Stats::Ratios(library, reference)))
        .Spread("ratio_to_bare_with_cxx", Stats::Of(Stats::Ratios(library, withCxx)))
        .Spread("control", Stats::Of(Stats::Ratios(control, reference)))
        .Spread("library_kib", Stats::Of(library))
        .Spread("reference_kib", Stats::Of(reference))
        .Spread("bare_with_cxx_kib", Stats::Of(withCxx))
        .Number("library_threads", host.threads)
        .Number("reference_threads", bare.threads)
        .Write(options.out);
}

// The peak of one large request, each time in a fresh process, in payloads.
void MeasurePeaks(const Options& options, const std::string& suffix, std::size_t bytes) {
    const int rounds = options.quick ? 3 : 5;
    Result result("peak-" + suffix);
    result.Text("log", options.log).Number("bytes", static_cast<double>(bytes));
    for (const char* kind : {"reference", "sendmessage", "additematend"}) {
        std::vector<double> payloads;
        for (int round = 0; round < rounds; ++round) {
            Process child =
                StartProgram({"applist_bench_client", "--peak", kind, std::to_string(bytes)});
            payloads.push_back(std::stod(child.ReadLine()) / static_cast<double>(bytes));
        }
        result.Spread(kind, Stats::Of(payloads));
    }
    result.Write(options.out);
}

// For processes that start while it is on. A daemon whose heap shrinks and grows with each message
// of about ten KiB is up to a fifth slower for one connection than for another, depending on the
// addresses of their buffers. The clients have the default heap, like hosts.
void SteadyHeap(bool on) {
    for (const char* variable : {"MALLOC_TOP_PAD_", "MALLOC_TRIM_THRESHOLD_"}) {
        if (on) {
            setenv(variable, "67108864", 1);
        } else {
            unsetenv(variable);
        }
    }
}

bool RunClient(const Options& options) {
    Process client = StartProgram({"applist_bench_client", options.out, options.log,
                                   options.quick ? "quick" : "full", options.only});
    return client.WaitForExitWithoutIterating() == 0;
}

Options Parse(int argc, char** argv) {
    Options options;
    for (int at = 1; at + 1 < argc; at += 2) {
        const std::string option = argv[at];
        const std::string value = argv[at + 1];
        if (option == "--out") {
            options.out = value;
        } else if (option == "--log") {
            options.log = value;
        } else if (option == "--only") {
            options.only = value;
        } else if (option == "--core") {
            options.core = std::stoi(value);
        } else if (option == "--rounds") {
            options.quick = value == "quick";
        }
    }
    if (options.out.empty() || options.log.empty()) {
        std::cerr << "Usage: applist_bench_driver --out FILE --log NAME [--core N] "
                     "[--rounds quick|full] [--only ROWS]\n";
        std::exit(2);
    }
    return options;
}

} // namespace

int main(int argc, char** argv) {
    const Options options = Parse(argc, argv);
    const Selection selection(options.only);
    Cores::PinTo(options.core);
    SteadyHeap(true);
    const PrivateBus bus;
    Process partner = StartProgram({"applist_bench_partner"});
    partner.ReadLine();
    SteadyHeap(false);

    if (selection.HasAny(CLIENT_ROWS) && !RunClient(options)) {
        std::cerr << "driver: the client failed\n";
        return 1;
    }
    if (selection.Has("peak-1m")) {
        MeasurePeaks(options, "1m", 1024 * 1024);
    }
    if (selection.Has("peak-8m")) {
        MeasurePeaks(options, "8m", 8 * 1024 * 1024);
    }
    if (selection.Has("startup")) {
        MeasureStartUp(options);
        CountStartUp(options, bus);
    }
    if (selection.Has("idle")) {
        MeasureIdleProcesses(options);
    }
}
