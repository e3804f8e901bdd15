#include <ipc/LiveEndpoints.h>

#include <unordered_map>

#include <common/PTAutoLock.h>

namespace {

struct Registry {
    PTMutex mutex;
    std::unordered_map<const void*, std::shared_ptr<EndpointControl>>
        endpoints APPLIST_GUARDED_BY(mutex);
};

// Never destroyed: callbacks may run while the process exits.
Registry& TheRegistry() {
    static auto* const registry = new Registry();
    return *registry;
}

} // namespace

bool LiveEndpoints::Contains(const void* endpoint) {
    return Find(endpoint) != nullptr;
}

std::shared_ptr<EndpointControl> LiveEndpoints::Find(const void* endpoint) {
    Registry& registry = TheRegistry();
    const PTAutoLock lock(registry.mutex);
    const auto found = registry.endpoints.find(endpoint);
    return found == registry.endpoints.end() ? nullptr : found->second;
}

EndpointRegistration::EndpointRegistration(const void* endpoint, bool handlersReady)
    : m_endpoint(endpoint), m_control(std::make_shared<EndpointControl>(handlersReady)) {}

void EndpointRegistration::Begin() {
    Registry& registry = TheRegistry();
    const PTAutoLock lock(registry.mutex);
    registry.endpoints[m_endpoint] = m_control;
}

void EndpointRegistration::End() {
    if (m_control->ended.exchange(true)) {
        return;
    }
    {
        Registry& registry = TheRegistry();
        const PTAutoLock lock(registry.mutex);
        registry.endpoints.erase(m_endpoint);
    }
    // Waits for the callback under way. Callbacks that lock the mutex later are refused.
    const PTAutoLock lastCallback(m_control->callbackMutex);
}
