#include <check/CheckPartnerVerb.h>

#include <algorithm>
#include <iterator>

#include <check/CheckRun.h>
#include <shared/ExitStatus.h>
#include <shared/Protocol.h>
#include <shared/Waiting.h>

namespace applistctl {

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
        run.partner.Run(); // in a defined state for the library
    } else {
        run.list.Skip(Duty::StartsTogether, "needs --restart");
    }
    run.list.Skip(Duty::AnnouncesItself, "the partner was running already");
    const bool isFit = IsFitForTheLibrary(run.list);
    if (isFit) {
        LibraryCheck::Check(run);
    }
    const char* const reason =
        isFit ? "the check with the library failed" : "skipped: the library would block for 25 s";
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
        "Performs the host's side of the protocol, first step by step, then with the library.\n"
        "Lists the duties of a partner. Each duty is passed, BROKEN or not seen, with the\n"
        "evidence. Stop other hosts first.",
        "Without --restart, the check asks you to start and restart the partner. Unless --wait is\n"
        "0, it asks you to select and click in the partner. Without your action, such a duty is\n"
        "\"not seen\".\n\n"
        "Exit status: 0 no duty is broken, 1 no partner found, 2 wrong usage, 3 no bus,\n"
        "4 a duty is broken.",
        false,
        {{"restart", "COMMAND", "Start and restart the partner with this shell command"},
         {"limit", "SECONDS", "Time limit for each step of the partner (default: 3)"},
         {"wait", "SECONDS",
          "Time limit for each action of yours (default: 30; 0: ask for none)"}}};
}

int CheckPartnerVerb::Run(const CommandLine& line) {
    double limit = 3;
    double wait = 30;
    if (!line.arguments.empty()) {
        return WrongUsage(PROGRAM, "check partner takes no arguments");
    }
    if (!ParseSeconds(line.Value("limit", "3"), limit) || limit <= 0 ||
        !ParseSeconds(line.Value("wait", "30"), wait)) {
        return WrongUsage(PROGRAM, "SECONDS must be a number up to 3600");
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
        output.Error("no partner has answered; run \"applistctl check\" for the reason");
        return EXIT_STATUS_FAILED;
    }
    CheckAll(run);
    list.Show(output);
    return list.AnyBroken() ? EXIT_STATUS_TROUBLE : EXIT_STATUS_DONE;
}

} // namespace applistctl
