// Answers a request, rightly or with the faults that are set for it.
#ifndef APPLIST_TOOLS_REPLIER_H
#define APPLIST_TOOLS_REPLIER_H

#include <cstdint>
#include <memory>
#include <set>
#include <vector>

#include <gio/gio.h>

#include <partner/Faults.h>

class Replier {
public:
    explicit Replier(const Faults& faults) : m_faults(faults) {}

    /** Answers that are still due are never given. */
    ~Replier();

    Replier(const Replier&) = delete;
    Replier& operator=(const Replier&) = delete;

    /** Answers @p invocation, which is consumed, now or later. */
    void Reply(GDBusMethodInvocation* invocation, std::int32_t request, std::vector<char> answer);

private:
    struct Later;

    static gboolean OnDelayIsOver(void* user_data);
    static void OnHostHasAnswered(GObject* connection, GAsyncResult* result, void* user_data);
    void AskBack(Later* later);
    void ReplyNow(GDBusMethodInvocation* invocation, std::int32_t request,
                  std::vector<char> answer) const;

    const Faults& m_faults;
    std::set<Later*> m_due;
};

#endif
