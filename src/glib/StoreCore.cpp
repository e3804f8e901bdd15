#include "StoreCore.h"

#include <algorithm>
#include <optional>
#include <utility>

#include <applist/AppListExecutors.h>

namespace applist_internal {

namespace {

bool Reject(GError** error, GIOErrorEnum code, const char* reason) {
    g_set_error_literal(error, G_IO_ERROR, code, reason);
    return false;
}

// @return whether a change of the host's list was accepted
bool IsAccepted(const std::string& rejection, GError** error) {
    return rejection.empty() || Reject(error, G_IO_ERROR_INVALID_ARGUMENT, rejection.c_str());
}

SharedItems ItemsOf(const Entries& entries) {
    SharedItems items;
    items.reserve(entries.size());
    for (const EntryPtr& entry : entries) {
        items.push_back(ItemOf(entry.get()));
    }
    return items;
}

std::vector<AppListClient::Item> Copy(const SharedItems& items) {
    std::vector<AppListClient::Item> copy;
    copy.reserve(items.size());
    for (const SharedItem& item : items) {
        copy.push_back(*item);
    }
    return copy;
}

Entries OneEntry(AppListEntry* entry) {
    Entries entries;
    entries.push_back(RefEntry(entry));
    return entries;
}

void Notify(AppListStore* store, const char* property) {
    g_object_notify(G_OBJECT(store), property);
}

} // namespace

StoreCore::StoreCore(AppListStore* store) noexcept
    : m_store(store),
      m_reference(store),
      m_entries([this](const auto&... range) { OnRange(range...); }) {
    const std::unique_ptr<GMainContext, void (*)(GMainContext*)> context(
        g_main_context_ref_thread_default(), g_main_context_unref);
    m_client =
        std::make_unique<AppListClient>(MainContextExecutor(context.get()), EventsOfClient());
}

void StoreCore::Close() noexcept {
    m_isConnected = false;
    m_client.reset();
}

std::size_t StoreCore::Selected() const noexcept {
    const SharedItem selection = m_list.Selection();
    if (selection == nullptr) {
        return Count();
    }
    AppListEntry* const reported = At(m_reportedPosition);
    if (reported != nullptr && ItemOf(reported)->uniqueId == selection->uniqueId) {
        return m_reportedPosition;
    }
    return m_entries.IndexOf(selection->uniqueId);
}

// Changes: the host's list, then the client, then the entries with their signals

bool StoreCore::SetItems(Entries entries, GError** error) noexcept {
    const SharedItems items = ItemsOf(entries);
    if (!MayChangeList(error) || !IsAccepted(m_list.Set(items), error)) {
        return false;
    }
    m_client->SetItems(Copy(items), ReportOutcome());
    EndChange([&] { m_entries.Set(std::move(entries)); });
    return true;
}

bool StoreCore::Append(Entries entries, GError** error) noexcept {
    const SharedItems items = ItemsOf(entries);
    if (!MayChangeList(error) || !IsAccepted(m_list.Add(items), error)) {
        return false;
    }
    if (items.size() == 1) {
        m_client->AddItemAtEnd(*items.front(), ReportOutcome());
    } else {
        m_client->AddItems(Copy(items), ReportOutcome());
    }
    EndChange([&] { m_entries.Replace(Count(), 0, std::move(entries)); });
    return true;
}

bool StoreCore::Remove(const char* id, GError** error) noexcept {
    if (!MayChangeList(error) || !IsAccepted(m_list.Remove(id), error)) {
        return false;
    }
    m_client->RemoveItem(id, ReportOutcome());
    EndChange([&] { m_entries.Replace(IndexOf(id), 1, {}); });
    return true;
}

bool StoreCore::Replace(const char* id, AppListEntry* entry, GError** error) noexcept {
    const SharedItem& item = ItemOf(entry);
    if (!MayChangeList(error) || !IsAccepted(m_list.Modify(id, item), error)) {
        return false;
    }
    m_client->ModifyItem(id, *item, ReportOutcome());
    EndChange([&] {
        const std::size_t position = IndexOf(id);
        if (At(position) != entry) {
            m_entries.Replace(position, 1, OneEntry(entry));
        }
    });
    return true;
}

bool StoreCore::RemoveAll(GError** error) noexcept {
    if (!MayChangeList(error)) {
        return false;
    }
    m_list.Clear();
    m_client->RemoveAllItems(ReportOutcome());
    EndChange([&] { m_entries.Replace(0, Count(), {}); });
    return true;
}

bool StoreCore::Select(const char* id, GError** error) noexcept {
    if (!IsOpen(error) || !IsAccepted(m_list.Select(id), error)) {
        return false;
    }
    m_client->SetSelection(id, ReportOutcome());
    ReportSelection();
    return true;
}

bool StoreCore::Click(const char* id, GError** error) noexcept {
    if (!IsOpen(error)) {
        return false;
    }
    if (IndexOf(id) == Count()) {
        const std::string reason =
            "the list has no item with the unique id '" + std::string(id) + "'";
        return IsAccepted(reason, error);
    }
    m_client->SetClicked(id, ReportOutcome());
    return true;
}

bool StoreCore::IsOpen(GError** error) const {
    return m_client != nullptr || Reject(error, G_IO_ERROR_CLOSED, "the store has ended");
}

// Each handler of a signal relies on the positions of this signal.
bool StoreCore::MayChangeList(GError** error) const {
    if (m_entries.IsChanging()) {
        return Reject(error, G_IO_ERROR_PENDING,
                      "a handler of items-changed must not change the list");
    }
    return IsOpen(error);
}

// In the handlers of the first signal, the selection is already the one after the change.
template <class Change>
void StoreCore::EndChange(Change change) {
    const std::size_t count = Count();
    ReadSelection();
    change();
    if (Count() != count) {
        Notify(m_store, "n-items");
    }
    ReportSelection();
}

void StoreCore::OnRange(std::size_t position, const Entries& removed, std::size_t added) {
    m_isReportedEntryRemoved |= std::any_of(removed.begin(), removed.end(), [&](const auto& entry) {
        return entry == m_reportedEntry;
    });
    g_list_model_items_changed(G_LIST_MODEL(m_store), static_cast<guint>(position),
                               static_cast<guint>(removed.size()), static_cast<guint>(added));
}

// The selection

void StoreCore::ReadSelection() {
    const auto selection = m_client->GetSelection();
    m_list.SelectLikePartner(selection ? selection->uniqueId : "");
}

void StoreCore::ReportSelection() {
    const std::size_t position = Selected();
    AppListEntry* const entry = At(position);
    const bool isMoved = position != std::exchange(m_reportedPosition, position);
    const bool isRemoved = std::exchange(m_isReportedEntryRemoved, false);
    const bool isOther = entry != m_reportedEntry.get();
    m_reportedEntry = entry == nullptr ? nullptr : RefEntry(entry);
    if (isOther || isRemoved || (isMoved && entry != nullptr)) {
        Notify(m_store, "selected");
    }
    if (isOther) {
        Notify(m_store, "selected-item");
    }
}

// Events of the client

AppListClient::Events StoreCore::EventsOfClient() {
    AppListClient::Events events;
    events.connected = [reference = m_reference] {
        if (const StorePtr store = reference.Lock()) {
            CoreOf(store.get()).OnConnection(true);
        }
    };
    events.lost = [reference = m_reference] {
        if (const StorePtr store = reference.Lock()) {
            CoreOf(store.get()).OnConnection(false);
        }
    };
    events.selectionChanged = [reference = m_reference](const auto& /*selection*/) {
        if (const StorePtr store = reference.Lock()) {
            CoreOf(store.get()).OnSelection();
        }
    };
    events.changed = [reference = m_reference] {
        if (const StorePtr store = reference.Lock()) {
            CoreOf(store.get()).OnPartnerChange();
        }
    };
    events.clicked = [reference = m_reference](const auto& selection) {
        if (const StorePtr store = reference.Lock()) {
            CoreOf(store.get()).OnClick(selection ? selection->uniqueId : "");
        }
    };
    return events;
}

AppListClient::Completion StoreCore::ReportOutcome() {
    return [reference = m_reference](AppListClient::Outcome outcome, const std::string& reason) {
        if (const StorePtr store = reference.Lock()) {
            CoreOf(store.get()).OnOutcome(outcome, reason);
        }
    };
}

void StoreCore::OnConnection(bool isConnected) noexcept {
    m_isConnected = isConnected;
    Notify(m_store, "connected");
}

// The event may be older than a selection of the host.
void StoreCore::OnSelection() noexcept {
    ReadSelection();
    ReportSelection();
}

void StoreCore::OnClick(const std::string& id) noexcept {
    g_signal_emit_by_name(m_store, "clicked", At(m_entries.IndexOf(id)));
}

void StoreCore::OnPartnerChange() noexcept {
    g_signal_emit_by_name(m_store, "partner-changed");
}

void StoreCore::OnOutcome(AppListClient::Outcome outcome, const std::string& reason) noexcept {
    g_signal_emit_by_name(m_store, "outcome", static_cast<int>(outcome), reason.c_str());
}

} // namespace applist_internal
