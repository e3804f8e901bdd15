#include <client/ListThread.h>

#include <mutex>

namespace applist_internal {

namespace {

constexpr unsigned RETRY_PERIOD_MS = 500;

// A process has one list on the bus. The threads of a client can outlive its destructor, so that
// the next client waits for them.
std::mutex g_oneList;

// Ends the iteration under way, so that its loop checks its condition.
gboolean cb_EndIteration(void* /*user_data*/) {
    return G_SOURCE_CONTINUE;
}

} // namespace

ListThread::ListThread(PartnerList& list, PartnerListObserver& observer)
    : m_list(list), m_observer(observer), m_context(g_main_context_new()), m_bus(m_context) {}

ListThread::~ListThread() {
    g_main_context_unref(m_context);
}

void ListThread::Run() {
    g_main_context_push_thread_default(m_context);
    while (!m_isStopped) {
        ConnectOnce();
        if (!m_isStopped) {
            WaitBeforeRetry();
        }
    }
    g_main_context_pop_thread_default(m_context);
}

void ListThread::ConnectOnce() {
    const std::unique_lock<std::mutex> one(g_oneList, std::try_to_lock);
    if (!one.owns_lock() || !m_bus.Connect()) {
        return;
    }
    m_list.Connect();
    IterateWhileConnected();
    m_list.Disconnect();
    m_bus.Disconnect();
    if (!m_isStopped) {
        m_observer.OnConnection(false);
    }
}

// The signal of a closed connection, and every wake-up, end an iteration.
void ListThread::IterateWhileConnected() {
    while (!m_isStopped && !m_bus.IsClosed()) {
        g_main_context_iteration(m_context, TRUE);
    }
}

void ListThread::WaitBeforeRetry() {
    GSource* const source = g_timeout_source_new(RETRY_PERIOD_MS);
    g_source_set_callback(source, cb_EndIteration, nullptr, nullptr);
    g_source_attach(source, m_context);
    const gint64 end = g_get_monotonic_time() + RETRY_PERIOD_MS * G_TIME_SPAN_MILLISECOND;
    while (!m_isStopped && g_get_monotonic_time() < end) {
        g_main_context_iteration(m_context, TRUE);
    }
    g_source_destroy(source);
    g_source_unref(source);
}

void ListThread::Stop() {
    m_isStopped = true;
    Cancel();
    g_main_context_wakeup(m_context);
}

void ListThread::CheckBus() {
    g_main_context_wakeup(m_context);
}

} // namespace applist_internal
