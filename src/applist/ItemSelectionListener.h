// Told when the partner moved the selection.
#ifndef APPLIST_APPLIST_ITEMSELECTIONLISTENER_H
#define APPLIST_APPLIST_ITEMSELECTIONLISTENER_H

#include "../common/Export.h"

class AppListModel;

/**
 * Implemented by the host and registered with AppListProxy::AddItemSelectionListener.
 *
 * A listener belongs to the host and is never deleted by the library: keep it alive until it has
 * been removed or the proxy is gone.
 */
class APPLIST_API ItemSelectionListener {
public:
    /**
     * Called on the thread that iterates the proxy's main context, with no lock held; further
     * events wait until it returns. It may call any operation of @p model, each of which that asks
     * the partner blocks this thread until the partner answers. It must not add or remove
     * listeners of its own kind, nor destroy the proxy. An exception is logged as an error
     * ("Exception in cb_SignalCall: ...") and keeps the listeners behind this one from being
     * called.
     *
     * @param model the model that holds the registration, valid as long as the proxy. It has read
     *        the new selection already: GetSelection returns it, or null for none.
     */
    virtual void OnItemSelectionEvent(AppListModel* model) = 0;

    virtual ~ItemSelectionListener() = default;
};

#endif
