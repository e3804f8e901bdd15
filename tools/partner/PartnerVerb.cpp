#include <partner/PartnerVerb.h>

#include <gio/gio.h>

#include <partner/PartnerCommands.h>
#include <partner/PartnerSession.h>
#include <shared/CommandInput.h>
#include <shared/ExitStatus.h>
#include <shared/Output.h>
#include <shared/Script.h>

namespace applistctl {

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
        return EXIT_STATUS_FAILED;
    }
    session.KeepRequests();
    const bool isGood = script.Run([&] { return quit || session.HasStopped(); });
    if (isGood) {
        session.StartOnce(); // also without a command for the bus, to detect a refusal
    }
    return isGood ? EXIT_STATUS_DONE : EXIT_STATUS_FAILED;
}

} // namespace

Usage PartnerVerb::Describe() {
    return {"applistctl partner",
            "",
            "Runs a partner: finds a host with the handshake, requests its list, keeps an equal\n"
            "list, replies to the selection query, and prints each request by name with its\n"
            "items. The partner serves one host at a time.",
            "Commands on standard input, or one per line in FILE; quoted as in a shell. N is a\n"
            "number in the list, or the id of an item. Faults at the top of FILE apply from the\n"
            "start of the partner.\n" +
                DescribeAllCommands() + "\n" + PartnerCommands::DescribeArguments() +
                "\nExit status: 0 done, 1 failed (FILE, a command, a condition, or a name\n"
                "that the bus policy refuses), 2 wrong usage, 3 no bus.",
            false,
            {{"script", "FILE", "Run the commands in FILE; the first failed one ends the run"}}};
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
    session.AwaitReplies();
    return session.HasStopped() ? stopStatus : status;
}

} // namespace applistctl
