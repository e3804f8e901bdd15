#include <host/HostVerb.h>

#include <utility>

#include <gio/gio.h>

#include <host/DesktopEntries.h>
#include <host/Host.h>
#include <host/RefusedNames.h>
#include <shared/CommandInput.h>
#include <shared/Counted.h>
#include <shared/ExitStatus.h>
#include <shared/ItemListing.h>
#include <shared/Output.h>
#include <shared/SystemBus.h>

namespace applistctl {

namespace {

// Prints the result. Returns false when a folder of the command line cannot be read.
bool ReadEntries(const std::vector<std::string>& folders, Output& output, DesktopEntries& entries) {
    std::string problem;
    if (folders.empty()) {
        entries.ReadDefaultFolders();
    }
    for (const std::string& folder : folders) {
        if (!entries.ReadFolder(folder, problem)) {
            output.Error(problem);
            return false;
        }
    }
    for (const std::string& skipped : entries.Skipped()) {
        output.Problem("skipped " + ItemListing::Printable(skipped));
    }
    output.State(ItemListing::Count(entries.Shown().size()) + " from desktop entries, " +
                 Counted(entries.HiddenCount(), "hidden entry", "hidden entries") + " skipped");
    return true;
}

} // namespace

Usage HostVerb::Describe() {
    return {
        "applistctl host", "[DIR...]",
        "Runs a host: owns an application list, keeps the partner's list equal, and prints the\n"
        "events of the partner. The list consists of the desktop entries in DIR (default:\n"
        "the XDG application folders). The name of an item is the localized Name, and its\n"
        "unique id is the desktop file id.",
        "Commands on standard input, quoted as in a shell:\n" +
            DescribeCommands(WithCommonCommands(Host::CommandsFor(nullptr))) +
            "\nExit status: 0 done, 1 failed (a DIR is unreadable, a command failed that was not\n"
            "typed on a terminal, or the bus policy still refuses a name at the end), 2 wrong\n"
            "usage, 3 no bus.",
        false};
}

int HostVerb::Run(const CommandLine& line) {
    Output output("applistctl host");
    DesktopEntries entries;
    if (!ReadEntries(line.arguments, output, entries)) {
        return EXIT_STATUS_FAILED;
    }

    g_autoptr(GMainLoop) loop = g_main_loop_new(nullptr, FALSE);
    int status = EXIT_STATUS_DONE;
    SystemBus bus([&](const std::string& reason) {
        output.Error("the bus is gone: " + reason);
        status = EXIT_STATUS_NO_BUS;
        g_main_loop_quit(loop);
    });
    if (bus.Connection() == nullptr) {
        output.Error("no bus: " + bus.Problem());
        return EXIT_STATUS_NO_BUS;
    }
    output.State("on " + SystemBus::Describe() + " as " +
                 g_dbus_connection_get_unique_name(bus.Connection()));

    bool isExplained = false;
    RefusedNames& refused = RefusedNames::Watch(
        bus.Connection(), [&](const std::string& name, const std::string& reason) {
            output.Error("the bus policy refuses the name " + name + ": " + reason);
            if (!std::exchange(isExplained, true)) {
                output.Error("run \"applistctl check\" as this user: it explains the policy");
            }
        });
    // Never deleted: a host keeps its proxy until the process exits. JavaMWDbusRemote documents the
    // effect of its destructor on a shared connection.
    static Host* host = nullptr;
    host = new Host(output);
    host->Fill(entries.Shown());
    CommandInput input(Host::CommandsFor(host), output, [&] { g_main_loop_quit(loop); });
    g_main_loop_run(loop);
    refused.Report();
    const bool hasFailed = input.ScriptFailed() || refused.IsAnyRefused();
    return status == EXIT_STATUS_DONE && hasFailed ? EXIT_STATUS_FAILED : status;
}

} // namespace applistctl
