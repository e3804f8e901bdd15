// A relay between a client and the bus. The relay forwards only the messages that give the client
// its unique name, until the test releases the others.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>

#include "PrivateBus.h"

inline namespace applist_test {

/** For one client. It needs no iteration of the test's context. */
class HeldConnection {
public:
    explicit HeldConnection(const PrivateBus& bus);
    ~HeldConnection();

    /** The address for the client. */
    std::string Address() const { return "unix:path=" + m_path; }

    /** Waits for the client. @return its unique name, empty if no client connects in time */
    std::string UniqueName();

    /** Forwards all messages from now on. */
    void Release();

private:
    void Run();
    bool ReadFromClient(int client);
    bool ReadFromBus(int bus, int client);
    bool ForwardToBus(int bus);
    std::size_t Forwardable() const;

    std::string m_busPath;
    std::string m_path;
    int m_listener;
    int m_wake[2];
    std::thread m_thread;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::string m_uniqueName;
    std::atomic<bool> m_released{false};
    std::string m_fromClient;
    std::size_t m_forwarded = 0;
    std::string m_fromBus;
};

} // namespace applist_test
