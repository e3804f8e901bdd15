// A host that never waits: its own loop is poll(2), and it does not use GLib.
#include <cstdio>
#include <string>

#include <applist/AppListClient.h>
#include <applist/AppListExecutors.h>
#include <poll.h>

namespace {

void PrintLine(const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

} // namespace

int main() {
    DescriptorExecutor executor;
    AppListClient::Events events;
    events.connected = [] { PrintLine("connected"); };
    events.lost = [] { PrintLine("lost"); };
    events.selectionChanged = [](const auto& item) {
        PrintLine("selected: " + (item ? item->visibleName : "nothing"));
    };

    AppListClient list(executor.GetExecutor(), events);
    list.SetItems({{"clock.01", "Clock"}, {"music.02", "Music Player"}});
    list.SetSelection("clock.01");

    pollfd descriptor{executor.GetDescriptor(), POLLIN, 0};
    while (poll(&descriptor, 1, -1) > 0) {
        executor.Dispatch();
    }
}
