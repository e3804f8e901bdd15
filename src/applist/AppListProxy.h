// The library's entry point: an application list that is kept in step with the partner.
#ifndef APPLIST_APPLIST_APPLISTPROXY_H
#define APPLIST_APPLIST_APPLISTPROXY_H

#include <vector>

#include "../common/Export.h"

class AppListItem;
class AppListModel;
class ItemChangeListener;
class ItemClickListener;
class ItemSelectionListener;

/**
 * The list of one host. Creating it joins the system bus and starts looking for the partner;
 * destroying it ends the connection and leaves the partner's list as it is.
 *
 * The list itself is made here and owned by the proxy, and goes with it: a model that a listener
 * was given must not be used after that.
 *
 * The connection comes up by itself once the host iterates the GLib main context that is the
 * thread-default one of the creating thread; until then operations change this side's list and
 * their requests are lost. Listeners are called on the thread that iterates that context, which
 * must have pushed it as its thread-default one, unless it is the global default context.
 *
 * Every operation does what the one of the same name does in AppListModel, where ownership, threads
 * and failures are told. Reading the whole list, counting it and reporting a click go through the
 * model that a listener is given.
 *
 * **Destroying.** No thread may be inside an operation, and not from inside a listener. The
 * destructor waits for a handshake step under way, but not for a notification being handled: a host
 * whose loop runs in another thread destroys the proxy on that thread, or stops the loop first.
 * JavaMWDbusRemote tells what stays on the bus connection afterwards. One proxy a process:
 * while the first lives, or while the host holds the shared bus connection after the first has
 * gone, a second one may never find the partner, and destroying one may end the other's watch of
 * it.
 */
class APPLIST_API AppListProxy {
public:
    /**
     * Blocks for five round trips to the bus daemon, a few hundred microseconds on an idle device
     * and at most GDBus's default time-out, 25 s each, on a stalled one. Throws only
     * std::bad_alloc. A bus that cannot be reached is logged, and leaves a list that never finds a
     * partner.
     */
    AppListProxy();
    /** Tells the partner nothing. See the class for what must have ended before. */
    ~AppListProxy();

    /** @copydoc AppListModel::SetSelection */
    void SetSelection(AppListItem* item);
    /** @copydoc AppListModel::GetSelection */
    AppListItem* GetSelection();
    /** @copydoc AppListModel::RemoveAllItems */
    void RemoveAllItems();
    /** @copydoc AppListModel::AddItems */
    void AddItems(const std::vector<AppListItem*>& items);
    /** @copydoc AppListModel::AddItemAtEnd */
    void AddItemAtEnd(AppListItem* item);
    /** @copydoc AppListModel::RemoveItem */
    void RemoveItem(AppListItem* item);
    /** @copydoc AppListModel::ModifyItem */
    void ModifyItem(AppListItem* oldItem, AppListItem* newItem);
    /** @copydoc AppListModel::AddItemSelectionListener */
    void AddItemSelectionListener(ItemSelectionListener* listener);
    /** @copydoc AppListModel::RemoveItemSelectionListener */
    void RemoveItemSelectionListener(ItemSelectionListener* listener);
    /** @copydoc AppListModel::AddItemChangeListener */
    void AddItemChangeListener(ItemChangeListener* listener);
    /** @copydoc AppListModel::RemoveItemChangeListener */
    void RemoveItemChangeListener(ItemChangeListener* listener);
    /** @copydoc AppListModel::AddItemClickedListener */
    void AddItemClickedListener(ItemClickListener* listener);
    /** @copydoc AppListModel::RemoveItemClickedListener */
    void RemoveItemClickedListener(ItemClickListener* listener);

    /**
     * Copies nothing: the new proxy has no list. Destroying it or assigning to it is all that may
     * be done with it; no other operation checks.
     */
    AppListProxy(const AppListProxy& other);

    /** Copies nothing: both proxies keep their own lists. */
    AppListProxy& operator=(const AppListProxy& other);

private:
    AppListModel* m_model = nullptr;
};

#endif
