#include <monitor/MonitorVerb.h>

#include <memory>

#include <monitor/FileWatch.h>
#include <monitor/JsonNarrator.h>
#include <monitor/LiveWatch.h>
#include <monitor/Story.h>
#include <monitor/TextNarrator.h>
#include <shared/ExitStatus.h>
#include <shared/Output.h>

namespace {

constexpr const char* PROGRAM = "applistctl monitor";

// Returns false unless the option is absent or a number of at least 1.
bool ReadNumber(const CommandLine& line, const std::string& option, guint64& number) {
    return !line.Has(option) ||
           g_ascii_string_to_unsigned(line.options.at(option).c_str(), 10, 1, G_MAXUINT32 / 1000,
                                      &number, nullptr) != FALSE;
}

} // namespace

Usage MonitorVerb::Describe() {
    return {
        PROGRAM,
        "",
        "Tells what host and partner say to each other: the handshake step by step, every\n"
        "request with its items, reply and latency, every notification, and what is malformed\n"
        "or missing. It watches the bus, which on a system bus only root may do, until Ctrl-C,\n"
        "or reads a capture made elsewhere. A summary ends it.",
        "Captures are made by \"busctl capture --size=1000000 > FILE\" or\n"
        "\"dbus-monitor --system --pcap > FILE\", as root.\n"
        "\n"
        "Exit status: 0 nothing wrong was seen, 1 failed (also when the bus lets us not watch,\n"
        "or the capture is damaged), 2 wrong usage, 3 no bus, 4 something wrong was seen:\n"
        "malformed, unanswered or failed requests, a step of the handshake missing.",
        false,
        {{"read", "FILE", "Read a capture (pcap or pcapng) instead of the bus; - is stdin"},
         {"json", nullptr, "Print one JSON object a line"},
         {"seconds", "N", "Watch for N seconds"},
         {"count", "N", "End after N requests and notifications"}}};
}

int MonitorVerb::Run(const CommandLine& line) {
    guint64 seconds = 0;
    guint64 count = 0;
    if (!line.arguments.empty()) {
        return WrongUsage(PROGRAM, "it takes no arguments");
    }
    if (!ReadNumber(line, "seconds", seconds) || !ReadNumber(line, "count", count)) {
        return WrongUsage(PROGRAM, "N is a number from 1 on");
    }
    if (line.Has("read") && (line.Has("seconds") || !line.bus.empty())) {
        return WrongUsage(PROGRAM, "--read takes neither --bus nor --seconds");
    }
    Output output(PROGRAM);
    std::unique_ptr<Narrator> narrator;
    if (line.Has("json")) {
        narrator = std::make_unique<JsonNarrator>(output);
    } else {
        narrator = std::make_unique<TextNarrator>(output);
    }
    Story story(*narrator);
    const int status = line.Has("read")
                           ? WatchFile(line.options.at("read"), count, story, *narrator, output)
                           : WatchBus(seconds, count, story, *narrator, output);
    const bool hasTrouble = story.Result().HasTrouble();
    return status == EXIT_STATUS_DONE && hasTrouble ? EXIT_STATUS_TROUBLE : status;
}
