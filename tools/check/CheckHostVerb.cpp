#include <check/CheckHostVerb.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <check/BusSurvey.h>
#include <check/HostProcess.h>
#include <check/PeerCall.h>
#include <check/PolicyReport.h>
#include <check/Seconds.h>
#include <check/SeveralPartners.h>
#include <check/Verdicts.h>
#include <shared/CheckMarker.h>
#include <shared/Counted.h>
#include <shared/ExitStatus.h>
#include <shared/Output.h>
#include <shared/SystemBus.h>
#include <shared/Waiting.h>

namespace applistctl {

namespace {

constexpr const char* CHECK_HOST = "applistctl check host";
constexpr double HANDSHAKE_S = 2; ///< in which a handshake under way is over
constexpr double BETWEEN_QUEUES_S = 0.5;
constexpr double START_S = 0.5; ///< in which a host that starts or exits has done so
constexpr const char* START_IT =
    "start the host; if it runs already, see its log (journalctl -t applist)";

std::string InMs(double seconds) {
    return std::to_string(std::lround(seconds * 1e3)) + " ms";
}

// The bytes that the bus keeps for a connection that does not read them; negative when unknown.
gint64 QueueOf(GDBusConnection* connection, const std::string& name) {
    std::string problem;
    const auto reply =
        CallDaemon(connection, "org.freedesktop.DBus.Debug.Stats", "GetConnectionStats",
                   g_variant_new("(s)", name.c_str()), problem);
    guint32 bytes = 0;
    if (reply != nullptr && g_variant_is_of_type(reply.get(), G_VARIANT_TYPE("(a{sv})")) != FALSE) {
        g_autoptr(GVariant) stats = g_variant_get_child_value(reply.get(), 0);
        if (g_variant_lookup(stats, "OutgoingBytes", "u", &bytes) != FALSE) {
            return bytes;
        }
    }
    return -1;
}

// One inspection of the hosts of a bus, with a line for each finding.
class HostCheck {
public:
    HostCheck(GDBusConnection* connection, Verdicts& verdicts, PolicyReport& policy, double limit)
        : m_connection(connection), m_verdicts(verdicts), m_policy(policy), m_limit(limit) {}

    int Run(const std::string& wanted) {
        CheckNames();
        m_survey = SurveyBus(m_connection, m_limit);
        SeveralPartners::Report(m_connection, m_survey, m_verdicts,
                                [](const Participant& one) { return one.Describe(); });
        const std::vector<Participant> hosts = FindHosts(wanted);
        if (hosts.empty()) {
            return ReportNone(wanted);
        }
        for (const Participant& host : hosts) {
            CheckHost(host);
        }
        if (wanted.empty()) {
            ReportLost();
            ReportUnknown(hosts);
        }
        return m_isHalfOpen            ? EXIT_STATUS_HALF_OPEN
               : m_verdicts.AnyWrong() ? EXIT_STATUS_TROUBLE
                                       : EXIT_STATUS_DONE;
    }

private:
    std::vector<Participant> FindHosts(const std::string& wanted) const {
        std::vector<Participant> hosts;
        for (const Participant& one : m_survey.participants) {
            if (wanted.empty() ? one.MayBeHost() : one.name == wanted) {
                hosts.push_back(one);
            }
        }
        const std::vector<std::string> names = ListUniqueNames(m_connection);
        if (hosts.empty() && std::find(names.begin(), names.end(), wanted) != names.end()) {
            hosts.emplace_back();
            hosts.back().name = wanted;
            hosts.back().process = FindPeerProcess(m_connection, wanted);
        }
        return hosts;
    }

    void CheckNames() {
        for (const OwnedName& one : FindOwnedNames(m_connection)) {
            if (one.IsOfCheck()) {
                continue; // until the end of the check
            }
            m_verdicts.Wrong("names", one.Describe(),
                             "restart that process: an announcement owns its name for a moment");
        }
    }

    // @return the exit status of a check without a host
    int ReportNone(const std::string& wanted) {
        const bool wasGood = !m_verdicts.AnyWrong();
        const bool isLost = ReportLost();
        if (!wanted.empty()) {
            if (!isLost) {
                m_verdicts.Wrong("host", wanted + " is not on the bus", START_IT);
            }
        } else if (!m_survey.refused.empty()) {
            m_policy.MayNotCall("host",
                                "unknown: a host may be on the bus, whose policy refuses " +
                                    ("user " + BusPolicy::CurrentUser()) + " every call to " +
                                    Counted(m_survey.refused.size(), "process", "processes"));
        } else if (!m_survey.silent.empty()) {
            m_verdicts.Wrong("host",
                             "unknown: a host may be on the bus, and " +
                                 Counted(m_survey.silent.size(), "process does", "processes do") +
                                 " not reply within " + InSeconds(m_limit),
                             "run this check as root or as the user of the host");
        } else if (!isLost) {
            ReportAbsent();
        }
        const bool isHidden =
            wanted.empty() && !(m_survey.refused.empty() && m_survey.silent.empty());
        return wasGood && !isLost && !isHidden ? EXIT_STATUS_FAILED : EXIT_STATUS_TROUBLE;
    }

    void ReportAbsent() {
        for (const std::string& name : ListUniqueNames(m_connection)) {
            const PeerProcess process = FindPeerProcess(m_connection, name);
            if (HostProcess::IsHost(process.pid)) {
                m_verdicts.Wrong("host",
                                 "no host is on the bus; " + WithProcess(name, process) +
                                     " has the library loaded and no list: it has not created a "
                                     "list yet, or has destroyed it",
                                 "create a list in this process, and see its log (journalctl -t "
                                 "applist)");
                return;
            }
        }
        m_verdicts.Wrong("host", "no host is on the bus", START_IT);
    }

    // Each of these processes may be a partner.
    void ReportUnknown(const std::vector<Participant>& hosts) {
        if (std::all_of(hosts.begin(), hosts.end(), [](const Participant& one) {
                return one.role == Participant::Role::Unknown;
            })) {
            m_verdicts.Wrong(
                "host",
                "unknown: the bus shows no rules, and no process on the bus is known to "
                "have libapplist.so in its memory",
                "start the host; if it runs already, run this check as root or as the "
                "user of the host");
        }
    }

    // The processes that have the library loaded and no connection. The processes are listed before
    // the connections, so a host that joins the bus between the two lists is not among them.
    std::set<guint32> FindWithoutBus() const {
        const std::vector<guint32> pids = HostProcess::WithLibrary();
        const std::set<guint32> withLibrary(pids.begin(), pids.end());
        std::set<guint32> onBus;
        if (!pids.empty()) {
            for (const std::string& name : ListUniqueNames(m_connection)) {
                onBus.insert(FindPeerProcess(m_connection, name).pid);
            }
        }
        std::set<guint32> found;
        for (const guint32 pid : pids) {
            // A forked child has the library of its parent, and is no host.
            const guint32 parent = HostProcess::ParentOf(pid);
            const bool isChildOfHost = withLibrary.count(parent) != 0 && onBus.count(parent) != 0;
            if (onBus.count(pid) == 0 && !isChildOfHost) {
                found.insert(pid);
            }
        }
        return found;
    }

    // A process may have no list yet, have started before the bus, or have lost its connection and
    // continue.
    bool ReportLost() {
        const std::set<guint32> first = FindWithoutBus();
        if (first.empty()) {
            return false;
        }
        WaitFor(START_S);
        bool isFound = false;
        for (const guint32 pid : FindWithoutBus()) {
            if (first.count(pid) != 0) {
                isFound = true;
                m_verdicts.Wrong(
                    "bus",
                    "pid " + std::to_string(pid) + ", " + CommandOf(pid) +
                        ", has the library loaded and has no connection to the bus: it has not "
                        "created a list yet, started before the bus, or has lost the bus and "
                        "continues (exit-on-close is off)",
                    "restart a host with a list after the bus: the library joins the bus once "
                    "(boot order: docs/integration.md)");
            }
        }
        return isFound;
    }

    void CheckHost(const Participant& host) {
        if (host.role == Participant::Role::Host) {
            m_verdicts.Good("host", host.Describe());
        } else {
            m_verdicts.Note("host", host.Describe() + ", " + RoleOf(host));
        }
        if (CheckAlive(host) && CheckLoop(host)) {
            CheckBinding(host);
        } else {
            ShowBinding(host);
        }
        CheckQueue(host);
    }

    const char* RoleOf(const Participant& one) const {
        switch (one.role) {
        case Participant::Role::Host:
            return "a host";
        case Participant::Role::Partner:
            return "a partner";
        case Participant::Role::Check:
            return "a check";
        case Participant::Role::Unknown:
            break;
        }
        return IsHidden(one)        ? "of an unknown role: the bus shows no rules"
               : !m_survey.hasRules ? "a host or a partner: the bus shows no rules"
                                    : "neither a host nor a partner";
    }

    // Neither a match rule nor a reply shows that this process takes part.
    bool IsHidden(const Participant& host) const {
        return !m_survey.hasRules && m_survey.Find(host.name) == nullptr;
    }

    bool CheckAlive(const Participant& host) {
        const PeerReply reply = PingPeers(m_connection, {host.name}, m_limit).front();
        if (HostProcess::IsStopped(host.process.pid)) {
            m_verdicts.Wrong("alive", "the process is stopped",
                             "let it continue: kill -CONT " + std::to_string(host.process.pid));
            return false;
        }
        if (reply.IsMissing()) {
            m_verdicts.Wrong("alive", "no reply to Peer.Ping within " + InSeconds(m_limit),
                             "the process is frozen or the machine is overloaded: look at it with "
                             "top, and at its cgroup's freezer");
            return false;
        }
        if (reply.IsRefused()) {
            m_verdicts.Note("alive", "the bus's policy refuses Peer.Ping; the process is there");
        } else {
            m_verdicts.Good("alive", "Peer.Ping answered in " + InMs(reply.seconds));
        }
        return true;
    }

    bool CheckLoop(const Participant& host) {
        const PeerReply reply = SendNothing(m_connection, {host.name}, m_limit).front();
        if (reply.IsReply()) {
            m_verdicts.Good("loop", "an empty Send answered in " + InMs(reply.seconds));
            return true;
        }
        if (reply.IsRefused()) {
            ReportRefusal();
            return true;
        }
        if (!reply.IsMissing()) {
            const bool isGone = reply.error == "org.freedesktop.DBus.Error.UnknownObject" ||
                                reply.error == "org.freedesktop.DBus.Error.UnknownMethod";
            m_verdicts.Wrong("loop", "an empty Send failed: " + reply.error + ": " + reply.text,
                             isGone ? "the host has destroyed its proxy: keep it for the life of "
                                      "the process"
                                    : "this reply is not of the library: see the program of the "
                                      "host");
            return false;
        }
        const HostProcess::Loop loop =
            HostProcess::FindLoop(host.process.pid, [&] { SendWithoutWaiting(host); });
        std::vector<Silence> silent = FindSilentPartners(host);
        const bool mayBeInCall =
            loop == HostProcess::Loop::InCall || loop == HostProcess::Loop::Unreadable;
        const bool isKnown = loop == HostProcess::Loop::InCall && !host.peer.empty();
        if (isKnown && silent.empty()) {
            silent.push_back({DescribePartner(host.peer) +
                                  " replies to this check, and a thread of the host waits for a "
                                  "reply to a request, or to a call of its own code",
                              "\"applistctl monitor\" shows requests that start after the monitor, "
                              "and their missing replies"});
        }
        if (mayBeInCall && !silent.empty()) {
            m_verdicts.Note("loop", "no reply to an empty Send within " + InSeconds(m_limit) +
                                        ": a host in a request replies after its partner, or "
                                        "after the 25 s of a request");
        } else {
            ReportLoop(host, loop);
        }
        for (const Silence& one : silent) {
            m_verdicts.Wrong("partner", one.text, one.advice);
        }
        return false;
    }

    // GDBus's own thread passes the message to the main context, and then answers the ping.
    void SendWithoutWaiting(const Participant& host) {
        SendNothing(m_connection, {host.name}, 0);
        PingPeers(m_connection, {host.name}, m_limit);
    }

    // The bus answers instead of the host, for which nothing is proven.
    void ReportRefusal() {
        m_verdicts.Note("loop", "not checked: the bus's policy refuses the call");
        if (!std::exchange(m_hasReportedPolicy, true)) {
            m_policy.MayNotCall("policy", "user " + BusPolicy::CurrentUser() +
                                              " may not call Send, which checks the loop");
        }
    }

    void ReportLoop(const Participant& host, HostProcess::Loop loop) {
        const std::string text = "no reply to an empty Send within " + InSeconds(m_limit) + ": ";
        // A partner needs no loop of the proxy's context, and may omit its reply.
        const bool mayBePartner = host.role == Participant::Role::Unknown;
        switch (loop) {
        case HostProcess::Loop::InCall:
            m_verdicts.Wrong("loop",
                             text + "a thread waits for the reply to a synchronous call, for 25 s "
                                    "at most",
                             "the partner may not reply to the host: \"applistctl monitor\" shows "
                             "requests that start after the monitor, and their missing replies");
            break;
        case HostProcess::Loop::Stalled:
            m_verdicts.Wrong("loop",
                             text + "the loop is stalled: a thread owns the main context and does "
                                    "not return to it",
                             "find the callback or the request that does not return: gdb -p " +
                                 std::to_string(host.process.pid) +
                                 " -batch -ex 'thread apply all bt'");
            break;
        case HostProcess::Loop::Another:
            m_verdicts.Wrong(
                "loop",
                text +
                    "a thread runs a loop of another main context than the "
                    "proxy's" +
                    (mayBePartner ? ", or this is a partner that omits the reply" : ""),
                std::string(mayBePartner ? "in a partner, reply to each Send; in a "
                                           "host, "
                                         : "") +
                    "call g_main_context_push_thread_default() with the loop's "
                    "context before the proxy is created, and in the thread of the "
                    "loop before the loop runs");
            break;
        case HostProcess::Loop::None:
            m_verdicts.Wrong("loop", text + "no thread runs a main loop",
                             "run g_main_loop_run() in the host, for as long as the proxy exists");
            break;
        case HostProcess::Loop::Unreadable:
            m_verdicts.Wrong("loop",
                             text + "the loop is stalled, never run, of another main context, or "
                                    "in a request for 25 s at most",
                             "run this as the host's user for the exact reason, or as root if the "
                             "bus policy names root, or with --limit=30");
            break;
        }
    }

    struct Silence {
        std::string text;
        std::string advice;
    };

    // A host that waits for the reply of its partner has no fault of its own.
    std::vector<Silence> FindSilentPartners(const Participant& host) {
        std::vector<std::string> names;
        if (m_survey.hasRules) {
            if (!host.peer.empty()) {
                names.push_back(host.peer);
            }
        } else {
            names = m_survey.silent;
            for (const Participant& one : m_survey.participants) {
                if (one.MayBePartner() && one.name != host.name) {
                    names.push_back(one.name);
                }
            }
        }
        std::vector<Silence> silent = FindFrozen(names);
        if (!silent.empty()) {
            return silent;
        }
        const std::vector<PeerReply> replies = SendNothing(m_connection, names, m_limit);
        for (std::size_t i = 0; i < names.size(); ++i) {
            if (replies[i].IsMissing()) {
                silent.push_back({DescribePartner(names[i]) +
                                      " does not reply to an empty Send "
                                      "within " +
                                      InSeconds(m_limit),
                                  "find the callback of the partner that does not return"});
            }
        }
        return silent;
    }

    // The processes that are stopped, or do not even answer Ping.
    std::vector<Silence> FindFrozen(const std::vector<std::string>& names) {
        std::vector<Silence> frozen;
        const std::vector<PeerReply> replies = PingPeers(m_connection, names, m_limit);
        for (std::size_t i = 0; i < names.size(); ++i) {
            const guint32 pid = FindPeerProcess(m_connection, names[i]).pid;
            if (HostProcess::IsStopped(pid)) {
                frozen.push_back({DescribePartner(names[i]) + " is stopped",
                                  "let it continue: kill -CONT " + std::to_string(pid)});
            } else if (replies[i].IsMissing()) {
                frozen.push_back(
                    {DescribePartner(names[i]) + " does not reply to Peer.Ping within " +
                         InSeconds(m_limit),
                     "the process is frozen or overloaded: look at it with top, and at the freezer "
                     "of its cgroup"});
            }
        }
        return frozen;
    }

    std::string DescribePartner(const std::string& name) const {
        const std::string text = WithProcess(name, FindPeerProcess(m_connection, name));
        return m_survey.hasRules ? "the partner " + text : text + ", which may be the partner,";
    }

    void CheckQueue(const Participant& host) {
        const gint64 before = QueueOf(m_connection, host.name);
        if (before < 0) {
            m_verdicts.Note("queue", "the bus does not show it (Debug.Stats)");
            return;
        }
        if (before > 0) {
            WaitFor(BETWEEN_QUEUES_S);
        }
        const gint64 after = before > 0 ? QueueOf(m_connection, host.name) : 0;
        if (after > 0 && after >= before) {
            m_verdicts.Wrong("queue",
                             "the bus keeps " + Counted(static_cast<std::size_t>(after), "byte") +
                                 " for the host, and " + std::to_string(before) + " before",
                             "the process does not read from the bus: see above");
        } else {
            m_verdicts.Good("queue", "no message waits on the bus");
        }
    }

    // @return whether the bus shows a binding, as that of a host
    bool HasBinding(const Participant& host) {
        if (!m_survey.hasRules) {
            m_verdicts.Note("binding", "unknown: the bus does not show it (" + m_survey.problem +
                                           "); \"applistctl monitor\" shows the next handshake");
        } else if (host.role != Participant::Role::Host) {
            m_verdicts.Note("binding", host.name + " is " + RoleOf(host));
        }
        return m_survey.hasRules && host.role == Participant::Role::Host;
    }

    // Of a host that does not answer, and therefore cannot bind: the fault is reported already.
    void ShowBinding(const Participant& host) {
        if (!HasBinding(host)) {
            return;
        }
        const Participant* const peer = m_survey.Find(host.peer);
        const Participant* const claims = m_survey.BoundTo(host.name, Participant::Role::Partner);
        if (peer != nullptr) {
            m_verdicts.Note("binding", "bound to the partner " + peer->Describe() +
                                           ", which is bound to " +
                                           (peer->peer == host.name ? "it"
                                            : peer->peer.empty()    ? "no host"
                                                                    : DescribePeer(peer->peer)));
        } else if (claims != nullptr) {
            m_verdicts.Note("binding",
                            "unbound, and the partner " + claims->Describe() + " is bound to it");
        } else {
            m_verdicts.Note("binding", host.peer.empty() ? "unbound" : "bound to " + host.peer);
        }
    }

    void CheckBinding(const Participant& host) {
        if (!HasBinding(host)) {
            ReportStoppedPartner();
            return;
        }
        if (!DescribeFault(host.name).text.empty()) {
            WaitFor(HANDSHAKE_S); // a handshake may be under way
            m_survey = SurveyBus(m_connection, m_limit);
        }
        const Fault fault = DescribeFault(host.name);
        const Participant* const now = m_survey.Find(host.name);
        if (!fault.text.empty()) {
            m_isHalfOpen = m_isHalfOpen || fault.isHalfOpen;
            const Participant* const partner = m_survey.FirstOf(Participant::Role::Partner);
            const std::vector<Silence> frozen =
                partner != nullptr ? FindFrozen({partner->name}) : std::vector<Silence>();
            m_verdicts.Wrong("binding", fault.text,
                             frozen.empty() ? AdviceFor(host, fault) : "see \"partner\" below");
            for (const Silence& one : frozen) {
                m_verdicts.Wrong("partner", one.text, one.advice);
            }
        } else if (now == nullptr) {
            m_verdicts.Note("binding", host.name + " has left the bus meanwhile");
        } else if (now->peer.empty()) {
            m_verdicts.Note("binding", "unbound: no partner is on the bus");
        } else {
            m_verdicts.Good("binding", "bound to the partner " + DescribePeer(now->peer) +
                                           ", which is bound to it");
            for (const Silence& one : FindFrozen({now->peer})) {
                m_verdicts.Wrong("partner", one.text, one.advice);
            }
        }
    }

    // Without match rules, a stopped process may be the partner, unless another process may be it.
    void ReportStoppedPartner() {
        if (m_survey.hasRules || std::exchange(m_hasLookedForStop, true) ||
            m_survey.FirstOf(Participant::Role::Unknown) != nullptr) {
            return;
        }
        std::vector<std::string> stopped;
        for (const std::string& name : m_survey.silent) {
            if (HostProcess::IsStopped(FindPeerProcess(m_connection, name).pid)) {
                stopped.push_back(name);
            }
        }
        for (const Silence& one : FindFrozen(stopped)) {
            m_verdicts.Wrong("partner", one.text, one.advice);
        }
    }

    struct Fault {
        std::string text;
        std::string advice;
        bool isHalfOpen = false;
    };

    // Logs show each refused name, and this check sees none. A partner that is bound to the host
    // proves that the bus has granted the names.
    std::string AdviceFor(const Participant& host, const Fault& fault) {
        const std::string user = host.process.User();
        const std::string others = m_policy.OtherHostUsers(user);
        const bool isGranted = m_survey.BoundTo(host.name, Participant::Role::Partner) != nullptr;
        if (isGranted || others.empty()) {
            return fault.advice;
        }
        return "the installed policy names " + others + " for the host, and not user " + user +
               " of this host: run the host as " + others +
               ", or name its user in the policy; if this bus uses another policy, " + fault.advice;
    }

    std::string DescribePeer(const std::string& name) const {
        const Participant* const peer = m_survey.Find(name);
        return peer != nullptr ? peer->Describe() : name;
    }

    Fault DescribeFault(const std::string& name) const {
        const Participant* const host = m_survey.Find(name);
        if (host == nullptr) {
            return {};
        }
        const Participant* const claims = m_survey.BoundTo(host->name, Participant::Role::Partner);
        if (host->peer.empty() && claims != nullptr) {
            return {"half-open: the host is bound to no partner, and the partner " +
                        claims->Describe() + " is bound to the host",
                    "restart the partner " + claims->Describe(), true};
        }
        const Participant* const partner = m_survey.FirstOf(Participant::Role::Partner);
        if (host->peer.empty() && partner != nullptr) {
            const Participant* const served = m_survey.Find(partner->peer);
            const bool isChecked = served != nullptr && served->role == Participant::Role::Check;
            const std::string loss =
                partner->peer.empty() ? "" : m_survey.DescribeLoss(partner->peer);
            const bool isFree = partner->peer.empty() || !loss.empty();
            return {"unbound, and the partner " + partner->Describe() +
                        (partner->peer.empty() ? " is bound to no host"
                                               : " is bound to " + DescribePeer(partner->peer)) +
                        loss,
                    isFree      ? "restart the partner"
                    : isChecked ? "check again after the end of this other check"
                                : "run one host"};
        }
        const Participant* const peer = m_survey.Find(host->peer);
        if (peer != nullptr && peer->role == Participant::Role::Partner &&
            peer->peer != host->name) {
            return {"half-open: the host is bound to the partner " + peer->Describe() +
                        ", which is bound to " +
                        (peer->peer.empty() ? "no host" : DescribePeer(peer->peer)),
                    m_survey.Find(peer->peer) != nullptr ? "run one host"
                                                         : "restart the host " + host->Describe(),
                    true};
        }
        return {};
    }

    GDBusConnection* m_connection;
    Verdicts& m_verdicts;
    PolicyReport& m_policy;
    double m_limit;
    BusSurvey m_survey;
    bool m_isHalfOpen = false;
    bool m_hasReportedPolicy = false;
    bool m_hasLookedForStop = false;
};

} // namespace

Usage CheckHostVerb::Describe() {
    return {
        CHECK_HOST,
        "[UNIQUE-NAME]",
        "Inspects a running host from outside of its process: the process, the iteration of its\n"
        "main context, its binding, its queue on the bus, and handshake names that a process does\n"
        "not release. Prints advice for each fault. Without UNIQUE-NAME, it inspects each host on\n"
        "the bus. Run the check as the host's user, or as root if the bus policy names root.\n"
        "Root gets the most details.",
        "The check announces nothing and changes no binding. It calls Send without data, because\n"
        "only an iterated main context replies. For each such call, the host logs the error "
        "\"Data\n"
        "corrupted. Does not contain message id.\" A host without a reply receives a second call,\n"
        "and its possible partners receive one, too. If the bus does not show match rules\n"
        "(dbus-broker) and its policy refuses introspection, every process on the bus receives\n"
        "this call.\n\n"
        "Exit status: 0 no fault, 1 no host, or the folder of --policies is unreadable, 2 wrong\n"
        "usage, 3 no bus, 4 a fault, several partners, or a bus that hides the hosts,\n"
        "5 the host and its partner are a half-open pair.",
        false,
        {{"limit", "SECONDS", "Time limit for each reply of the host (default: 3)"},
         PolicyReport::OPTION}};
}

int CheckHostVerb::Run(const CommandLine& line) {
    double limit = 3;
    if (line.arguments.size() > 1) {
        return WrongUsage(CHECK_HOST, "it takes one name");
    }
    const std::string wanted = line.arguments.empty() ? "" : line.arguments.front();
    if (!wanted.empty() && g_dbus_is_unique_name(wanted.c_str()) == FALSE) {
        return WrongUsage(CHECK_HOST, "\"" + wanted + "\" is no unique name, like :1.42");
    }
    if (!ParseSeconds(line.Value("limit", "3"), limit) || limit <= 0) {
        return WrongOption(CHECK_HOST, line, "limit", POSITIVE_SECONDS);
    }
    if (const std::optional<int> status = PolicyReport::FindProblem(CHECK_HOST, line)) {
        return *status;
    }
    Output output(CHECK_HOST);
    const SystemBus bus([](const std::string&) {}, SystemBus::Kind::Own);
    if (bus.Connection() == nullptr) {
        output.Error("no bus: " + bus.Problem());
        return EXIT_STATUS_NO_BUS;
    }
    CheckMarker::Send(bus.Connection());
    Verdicts verdicts(output, "WRONG");
    verdicts.EndWithoutBus(bus.Connection());
    PolicyReport policy(output, verdicts, line);
    const int status = HostCheck(bus.Connection(), verdicts, policy, limit).Run(wanted);
    policy.ShowFile();
    return status;
}

} // namespace applistctl
