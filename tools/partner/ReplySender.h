// Sends the reply to a request: the right one, or a reply with the faults of its request.
#ifndef APPLIST_TOOLS_REPLYSENDER_H
#define APPLIST_TOOLS_REPLYSENDER_H

#include <cstdint>
#include <memory>
#include <set>
#include <vector>

#include <gio/gio.h>

#include <partner/Faults.h>

namespace applistctl {

class ReplySender {
public:
    explicit ReplySender(const Faults& faults) : m_faults(faults) {}

    /** Drops the delayed replies. */
    ~ReplySender();

    ReplySender(const ReplySender&) = delete;
    ReplySender& operator=(const ReplySender&) = delete;

    /** Replies to @p invocation now or later, and consumes the reference. */
    void Send(GDBusMethodInvocation* invocation, std::int32_t request, std::vector<char> answer);

private:
    struct Later;

    static gboolean OnDelayEnd(void* user_data);
    static void OnHostReply(GObject* connection, GAsyncResult* result, void* user_data);
    void AskBack(Later* later);
    void SendNow(GDBusMethodInvocation* invocation, std::int32_t request,
                 std::vector<char> answer) const;

    const Faults& m_faults;
    std::set<Later*> m_due;
};

} // namespace applistctl

#endif
