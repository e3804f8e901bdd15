// Announces a step of the handshake: owns its name for a moment. The other processes on the bus
// receive the release of the name, with the unique name of the announcer.
//
// RequestName and ReleaseName are sent together, and the reply to RequestName has no time-out. The
// bus handles them in order, so a name never stays owned: not when the bus replies late, and not
// when this process stops between the two calls.
#ifndef APPLIST_TOOLS_NAMEANNOUNCEMENT_H
#define APPLIST_TOOLS_NAMEANNOUNCEMENT_H

#include <functional>
#include <string>

#include <gio/gio.h>

#include <shared/Timer.h>

namespace applistctl {

class NameAnnouncement {
public:
    enum class Result {
        Done,
        Owned,   ///< another process owns the name; the announcement is repeated or given up
        Refused, ///< the bus policy does not allow this process to own the name
        Failed
    };
    enum class WhileOwned { Repeat, GiveUp };

    /** @param problem the bus daemon's own text, unless done */
    using OnResult = std::function<void(Result result, const std::string& problem)>;

    /** The time between two attempts. A name is owned for one round trip, a few milliseconds. */
    static constexpr guint REPEAT_PERIOD_MS = 100;

    explicit NameAnnouncement(GDBusConnection* connection) : m_connection(connection) {}
    ~NameAnnouncement() { Cancel(); }

    NameAnnouncement(const NameAnnouncement&) = delete;
    NameAnnouncement& operator=(const NameAnnouncement&) = delete;

    /**
     * Announces @p name, and cancels an announcement that is still under way.
     *
     * @param onResult called from the main context: with Result::Owned at most once, after the
     *                 first attempt; with another result once, at the end
     */
    void Start(const std::string& name, WhileOwned whileOwned, OnResult onResult);

    void Cancel();

    /** Whether to own each later name without a release, as a faulty partner does. */
    void KeepNames(bool keeps) { m_keepsNames = keeps; }

    bool IsUnderWay() const { return m_isUnderWay; }

private:
    static void OnReply(GObject* connection, GAsyncResult* result, void* user_data);
    void Try();
    void OnOwned();
    void Finish(Result result, const std::string& problem);

    GDBusConnection* m_connection;
    std::string m_name;
    WhileOwned m_whileOwned = WhileOwned::GiveUp;
    OnResult m_onResult;
    GCancellable* m_cancellable = nullptr; ///< of the call whose reply is due
    Timer m_repeat;
    bool m_isUnderWay = false;
    bool m_ownedIsReported = false;
    bool m_keepsNames = false;
};

} // namespace applistctl

#endif
