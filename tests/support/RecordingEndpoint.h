// An endpoint that records the arguments of its handlers, and runs the action of the test.
#pragma once

#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <ipc/javamw-dbus-remote.h>

inline namespace applist_test {

class RecordingEndpoint : public JavaMWDbusRemote {
public:
    using Bytes = std::vector<char>;

    struct Readiness {
        bool ready;
        std::string partner;

        bool operator==(const Readiness& other) const {
            return ready == other.ready && partner == other.partner;
        }
        /** "ready :1.7" or "lost :1.7" */
        std::string Report() const { return (ready ? "ready " : "lost ") + partner; }
    };

    /** The further action of the handlers; runs inside them. */
    struct Actions {
        std::function<Bytes(Bytes& data)> onMessage;
        std::function<void(Bytes& data)> onNotification;
        std::function<void(bool ready, const std::string& partner)> onReady;
    };

    RecordingEndpoint() : RecordingEndpoint(Actions{}) {}
    explicit RecordingEndpoint(Actions actions, const std::string& id = "Applist")
        : JavaMWDbusRemote(id, HandlersLater()), m_actions(std::move(actions)) {
        StartHandlers();
    }
    ~RecordingEndpoint() override { StopHandlers(); }

    Bytes HandleMessage(Bytes& data) override {
        Record(m_messages, data);
        return m_actions.onMessage ? m_actions.onMessage(data) : Bytes();
    }

    void HandleNotification(Bytes& data) override {
        Record(m_notifications, data);
        if (m_actions.onNotification) {
            m_actions.onNotification(data);
        }
    }

    void HandleConnectionReady(bool ready, const std::string& partner) override {
        Record(m_readiness, Readiness{ready, partner});
        Record(m_readinessThreads, std::this_thread::get_id());
        if (m_actions.onReady) {
            m_actions.onReady(ready, partner);
        }
    }

    std::vector<Bytes> Messages() { return Copy(m_messages); }
    std::vector<Bytes> Notifications() { return Copy(m_notifications); }
    std::vector<Readiness> Readinesses() { return Copy(m_readiness); }
    std::vector<std::string> Reports() {
        std::vector<std::string> reports;
        for (const Readiness& readiness : Readinesses()) {
            reports.push_back(readiness.Report());
        }
        return reports;
    }
    std::vector<std::thread::id> ReadinessThreads() { return Copy(m_readinessThreads); }

private:
    template <class T>
    void Record(std::vector<T>& records, const T& record) {
        const std::lock_guard<std::mutex> lock(m_recordMutex);
        records.push_back(record);
    }

    template <class T>
    std::vector<T> Copy(const std::vector<T>& records) {
        const std::lock_guard<std::mutex> lock(m_recordMutex);
        return records;
    }

    const Actions m_actions;
    std::mutex m_recordMutex;
    std::vector<Bytes> m_messages;
    std::vector<Bytes> m_notifications;
    std::vector<Readiness> m_readiness;
    std::vector<std::thread::id> m_readinessThreads;
};

inline std::ostream& operator<<(std::ostream& os, const RecordingEndpoint::Readiness& readiness) {
    return os << readiness.Report();
}

} // namespace applist_test
