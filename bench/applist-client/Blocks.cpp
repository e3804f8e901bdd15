#include "Blocks.h"

#include <chrono>
#include <csignal>

#include <gio/gio.h>

#include "BusDaemon.h"
#include "Programs.h"
#include "Screen.h"

namespace {

using std::chrono::milliseconds;

constexpr std::size_t QUEUED_EDITS = 1000;
constexpr std::size_t LONG_LIST = 10000;

pid_t DaemonProcess() {
    GDBusConnection* const connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    const pid_t daemon = BusDaemon::Process(connection);
    g_object_unref(connection);
    return daemon;
}

// A thousand edits at once, and more in each frame: the queue becomes full.
void EditFor(Screen& screen, milliseconds time) {
    for (std::size_t edit = 0; edit < QUEUED_EDITS; ++edit) {
        screen.Edit();
    }
    screen.RunFor(time);
}

} // namespace

void applist_bench::MeasureBlocks(const std::string& out, bool quick) {
    const milliseconds silence = quick ? milliseconds(2000) : milliseconds(26000);
    const pid_t daemon = DaemonProcess();
    Process partner = StartProgram({"applist_bench_partner"});
    partner.ReadLine();
    Screen screen;
    screen.Fill(100);
    screen.RunUntil([&] { return screen.Client().IsConnected(); });
    screen.WaitUntilQuiet();
    screen.Report("client-block-connect", out);

    partner.Stop();
    EditFor(screen, silence);
    partner.Continue();
    screen.RunFor(milliseconds(500));
    screen.WaitUntilQuiet();
    screen.Report("client-block-silent-partner", out);

    kill(daemon, SIGSTOP);
    EditFor(screen, silence);
    kill(daemon, SIGCONT);
    screen.RunFor(milliseconds(500));
    screen.WaitUntilQuiet();
    screen.Report("client-block-stopped-bus", out);

    for (int refill = 0; refill < (quick ? 1 : 5); ++refill) {
        screen.Fill(LONG_LIST);
        screen.RunFor(milliseconds(2000));
        screen.WaitUntilQuiet();
    }
    screen.Report("client-block-refill", out);
}
