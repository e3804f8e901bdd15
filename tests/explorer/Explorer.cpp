#include "Explorer.h"

#include <algorithm>
#include <map>
#include <optional>
#include <vector>

#include "CapturedLog.h"
#include "DoubleHost.h"
#include "LibraryCalls.h"
#include "RecordingEndpoint.h"

#include "HandshakeModel.h"

namespace {

using Trace = std::vector<std::string>;

// After this number of runs, bus, connection and endpoint are created again.
constexpr long RUNS_PER_ENDPOINT = 1000;

std::string Joined(const Trace& trace) {
    std::string text;
    for (const std::string& entry : trace) {
        text += (text.empty() ? "" : "; ") + entry;
    }
    return text.empty() ? "nothing" : text;
}

// The successive processes of a partner, each with its own unique name.
class PartnerNames {
public:
    explicit PartnerNames(int partner) : m_letter(static_cast<char>('A' + partner)) {}

    std::string Current() const { return Name(m_current); }
    bool HasVanished() const { return m_vanished == m_current; }
    void Restart() { ++m_current; }
    /** @return the next name that leaves the bus; the last name again after all names have left */
    std::string Vanish() {
        m_vanished = std::min(m_vanished + 1, m_current);
        return Name(m_vanished);
    }

private:
    std::string Name(int process) const {
        return std::string(":2.") + m_letter + std::to_string(process);
    }

    char m_letter;
    int m_current = 1;
    int m_vanished = 0;
};

} // namespace

/** The endpoint, which many schedules share, and the model of the current schedule. */
class applist_test::ScheduleRun {
public:
    ScheduleRun(Explorer::Delivery delivery, Figures& figures)
        : m_delivery(delivery), m_figures(figures) {
        m_host.StartTrace();
        RecordingEndpoint::Actions actions;
        actions.onReady = [this](bool ready, const std::string& partner) {
            m_host.AddToTrace(RecordingEndpoint::Readiness{ready, partner}.Report());
        };
        m_endpoint.emplace(actions);
        m_ownName = g_dbus_connection_get_unique_name(m_host.Connection());
        m_model.SetOwnName(m_ownName);
        m_held.emplace();
        m_host.TakeTrace();
    }

    ~ScheduleRun() {
        m_held.reset();
        m_endpoint.reset();
        MainLoop::IterateUntilIdle();
    }

    std::string Run(const Schedule& schedule) {
        m_partners = {PartnerNames(0), PartnerNames(1)};
        std::string done;
        for (const Event& event : schedule) {
            done += (done.empty() ? "" : ",") + EventText(event);
            if (!CanHappen(event)) {
                ++m_figures.skipped;
                return CleanUp(done);
            }
            Apply(event);
            const std::string difference = Compare(done);
            if (!difference.empty()) {
                return difference;
            }
        }
        ++m_figures.schedules;
        return CleanUp(done);
    }

private:
    bool CanHappen(const Event& event) const {
        const bool announces = event.kind == Event::REQUEST || event.kind == Event::RELEASE;
        return m_delivery == Explorer::Delivery::CALLBACKS || !announces ||
               !Partner(event).HasVanished();
    }

    void Apply(const Event& event) {
        ++m_figures.events;
        switch (event.kind) {
        case Event::REQUEST:
            ChangeOwner(event.suffix, "", Partner(event).Current());
            break;
        case Event::RELEASE:
            ChangeOwner(event.suffix, Partner(event).Current(), "");
            break;
        case Event::VANISH:
            Vanish(Partner(event).Vanish());
            break;
        case Event::RESTART:
            Partner(event).Restart();
            break;
        case Event::OWN_RELEASES:
            for (const char* suffix : {"_SYN", "_SYN_ACK", "_ACK"}) {
                ChangeOwner(suffix, m_ownName, "");
            }
            break;
        case Event::REQUESTS_FAIL:
            SetFault(BusFault::REQUEST);
            break;
        case Event::RELEASES_FAIL:
            SetFault(BusFault::RELEASE);
            break;
        case Event::BUS_WORKS:
            SetFault(BusFault::NONE);
            break;
        case Event::RESEND:
            Resend();
            break;
        }
    }

    void ChangeOwner(const std::string& suffix, const std::string& oldOwner,
                     const std::string& newOwner) {
        const std::string name = DoubleHost::PartnerName(suffix);
        m_model.OnOwnerChange(name, oldOwner, newOwner);
        if (m_delivery == Explorer::Delivery::BUS) {
            m_host.Bus().EmitNameOwnerChanged(name, oldOwner, newOwner);
            DeliverAll();
            return;
        }
        static const std::map<std::string, GDBusSignalCallback> callbacks = {
            {"_SYN", JavaMWDbusRemote::cb_SynNameOwnerChanged},
            {"_SYN_ACK", JavaMWDbusRemote::cb_SynAckNameOwnerChanged},
            {"_ACK", JavaMWDbusRemote::cb_AckNameOwnerChanged}};
        g_autoptr(GVariant) parameters = g_variant_ref_sink(
            g_variant_new("(sss)", name.c_str(), oldOwner.c_str(), newOwner.c_str()));
        callbacks.at(suffix)(m_host.Connection(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                             "org.freedesktop.DBus", "NameOwnerChanged", parameters, Endpoint());
    }

    void Vanish(const std::string& name) {
        if (m_delivery == Explorer::Delivery::BUS) {
            m_host.Bus().Vanish(name);
            DeliverAll();
        } else {
            JavaMWDbusRemote::cb_PartnerNameVanished(m_host.Connection(), name.c_str(), Endpoint());
        }
        m_model.OnVanished(name);
    }

    void Resend() {
        if (LibraryCalls::ResendThreadRuns()) {
            LibraryCalls::StepResendThread();
        } else {
            JavaMWDbusRemote::OnResendHandshake(Endpoint());
        }
        m_model.OnResend();
    }

    void SetFault(BusFault fault) {
        m_host.Bus().ForgetScripts();
        if (fault == BusFault::REQUEST) {
            m_host.Bus().Script("RequestName", BusDouble::Reply::Code(3));
        } else if (fault == BusFault::RELEASE) {
            m_host.Bus().Script("ReleaseName",
                                BusDouble::Reply::Error("org.freedesktop.DBus.Error.NoReply", ""));
        }
        m_model.SetFault(fault);
    }

    // The second round delivers the effects of the first one, such as the reply to a name watch.
    void DeliverAll() {
        if (!m_host.Deliver() || !m_host.Deliver()) {
            g_error("The bus double's signals are not delivered");
        }
        MainLoop::IterateUntilIdle();
    }

    std::string CleanUp(const std::string& done) {
        SetFault(BusFault::NONE);
        if (m_model.IsBound()) {
            Vanish(std::string(m_model.Partner()));
        }
        Resend();
        ChangeOwner("_SYN", ":2.Z", "");
        ChangeOwner("_ACK", ":2.Z", "");
        std::string difference = Compare(done + ", then a new partner");
        if (difference.empty() && !m_endpoint->IsConnectionReady()) {
            difference = "after " + done + " a new partner does not connect";
        }
        Vanish(":2.Z");
        if (difference.empty()) {
            difference = Compare(done + ", then a new partner, then its loss");
        }
        m_host.Bus().ForgetVanished();
        m_host.Bus().ForgetCalls();
        MainLoop::IterateUntilIdle();
        CapturedLog::Clear();
        return difference;
    }

    std::string Compare(const std::string& done) {
        const int threads = LibraryCalls::Threads().started;
        for (; m_threadsSeen < threads; ++m_threadsSeen) {
            m_host.AddToTrace("thread");
        }
        m_figures.states.insert(m_model.Text());
        const Trace seen = m_host.TakeTrace();
        const Trace expected = m_model.TakeTrace();
        Count(seen);
        if (seen == expected && m_endpoint->IsConnectionReady() == m_model.IsReady()) {
            return {};
        }
        return "after " + done + "\n  expected: " + Joined(expected) +
               (m_model.IsReady() ? " (ready)" : " (not ready)") + "\n  seen:     " + Joined(seen) +
               (m_endpoint->IsConnectionReady() ? " (ready)" : " (not ready)");
    }

    void Count(const Trace& trace) {
        for (const std::string& entry : trace) {
            const std::string word = entry.substr(0, entry.find(' '));
            m_figures.announcements += word == "RequestName" ? 1 : 0;
            m_figures.ready += word == "ready" ? 1 : 0;
            m_figures.lost += word == "lost" ? 1 : 0;
            m_figures.threads += word == "thread" ? 1 : 0;
        }
    }

    void* Endpoint() { return static_cast<JavaMWDbusRemote*>(&*m_endpoint); }
    PartnerNames& Partner(const Event& event) {
        return m_partners[static_cast<std::size_t>(event.partner)];
    }
    const PartnerNames& Partner(const Event& event) const {
        return m_partners[static_cast<std::size_t>(event.partner)];
    }

    Explorer::Delivery m_delivery;
    Figures& m_figures;
    DoubleHost m_host;
    std::optional<RecordingEndpoint> m_endpoint;
    std::optional<HeldResendThread> m_held;
    std::string m_ownName;
    HandshakeModel m_model;
    std::vector<PartnerNames> m_partners;
    int m_threadsSeen = LibraryCalls::Threads().started;
};

Explorer::Explorer(Delivery delivery) : m_delivery(delivery) {}

Explorer::~Explorer() = default;

std::string Explorer::Run(const Schedule& schedule) {
    if (m_run == nullptr || m_runsSinceStart == RUNS_PER_ENDPOINT) {
        m_run.reset();
        m_run = std::make_unique<ScheduleRun>(m_delivery, m_figures);
        m_runsSinceStart = 0;
    }
    ++m_runsSinceStart;
    std::string difference = m_run->Run(schedule);
    if (!difference.empty()) {
        // The state of the endpoint is unknown now.
        m_run.reset();
    }
    return difference;
}
