#include <monitor/LiveWatch.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <glib-unix.h>
#include <unistd.h>

#include <check/BusSurvey.h>
#include <check/HostProcess.h>
#include <monitor/BusCapture.h>
#include <monitor/DaemonWatch.h>
#include <shared/ExitStatus.h>
#include <shared/PeerProcess.h>
#include <shared/SystemBus.h>

namespace applistctl {

namespace {

constexpr guint TICK_MS = 250;

gboolean CallFunction(void* function) {
    (*static_cast<std::function<void()>*>(function))();
    return G_SOURCE_CONTINUE;
}

/** Owns a source of the main context, which calls a function again and again. */
class Repeat {
public:
    Repeat(guint id) : m_id(id) {}
    ~Repeat() { g_source_remove(m_id); }

    Repeat(const Repeat&) = delete;
    Repeat& operator=(const Repeat&) = delete;

private:
    guint m_id;
};

// The monitor's own questions are no traffic of the bus.
bool IsOf(const std::string& name, const SeenMessage& seen) {
    return g_strcmp0(g_dbus_message_get_destination(seen.message.get()), name.c_str()) == 0;
}

const char* DescribeState(guint32 pid) {
    switch (HostProcess::FindState(pid)) {
    case HostProcess::State::Stopped:
        return "stopped";
    case HostProcess::State::Running:
        return "running";
    case HostProcess::State::Unknown:
        break;
    }
    return "";
}

// Only dbus-daemon shows its match rules. A process that connects later appears with its messages.
void FindPresent(GDBusConnection* connection, const std::vector<std::string>& before,
                 Microseconds now, HandshakeTracker& handshake) {
    // A check marks its connection once, perhaps before the start of the monitor.
    for (const std::string& name : ListUniqueNames(connection)) {
        if (FindPeerProcess(connection, name).IsCheck()) {
            handshake.FoundCheck(now, name);
        }
    }
    const BusSurvey survey = SurveyRules(connection);
    for (const Participant& one : survey.participants) {
        if (std::find(before.begin(), before.end(), one.name) == before.end()) {
            continue;
        }
        if (one.role == Participant::Role::Host) {
            handshake.FoundHost(now, one.name, one.peer);
        } else if (one.role == Participant::Role::Partner) {
            handshake.FoundPartner(now, one.name, one.peer);
        }
    }
    for (const auto& [name, owner] : OwnersOfSteps(connection)) {
        handshake.OwnerChanged(now, name, "", owner);
    }
    handshake.ReportFound(now);
}

} // namespace

int WatchBus(guint64 seconds, guint64 count, Analysis& analysis, Reporter& reporter,
             Output& output) {
    g_autoptr(GMainLoop) loop = g_main_loop_new(nullptr, FALSE);
    int status = EXIT_STATUS_DONE;
    SystemBus bus(
        [&](const std::string& reason) {
            output.Error("the bus is gone: " + reason);
            analysis.LoseBus();
            status = EXIT_STATUS_NO_BUS;
            g_main_loop_quit(loop);
        },
        SystemBus::Kind::Own);
    if (bus.Connection() == nullptr) {
        output.Error("no bus: " + bus.Problem());
        return EXIT_STATUS_NO_BUS;
    }
    bool ended = false;
    std::function<void()> end = [&] {
        ended = true;
        g_main_loop_quit(loop);
    };
    // A monitor connection cannot send. A second connection queries the processes.
    SystemBus second([](const std::string&) {}, SystemBus::Kind::Own);
    const std::string secondName = second.Connection() != nullptr
                                       ? g_dbus_connection_get_unique_name(second.Connection())
                                       : "";
    if (second.Connection() == nullptr) {
        output.Error("no second connection to the bus: " + second.Problem() +
                     "; processes, and sides from before the start, are not shown");
    }
    BusCapture capture(bus.Connection(), [&](const SeenMessage& seen) {
        if (!ended && !IsOf(secondName, seen)) {
            analysis.Take(seen);
        }
        if (count != 0 && analysis.ReportedCount() >= count) {
            end();
        }
    });
    const std::vector<std::string> before = second.Connection() != nullptr
                                                ? ListUniqueNames(second.Connection())
                                                : std::vector<std::string>();
    std::string problem;
    if (!capture.Start(problem)) {
        output.Error(SystemBus::Describe() + " does not let us watch: " + problem);
        output.Error(
            std::string(getuid() == 0 ? "the bus's policy must allow it" : "run it as root") +
            ", or let root capture (busctl capture --size=1000000 > FILE)"
            " and read that: applistctl monitor --read FILE");
        return EXIT_STATUS_FAILED;
    }
    if (second.Connection() != nullptr) {
        analysis.SetFindProcess([&second](const std::string& uniqueName) {
            return FindPeerProcess(second.Connection(), uniqueName);
        });
        analysis.SetFindState(DescribeState);
    }
    // Before the first line of output: a user may interrupt as soon as the monitor prints.
    const Repeat interrupt(g_unix_signal_add(SIGINT, CallFunction, &end));
    const Repeat termination(g_unix_signal_add(SIGTERM, CallFunction, &end));
    reporter.Begin("watching " + SystemBus::Describe());
    analysis.Begin(capture.Now());
    if (second.Connection() != nullptr) {
        FindPresent(second.Connection(), before, capture.Now(), analysis.Handshake());
    }
    std::function<void()> tick = [&] { analysis.Tick(capture.Now()); };
    const Repeat ticks(g_timeout_add(TICK_MS, CallFunction, &tick));
    std::optional<DaemonWatch> daemon;
    if (second.Connection() != nullptr) {
        daemon.emplace(second.Connection(), [&](const std::string& text) { output.Error(text); });
    }
    std::optional<Repeat> limit;
    if (seconds != 0) { // a source of whole seconds would end up to a second too early
        limit.emplace(g_timeout_add(static_cast<guint>(seconds * 1000), CallFunction, &end));
    }
    if (!ended) {
        g_main_loop_run(loop);
    }
    analysis.End(capture.Now());
    analysis.SetFindProcess(nullptr);
    const bool isSilent = daemon && daemon->IsSilent();
    return isSilent ? EXIT_STATUS_NO_BUS : status;
}

} // namespace applistctl
