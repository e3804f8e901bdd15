// The functions of the client: each changes or reads the shared state and returns.
#include <applist/AppListClient.h>

#include <utility>

#include <client/ClientCore.h>

using namespace applist_internal;

namespace {

SharedItem Share(AppListClient::Item item) {
    return std::make_shared<const AppListClient::Item>(std::move(item));
}

SharedItems Share(std::vector<AppListClient::Item> items) {
    SharedItems shared;
    shared.reserve(items.size());
    for (AppListClient::Item& item : items) {
        shared.push_back(Share(std::move(item)));
    }
    return shared;
}

// The host may have been compiled with an older header, whose structure has fewer members.
AppListClient::Events KnownMembers(const AppListClient::Events& events) {
    AppListClient::Events known;
    const auto copy = [&](const auto member) {
        const auto* const begin = reinterpret_cast<const char*>(&events);
        const auto* const end = reinterpret_cast<const char*>(&(events.*member) + 1);
        if (static_cast<std::size_t>(end - begin) <= events.structSize) {
            known.*member = events.*member;
        }
    };
    using Events = AppListClient::Events;
    copy(&Events::connected);
    copy(&Events::lost);
    copy(&Events::selectionChanged);
    copy(&Events::changed);
    copy(&Events::clicked);
    return known;
}

} // namespace

AppListClient::AppListClient(Executor executor, const Events& events)
    : m_core(std::make_shared<ClientCore>(std::move(executor), KnownMembers(events))) {
    m_core->Start();
}

AppListClient::~AppListClient() {
    m_core->Close();
}

std::vector<AppListClient::Item> AppListClient::GetItems() const {
    const SharedItems shared = m_core->Items();
    std::vector<Item> items;
    items.reserve(shared.size());
    for (const SharedItem& item : shared) {
        items.push_back(*item);
    }
    return items;
}

std::size_t AppListClient::GetItemsCount() const {
    return m_core->ItemsCount();
}

std::optional<AppListClient::Item> AppListClient::GetSelection() const {
    const SharedItem item = m_core->Selection();
    return item == nullptr ? std::nullopt : std::optional<Item>(*item);
}

bool AppListClient::IsConnected() const {
    return m_core->IsConnected();
}

void AppListClient::SetItems(std::vector<Item> items, Completion completion) {
    m_core->Change({ListChange::Kind::SET, "", Share(std::move(items)), std::move(completion)},
                   [](HostList& list, const ListChange& change) { return list.Set(change.items); });
}

void AppListClient::AddItems(std::vector<Item> items, Completion completion) {
    m_core->Change({ListChange::Kind::ADD, "", Share(std::move(items)), std::move(completion)},
                   [](HostList& list, const ListChange& change) { return list.Add(change.items); });
}

void AppListClient::AddItemAtEnd(Item item, Completion completion) {
    m_core->Change({ListChange::Kind::ADD, "", {Share(std::move(item))}, std::move(completion)},
                   [](HostList& list, const ListChange& change) { return list.Add(change.items); });
}

void AppListClient::RemoveItem(const std::string& uniqueId, Completion completion) {
    m_core->Change(
        {ListChange::Kind::REMOVE, uniqueId, {}, std::move(completion)},
        [](HostList& list, const ListChange& change) { return list.Remove(change.uniqueId); });
}

void AppListClient::ModifyItem(const std::string& uniqueId, Item item, Completion completion) {
    m_core->Change(
        {ListChange::Kind::MODIFY, uniqueId, {Share(std::move(item))}, std::move(completion)},
        [](HostList& list, const ListChange& change) {
            return list.Modify(change.uniqueId, change.items.front());
        });
}

void AppListClient::RemoveAllItems(Completion completion) {
    m_core->Change({ListChange::Kind::REMOVE_ALL, "", {}, std::move(completion)},
                   [](HostList& list, const ListChange& /*change*/) {
                       list.Clear();
                       return std::string();
                   });
}

void AppListClient::SetSelection(const std::string& uniqueId, Completion completion) {
    m_core->Change(
        {ListChange::Kind::SELECT, uniqueId, {}, std::move(completion)},
        [](HostList& list, const ListChange& change) { return list.Select(change.uniqueId); });
}

void AppListClient::SetClicked(const std::string& uniqueId, Completion completion) {
    m_core->Click(uniqueId, std::move(completion));
}
