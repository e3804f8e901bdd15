#include "StoreHost.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <set>

#include "MainLoop.h"
#include "Records.h"

inline namespace applist_test {

StoreHost::StoreHost(StrictListModel::Report report)
    : m_report(std::move(report)),
      m_store(applist_store_new()),
      m_strict(std::make_unique<StrictListModel>(G_LIST_MODEL(m_store), m_report)) {
    g_signal_connect(m_store, "items-changed", G_CALLBACK(cb_ItemsChanged), this);
    g_signal_connect(m_store, "notify", G_CALLBACK(cb_Notify), this);
    g_signal_connect(m_store, "clicked", G_CALLBACK(cb_Clicked), this);
    g_signal_connect(m_store, "outcome", G_CALLBACK(cb_Outcome), this);
    g_signal_connect(m_store, "partner-changed", G_CALLBACK(cb_PartnerChanged), this);
}

StoreHost::~StoreHost() {
    Release();
    MainLoop::IterateUntilIdle();
}

void StoreHost::Release() {
    m_strict.reset();
    g_clear_object(&m_store);
}

void StoreHost::Abort(const std::string& violation) {
    std::fprintf(stderr, "%s\n", violation.c_str());
    std::abort();
}

bool StoreHost::WaitUntil(const std::function<bool()>& happened) {
    return MainLoop::IterateUntil(happened, std::chrono::seconds(60));
}

bool StoreHost::WaitForEvent(const std::string& event) {
    return WaitUntil(
        [&] { return std::find(events.begin(), events.end(), event) != events.end(); });
}

std::string StoreHost::Ids() {
    std::string ids;
    for (GObject* const item : m_strict->Copy()) {
        ids += applist_entry_get_id(APPLIST_ENTRY(item));
    }
    return ids;
}

std::string StoreHost::Selected() {
    AppListEntry* const entry = applist_store_get_selected_item(m_store);
    return entry == nullptr ? "" : applist_entry_get_id(entry);
}

std::pair<std::string, std::string> StoreHost::Records() {
    const auto record = [](AppListEntry* entry) {
        return Records::Write({applist_entry_get_name(entry), applist_entry_get_id(entry)});
    };
    std::string list;
    for (GObject* const item : m_strict->Copy()) {
        list += record(APPLIST_ENTRY(item));
    }
    AppListEntry* const selected = applist_store_get_selected_item(m_store);
    return {list, selected == nullptr ? "" : record(selected)};
}

void StoreHost::cb_ItemsChanged(GListModel* /*model*/, guint /*position*/, guint /*removed*/,
                                guint /*added*/, gpointer user_data) {
    auto* const self = static_cast<StoreHost*>(user_data);
    self->CheckIds();
    self->OnEvent("items-changed");
}

void StoreHost::cb_Notify(GObject* /*object*/, GParamSpec* property, gpointer user_data) {
    static_cast<StoreHost*>(user_data)->OnEvent(std::string("notify ") + property->name);
}

void StoreHost::cb_Clicked(AppListStore* /*store*/, AppListEntry* entry, gpointer user_data) {
    static_cast<StoreHost*>(user_data)->OnEvent(
        std::string("clicked ") + (entry == nullptr ? "nothing" : applist_entry_get_id(entry)));
}

void StoreHost::cb_Outcome(AppListStore* /*store*/, AppListOutcome outcome, const char* reason,
                           gpointer user_data) {
    auto* const enumeration = static_cast<GEnumClass*>(g_type_class_ref(APPLIST_TYPE_OUTCOME));
    const std::string name = g_enum_get_value(enumeration, outcome)->value_nick;
    g_type_class_unref(enumeration);
    static_cast<StoreHost*>(user_data)->OnEvent("outcome " + name + (*reason == '\0' ? "" : ": ") +
                                                reason);
}

void StoreHost::cb_PartnerChanged(AppListStore* /*store*/, gpointer user_data) {
    static_cast<StoreHost*>(user_data)->OnEvent("partner-changed");
}

void StoreHost::OnEvent(const std::string& event) {
    if (m_strict != nullptr) {
        m_strict->Check(event.c_str());
    }
    events.push_back(event);
    if (onEvent) {
        onEvent(event);
    }
}

// Also between the ranges of one change: a host may keep its parts of a screen by id.
void StoreHost::CheckIds() {
    std::set<std::string> ids;
    for (GObject* const item : m_strict->Copy()) {
        if (!ids.insert(applist_entry_get_id(APPLIST_ENTRY(item))).second) {
            m_report(std::string("the id ") + applist_entry_get_id(APPLIST_ENTRY(item)) + " twice");
        }
    }
}

namespace {

/** Entries for the length of a call. */
class NewEntries {
public:
    explicit NewEntries(const StoreCalls::Items& items) {
        for (const auto& [id, name] : items) {
            m_entries.push_back(applist_entry_new(id.c_str(), name.c_str()));
        }
    }
    ~NewEntries() {
        for (AppListEntry* const entry : m_entries) {
            g_object_unref(entry);
        }
    }

    NewEntries(const NewEntries&) = delete;
    NewEntries& operator=(const NewEntries&) = delete;

    AppListEntry* const* Data() const { return m_entries.data(); }
    guint Count() const { return static_cast<guint>(m_entries.size()); }

private:
    std::vector<AppListEntry*> m_entries;
};

/** @return the error of a call. Fails if the result of the call does not fit the error. */
template <class Function, class... Arguments>
std::string ErrorOf(Function function, AppListStore* store, Arguments... arguments) {
    g_autoptr(GError) error = nullptr;
    const gboolean accepted = function(store, arguments..., &error);
    g_assert((accepted != FALSE) == (error == nullptr));
    return error == nullptr ? "" : error->message;
}

} // namespace

StoreCalls::Items StoreCalls::Letters(const std::string& ids, const std::string& suffix) {
    Items items;
    for (const char id : ids) {
        items.emplace_back(std::string(1, id), std::string(1, id) + suffix);
    }
    return items;
}

std::string StoreCalls::Set(AppListStore* store, const Items& items) {
    const NewEntries entries(items);
    return ErrorOf(applist_store_set_items, store, entries.Data(), entries.Count());
}

std::string StoreCalls::Append(AppListStore* store, const Items& items) {
    const NewEntries entries(items);
    return ErrorOf(applist_store_append_items, store, entries.Data(), entries.Count());
}

std::string StoreCalls::Replace(AppListStore* store, const std::string& id,
                                const std::string& newId, const std::string& name) {
    const NewEntries entries({{newId, name}});
    return ErrorOf(applist_store_replace, store, id.c_str(), entries.Data()[0]);
}

std::string StoreCalls::Remove(AppListStore* store, const std::string& id) {
    return ErrorOf(applist_store_remove, store, id.c_str());
}

std::string StoreCalls::RemoveAll(AppListStore* store) {
    return ErrorOf(applist_store_remove_all, store);
}

std::string StoreCalls::Select(AppListStore* store, const std::string& id) {
    return ErrorOf(applist_store_select, store, id.c_str());
}

std::string StoreCalls::Click(AppListStore* store, const std::string& id) {
    return ErrorOf(applist_store_click, store, id.c_str());
}

} // namespace applist_test
