#include <check/CheckVerb.h>

#include <optional>
#include <string>
#include <vector>

#include <unistd.h>

#include <applist/MessageIds.h>
#include <check/BareHost.h>
#include <check/BusSurvey.h>
#include <check/HostProcess.h>
#include <check/PeerCall.h>
#include <check/PolicyReport.h>
#include <check/Seconds.h>
#include <check/SeveralPartners.h>
#include <check/Verdicts.h>
#include <ipc/HandshakeNames.h>
#include <shared/Counted.h>
#include <shared/Endpoint.h>
#include <shared/ExitStatus.h>
#include <shared/Output.h>
#include <shared/Waiting.h>

namespace applistctl {

namespace {

constexpr const char* CHECK = "applistctl check";
constexpr double BUS_S = 5;
constexpr double BETWEEN_SURVEYS_S = 0.1;

std::string Joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

// Whether a connection with the name @p first is older than one with the name @p second: :1.9,
// :1.10.
bool IsEarlier(const std::string& first, const std::string& second) {
    return first.size() != second.size() ? first.size() < second.size() : first < second;
}

// One check of a device, from the bus to the answer of the partner. Each step prints a line.
class DeviceCheck {
public:
    DeviceCheck(Output& output, double limit, const CommandLine& line)
        : m_verdicts(output, "MISSING"),
          m_policy(output, m_verdicts, line),
          m_limit(limit),
          m_names(m_host.Connection()) {}

    int Run() {
        if (m_host.Connection() == nullptr) {
            m_verdicts.Wrong("bus", m_host.Problem(), SystemBus::Advice());
            return EXIT_STATUS_NO_BUS;
        }
        m_verdicts.EndWithoutBus(m_host.Connection());
        m_verdicts.Good("bus", "on " + SystemBus::Describe() + " as " + m_host.UniqueName() +
                                   ", user " + BusPolicy::CurrentUser());
        m_survey = SurveyBus(m_host.Connection(), m_limit);
        WaitForEarlierCheck();
        ShowOthers();
        SeveralPartners::Report(m_host.Connection(), m_survey, m_verdicts,
                                [this](const Participant& one) { return m_names.Once(one.name); });
        CheckOwnedNames();
        const bool mayAnnounce =
            m_heldClientName.empty() && m_earlierCheck.empty() && CheckAnnouncing();
        const bool maySend = CheckSending();
        CheckSignals();
        if (!m_earlierCheck.empty()) {
            m_verdicts.Wrong("partner",
                             "not checked: the check " + m_names.Once(m_earlierCheck) +
                                 " has the role of the host until its end",
                             "check again after the end of this other check");
        } else if (!m_heldClientName.empty() || !m_heldServiceName.empty()) {
            m_verdicts.Wrong("partner",
                             "not checked: the handshake needs the release of " +
                                 (m_heldClientName.empty() ? m_heldServiceName : m_heldClientName),
                             "restart the process that owns this name, and check again");
        } else if (!mayAnnounce) {
            m_verdicts.Wrong("partner", "not checked: the handshake needs the _CLIENT names",
                             "see \"announce\" above");
        } else if (CheckPartner() && maySend) {
            CheckAnswer();
        }
        // Owning the name has shown the policy. An earlier release would have been an announcement.
        m_host.ReleaseName("_SYN_ACK");
        m_policy.ShowFile();
        return m_verdicts.AnyWrong() ? EXIT_STATUS_TROUBLE : EXIT_STATUS_DONE;
    }

private:
    // Two checks at once would each be a second host for the partner of the other one. The bus
    // numbers its connections, and the later one waits.
    void WaitForEarlierCheck() {
        if (FindEarlierCheck()) {
            m_verdicts.Note("hosts", m_names.Once(m_earlierCheck) +
                                         " is another check: waiting for its end");
        }
        g_autoptr(GTimer) timer = g_timer_new();
        while (FindEarlierCheck() && g_timer_elapsed(timer, nullptr) < 2 * m_limit) {
            WaitFor(BETWEEN_SURVEYS_S);
            m_survey = SurveyBus(m_host.Connection(), m_limit);
        }
    }

    bool FindEarlierCheck() {
        m_earlierCheck.clear();
        for (const Participant& one : m_survey.AllOf(Participant::Role::Check)) {
            if (IsEarlier(one.name, m_host.UniqueName())) {
                m_earlierCheck = one.name;
            }
        }
        return !m_earlierCheck.empty();
    }

    // A partner serves one host. A host on the bus may therefore explain a missing answer.
    void ShowOthers() {
        std::vector<std::string> others;
        for (const Participant& one : m_survey.participants) {
            if (one.role == Participant::Role::Host) {
                const std::string host = m_names.Once(one.name);
                m_verdicts.Note("hosts", host + " is a host on the bus" +
                                             (m_survey.hasRules ? ", bound to " + Peer(one) : "") +
                                             DescribeStop(one.name));
            } else if (one.role == Participant::Role::Partner && !one.peer.empty()) {
                const std::string partner = m_names.Once(one.name);
                m_verdicts.Note("hosts", "the partner " + partner + " is bound to " + Peer(one));
            } else if (!m_survey.hasRules && one.role == Participant::Role::Unknown &&
                       m_survey.participants.size() > 1) {
                others.push_back(m_names.Once(one.name));
            }
        }
        if (!others.empty()) {
            m_verdicts.Note("hosts", Joined(others) + (others.size() == 1
                                                           ? " is a host or a partner on the bus"
                                                           : " are hosts or partners on the bus"));
        }
    }

    // A stopped host keeps its partner, which then answers no other host.
    std::string DescribeStop(const std::string& name) const {
        const guint32 pid = FindPeerProcess(m_host.Connection(), name).pid;
        return HostProcess::IsStopped(pid)
                   ? "; it is stopped: let it continue (kill -CONT " + std::to_string(pid) + ")"
                   : "";
    }

    std::string Peer(const Participant& one) {
        return one.peer.empty() ? "no process" : m_names.Once(one.peer);
    }

    void CheckOwnedNames() {
        const std::string ofHosts = HandshakeNames::EndpointName(ENDPOINT_ID, "");
        for (const OwnedName& one : FindOwnedNames(m_host.Connection())) {
            if (one.IsOfCheck()) {
                continue;
            }
            m_verdicts.Wrong("names", one.Describe(),
                             "restart that process: an announcement owns its name for a moment");
            (one.name.rfind(ofHosts, 0) == 0 ? m_heldClientName : m_heldServiceName) =
                one.name.substr(HandshakeNames::BaseName(ENDPOINT_ID).size());
        }
    }

    // The release of a name announces a step. Only the first step may be announced at this point.
    bool CheckAnnouncing() {
        for (const char* const suffix : {"_SYN", "_SYN_ACK", "_ACK"}) {
            const std::string problem = m_host.OwnName(suffix);
            if (!problem.empty()) {
                m_policy.HostLacks("announce",
                                   "the bus refuses " +
                                       HandshakeNames::EndpointName(ENDPOINT_ID, suffix) + ": " +
                                       problem);
                return false;
            }
        }
        m_verdicts.Good("announce", "this user may own the three _CLIENT names");
        m_host.ReleaseName("_SYN");
        return true;
    }

    // The receiver is this connection. The bus applies its policy all the same.
    bool CheckSending() {
        const SentRequest request =
            m_host.SendRequestTo(m_host.UniqueName(), APPLIST_GET_SELECTION_FNC, {}, BUS_S);
        if (!request.problem.empty()) {
            m_policy.HostLacks("send", "Send to itself: " + request.problem);
            return false;
        }
        m_verdicts.Good("send", "this user may call Send");
        return true;
    }

    // The bus does not report a refused signal to its sender.
    void CheckSignals() {
        const std::size_t before = m_host.Seen().Notifications().size();
        m_host.NotifySelf();
        if (WaitUntil([&] { return m_host.Seen().Notifications().size() > before; }, BUS_S / 5)) {
            m_verdicts.Good("signal", "SendSignal is delivered");
        } else {
            m_policy.HostLacks("signal", "SendSignal to itself is not delivered");
        }
    }

    bool CheckPartner() {
        if (m_host.WaitForStep("_SYN_ACK", m_limit)) {
            m_verdicts.Good("partner", "answer from " + m_names.Once(m_host.Partner()));
            return true;
        }
        m_verdicts.RequireSteadyBus();
        std::vector<std::string> candidates;
        for (const Participant& one : m_survey.participants) {
            if (one.MayBePartner()) {
                candidates.push_back(one.name);
            }
        }
        if (m_host.HasSeen("_SYN") && m_survey.Find(m_host.Partner()) == nullptr) {
            candidates.push_back(m_host.Partner());
        }
        if (!ReportStopped(candidates) && !ReportStopped(m_survey.silent)) {
            !candidates.empty()         ? ReportUnwilling(candidates)
            : !m_survey.refused.empty() ? ReportHidden()
                                        : ReportAbsent();
        }
        return false;
    }

    std::string NoAnswer() const {
        return "no answer to _CLIENT_SYN within " + InSeconds(m_limit) + ": ";
    }

    // "the partner :1.8", where the bus shows the role of :1.8.
    std::string Partner(const std::string& name) {
        const Participant* const found = m_survey.Find(name);
        const bool isCertain = (found != nullptr && found->role == Participant::Role::Partner) ||
                               (m_host.HasSeen("_SYN") && name == m_host.Partner());
        return isCertain ? "the partner " + m_names.Once(name)
                         : m_names.Once(name) + ", which may be the partner,";
    }

    // A stopped process, or one that does not even answer Ping.
    bool ReportStopped(const std::vector<std::string>& names) {
        const std::vector<PeerReply> replies = PingPeers(m_host.Connection(), names, m_limit);
        for (std::size_t i = 0; i < names.size(); ++i) {
            const guint32 pid = FindPeerProcess(m_host.Connection(), names[i]).pid;
            if (HostProcess::IsStopped(pid)) {
                m_verdicts.Wrong("partner", NoAnswer() + Partner(names[i]) + " is stopped",
                                 "let it continue: kill -CONT " + std::to_string(pid));
                return true;
            }
            if (replies[i].IsMissing()) {
                m_verdicts.Wrong("partner",
                                 NoAnswer() + Partner(names[i]) + " does not reply to Peer.Ping",
                                 "the process is frozen or overloaded: look at it with top, and at "
                                 "the freezer of its cgroup");
                return true;
            }
        }
        return false;
    }

    void ReportHidden() {
        m_verdicts.Wrong("partner",
                         NoAnswer() + "a partner may be on the bus, whose policy refuses user " +
                             BusPolicy::CurrentUser() + " every call to " +
                             Counted(m_survey.refused.size(), "process", "processes"),
                         "see the refused step above, or run this check as root");
    }

    void ReportAbsent() {
        m_verdicts.Wrong("partner", NoAnswer() + "no partner is on the bus",
                         "start the partner; if it runs already, its log has the reason");
    }

    void ReportUnwilling(const std::vector<std::string>& names) {
        for (const std::string& name : names) {
            const Participant* const found = m_survey.Find(name);
            const std::string loss = found != nullptr ? m_survey.DescribeLoss(found->peer) : "";
            if (found != nullptr && !found->peer.empty() && !loss.empty()) {
                m_verdicts.Wrong("partner",
                                 NoAnswer() + Partner(name) + " is bound to " + found->peer + loss,
                                 "restart the partner");
                return;
            }
            if (found != nullptr && !found->peer.empty()) {
                m_verdicts.Wrong("partner",
                                 NoAnswer() + Partner(name) + " is bound to " + Peer(*found),
                                 "a partner serves one host: end that host, or check it with "
                                 "\"applistctl check host " +
                                     found->peer + "\"");
                return;
            }
        }
        const std::string text = NoAnswer() + Partner(names.front());
        // A bound partner, too, announces itself until the first request of its host.
        if (m_survey.hasRules) {
            m_verdicts.Wrong("partner", text + " is bound to no host",
                             "check that its loop runs, and that its user may own the _SERVICE "
                             "names: the refused process receives the reason, and \"applistctl "
                             "monitor\" shows it");
        } else {
            m_verdicts.Wrong(
                "partner", text + " may be bound to another host",
                std::string("a partner serves one host: end the other hosts, or ") +
                    (geteuid() == 0 ? "start \"applistctl monitor\" before host and partner, which "
                                      "shows their binding"
                                    : "run this check as root, to which the bus may show the "
                                      "bindings"));
        }
    }

    void CheckAnswer() {
        const std::size_t before = m_host.Seen().CountNotifications(APPLIST_LOCAL_CREATED_EVENT);
        const SentRequest request = m_host.SendRequest(APPLIST_GET_SELECTION_FNC, {}, m_limit);
        if (!request.problem.empty()) {
            m_verdicts.Wrong("answer",
                             "2001 to " + m_names.Once(m_host.Partner()) + ": " + request.problem,
                             "run \"applistctl check partner\"");
            return;
        }
        m_verdicts.Good("answer", "reply to 2001 from " + m_host.Partner() + ": " +
                                      Counted(request.reply.size(), "byte"));
        m_host.ReleaseName("_ACK");
        if (m_host.WaitForNotification(APPLIST_LOCAL_CREATED_EVENT, before + 1, m_limit)) {
            m_verdicts.Good("list",
                            "request for the list from " + m_host.Partner() + " (notification 4)");
        } else {
            m_verdicts.Wrong(
                "list", "no notification 4 within " + InSeconds(m_limit),
                "check that the user of the partner may send SendSignal, and run \"applistctl "
                "check partner\"");
        }
    }

    Verdicts m_verdicts;
    PolicyReport m_policy;
    double m_limit;
    std::string m_heldClientName;  ///< "_CLIENT_SYN", of a process that does not release it
    std::string m_heldServiceName; ///< "_SERVICE_SYN"
    std::string m_earlierCheck;    ///< unique name of a check that has the role of the host
    BareHost m_host;
    ProcessNames m_names;
    BusSurvey m_survey;
};

} // namespace

Usage CheckVerb::Describe() {
    return {
        CHECK,
        "",
        "Performs the steps of a host: reaches the bus, announces, calls, sends a signal, and\n"
        "waits for a partner. Shows other hosts on the bus, and a partner that is bound to one of\n"
        "them. Prints advice for each missing step, and a policy file for a refused user. Run it\n"
        "as the user of the host. A free partner binds to this check until the check ends.",
        "'applistctl check partner' checks the partner itself, 'applistctl check host' a host.\n\n"
        "Exit status: 0 no step is missing, 1 the folder of --policies is unreadable, 2 wrong\n"
        "usage, 3 no bus, 4 a step is missing, or several partners are on the bus.",
        false,
        {{"limit", "SECONDS", "Time limit for each step of the partner (default: 3)"},
         PolicyReport::OPTION}};
}

int CheckVerb::Run(const CommandLine& line) {
    double limit = 3;
    if (!line.arguments.empty()) {
        return WrongUsage(CHECK, "unknown check \"" + line.arguments.front() + "\"");
    }
    if (!ParseSeconds(line.Value("limit", "3"), limit) || limit <= 0) {
        return WrongOption(CHECK, line, "limit", POSITIVE_SECONDS);
    }
    if (const std::optional<int> status = PolicyReport::FindProblem(CHECK, line)) {
        return *status;
    }
    Output output(CHECK);
    return DeviceCheck(output, limit, line).Run();
}

} // namespace applistctl
