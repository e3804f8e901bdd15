// Notifications in order and without loss: from the partner to a stalling loop, and to the partner.
#include <atomic>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <ipc/javamw-dbus-remote.h>

#include "EventLog.h"
#include "MainLoop.h"
#include "OnLoop.h"
#include "PartnerProcess.h"
#include "Phase.h"
#include "Records.h"

namespace {

constexpr int PATIENCE_S = 120;

/** Checks numbered notifications, and stalls the loop at random. */
class Counter : public JavaMWDbusRemote {
public:
    explicit Counter(std::uint64_t seed)
        : JavaMWDbusRemote("Order", HandlersLater()), m_numbers(seed) {
        StartHandlers();
    }
    ~Counter() override { StopHandlers(); }

    void HandleNotification(std::vector<char>& data) override {
        const std::string bytes(data.begin(), data.end());
        const int expected = static_cast<int>(received.load());
        if (bytes != Records::Frame(Records::Frame("", expected), 77)) {
            ++outOfOrder;
        }
        if (m_numbers() % 2000 == 0) {
            ++stalls;
            std::this_thread::sleep_for(std::chrono::milliseconds(m_numbers() % 40));
        }
        ++received;
    }

    void HandleConnectionReady(bool ready, const std::string& partner) override {
        if (ready) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_partner = partner;
        }
    }

    std::string Partner() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_partner;
    }

    std::atomic<unsigned long> received{0};
    std::atomic<unsigned long> outOfOrder{0};
    std::atomic<unsigned long> stalls{0};

private:
    std::mt19937_64 m_numbers;
    std::mutex m_mutex;
    std::string m_partner;
};

void SendNumbers(Counter& endpoint, unsigned long count) {
    for (unsigned long i = 0; i < count; ++i) {
        const std::string bytes = Records::Frame("", static_cast<int>(i));
        std::vector<char> data(bytes.begin(), bytes.end());
        endpoint.SendNotification(data);
    }
}

// The number of notifications that the partner has received, and the number of them in order.
std::pair<unsigned long, unsigned long> Received(PartnerProcess& partner) {
    std::istringstream answer(partner.Ask("received"));
    std::pair<unsigned long, unsigned long> received;
    answer >> received.first >> received.second;
    return received;
}

void SendInBothDirections(Phase& phase, Counter& endpoint, PartnerProcess& partner) {
    partner.SendCommand("burst " + std::to_string(phase.count));
    SendNumbers(endpoint, phase.count);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(PATIENCE_S);
    auto received = Received(partner);
    while ((endpoint.received < phase.count || received.first < phase.count) &&
           std::chrono::steady_clock::now() < deadline) {
        phase.watchdog.Beat("notification " + std::to_string(endpoint.received));
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        received = Received(partner);
    }
    phase.AddRow("notifications from the partner", endpoint.received);
    phase.AddRow("  out of order or lost", endpoint.outOfOrder + phase.count - endpoint.received);
    phase.AddRow("  stalls of the loop", endpoint.stalls);
    phase.AddRow("notifications to the partner", received.first);
    phase.AddRow("  out of order or lost", 2 * phase.count - received.first - received.second);
    if (endpoint.received != phase.count || endpoint.outOfOrder != 0 ||
        received.first != phase.count || received.second != phase.count) {
        throw std::runtime_error("notifications were lost or came out of order");
    }
}

} // namespace

void applist_test::NotificationOrder(Phase& phase) {
    const LoopThread loop;
    PartnerProcess partner({"--id", "Order"});
    auto endpoint = std::make_unique<Counter>(phase.numbers());
    if (!MainLoop::WaitWithoutIterating([&] { return endpoint->Partner() == partner.Name(); },
                                        std::chrono::seconds(60))) {
        throw std::runtime_error("the partner is not found");
    }
    SendInBothDirections(phase, *endpoint, partner);
    OnLoop([&] { endpoint.reset(); });
}
