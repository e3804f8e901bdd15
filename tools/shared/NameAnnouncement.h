// Announces a step of the handshake: owns its name for one round trip. The other side receives the
// release of the name, with the unique name of the sender.
#ifndef APPLIST_TOOLS_NAMEANNOUNCEMENT_H
#define APPLIST_TOOLS_NAMEANNOUNCEMENT_H

#include <functional>
#include <string>

#include <gio/gio.h>

class NameAnnouncement {
public:
    enum class Result {
        Done,
        Busy,    ///< another connection owned the name at each attempt
        Refused, ///< the bus policy refuses the name
        Failed
    };
    /** @param problem the text of the bus daemon; empty when done */
    using OnResult = std::function<void(Result result, const std::string& problem)>;

    explicit NameAnnouncement(GDBusConnection* connection) : m_connection(connection) {}
    ~NameAnnouncement() { Cancel(); }

    NameAnnouncement(const NameAnnouncement&) = delete;
    NameAnnouncement& operator=(const NameAnnouncement&) = delete;

    /**
     * Announces @p name, and cancels an earlier announcement. While another connection owns the
     * name, the main loop repeats the attempt. Otherwise @p onResult is called before the return.
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
