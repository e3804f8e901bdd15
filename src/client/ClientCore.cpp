#include <client/ClientCore.h>

#include <algorithm>
#include <csignal>
#include <exception>
#include <thread>
#include <utility>

#include <common/Log.h>
#include <pthread.h>

namespace applist_internal {

namespace {

constexpr std::chrono::seconds FLUSH_LIMIT{1};
constexpr std::chrono::seconds END_LIMIT{1};

/**
 * Blocks the signals of the process for the threads that start meanwhile, because the signals
 * belong to the host's threads. Signals of faults are not blocked, for the crash handler of a host.
 */
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS}) {
            sigdelset(&all, fault);
        }
        pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }

    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t m_before;
};

std::optional<AppListClient::Item> ItemOf(const SharedItem& item) {
    return item == nullptr ? std::nullopt : std::optional<AppListClient::Item>(*item);
}

} // namespace

ClientCore::ClientCore(AppListClient::Executor executor, AppListClient::Events events)
    : m_events(std::move(events)),
      m_gate(std::make_shared<EventGate>(std::move(executor))),
      m_partnerList(*this),
      m_listThread(m_partnerList, *this) {}

// The threads

void ClientCore::Start() {
    const SignalsBlocked signals;
    const bool started = StartThreads();
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_hasThreads = started;
}

bool ClientCore::StartThreads() {
    if (!StartThread("applist-list", [this] { m_listThread.Run(); })) {
        return false;
    }
    if (!StartThread("applist-request", [this] { MakeRequests(); })) {
        m_listThread.Stop();
        return false;
    }
    return true;
}

template <class Work>
bool ClientCore::StartThread(const char* name, Work work) {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_threads;
    }
    try {
        std::thread thread([core = shared_from_this(), work = std::move(work)] {
            work();
            core->EndThread();
        });
        pthread_setname_np(thread.native_handle(), name);
        thread.detach();
        return true;
    } catch (const std::exception& exception) {
        APPLIST_LOG_ERROR("Client cannot start its thread %s: %s", name, exception.what());
        EndThread();
        return false;
    }
}

void ClientCore::EndThread() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    --m_threads;
    m_ended.notify_all();
}

// The thread of the requests: one change after the other, until the client is closed.
void ClientCore::MakeRequests() {
    ListChange change;
    while (Next(change)) {
        RequestResult result = m_partnerList.Make(change);
        if (result.outcome != AppListClient::ANSWERED) {
            m_listThread.CheckBus();
        }
        Complete(std::move(change.completion), result.outcome, std::move(result.reason));
    }
    m_listThread.Stop();
}

bool ClientCore::Next(ListChange& change) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_wake.wait(lock, [this] { return m_isStopping || !m_queue.IsEmpty(); });
    if (m_queue.IsEmpty() || (m_isStopping && !m_isConnected)) {
        return false;
    }
    change = m_queue.Pop();
    return true;
}

void ClientCore::Close() {
    using Clock = std::chrono::steady_clock;
    // The host's objects in events and completions are destroyed here, without a lock.
    AppListClient::Events events;
    RequestQueue dropped;
    const Clock::time_point end = Clock::now() + FLUSH_LIMIT + END_LIMIT;
    m_gate->Close(END_LIMIT);
    std::unique_lock<std::mutex> lock(m_mutex);
    m_isStopping = true;
    m_wake.notify_all();
    m_listThread.Cancel();
    const auto haveEnded = [this] { return m_threads == 0; };
    const Clock::time_point flushed = std::min(Clock::now() + FLUSH_LIMIT, end);
    if (!m_ended.wait_until(lock, flushed, haveEnded)) {
        dropped = std::exchange(m_queue, {});
        m_partnerList.Abandon();
        m_listThread.Stop();
        if (!m_ended.wait_until(lock, end, haveEnded)) {
            APPLIST_LOG_INFO("Client ends later, a request or the bus still waits");
            return;
        }
    }
    std::swap(dropped, m_queue);
    events = std::exchange(m_events, {});
}

// Functions of the host

SharedItems ClientCore::Items() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_list.Items();
}

std::size_t ClientCore::ItemsCount() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_list.Items().size();
}

SharedItem ClientCore::Selection() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_list.Selection();
}

bool ClientCore::IsConnected() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_isConnected;
}

void ClientCore::Click(const std::string& uniqueId, AppListClient::Completion completion) {
    ListChange change{ListChange::Kind::CLICK, uniqueId, {}, std::move(completion)};
    std::unique_lock<std::mutex> lock(m_mutex);
    const SharedItem item = m_list.Find(uniqueId);
    std::string rejection;
    if (item == nullptr) {
        rejection = "the list has no item with the unique id '" + uniqueId + "'";
    } else if (!m_queue.AcceptsClick()) {
        rejection = "too many clicks wait for the partner";
    }
    change.items.push_back(item);
    Enqueue(std::move(change), std::move(rejection), lock);
}

void ClientCore::Enqueue(ListChange change, std::string rejection,
                         std::unique_lock<std::mutex>& lock) {
    if (!rejection.empty()) {
        lock.unlock();
        Complete(std::move(change.completion), AppListClient::REJECTED, std::move(rejection));
        return;
    }
    if (!m_hasThreads) {
        lock.unlock();
        Complete(std::move(change.completion), AppListClient::NO_PARTNER,
                 "the client has no threads");
        return;
    }
    std::vector<AppListClient::Completion> merged = m_queue.Push(std::move(change));
    m_wake.notify_one();
    lock.unlock();
    for (AppListClient::Completion& completion : merged) {
        Complete(std::move(completion), AppListClient::MERGED, "");
    }
}

// Completions and events

void ClientCore::Complete(AppListClient::Completion completion, AppListClient::Outcome outcome,
                          std::string reason) {
    if (completion) {
        m_gate->Post([completion = std::move(completion), outcome, reason = std::move(reason)] {
            completion(outcome, reason);
        });
    }
}

void ClientCore::OnConnection(bool ready) {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_isConnected == ready) {
            return;
        }
        m_isConnected = ready;
    }
    const auto& event = ready ? m_events.connected : m_events.lost;
    if (event) {
        m_gate->Post(event);
    }
}

// A waiting selection of the host is newer than that of the partner and replaces it.
void ClientCore::OnSelection(const std::string& uniqueId) {
    SharedItem selection;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_queue.HoldsSelection()) {
            return;
        }
        m_list.SelectLikePartner(uniqueId);
        selection = m_list.Selection();
    }
    PostSelection(selection);
}

// After the last waiting change both selections are the same. They differ if the partner has
// selected an item that a waiting change replaced.
void ClientCore::OnMade(const std::string& selection) {
    SharedItem selected;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_queue.Done();
        selected = m_list.Selection();
        if (!m_queue.IsEmpty() || selection == (selected == nullptr ? "" : selected->uniqueId)) {
            return;
        }
        m_list.SelectLikePartner(selection);
        selected = m_list.Selection();
    }
    PostSelection(selected);
}

void ClientCore::PostSelection(const SharedItem& selection) {
    if (m_events.selectionChanged) {
        m_gate->Post([event = m_events.selectionChanged, selection] { event(ItemOf(selection)); });
    }
}

void ClientCore::OnDifferenceBegin(SharedItems& items, std::string& selection) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_queue.BeginDifference();
    items = m_list.Items();
    selection = m_list.Selection() == nullptr ? "" : m_list.Selection()->uniqueId;
}

void ClientCore::OnSelectionUnknown() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_list.Selection() != nullptr && !m_queue.HoldsSelection()) {
        m_queue.Push({ListChange::Kind::SELECT, m_list.Selection()->uniqueId, {}, {}});
        m_wake.notify_one();
    }
}

void ClientCore::OnRefillNeeded() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_queue.PushRefill();
    m_wake.notify_one();
}

void ClientCore::OnChange() {
    if (m_events.changed) {
        m_gate->Post(m_events.changed);
    }
}

void ClientCore::OnClick() {
    if (m_events.clicked) {
        m_gate->Post([event = m_events.clicked, item = Selection()] { event(ItemOf(item)); });
    }
}

} // namespace applist_internal
