// Entries inside the library: their items, and references to them.
#ifndef APPLIST_GLIB_ENTRY_H
#define APPLIST_GLIB_ENTRY_H

#include <memory>
#include <vector>

#include <applist/applist-glib.h>
#include <client/SharedItem.h>

namespace applist_internal {

struct EntryUnref {
    void operator()(AppListEntry* entry) const { g_object_unref(entry); }
};

/** A reference to an entry. */
using EntryPtr = std::unique_ptr<AppListEntry, EntryUnref>;
static_assert(sizeof(EntryPtr) == sizeof(AppListEntry*));

using Entries = std::vector<EntryPtr>;

inline EntryPtr RefEntry(AppListEntry* entry) {
    return EntryPtr(static_cast<AppListEntry*>(g_object_ref(entry)));
}

/** @return the item of an entry, which never changes. */
const SharedItem& ItemOf(AppListEntry* entry);

} // namespace applist_internal

#endif
