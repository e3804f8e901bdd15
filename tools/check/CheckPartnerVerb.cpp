#include <check/CheckPartnerVerb.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>
#include <utility>

#include <glib.h>

#include <check/Baseline.h>
#include <check/BusSurvey.h>
#include <check/CheckProcess.h>
#include <check/CheckReport.h>
#include <check/CheckRun.h>
#include <check/DelayedSignals.h>
#include <check/JUnitFile.h>
#include <check/OtherHosts.h>
#include <check/PartnerProcesses.h>
#include <check/Seconds.h>
#include <shared/ExitStatus.h>
#include <shared/Protocol.h>
#include <shared/Waiting.h>

namespace applistctl {

namespace {

constexpr const char* CHECK_PARTNER = "applistctl check partner";
constexpr unsigned MOST_RUNS = 1000;

struct Options {
    double limit = 3;
    double wait = 30;
    double timeout = 0;
    unsigned runs = 1;
    std::string restart;
    std::string drive;
    std::set<int> only;
    Baseline baseline;

    unsigned Phases() const {
        unsigned phases = only.empty() ? ~0U : 0U;
        for (const int row : only) {
            phases |= Duties::AllRows()[static_cast<std::size_t>(row)].phases;
        }
        return phases;
    }
};

// @return the broken duty that the library needs, and its effect on the library; empty for none
std::string DescribeUnfit(const CheckRun& run) {
    struct Need {
        ChecklistRow row;
        const char* reason;
    };
    const Need needs[] = {
        {Duty::AnswersSyn, "needs _SERVICE_SYN_ACK, with which the library binds"},
        {Duty::ReleasesNames,
         "needs the release of each name, without which the library never binds"},
        {Duty::ServesAtOnce, "needs the communication object, without which each request fails"},
        {ChecklistRow(APPLIST_LOCAL_CREATED_EVENT),
         "needs notification 4, without which the library sends no list"},
        {Duty::SendsNoRequestMeanwhile,
         "a request of the partner while a reply is due would block the library for 25 s"},
    };
    for (const Need& need : needs) {
        if (run.list.IsBroken(need.row)) {
            return need.reason;
        }
    }
    for (const RequestKind& kind : Protocol::REQUESTS) {
        if (run.list.IsBroken(ChecklistRow(kind.id))) {
            return "needs a valid reply to " + std::to_string(kind.id) +
                   "; the library waits up to 25 s for each reply";
        }
    }
    return run.isAway ? run.absence : "";
}

void CheckWithTheLibrary(CheckRun& run) {
    FreshHost(run, nullptr); // ends at once: the partner is free
    std::string reason = DescribeUnfit(run);
    if (reason.empty()) {
        LibraryCheck::Check(run);
        reason = "the check with the library failed";
    }
    run.list.Skip(Duty::WorksWithTheLibrary, reason);
    run.list.Skip(Duty::ReconnectsAfterARestart, reason);
    for (const NotificationKind& kind : Protocol::NOTIFICATIONS) {
        run.list.Skip(ChecklistRow(kind.id), reason);
    }
}

void EndPhase(CheckRun& run, Phase phase) {
    run.list.EndPhase(phase, run.isAway ? run.absence : "needs a duty that is broken");
}

void CheckAll(CheckRun& run, HostPointer host, unsigned phases) {
    Checklist& list = run.list;
    EndPhase(run, PHASE_START);
    if ((phases & PHASE_HANDSHAKE) != 0) {
        host = HandshakeCheck::CheckHosts(run, std::move(host));
        EndPhase(run, PHASE_HANDSHAKE);
    }
    if ((phases & PHASE_REPLACEMENT) != 0) {
        host = ReplacementCheck::Check(run, std::move(host));
        EndPhase(run, PHASE_REPLACEMENT);
    }
    if ((phases & PHASE_TOGETHER) != 0 && run.partner.IsGiven()) {
        host = HandshakeCheck::CheckStartsTogether(run, std::move(host));
        EndPhase(run, PHASE_TOGETHER);
    }
    list.Skip(Duty::StartsTogether, "needs --restart");
    if ((phases & PHASE_REQUESTS) != 0) {
        host = RequestCheck::Check(run, std::move(host));
        EndPhase(run, PHASE_REQUESTS);
    }
    if ((phases & PHASE_LIBRARY) != 0) {
        if (run.partner.IsGiven()) {
            host.reset();
            run.partner.Stop();
            run.isAway = true; // in a defined state for the library
        } else {
            host = FreshHost(run, std::move(host));
            host.reset();
        }
        CheckWithTheLibrary(run);
    }
    list.Skip(Duty::AnnouncesItself, "the partner was running already");
    EndPhase(run, PHASE_LIBRARY);
}

// A partner may be on the bus and own a name of a step, which then is no announcement.
void ReportNoPartner(const CheckRun& run, const CheckChannel& channel,
                     GDBusConnection* connection) {
    std::vector<OwnedName> owned = FindOwnedNames(connection);
    owned.erase(std::remove_if(owned.begin(), owned.end(),
                               [](const OwnedName& one) { return one.IsOfCheck(); }),
                owned.end());
    const std::string reason =
        owned.empty() ? "the partner is not found" : owned.front().Describe();
    const BusSurvey survey = SurveyRules(connection);
    std::string advice =
        run.partner.IsGiven()
            ? "run the command of --restart by hand, and \"applistctl check\" beside it"
            : "run \"applistctl check\" for the reason";
    if (!owned.empty()) {
        advice = reason;
    } else if (!run.candidates.empty()) {
        advice = run.candidates;
    } else if (const Participant* const partner = survey.FirstOf(Participant::Role::Partner)) {
        advice = "the partner " + partner->Describe() +
                 " is on the bus, but answers no step of the handshake: see its log, or " + advice;
    }
    Output(CHECK_PARTNER).Error("no partner has answered; " + advice);
    if (run.list.AnyBroken()) {
        channel.SendRest(reason);
    }
}

// One run, in a process of its own. @return its exit status
int RunOnce(const Options& options, const CheckChannel& channel) {
    Output output(CHECK_PARTNER);
    {
        const BareHost host;
        if (host.Connection() == nullptr) {
            output.Error("no bus: " + host.Problem());
            return EXIT_STATUS_NO_BUS;
        }
    }
    OtherHosts others;
    const std::string other = others.Describe(options.limit);
    if (!other.empty()) {
        output.Error(other);
        return EXIT_STATUS_FAILED;
    }
    PartnerCommand partner(options.restart, [&](pid_t group) { channel.SendGroup(group); });
    // From then on, the partner's behaviour proves nothing.
    const auto endWith = [&](const std::string& reason, const std::string& text, int status) {
        output.Error(text);
        channel.SendRest(reason);
        partner.Stop();
        std::exit(status);
    };
    const auto end = [&](const std::string& reason, const std::string& text) {
        endWith(reason, text, EXIT_STATUS_FAILED);
    };
    const auto endWithoutBus = [&](const std::string& text) {
        endWith("the bus was gone", text, EXIT_STATUS_NO_BUS);
    };
    const auto endIfBusIsLost = [&] {
        const std::string loss = SystemBus::DescribeLoss(others.Connection());
        if (!loss.empty()) {
            endWithoutBus(loss);
        }
    };
    PartnerProcesses processes(others.Connection());
    const auto endIfStopped = [&] {
        const std::string stopped = processes.DescribeStopped();
        if (!stopped.empty()) {
            end("the partner was stopped", stopped);
        }
    };
    const auto endIfSeveral = [&] {
        endIfBusIsLost();
        const std::string several = processes.DescribeSeveral();
        if (!several.empty()) {
            end("another partner was on the bus",
                several + ": run one partner, and check again" +
                    (partner.IsGiven() ? "; the command of --restart must end the old partner"
                                       : ""));
        }
    };
    Checklist list([&](int index, const Finding& finding) { channel.SendFinding(index, finding); },
                   [&] {
                       endIfSeveral();
                       endIfStopped();
                   },
                   endIfSeveral);
    DriveCommand drive(options.drive);
    CheckRun run{[&](const std::string& text) {
                     endIfSeveral();
                     channel.SendText(text);
                 },
                 list,
                 partner,
                 drive,
                 options.limit,
                 options.wait};
    run.end = end;
    run.endWithoutBus = endWithoutBus;
    run.onNotifier = [&](const std::string& name) { processes.Add(name); };
    others.Watch([&](const std::string& text) { end("another host was on the bus", text); });
    HostPointer host = HandshakeCheck::FindPartner(run);
    if (host == nullptr) {
        endIfSeveral();
        endIfStopped();
        EndIfCommandFailed(run);
        ReportNoPartner(run, channel, others.Connection());
        return EXIT_STATUS_FAILED;
    }
    CheckAll(run, std::move(host), options.Phases());
    return EXIT_STATUS_DONE;
}

std::string ReadOnly(const std::string& text, std::set<int>& rows) {
    std::istringstream keys(text);
    for (std::string key; std::getline(keys, key, ',');) {
        const int row = Duties::Find(key);
        if (row < 0) {
            return "no duty \"" + key + "\"; --list shows the duties";
        }
        rows.insert(row);
    }
    return "";
}

// @return the exit status of a wrong command line or an unreadable file, which is reported
std::optional<int> ReadOptions(const CommandLine& line, Options& options) {
    if (!line.arguments.empty()) {
        return WrongUsage(CHECK_PARTNER, "check partner takes no arguments");
    }
    if (!ParseSeconds(line.Value("limit", "3"), options.limit) || options.limit <= 0) {
        return WrongOption(CHECK_PARTNER, line, "limit", POSITIVE_SECONDS);
    }
    if (!ParseSeconds(line.Value("wait", "30"), options.wait)) {
        return WrongOption(CHECK_PARTNER, line, "wait", ANY_SECONDS);
    }
    if (!ParseSeconds(line.Value("timeout", "0"), options.timeout)) {
        return WrongOption(CHECK_PARTNER, line, "timeout", ANY_SECONDS);
    }
    guint64 runs = 1;
    if (g_ascii_string_to_unsigned(line.Value("repeat", "1").c_str(), 10, 1, MOST_RUNS, &runs,
                                   nullptr) == FALSE) {
        return WrongOption(CHECK_PARTNER, line, "repeat",
                           "a number from 1 to " + std::to_string(MOST_RUNS));
    }
    options.runs = static_cast<unsigned>(runs);
    options.restart = line.Value("restart", "");
    options.drive = line.Value("drive", "");
    const std::string unknown = ReadOnly(line.Value("only", ""), options.only);
    if (!unknown.empty()) {
        return WrongUsage(CHECK_PARTNER, unknown);
    }
    std::string problem =
        line.Has("baseline") ? options.baseline.Read(line.Value("baseline", "")) : "";
    if (problem.empty() && line.Has("junit")) {
        problem = JUnitFile::FindProblem(line.Value("junit", ""));
    }
    if (!problem.empty()) {
        Output(CHECK_PARTNER).Error(problem);
        return EXIT_STATUS_FAILED;
    }
    return std::nullopt;
}

int ShowRows(Output& output) {
    std::size_t width = 0;
    for (const RowText& row : Duties::AllRows()) {
        width = std::max(width, row.key.size());
    }
    for (const RowText& row : Duties::AllRows()) {
        output.Line(row.key + std::string(width + 2 - row.key.size(), ' ') + row.text + " [" +
                    Duties::Describe(row.statements) + "]");
    }
    return EXIT_STATUS_DONE;
}

// The runs, their report and their files.
class Session {
public:
    Session(const Options& options, const DelayedSignals& signals, CheckReport& report,
            Output& output)
        : m_options(options), m_signals(signals), m_report(report), m_output(output) {}

    int RunAll() {
        for (unsigned i = 1; i <= m_options.runs && !m_signals.IsPending(); ++i) {
            RunNext(static_cast<int>(i));
        }
        return m_status;
    }

    const JUnitFile& Results() const { return m_junit; }

private:
    void RunNext(int number) {
        CheckResult result(m_options.only, m_options.baseline);
        m_report.Begin(number, static_cast<int>(m_options.runs));
        std::string reason;
        const CheckEnd end =
            RunCheck([this](const CheckChannel& channel) { return RunOnce(m_options, channel); },
                     {[&](int index, const Finding& finding) { Add(result, index, finding); },
                      [this](const std::string& text) { m_report.Ask(text); },
                      [&](const std::string& text) { reason = text; }},
                     m_signals, m_options.timeout);
        const Outcome outcome = OutcomeOf(end, result, reason);
        // Without a partner or a bus there is no result for people, only for programs.
        if (outcome.hasResult || m_report.IsForPrograms()) {
            ShowRest(result, outcome.reason);
            m_report.End(result, end.seconds);
        } else {
            result.Complete(outcome.reason);
        }
        const bool isUnfinished = outcome.status != EXIT_STATUS_DONE && !result.HasFailed();
        m_junit.Add(number, result, end.seconds, isUnfinished ? outcome.reason : "");
        m_status = Worse(m_status, outcome.status);
    }

    struct Outcome {
        int status;         ///< of the run
        std::string reason; ///< for the duties that are not decided
        bool hasResult;     ///< for people
    };

    // @param reason of the run itself, or empty
    Outcome OutcomeOf(const CheckEnd& end, const CheckResult& result, const std::string& reason) {
        const bool hasResult = !result.Findings().empty() || !reason.empty();
        const int status = result.HasFailed() ? EXIT_STATUS_TROUBLE : end.status;
        if (end.isInterrupted) {
            return {status, "the check was interrupted", true};
        }
        if (end.isTimedOut) {
            m_output.Error("not done within " + InSeconds(m_options.timeout));
            return {EXIT_STATUS_TROUBLE, "the time of --timeout was over", true};
        }
        if (end.signal != 0) {
            // GIO ends a process with SIGTERM when its shared connection to the bus is lost.
            const std::string text =
                std::string("the check ended with the signal ") + strsignal(end.signal);
            m_output.Error(text);
            return {EXIT_STATUS_NO_BUS, text, hasResult};
        }
        const bool isWithoutBus = end.status == EXIT_STATUS_NO_BUS;
        return {isWithoutBus ? EXIT_STATUS_NO_BUS : status,
                !reason.empty() ? reason
                : hasResult     ? "not decided"
                : isWithoutBus  ? "no bus"
                                : "no free partner was found",
                hasResult};
    }

    void Add(CheckResult& result, int index, const Finding& finding) {
        if (result.IsSelected(index)) {
            result.Add(index, finding);
            m_report.Show(index, finding, result.IsKnown(index));
        }
    }

    void ShowRest(CheckResult& result, const std::string& reason) {
        const std::map<int, Finding> shown = result.Findings();
        result.Complete(reason);
        std::vector<int> rest;
        for (const auto& [index, finding] : result.Findings()) {
            if (shown.count(index) == 0) {
                rest.push_back(index);
            }
        }
        m_report.ShowRest(rest, {Grade::NotSeen, reason});
    }

    // A broken duty of one run outweighs a missing partner in another one.
    static int Worse(int first, int second) {
        for (const int status : {EXIT_STATUS_TROUBLE, EXIT_STATUS_NO_BUS, EXIT_STATUS_FAILED}) {
            if (first == status || second == status) {
                return status;
            }
        }
        return std::max(first, second);
    }

    const Options& m_options;
    const DelayedSignals& m_signals;
    CheckReport& m_report;
    Output& m_output;
    JUnitFile m_junit;
    int m_status = EXIT_STATUS_DONE;
};

} // namespace

Usage CheckPartnerVerb::Describe() {
    return {
        CHECK_PARTNER,
        "",
        "Performs the host's side of the protocol, first step by step, then with the library.\n"
        "Lists the duties of a partner as they are decided. Each duty is passed, weak (fulfilled\n"
        "with a cost), BROKEN or not seen, with the evidence, and with the numbers of the\n"
        "protocol statements that the duty proves. End other hosts and run one partner: the\n"
        "check ends when it finds another host or a second partner.",
        "The command of --restart ends the old partner, starts a new one, and returns, or it\n"
        "stays in the foreground as the partner. The check ends such a command before the next\n"
        "start. When the command fails without an announcement of a partner, the check ends.\n"
        "Without --restart, the check asks you to start and restart the partner.\n\n"
        "The command of --drive has two more arguments, for which \"$@\" stands: select, click,\n"
        "change or remove, and the id of the item. \"change\" changes the item, but not its id.\n"
        "The command returns 0 after the action. Another exit status breaks the duty. Without\n"
        "--drive, and unless --wait is 0, the check asks you to select an item in the partner, to\n"
        "click an item and to change the list. Without your action, such a duty is \"not "
        "seen\".\n\n"
        "Exit status: 0 no duty is broken, 1 no partner found, a failed command of --restart,\n"
        "a stopped partner, another host or a second partner on the bus, or a FILE with an\n"
        "error, 2 wrong usage, 3 no bus, 4 a duty is broken, a duty of the baseline is not\n"
        "broken, or the time of --timeout is over. Ctrl-C and SIGTERM end the check after the\n"
        "summary of the decided duties.",
        false,
        {{"restart", "COMMAND", "Start and restart the partner with this shell command"},
         {"drive", "COMMAND", "Act as the partner's user with this shell command"},
         {"limit", "SECONDS",
          "Time limit for each step of the partner, tripled for its start (default: 3)"},
         {"wait", "SECONDS", "Time limit for each action of yours (default: 30; 0: ask for none)"},
         {"timeout", "SECONDS", "Time limit for each run (default: 0, no limit)"},
         {"repeat", "N", "Check N times"},
         {"only", "DUTY,...", "Show and check these duties alone"},
         {"baseline", "FILE", "Accept the broken duties in FILE; fail when one is not broken"},
         {"json", nullptr, "Print one JSON object for each duty and each summary"},
         {"junit", "FILE", "Write the results to FILE in the format of JUnit"},
         {"list", nullptr, "List the duties with their keys and statements"}}};
}

int CheckPartnerVerb::Run(const CommandLine& line) {
    Options options;
    if (const std::optional<int> status = ReadOptions(line, options)) {
        return *status;
    }
    Output output(CHECK_PARTNER);
    if (line.Has("list") && !line.Has("json")) {
        return ShowRows(output);
    }
    if (line.Has("list") && ListAsJson(output)) {
        return EXIT_STATUS_DONE;
    }
    const std::unique_ptr<CheckReport> report =
        line.Has("json") ? MakeJsonReport(output) : MakeTextReport(output);
    if (report == nullptr) {
        return WrongUsage(CHECK_PARTNER,
                          "this applistctl is built without nlohmann-json, for --json");
    }
    const DelayedSignals signals; // destroyed after the results are written
    Session session(options, signals, *report, output);
    const int status = session.RunAll();
    const std::string unwritten =
        line.Has("junit") ? session.Results().Write(line.Value("junit", "")) : "";
    if (!unwritten.empty()) {
        output.Error(unwritten);
        return EXIT_STATUS_FAILED;
    }
    return status;
}

} // namespace applistctl
