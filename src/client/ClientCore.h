// The state that the functions of a client and its two threads share.
#ifndef APPLIST_CLIENT_CLIENTCORE_H
#define APPLIST_CLIENT_CLIENTCORE_H

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <client/EventGate.h>
#include <client/HostList.h>
#include <client/ListThread.h>
#include <client/PartnerList.h>
#include <client/RequestQueue.h>

namespace applist_internal {

/** Exists until the client has been destroyed and both threads have ended. */
class ClientCore final : public std::enable_shared_from_this<ClientCore>,
                         private PartnerListObserver {
public:
    ClientCore(AppListClient::Executor executor, AppListClient::Events events);

    void Start();
    void Close();

    SharedItems Items() const;
    std::size_t ItemsCount() const;
    SharedItem Selection() const;
    bool IsConnected() const;

    /** Changes the host's list by @p apply, and puts @p change into the queue if it is accepted. */
    template <class Apply>
    void Change(ListChange change, Apply apply) {
        std::unique_lock<std::mutex> lock(m_mutex);
        std::string rejection = apply(m_list, change);
        Enqueue(std::move(change), std::move(rejection), lock);
    }

    void Click(const std::string& uniqueId, AppListClient::Completion completion);

private:
    void Enqueue(ListChange change, std::string rejection, std::unique_lock<std::mutex>& lock);
    void Complete(AppListClient::Completion completion, AppListClient::Outcome outcome,
                  std::string reason);

    bool StartThreads();
    template <class Work>
    bool StartThread(const char* name, Work work);
    void MakeRequests();
    bool Next(ListChange& change);
    void EndThread();

    void PostSelection(const SharedItem& selection);

    void OnConnection(bool ready) override;
    void OnSelection(const std::string& uniqueId) override;
    void OnChange() override;
    void OnClick() override;
    void OnMade(const std::string& selection) override;
    void OnDifferenceBegin(SharedItems& items, std::string& selection) override;
    void OnRefillNeeded() override;
    void OnSelectionUnknown() override;

    AppListClient::Events m_events;
    const std::shared_ptr<EventGate> m_gate;
    PartnerList m_partnerList;
    ListThread m_listThread;

    // Held for the time of a copy or a search, never during a request.
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_ended;
    HostList m_list;
    RequestQueue m_queue;
    bool m_isConnected = false;
    bool m_isStopping = false;
    int m_threads = 0;
    bool m_hasThreads = true;
};

} // namespace applist_internal

#endif
