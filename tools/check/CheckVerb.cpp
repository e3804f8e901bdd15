#include <check/CheckVerb.h>

#include <string>

#include <pwd.h>
#include <unistd.h>

#include <applist/MessageIds.h>
#include <check/BareHost.h>
#include <ipc/HandshakeNames.h>
#include <shared/Endpoint.h>
#include <shared/ExitStatus.h>
#include <shared/Output.h>
#include <shared/Waiting.h>

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

// One device check, from the bus to the partner's answer; each step shows a line.
class DeviceCheck {
public:
    DeviceCheck(Output& output, double limit) : m_output(output), m_limit(limit) {}

    int Run() {
        if (m_host.Connection() == nullptr) {
            Missing("bus", m_host.Problem(),
                    "is the bus daemon running, and DBUS_SYSTEM_BUS_ADDRESS unset or right?");
            return EXIT_STATUS_NO_BUS;
        }
        Good("bus",
             "on " + SystemBus::Describe() + " as " + m_host.UniqueName() + ", user " + UserName());
        const bool mayAnnounce = CheckAnnouncing();
        const bool maySend = CheckSending();
        CheckSignals();
        if (!mayAnnounce) {
            Missing("partner", "cannot be looked for", "first let this user announce");
        } else if (CheckPartner() && maySend) {
            CheckAnswer();
        }
        // The taking was enough to see the policy; a release before would have been a step.
        m_host.ReleaseName("_SYN_ACK");
        return m_isGood ? EXIT_STATUS_DONE : EXIT_STATUS_TROUBLE;
    }

private:
    // Only the first is a step that a partner may hear now; it hears a step when it is released.
    bool CheckAnnouncing() {
        for (const char* const suffix : {"_SYN", "_SYN_ACK", "_ACK"}) {
            const std::string problem = m_host.OwnName(suffix);
            if (!problem.empty()) {
                Missing("announce",
                        "the bus refuses " + HandshakeNames::EndpointName(ENDPOINT_ID, suffix) +
                            ": " + problem,
                        PolicyAdvice());
                return false;
            }
        }
        Good("announce", "this user may own the three _CLIENT names");
        m_host.ReleaseName("_SYN");
        return true;
    }

    // To ourselves: the bus asks its policy all the same.
    bool CheckSending() {
        const SentRequest request =
            m_host.SendRequestTo(m_host.UniqueName(), APPLIST_GET_SELECTION_FNC, {}, BUS_S);
        if (!request.problem.empty()) {
            Missing("send", "Send to ourselves: " + request.problem, PolicyAdvice());
            return false;
        }
        Good("send", "this user may call Send");
        return true;
    }

    // A refused signal is refused without a word to its sender.
    void CheckSignals() {
        const std::size_t before = m_host.Seen().Notifications().size();
        m_host.NotifySelf();
        if (WaitUntil([&] { return m_host.Seen().Notifications().size() > before; }, BUS_S / 5)) {
            Good("signal", "SendSignal arrives");
        } else {
            Missing("signal", "SendSignal to ourselves does not arrive", PolicyAdvice());
        }
    }

    bool CheckPartner() {
        if (m_host.WaitForStep("_SYN_ACK", m_limit)) {
            Good("partner", m_host.Partner() + " has answered our announcement");
            return true;
        }
        Missing("partner", "nobody has answered _CLIENT_SYN within " + InSeconds(m_limit),
                "is it running, may its user own the _SERVICE names (the bus's log tells), and has "
                "it no other host?");
        return false;
    }

    void CheckAnswer() {
        const std::size_t before = m_host.Seen().CountNotifications(APPLIST_LOCAL_CREATED_EVENT);
        const SentRequest request = m_host.SendRequest(APPLIST_GET_SELECTION_FNC, {}, m_limit);
        if (!request.problem.empty()) {
            Missing("answer", "2001 to " + m_host.Partner() + ": " + request.problem,
                    "see what \"applistctl check partner\" says");
            return;
        }
        Good("answer", m_host.Partner() + " has answered 2001 with " +
                           std::to_string(request.reply.size()) + " bytes");
        m_host.ReleaseName("_ACK");
        if (m_host.WaitForNotification(APPLIST_LOCAL_CREATED_EVENT, before + 1, m_limit)) {
            Good("list", m_host.Partner() + " has asked for the list (notification 4)");
        } else {
            Missing("list", "no notification 4 within " + InSeconds(m_limit),
                    "may the partner's user send SendSignal? See also \"applistctl check "
                    "partner\"");
        }
    }

    void Good(const std::string& what, const std::string& text) {
        m_output.Line("ok       " + Padded(what) + text, Output::Tone::Sent);
    }

    void Missing(const std::string& what, const std::string& text, const std::string& advice) {
        m_isGood = false;
        m_output.Line("MISSING  " + Padded(what) + text, Output::Tone::Problem);
        m_output.Line("         " + Padded("") + "-> " + advice);
    }

    static std::string Padded(const std::string& what) {
        return what + std::string(10 - what.size(), ' ');
    }

    Output& m_output;
    double m_limit;
    BareHost m_host;
    bool m_isGood = true;
};

} // namespace

Usage CheckVerb::Describe() {
    return {
        PROGRAM,
        "",
        "Looks, as a host would, whether this user may reach the bus, announce, call and\n"
        "signal, and whether a partner announces itself and answers; says what to do about\n"
        "what is missing. Run it as the user of your host. While it runs, a free partner takes\n"
        "it for its host.",
        "'applistctl check partner' looks at the partner itself.\n\n"
        "Exit status: 0 all is there, 2 wrong usage, 3 no bus, 4 something is missing.",
        false,
        {{"limit", "SECONDS", "Give the partner so long for each step (default: 3)"}}};
}

int CheckVerb::Run(const CommandLine& line) {
    double limit = 3;
    if (!line.arguments.empty()) {
        return WrongUsage(PROGRAM, "no check of \"" + line.arguments.front() + "\"");
    }
    if (!ParseSeconds(line.Value("limit", "3"), limit) || limit <= 0) {
        return WrongUsage(PROGRAM, "SECONDS is a number up to 3600");
    }
    Output output(PROGRAM);
    return DeviceCheck(output, limit).Run();
}
