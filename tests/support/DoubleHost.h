// A host on the bus double: it holds the shared connection, as another part of a process does, and
// waits until all signals of the double have been delivered.
#pragma once

#include <atomic>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "BusDouble.h"
#include "Channel.h"
#include "MainLoop.h"
#include "SharedBus.h"

inline namespace applist_test {

class DoubleHost {
public:
    static constexpr const char* BASE_NAME = "org.morva.JavaMW.Applist";
    static constexpr const char* OBJECT_PATH = "/org/morva/javamw/CommunicationChannel/Applist";

    DoubleHost() {
        m_shared.emplace();
        m_shared->DisableExitOnClose();
        m_subscription = g_dbus_connection_signal_subscribe(
            Connection(), ":2.Marker", MARKER, "Marker", "/marker", nullptr,
            G_DBUS_SIGNAL_FLAGS_NONE, OnMarker, &m_markers, nullptr);
    }

    /** Waits until the shared connection is released: the next host creates a new connection. */
    ~DoubleHost() {
        g_dbus_connection_signal_unsubscribe(Connection(), m_subscription);
        // GDBus's own thread may release the last reference.
        static std::atomic<bool> isHeld;
        isHeld = true;
        g_object_weak_ref(
            G_OBJECT(Connection()), [](void*, GObject*) { isHeld = false; }, nullptr);
        m_shared.reset();
        // A call without a reply holds the connection until the time-out of 25 s.
        if (!MainLoop::IterateUntil([] { return !isHeld; }, std::chrono::seconds(60))) {
            g_error("The shared connection is still held");
        }
        MainLoop::IterateUntilIdle();
    }

    BusDouble& Bus() { return m_bus; }
    GDBusConnection* Connection() const { return m_shared->Connection(); }

    /** The partner @p owner acquires the name of the step @p suffix ("_SYN", ...). */
    void EmitAcquisition(const std::string& suffix, const std::string& owner) {
        m_bus.EmitNameOwnerChanged(PartnerName(suffix), "", owner);
    }
    void EmitRelease(const std::string& suffix, const std::string& owner) {
        m_bus.EmitNameOwnerChanged(PartnerName(suffix), owner, "");
    }
    void EmitAnnouncement(const std::string& suffix, const std::string& owner) {
        EmitAcquisition(suffix, owner);
        EmitRelease(suffix, owner);
    }

    /** An announcement of the partner, which has been dispatched on return. */
    bool Announce(const std::string& suffix, const std::string& owner) {
        EmitAnnouncement(suffix, owner);
        return Deliver();
    }
    bool Vanish(const std::string& owner) {
        m_bus.Vanish(owner);
        return Deliver();
    }

    /** From now on records the announcements of the endpoint, such as "RequestName _CLIENT_SYN". */
    void StartTrace() {
        m_bus.OnCall([this](const std::string& call) {
            const std::size_t at = call.find(std::string("Name ") + BASE_NAME);
            if (at != std::string::npos && at != 0) {
                AddToTrace(call.substr(0, at + 5) + call.substr(at + 5 + std::strlen(BASE_NAME)));
            }
        });
    }
    void AddToTrace(const std::string& entry) {
        const std::lock_guard<std::mutex> lock(m_traceMutex);
        m_trace.push_back(entry);
    }
    /** @return the entries since the last call, in order */
    std::vector<std::string> TakeTrace() {
        const std::lock_guard<std::mutex> lock(m_traceMutex);
        return std::exchange(m_trace, {});
    }

    /** Iterates until all that was emitted before has been dispatched: signals keep their order. */
    bool Deliver() {
        const int before = m_markers;
        m_bus.Emit(":2.Marker", "/marker", MARKER, "Marker", g_variant_new("()"));
        return MainLoop::IterateUntil([&] { return m_markers > before; });
    }

    static std::string PartnerName(const std::string& suffix) {
        return std::string(BASE_NAME) + "_SERVICE" + suffix;
    }
    static std::string EndpointName(const std::string& suffix) {
        return std::string(BASE_NAME) + "_CLIENT" + suffix;
    }

private:
    static constexpr const char* MARKER = "org.example.Marker";

    static void OnMarker(GDBusConnection*, const char*, const char*, const char*, const char*,
                         GVariant*, void* markers) {
        ++*static_cast<int*>(markers);
    }

    std::mutex m_traceMutex;
    std::vector<std::string> m_trace;
    BusDouble m_bus;
    std::optional<SharedBus> m_shared;
    int m_markers = 0;
    unsigned int m_subscription = 0;
};

} // namespace applist_test
