// The registry of living endpoints. Every callback looks its endpoint up here before it uses the
// endpoint.
//
// GDBus holds the address of an endpoint as user data, and some registrations outlive the endpoint:
// the three handshake subscriptions and the object stay on the connection, and queued deliveries
// run even later. So an address from GDBus may be that of a destroyed endpoint.
//
// A later endpoint may have the same address and then receives the deliveries for the destroyed
// one. This endpoint refuses those of another connection or of names that it does not watch. It
// receives a step of its own names twice, and reports "ready" twice.
#ifndef APPLIST_IPC_LIVEENDPOINTS_H
#define APPLIST_IPC_LIVEENDPOINTS_H

#include <atomic>
#include <memory>

#include <common/PTMutex.h>
#include <ipc/ChannelObserver.h>
#include <ipc/javamw-dbus-remote.h>

/** The part of an endpoint's state that outlives the endpoint. */
struct EndpointControl {
    explicit EndpointControl(bool ready) : handlersReady(ready) {}

    /**
     * Held by a handshake callback and by a resend pass from start to end. A late callback can lock
     * this mutex after the end of the endpoint. The endpoint's destructor waits for the mutex.
     */
    PTMutex callbackMutex APPLIST_ACQUIRED_BEFORE(&JavaMWDbusRemote::m_mutex);

    /** False during the construction of a derived class, whose handlers are not called yet. */
    std::atomic<bool> handlersReady;

    /** True as soon as the destruction of the endpoint has begun. */
    std::atomic<bool> ended{false};

    /** Set at most once, on the constructing thread, before its main context is iterated. */
    std::atomic<ChannelObserver*> observer{nullptr};
};

namespace LiveEndpoints {
/** @return whether @p endpoint is alive. Keeps nothing alive. May be called from any thread. */
bool Contains(const void* endpoint);

/**
 * @return the control block of @p endpoint; null when the endpoint is not alive. Keeps the control
 *         block alive, not the endpoint. May be called from any thread.
 */
std::shared_ptr<EndpointControl> Find(const void* endpoint);
} // namespace LiveEndpoints

/** An endpoint's entry in the registry. The endpoint owns it. */
class EndpointRegistration {
public:
    /** The registry does not contain the endpoint before Begin. */
    EndpointRegistration(const void* endpoint, bool handlersReady);
    ~EndpointRegistration() { End(); }

    EndpointRegistration(const EndpointRegistration&) = delete;
    EndpointRegistration& operator=(const EndpointRegistration&) = delete;

    /** From now on callbacks find the endpoint. */
    void Begin();

    void StartHandlers() { m_control->handlersReady = true; }
    bool HandlersReady() const { return m_control->handlersReady; }
    bool HasEnded() const { return m_control->ended; }
    /** @return the observer of the endpoint, or null. */
    ChannelObserver* Observer() const { return m_control->observer; }

    /**
     * Removes the endpoint from the registry and waits for the handshake callback or resend pass
     * under way. Must not be called from either. A second call does nothing.
     */
    void End();

private:
    const void* m_endpoint;
    std::shared_ptr<EndpointControl> m_control;
};

#endif
