#include <monitor/MonitorVerb.h>

#include <memory>

#include <monitor/Analysis.h>
#include <monitor/FileWatch.h>
#include <monitor/JsonReporter.h>
#include <monitor/LiveWatch.h>
#include <monitor/TextReporter.h>
#include <shared/ExitStatus.h>
#include <shared/Output.h>

namespace applistctl {

namespace {

constexpr const char* MONITOR = "applistctl monitor";
constexpr guint64 LARGEST = 4000000; ///< in milliseconds, it fits 32 bits
constexpr const char* NUMBERS = "a number from 1 to 4000000";

// Returns false unless the option is absent or a number of at least 1.
bool ReadNumber(const CommandLine& line, const std::string& option, guint64& number) {
    return !line.Has(option) || g_ascii_string_to_unsigned(line.options.at(option).c_str(), 10, 1,
                                                           LARGEST, &number, nullptr) != FALSE;
}

} // namespace

Usage MonitorVerb::Describe() {
    return {
        MONITOR,
        "",
        "Shows the messages of host and partner: each step of the handshake, each request with\n"
        "its items, reply and latency, each notification, and each fault. Names half-open pairs\n"
        "and the process to restart. Watches the bus until Ctrl-C, or reads a capture. Only root\n"
        "may watch a system bus. A summary ends the output.",
        "Captures are made by \"busctl capture --size=1000000 > FILE\" or\n"
        "\"dbus-monitor --system --pcap > FILE\", as root.\n"
        "\n"
        "Exit status: 0 no fault, 1 failed (also when the bus refuses the monitor, or FILE is\n"
        "unreadable or damaged), 2 wrong usage, 3 no bus, or the bus has ended, 4 a fault, such\n"
        "as a request without a reply or a missing step of the handshake, 5 a pair is half-open\n"
        "at the end: one side is ready, and the other side is not bound to it. If several\n"
        "statuses apply, 1, 2 and 3 precede 5, and 5 precedes 4.",
        false,
        {{"read", "FILE", "Read a capture (pcap or pcapng) instead of the bus; - is stdin"},
         {"all", nullptr, "Show all items of a request, not the first 10"},
         {"json", nullptr, "Print one JSON object per line"},
         {"seconds", "N", "Watch for N seconds"},
         {"count", "N", "End after N requests and notifications"}}};
}

int MonitorVerb::Run(const CommandLine& line) {
    guint64 seconds = 0;
    guint64 count = 0;
    if (!line.arguments.empty()) {
        return WrongUsage(MONITOR, "it takes no arguments");
    }
    if (!ReadNumber(line, "seconds", seconds)) {
        return WrongOption(MONITOR, line, "seconds", NUMBERS);
    }
    if (!ReadNumber(line, "count", count)) {
        return WrongOption(MONITOR, line, "count", NUMBERS);
    }
    if (line.Has("read") && (line.Has("seconds") || !line.bus.empty())) {
        return WrongUsage(MONITOR, "--read takes neither --bus nor --seconds");
    }
    Output output(MONITOR);
    std::unique_ptr<Reporter> reporter;
    if (line.Has("json")) {
        reporter = std::make_unique<JsonReporter>(output);
    } else {
        reporter = std::make_unique<TextReporter>(output, line.Has("all"));
    }
    Analysis analysis(*reporter);
    const int status = line.Has("read")
                           ? WatchFile(line.options.at("read"), count, analysis, *reporter, output)
                           : WatchBus(seconds, count, analysis, *reporter, output);
    const Summary& result = analysis.Result();
    if (status != EXIT_STATUS_DONE) {
        return status;
    }
    if (result.HalfOpenPairs() > 0) {
        return EXIT_STATUS_HALF_OPEN;
    }
    return result.HasTrouble() ? EXIT_STATUS_TROUBLE : EXIT_STATUS_DONE;
}

} // namespace applistctl
