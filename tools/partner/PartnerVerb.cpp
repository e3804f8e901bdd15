#include <partner/PartnerVerb.h>

#include <gio/gio.h>

#include <partner/PartnerCommands.h>
#include <partner/PartnerSession.h>
#include <shared/CommandInput.h>
#include <shared/ExitStatus.h>
#include <shared/Output.h>
#include <shared/Script.h>

namespace {

std::string DescribeAllCommands() {
    Output output("");
    PartnerSession session(output, nullptr);
    return DescribeCommands(WithCommonCommands(PartnerCommands(session, output).All()));
}

int RunInput(PartnerSession& session, PartnerCommands& commands, Output& output, GMainLoop* loop) {
    session.StartOnce();
    if (session.HasStopped()) {
        return EXIT_STATUS_DONE;
    }
    CommandInput input(commands.All(), output, [loop] { g_main_loop_quit(loop); });
    g_main_loop_run(loop);
    return input.ScriptFailed() ? EXIT_STATUS_FAILED : EXIT_STATUS_DONE;
}

int RunScript(const std::string& file, PartnerSession& session, PartnerCommands& commands,
              Output& output) {
    bool quit = false;
    CommandRunner runner(WithCommonCommands(
                             commands.All(), [] { return true; }, [&] { return quit = true; }),
                         output);
    Script script(runner, output);
    if (!script.Read(file)) {
        return EXIT_STATUS_USAGE;
    }
    session.KeepRequests();
    const bool isGood = script.Run([&] { return quit || session.HasStopped(); });
    return isGood ? EXIT_STATUS_DONE : EXIT_STATUS_FAILED;
}

} // namespace

Usage PartnerVerb::Describe() {
    return {
        "applistctl partner",
        "",
        "Stands in for the partner of a host: finds it with the handshake, asks it for its\n"
        "list, keeps what its requests describe, answers its query for the selection, and\n"
        "prints every request by name with its items. One host at a time.",
        "Commands on standard input, or one a line in FILE; quoted as in a shell. N is a\n"
        "number in the list. The partner starts behind the faults at the top of FILE.\n" +
            DescribeAllCommands() + "\n" + PartnerCommands::DescribeArguments() +
            "\nExit status: 0 done, 1 failed (a command, an expect, or the bus policy refuses a\n"
            "name), 2 wrong usage, 3 no bus.",
        false,
        {{"script", "FILE", "Run the commands in FILE; the first that fails ends the run"}}};
}

int PartnerVerb::Run(const CommandLine& line) {
    if (!line.arguments.empty()) {
        return WrongUsage("applistctl partner", "it takes no arguments");
    }
    Output output("applistctl partner");
    g_autoptr(GMainLoop) loop = g_main_loop_new(nullptr, FALSE);
    int stopStatus = EXIT_STATUS_DONE;
    PartnerSession session(output, [&](int status) {
        stopStatus = status;
        g_main_loop_quit(loop);
    });
    PartnerCommands commands(session, output);
    const int status = line.Has("script")
                           ? RunScript(line.options.at("script"), session, commands, output)
                           : RunInput(session, commands, output, loop);
    return session.HasStopped() ? stopStatus : status;
}
