#include <check/CheckVerb.h>

#include <string>
#include <vector>

#include <pwd.h>
#include <unistd.h>

#include <applist/MessageIds.h>
#include <check/BareHost.h>
#include <check/BusSurvey.h>
#include <check/Verdicts.h>
#include <ipc/HandshakeNames.h>
#include <shared/Endpoint.h>
#include <shared/ExitStatus.h>
#include <shared/Output.h>
#include <shared/Waiting.h>

namespace applistctl {

namespace {

constexpr const char* PROGRAM = "applistctl check";
constexpr double BUS_S = 5;

std::string UserName() {
    const passwd* const user = getpwuid(geteuid());
    return user != nullptr ? user->pw_name : std::to_string(geteuid());
}

std::string PolicyAdvice() {
    return "install share/dbus-1/system.d/org.morva.JavaMW.conf, built with "
           "-DAPPLIST_BUS_HOST_USER=" +
           UserName() + ", and let the bus reload its configuration";
}

// One check of a device, from the bus to the answer of the partner. Each step prints a line.
class DeviceCheck {
public:
    DeviceCheck(Output& output, double limit) : m_verdicts(output, "MISSING"), m_limit(limit) {}

    int Run() {
        if (m_host.Connection() == nullptr) {
            m_verdicts.Wrong(
                "bus", m_host.Problem(),
                "check that the bus daemon runs, and that DBUS_SYSTEM_BUS_ADDRESS is unset or "
                "correct");
            return EXIT_STATUS_NO_BUS;
        }
        m_verdicts.Good("bus", "on " + SystemBus::Describe() + " as " + m_host.UniqueName() +
                                   ", user " + UserName());
        m_survey = SurveyBus(m_host.Connection(), m_limit);
        ShowOthers();
        const bool mayAnnounce = CheckOwnedNames() && CheckAnnouncing();
        const bool maySend = CheckSending();
        CheckSignals();
        if (!mayAnnounce) {
            m_verdicts.Wrong("partner", "not checked", "the handshake needs the _CLIENT names");
        } else if (CheckPartner() && maySend) {
            CheckAnswer();
        }
        // Owning the name has shown the policy. An earlier release would have been an announcement.
        m_host.ReleaseName("_SYN_ACK");
        return m_verdicts.AnyWrong() ? EXIT_STATUS_TROUBLE : EXIT_STATUS_DONE;
    }

private:
    // A partner serves one host. A host on the bus may therefore explain a missing answer.
    void ShowOthers() {
        std::string names;
        for (const Participant& one : m_survey.participants) {
            names += (names.empty() ? "" : ", ") + one.Describe();
            if (one.role == Participant::Role::Host) {
                m_verdicts.Note("hosts", one.Describe() + " is a host on the bus, bound to " +
                                             DescribePeer(one));
            } else if (one.role == Participant::Role::Partner && !one.peer.empty()) {
                m_verdicts.Note("hosts", "the partner " + one.Describe() + " is bound to " +
                                             DescribePeer(one));
            }
        }
        if (!m_survey.hasRules && m_survey.participants.size() > 1) {
            m_verdicts.Note("hosts", names + " are hosts or partners on the bus");
        }
    }

    const Participant* BoundPartner() const {
        for (const Participant& one : m_survey.participants) {
            if (one.role == Participant::Role::Partner && !one.peer.empty()) {
                return &one;
            }
        }
        return nullptr;
    }

    std::string DescribePeer(const Participant& one) const {
        const Participant* const peer = m_survey.Find(one.peer);
        return peer != nullptr ? peer->Describe() : one.peer.empty() ? "nobody" : one.peer;
    }

    bool CheckOwnedNames() {
        const std::vector<OwnedName> owned = FindOwnedNames(m_host.Connection());
        for (const OwnedName& one : owned) {
            m_verdicts.Wrong("names", one.Describe(),
                             "restart that process: an announcement owns its name for a moment");
        }
        return owned.empty();
    }

    // The release of a name announces a step. Only the first step may be announced at this point.
    bool CheckAnnouncing() {
        for (const char* const suffix : {"_SYN", "_SYN_ACK", "_ACK"}) {
            const std::string problem = m_host.OwnName(suffix);
            if (!problem.empty()) {
                m_verdicts.Wrong("announce",
                                 "the bus refuses " +
                                     HandshakeNames::EndpointName(ENDPOINT_ID, suffix) + ": " +
                                     problem,
                                 PolicyAdvice());
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
            m_verdicts.Wrong("send", "Send to itself: " + request.problem, PolicyAdvice());
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
            m_verdicts.Wrong("signal", "SendSignal to itself is not delivered", PolicyAdvice());
        }
    }

    bool CheckPartner() {
        if (m_host.WaitForStep("_SYN_ACK", m_limit)) {
            m_verdicts.Good("partner", "answer from " + m_host.Partner());
            return true;
        }
        const Participant* const bound = BoundPartner();
        if (bound != nullptr) {
            m_verdicts.Wrong(
                "partner",
                "no answer to _CLIENT_SYN from " + bound->Describe() + " within " +
                    InSeconds(m_limit) + ": it is bound to " + DescribePeer(*bound),
                "a partner serves one host: stop that host, or check it with \"applistctl "
                "check host " +
                    bound->peer + "\"");
            return false;
        }
        m_verdicts.Wrong(
            "partner", "no answer to _CLIENT_SYN within " + InSeconds(m_limit),
            "check that the partner runs, that its user may own the _SERVICE names (see the "
            "log of the bus), and that it has no other host");
        return false;
    }

    void CheckAnswer() {
        const std::size_t before = m_host.Seen().CountNotifications(APPLIST_LOCAL_CREATED_EVENT);
        const SentRequest request = m_host.SendRequest(APPLIST_GET_SELECTION_FNC, {}, m_limit);
        if (!request.problem.empty()) {
            m_verdicts.Wrong("answer", "2001 to " + m_host.Partner() + ": " + request.problem,
                             "run \"applistctl check partner\"");
            return;
        }
        m_verdicts.Good("answer", "reply to 2001 from " + m_host.Partner() + ": " +
                                      std::to_string(request.reply.size()) + " bytes");
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
    double m_limit;
    BareHost m_host;
    BusSurvey m_survey;
};

} // namespace

Usage CheckVerb::Describe() {
    return {
        PROGRAM,
        "",
        "Performs the steps of a host: reaches the bus, announces, calls, sends a signal, and\n"
        "waits for a partner. Shows other hosts on the bus, and a partner that is bound to one of\n"
        "them. Prints advice for each missing step. Run it as the user of the host. A free\n"
        "partner binds to this check until the check ends.",
        "'applistctl check partner' checks the partner itself, 'applistctl check host' a host.\n\n"
        "Exit status: 0 no step is missing, 2 wrong usage, 3 no bus, 4 a step is missing.",
        false,
        {{"limit", "SECONDS", "Time limit for each step of the partner (default: 3)"}}};
}

int CheckVerb::Run(const CommandLine& line) {
    double limit = 3;
    if (!line.arguments.empty()) {
        return WrongUsage(PROGRAM, "unknown check \"" + line.arguments.front() + "\"");
    }
    if (!ParseSeconds(line.Value("limit", "3"), limit) || limit <= 0) {
        return WrongOption(PROGRAM, line, "limit", "seconds up to 3600");
    }
    Output output(PROGRAM);
    return DeviceCheck(output, limit).Run();
}

} // namespace applistctl
