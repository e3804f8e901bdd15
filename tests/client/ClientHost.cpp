#include "ClientHost.h"

#include <poll.h>

#include "Records.h"

namespace {

std::string Named(const char* event, const std::optional<AppListClient::Item>& item) {
    return std::string(event) + (item ? item->uniqueId : "nothing");
}

std::string Record(const AppListClient::Item& item) {
    return Records::Write({item.visibleName, item.uniqueId});
}

} // namespace

inline namespace applist_test {

ClientHost::ClientHost() {
    m_client = std::make_unique<AppListClient>(m_executor.GetExecutor(), Events());
}

AppListClient::Events ClientHost::Events() {
    AppListClient::Events handlers;
    handlers.connected = [this] { OnEvent("connected"); };
    handlers.lost = [this] { OnEvent("lost"); };
    handlers.changed = [this] { OnEvent("changed"); };
    handlers.selectionChanged = [this](const auto& item) { OnEvent(Named("selected ", item)); };
    handlers.clicked = [this](const auto& item) { OnEvent(Named("clicked ", item)); };
    return handlers;
}

void ClientHost::OnEvent(const std::string& event) {
    events.push_back(event);
    if (onEvent) {
        onEvent(event);
    }
}

bool ClientHost::WaitUntil(const std::function<bool()>& happened,
                           std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!happened()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        // The tasks wake the loop; the limit is for conditions of the partner's side.
        pollfd descriptor{m_executor.GetDescriptor(), POLLIN, 0};
        poll(&descriptor, 1, 10);
        m_executor.Dispatch();
    }
    return true;
}

bool ClientHost::WaitForEvent(const std::string& event) {
    return WaitUntil(
        [&] { return std::find(events.begin(), events.end(), event) != events.end(); });
}

void ClientHost::DispatchFor(std::chrono::milliseconds time) {
    WaitUntil([] { return false; }, time);
}

AppListClient::Completion ClientHost::Record() {
    return [this](AppListClient::Outcome outcome, const std::string& reason) {
        outcomes.push_back(outcome);
        reasons.push_back(reason);
    };
}

std::pair<std::string, std::string> ClientHost::Records() const {
    std::string list;
    for (const AppListClient::Item& item : m_client->GetItems()) {
        list += ::Record(item);
    }
    const auto selection = m_client->GetSelection();
    return {list, selection ? ::Record(*selection) : ""};
}

std::vector<AppListClient::Item> LetterItems(const std::string& ids, const std::string& suffix) {
    std::vector<AppListClient::Item> items;
    for (const char id : ids) {
        items.push_back({std::string(1, id), std::string(1, id) + suffix});
    }
    return items;
}

} // namespace applist_test
