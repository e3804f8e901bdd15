// A partner for the library, on a bus connection and a thread of its own.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <gio/gio.h>

#include "BareEndpoint.h"
#include "Bytes.h"
#include "MainLoop.h"
#include "PrivateBus.h"

inline namespace applist_test {

class TestPartner {
public:
    using Bytes = std::vector<char>;
    using Answer = std::function<Bytes(const Bytes& request)>;

    /**
     * Connects and registers the object for @p endpointId. With @p answersHandshake it answers the
     * endpoint's announcements (SYN with SYN_ACK, SYN_ACK with ACK); it announces nothing by
     * itself.
     */
    explicit TestPartner(const PrivateBus& bus, bool answersHandshake = true,
                         const std::string& endpointId = "Applist");

    /** Leaves the bus. */
    ~TestPartner();

    const std::string& UniqueName() const { return m_uniqueName; }

    /** Owns and releases org.morva.JavaMW.ENDPOINTID_SERVICE + @p suffix ("_SYN", ...). */
    void Announce(const std::string& suffix) { m_endpoint->Announce(suffix); }

    /** Emits SendSignal with these bytes as "(ay)" to the endpoint's unique name. */
    void Notify(const std::string& endpointName, const Bytes& bytes) {
        NotifyBody(endpointName, ByteBody(bytes));
    }

    /** The same with any body, which is consumed. */
    void NotifyBody(const std::string& endpointName, GVariant* body);

    /** Calls Send of the endpoint and waits. @return the reply's body; null sets @p error. */
    GVariant* Call(const std::string& endpointName, const Bytes& bytes, GError** error) {
        return m_endpoint->Call(endpointName, ByteBody(bytes), error);
    }

    /** Sets the function of the replies to "Send"; without it the reply is an empty array. The
        function runs on the partner's thread. */
    void AnswerWith(Answer answer);

    /** Answers "Send" with any body (a factory that returns a new floating variant each time). */
    void AnswerWithBody(std::function<GVariant*()> body);

    /** Answers "Send" with this D-Bus error. */
    void AnswerWithError(const std::string& name, const std::string& message);

    /** The requests so far, in order of arrival. */
    std::vector<Bytes> Requests();

    /** The notifications of the endpoint so far, and the announcements seen, like "_CLIENT_SYN". */
    std::vector<Bytes> Notifications();
    std::vector<std::string> Announcements();

    /** Waits until @p count of them have arrived, without iterating a context of the test. */
    bool WaitForRequests(std::size_t count);
    bool WaitForNotifications(std::size_t count);
    bool WaitForAnnouncement(const std::string& name, std::chrono::seconds limit = LIMIT);

    GDBusConnection* Connection() { return m_connection; }

private:
    void OnAnnouncement(const std::string& step);
    void OnCall(const Bytes& request, GDBusMethodInvocation* invocation);
    template <class T>
    void Record(std::vector<T>& records, const T& record) {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            records.push_back(record);
        }
        m_changed.notify_all();
    }
    static constexpr std::chrono::seconds LIMIT{20};

    bool WaitUntil(const std::function<bool()>& happened, std::chrono::seconds limit = LIMIT);

    const bool m_answersHandshake;
    GDBusConnection* m_connection;
    std::string m_uniqueName;
    std::optional<BareEndpoint> m_endpoint;
    GMainContext* m_context;
    std::optional<LoopThread> m_thread;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::function<void(GDBusMethodInvocation*, const Bytes&)> m_answer;
    std::vector<Bytes> m_requests;
    std::vector<Bytes> m_notifications;
    std::vector<std::string> m_announcements;
};

} // namespace applist_test
