// The list, the selection and the client of a store.
#ifndef APPLIST_GLIB_STORECORE_H
#define APPLIST_GLIB_STORECORE_H

#include <cstddef>
#include <memory>
#include <string>

#include <applist/AppListClient.h>
#include <client/HostList.h>

#include "EntryList.h"
#include "StoreReference.h"

namespace applist_internal {

/**
 * Belongs to the thread of its store, and emits the signals of the store. A function may be called
 * in a handler of such a signal, with the limits of applist-glib.h. The caller holds a reference to
 * the store during each call.
 *
 * No function throws: without memory the process ends, as in GLib. The host's list of the client is
 * changed by this class alone, and so equals m_list. The client receives the partner's selection
 * first. m_list receives it with the event, or with an earlier change of the list.
 */
class StoreCore {
public:
    /** Starts the client. @param store the owner, whose construction is complete */
    explicit StoreCore(AppListStore* store) noexcept;

    StoreCore(const StoreCore&) = delete;
    StoreCore& operator=(const StoreCore&) = delete;

    /** Ends the client. No event follows. */
    void Close() noexcept;

    std::size_t Count() const noexcept { return m_entries.Count(); }
    /** @return the entry, or null past the end. */
    AppListEntry* At(std::size_t position) const noexcept { return m_entries.At(position); }
    /** @return the position of the entry, or Count(). */
    std::size_t IndexOf(const char* id) const noexcept { return m_entries.IndexOf(id); }
    /** @return the position of the selection, or Count() without one. */
    std::size_t Selected() const noexcept;
    bool IsConnected() const noexcept { return m_isConnected; }

    /** @name Changes: each returns whether it was accepted, and sets @p error otherwise */
    /** @{ */
    bool SetItems(Entries entries, GError** error) noexcept;
    bool Append(Entries entries, GError** error) noexcept;
    bool Remove(const char* id, GError** error) noexcept;
    bool Replace(const char* id, AppListEntry* entry, GError** error) noexcept;
    bool RemoveAll(GError** error) noexcept;
    bool Select(const char* id, GError** error) noexcept;
    bool Click(const char* id, GError** error) noexcept;
    /** @} */

private:
    AppListClient::Events EventsOfClient();
    AppListClient::Completion ReportOutcome();

    bool IsOpen(GError** error) const;
    bool MayChangeList(GError** error) const;
    template <class Change>
    void EndChange(Change change);
    void OnRange(std::size_t position, const Entries& removed, std::size_t added);
    void ReadSelection();
    void ReportSelection();

    void OnConnection(bool isConnected) noexcept;
    void OnSelection() noexcept;
    void OnClick(const std::string& id) noexcept;
    void OnPartnerChange() noexcept;
    void OnOutcome(AppListClient::Outcome outcome, const std::string& reason) noexcept;

    AppListStore* const m_store;
    const StoreReference m_reference;
    std::unique_ptr<AppListClient> m_client; // null after Close
    HostList m_list;
    EntryList m_entries;
    bool m_isConnected = false;

    // As the last notifications reported them
    EntryPtr m_reportedEntry;
    std::size_t m_reportedPosition = 0;    // the number of items without a selection
    bool m_isReportedEntryRemoved = false; // since then, and perhaps added again
};

/** @return the core of a store. */
StoreCore& CoreOf(AppListStore* store);

} // namespace applist_internal

#endif
