// A host of the store: it records the signals, checks the list at each of them, and iterates the
// main context while it waits.
#ifndef APPLIST_TESTS_STOREHOST_H
#define APPLIST_TESTS_STOREHOST_H

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <applist/applist-glib.h>

#include "StrictListModel.h"

inline namespace applist_test {

class StoreHost {
public:
    /** @param report receives each violation; without it, a violation ends the process. */
    explicit StoreHost(StrictListModel::Report report = Abort);
    ~StoreHost();

    StoreHost(const StoreHost&) = delete;
    StoreHost& operator=(const StoreHost&) = delete;

    AppListStore* Store() { return m_store; }
    StrictListModel& Strict() { return *m_strict; }

    /** Releases the reference of the host. */
    void Release();

    bool WaitUntil(const std::function<bool()>& happened);
    bool WaitForEvent(const std::string& event);

    /** The ids in list order, and the selected one. */
    std::string Ids();
    std::string Selected();

    /** The list and the selection as the records that the partner must have. */
    std::pair<std::string, std::string> Records();

    /** Called with each event. */
    std::function<void(const std::string& event)> onEvent;
    /** Signals: "items-changed", "notify PROPERTY", "clicked ID", "outcome NAME", ... */
    std::vector<std::string> events;

private:
    [[noreturn]] static void Abort(const std::string& violation);

    static void cb_ItemsChanged(GListModel* model, guint position, guint removed, guint added,
                                gpointer user_data);
    static void cb_Notify(GObject* object, GParamSpec* property, gpointer user_data);
    static void cb_Clicked(AppListStore* store, AppListEntry* entry, gpointer user_data);
    static void cb_Outcome(AppListStore* store, AppListOutcome outcome, const char* reason,
                           gpointer user_data);
    static void cb_PartnerChanged(AppListStore* store, gpointer user_data);
    void OnEvent(const std::string& event);
    void CheckIds();

    const StrictListModel::Report m_report;
    AppListStore* m_store;
    std::unique_ptr<StrictListModel> m_strict;
};

/** Calls of the store with entries of C++. @return the error, or an empty text */
namespace StoreCalls {

using Items = std::vector<std::pair<std::string, std::string>>; ///< ids and names

/** Items with the ids of @p ids, one letter each, and the same names with @p suffix. */
Items Letters(const std::string& ids, const std::string& suffix = "");

std::string Set(AppListStore* store, const Items& items);
std::string Append(AppListStore* store, const Items& items);
std::string Replace(AppListStore* store, const std::string& id, const std::string& newId,
                    const std::string& name);
std::string Remove(AppListStore* store, const std::string& id);
std::string RemoveAll(AppListStore* store);
std::string Select(AppListStore* store, const std::string& id);
std::string Click(AppListStore* store, const std::string& id);

} // namespace StoreCalls

} // namespace applist_test

#endif
