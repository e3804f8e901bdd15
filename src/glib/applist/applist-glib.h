/* The application list for hosts that use GLib, GTK, Python or JavaScript: a GListModel. */
#ifndef APPLIST_APPLIST_APPLIST_GLIB_H
#define APPLIST_APPLIST_APPLIST_GLIB_H

#include <gio/gio.h>

G_BEGIN_DECLS

/* Marks the functions that libapplist-glib exports. */
#define APPLIST_GLIB_API __attribute__((visibility("default")))

/**
 * AppListOutcome:
 * @APPLIST_OUTCOME_ANSWERED: the partner has replied to every request
 * @APPLIST_OUTCOME_MERGED: the queue was full, and the change is sent as part of a later difference
 * @APPLIST_OUTCOME_NO_PARTNER: no partner was connected; a new partner receives the whole list, but
 *   no click
 * @APPLIST_OUTCOME_REJECTED: too many clicks wait for the partner, and the click is not sent
 * @APPLIST_OUTCOME_FAILED: a request had no reply, an error, or a reply of a wrong type
 *
 * The outcome of a change, a selection or a click.
 */
/* NOLINTNEXTLINE(modernize-use-using): the header is C */
typedef enum {
    APPLIST_OUTCOME_ANSWERED = 0,
    APPLIST_OUTCOME_MERGED = 1,
    APPLIST_OUTCOME_NO_PARTNER = 2,
    APPLIST_OUTCOME_REJECTED = 3,
    APPLIST_OUTCOME_FAILED = 4
} AppListOutcome;

#define APPLIST_TYPE_OUTCOME (applist_outcome_get_type())

APPLIST_GLIB_API
GType applist_outcome_get_type(void);

#define APPLIST_TYPE_ENTRY (applist_entry_get_type())

/**
 * AppListEntry:
 *
 * An item of an #AppListStore. An entry never changes; a renamed application is another entry with
 * the same id. All threads may read an entry.
 */
APPLIST_GLIB_API
G_DECLARE_FINAL_TYPE(AppListEntry, applist_entry, APPLIST, ENTRY, GObject)

/**
 * AppListEntry:id: (getter get_id)
 *
 * The unique id. A store accepts ids that are not empty and have no line feed.
 */

/**
 * AppListEntry:name: (getter get_name)
 *
 * The name for display. A store accepts names without a line feed.
 */

/**
 * applist_entry_new:
 * @id: the unique id
 * @name: the name for display
 *
 * Creates an entry.
 *
 * Returns: (transfer full): a new entry
 */
APPLIST_GLIB_API
AppListEntry* applist_entry_new(const char* id, const char* name);

/**
 * applist_entry_get_id: (get-property id)
 * @self: an entry
 *
 * Gets the unique id.
 *
 * Returns: (transfer none): the unique id, which exists as long as the entry
 */
APPLIST_GLIB_API
const char* applist_entry_get_id(AppListEntry* self);

/**
 * applist_entry_get_name: (get-property name)
 * @self: an entry
 *
 * Gets the name for display.
 *
 * Returns: (transfer none): the name, which exists as long as the entry
 */
APPLIST_GLIB_API
const char* applist_entry_get_name(AppListEntry* self);

#define APPLIST_TYPE_STORE (applist_store_get_type())

/**
 * AppListStore:
 *
 * A list of #AppListEntry objects, kept equal to the list of the partner process.
 *
 * No function waits for the bus or the partner, except for the end of a store. A function
 * that changes the list does so at once, and emits #GListModel::items-changed with the smallest
 * ranges. The requests to the partner follow in the order of the calls. The partner may start
 * before or after the store, and may be replaced: each new partner receives the whole list and the
 * selection.
 *
 * The functions belong to the thread that creates the store. Signals are emitted on this thread, in
 * the #GMainContext that was thread-default at the creation. The host must iterate this context. A
 * handler of #GListModel::items-changed may select and click, but may not change the list: such
 * changes fail with %G_IO_ERROR_PENDING. The last reference may be released on any thread and in
 * any handler.
 *
 * A process has at most one store at a time, and no other list of this library besides it. A host
 * whose language releases objects late ends a store with g_object_run_dispose(). The end of a store
 * waits for outstanding requests, for two seconds at most. After the end, changes fail with
 * %G_IO_ERROR_CLOSED, and the list stays readable.
 */
APPLIST_GLIB_API
G_DECLARE_FINAL_TYPE(AppListStore, applist_store, APPLIST, STORE, GObject)

/**
 * AppListStore:connected: (getter is_connected)
 *
 * Whether a partner is ready.
 */

/**
 * AppListStore:item-type:
 *
 * The type of the items: #AppListEntry.
 */

/**
 * AppListStore:n-items:
 *
 * The number of items.
 */

/**
 * AppListStore:selected: (getter get_selected) (setter set_selected)
 *
 * The position of the selection, or %G_MAXUINT, which is %GTK_INVALID_LIST_POSITION, without a
 * selection. Host and partner change the selection. The signal #GObject::notify also follows when
 * the selected entry was removed and added again, so that a property binding to a
 * GtkSingleSelection selects this entry again.
 */

/**
 * AppListStore:selected-item: (getter get_selected_item)
 *
 * The selected entry, or %NULL.
 */

/**
 * AppListStore::clicked:
 * @self: the store
 * @entry: (nullable): the entry that was selected at the time of the click, if the list still
 * contains this entry
 *
 * The partner reports a click. The report names no item; clicks concern the selection.
 */

/**
 * AppListStore::outcome:
 * @self: the store
 * @outcome: the outcome
 * @reason: the reason, empty for %APPLIST_OUTCOME_ANSWERED and %APPLIST_OUTCOME_MERGED
 *
 * Emitted once for each accepted change, selection and click, in the order of the calls, unless the
 * store ends first. A full queue reports its merged changes and its rejected clicks at once, before
 * the outcomes of earlier calls.
 */

/**
 * AppListStore::partner-changed:
 * @self: the store
 *
 * The partner reports a change of its list.
 */

/**
 * applist_store_new:
 *
 * Creates an empty store, which starts to search for the partner.
 *
 * Returns: (transfer full): a new store
 */
APPLIST_GLIB_API
AppListStore* applist_store_new(void);

/**
 * applist_store_set_items:
 * @self: a store
 * @entries: (array length=n_entries) (transfer none) (nullable): the wanted entries
 * @n_entries: the number of @entries
 * @error: the reason of a failure
 *
 * Makes the list equal to @entries. If the list already has an entry with an equal id and name, the
 * list keeps its own entry object. "items-changed" is emitted for the changed ranges alone, or once
 * for all of them if they are more than 1,000. The selection stays if @entries has its id.
 *
 * Returns: %FALSE with an error of the domain %G_IO_ERROR if an entry is invalid
 */
APPLIST_GLIB_API
gboolean applist_store_set_items(AppListStore* self, AppListEntry* const* entries, guint n_entries,
                                 GError** error);

/**
 * applist_store_append:
 * @self: a store
 * @entry: (transfer none): an entry
 * @error: the reason of a failure
 *
 * Appends @entry.
 *
 * Returns: %FALSE with an error of the domain %G_IO_ERROR if the entry is invalid or in the list
 */
APPLIST_GLIB_API
gboolean applist_store_append(AppListStore* self, AppListEntry* entry, GError** error);

/**
 * applist_store_append_items:
 * @self: a store
 * @entries: (array length=n_entries) (transfer none) (nullable): the entries
 * @n_entries: the number of @entries
 * @error: the reason of a failure
 *
 * Appends @entries. One request appends the entries up to the 2,048th place of the list; each later
 * entry has a separate request.
 *
 * Returns: %FALSE with an error of the domain %G_IO_ERROR if an entry is invalid or in the list; no
 *   entry is appended then
 */
APPLIST_GLIB_API
gboolean applist_store_append_items(AppListStore* self, AppListEntry* const* entries,
                                    guint n_entries, GError** error);

/**
 * applist_store_remove:
 * @self: a store
 * @id: the id of an entry
 * @error: the reason of a failure
 *
 * Removes the entry, and the selection if it is this entry.
 *
 * Returns: %FALSE with an error of the domain %G_IO_ERROR if the list has no such entry
 */
APPLIST_GLIB_API
gboolean applist_store_remove(AppListStore* self, const char* id, GError** error);

/**
 * applist_store_replace:
 * @self: a store
 * @id: the id of an entry
 * @entry: (transfer none): the entry for its place
 * @error: the reason of a failure
 *
 * Replaces an entry. @entry becomes the selection if it replaces the selection.
 *
 * Returns: %FALSE with an error of the domain %G_IO_ERROR if the list has no such entry, if @entry
 * is invalid, or if another entry has its id
 */
APPLIST_GLIB_API
gboolean applist_store_replace(AppListStore* self, const char* id, AppListEntry* entry,
                               GError** error);

/**
 * applist_store_remove_all:
 * @self: a store
 * @error: the reason of a failure
 *
 * Removes all entries and the selection.
 *
 * Returns: %FALSE with an error of the domain %G_IO_ERROR if the list may not be changed now
 */
APPLIST_GLIB_API
gboolean applist_store_remove_all(AppListStore* self, GError** error);

/**
 * applist_store_select:
 * @self: a store
 * @id: the id of an entry
 * @error: the reason of a failure
 *
 * Selects the entry. The protocol has no request that only ends a selection.
 *
 * Returns: %FALSE with an error of the domain %G_IO_ERROR if the list has no such entry
 */
APPLIST_GLIB_API
gboolean applist_store_select(AppListStore* self, const char* id, GError** error);

/**
 * applist_store_click:
 * @self: a store
 * @id: the id of an entry
 * @error: the reason of a failure
 *
 * Reports a click on the entry to the partner.
 *
 * Returns: %FALSE with an error of the domain %G_IO_ERROR if the list has no such entry
 */
APPLIST_GLIB_API
gboolean applist_store_click(AppListStore* self, const char* id, GError** error);

/**
 * applist_store_find:
 * @self: a store
 * @id: an id
 * @position: (out) (optional): receives the position of the entry, or %G_MAXUINT
 *
 * Looks for the entry with an id.
 *
 * Returns: (transfer none) (nullable): the entry, or %NULL if the list has no such entry
 */
APPLIST_GLIB_API
AppListEntry* applist_store_find(AppListStore* self, const char* id, guint* position);

/**
 * applist_store_get_selected: (get-property selected)
 * @self: a store
 *
 * Gets the position of the selection.
 *
 * Returns: the position, or %G_MAXUINT without a selection
 */
APPLIST_GLIB_API
guint applist_store_get_selected(AppListStore* self);

/**
 * applist_store_set_selected: (set-property selected)
 * @self: a store
 * @position: the position of an entry
 *
 * Selects the entry at @position, unless it is already selected. A position without an entry is
 * ignored, because the protocol has no request that only ends a selection.
 */
APPLIST_GLIB_API
void applist_store_set_selected(AppListStore* self, guint position);

/**
 * applist_store_get_selected_item: (get-property selected-item)
 * @self: a store
 *
 * Gets the selected entry.
 *
 * Returns: (transfer none) (nullable): the entry, or %NULL without a selection
 */
APPLIST_GLIB_API
AppListEntry* applist_store_get_selected_item(AppListStore* self);

/**
 * applist_store_is_connected: (get-property connected)
 * @self: a store
 *
 * Gets whether a partner is ready.
 *
 * Returns: %TRUE if a partner is ready
 */
APPLIST_GLIB_API
gboolean applist_store_is_connected(AppListStore* self);

G_END_DECLS

#endif
