// Reports of an endpoint to the code above the list: the connection, the outcome of each request,
// and the beginning and end of each notification.
#ifndef APPLIST_IPC_CHANNELOBSERVER_H
#define APPLIST_IPC_CHANNELOBSERVER_H

/**
 * Receives the reports of one endpoint. The public classes report nothing to their callers: code
 * that needs the outcomes registers an observer in the endpoint's EndpointControl.
 *
 * An observer must exist until its endpoint has been destroyed, and must not throw.
 */
class ChannelObserver {
public:
    enum class Outcome { ANSWERED, NO_PARTNER, FAILED };

    /**
     * The partner became ready or was lost. Called with the handshake mutex held, on the thread
     * that iterates the main context or on the resend thread; may be called twice for one partner.
     */
    virtual void OnConnection(bool ready) = 0;

    /**
     * A request has ended. Called on the thread that made the request.
     *
     * @param reason the error of a failed request, valid during the call; else an empty text
     */
    virtual void OnRequestEnd(Outcome outcome, const char* reason) = 0;

    /** A notification arrived. Called on the thread that iterates the main context. */
    virtual void OnNotificationBegin() = 0;

    /** The handling of the notification has ended, even if by an exception. */
    virtual void OnNotificationEnd() = 0;

protected:
    ~ChannelObserver() = default;
};

/** Reports a notification for the time of its handling. */
class ObservedNotification {
public:
    explicit ObservedNotification(ChannelObserver* observer) : m_observer(observer) {
        if (m_observer != nullptr) {
            m_observer->OnNotificationBegin();
        }
    }

    ~ObservedNotification() {
        if (m_observer != nullptr) {
            m_observer->OnNotificationEnd();
        }
    }

    ObservedNotification(const ObservedNotification&) = delete;
    ObservedNotification& operator=(const ObservedNotification&) = delete;

private:
    ChannelObserver* m_observer;
};

/** Reports the outcome of a request at its end: NO_PARTNER unless Answer or Fail was called. */
class ObservedRequest {
public:
    explicit ObservedRequest(ChannelObserver* observer) : m_observer(observer) {}

    ~ObservedRequest() {
        if (m_observer != nullptr) {
            m_observer->OnRequestEnd(m_outcome, m_reason);
        }
    }

    ObservedRequest(const ObservedRequest&) = delete;
    ObservedRequest& operator=(const ObservedRequest&) = delete;

    /** @param reason must exist until the end of the request */
    void Fail(const char* reason) {
        m_outcome = ChannelObserver::Outcome::FAILED;
        m_reason = reason;
    }

    void Answer() { m_outcome = ChannelObserver::Outcome::ANSWERED; }

private:
    ChannelObserver* m_observer;
    ChannelObserver::Outcome m_outcome = ChannelObserver::Outcome::NO_PARTNER;
    const char* m_reason = "";
};

#endif
