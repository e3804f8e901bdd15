// The soak: many messages of each kind, and the growth of memory, threads, descriptors and match
// rules. The kept reply of each request is the only allowed growth.
#include <atomic>
#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <sstream>
#include <stdexcept>

#include <applist/AppListProxy.h>
#include <applist/RemoteAppListItem.h>
#include <ipc/javamw-dbus-remote.h>

#include "EventLog.h"
#include "HeapUse.h"
#include "MainLoop.h"
#include "OnLoop.h"
#include "Options.h"
#include "PartnerProcess.h"
#include "PrivateBus.h"
#include "QuietHost.h"
#include "Resources.h"
#include "Watchdog.h"

namespace {

constexpr const char* SUMMARY =
    "On a bus of its own, makes N requests through AppListProxy, and less of each other\n"
    "kind of traffic, and prints resident memory, heap, threads, descriptors and the bus's\n"
    "match rules before and after. The reply that a request keeps is the only growth that\n"
    "is allowed.\n"
    "\n"
    "Exit status: 0 nothing else grew, 1 something did, 2 bad arguments,\n"
    "77 the heap cannot be measured here (another allocator).";

// The memory of a kept reply besides its bytes: about 230 (GLib 2.74).
constexpr double KEPT_LEAST = 100;
constexpr double KEPT_MOST = 300;
// Memory that the allocator or GLib reserves for later.
constexpr double NOTHING = 4;
constexpr long long NOISE_BYTES = 64 * 1024;

/** Ignores the content of notifications, and stores the name of the partner. */
class Endpoint : public JavaMWDbusRemote {
public:
    Endpoint() : JavaMWDbusRemote("Soak", HandlersLater()) { StartHandlers(); }
    ~Endpoint() override { StopHandlers(); }

    std::vector<char> HandleMessage(std::vector<char>& data) override { return data; }
    void HandleNotification(std::vector<char>& /*data*/) override { ++received; }
    void HandleConnectionReady(bool isReady, const std::string& /*partner*/) override {
        ready = isReady;
    }

    std::atomic<unsigned long> received{0};
    std::atomic<bool> ready{false};
};

struct Bounds {
    double least = 0;
    double most = NOTHING;
};

class Soak {
public:
    explicit Soak(unsigned long seconds)
        : m_meter(m_bus), m_seconds(seconds), m_watchdog(std::chrono::seconds(300)) {}

    void PrintHead() const {
        std::printf("%-34s %9s %15s %23s %11s %9s %9s %9s\n", "", "times", "resident kB",
                    "heap bytes in use", "B a time", "threads", "fds", "rules");
    }

    /** Runs @p work @p times, after a warm-up, and checks the growth. */
    void Row(const char* what, unsigned long times, const std::function<void()>& work,
             Bounds bounds = {}) {
        const auto settle = [] {};
        Row(what, times, work, settle, bounds);
    }

    /** The same; @p settle returns when nothing of the work is under way any more. */
    void Row(const char* what, unsigned long times, const std::function<void()>& work,
             const std::function<void()>& settle, Bounds bounds = {}) {
        for (unsigned long i = 0; i < times / 10 + 3; ++i) {
            work();
        }
        settle();
        const Resources before = m_meter.Read();
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(m_seconds);
        unsigned long done = 0;
        for (; done < times && std::chrono::steady_clock::now() < deadline; ++done) {
            if (done % 1000 == 0) {
                m_watchdog.Beat(what);
            }
            work();
        }
        settle();
        CheckGrowth(what, done, before, SettledAfter(before), bounds);
    }

    const PrivateBus& Bus() const { return m_bus; }
    bool HasPassed() const { return m_hasPassed; }

private:
    // Threads and descriptors may end a moment later.
    Resources SettledAfter(const Resources& before) const {
        Resources after = m_meter.Read();
        MainLoop::WaitWithoutIterating(
            [&] {
                after = m_meter.Read();
                return after.threads <= before.threads && after.descriptors <= before.descriptors &&
                       after.matchRules <= before.matchRules;
            },
            std::chrono::seconds(10));
        return after;
    }

    void CheckGrowth(const char* what, unsigned long done, const Resources& before,
                     const Resources& after, Bounds bounds) {
        const long long grown = after.heapBytes - before.heapBytes;
        const double each = static_cast<double>(grown) / static_cast<double>(done);
        std::printf("%-34s %9lu %7ld %7ld %11lld %11lld %11.1f %4ld %4ld %4ld %4ld %4ld %4ld\n",
                    what, done, before.residentKb, after.residentKb, before.heapBytes,
                    after.heapBytes, each, before.threads, after.threads, before.descriptors,
                    after.descriptors, before.matchRules, after.matchRules);
        std::fflush(stdout);
        const bool grewTooMuch =
            static_cast<double>(grown - NOISE_BYTES) > bounds.most * static_cast<double>(done);
        Expect(!grewTooMuch, what, "memory grew");
        Expect(each >= bounds.least || bounds.least == 0, what,
               "less memory was kept than the replies need: is the measure wrong?");
        Expect(after.threads <= before.threads, what, "threads were left behind");
        Expect(after.descriptors <= before.descriptors, what, "descriptors were left behind");
        Expect(after.matchRules <= before.matchRules, what, "match rules were left behind");
    }

    void Expect(bool holds, const char* what, const char* problem) {
        if (!holds) {
            m_hasPassed = false;
            std::fprintf(stderr, "soak: %s: %s\n", what, problem);
        }
    }

    PrivateBus m_bus;
    ResourceMeter m_meter;
    const unsigned long m_seconds;
    Watchdog m_watchdog;
    bool m_hasPassed = true;
};

void WaitUntilReady(const PartnerProcess& partner) {
    if (!EventLog::WaitUntilReady(partner.Name())) {
        throw std::runtime_error("the partner is not found");
    }
}

void Await(const std::function<bool()>& happened, const char* what) {
    if (!MainLoop::WaitWithoutIterating(happened, std::chrono::seconds(120))) {
        throw std::runtime_error(std::string("waited in vain for ") + what);
    }
}

// Requests with a partner that answers with so many bytes, and the restarts of that partner.
void SoakRequests(Soak& soak, unsigned long count, std::size_t replySize, const char* what) {
    PartnerProcess partner({"--reply-size", std::to_string(replySize)});
    RemoteAppListItem item;
    std::istringstream("Clock\nclock.01\n") >> item;
    auto proxy = std::make_unique<AppListProxy>();
    WaitUntilReady(partner);
    const auto reply = static_cast<double>(replySize);
    soak.Row(what, count, [&] { proxy->SetSelection(&item); },
             {KEPT_LEAST + reply, KEPT_MOST + reply});
    OnLoop([&] { proxy.reset(); });
}

void SoakWithoutPartner(Soak& soak, unsigned long count) {
    RemoteAppListItem item;
    std::istringstream("Clock\nclock.01\n") >> item;
    auto proxy = std::make_unique<AppListProxy>();
    soak.Row("requests without a partner", count, [&] { proxy->SetSelection(&item); });
    proxy.reset();
}

void SoakRestarts(Soak& soak, unsigned long count) {
    RemoteAppListItem item;
    std::istringstream("Clock\nclock.01\n") >> item;
    auto partner = std::make_unique<PartnerProcess>();
    auto proxy = std::make_unique<AppListProxy>();
    WaitUntilReady(*partner);
    const auto restart = [&] {
        partner->Kill();
        Await([] { return !EventLog::IsReady(); }, "the loss");
        partner = std::make_unique<PartnerProcess>();
        WaitUntilReady(*partner);
    };
    soak.Row("partner restarts", count, restart);
    OnLoop([&] { proxy.reset(); });
}

void SoakNotifications(Soak& soak, unsigned long count) {
    PartnerProcess partner({"--id", "Soak"});
    auto endpoint = std::make_unique<Endpoint>();
    Await([&] { return endpoint->ready.load(); }, "the partner");
    std::vector<char> data{'n', '\x4d', 0, 0, 0};
    unsigned long sent = 0;
    const auto allSent = [&] {
        Await(
            [&] {
                unsigned long received = 0;
                std::istringstream(partner.Ask("received")) >> received;
                return received == sent;
            },
            "the notifications to the partner");
    };
    const auto send = [&] {
        endpoint->SendNotification(data);
        // The queue of this process would grow if it sent faster than the bus reads.
        if (++sent % 100 == 0) {
            allSent();
        }
    };
    // Fills the queue of outgoing messages, whose memory GDBus keeps for later messages.
    for (int i = 0; i < 2000; ++i) {
        send();
    }
    soak.Row("notifications to the partner", count, send, allSent);

    constexpr unsigned long BURST = 100;
    unsigned long requested = 0;
    const auto burst = [&] {
        partner.Ask("burst " + std::to_string(BURST));
        requested += BURST;
        Await([&] { return endpoint->received == requested; }, "the notifications");
    };
    soak.Row("100 notifications of the partner", count / BURST, burst);
    soak.Row("calls of the partner", count / 10, [&] { partner.Ask("call 6162634d000000"); });
    OnLoop([&] { endpoint.reset(); });
}

void SoakProxies(Soak& soak, unsigned long count) {
    PartnerProcess partner;
    const auto live = [&] {
        EventLog::ForgetPartner();
        auto proxy = std::make_unique<AppListProxy>();
        WaitUntilReady(partner);
        OnLoop([&] { proxy.reset(); });
    };
    soak.Row("proxies created and destroyed", count, live);
}

void RunAll(Soak& soak, unsigned long count, unsigned long restarts) {
    const LoopThread loop;
    soak.PrintHead();
    SoakRequests(soak, count, 0, "requests, empty replies");
    SoakRequests(soak, count / 20, 1000, "requests, replies of 1000 bytes");
    SoakWithoutPartner(soak, count / 10);
    SoakNotifications(soak, count / 10);
    SoakRestarts(soak, restarts);
    SoakProxies(soak, restarts);
}

} // namespace

int main(int argc, char** argv) {
    gint64 count = 1000000;
    gint64 restarts = -1;
    gint64 seconds = 1800;
    ParseOptions(argc, argv, SUMMARY,
                 {NumberOption("count", count, "N (1000000)"),
                  NumberOption("restarts", restarts, "Partner restarts, and proxies (N / 1000)"),
                  NumberOption("seconds", seconds, "Bound each kind of traffic (1800)")});
    const QuietHost quiet;
    if (HeapInUse() == 0) {
        std::fprintf(stderr, "soak: this allocator does not report the memory in use\n");
        return 77;
    }
    Soak soak(static_cast<unsigned long>(seconds));
    try {
        RunAll(soak, static_cast<unsigned long>(count),
               static_cast<unsigned long>(restarts < 0 ? count / 1000 : restarts));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "soak: %s\n", error.what());
        return 1;
    }
    return soak.HasPassed() && QuietHost::Criticals() == 0 ? 0 : 1;
}
