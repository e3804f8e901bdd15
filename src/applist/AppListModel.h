// The application list as the host and its listeners see it.
#ifndef APPLIST_APPLIST_APPLISTMODEL_H
#define APPLIST_APPLIST_APPLISTMODEL_H

#include <vector>

#include "../common/Export.h"

class AppListItem;
class ItemChangeListener;
class ItemClickListener;
class ItemSelectionListener;

/**
 * An ordered list of items with a selection, kept in step with the partner.
 *
 * Every operation changes this side's copy first and then, without holding the lock, tells the
 * partner with one synchronous request, which blocks the caller until the partner answers, at most
 * GDBus's default time-out, 25 s (GDBusProxy:g-default-timeout). Without a partner the copy changes
 * all the same and the request is lost; the partner gets the whole list when it says that its own
 * has been created anew. Nothing is reported to the caller: failures are in the log, but for a
 * missing partner, which "Connection not set." or "Proxy not ready" on standard output tells.
 *
 * Items and listeners are the host's and are never deleted (AppListItem, and the three listener
 * interfaces, say how long they must live). Items are looked up by unique id, from the front.
 *
 * All operations but those of the listeners may be called from any thread; two threads' requests
 * may reach the partner in another order than the one in which they changed the copy. The lock is
 * held while items are looked up and serialised (their accessors run under it) and never while the
 * partner or a listener is waited for.
 */
class APPLIST_API AppListModel {
public:
    /**
     * Selects @p item and tells the partner. A null item, or one with an empty unique id, leaves
     * the selection as it is and tells nobody. The item need not be in the list.
     */
    virtual void SetSelection(AppListItem* item) = 0;

    /**
     * @return the selected item (the host's own pointer), or null. It need not be in the list. Asks
     *         nobody: what the partner has selected since is here once its event has been taken.
     */
    virtual AppListItem* GetSelection() = 0;

    /**
     * @return a snapshot of the list; the vector is the caller's, the pointers in it are the host's
     *         own and may be removed from the list while the caller looks at them.
     */
    virtual std::vector<AppListItem*> GetAllItems() = 0;

    /**
     * Tells the partner that @p item was clicked; changes nothing and takes no lock. Null is
     * ignored. The item need not be in the list, and is not kept. Without a partner the click is
     * lost.
     */
    virtual void SetClicked(AppListItem* item) = 0;

    /** Empties list and selection, and tells the partner, also when there was nothing. */
    virtual void RemoveAllItems() = 0;

    /**
     * Appends those of @p items whose unique id is not in the list yet, and sends the partner all
     * of them, also those that were not appended. Null entries are a caller's error: they are
     * skipped, and logged as errors. The cost grows with the product of both lists' lengths.
     */
    virtual void AddItems(const std::vector<AppListItem*>& items) = 0;

    /** Appends @p item and tells the partner, also when its unique id is in the list already. */
    virtual void AddItemAtEnd(AppListItem* item) = 0;

    /**
     * Removes the first item with @p item's unique id, and the selection if it was that very
     * object, and tells the partner. Does nothing when there is none. @p item may be another object
     * than the one in the list, and is not kept.
     */
    virtual void RemoveItem(AppListItem* item) = 0;

    /**
     * Puts @p newItem in the place of the first item with @p oldItem's unique id, moves the
     * selection along if it was that very object, and tells the partner. Does nothing when there
     * is none or either pointer is null.
     */
    virtual void ModifyItem(AppListItem* oldItem, AppListItem* newItem) = 0;

    /** @return the number of items. */
    virtual int GetItemsCount() = 0;

    /**
     * Registers @p listener, behind those that are registered; a second time changes nothing.
     * Events are told in this order. The listener stays the host's and must live until it has been
     * removed or the list is gone; null must not be registered.
     *
     * Register right after creating the proxy, and never from inside a listener of the same kind.
     * The partner is told nothing.
     */
    virtual void AddItemSelectionListener(ItemSelectionListener* listener) = 0;

    /**
     * Ends the registration of @p listener; does nothing when there is none. An event that is being
     * told on another thread is not waited for: remove and delete on the thread that iterates the
     * main context, or when it has stopped, and never from inside a listener of the same kind.
     */
    virtual void RemoveItemSelectionListener(ItemSelectionListener* listener) = 0;

    /** The same as AddItemSelectionListener, for changes. */
    virtual void AddItemChangeListener(ItemChangeListener* listener) = 0;
    /** The same as RemoveItemSelectionListener, for changes. */
    virtual void RemoveItemChangeListener(ItemChangeListener* listener) = 0;
    /** The same as AddItemSelectionListener, for clicks. */
    virtual void AddItemClickedListener(ItemClickListener* listener) = 0;
    /** The same as RemoveItemSelectionListener, for clicks. */
    virtual void RemoveItemClickedListener(ItemClickListener* listener) = 0;

    virtual ~AppListModel() = default;
};

#endif
