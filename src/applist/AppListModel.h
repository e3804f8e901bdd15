// The interface of the application list.
#ifndef APPLIST_APPLIST_APPLISTMODEL_H
#define APPLIST_APPLIST_APPLISTMODEL_H

#include <vector>

#include "../common/Export.h"

class AppListItem;
class ItemChangeListener;
class ItemClickListener;
class ItemSelectionListener;

/**
 * An ordered list of items with a selection, kept equal to the list of the partner.
 *
 * An operation that changes the list or the selection first changes the host's copy under a lock.
 * The operation then releases the lock and sends the partner one synchronous request. The caller
 * waits for the partner's reply, at most GDBus's default time-out of 25 s
 * (GDBusProxy:g-default-timeout). Without a partner the copy still changes and the request is lost.
 * The partner receives the whole list when it reports that its own list is new.
 *
 * No operation reports a failure to its caller. Failures are logged. A missing partner is reported
 * on standard output, with "Connection not set." or "Proxy not ready".
 *
 * Items and listeners belong to the host and are never deleted. AppListItem and the three listener
 * interfaces define their lifetimes. A lookup compares unique ids, from the front of the list.
 *
 * Any thread may call the operations, except those for listeners. Requests of two threads may reach
 * the partner in a different order from their changes of the copy. Lookups and serialisation,
 * which call the items' accessors, hold the lock, except in SetClicked. The lock is not held during
 * calls to the partner and to listeners.
 */
class APPLIST_API AppListModel {
public:
    /**
     * Selects @p item and sends the selection to the partner. The item need not be in the list. A
     * null item and an item with an empty unique id are ignored.
     */
    virtual void SetSelection(AppListItem* item) = 0;

    /**
     * @return the selected item, which is a pointer of the host, or null. The item need not be in
     *         the list. Sends no request: a selection of the partner is visible after its event.
     */
    virtual AppListItem* GetSelection() = 0;

    /**
     * @return a snapshot of the list. The caller owns the vector; the items belong to the host. An
     *         item may be removed from the list after the call.
     */
    virtual std::vector<AppListItem*> GetAllItems() = 0;

    /**
     * Reports a click on @p item to the partner. Changes nothing and takes no lock. The item need
     * not be in the list, and its pointer is not kept. Null is ignored. Without a partner the click
     * is lost.
     */
    virtual void SetClicked(AppListItem* item) = 0;

    /** Clears list and selection and sends the request, even for an empty list. */
    virtual void RemoveAllItems() = 0;

    /**
     * Appends those of @p items whose unique id is not in the list. Sends all of @p items to the
     * partner, even those that were not appended. Null entries are an error of the caller: they are
     * skipped and logged. The time grows with the product of the number of @p items and
     * the length of the list after the call.
     */
    virtual void AddItems(const std::vector<AppListItem*>& items) = 0;

    /**
     * Appends @p item and sends it to the partner, even if its unique id is in the list. Does
     * nothing for null.
     */
    virtual void AddItemAtEnd(AppListItem* item) = 0;

    /**
     * Removes the first item with @p item's unique id and sends the request. Clears the selection
     * if the removed object is selected. Does nothing without such an item, or for null. @p item
     * need not be the object in the list, and its pointer is not kept.
     */
    virtual void RemoveItem(AppListItem* item) = 0;

    /**
     * Replaces the first item with @p oldItem's unique id by @p newItem and sends the request. The
     * selection becomes @p newItem if the replaced object is selected. Does nothing without such an
     * item, or if either pointer is null.
     */
    virtual void ModifyItem(AppListItem* oldItem, AppListItem* newItem) = 0;

    /** @return the number of items. */
    virtual int GetItemsCount() = 0;

    /**
     * Registers @p listener after the registered ones; a second registration changes nothing.
     * Listeners are called in this order. The listener belongs to the host, must not be null, and
     * must exist until it has been removed or the list has been destroyed.
     *
     * Register listeners right after the construction of the proxy, and never from a listener of
     * the same kind. No request is sent.
     */
    virtual void AddItemSelectionListener(ItemSelectionListener* listener) = 0;

    /**
     * Ends the registration of @p listener; does nothing without one. Does not wait for a call of
     * the listener on another thread. Remove and delete a listener on the thread that iterates the
     * main context, or after that thread has stopped, and never from a listener of the same kind.
     */
    virtual void RemoveItemSelectionListener(ItemSelectionListener* listener) = 0;

    /** Like AddItemSelectionListener, for changes. */
    virtual void AddItemChangeListener(ItemChangeListener* listener) = 0;
    /** Like RemoveItemSelectionListener, for changes. */
    virtual void RemoveItemChangeListener(ItemChangeListener* listener) = 0;
    /** Like AddItemSelectionListener, for clicks. */
    virtual void AddItemClickedListener(ItemClickListener* listener) = 0;
    /** Like RemoveItemSelectionListener, for clicks. */
    virtual void RemoveItemClickedListener(ItemClickListener* listener) = 0;

    virtual ~AppListModel() = default;
};

#endif
