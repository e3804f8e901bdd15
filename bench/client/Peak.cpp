#include "Peak.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <vector>

#include "Host.h"
#include "Names.h"
#include "Reference.h"

namespace {

long StatusKib(const std::string& key) {
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word) {
        if (word == key + ":") {
            long kib = 0;
            status >> kib;
            return kib;
        }
    }
    std::fprintf(stderr, "client: no %s\n", key.c_str());
    std::exit(1);
}

// Resets the peak to the resident size. Where this is not permitted, the old peak remains.
long StartPeak() {
    std::ofstream reset("/proc/self/clear_refs");
    reset << "5" << std::flush;
    return StatusKib("VmHWM");
}

} // namespace

void applist_bench::MeasurePeak(const std::string& kind, std::size_t bytes) {
    auto& host = *new Host(); // never destroyed: the destructors are not measured
    const Reference reference(host.Channel().Partner());
    std::vector<char> small(41, 'm');
    std::vector<char> message;
    Item item("", "large.01");
    std::function<void()> request;
    std::function<void()> warmUp;
    // The caller's own copy exists before; the growth of the request alone is measured.
    if (kind == "additematend") {
        item = Item(std::string(bytes - 10, 'n'), "large.01");
        request = [&] { host.List().AddItemAtEnd(&item); };
        warmUp = [&] { host.List().RemoveAllItems(); };
    } else if (kind == "sendmessage") {
        message.assign(bytes, 'm');
        request = [&] { host.Channel().SendMessage(message); };
        warmUp = [&] { host.Channel().SendMessage(small); };
    } else {
        message.assign(bytes, 'm');
        request = [&] { reference.Call(Names::ENDPOINT_PATH, message); };
        warmUp = [&] { reference.Call(Names::ENDPOINT_PATH, small); };
    }
    warmUp();
    const long before = StartPeak();
    request();
    std::printf("%ld\n", (StatusKib("VmHWM") - before) * 1024);
}
