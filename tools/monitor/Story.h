// Makes a story of the messages on a bus: handshakes, requests with their replies, notifications.
#ifndef APPLIST_TOOLS_STORY_H
#define APPLIST_TOOLS_STORY_H

#include <cstddef>
#include <map>
#include <string>
#include <utility>

#include <gio/gio.h>

#include <monitor/Events.h>
#include <monitor/HandshakeStory.h>
#include <monitor/Narrator.h>
#include <monitor/SeenMessage.h>
#include <monitor/Summary.h>

class Story {
public:
    /** @param narrator is told everything, in order, and outlives the story */
    explicit Story(Narrator& narrator);

    void Take(const SeenMessage& seen);

    /** A message that could not be read at all. */
    void TakeUnreadable(Microseconds time, const std::string& problem);

    /** Tells what should have happened by now. Times never go back. */
    void Tick(Microseconds now);

    /** Tells what is still open, and the summary. */
    void End();

    /** Requests that are done, and notifications. */
    std::size_t Told() const { return m_told; }
    const Summary& Result() const { return m_summary; }

private:
    struct Pending {
        Exchange exchange;
        bool late = false;
    };
    using Call = std::pair<std::string, guint32>; // caller and serial

    void OnSignal(const SeenMessage& seen);
    void OnOwnerChanged(const SeenMessage& seen);
    void OnNotification(const SeenMessage& seen);
    void OnCall(const SeenMessage& seen);
    void OnNameCall(const SeenMessage& seen);
    void OnSend(const SeenMessage& seen);
    void OnAnswer(const SeenMessage& seen);
    void OnNameAnswer(const SeenMessage& seen);
    void Finish(const Exchange& exchange);
    void Malformed(Microseconds time, const std::string& text);
    Peer PeerOf(const std::string& name) const;

    Narrator& m_narrator;
    Summary m_summary;
    HandshakeStory m_handshake;
    std::map<Call, Pending> m_pending;
    unsigned m_number = 0;
    std::size_t m_told = 0;
    Microseconds m_lastTick = 0;
    std::string m_path;
};

#endif
