// The partner on the bus: it performs the handshake, keeps a copy of the list, sends notifications,
// and exits at the requested step.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <gio/gio.h>

#include "BareEndpoint.h"
#include "Mirror.h"

inline namespace applist_test {

class Partner {
public:
    struct Options {
        std::string id = "Applist";
        std::string killAt;        ///< a moment; empty for never
        unsigned retryMs = 20;     ///< between two SYN until it is connected; 0 for a single one
        std::size_t replySize = 0; ///< of all replies except to the selection query
        bool createsList = false;  ///< sends the created event each time it is connected
        bool keepsRequests = false;
    };

    explicit Partner(Options options);

    /** Owns and releases the name of a step, such as "_SYN". */
    void Announce(const std::string& step) { m_endpoint->Announce(step); }

    void CreateList();
    void Notify(const std::string& bytes);
    /** Sends notifications with the numbers 0 to @p count - 1, four bytes each. */
    void Burst(unsigned count);
    /** Sends a notification of each kind every @p periodMs; 0 stops after the queued ones are sent.
     */
    void MakeNoise(unsigned periodMs);
    /** Calls "Send" of the host. @return the bytes of the reply, or "error" and the error's text */
    std::string Call(const std::string& bytes);

    Mirror& List() { return m_mirror; }
    std::vector<std::string> TakeRequests();
    /** The number of notifications of the host, and the number of them in the right order. */
    std::string Received() const;

private:
    static void OnHostVanished(GDBusConnection*, const char* name, void* self);
    static gboolean OnRetry(void* self);
    static gboolean OnNoise(void* self);
    void RunStep(const std::string& step, const std::string& host);
    void Bind(const std::string& host);
    void Connected();
    std::string ReplyTo(const std::string& message);
    void KillAt(const std::string& moment);

    const Options m_options;
    std::optional<BareEndpoint> m_endpoint;
    std::string m_host;
    guint m_hostWatch = 0;
    guint m_noise = 0;
    bool m_connected = false;
    Mirror m_mirror;
    std::vector<std::string> m_requests;
    unsigned m_received = 0;
    unsigned m_inOrder = 0;
};

/** Writes one line to standard output, at once. */
void PrintLine(const std::string& line);

} // namespace applist_test
