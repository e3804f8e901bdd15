// An endpoint that writes down what its handlers are told.
#ifndef APPLIST_TESTS_RECORDINGENDPOINT_H
#define APPLIST_TESTS_RECORDINGENDPOINT_H

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <ipc/javamw-dbus-remote.h>

class RecordingEndpoint : public JavaMWDbusRemote {
public:
    using Watcher = std::function<void(const std::string& report)>;

    /** @param watcher told of each report as it is made, with the handshake's mutex held. */
    explicit RecordingEndpoint(const std::string& id = "Applist", Watcher watcher = nullptr)
        : JavaMWDbusRemote(id, HandlersLater()), m_watcher(std::move(watcher)) {
        StartHandlers();
    }
    ~RecordingEndpoint() override { StopHandlers(); }

    void HandleConnectionReady(bool ready, const std::string& partner) override {
        const std::string report = (ready ? "ready " : "lost ") + partner;
        {
            const std::lock_guard<std::mutex> lock(m_recordMutex);
            m_reports.push_back(report);
        }
        if (m_watcher) {
            m_watcher(report);
        }
    }

    std::vector<char> HandleMessage(std::vector<char>& data) override {
        const std::lock_guard<std::mutex> lock(m_recordMutex);
        m_messages.push_back(data);
        return {'o', 'k'};
    }

    void HandleNotification(std::vector<char>& data) override {
        const std::lock_guard<std::mutex> lock(m_recordMutex);
        m_notifications.push_back(data);
    }

    /** "ready :1.7" and "lost :1.7", in the order in which they came. */
    std::vector<std::string> Reports() { return Copy(m_reports); }
    std::vector<std::vector<char>> Messages() { return Copy(m_messages); }
    std::vector<std::vector<char>> Notifications() { return Copy(m_notifications); }

private:
    template <class List>
    List Copy(const List& list) {
        const std::lock_guard<std::mutex> lock(m_recordMutex);
        return list;
    }

    Watcher m_watcher;
    std::mutex m_recordMutex;
    std::vector<std::string> m_reports;
    std::vector<std::vector<char>> m_messages;
    std::vector<std::vector<char>> m_notifications;
};

#endif
