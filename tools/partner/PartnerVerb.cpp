#include <partner/PartnerVerb.h>

#include <gio/gio.h>

#include <partner/Partner.h>
#include <shared/CommandInput.h>
#include <shared/ExitStatus.h>
#include <shared/Output.h>
#include <shared/SystemBus.h>

Usage PartnerVerb::Describe() {
    return {"applistctl partner", "",
            "Stands in for the partner of a host: finds it with the handshake, asks it for its\n"
            "list, keeps what its requests describe, answers its query for the selection, and\n"
            "prints every request by name with its items. One host at a time.",
            "Commands on standard input, quoted as in a shell; N is a number in the list:\n" +
                DescribeCommands(WithCommonCommands(Partner::CommandsFor(nullptr))) +
                "\nExit status: 0 done, 1 failed (also when the bus policy refuses a name),\n"
                "2 wrong usage, 3 no bus.",
            false};
}

int PartnerVerb::Run(const CommandLine& line) {
    if (!line.arguments.empty()) {
        return WrongUsage("applistctl partner", "it takes no arguments");
    }
    Output output("applistctl partner");
    g_autoptr(GMainLoop) loop = g_main_loop_new(nullptr, FALSE);
    int status = EXIT_STATUS_DONE;
    bool stopped = false;
    const auto stop = [&](int newStatus) {
        status = newStatus;
        stopped = true;
        g_main_loop_quit(loop);
    };
    SystemBus bus([&](const std::string& reason) {
        output.Error("the bus is gone: " + reason);
        stop(EXIT_STATUS_NO_BUS);
    });
    if (bus.Connection() == nullptr) {
        output.Error("no bus: " + bus.Problem());
        return EXIT_STATUS_NO_BUS;
    }
    output.State("on " + SystemBus::Describe() + " as " +
                 g_dbus_connection_get_unique_name(bus.Connection()));

    Partner partner(bus.Connection(), output, [&] { stop(EXIT_STATUS_FAILED); });
    partner.Start();
    if (!stopped) {
        CommandInput input(Partner::CommandsFor(&partner), output, [&] { stop(EXIT_STATUS_DONE); });
        g_main_loop_run(loop);
        if (status == EXIT_STATUS_DONE && input.ScriptFailed()) {
            status = EXIT_STATUS_FAILED;
        }
    }
    // Signals are queued; they would be lost with the connection.
    g_dbus_connection_flush_sync(bus.Connection(), nullptr, nullptr);
    return status;
}
