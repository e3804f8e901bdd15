// A host of the client whose loop is poll(2): it records the events and dispatches while it waits.
#ifndef APPLIST_TESTS_CLIENTHOST_H
#define APPLIST_TESTS_CLIENTHOST_H

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <applist/AppListClient.h>
#include <applist/AppListExecutors.h>

inline namespace applist_test {

class ClientHost {
public:
    ClientHost();

    AppListClient& Client() { return *m_client; }
    void DestroyClient() { m_client.reset(); }

    /** Dispatches until @p happened is true. @return whether it became true in time */
    bool WaitUntil(const std::function<bool()>& happened,
                   std::chrono::milliseconds timeout = std::chrono::seconds(60));
    bool WaitForEvent(const std::string& event);
    void DispatchFor(std::chrono::milliseconds time);

    /** A completion that records its outcome and reason. */
    AppListClient::Completion Record();

    /** The list and the selection as the records that the partner must have. */
    std::pair<std::string, std::string> Records() const;

    /** Called with each event that is not a completion. */
    std::function<void(const std::string& event)> onEvent;
    std::vector<std::string> events;
    std::vector<AppListClient::Outcome> outcomes;
    std::vector<std::string> reasons;

private:
    void OnEvent(const std::string& event);
    AppListClient::Events Events();

    DescriptorExecutor m_executor;
    std::unique_ptr<AppListClient> m_client;
};

/** Items with the ids of @p ids, one letter each, and the same names with @p suffix. */
std::vector<AppListClient::Item> LetterItems(const std::string& ids,
                                             const std::string& suffix = "");

} // namespace applist_test

#endif
