// Proxies created and destroyed at random moments: before, while and after the handshake runs,
// during resend passes, with and without another holder of the shared bus connection.
#include <algorithm>
#include <memory>
#include <stdexcept>
#include <thread>

#include <applist/AppListProxy.h>
#include <applist/RemoteAppListItem.h>
#include <unistd.h>

#include "BusDaemon.h"
#include "EventLog.h"
#include "MainLoop.h"
#include "OnLoop.h"
#include "PartnerProcess.h"
#include "Phase.h"
#include "SharedBus.h"

// A short resend period keeps cycles with resend passes short.
extern "C" int __real_usleep(useconds_t period);
extern "C" int __wrap_usleep(useconds_t period);
int __wrap_usleep(useconds_t period) {
    constexpr useconds_t SHORTER = 250;
    return __real_usleep(period / SHORTER);
}

namespace {

/** Owns a name of the endpoint, so that its announcements fail. */
class NameOwner {
public:
    explicit NameOwner(const PrivateBus& bus) : m_connection(bus.Connect()) {}
    void Own(const std::string& step) {
        m_name = "org.morva.JavaMW.Applist_CLIENT" + step;
        BusDaemon::RequestName(m_connection.get(), m_name);
    }
    void Release() {
        if (!m_name.empty()) {
            BusDaemon::ReleaseName(m_connection.get(), m_name);
            m_name.clear();
        }
    }

private:
    ConnectionOwner m_connection;
    std::string m_name;
};

class ProxyCycles {
public:
    explicit ProxyCycles(Phase& phase) : m_phase(phase), m_nameOwner(phase.bus) {}

    void One(unsigned long number) {
        constexpr unsigned long STRETCH = 100;
        if (number % STRETCH == 0) {
            ChangePartner();
        }
        HoldOrRelease();
        m_before = EventLog::Now();
        EventLog::ForgetPartner();
        const bool isOwned = m_phase.Pick(4) == 0;
        if (isOwned) {
            m_nameOwner.Own(m_phase.Pick(2) == 0 ? "_ACK" : "_SYN_ACK");
        }
        auto proxy = std::make_unique<AppListProxy>();
        if (m_phase.Pick(2) == 0) {
            m_partner->SendCommand("syn");
        }
        Live(*proxy, isOwned);
        RecordTheMoment();
        Destroy(std::move(proxy));
        m_nameOwner.Release();
    }

    void Report() {
        m_phase.AddRow("  with the shared connection held", m_held);
        m_phase.AddRow("  without", m_free);
        m_phase.AddRow("  ended when ready", m_endedReady);
        m_phase.AddRow("  ended in a handshake", m_endedInHandshake);
        m_phase.AddRow("  ended before any handshake", m_endedBare);
        m_phase.AddRow("  ended with a resend thread", m_endedResending);
        m_phase.AddRow("  ended on the loop's thread", m_endedOnLoop);
    }

private:
    // The partner notifies all the time, so the proxy is destroyed on the thread of the loop.
    // Notifications of another partner never reach a later proxy.
    void ChangePartner() {
        m_partner.reset();
        m_noisy = m_phase.Pick(2) == 0;
        std::vector<std::string> options{"--retry-ms", "2"};
        if (m_noisy) {
            options.emplace_back("--created");
        }
        m_partner = std::make_unique<PartnerProcess>(options);
        m_partner->Ask(m_noisy ? "noise 1" : "noise 0");
    }

    // Endpoints leave subscriptions on a held connection, so the connection is released regularly.
    void HoldOrRelease() {
        if (m_phase.Pick(20) == 0) {
            m_holder = m_holder == nullptr ? std::make_unique<SharedBus>() : nullptr;
        }
        ++(m_holder == nullptr ? m_free : m_held);
    }

    void Live(AppListProxy& proxy, bool isOwned) {
        constexpr std::chrono::milliseconds PATIENCE(30);
        const EventLog::Counts& before = m_before;
        switch (m_phase.Pick(6)) {
        case 0:
            break;
        case 1:
            std::this_thread::sleep_for(std::chrono::microseconds(m_phase.Pick(5000)));
            break;
        case 2: // into the middle of a handshake callback
            EventLog::WaitUntil(
                [&](const EventLog::Counts& now) { return now.steps > before.steps; }, PATIENCE);
            break;
        case 3: // into the middle of a resend pass, or to the moment after the last one
            EventLog::WaitUntil(
                [&](const EventLog::Counts& now) {
                    return isOwned ? now.resends > before.resends : now.ready > before.ready;
                },
                PATIENCE);
            break;
        case 4:
            m_nameOwner.Release();
            std::this_thread::sleep_for(std::chrono::microseconds(m_phase.Pick(5000)));
            break;
        default:
            EditInTwoThreads(proxy);
            break;
        }
    }

    static void EditInTwoThreads(AppListProxy& proxy) {
        RemoteAppListItem item;
        const auto edit = [&] {
            for (int i = 0; i < 10; ++i) {
                proxy.AddItemAtEnd(&item);
                proxy.RemoveItem(&item);
            }
        };
        std::thread other(edit);
        edit();
        other.join();
        proxy.RemoveAllItems();
    }

    void RecordTheMoment() {
        const EventLog::Counts now = EventLog::Now();
        const bool ready = EventLog::IsReady();
        if (ready) {
            ++m_endedReady;
        } else if (now.steps > m_before.steps) {
            ++m_endedInHandshake;
        } else {
            ++m_endedBare;
        }
        if (!ready && now.timers > m_before.timers) {
            ++m_endedResending;
        }
    }

    void Destroy(std::unique_ptr<AppListProxy> proxy) {
        if (m_noisy || m_phase.Pick(4) == 0) {
            ++m_endedOnLoop;
            OnLoop([&] { proxy.reset(); });
        }
    }

    Phase& m_phase;
    NameOwner m_nameOwner;
    std::unique_ptr<PartnerProcess> m_partner;
    std::unique_ptr<SharedBus> m_holder;
    bool m_noisy = false;
    EventLog::Counts m_before;
    unsigned long m_held = 0;
    unsigned long m_free = 0;
    unsigned long m_endedReady = 0;
    unsigned long m_endedInHandshake = 0;
    unsigned long m_endedBare = 0;
    unsigned long m_endedResending = 0;
    unsigned long m_endedOnLoop = 0;
};

// After all cycles, another proxy connects to the partner.
void ExpectALastOneToConnect() {
    const PartnerProcess partner;
    EventLog::ForgetPartner();
    auto proxy = std::make_unique<AppListProxy>();
    if (!EventLog::WaitUntilReady(partner.Name())) {
        throw std::runtime_error("a proxy after many others does not find the partner");
    }
    OnLoop([&] { proxy.reset(); });
}

} // namespace

void applist_test::RunProxyCycles(Phase& phase) {
    const EventLog::Counts before = EventLog::Now();
    unsigned long done = 0;
    const LoopThread loop;
    {
        ProxyCycles cycles(phase);
        for (; done < phase.count && phase.HasTime(); ++done) {
            phase.watchdog.Beat("proxy life " + std::to_string(done));
            cycles.One(done);
        }
        phase.AddRow("proxies created and destroyed", done);
        cycles.Report();
    }
    ExpectALastOneToConnect();
    const EventLog::Counts after = EventLog::Now();
    phase.AddRow("handshake callbacks", after.steps - before.steps);
    phase.AddRow("resend threads", after.timers - before.timers);
    phase.AddRow("resend passes", after.resends - before.resends);
    phase.AddRow("log lines", after.lines - before.lines);
}
