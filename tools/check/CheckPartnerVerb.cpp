#include <check/CheckPartnerVerb.h>

#include <algorithm>
#include <iterator>

#include <check/CheckRun.h>
#include <shared/ExitStatus.h>
#include <shared/Protocol.h>
#include <shared/Waiting.h>

namespace {

constexpr const char* PROGRAM = "applistctl check partner";

// The library would wait 25 seconds for each reply of a partner that breaks one of these duties.
bool IsFitForTheLibrary(const Checklist& list) {
    return !list.IsBroken(Duty::AnswersSyn) && !list.IsBroken(Duty::SendsNoRequestMeanwhile) &&
           std::none_of(
               std::begin(Protocol::REQUESTS), std::end(Protocol::REQUESTS),
               [&list](const RequestKind& kind) { return list.IsBroken(ChecklistRow(kind.id)); });
}

void CheckAll(CheckRun& run) {
    HandshakeCheck::CheckTwoHosts(run);
    if (run.partner.IsGiven()) {
        HandshakeCheck::CheckStartsTogether(run);
        run.partner.Run(); // whatever it was left in
    } else {
        run.list.Skip(Duty::StartsTogether, "needs --restart");
    }
    run.list.Skip(Duty::AnnouncesItself, "it was running already");
    const bool isFit = IsFitForTheLibrary(run.list);
    if (isFit) {
        LibraryCheck::Check(run);
    }
    const char* const reason =
        isFit ? "the library does not work with it" : "left out: the library would wait for it";
    run.list.Skip(Duty::WorksWithTheLibrary, reason);
    run.list.Skip(Duty::ReconnectsAfterARestart, reason);
    for (const NotificationKind& kind : Protocol::NOTIFICATIONS) {
        run.list.Skip(ChecklistRow(kind.id), reason);
    }
}

} // namespace

Usage CheckPartnerVerb::Describe() {
    return {
        PROGRAM,
        "",
        "Plays the host against the partner that runs on the bus, through the whole protocol, by\n"
        "hand and with the library, and lists the partner's duties: each one passed, BROKEN or\n"
        "not seen, with the evidence. No other host may run meanwhile.",
        "Without --restart it asks you to start the partner, to restart it, and to select and\n"
        "click in it; a duty that nobody let it see is \"not seen\" in the end.\n\n"
        "Exit status: 0 no duty is broken, 1 there is no partner, 2 wrong usage, 3 no bus,\n"
        "4 a duty is broken.",
        false,
        {{"restart", "COMMAND", "Start the partner with this shell command, each time anew"},
         {"limit", "SECONDS", "Give the partner so long for each step (default: 3)"},
         {"wait", "SECONDS", "Give you so long to do what it asks (default: 30; 0 asks nothing)"}}};
}

int CheckPartnerVerb::Run(const CommandLine& line) {
    double limit = 3;
    double wait = 30;
    if (!line.arguments.empty()) {
        return WrongUsage(PROGRAM, "it takes no arguments");
    }
    if (!ParseSeconds(line.Value("limit", "3"), limit) || limit <= 0 ||
        !ParseSeconds(line.Value("wait", "30"), wait)) {
        return WrongUsage(PROGRAM, "SECONDS is a number up to 3600");
    }
    Output output(PROGRAM);
    {
        const BareHost host;
        if (host.Connection() == nullptr) {
            output.Error("no bus: " + host.Problem());
            return EXIT_STATUS_NO_BUS;
        }
    }
    Checklist list;
    PartnerCommand partner(line.Value("restart", ""));
    CheckRun run{output, list, partner, limit, wait};
    if (!HandshakeCheck::FindPartner(run)) {
        if (list.AnyBroken()) {
            list.Show(output);
        }
        output.Error("no partner has answered; \"applistctl check\" looks for the reason");
        return EXIT_STATUS_FAILED;
    }
    CheckAll(run);
    list.Show(output);
    return list.AnyBroken() ? EXIT_STATUS_TROUBLE : EXIT_STATUS_DONE;
}
