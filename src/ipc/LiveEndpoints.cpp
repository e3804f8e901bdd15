#include <ipc/LiveEndpoints.h>

#include <unordered_map>

#include <common/PTAutoLock.h>

namespace {

struct Registry {
    PTMutex mutex;
    std::unordered_map<const void*, std::shared_ptr<EndpointLife>>
        endpoints APPLIST_GUARDED_BY(mutex);
};

// Never destroyed: callbacks may come in while the process exits.
Registry& TheRegistry() {
    static auto* const registry = new Registry();
    return *registry;
}

} // namespace

std::shared_ptr<EndpointLife> LiveEndpoints::Find(const void* endpoint) {
    Registry& registry = TheRegistry();
    const PTAutoLock lock(registry.mutex);
    const auto found = registry.endpoints.find(endpoint);
    return found == registry.endpoints.end() ? nullptr : found->second;
}

EndpointRegistration::EndpointRegistration(const void* endpoint, bool handlersReady)
    : m_endpoint(endpoint), m_life(std::make_shared<EndpointLife>(handlersReady)) {}

void EndpointRegistration::Begin() {
    Registry& registry = TheRegistry();
    const PTAutoLock lock(registry.mutex);
    registry.endpoints[m_endpoint] = m_life;
}

void EndpointRegistration::End() {
    if (m_life->ended.exchange(true)) {
        return;
    }
    {
        Registry& registry = TheRegistry();
        const PTAutoLock lock(registry.mutex);
        registry.endpoints.erase(m_endpoint);
    }
    // Whoever holds the turn now is the last one: those who still wait for it see that it ended.
    const PTAutoLock lastTurn(m_life->turn);
}

// The lock is held under a condition that the thread-safety analysis cannot follow.
EndpointTurn::EndpointTurn(const void* endpoint) APPLIST_NO_THREAD_SAFETY_ANALYSIS
    : m_life(LiveEndpoints::Find(endpoint)) {
    if (m_life == nullptr) {
        return;
    }
    m_life->turn.Lock();
    if (m_life->ended) {
        m_life->turn.Unlock();
        m_life.reset();
    }
}

EndpointTurn::~EndpointTurn() APPLIST_NO_THREAD_SAFETY_ANALYSIS {
    if (m_life != nullptr) {
        m_life->turn.Unlock();
    }
}
