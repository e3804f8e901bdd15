// The library's entry point: an application list that is kept equal to the partner's list.
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
 * The list of one host. The constructor joins the system bus and starts the search for the partner.
 * The destructor ends the connection and leaves the partner's list unchanged.
 *
 * The proxy owns the model behind it. A listener must not use its model pointer after the
 * destruction of the proxy.
 *
 * **Threads.** The connection is established while the host iterates the GLib main context that is
 * the thread-default one of the constructing thread. Until then operations change the host's list
 * and their requests are lost. Listeners are called on the thread that iterates that context. That
 * thread must have pushed the context as its thread-default one, unless it is the global default
 * context.
 *
 * **Operations.** Every operation has the effect of its namesake in AppListModel, which defines
 * ownership, threads and failures. The other operations of AppListModel are available through the
 * model that a listener receives: reading the whole list, its length, and reporting a click.
 *
 * **Destruction.** No thread may be inside an operation, and a listener must not destroy the proxy.
 * The destructor waits for a handshake callback under way, but not for a notification handler. A
 * host whose loop runs on another thread destroys the proxy on that thread, or stops the loop
 * first. JavaMWDbusRemote lists the registrations that stay on the bus connection.
 *
 * **One proxy per process.** A second proxy possibly never finds the partner while the first
 * exists, or while the host still holds the shared bus connection after the first has been
 * destroyed. The destruction of one proxy may end the other's watch of the partner.
 */
class APPLIST_API AppListProxy {
public:
    /**
     * Blocks for the authentication at the bus daemon and for three calls to it: less than 3 ms on
     * an idle device. On a stalled daemon, each call ends after GDBus's default time-out of 25 s,
     * but GIO waits for the authentication without a limit. Throws only std::bad_alloc. Without a
     * bus, the constructor logs the error, and the list never finds a partner.
     */
    AppListProxy();
    /** Sends no request. The class comment lists the preconditions. */
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
     * Copies nothing: the new proxy has no list. Only destroy the new proxy or assign to it; no
     * other operation checks this.
     */
    AppListProxy(const AppListProxy& other);

    /** Copies nothing: both proxies keep their own lists. */
    AppListProxy& operator=(const AppListProxy& other);

private:
    AppListModel* m_model = nullptr;
};

#endif
