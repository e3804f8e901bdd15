// Which endpoints are alive, asked by every callback before it touches one.
//
// GDBus holds bare endpoint pointers as user data, and some of its registrations outlive the
// endpoint: the three handshake subscriptions and the object stay on the connection for as long as
// anybody holds it, and deliveries already queued on the main context run even later. So a pointer
// that comes in from GDBus is only a question, and the answer is here.
//
// An address may be used again by a later endpoint, which then gets the dead one's deliveries too.
// It refuses those of another connection or for other names than its own; a step that it watches
// itself it sees twice, and is told twice that it is ready.
#ifndef APPLIST_IPC_LIVEENDPOINTS_H
#define APPLIST_IPC_LIVEENDPOINTS_H

#include <atomic>
#include <memory>

#include <common/PTMutex.h>

/** What can still be asked about an endpoint when its memory may be gone. */
struct EndpointLife {
    explicit EndpointLife(bool ready) : handlersReady(ready) {}

    /**
     * Held by a handshake callback and by a resend pass from start to end, outside the endpoint's
     * own mutex. It lives here and not in the endpoint, so that a callback which comes too late
     * finds it intact, and the endpoint's destructor can wait for the one under way.
     */
    PTMutex turn;

    /** False while a derived class is still being constructed: its handlers are not called yet. */
    std::atomic<bool> handlersReady;

    /** True from the moment the endpoint begins to go. */
    std::atomic<bool> ended{false};
};

namespace LiveEndpoints {
/** @return null when @p endpoint is not alive. May be called from any thread. */
std::shared_ptr<EndpointLife> Find(const void* endpoint);
} // namespace LiveEndpoints

/** Keeps an endpoint among the living; owned by that endpoint, which it points to and never
 * follows. */
class EndpointRegistration {
public:
    /** The endpoint is not found before Begin. */
    EndpointRegistration(const void* endpoint, bool handlersReady);
    ~EndpointRegistration() { End(); }

    EndpointRegistration(const EndpointRegistration&) = delete;
    EndpointRegistration& operator=(const EndpointRegistration&) = delete;

    /** From here on callbacks find the endpoint. */
    void Begin();

    void StartHandlers() { m_life->handlersReady = true; }
    bool HandlersReady() const { return m_life->handlersReady; }
    bool HasEnded() const { return m_life->ended; }

    /**
     * From here on nobody finds the endpoint. Returns when the handshake callback or resend pass
     * under way has ended, so it must not be called from inside one. Repeating it does nothing.
     */
    void End();

private:
    const void* m_endpoint;
    std::shared_ptr<EndpointLife> m_life;
};

/** One handshake callback's or resend pass's turn with an endpoint, if that is still alive. */
class EndpointTurn {
public:
    /** Waits for the turn under way, if there is one. @p endpoint may be null or long gone. */
    explicit EndpointTurn(const void* endpoint);
    ~EndpointTurn();

    EndpointTurn(const EndpointTurn&) = delete;
    EndpointTurn& operator=(const EndpointTurn&) = delete;

    /** Whether the endpoint is alive, and stays so for the length of this turn. */
    explicit operator bool() const { return m_life != nullptr; }

private:
    std::shared_ptr<EndpointLife> m_life;
};

#endif
