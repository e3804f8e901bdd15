// Partner restarts of all kinds while four threads send, with equal lists afterwards.
#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>

#include <applist/AppListModel.h>
#include <applist/AppListProxy.h>
#include <applist/ItemChangeListener.h>
#include <applist/ItemClickListener.h>
#include <applist/ItemSelectionListener.h>
#include <applist/RemoteAppListItem.h>

#include "EventLog.h"
#include "MainLoop.h"
#include "OnLoop.h"
#include "PartnerProcess.h"
#include "Phase.h"
#include "PlainItem.h"
#include "Records.h"

namespace {

constexpr int SENDERS = 4;
constexpr int ITEMS_OF_A_SENDER = 16;

/** Receives all events, and calls the list in each of them. */
class Listener : public ItemSelectionListener, public ItemChangeListener, public ItemClickListener {
public:
    void OnItemSelectionEvent(AppListModel* model) override {
        ++events;
        model->GetSelection();
    }
    void OnItemChangeEvent(AppListModel* model) override {
        model->GetItemsCount();
        m_model = model;
        ++events;
        ++changes;
    }
    void OnItemClickedEvent(AppListModel* model) override {
        ++events;
        const std::vector<AppListItem*> items = model->GetAllItems();
        if (!items.empty()) {
            model->SetClicked(items.front());
        }
    }

    AppListModel* Model() const { return m_model; }

    std::atomic<unsigned long> events{0};
    std::atomic<unsigned long> changes{0};

private:
    std::atomic<AppListModel*> m_model{nullptr};
};

/** A thread that edits the list at random until its destructor. */
class Sender {
public:
    Sender(AppListProxy& proxy, int number, std::uint64_t seed) : m_proxy(proxy), m_numbers(seed) {
        for (int i = 0; i < ITEMS_OF_A_SENDER; ++i) {
            const std::string id = std::to_string(number) + "." + std::to_string(i);
            m_items.push_back(std::make_unique<PlainItem>("Item " + id, id));
        }
        m_thread = std::thread([this] { Run(); });
    }
    ~Sender() { End(); }

    void End() {
        m_ends = true;
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }

    unsigned long Operations() const { return m_operations; }

private:
    void Run() {
        while (!m_ends) {
            Edit(static_cast<std::size_t>(m_numbers() % 100));
            ++m_operations;
            if (!EventLog::IsReady()) {
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
        }
    }

    PlainItem* Any() {
        return m_items[static_cast<std::size_t>(m_numbers() % m_items.size())].get();
    }

    void Edit(std::size_t kind) {
        if (kind < 30) {
            m_proxy.AddItems({Any(), Any(), Any()});
        } else if (kind < 40) {
            m_proxy.AddItemAtEnd(Any());
        } else if (kind < 70) {
            m_proxy.RemoveItem(Any());
        } else if (kind < 85) {
            PlainItem* const item = Any();
            m_proxy.ModifyItem(item, item);
        } else if (kind < 95) {
            m_proxy.SetSelection(Any());
        } else if (kind < 99) {
            m_proxy.GetSelection();
        } else {
            m_proxy.RemoveAllItems();
        }
    }

    AppListProxy& m_proxy;
    std::mt19937_64 m_numbers;
    std::vector<std::unique_ptr<PlainItem>> m_items;
    std::atomic<bool> m_ends{false};
    std::atomic<unsigned long> m_operations{0};
    std::thread m_thread;
};

std::string StreamOf(const std::vector<AppListItem*>& items) {
    std::string stream;
    for (AppListItem* const item : items) {
        stream += Records::Write({item->GetVisibleName(), item->GetUnigueId()});
    }
    return stream;
}

/** The restarts of the partner, at random. */
class Restarts {
public:
    explicit Restarts(Phase& phase) : m_phase(phase) { Start(); }

    void One() {
        switch (m_phase.Pick(5)) {
        case 0:
            ++graceful;
            m_partner->Leave();
            Start();
            break;
        case 1:
            ++killed;
            m_partner->Kill();
            Start();
            break;
        case 2:
            ++stoppedAndContinued;
            Pause();
            m_partner->Continue();
            break;
        case 3:
            ++stoppedAndKilled;
            Pause();
            m_partner->Kill();
            Start();
            break;
        default:
            ++replaced;
            Replace();
            break;
        }
        WaitUntilReady();
    }

    void WaitUntilReady() {
        if (!EventLog::WaitUntilReady(m_partner->Name())) {
            throw std::runtime_error("the new partner is not found: " + m_partner->Name() +
                                     ", the host's is '" + EventLog::Partner() + "'");
        }
    }

    /** Lets it send one event of each kind. */
    void Notify() {
        for (const char* event : {"02000000", "03000000", "01000000"}) {
            m_partner->SendCommand(std::string("notify ") + event);
        }
    }

    /**
     * Replaces the last partner by a silent one. The loss of the last partner follows its messages,
     * so all of them have been handled when the silent partner is bound.
     */
    PartnerProcess& LastOne() {
        m_partner->Kill();
        m_partner = std::make_unique<PartnerProcess>();
        WaitUntilReady();
        return *m_partner;
    }

    unsigned long graceful = 0;
    unsigned long killed = 0;
    unsigned long stoppedAndContinued = 0;
    unsigned long stoppedAndKilled = 0;
    unsigned long replaced = 0;

private:
    void Start() {
        m_partner = std::make_unique<PartnerProcess>(std::vector<std::string>{"--created"});
    }

    void Pause() {
        m_partner->Stop();
        std::this_thread::sleep_for(std::chrono::milliseconds(m_phase.Pick(5)));
    }

    // The new partner starts, and is refused, before the old partner exits.
    void Replace() {
        auto next = std::make_unique<PartnerProcess>(std::vector<std::string>{"--created"});
        m_partner->Kill();
        m_partner = std::move(next);
    }

    Phase& m_phase;
    std::unique_ptr<PartnerProcess> m_partner;
};

// After the last edit, a created event makes the two lists equal.
void CompareLists(PartnerProcess& partner, const Listener& listener) {
    const unsigned long changes = listener.changes;
    partner.Ask("created");
    partner.Ask("notify 01000000");
    if (!MainLoop::WaitWithoutIterating([&] { return listener.changes > changes; },
                                        std::chrono::seconds(60))) {
        throw std::runtime_error("the created event was not answered");
    }
    if (partner.List().first != StreamOf(listener.Model()->GetAllItems())) {
        throw std::runtime_error("the lists differ after the restarts");
    }
}

} // namespace

void applist_test::RestartsUnderLoad(Phase& phase) {
    const EventLog::Counts before = EventLog::Now();
    unsigned long done = 0;
    unsigned long operations = 0;
    const LoopThread loop;
    {
        Listener listener;
        auto owner = std::make_unique<AppListProxy>();
        AppListProxy& proxy = *owner;
        proxy.AddItemSelectionListener(&listener);
        proxy.AddItemChangeListener(&listener);
        proxy.AddItemClickedListener(&listener);
        Restarts restarts(phase);
        restarts.WaitUntilReady();
        {
            std::vector<std::unique_ptr<Sender>> senders;
            for (int i = 0; i < SENDERS; ++i) {
                senders.push_back(std::make_unique<Sender>(proxy, i, phase.numbers()));
            }
            for (; done < phase.count && phase.HasTime(); ++done) {
                phase.watchdog.Beat("partner restart " + std::to_string(done));
                restarts.One();
                restarts.Notify();
            }
            for (const auto& sender : senders) {
                sender->End();
                operations += sender->Operations();
            }
            CompareLists(restarts.LastOne(), listener);
            // Before the items, which go with their senders.
            OnLoop([&] { owner.reset(); });
        }
        phase.AddRow("partner restarts", done);
        phase.AddRow("  left gracefully", restarts.graceful);
        phase.AddRow("  SIGKILL", restarts.killed);
        phase.AddRow("  SIGSTOP, SIGCONT", restarts.stoppedAndContinued);
        phase.AddRow("  SIGSTOP, SIGKILL", restarts.stoppedAndKilled);
        phase.AddRow("  replaced at once", restarts.replaced);
        phase.AddRow("operations in 4 threads", operations);
        phase.AddRow("events passed to listeners", listener.events);
    }
    const EventLog::Counts after = EventLog::Now();
    phase.AddRow("times ready", after.ready - before.ready);
    phase.AddRow("times lost", after.lost - before.lost);
    phase.AddRow("log lines", after.lines - before.lines);
    phase.AddRow("  of which errors", after.errors - before.errors);
}
