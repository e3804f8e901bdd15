// Announces a step of the handshake: owns its name for one round trip. The others on the bus see
// the name being released, and by whom.
#ifndef APPLIST_TOOLS_NAMEANNOUNCEMENT_H
#define APPLIST_TOOLS_NAMEANNOUNCEMENT_H

#include <functional>
#include <string>

#include <gio/gio.h>

class NameAnnouncement {
public:
    enum class Result {
        Done,
        Busy,    ///< somebody else owned the name each time
        Refused, ///< the bus policy does not let us own the name
        Failed
    };
    /** @param problem the bus daemon's own text, unless done */
    using OnResult = std::function<void(Result result, const std::string& problem)>;

    explicit NameAnnouncement(GDBusConnection* connection) : m_connection(connection) {}
    ~NameAnnouncement() { Cancel(); }

    NameAnnouncement(const NameAnnouncement&) = delete;
    NameAnnouncement& operator=(const NameAnnouncement&) = delete;

    /**
     * Announces @p name, in place of an announcement that is still being tried. While somebody else
     * owns the name, it is tried again within the main loop; otherwise @p onResult is called at
     * once.
     */
    void Start(const std::string& name, OnResult onResult);

    void Cancel();

private:
    static gboolean OnRetry(void* user_data);
    void Try();
    bool Call(const char* method, GVariant* parameters, guint32& code);

    GDBusConnection* m_connection;
    std::string m_name;
    OnResult m_onResult;
    Result m_failure = Result::Failed;
    std::string m_problem;
    int m_triesLeft = 0;
    guint m_retryId = 0;
};

#endif
